#pragma once

#include "tester/QAResults.h"
#include "tester/VideoRun.h"

namespace qatester {

/// Rounds to two decimals, halves up, in single precision.
float roundToHundredths(float value);

/// Estimates the frame rate that a stream's time stamps show.
class FrameRateMeasurement : public VideoMeasurement {
 public:
  void begin(float fps, int budget) override;
  Taken add(int index, const DecodedPicture& picture) override;
  void describe(QACheckOutcome& outcome) const override;

  /// Takes the time in seconds of the frame of this index; one at 0 or earlier adds nothing.
  void addTime(int index, double seconds);

  /// The mean's divisor is the budget, not the number of frames that came: clients rely on missing
  /// frames pulling the measured rate down.
  QA_FrameRate verdict() const;

 private:
  float declared_ = 0.0F;
  int budget_ = 0;
  float sum_ = 0.0F;
};

}  // namespace qatester
