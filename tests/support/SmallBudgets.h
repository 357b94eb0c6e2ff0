#pragma once

#include <string>
#include <string_view>

#include "tester/QACheck.h"

namespace qatest {

/// Settings by which every check has few frames and blocks, after a slate of so many seconds.
inline std::string smallBudgets(int count = 5, int slateSeconds = 0) {
  std::string text = "QATesterSlateSeconds = " + std::to_string(slateSeconds) + "\n";
  for (const QACheck* check : allChecks()) {
    for (const QASetting& setting : check->settings) {
      if (std::string_view(setting.key).ends_with("FrameChecks")) {
        text += std::string(setting.key) + " = " + std::to_string(count) + "\n";
      }
    }
  }
  return text;
}

}  // namespace qatest
