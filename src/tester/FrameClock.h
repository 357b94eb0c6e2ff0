#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "media/Programme.h"
#include "tester/TimecodeClock.h"

namespace qatester {

/// Which frame of a file is shown at a time, and its timecode. The file's timecode is that of its
/// first frame, and sound may start before it.
class FrameClock {
 public:
  /// Empty for a file without pictures or without a frame rate.
  static std::optional<FrameClock> of(const ProgrammeFacts& facts);

  /// Counted from the first one. Seconds are from the file's start.
  int64_t frameAt(double seconds) const;
  /// By the number of the frame.
  std::string timecodeOf(int64_t frame) const { return clock_.at(frame); }
  std::string timecodeAt(double seconds) const { return clock_.at(frameAt(seconds)); }

 private:
  FrameClock(const std::string& start, double framesPerSecond, double firstSeconds)
      : clock_(start, framesPerSecond), rate_(framesPerSecond), firstSeconds_(firstSeconds) {}

  TimecodeClock clock_;
  double rate_;
  double firstSeconds_;
};

}  // namespace qatester
