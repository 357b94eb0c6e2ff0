#include <cstdio>

#include "checks/video/ColourMeasurement.h"
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

std::vector<QALimits> limitsFrom(const CheckContext& context) {
  return {{.channels = "RGB",
           .min = context.intSetting("GamutMin", "0"),
           .max = context.intSetting("GamutMax", "255")}};
}

/// The extremes of colours, and the "CIE1931 Display" and "YCbCr Display" of each picture. The
/// first picture that cannot be read ends the check, which has then failed.
class GamutMeasurement : public ColourMeasurement<QA_GamutLevel> {
 public:
  using ColourMeasurement::ColourMeasurement;

  Added add(int index, const DecodedPicture& decoded) override {
    OxVideoFrameYUV& picture = decoded.yuv();
    if (!planarPicture(picture)) {
      mayPass_ = false;
      if (context_.logger != nullptr) {
        context_.log("QAGamut: Specified pixel format not supported.");
      } else {
        std::puts("QATester::Gamut - specified pixel format not supported.");
      }
      return Added::unreadableEndsCheck;
    }
    if (context_.displays.wanted()) {
      context_.displays.show("CIE1931 Display", index,
                             drawCIE1931(picture, context_.displays.canvases()).get());
      context_.displays.show("YCbCr Display", index,
                             drawLinearGamut(picture, context_.displays.canvases()).get());
      context_.displays.repaint();
    }
    level_ = MaxChannels(level_, measured(picture, getGamutLimits));
    return Added::measured;
  }
};

}  // namespace

}  // namespace qatester

QA_GamutLevel QATester::checkGamut() {
  const qatester::CheckContext check = context();
  qatester::GamutMeasurement measurement(check, qatester::limitsFrom(check));
  return qatester::runVideoCheck(check, qatester::kProfile, measurement) ? measurement.verdict()
                                                                         : QA_GamutLevel{};
}
