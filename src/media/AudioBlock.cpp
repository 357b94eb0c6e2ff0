#include "media/AudioBlock.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>

namespace qatester {

namespace {

/// `channels` may be a constant, which makes the loop one of vectors.
template <std::size_t kWidth, typename Channels>
void copyEvery(Channels channels, uint8_t* to, const uint8_t* from, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    std::memcpy(to + i * kWidth, from + i * channels * kWidth, kWidth);
  }
}

/// The width is a constant, so that a value is one load and one store.
template <std::size_t kWidth>
void copyValues(uint8_t* to, const uint8_t* from, std::size_t count, std::size_t channels) {
  if (channels == 2) {
    copyEvery<kWidth>(std::integral_constant<std::size_t, 2>(), to, from, count);
  } else {
    copyEvery<kWidth>(channels, to, from, count);
  }
}

}  // namespace

AudioBlock::AudioBlock(const OxAudioSample& samples, int channels, int channelsBefore)
    : samples_(samples),
      buffer_(samples.buffer, [](uint8_t* buffer) { std::free(buffer); }),
      channels_(channels),
      channelsBefore_(channelsBefore) {}

AudioBlock AudioBlock::channel(int index) const {
  OxAudioSample result = samples_;
  result.buffer = nullptr;
  result.numberOfSamples = index >= 0 && index < channels_ ? count() / channels_ : 0;
  if (result.numberOfSamples == 0) {
    return {result, 1};
  }
  const auto width = static_cast<std::size_t>(samples_.bytesPerSample);
  result.buffer =
      static_cast<uint8_t*>(std::malloc(static_cast<std::size_t>(result.numberOfSamples) * width));
  if (result.buffer == nullptr) {
    throw std::bad_alloc();
  }
  copyChannel(result.buffer, samples_.buffer + static_cast<std::size_t>(index) * width,
              result.numberOfSamples, samples_.bytesPerSample, channels_);
  return {result, 1};
}

AudioBlock nextBlock(OxAudioStream& stream) {
  const int before = stream.getNumberOfChannels();
  const OxAudioSample samples = stream.getNextSample();
  return {samples, stream.getNumberOfChannels(), before};
}

void copyChannel(uint8_t* to, const uint8_t* from, int count, int width, int channels) {
  const auto values = static_cast<std::size_t>(count);
  const auto step = static_cast<std::size_t>(channels);
  switch (width) {
    case 1:
      return copyValues<1>(to, from, values, step);
    case 2:
      return copyValues<2>(to, from, values, step);
    case 4:
      return copyValues<4>(to, from, values, step);
    default:
      for (std::size_t i = 0; i < values; ++i) {
        const auto bytes = static_cast<std::size_t>(width);
        std::memcpy(to + i * bytes, from + i * step * bytes, bytes);
      }
  }
}

}  // namespace qatester
