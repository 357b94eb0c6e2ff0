#include "checks/video/Chroma.h"

#include "checks/video/ColourLevels.h"
#include "media/PlanarPicture.h"
#include "tester/QATester.h"
#include "visual/ColourDisplays.h"

namespace qatester {

namespace {

constexpr VideoCheckProfile kProfile{
    .tag = "QAChroma",
    .budgetKey = "ChromaFrameChecks",
    .progress = &QAListener::onChromaProgress,
    .messageEndsWithFullStop = false,
};

ChromaLimits limitsFrom(const CheckContext& context) {
  return {.rgbMin = context.intSetting("ChromaRGBMin", "0"),
          .rgbMax = context.intSetting("ChromaRGBMax", "255"),
          .yMin = context.intSetting("ChromaYMin", "0"),
          .yMax = context.intSetting("ChromaYMax", "255")};
}

}  // namespace

void ChromaMeasurement::begin(float, int) {
  level_ = {};
}

Added ChromaMeasurement::add(int index, OxVideoFrameYUV& picture) {
  const bool readable = planarPicture(picture).has_value();
  if (!readable && context_.options.console) {
    return Added::unreadable;  // reading it would write on standard output
  }
  if (context_.displays.wanted()) {
    context_.displays.show("Diamond Display", index, drawDiamond(picture).get());
    context_.displays.repaint();
  }
  level_ = MaxChannels(getChromaLimits(picture), level_);
  return readable ? Added::measured : Added::unreadable;
}

std::vector<QALimits> ChromaMeasurement::limits() const {
  return {{"RGB", limits_.rgbMin, limits_.rgbMax}, {"Y", limits_.yMin, limits_.yMax}};
}

QA_ChromaLevel ChromaMeasurement::verdict() const {
  const auto inside = [](int min, int max, int lowest, int highest) {
    return lowest <= highest && highest < max && lowest > min;
  };
  QA_ChromaLevel result = level_;
  result.passed = inside(limits_.rgbMin, limits_.rgbMax, result.rMin, result.rMax) &&
                  inside(limits_.rgbMin, limits_.rgbMax, result.gMin, result.gMax) &&
                  inside(limits_.rgbMin, limits_.rgbMax, result.bMin, result.bMax) &&
                  inside(limits_.yMin, limits_.yMax, result.yMin, result.yMax);
  return result;
}

}  // namespace qatester

QA_ChromaLevel QATester::checkChroma() {
  const qatester::CheckContext check = context();
  qatester::ChromaMeasurement measurement(check, qatester::limitsFrom(check));
  return qatester::runVideoCheck(check, qatester::kProfile, measurement) ? measurement.verdict()
                                                                         : QA_ChromaLevel{};
}
