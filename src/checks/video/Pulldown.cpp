#include "checks/video/Pulldown.h"

#include "checks/video/FieldComparison.h"
#include "tester/QATester.h"

namespace qatester {

namespace {

constexpr VideoCheckProfile kProfile{
    .tag = "QAPulldown",
    .budgetKey = "PullDownFrameChecks",
    .progress = &QAListener::onPullDownProgress,
    .logsCompletion = false,
};

constexpr float kSameFrom = 0.99F;

// The rows that the fields of a picture begin with.
constexpr int kTop = 0;
constexpr int kBottom = 1;

Field fieldOf(const GreyPicture& picture, int firstRow) {
  return {picture.row(firstRow), 2 * std::ptrdiff_t{picture.width()}, picture.width(),
          picture.height() / 2};
}

}  // namespace

void PulldownMeasurement::begin(float, int budget) {
  budget_ = budget;
  gathered_ = 0;
  groups_ = groups23_ = groups22_ = 0;
}

Added PulldownMeasurement::add(int, const DecodedPicture& picture) {
  return addGrey([&](GreyPicture& grey) { return makeGrey(picture, grey); });
}

/// Whether a field of this picture of the group comes again in the next picture.
bool PulldownMeasurement::isRepeated(std::size_t picture, int fieldRow) const {
  return isSameField(fieldOf(group_[picture], fieldRow), fieldOf(group_[picture + 1], fieldRow),
                     kSameFrom);
}

void PulldownMeasurement::judgeGroup() {
  ++groups_;
  if (isRepeated(1, kTop)) {
    groups23_ += isRepeated(3, kBottom) ? 1 : 0;
    return;
  }
  const bool anyOther = isRepeated(3, kBottom) || isRepeated(0, kTop) || isRepeated(0, kBottom) ||
                        isRepeated(1, kBottom) || isRepeated(2, kTop) || isRepeated(2, kBottom) ||
                        isRepeated(3, kTop);
  groups22_ += anyOther ? 0 : 1;
}

QA_PullDown PulldownMeasurement::verdict() const {
  const bool is23 = groups23_ >= groups22_;  // ties go to 2:3
  QA_PullDown result;
  result.cadenceFirst = 2;
  result.cadenceSecond = is23 ? 3 : 2;
  if (budget_ > 0) {
    const double groups = static_cast<double>(static_cast<float>(budget_)) / 5.0;
    result.confidence = static_cast<float>((is23 ? groups23_ : groups22_) / groups);
    // 12 groups of 20 are detected: 0.6 in single precision is more than 0.6 in double.
    result.detected = static_cast<double>(result.confidence) > 0.6;
  }
  return result;
}

void PulldownMeasurement::describe(QACheckOutcome& outcome) const {
  outcome.figures = {{"groups", static_cast<double>(groups_)},
                     {"groups23", static_cast<double>(groups23_)},
                     {"groups22", static_cast<double>(groups22_)}};
  if (groups_ == 0 && outcome.count > 0) {
    outcome.reason = "only " + std::to_string(outcome.count) +
                     (outcome.count == 1 ? " frame" : " frames") + ": a group has five";
  }
}

}  // namespace qatester

QA_PullDown QATester::checkFramePullDown() {
  qatester::PulldownMeasurement measurement;
  return qatester::runVideoCheck(context(), qatester::kProfile, measurement) ? measurement.verdict()
                                                                             : QA_PullDown{};
}
