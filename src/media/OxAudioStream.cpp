#include "media/OxAudioStream.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "media/AudioBlock.h"
#include "media/FFmpeg.h"
#include "media/UniqueQueue.h"

namespace ffmpeg = qatester::ffmpeg;

static_assert(OxAudioStream::kAudioBufferBytes == ffmpeg::kMaxAudioBlockBytes);

namespace {

char channelTooLarge[] = "Channel is too large";

uint8_t* allocateBlock(std::size_t bytes) {
  void* block = nullptr;
  while (block == nullptr) {
    block = std::malloc(std::max<std::size_t>(bytes, 1));
  }
  return static_cast<uint8_t*>(block);
}

}  // namespace

struct OxAudioStream::Owned {
  ffmpeg::UniqueDecoder decoder;
  qatester::UniqueQueue queue;
};

OxAudioStream::OxAudioStream(AVFormatContext* formatContext, int streamIndex)
    : formatContext(formatContext), streamIndex(streamIndex), owned_(std::make_unique<Owned>()) {
  stream = ffmpeg::openStreamDecoder(formatContext, streamIndex, AVMEDIA_TYPE_AUDIO, &codec,
                                     &owned_->decoder);
  codecContext = owned_->decoder.get();
  if (stream == nullptr) {
    return;
  }
  durationSeconds = static_cast<int32_t>(formatContext->duration) / 1000000;
  sampleRate = codecContext->sample_rate;
  sampleFormat = ffmpeg::deliveredSampleFormat(codecContext);
  bytesPerSample = ffmpeg::bytesPerSample(sampleFormat);
  owned_->queue = qatester::makeQueue();
  packetQueue = owned_->queue.get();
}

OxAudioStream::~OxAudioStream() {
  ffmpeg::releasePayload(&audioPacket);
}

int OxAudioStream::getNumberOfChannels() {
  return codecContext != nullptr ? codecContext->ch_layout.nb_channels : -1;
}

/// One call of the decoder on the whole of `audioPacket`. Returns the bytes that it consumed, so
/// that the packet is used up after as many calls as it holds blocks, or a negative error code.
int OxAudioStream::decodeFromPacketStart(int* outputSize) {
  if (callsLeft_ == 0) {
    const int blocks = ffmpeg::decodeAudio(codecContext, sampleFormat, audioBuffer,
                                           &firstBlockBytes_, &audioPacket);
    if (blocks < 0) {
      return blocks;
    }
    callsLeft_ = std::max(1, blocks);
  }
  *outputSize = firstBlockBytes_;
  const int consumed = audioPacketSize / callsLeft_;
  --callsLeft_;
  return consumed;
}

int OxAudioStream::decodeFrame(double* time) {
  if (packetQueue == nullptr) {
    return -1;
  }
  int outputSize = 0;
  for (;;) {
    while (audioPacketSize != 0) {
      outputSize = 0;
      const int consumed = decodeFromPacketStart(&outputSize);
      if (consumed < 0) {
        audioPacketSize = 0;
        break;
      }
      audioPacketData += consumed;
      audioPacketSize -= consumed;
      if (outputSize < 1) {
        continue;
      }
      *time = audioClock;
      const double bytesPerSecond =
          static_cast<double>(getNumberOfChannels()) * 2.0 * static_cast<double>(sampleRate);
      audioClock += static_cast<double>(outputSize) / bytesPerSecond;
      return outputSize;
    }
    ffmpeg::releasePayload(&audioPacket);
    callsLeft_ = 0;
    if (OxPackets::packet_queue_get(packetQueue, &audioPacket, 1) < 0) {
      return -1;
    }
    if (OxPackets::isFlushMarker(audioPacket)) {
      ffmpeg::blankPacket(&audioPacket);
      ffmpeg::flushDecoder(codecContext);
      continue;
    }
    audioPacketData = audioPacket.data;
    audioPacketSize = audioPacket.size;
    if (audioPacket.pts != AV_NOPTS_VALUE) {
      audioClock = static_cast<double>(stream->time_base.num) /
                   static_cast<double>(stream->time_base.den) *
                   static_cast<double>(audioPacket.pts);
    }
  }
}

OxAudioSample OxAudioStream::getNextSample() {
  OxAudioSample sample;
  sample.sampleFormat = sampleFormat;
  sample.bytesPerSample = bytesPerSample;
  if (audioBufferIndex >= audioBufferSize) {
    double time = 0.0;
    const int bytes = decodeFrame(&time);
    if (bytes < 0) {
      return sample;
    }
    audioBufferSize = static_cast<unsigned int>(bytes);
    audioBufferIndex = 0;
  }
  const unsigned int copied = audioBufferSize - audioBufferIndex;
  sample.buffer = allocateBlock(copied);
  std::memcpy(sample.buffer, audioBuffer + audioBufferIndex, copied);
  audioBufferIndex += copied;
  sample.numberOfSamples = bytesPerSample > 0 ? static_cast<int>(copied) / bytesPerSample : 0;
  return sample;
}

OxAudioSample OxAudioStream::getSampleChannel(OxAudioSample sample, unsigned short channel) {
  const int channels = getNumberOfChannels();
  OxAudioSample result;
  result.sampleFormat = sample.sampleFormat;
  result.bytesPerSample = sample.bytesPerSample;
  if (channels <= static_cast<int>(channel)) {
    // Callers know the empty block by its count; the text must not be released.
    result.buffer = reinterpret_cast<uint8_t*>(channelTooLarge);
    return result;
  }
  result.numberOfSamples = sample.numberOfSamples / channels;
  const auto width = static_cast<std::size_t>(sample.bytesPerSample);
  result.buffer = allocateBlock(static_cast<std::size_t>(result.numberOfSamples) * width);
  qatester::copyChannel(result.buffer, sample.buffer + channel * width, result.numberOfSamples,
                        sample.bytesPerSample, channels);
  return result;
}

std::string OxAudioStream::getSampleFormatName() {
  return ffmpeg::sampleFormatName(sampleFormat);
}
