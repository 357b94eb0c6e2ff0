#include "ThinSeries.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace cli {

namespace {

void widen(ThinColumn& column, double value) {
  if (!std::isfinite(value)) {
    return;
  }
  double& lowest = column.lowest.back();
  double& highest = column.highest.back();
  lowest = std::isnan(lowest) ? value : std::min(lowest, value);
  highest = std::isnan(highest) ? value : std::max(highest, value);
}

}  // namespace

ThinSeries thinned(const SeriesStore::Kept& kept, double end, std::size_t most) {
  ThinSeries thin;
  const std::size_t width = kept.series.columns.size();
  thin.columns.resize(width);
  const std::size_t rows = kept.indexes.size();
  const bool eachRow = rows <= most || !(end > 0.0);
  std::size_t stretch = 0;
  for (std::size_t row = 0; row < rows; ++row) {
    const double seconds = kept.seconds[row].value_or(std::numeric_limits<double>::quiet_NaN());
    if (!std::isfinite(seconds)) {
      continue;
    }
    const double share = std::clamp(seconds / end, 0.0, 1.0);
    const std::size_t its =
        eachRow ? row
                : std::min(static_cast<std::size_t>(share * static_cast<double>(most)), most - 1);
    if (thin.seconds.empty() || its != stretch) {
      stretch = its;
      thin.seconds.push_back(seconds);
      thin.timecodes.push_back(kept.timecodes[row]);
      for (ThinColumn& column : thin.columns) {
        column.lowest.push_back(std::numeric_limits<double>::quiet_NaN());
        column.highest.push_back(std::numeric_limits<double>::quiet_NaN());
      }
    }
    for (std::size_t i = 0; i < width; ++i) {
      widen(thin.columns[i], kept.values[row * width + i]);
    }
  }
  return thin;
}

}  // namespace cli
