#include "checks/video/FieldDominance.h"

#include "checks/CheckList.h"
#include "tester/EnumTexts.h"
#include "tester/QATester.h"
#include "tester/Readings.h"
#include "tester/SettingRows.h"
#include "tester/Words.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace qatester {

namespace {

constexpr QASetting kSettings[] = {frameBudget("FieldFrameChecks")};

constexpr VideoCheckProfile kProfile{
    .check = {.name = "field-dominance",
              .tag = "QAFieldDominance",
              .budget = &kSettings[0],
              .progress = &QAListener::onFieldDominanceProgress,
              .beginning = "Starting Test..."},
};

std::unique_ptr<VideoCheck<FieldDominanceMeasurement>> make(const CheckContext& context) {
  return std::make_unique<VideoCheck<FieldDominanceMeasurement>>(context, kProfile);
}

std::string summaryOf(const QA_FieldDominance& record, int interlaced, int topFieldFirst,
                      const QACheckOutcome& outcome) {
  std::string text = record.frameType == QA_FRAME_TYPE_UNKNOWN
                         ? "neither interlaced nor progressive"
                         : frameTypeText(record.frameType);
  if (record.frameType == QA_FRAME_TYPE_INTERLACED) {
    text += record.fieldType == QA_FIELD_TYPE_UNKNOWN
                ? ", no field usually first"
                : std::string(", ") + fieldTypeText(record.fieldType) + " field first";
  }
  text += " (" + std::to_string(interlaced) + " of " + counted(outcome.count, "frame") +
          " flagged interlaced, " + std::to_string(topFieldFirst) + " top field first)";
  addWords(text, "; ", shortfall(outcome, "frames"));
  return text;
}

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

Taken FieldDominanceMeasurement::add(int, const DecodedPicture& picture) {
  const AVFrame& frame = *picture.yuv().frame;
  addFlags(frame.interlaced_frame, frame.top_field_first);
  return Taken::measured;
}

void FieldDominanceMeasurement::addFlags(int interlaced, int topFieldFirst) {
  ++pictures_;
  interlaced_ += interlaced;
  topFieldFirst_ += topFieldFirst;
  lastInterlaced_ = interlaced;
  lastTopFieldFirst_ = topFieldFirst;
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
  const QA_FieldDominance record = recordOf(*this, outcome.began);
  outcome.values = {{"frameType", int64_t{record.frameType}, ""},
                    {"fieldType", int64_t{record.fieldType}, ""},
                    {"frameTypeText", std::string(frameTypeText(record.frameType)), ""},
                    {"fieldTypeText", std::string(fieldTypeText(record.fieldType)), ""}};
  if (outcome.began) {
    outcome.values.push_back({"interlaced", int64_t{interlaced_}, "frames"});
    outcome.values.push_back({"topFieldFirst", int64_t{topFieldFirst_}, "frames"});
  }
  addFrameCounts(outcome);
  outcome.state = QAState::info;
  outcome.summary = summaryOf(record, interlaced_, topFieldFirst_, outcome);
}

constinit const QACheck fieldDominanceCheck{
    .name = kProfile.check.name,
    .tag = kProfile.check.tag,
    .family = QAFamily::classic,
    .question = "Are the frames flagged interlaced, and which of their fields comes first?",
    .needs = QANeeds::pictures,
    .saysSomething = true,
    .settings = kSettings,
    .displays = {},
    .make = makeRun<make>,
};

}  // namespace qatester

QA_FieldDominance QATester::checkFieldDominance() {
  return qatester::runAlone(context(), qatester::make);
}
