#include "checks/video/Pulldown.h"

#include <utility>

#include "checks/CheckList.h"
#include "checks/video/FieldComparison.h"
#include "tester/QATester.h"
#include "tester/Readings.h"
#include "tester/SettingRows.h"
#include "tester/Words.h"

namespace qatester {

namespace {

constexpr QASetting kSettings[] = {frameBudget("PullDownFrameChecks")};

constexpr VideoCheckProfile kProfile{
    .check = {.name = "pulldown",
              .tag = "QAPulldown",
              .budget = &kSettings[0],
              .progress = &QAListener::onPullDownProgress,
              .complete = nullptr},
};

std::unique_ptr<VideoCheck<PulldownMeasurement>> make(const CheckContext& context) {
  return std::make_unique<VideoCheck<PulldownMeasurement>>(context, kProfile);
}

constexpr float kSameFrom = 0.99F;
constexpr int kFramesOfAGroup = 5;

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

Taken PulldownMeasurement::add(int, const DecodedPicture& picture) {
  return addGrey(picture.grey());
}

Taken PulldownMeasurement::addGrey(std::shared_ptr<const GreyPicture> picture) {
  if (picture == nullptr) {
    return Taken::missed;
  }
  group_[gathered_] = std::move(picture);
  if (++gathered_ < group_.size()) {
    return Taken::waits;
  }
  const int before23 = groups23_;
  const int before22 = groups22_;
  judgeGroup();
  lastIs23_ = groups23_ - before23;
  lastIs22_ = groups22_ - before22;
  gathered_ = 0;
  group_ = {};
  return Taken::measured;
}

/// Whether a field of this picture of the group comes again in the next picture.
bool PulldownMeasurement::isRepeated(std::size_t picture, int fieldRow) const {
  return isSameField(fieldOf(*group_[picture], fieldRow), fieldOf(*group_[picture + 1], fieldRow),
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
  const QA_PullDown record = recordOf(*this, outcome.began);
  outcome.values = {{"cadenceFirst", int64_t{record.cadenceFirst}, "fields"},
                    {"cadenceSecond", int64_t{record.cadenceSecond}, "fields"},
                    {"confidence", static_cast<double>(record.confidence), ""},
                    {"detected", record.detected, ""}};
  if (outcome.began) {
    outcome.values.push_back({"groups", int64_t{groups_}, ""});
    outcome.values.push_back({"groups23", int64_t{groups23_}, ""});
    outcome.values.push_back({"groups22", int64_t{groups22_}, ""});
  }
  addFrameCounts(outcome);
  outcome.state = QAState::info;
  outcome.summary = summary(record, outcome);
  if (groups_ == 0 && outcome.count > 0) {
    outcome.reason = "only " + counted(outcome.count, "frame") + ": a group has five";
  }
}

std::string PulldownMeasurement::summary(const QA_PullDown& record,
                                         const QACheckOutcome& outcome) const {
  const std::string in23 = std::to_string(groups23_);
  const std::string in22 = std::to_string(groups22_);
  std::string text;
  if (!record.detected) {
    text = "no cadence detected: 2:3 in " + in23 + " and 2:2 in " + in22;
  } else if (record.cadenceSecond == 3) {
    text = "2:3 pulldown, or a still picture, in " + in23;
  } else {
    text = "2:2, no repeated fields, in " + in22;
  }
  // The confidence is a share of these, whether or not all of them came.
  const int groups = budget_ / kFramesOfAGroup;
  text += " of " + counted(groups, "group") + " of five frames";
  addWords(text, "; ", shortfall(outcome, "frames"));
  return text;
}

constinit const QACheck pulldownCheck{
    .name = kProfile.check.name,
    .tag = kProfile.check.tag,
    .family = QAFamily::classic,
    .question = "Do fields repeat as by 2:3 pulldown, or not at all?",
    .needs = QANeeds::pictures,
    .saysSomething = true,
    .settings = kSettings,
    .displays = {},
    .make = makeRun<make>,
};

}  // namespace qatester

QA_PullDown QATester::checkFramePullDown() {
  return qatester::runAlone(context(), qatester::make);
}
