#include "checks/picture/FieldMeasurement.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace qatester {

namespace {

/// Pictures of fewer lines were not made of fields, or do not show it.
constexpr int kLeastHeight = 240;

}  // namespace

bool FieldMeasurement::hasSubject(const ProgrammeFacts& facts, std::string& reason) const {
  if (!PictureMeasurement::hasSubject(facts, reason)) {
    return false;
  }
  const auto& video = facts.media.streams[static_cast<std::size_t>(facts.videoStream)].video;
  reason = "pictures of fewer than 240 lines show no fields";
  return !video.has_value() || video->height == 0 || video->height >= kLeastHeight;
}

std::string FieldMeasurement::whyNothing() const {
  std::string reason = PictureMeasurement::whyNothing();
  if (reason.empty() && leastHeight_ < kLeastHeight) {
    reason = "pictures of fewer than 240 lines show no fields";
  }
  return reason;
}

void FieldMeasurement::take(const PictureRecord& record) {
  leastHeight_ = evidence_.empty() ? record.height : std::min(leastHeight_, record.height);
  const bool isNew = record.isFirstOfSize || record.isDamaged ||
                     record.kind != PictureKind::goesOn || evidence_.empty();
  evidence_.push_back({record.numbers.fields, isNew});
  flags_.push_back(record.flagged);
  if (figures_.isWanted()) {
    // Where nothing moves there is nothing to compare.
    const bool says = !isNew && record.numbers.fields.active > 0.0F;
    figures_.add(
        record.number, times().seconds(record.number),
        says ? figuresOf(evidence_.back())
             : std::vector<double>(columns().size(), std::numeric_limits<double>::quiet_NaN()));
  }
}

void FieldMeasurement::beginPictures(const ProgrammeFacts&) {
  figures_ = series().begin(QASeries::Per::picture, columns());
}

void FieldMeasurement::endPictures(const PictureSummary&) {
  runs_ = findFieldRuns(evidence_, times().rate());
  evidence_ = {};
}

int64_t FieldMeasurement::leastLength() const {
  return std::max<int64_t>(std::llround(times().rate()), 2);
}

FieldOrder orderOf(const FieldRun& run) {
  switch (run.pattern) {
    case FieldPattern::undetermined:
      return FieldOrder::undetermined;
    case FieldPattern::progressive:
      return FieldOrder::progressive;
    default:
      return run.isTopFirst ? FieldOrder::topFirst : FieldOrder::bottomFirst;
  }
}

FieldOrder orderOf(FieldFlag flag) {
  switch (flag) {
    case FieldFlag::topFirst:
      return FieldOrder::topFirst;
    case FieldFlag::bottomFirst:
      return FieldOrder::bottomFirst;
    case FieldFlag::progressive:
      break;
  }
  return FieldOrder::progressive;
}

const char* textOf(FieldOrder order) {
  switch (order) {
    case FieldOrder::progressive:
      return "progressive";
    case FieldOrder::topFirst:
      return "top first";
    case FieldOrder::bottomFirst:
      return "bottom first";
    case FieldOrder::undetermined:
      break;
  }
  return "undetermined";
}

}  // namespace qatester
