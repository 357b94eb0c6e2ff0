#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tester/ProgrammeRun.h"
#include "tester/TimecodeClock.h"

namespace qatester {

/// A timecode that a picture carries.
struct CarriedTimecode {
  int64_t frame = 0;  ///< number of the picture
  std::optional<double> seconds;
  std::string text;
};

/// What pictures carry, against how many of them there are.
struct TimecodeJumps {
  std::vector<QAEvent> events;
  /// It never advances: an encoder that writes none of its own.
  bool standsStill = false;
};

/// Finds where timecodes do not go on with the pictures. They may be off by `slack` frames.
TimecodeJumps findJumps(const std::vector<CarriedTimecode>& timecodes, double framesPerSecond,
                        int slack);

/// A SMPTE ST 12-1 word as frames carry it, and the 25 bits of an MPEG group of pictures' header.
std::string timecodeOfWord(uint32_t word, double framesPerSecond);
std::string timecodeOfGroup(int64_t code);

class StartTimecodeMeasurement final : public ProgrammeMeasurement {
 public:
  explicit StartTimecodeMeasurement(std::string demanded) : demanded_(std::move(demanded)) {}

  using ProgrammeMeasurement::take;
  bool hasSubject(const ProgrammeFacts& facts, std::string& reason) const override;
  ProgrammeWants wants() const override { return {.pictures = true}; }
  void begin(const ProgrammeFacts& facts) override;
  void take(const ProgrammePicture& picture) override;
  void take(const ProgrammeComplaint& complaint) override {
    isRefused_ = isRefused_ || complaint.by == ProgrammeComplaint::By::timecode;
  }
  void describe(QACheckOutcome& outcome) const override;

 private:
  std::string demanded_;
  /// The file declares a drop-frame timecode at a rate that has none, and is not given.
  bool isRefused_ = false;
  double framesPerSecond_ = 0.0;
  std::vector<DeclaredTimecode> declared_;
  std::vector<CarriedTimecode> inPictures_;
  std::vector<CarriedTimecode> inGroups_;
};

}  // namespace qatester
