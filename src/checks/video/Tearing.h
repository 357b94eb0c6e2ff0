#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "media/GreyPicture.h"
#include "tester/CheckContext.h"
#include "tester/VideoRun.h"
#include "visual/FramePlot.h"

namespace qatester {

/// Like `boundBudget`, but the duration counts in whole seconds, and the second that is left at the
/// end in fractions of a frame: clients rely on it.
int boundTearingBudget(int budget, float fps, double durationSeconds, int slateFrames);

/// Adds up how much of each picture is torn, in whole percents.
class TearingMeasurement : public VideoMeasurement {
 public:
  TearingMeasurement(const CheckContext& context, float threshold);

  void begin(float fps, int budget) override;
  Taken add(int index, const DecodedPicture& picture) override;
  std::vector<QASeriesColumn> columns() const override { return {{"torn", "%"}}; }
  std::vector<double> figures() const override;
  void describe(QACheckOutcome& outcome) const override;

  /// The mean share of the budgeted frames that is torn lies below the threshold. False without a
  /// budget.
  bool verdict() const;

 private:
  double meanShare() const;
  void show(int index, const DecodedPicture& picture, int percent);

  const CheckContext& context_;
  float threshold_;
  int budget_ = 0;
  /// The differences of each pixel and the one below it, in the last picture. Its last row stays
  /// as it is: there is none below, and so no change.
  GreyPicture gradient_;
  bool hasGradient_ = false;
  GreyPicture gradientBefore_;  ///< for the display
  std::optional<int> percent_;  ///< of the last picture; empty: there is none before it
  int previousPercent_ = 0;
  int highestPercent_ = 0;
  int64_t sum_ = 0;  ///< of percents
  FramePlot plot_;
};

}  // namespace qatester
