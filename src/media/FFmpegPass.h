#pragma once

// Decoding a whole programme: every picture and every sample, the last ones included.

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "media/FFmpeg.h"
#include "media/FFmpegLog.h"

namespace qatester::ffmpeg {

/// A decoder whose pictures and blocks depend on the stream alone, damaged ones included: not on
/// the machine, nor on how long somebody holds a picture. Its buffers are cleared before it writes
/// to them, it conceals nothing, and the number of its frame threads is fixed.
class PassDecoder {
 public:
  /// Throws `std::bad_alloc`.
  explicit PassDecoder(const AVStream* stream);
  PassDecoder(const PassDecoder&) = delete;
  PassDecoder& operator=(const PassDecoder&) = delete;

  /// False: there is no decoder for the stream, or it refuses.
  bool isOpen() const { return open_; }

  /// Results of a packet come with the packet so many later.
  int lag() const;

  /// `number` counts the stream's packets. Returns a negative error code when the decoder refuses
  /// a packet: this one, or with a lag an earlier one.
  int send(const AVPacket* packet, int64_t number);

  /// No more packets come: what the decoder holds back can be received.
  int sendEnd();

  /// Sets `*frame` to the next picture or block, or to null when more packets are needed. Returns a
  /// negative error code when the decoder fails, `AVERROR_EOF` after the last one, and 0 otherwise.
  int receive(UniqueFrame* frame);

  LogLines& log() { return log_; }

 private:
  LogLines log_;  ///< outlives the decoder
  UniqueDecoder decoder_;
  bool open_ = false;
};

/// The number of the packet that began the picture or block.
int64_t packetOf(const AVFrame& frame);

/// In the stream's time base, by the time stamp where the frame has one; empty: unknown.
std::optional<int64_t> pictureStamp(const AVFrame& picture);
std::optional<int64_t> blockStamp(const AVFrame& block);

bool isFlaggedCorrupt(const AVFrame& frame);
/// What the decoder names of errors in the frame, in words; empty: nothing.
std::string decodeErrorsOf(const AVFrame& frame);

/// Timecodes after SMPTE 12M that a picture carries.
std::vector<uint32_t> timecodeWordsOf(const AVFrame& picture);
/// The timecode of a group of pictures, where one begins.
std::optional<int64_t> gopTimecodeOf(const AVFrame& picture);

}  // namespace qatester::ffmpeg
