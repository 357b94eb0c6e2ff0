#include "checks/video/FrameRate.h"

#include <cmath>

#include "checks/CheckList.h"
#include "tester/QATester.h"
#include "tester/Readings.h"
#include "tester/SettingRows.h"
#include "tester/Words.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace qatester {

namespace {

constexpr QASetting kSettings[] = {frameBudget("FrameRateFrameChecks")};

constexpr VideoCheckProfile kProfile{
    .check = {.name = "frame-rate",
              .tag = "QAFramerate",
              .budget = &kSettings[0],
              .progress = &QAListener::onFrameRateProgress,
              .closesWindows = false},
    .skipsSlate = false,
    .startsBeforeBudget = true,
};

std::unique_ptr<VideoCheck<FrameRateMeasurement>> make(const CheckContext& context) {
  return std::make_unique<VideoCheck<FrameRateMeasurement>>(context, kProfile);
}

}  // namespace

float roundToHundredths(float value) {
  return std::floor(value * 100.0F + 0.5F) / 100.0F;
}

void FrameRateMeasurement::begin(float fps, int budget) {
  declared_ = roundToHundredths(fps);
  budget_ = budget;
  sum_ = 0.0F;
}

Taken FrameRateMeasurement::add(int index, const DecodedPicture& picture) {
  addTime(index, static_cast<double>(picture.yuv().frame->pts) / 1000000.0);
  return Taken::measured;
}

void FrameRateMeasurement::addTime(int index, double seconds) {
  last_ = std::numeric_limits<double>::quiet_NaN();
  if (seconds > 0.0) {
    const auto rate =
        static_cast<float>(static_cast<double>(static_cast<float>(index + 1)) / seconds);
    sum_ += rate;
    last_ = static_cast<double>(rate);
  }
}

QA_FrameRate FrameRateMeasurement::verdict() const {
  QA_FrameRate result;
  result.declaredFps = declared_;
  if (budget_ > 0) {
    const float mean = sum_ / static_cast<float>(budget_);
    result.measuredFps = roundToHundredths(mean);
    result.passed = result.measuredFps == result.declaredFps;
  }
  return result;
}

void FrameRateMeasurement::describe(QACheckOutcome& outcome) const {
  const QA_FrameRate record = recordOf(*this, outcome.began);
  outcome.values = {{"passed", record.passed, ""},
                    {"declaredFps", static_cast<double>(record.declaredFps), "fps"},
                    {"measuredFps", static_cast<double>(record.measuredFps), "fps"}};
  addFrameCounts(outcome);
  outcome.state = judged(record.passed);
  outcome.summary =
      "declared " + quantity(static_cast<double>(record.declaredFps), kFramesPerSecond) +
      ", measured " + quantity(static_cast<double>(record.measuredFps), kFramesPerSecond);
  addWords(outcome.summary, ", ", shortfall(outcome, "frames"));
}

constinit const QACheck frameRateCheck{
    .name = kProfile.check.name,
    .tag = kProfile.check.tag,
    .family = QAFamily::classic,
    .question = "Do the frames' time stamps show the frame rate that the file declares?",
    .needs = QANeeds::pictures,
    .saysSomething = true,
    .settings = kSettings,
    .displays = {},
    .make = makeRun<make>,
};

}  // namespace qatester

QA_FrameRate QATester::checkFrameRate() {
  return qatester::runAlone(context(), qatester::make);
}
