#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "foundation/Export.h"

extern "C" {
#include <libavcodec/packet.h>
}

struct AVCodec;
struct AVCodecContext;
struct AVFormatContext;
struct AVStream;
struct PacketQueue;

/// A block of decoded audio.
struct OxAudioSample {
  /// Sample values, released with `OxWrap::freeSample`.
  uint8_t* buffer = nullptr;
  /// FFmpeg's numbering: 0 unsigned 8-bit, 1 signed 16-bit, 2 signed 32-bit, 3 float, 4 double.
  int sampleFormat = 0;
  int bytesPerSample = 0;  ///< of a value of one channel
  /// Values in `buffer`: of all channels, interleaved, for a block of `getNextSample`; of one
  /// channel for a block of `getSampleChannel`. 0 marks an empty block.
  int numberOfSamples = 0;
};

/// Decodes one audio stream of an opened container, whose packets a buffering thread puts into
/// `packetQueue`. Used by one thread only. A stream whose decoder did not open has no queue and is
/// at its end at once.
///
/// Blocks are interleaved. Integer samples keep their width, float PCM stays float, and the output
/// of lossy decoders is signed 16-bit.
class QATESTER_API OxAudioStream {
 public:
  /// The decode buffer's size in bytes; a block that is larger is a decoding error.
  static constexpr int kAudioBufferBytes = 192000;

  /// The container is not owned and must outlive this object.
  OxAudioStream(AVFormatContext* formatContext, int streamIndex);
  ~OxAudioStream();

  OxAudioStream(const OxAudioStream&) = delete;
  OxAudioStream& operator=(const OxAudioStream&) = delete;

  /// -1 when the stream index was out of range.
  int getNumberOfChannels();

  /// Decodes the next block into `audioBuffer`. Returns its bytes and stores its start in `*time`
  /// (seconds), or returns -1 at the end of the stream. A packet of several blocks gives its first
  /// block as often as it has blocks: each call decodes the packet from its start. The clock
  /// advances as if every sample had 2 bytes. Blocks while the queue is empty, for about 2 s.
  int decodeFrame(double* time);

  /// The next block in a buffer of its own; empty, with a null buffer, at the end of the stream.
  OxAudioSample getNextSample();

  /// The 0-based `channel` of an interleaved block of this stream. For a channel that does not
  /// exist the block is empty and its buffer the static text "Channel is too large".
  OxAudioSample getSampleChannel(OxAudioSample sample, unsigned short channel);

  /// The name of `sampleFormat` in FFmpeg, such as "s16".
  std::string getSampleFormatName();

  AVFormatContext* formatContext = nullptr;  ///< the container, not owned
  AVCodecContext* codecContext = nullptr;    ///< null when there is no decoder
  const AVCodec* codec = nullptr;            ///< null when there is no decoder
  AVStream* stream = nullptr;                ///< null when its decoder did not open
  int streamIndex = -1;                      ///< in the container
  /// Whole seconds of the low 32 bits of the container's microseconds, taken as signed: durations
  /// past 2,147 s wrap, and clients rely on it.
  int durationSeconds = 0;
  int sampleRate = 0;                  ///< Hz
  int sampleFormat = -1;               ///< as in `OxAudioSample`
  int bytesPerSample = 0;              ///< as in `OxAudioSample`
  PacketQueue* packetQueue = nullptr;  ///< null when the decoder did not open
  AVPacket audioPacket{};              ///< the packet that is being decoded
  uint8_t* audioPacketData = nullptr;  ///< what of it is not consumed yet
  int audioPacketSize = 0;             ///< bytes not consumed yet
  /// The block that `decodeFrame` decoded last.
  alignas(16) uint8_t audioBuffer[kAudioBufferBytes];
  unsigned int audioBufferSize = 0;   ///< bytes
  unsigned int audioBufferIndex = 0;  ///< bytes
  double audioClock = 0.0;            ///< seconds

 private:
  struct QATESTER_LOCAL Owned;

  int decodeFromPacketStart(int* outputSize);

  std::unique_ptr<Owned> owned_;  ///< what `codecContext` and `packetQueue` point to
  /// Calls until the packet is used up; 0 before its first.
  int callsLeft_ = 0;
  /// Bytes of the packet's first block, which every call of the packet yields.
  int firstBlockBytes_ = 0;
};
