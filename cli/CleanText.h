#pragma once

#include <string>
#include <string_view>

namespace cli {

/// `text` as every kind of report can hold it: bytes that are not UTF-8 (as in the JSON report),
/// U+FFFE and U+FFFF, and control characters other than those in `kept` become U+FFFD.
std::string cleanText(std::string_view text, std::string_view kept = {});

}  // namespace cli
