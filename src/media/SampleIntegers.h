#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "media/OxAudioStream.h"

extern "C" {
#include <libavutil/samplefmt.h>
}

namespace qatester {

/// Whether samples of this format have values at all: 8-, 16- and 32-bit integers have.
constexpr bool isIntegerFormat(int sampleFormat) {
  return sampleFormat == AV_SAMPLE_FMT_U8 || sampleFormat == AV_SAMPLE_FMT_S16 ||
         sampleFormat == AV_SAMPLE_FMT_S32;
}

/// An 8-bit sample as a signed value; see `getIntValue`.
constexpr int signedByte(uint8_t value) {
  return value < 128 ? value : value - 255;
}

/// The values of a block whose samples are of type `T`.
template <typename T>
const T* valuesOf(const OxAudioSample& block) {
  return reinterpret_cast<const T*>(block.buffer);
}

/// The value of type `T` at `index` of a block, wherever in memory it lies.
template <typename T>
T valueAt(const OxAudioSample& block, int index) {
  T value;
  std::memcpy(&value, block.buffer + index * static_cast<std::ptrdiff_t>(sizeof(T)), sizeof value);
  return value;
}

/// The value at `index` of a block; 0 for formats without values.
inline int32_t integerAt(const OxAudioSample& block, int index) {
  switch (block.sampleFormat) {
    case AV_SAMPLE_FMT_U8:
      return signedByte(valueAt<uint8_t>(block, index));
    case AV_SAMPLE_FMT_S16:
      return valueAt<int16_t>(block, index);
    case AV_SAMPLE_FMT_S32:
      return valueAt<int32_t>(block, index);
    default:
      return 0;
  }
}

/// One code value as a fraction of full scale: a power of two, so that a product with it is exact.
constexpr float unitOfFullScale(int sampleFormat) {
  switch (sampleFormat) {
    case AV_SAMPLE_FMT_U8:
      return 1.0F / 128.0F;
    case AV_SAMPLE_FMT_S16:
      return 1.0F / 32768.0F;
    case AV_SAMPLE_FMT_S32:
      return 1.0F / 2147483648.0F;
    default:
      return 0.0F;
  }
}

/// The magnitude of a difference or of a value, in 32-bit arithmetic: -2147483648 stays as it is.
constexpr int32_t wrappedMagnitude(int32_t value) {
  const auto bits = static_cast<uint32_t>(value);
  return static_cast<int32_t>(value < 0 ? 0U - bits : bits);
}

/// The difference of two values in 32-bit arithmetic.
constexpr int32_t wrappedDifference(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

}  // namespace qatester
