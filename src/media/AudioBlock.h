#pragma once

#include "media/OxAudioStream.h"

namespace qatester {

/// A block of samples that is released with its owner.
class AudioBlock {
 public:
  AudioBlock() = default;
  /// Takes over a block of interleaved channels, as `OxAudioStream::getNextSample` gives it.
  AudioBlock(const OxAudioSample& samples, int channels) : samples_(samples), channels_(channels) {}
  ~AudioBlock();

  AudioBlock(AudioBlock&& other) noexcept;
  AudioBlock& operator=(AudioBlock&& other) noexcept;

  /// Values of all channels together; 0 marks the end of the stream.
  int count() const { return samples_.numberOfSamples; }
  bool empty() const { return count() <= 0; }
  int channels() const { return channels_; }
  int format() const { return samples_.sampleFormat; }
  const OxAudioSample& samples() const { return samples_; }

  /// One channel of it, as `OxAudioStream::getSampleChannel` gives it; empty when there is none.
  AudioBlock channel(int index) const;

 private:
  OxAudioSample samples_;
  int channels_ = 0;
};

/// Copies every `channels`-th value of `width` bytes, `count` in all, from `from`.
void copyChannel(uint8_t* to, const uint8_t* from, int count, int width, int channels);

}  // namespace qatester
