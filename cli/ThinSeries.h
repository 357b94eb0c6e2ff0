#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "SeriesReport.h"

namespace cli {

/// The lowest and the highest of a column in each stretch of a series; NaN where there is none.
struct ThinColumn {
  std::vector<double> lowest;
  std::vector<double> highest;
};

/// A series with no more points than a screen shows.
struct ThinSeries {
  /// When each stretch begins: the first of its rows.
  std::vector<double> seconds;
  std::vector<std::string> timecodes;
  /// As the series has them.
  std::vector<ThinColumn> columns;
};

/// A series as at most `most` stretches of equal length from 0 to `end` seconds; where it has no
/// more rows than that, a stretch for each row. Rows without a time are left out.
ThinSeries thinned(const SeriesStore::Kept& kept, double end, std::size_t most);

}  // namespace cli
