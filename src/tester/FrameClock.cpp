#include "tester/FrameClock.h"

#include <algorithm>
#include <cmath>

namespace qatester {

namespace {

/// Times of pictures are rounded to the stream's time base.
constexpr double kShareOfAFrame = 0.05;

}  // namespace

std::optional<FrameClock> FrameClock::of(const ProgrammeFacts& facts) {
  if (facts.videoStream < 0) {
    return std::nullopt;
  }
  const QAStreamFacts& stream = facts.media.streams[static_cast<std::size_t>(facts.videoStream)];
  if (!stream.video.has_value() || !(stream.video->frameRate > 0.0)) {
    return std::nullopt;
  }
  return FrameClock(facts.media.startTimecode, stream.video->frameRate,
                    stream.startSeconds.value_or(0.0));
}

int64_t FrameClock::frameAt(double seconds) const {
  const double frame = std::floor((seconds - firstSeconds_) * rate_ + kShareOfAFrame);
  return static_cast<int64_t>(std::clamp(frame, 0.0, 1e15));
}

}  // namespace qatester
