#pragma once

// What FFmpeg's log says of the files and decoders of a reading. For everybody else the log stays
// as it was.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace qatester::ffmpeg {

struct LogLine {
  int64_t packet = 0;  ///< the number that the decoder had been given with its packet
  std::string text;    ///< one line without its end
};

/// Collects the lines of level "error" and worse of one container or one decoder, which are not
/// printed then. They may come on any of the decoder's threads. The same text of the same packet
/// counts once.
class LogLines {
 public:
  /// Distinct texts kept of a packet: what comes first in the alphabet, so that the choice does not
  /// depend on the order of threads.
  static constexpr std::size_t kMaxTextsOfPacket = 32;

  LogLines();
  ~LogLines();
  LogLines(const LogLines&) = delete;
  LogLines& operator=(const LogLines&) = delete;

  /// What the container says; the object must go, or stop listening, before it. The packet of its
  /// lines is 0.
  void listenTo(const AVFormatContext* container);

  /// What the decoder and its threads say, by the packet's number in `reordered_opaque`. Before it
  /// is opened; it must go before the object.
  void listenTo(AVCodecContext* decoder);

  void stopListening();

  /// Takes the lines of packets up to that number, by number, then by text. Throws `std::bad_alloc`
  /// also where a line was lost for want of memory.
  std::vector<LogLine> takeUpTo(int64_t packet);

  /// Called by FFmpeg's log only.
  void add(int64_t packet, const char* text) noexcept;

 private:
  std::map<int64_t, std::set<std::string>> texts_;
  bool lost_ = false;
  std::atomic<bool> any_{false};
};

/// Whether a line speaks of a timecode that its rate does not have.
bool isOfTimecode(const std::string& line);

}  // namespace qatester::ffmpeg
