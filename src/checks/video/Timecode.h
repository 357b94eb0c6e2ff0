#pragma once

#include "tester/CheckContext.h"
#include "tester/VideoRun.h"

namespace qatester {

/// All frames of a file but the last second's, whatever the budget and slate.
int framesButLastSecond(int budget, float fps, double durationSeconds, int slateFrames);

/// The whole number of frames a second that timecode counts by, such as 30 for 29.97.
int nominalRate(float fps);

/// Shows each frame and its timecodes; measures nothing.
class TimecodeMeasurement : public VideoMeasurement {
 public:
  explicit TimecodeMeasurement(const CheckContext& context) : context_(context) {}

  void begin(float fps, int budget) override;
  Taken add(int index, const DecodedPicture& picture) override;
  void describe(QACheckOutcome& outcome) const override;

  /// Whether the file was gone through.
  bool verdict() const { return true; }

 private:
  const CheckContext& context_;
  int rate_ = 0;
};

}  // namespace qatester
