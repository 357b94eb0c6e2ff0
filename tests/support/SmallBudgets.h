#pragma once

#include <string>

namespace qatest {

/// Settings by which every check has few frames and blocks, behind a slate of so many seconds.
inline std::string smallBudgets(int count = 5, int slateSeconds = 0) {
  std::string text = "QATesterSlateSeconds = " + std::to_string(slateSeconds) + "\n";
  for (const char* check : {"Chroma", "Field", "FrameRate", "Gamut", "Level", "Loudness", "Mono",
                            "Phase", "PullDown", "Tearing", "Transition"}) {
    text += std::string(check) + "FrameChecks = " + std::to_string(count) + "\n";
  }
  return text;
}

}  // namespace qatest
