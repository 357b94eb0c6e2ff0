#include "checks/video/Gamut.h"

#include <cstdio>

#include "checks/video/ColourLevels.h"
#include "media/PlanarPicture.h"
#include "tester/QATester.h"
#include "visual/ColourDisplays.h"

namespace qatester {

namespace {

constexpr VideoCheckProfile kProfile{
    .tag = "QAGamut",
    .budgetKey = "GamutFrameChecks",
    .progress = &QAListener::onGamutProgress,
    .discardsAudio = false,
};

GamutLimits limitsFrom(const CheckContext& context) {
  return {.min = context.intSetting("GamutMin", "0"), .max = context.intSetting("GamutMax", "255")};
}

}  // namespace

void GamutMeasurement::begin(float, int) {
  level_ = {};
  unsupported_ = false;
}

Added GamutMeasurement::add(int index, OxVideoFrameYUV& picture) {
  if (!planarPicture(picture)) {
    unsupported_ = true;
    if (context_.logger != nullptr) {
      context_.log("QAGamut: Specified pixel format not supported.");
    } else {
      std::puts("QATester::Gamut - specified pixel format not supported.");
    }
    return Added::unreadableEndsCheck;
  }
  if (context_.displays.wanted()) {
    context_.displays.show("CIE1931 Display", index, drawCIE1931(picture).get());
    context_.displays.show("YCbCr Display", index, drawLinearGamut(picture).get());
    context_.displays.repaint();
  }
  level_ = MaxChannels(level_, getGamutLimits(picture));
  return Added::measured;
}

std::vector<QALimits> GamutMeasurement::limits() const {
  return {{"RGB", limits_.min, limits_.max}};
}

QA_GamutLevel GamutMeasurement::verdict() const {
  const auto inside = [this](int lowest, int highest) {
    return lowest <= highest && highest < limits_.max && lowest > limits_.min;
  };
  QA_GamutLevel result = level_;
  result.passed = !unsupported_ && inside(result.rMin, result.rMax) &&
                  inside(result.gMin, result.gMax) && inside(result.bMin, result.bMax);
  return result;
}

}  // namespace qatester

QA_GamutLevel QATester::checkGamut() {
  const qatester::CheckContext check = context();
  qatester::GamutMeasurement measurement(check, qatester::limitsFrom(check));
  return qatester::runVideoCheck(check, qatester::kProfile, measurement) ? measurement.verdict()
                                                                         : QA_GamutLevel{};
}
