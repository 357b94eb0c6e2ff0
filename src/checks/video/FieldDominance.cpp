#include "checks/video/FieldDominance.h"

#include "tester/QATester.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace qatester {

namespace {

constexpr VideoCheckProfile kProfile{
    .tag = "QAFieldDominance",
    .budgetKey = "FieldFrameChecks",
    .progress = &QAListener::onFieldDominanceProgress,
    .beginning = "Starting Test...",
};

/// What most pictures are.
enum class Majority { yes, no, none };

Majority majorityOf(int count, int pictures) {
  const float share = static_cast<float>(count) / static_cast<float>(pictures);
  if (static_cast<double>(share) > 0.8) {
    return Majority::yes;
  }
  return static_cast<double>(share) < 0.2 ? Majority::no : Majority::none;
}

}  // namespace

void FieldDominanceMeasurement::begin(float, int) {
  *this = {};
}

Added FieldDominanceMeasurement::add(int, const DecodedPicture& picture) {
  const AVFrame& frame = *picture.yuv().frame;
  addFlags(frame.interlaced_frame, frame.top_field_first);
  return Added::measured;
}

void FieldDominanceMeasurement::addFlags(int interlaced, int topFieldFirst) {
  ++pictures_;
  interlaced_ += interlaced;
  topFieldFirst_ += topFieldFirst;
}

QA_FieldDominance FieldDominanceMeasurement::verdict() const {
  QA_FieldDominance result;
  if (pictures_ == 0) {
    return result;
  }
  switch (majorityOf(interlaced_, pictures_)) {
    case Majority::yes:
      result.frameType = QA_FRAME_TYPE_INTERLACED;
      break;
    case Majority::no:
      result.frameType = QA_FRAME_TYPE_PROGRESSIVE;
      return result;
    case Majority::none:
      return result;
  }
  switch (majorityOf(topFieldFirst_, pictures_)) {
    case Majority::yes:
      result.fieldType = QA_FIELD_TYPE_UPPER;
      break;
    case Majority::no:
      result.fieldType = QA_FIELD_TYPE_LOWER;
      break;
    case Majority::none:
      break;
  }
  return result;
}

void FieldDominanceMeasurement::describe(QACheckOutcome& outcome) const {
  outcome.figures = {{"interlaced", static_cast<double>(interlaced_)},
                     {"topFieldFirst", static_cast<double>(topFieldFirst_)}};
}

}  // namespace qatester

QA_FieldDominance QATester::checkFieldDominance() {
  qatester::FieldDominanceMeasurement measurement;
  return qatester::runVideoCheck(context(), qatester::kProfile, measurement) ? measurement.verdict()
                                                                             : QA_FieldDominance{};
}
