#include "media/SampleValues.h"

#include <cstdint>

#include "media/SampleIntegers.h"

using qatester::integerAt;
using qatester::wrappedMagnitude;

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
  return qatester::signedByte(value);
}

int getUintValue(int value) {
  const auto bits = static_cast<unsigned>(value);
  return static_cast<int>((value >= 0 ? bits : bits - 1U) & 255U);
}

float getRealAudioValue(OxAudioSample sample, int index) {
  if (sample.buffer == nullptr) {
    return 0.0F;
  }
  return static_cast<float>(wrappedMagnitude(integerAt(sample, index)));
}

double getAudioValue(OxAudioSample sample, int index) {
  if (sample.buffer == nullptr) {
    return 0.0;
  }
  return static_cast<float>(integerAt(sample, index)) *
         qatester::unitOfFullScale(sample.sampleFormat);
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
