#include "media/PlanarSound.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <type_traits>

extern "C" {
#include <libavutil/samplefmt.h>
}

namespace qatester {

namespace {

/// Where the samples of a channel lie: every `step`-th value of a plane.
struct Samples {
  const uint8_t* first = nullptr;
  int step = 1;
};

template <typename T>
int64_t write(const Samples& samples, int count, float* fractions) {
  const auto at = [&](int index) {
    T value;
    std::memcpy(&value,
                samples.first + static_cast<std::ptrdiff_t>(index) * samples.step *
                                    static_cast<std::ptrdiff_t>(sizeof(T)),
                sizeof value);
    return value;
  };
  int64_t bad = 0;
  for (int i = 0; i < count; ++i) {
    const T value = at(i);
    if constexpr (std::is_floating_point_v<T>) {
      const bool isSound = std::abs(value) <= static_cast<T>(kLargestSample);  // false for NaN
      fractions[i] = isSound ? static_cast<float>(value) : 0.0F;
      bad += isSound ? 0 : 1;
    } else if constexpr (std::is_same_v<T, uint8_t>) {
      fractions[i] = static_cast<float>(value - 128) / 128.0F;
    } else {
      // A power of two: the product is as exact as the conversion.
      constexpr float kUnit = sizeof(T) == sizeof(int16_t)   ? 0x1p-15F
                              : sizeof(T) == sizeof(int32_t) ? 0x1p-31F
                                                             : 0x1p-63F;
      fractions[i] = static_cast<float>(value) * kUnit;
    }
  }
  return bad;
}

constexpr bool isPlanar(int format) {
  return format == AV_SAMPLE_FMT_U8P || format == AV_SAMPLE_FMT_S16P ||
         format == AV_SAMPLE_FMT_S32P || format == AV_SAMPLE_FMT_S64P ||
         format == AV_SAMPLE_FMT_FLTP || format == AV_SAMPLE_FMT_DBLP;
}

constexpr int bytesOf(int format) {
  switch (format) {
    case AV_SAMPLE_FMT_U8:
    case AV_SAMPLE_FMT_U8P:
      return 1;
    case AV_SAMPLE_FMT_S16:
    case AV_SAMPLE_FMT_S16P:
      return 2;
    case AV_SAMPLE_FMT_S32:
    case AV_SAMPLE_FMT_S32P:
    case AV_SAMPLE_FMT_FLT:
    case AV_SAMPLE_FMT_FLTP:
      return 4;
    default:
      return 8;
  }
}

}  // namespace

bool hasIntegerSamples(const AVFrame& block) {
  return block.format != AV_SAMPLE_FMT_NONE && block.format != AV_SAMPLE_FMT_FLT &&
         block.format != AV_SAMPLE_FMT_FLTP && block.format != AV_SAMPLE_FMT_DBL &&
         block.format != AV_SAMPLE_FMT_DBLP;
}

int bytesPerSample(const AVFrame& block) {
  return bytesOf(block.format);
}

int64_t writeFractions(const AVFrame& block, int channel, float* fractions) {
  const int count = std::max(block.nb_samples, 0);
  const int channels = block.ch_layout.nb_channels;
  Samples samples;
  if (channel >= 0 && channel < channels && block.extended_data != nullptr) {
    if (isPlanar(block.format)) {
      samples.first = block.extended_data[channel];
    } else if (block.extended_data[0] != nullptr) {
      samples.first =
          block.extended_data[0] + static_cast<std::ptrdiff_t>(channel) * bytesOf(block.format);
      samples.step = channels;
    }
  }
  if (samples.first != nullptr) {
    switch (block.format) {
      case AV_SAMPLE_FMT_U8:
      case AV_SAMPLE_FMT_U8P:
        return write<uint8_t>(samples, count, fractions);
      case AV_SAMPLE_FMT_S16:
      case AV_SAMPLE_FMT_S16P:
        return write<int16_t>(samples, count, fractions);
      case AV_SAMPLE_FMT_S32:
      case AV_SAMPLE_FMT_S32P:
        return write<int32_t>(samples, count, fractions);
      case AV_SAMPLE_FMT_S64:
      case AV_SAMPLE_FMT_S64P:
        return write<int64_t>(samples, count, fractions);
      case AV_SAMPLE_FMT_FLT:
      case AV_SAMPLE_FMT_FLTP:
        return write<float>(samples, count, fractions);
      case AV_SAMPLE_FMT_DBL:
      case AV_SAMPLE_FMT_DBLP:
        return write<double>(samples, count, fractions);
      default:
        break;
    }
  }
  std::fill_n(fractions, count, 0.0F);
  return 0;
}

}  // namespace qatester
