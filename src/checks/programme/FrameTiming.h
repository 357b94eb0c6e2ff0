#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "checks/picture/DamagedPictures.h"
#include "tester/ProgrammeRun.h"

namespace qatester {

/// What a stream declares, for `judgeTiming`.
struct DeclaredTiming {
  /// Frames per second as declared; 0: unknown.
  double rate = 0.0;
  /// Rates that the time stamps suggest, which may be nearer to what the stream was made with.
  std::vector<double> suggested = {};
  /// Seconds of a unit of the time stamps: distances are rounded to it.
  double tick = 0.0;
  /// The container carries time stamps of its own.
  bool hasTimes = true;
  /// The stream is to be of constant rate whatever it looks like.
  bool mustBeConstant = false;
};

/// When pictures are presented, one entry a picture in the order of presentation.
struct PictureTimes {
  std::vector<double> seconds;
  /// How many fields a picture lasts by its flags: 2, or 3 or more where fields are repeated.
  std::vector<uint8_t> fields;
  int64_t missing = 0;  ///< pictures without a time
  /// A file that begins in the middle of a group of pictures misses some up to this time.
  double firstWholeSeconds = 0.0;
};

struct TimingVerdict {
  double declaredFps = 0.0;  ///< 0: unknown
  double measuredFps = 0.0;  ///< (n - 1) / (last - first); 0: fewer than two pictures
  bool constantRate = false;
  /// The measured rate is none of the declared ones.
  bool rateIsOff = false;
  int64_t gaps = 0;
  int64_t missingPictures = 0;
  int64_t overlaps = 0;
  double longestGapSeconds = 0.0;
  std::vector<QAEvent> events;
};

/// Judges the distances of presentation times.
TimingVerdict judgeTiming(const PictureTimes& times, const DeclaredTiming& declared);

/// The times of all pictures of a file.
class FrameTimingMeasurement final : public ProgrammeMeasurement {
 public:
  explicit FrameTimingMeasurement(bool mustBeConstant) : mustBeConstant_(mustBeConstant) {}

  using ProgrammeMeasurement::take;
  bool hasSubject(const ProgrammeFacts& facts, std::string& reason) const override;
  ProgrammeWants wants() const override { return {.pictures = true, .packets = true}; }
  void begin(const ProgrammeFacts& facts) override;
  void take(const ProgrammePicture& picture) override;
  void take(const ProgrammePacket& packet) override;
  void describe(QACheckOutcome& outcome) const override;

 private:
  const PictureTimes& judgedTimes() const;

  bool mustBeConstant_;
  DeclaredTiming declared_;
  PictureTimes times_;
  int videoStream_ = -1;
  /// Of a container that carries decoding times alone: what pictures get of them is out of order.
  PictureTimes packetTimes_;
  int64_t packets_ = 0;
  int64_t packetsWithoutPresentation_ = 0;
  bool sawPacket_ = false;
  bool beginsWithKey_ = true;
  bool sawGoodKey_ = false;
  SeriesOutput distances_;
  DamagedPictures damaged_;
  std::optional<double> last_;  ///< when the picture before is presented
};

}  // namespace qatester
