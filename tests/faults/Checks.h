#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "support/Clips.h"
#include "support/SmallBudgets.h"
#include "support/TempDir.h"
#include "tester/QATester.h"

namespace qatest {

/// A check that is run for what it does, not for its result.
struct AnyCheck {
  const char* name;
  std::function<void(QATester&)> run;
  bool draws = false;
};

/// All that open the file.
inline std::vector<AnyCheck> anyChecks() {
  return {
      {"valid", [](QATester& t) { t.isValidFile(); }},
      {"frameRate", [](QATester& t) { t.checkFrameRate(); }},
      {"fieldDominance", [](QATester& t) { t.checkFieldDominance(); }},
      {"pulldown", [](QATester& t) { t.checkFramePullDown(); }},
      {"tearing", [](QATester& t) { t.checkTearing(); }, true},
      {"timecode", [](QATester& t) { t.checkTimecode(); }, true},
      {"transitions", [](QATester& t) { t.checkVideoTransitions(); }, true},
      {"chroma", [](QATester& t) { t.checkChroma(); }, true},
      {"gamut", [](QATester& t) { t.checkGamut(); }, true},
      {"levels",
       [](QATester& t) {
         const std::unique_ptr<QA_AudioLevels> record(t.checkAudioLevels());
         if (record != nullptr) {
           delete[] record->levels;
         }
       }},
      {"loudness", [](QATester& t) { t.checkITUR1770Loudness(); }},
      {"mono", [](QATester& t) { t.checkMono(); }, true},
      {"phase", [](QATester& t) { t.checkAudioPhase(); }, true},
  };
}

/// A clip in which every check has something to measure: three seconds in twelve pictures.
inline std::string threeSeconds(const TempDir& dir) {
  return makeClip(
      dir, "clip.mov",
      {.video = {ffv1(12, AV_PIX_FMT_YUV420P, {4, 1})}, .audio = {audio("pcm_s16le", 2, 3.0)}});
}

}  // namespace qatest
