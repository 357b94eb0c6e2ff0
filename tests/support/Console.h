#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdio>
#include <regex>
#include <string>
#include <string_view>

namespace qatest {

/// What `action` wrote to standard output.
template <typename Action>
std::string consoleOutputOf(Action action) {
  testing::internal::CaptureStdout();
  action();
  std::fflush(stdout);
  return testing::internal::GetCapturedStdout();
}

inline constexpr std::string_view kTimeStampPattern = "[00:00:00]";

/// Whether a time stamp as a logger makes it, "[HH:MM:SS]", stands at this place.
inline bool isTimeStamp(const std::string& text, std::size_t at) {
  for (std::size_t i = 0; i < kTimeStampPattern.size(); ++i) {
    const char wanted = kTimeStampPattern[i];
    const char found = at + i < text.size() ? text[at + i] : '\0';
    const bool matches = wanted == '0' ? found >= '0' && found <= '9' : found == wanted;
    if (!matches) {
      return false;
    }
  }
  return true;
}

/// `text` with every time stamp replaced by "[T]".
inline std::string withoutTimes(const std::string& text) {
  std::string plain;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] == '[' && isTimeStamp(text, at)) {
      plain += "[T]";
      at += kTimeStampPattern.size() - 1;
    } else {
      plain += text[at];
    }
  }
  return plain;
}

/// The same, and without the date in the header of a report: two runs may have midnight between
/// them.
inline std::string withoutTimesAndDate(const std::string& text) {
  static const std::regex date("(Test Date:\t\t)[0-9]{4}-[0-9]{2}-[0-9]{2}");
  return std::regex_replace(withoutTimes(text), date, "$1[D]");
}

}  // namespace qatest
