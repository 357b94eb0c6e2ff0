#pragma once

#include <string>

#include "support/Clips.h"
#include "support/SmallBudgets.h"
#include "support/TempDir.h"

namespace qatest {

/// A clip in which every check has something to measure: three seconds in twelve pictures.
inline std::string threeSeconds(const TempDir& dir) {
  return makeClip(
      dir, "clip.mov",
      {.video = {ffv1(12, AV_PIX_FMT_YUV420P, {4, 1})}, .audio = {audio("pcm_s16le", 2, 3.0)}});
}

}  // namespace qatest
