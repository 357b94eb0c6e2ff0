#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "checks/picture/FieldPatterns.h"
#include "checks/picture/PictureMeasurement.h"

namespace qatester {

/// A check of how fields come from what was recorded.
class FieldMeasurement : public PictureMeasurement {
 public:
  bool hasSubject(const ProgrammeFacts& facts, std::string& reason) const override;
  std::string whyNothing() const override;

  using PictureMeasurement::take;
  void take(const PictureRecord& record) final;

 protected:
  const std::vector<FieldRun>& runs() const { return runs_; }
  const std::vector<FieldFlag>& flags() const { return flags_; }

  /// Shorter runs are not reported, in pictures.
  int64_t leastLength() const;

  /// What its series says of a picture, a figure a column; of one of which the pixels say nothing
  /// all are NaN. Such a series has a column at least.
  virtual std::vector<QASeriesColumn> columns() const = 0;
  virtual std::vector<double> figuresOf(const FieldEvidence& evidence) const = 0;

 private:
  void beginPictures(const ProgrammeFacts&) final;
  void endPictures(const PictureSummary&) final;

  std::vector<FieldEvidence> evidence_;
  std::vector<FieldFlag> flags_;
  std::vector<FieldRun> runs_;
  int leastHeight_ = 0;
  SeriesOutput figures_;
};

/// Which field comes first, of the pixels and of a flag.
enum class FieldOrder : uint8_t { undetermined, progressive, topFirst, bottomFirst };

FieldOrder orderOf(const FieldRun& run);
FieldOrder orderOf(FieldFlag flag);

/// "undetermined", "progressive", "top first", "bottom first".
const char* textOf(FieldOrder order);

}  // namespace qatester
