#pragma once

#include <limits>
#include <vector>

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
  std::vector<QASeriesColumn> columns() const override { return {{"fps", "fps"}}; }
  std::vector<double> figures() const override { return {last_}; }
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
  double last_ = std::numeric_limits<double>::quiet_NaN();  ///< what the last time stamp adds
};

}  // namespace qatester
