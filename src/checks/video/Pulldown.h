#pragma once

#include <array>
#include <memory>
#include <string>

#include "media/GreyPicture.h"
#include "tester/QAResults.h"
#include "tester/VideoRun.h"

namespace qatester {

/// Looks for the cadence of film in groups of five pictures. Groups follow each other from the
/// first picture on: clients rely on this one phase.
class PulldownMeasurement : public VideoMeasurement {
 public:
  void begin(float fps, int budget) override;
  Taken add(int index, const DecodedPicture& picture) override;
  /// Of the groups: a figure is that of the fifth picture of one.
  std::vector<QASeriesColumn> columns() const override { return {{"is23", ""}, {"is22", ""}}; }
  std::vector<double> figures() const override { return {lastIs23_, lastIs22_}; }
  void describe(QACheckOutcome& outcome) const override;

  /// Takes the next picture as grey; null: it could not be converted.
  Taken addGrey(std::shared_ptr<const GreyPicture> picture);

  QA_PullDown verdict() const;
  static QA_PullDown notRun() { return {}; }

 private:
  void judgeGroup();
  bool isRepeated(std::size_t picture, int fieldRow) const;
  std::string summary(const QA_PullDown& record, const QACheckOutcome& outcome) const;

  int budget_ = 0;
  std::array<std::shared_ptr<const GreyPicture>, 5> group_;  ///< the oldest picture first
  std::size_t gathered_ = 0;
  int groups_ = 0;
  int groups23_ = 0;
  int groups22_ = 0;
  // Of the last group, 0 or 1.
  double lastIs23_ = 0.0;
  double lastIs22_ = 0.0;
};

}  // namespace qatester
