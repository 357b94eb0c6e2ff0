#include "checks/audio/SampleValues.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {

// Powers of two: the products are exact.
constexpr float kHalfScale8 = 1.0F / 128.0F;
constexpr float kHalfScale16 = 1.0F / 32768.0F;
constexpr float kHalfScale32 = 1.0F / 2147483648.0F;

/// The value at `index`, wherever in memory the block lies.
template <typename T>
T valueAt(const OxAudioSample& sample, int index) {
  T value;
  std::memcpy(&value, sample.buffer + index * static_cast<std::ptrdiff_t>(sizeof(T)), sizeof value);
  return value;
}

/// In 32-bit arithmetic: the most negative value stays as it is.
int magnitudeOf(int32_t value) {
  const auto bits = static_cast<uint32_t>(value);
  return static_cast<int32_t>(value < 0 ? 0U - bits : bits);
}

}  // namespace

float getDynamicRange(AVSampleFormat format) {
  switch (format) {
    case AV_SAMPLE_FMT_U8:
      return 43.9052F;
    case AV_SAMPLE_FMT_S16:
      return 98.0906F;
    case AV_SAMPLE_FMT_S32:
      return 194.4202F;
    default:
      return 0.0F;
  }
}

int getIntValue(unsigned char value) {
  return value < 128 ? value : value - 255;
}

int getUintValue(int value) {
  const auto bits = static_cast<unsigned>(value);
  return static_cast<int>((value >= 0 ? bits : bits - 1U) & 255U);
}

float getRealAudioValue(OxAudioSample sample, int index) {
  if (sample.buffer == nullptr) {
    return 0.0F;
  }
  switch (sample.sampleFormat) {
    case AV_SAMPLE_FMT_U8:
      return static_cast<float>(magnitudeOf(getIntValue(sample.buffer[index])));
    case AV_SAMPLE_FMT_S16:
      return static_cast<float>(magnitudeOf(valueAt<int16_t>(sample, index)));
    case AV_SAMPLE_FMT_S32:
      return static_cast<float>(magnitudeOf(valueAt<int32_t>(sample, index)));
    default:
      return 0.0F;
  }
}

double getAudioValue(OxAudioSample sample, int index) {
  if (sample.buffer == nullptr) {
    return 0.0;
  }
  switch (sample.sampleFormat) {
    case AV_SAMPLE_FMT_U8:
      return static_cast<float>(getIntValue(sample.buffer[index])) * kHalfScale8;
    case AV_SAMPLE_FMT_S16:
      return static_cast<float>(valueAt<int16_t>(sample, index)) * kHalfScale16;
    case AV_SAMPLE_FMT_S32:
      return static_cast<float>(valueAt<int32_t>(sample, index)) * kHalfScale32;
    default:
      return 0.0;
  }
}

template <typename T>
bool checkSingleSample(T a, T b, float tolerance) {
  if (a == 0 && b == 0) {
    return true;
  }
  constexpr auto kValues = static_cast<float>(uint64_t{1} << (8 * sizeof(T)));
  const float width = kValues * tolerance;
  const auto first = static_cast<float>(a);
  const auto second = static_cast<float>(b);
  return first > second - width && second + width > first;
}

template bool checkSingleSample(unsigned char a, unsigned char b, float tolerance);
template bool checkSingleSample(short a, short b, float tolerance);
template bool checkSingleSample(int a, int b, float tolerance);

namespace qatester {

bool isIntegerFormat(int sampleFormat) {
  return sampleFormat == AV_SAMPLE_FMT_U8 || sampleFormat == AV_SAMPLE_FMT_S16 ||
         sampleFormat == AV_SAMPLE_FMT_S32;
}

}  // namespace qatester
