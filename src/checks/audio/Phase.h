#pragma once

#include "checks/audio/ChannelPairs.h"
#include "checks/audio/LagSearch.h"

namespace qatester {

/// The mean lag between two channels.
class PhaseMeasurement : public PairMeasurement {
 public:
  /// `threshold` is in samples.
  PhaseMeasurement(const CheckContext& context, int threshold)
      : PairMeasurement(context, "Phase Check"), threshold_(threshold) {}

  void describe(QACheckOutcome& outcome) const override;

  /// Whether the mean lag is below the threshold; false when nothing was compared.
  bool verdict() const;

 protected:
  void compare(const OxAudioSample& first, const OxAudioSample& second) override;
  QASeriesColumn column() const override { return {"lag", "samples"}; }
  double figure() const override { return best_.lag; }

 private:
  float meanLag() const;

  int threshold_;
  BestLag best_;
  /// 32 bits, which wrap.
  uint32_t lags_ = 0;
};

}  // namespace qatester
