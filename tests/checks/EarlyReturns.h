#pragma once

#include <string>
#include <vector>

#include "support/Clips.h"
#include "support/TempDir.h"

namespace qatest {

/// A file that a video check does not get to measure, and what it then tells.
struct EarlyReturn {
  const char* name;
  ClipSpec spec;
  std::string fileName;  ///< empty: there is no file
  std::string logged;    ///< behind the first line
  std::vector<std::string> messages;
  int failures;

  std::string makeIn(const TempDir& folder) const {
    return fileName.empty() ? folder.file("none.mov") : makeClip(folder, fileName, spec);
  }
};

inline std::vector<EarlyReturn> earlyReturns(const std::string& tag) {
  return {{"missing file", {}, "", tag + ": Failed to load file...\n", {}, 0},
          {"no video",
           {.audio = audioStreams(1)},
           "clip.wav",
           tag + ": Buffering...\n" + tag + ": No video stream.\n",
           {tag + ": No video stream."},
           0},
          {"other pixel format",
           {.video = {proRes(5)}},
           "clip.mov",
           tag + ": Buffering...\n" + tag + ": Detected Other\n",
           {},
           1}};
}

}  // namespace qatest
