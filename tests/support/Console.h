#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <regex>
#include <string>

namespace qatest {

/// What `action` wrote to standard output.
template <typename Action>
std::string consoleOutputOf(Action action) {
  testing::internal::CaptureStdout();
  action();
  std::fflush(stdout);
  return testing::internal::GetCapturedStdout();
}

/// `text` with every time stamp that a logger made ("[HH:MM:SS]") replaced by "[T]".
inline std::string withoutTimes(const std::string& text) {
  static const std::regex stamp(R"(\[([01]\d|2[0-3]):[0-5]\d:[0-5]\d\])");
  return std::regex_replace(text, stamp, "[T]");
}

}  // namespace qatest
