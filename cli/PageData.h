#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "FileReport.h"

namespace cli {

/// A plot of a page: columns of one series that have one unit.
struct PageChart {
  std::string check;
  /// Which sound it is of; empty where there is only one.
  std::string part;
  std::string unit;
  /// Names of the curves, such as "momentary".
  std::vector<std::string> names;
};

/// What the script of a page needs: plots, and events of checks that have some.
struct PageData {
  std::vector<PageChart> charts;
  /// The same in the script's form, fit for a `<script>` element.
  std::string json;
};

/// Of the series and events of a file that lasts `end` seconds.
PageData pageData(const FileReport& file, double end);

/// A key of a report in words, without its unit: "maxMomentaryLufs" in LUFS is "max momentary".
std::string keyInWords(const std::string& key, const std::string& unit);

}  // namespace cli
