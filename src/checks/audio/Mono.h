#pragma once

#include "checks/audio/ChannelPairs.h"
#include "checks/audio/SampleMatches.h"

namespace qatester {

/// The count that decides: of the same instant when that is no more than of the one before, which
/// then wins whatever the next one has; otherwise the larger of same and next. Required as it is.
int64_t decisiveCount(const Matches& matches);

/// Counts the pairs of blocks that carry one signal.
class MonoMeasurement : public PairMeasurement {
 public:
  /// `tolerance` is the share of the samples' range within which two samples match, `threshold` the
  /// share of matching samples that makes a block mono, and of mono blocks that makes the file so.
  MonoMeasurement(const CheckContext& context, float tolerance, float threshold)
      : PairMeasurement(context, "Mono Check"), tolerance_(tolerance), threshold_(threshold) {}

  void describe(QACheckOutcome& outcome) const override;

  /// Whether the channels differ; false when nothing was compared.
  bool verdict() const;

 protected:
  void compare(const OxAudioSample& first, const OxAudioSample& second) override;
  QASeriesColumn column() const override { return {"matchingShare", "%"}; }
  double figure() const override { return matchingPercent_; }

 private:
  float tolerance_;
  float threshold_;
  int monoBlocks_ = 0;
  double matchingPercent_ = 0.0;  ///< of the samples of the last pair
};

}  // namespace qatester
