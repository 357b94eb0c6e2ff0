#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdio>
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
inline constexpr std::string_view kDatePattern = "0000-00-00";

/// Whether what stands at this place is like `pattern`, in which 0 stands for any digit.
inline bool isLike(std::string_view pattern, const std::string& text, std::size_t at) {
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    const char wanted = pattern[i];
    const char found = at + i < text.size() ? text[at + i] : '\0';
    const bool matches = wanted == '0' ? found >= '0' && found <= '9' : found == wanted;
    if (!matches) {
      return false;
    }
  }
  return true;
}

/// `text` with every time stamp as a logger makes it, "[HH:MM:SS]", replaced by "[T]".
inline std::string withoutTimes(const std::string& text) {
  std::string plain;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] == '[' && isLike(kTimeStampPattern, text, at)) {
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
  constexpr std::string_view kHeading = "Test Date:\t\t";
  std::string plain = withoutTimes(text);
  for (std::size_t at = plain.find(kHeading); at != std::string::npos;
       at = plain.find(kHeading, at)) {
    at += kHeading.size();
    if (isLike(kDatePattern, plain, at)) {
      plain.replace(at, kDatePattern.size(), "[D]");
    }
  }
  return plain;
}

}  // namespace qatest
