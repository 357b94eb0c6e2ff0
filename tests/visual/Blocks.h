#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <numbers>
#include <type_traits>
#include <vector>

#include "media/OxAudioStream.h"

namespace qatest {

/// A block of audio that owns its values.
class Block {
 public:
  template <typename Value>
  explicit Block(const std::vector<Value>& values)
      : format_(formatOf<Value>()), width_(sizeof(Value)), bytes_(values.size() * sizeof(Value)) {
    if (!values.empty()) {
      std::memcpy(bytes_.data(), values.data(), bytes_.size());
    }
  }

  /// Valid as long as this block.
  OxAudioSample record() {
    return {bytes_.data(), format_, static_cast<int>(width_),
            static_cast<int>(bytes_.size() / width_)};
  }

 private:
  template <typename Value>
  static int formatOf() {
    if constexpr (std::is_same_v<Value, uint8_t>) {
      return 0;
    } else if constexpr (std::is_same_v<Value, int16_t>) {
      return 1;
    } else if constexpr (std::is_same_v<Value, int32_t>) {
      return 2;
    } else if constexpr (std::is_same_v<Value, float>) {
      return 3;
    } else {
      static_assert(std::is_same_v<Value, double>);
      return 4;
    }
  }

  int format_;
  std::size_t width_;
  std::vector<uint8_t> bytes_;
};

/// 16-bit values of a sine, shifted by `phase` radians.
inline std::vector<int16_t> sine(int values, int amplitude, double period, double phase) {
  std::vector<int16_t> wave;
  for (int i = 0; i < values; ++i) {
    const double angle = 2.0 * std::numbers::pi * i / period + phase;
    wave.push_back(static_cast<int16_t>(std::lround(amplitude * std::sin(angle))));
  }
  return wave;
}

/// Two channels that windows show in tests of several processes.
struct SharedChannels {
  std::vector<int16_t> first = sine(1024, 32767, 256.0, 0.0);
  std::vector<int16_t> second = sine(1024, 20000, 256.0, 1.0);
};

}  // namespace qatest
