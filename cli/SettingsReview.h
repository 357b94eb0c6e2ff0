#pragma once

#include <cstddef>
#include <istream>
#include <string>
#include <vector>

namespace cli {

/// Something in a settings file that does not mean what it seems to.
struct SettingsRemark {
  /// Counted from 1.
  int line = 0;
  /// What is wrong, and what holds instead.
  std::string text;
};

/// Why a setting of the command line, `key=value`, is none: no such key, or a value that it cannot
/// have. Empty when nothing speaks against it.
std::string whyNoSetting(const std::string& text);

/// Reads a settings file as the library does with `QALookup::stored`, by the rows of all checks and
/// of the tester, and the severities of the checks. At most `most` remarks are made.
std::vector<SettingsRemark> reviewSettings(std::istream& file, std::size_t most);

}  // namespace cli
