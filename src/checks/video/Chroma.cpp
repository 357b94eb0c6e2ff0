#include "checks/video/ColourMeasurement.h"
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

std::vector<QALimits> limitsFrom(const CheckContext& context) {
  return {{.channels = "RGB",
           .min = context.intSetting("ChromaRGBMin", "0"),
           .max = context.intSetting("ChromaRGBMax", "255")},
          {.channels = "Y",
           .min = context.intSetting("ChromaYMin", "0"),
           .max = context.intSetting("ChromaYMax", "255")}};
}

/// The extremes of colours and luma, and the "Diamond Display" of each picture.
class ChromaMeasurement : public ColourMeasurement<QA_ChromaLevel> {
 public:
  using ColourMeasurement::ColourMeasurement;

  Added add(int index, const DecodedPicture& decoded) override {
    OxVideoFrameYUV& picture = decoded.yuv();
    const bool readable = planarPicture(picture).has_value();
    if (!readable && context_.options.console) {
      return Added::unreadable;  // reading it would write on standard output
    }
    if (context_.displays.wanted()) {
      context_.displays.show("Diamond Display", index,
                             drawDiamond(picture, context_.displays.canvases()).get());
      context_.displays.repaint();
    }
    level_ = MaxChannels(measured(picture, getChromaLimits), level_);
    return readable ? Added::measured : Added::unreadable;
  }
};

}  // namespace

}  // namespace qatester

QA_ChromaLevel QATester::checkChroma() {
  const qatester::CheckContext check = context();
  qatester::ChromaMeasurement measurement(check, qatester::limitsFrom(check));
  return qatester::runVideoCheck(check, qatester::kProfile, measurement) ? measurement.verdict()
                                                                         : QA_ChromaLevel{};
}
