#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace qatester {

/// Timecode by the number of the frame. Drop-frame skips two frame numbers (four at 60 a second) at
/// the start of each minute but every tenth (SMPTE ST 12-1).
class TimecodeClock {
 public:
  /// `start` is that of frame 0, drop-frame with a ";" or "." before the frames; one that is no
  /// timecode counts as 00:00:00:00. A rate that is not above 0 counts as 25.
  TimecodeClock(const std::string& start, double framesPerSecond);

  /// Hours begin again after 24.
  std::string at(int64_t frame) const;

  /// The number of the frame, counted from 00:00:00:00; empty for a text that is no timecode, or
  /// for one that the clock never shows.
  std::optional<int64_t> countOf(const std::string& text) const;

  bool isDropFrame() const { return dropped_ > 0; }
  /// Frames of a day.
  int64_t day() const;

  /// Whether a rate has drop-frame timecode: 29.97 and 59.94.
  static bool mayDrop(double framesPerSecond);

 private:
  int64_t perMinute() const { return int64_t{60} * nominal_ - dropped_; }
  int64_t perTenMinutes() const { return int64_t{600} * nominal_ - int64_t{9} * dropped_; }

  int nominal_;      ///< frames of a timecode's second
  int dropped_ = 0;  ///< frame numbers a minute
  int64_t first_ = 0;
};

/// Whether a timecode is written as drop-frame.
bool isWrittenAsDropFrame(const std::string& timecode);

}  // namespace qatester
