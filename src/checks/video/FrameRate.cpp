#include "checks/video/FrameRate.h"

#include <cmath>

#include "tester/QATester.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace qatester {

namespace {

constexpr VideoCheckProfile kProfile{
    .tag = "QAFramerate",
    .budgetKey = "FrameRateFrameChecks",
    .progress = &QAListener::onFrameRateProgress,
    .skipsSlate = false,
    .startsBeforeBudget = true,
    .closesWindows = false,
};

}  // namespace

float roundToHundredths(float value) {
  return std::floor(value * 100.0F + 0.5F) / 100.0F;
}

void FrameRateMeasurement::begin(float fps, int budget) {
  declared_ = roundToHundredths(fps);
  budget_ = budget;
  sum_ = 0.0F;
}

Added FrameRateMeasurement::add(int index, const DecodedPicture& picture) {
  addTime(index, static_cast<double>(picture.yuv().frame->pts) / 1000000.0);
  return Added::measured;
}

void FrameRateMeasurement::addTime(int index, double seconds) {
  if (seconds > 0.0) {
    sum_ += static_cast<float>(static_cast<double>(static_cast<float>(index + 1)) / seconds);
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

}  // namespace qatester

QA_FrameRate QATester::checkFrameRate() {
  qatester::FrameRateMeasurement measurement;
  return qatester::runVideoCheck(context(), qatester::kProfile, measurement) ? measurement.verdict()
                                                                             : QA_FrameRate{};
}
