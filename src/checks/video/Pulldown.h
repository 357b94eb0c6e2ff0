#pragma once

#include <array>

#include "checks/video/GreyPicture.h"
#include "tester/QAResults.h"
#include "tester/VideoCheck.h"

namespace qatester {

/// Looks for the cadence of film in groups of five pictures. Groups follow each other from the
/// first picture on: clients rely on this one phase.
class PulldownMeasurement : public VideoMeasurement {
 public:
  void begin(float fps, int budget) override;
  Added add(int index, const DecodedPicture& picture) override;
  void describe(QACheckOutcome& outcome) const override;

  /// Takes the next picture as grey: `fill` makes it, or returns that it could not.
  template <typename Fill>
  Added addGrey(Fill fill) {
    if (!fill(group_[gathered_])) {
      return Added::unconvertible;
    }
    if (++gathered_ < group_.size()) {
      return Added::gathered;
    }
    judgeGroup();
    gathered_ = 0;
    return Added::measured;
  }

  QA_PullDown verdict() const;

 private:
  void judgeGroup();
  bool isRepeated(std::size_t picture, int fieldRow) const;

  int budget_ = 0;
  std::array<GreyPicture, 5> group_;  ///< the oldest picture first
  std::size_t gathered_ = 0;
  int groups_ = 0;
  int groups23_ = 0;
  int groups22_ = 0;
};

}  // namespace qatester
