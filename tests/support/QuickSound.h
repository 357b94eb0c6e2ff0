#pragma once

#include <cmath>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "support/Clips.h"

/// Sounds by their code values, in streams that have 125 blocks a second.
namespace qatest {

constexpr int kQuickRate = 8000;
constexpr int kQuickBlock = 64;  ///< instants

/// The code value of a sample.
using CodeFunction = std::function<int64_t(int channel, int64_t index)>;

inline SampleFunction codes(CodeFunction code, int bits = 16) {
  return [code = std::move(code), bits](int channel, int64_t index) {
    return std::ldexp(static_cast<double>(code(channel, index)), 1 - bits);
  };
}

/// The half second keeps the declared duration, in whole seconds, clear of rounding: 2 s.
inline AudioSpec quickSound(int channels, SampleFunction sample,
                            const std::string& encoder = "pcm_s16le", double seconds = 2.5) {
  AudioSpec spec = audio(encoder, channels, seconds);
  spec.rate = kQuickRate;
  spec.samplesPerPacket = kQuickBlock;
  spec.sample = std::move(sample);
  return spec;
}

}  // namespace qatest
