#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <stop_token>

#include "foundation/Pause.h"
#include "foundation/QAPauses.h"
#include "media/FFmpeg.h"

namespace qatester {

/// What a wrapper, its streams and its buffering thread share besides the queues. It outlives the
/// wrapper for as long as the thread does.
struct BufferControl {
  QAPauses pauses = QAPauses::fixed;
  std::stop_token stop;

  /// Held while the container is read or repositioned, however long that takes.
  std::mutex demuxMutex;
  /// Held from looking a packet's stream up to the end of its put, and while a stream is destroyed.
  /// Whoever needs both takes the former first.
  std::mutex routeMutex;
  /// Notified whenever the state, a queue, the supply or a position changes (until-ready only).
  Readiness readiness;
  /// Counts the repositionings; written under the readiness lock.
  std::atomic<unsigned> seeks{0};

  /// What was known of the video stream when the container was last read or repositioned: a read
  /// may take as long as it likes, and nobody can ask the container meanwhile.
  void publishFacts(const ffmpeg::VideoFacts& facts) {
    const std::lock_guard<std::mutex> lock(factsMutex_);
    facts_ = facts;
  }
  ffmpeg::VideoFacts publishedFacts() {
    const std::lock_guard<std::mutex> lock(factsMutex_);
    return facts_;
  }

  bool untilReady() const { return pauses == QAPauses::untilReady; }

  /// The caller's side: a pause that a stop request ends or leaves out.
  void pauseCaller(unsigned seconds, const std::function<bool()>& reached) {
    if (stop.stop_requested()) {
      return;
    }
    pauseReader(seconds, [&] { return stop.stop_requested() || reached(); });
  }

  /// The buffering thread's side: the state tells it to stop.
  void pauseReader(unsigned seconds, const std::function<bool()>& reached) {
    if (untilReady()) {
      const PauseEnd end{readiness, reached};
      pause(seconds, &end);
    } else {
      pause(seconds);
    }
  }

 private:
  std::mutex factsMutex_;
  ffmpeg::VideoFacts facts_;
};

}  // namespace qatester
