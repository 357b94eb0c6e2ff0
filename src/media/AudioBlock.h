#pragma once

#include <cstdint>
#include <memory>

#include "media/OxAudioStream.h"

namespace qatester {

/// A block of samples, released when its last copy goes. Copies share the samples, which nobody
/// writes.
class AudioBlock {
 public:
  AudioBlock() = default;
  /// Takes over a block of interleaved channels, as `OxAudioStream::getNextSample` gives it.
  /// `channelsBefore` is the number of channels of the stream before the block was decoded, which
  /// may have changed it.
  AudioBlock(const OxAudioSample& samples, int channels, int channelsBefore);
  AudioBlock(const OxAudioSample& samples, int channels)
      : AudioBlock(samples, channels, channels) {}

  /// Values of all channels together; 0 marks the end of the stream.
  int count() const { return samples_.numberOfSamples; }
  bool empty() const { return count() <= 0; }
  int channels() const { return channels_; }
  int channelsBefore() const { return channelsBefore_; }
  int format() const { return samples_.sampleFormat; }
  const OxAudioSample& samples() const { return samples_; }

  /// One channel of it, as `OxAudioStream::getSampleChannel` gives it; empty when there is none.
  AudioBlock channel(int index) const;

 private:
  OxAudioSample samples_;
  std::shared_ptr<uint8_t> buffer_;
  int channels_ = 0;
  int channelsBefore_ = 0;
};

/// Takes the next block of a stream.
AudioBlock nextBlock(OxAudioStream& stream);

/// Copies every `channels`-th value of `width` bytes, `count` in all, from `from`.
void copyChannel(uint8_t* to, const uint8_t* from, int count, int width, int channels);

}  // namespace qatester
