#pragma once

#include <vector>

#include "tester/QAResults.h"
#include "tester/VideoRun.h"

namespace qatester {

/// Counts what the decoder says of the fields of its pictures.
class FieldDominanceMeasurement : public VideoMeasurement {
 public:
  void begin(float fps, int budget) override;
  Taken add(int index, const DecodedPicture& picture) override;
  std::vector<QASeriesColumn> columns() const override {
    return {{"interlaced", ""}, {"topFieldFirst", ""}};
  }
  std::vector<double> figures() const override { return {lastInterlaced_, lastTopFieldFirst_}; }
  void describe(QACheckOutcome& outcome) const override;

  /// Takes the flags of one picture, each 0 or 1.
  void addFlags(int interlaced, int topFieldFirst);

  /// By majority. The share is formed in single precision and compared in double precision, so that
  /// 80 of 100 are more than 0.8, and 20 of 100 are not less than 0.2: clients rely on both.
  QA_FieldDominance verdict() const;

 private:
  int pictures_ = 0;
  int interlaced_ = 0;
  int topFieldFirst_ = 0;
  // Of the last picture.
  double lastInterlaced_ = 0.0;
  double lastTopFieldFirst_ = 0.0;
};

}  // namespace qatester
