#pragma once

#include "support/Clips.h"

namespace qatest {

/// The frames that a check can measure in `muchAudio` without a slate.
constexpr int kFramesBesideMuchAudio = 40;

/// Sixty frames at 25 a second beside sound that fills its queue long before they end: 8 channels
/// of 32 bits at 192 kHz are 6,144,000 bytes a second, and a queue takes 5,000,000.
inline ClipSpec muchAudio() {
  AudioSpec sound = audio("pcm_s32le", 8, 2.4);
  sound.rate = 192000;
  sound.samplesPerPacket = 7680;
  sound.sample = [](int, int64_t) { return 0.0; };
  return {.video = {ffv1(60)}, .audio = {sound}};
}

}  // namespace qatest
