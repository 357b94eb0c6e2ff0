#include <cstdio>

#include "checks/CheckList.h"
#include "checks/video/ColourMeasurement.h"
#include "media/PlanarPicture.h"
#include "tester/QATester.h"
#include "tester/Readings.h"
#include "tester/SettingRows.h"
#include "visual/ColourDisplays.h"

namespace qatester {

namespace {

constexpr QASetting kSettings[] = {
    frameBudget("GamutFrameChecks"),
    wholeLimit("GamutMin", "0", QASetting::kMost, "", "lower limit of R, G and B, exclusive"),
    wholeLimit("GamutMax", "255", QASetting::kMost, "", "upper limit of R, G and B, exclusive"),
};

constexpr VideoCheckProfile kProfile{
    .check = {.name = "gamut",
              .tag = "QAGamut",
              .budget = &kSettings[0],
              .progress = &QAListener::onGamutProgress},
    .discardsAudio = false,
};

constexpr const char* kChromaticity = "CIE1931 Display";
constexpr const char* kDistributions = "YCbCr Display";
constexpr const char* kDisplays[] = {kChromaticity, kDistributions};

std::vector<QALimits> limitsFrom(const CheckContext& context) {
  return {{.of = "RGB",
           .min = static_cast<double>(context.whole(kSettings[1])),
           .max = static_cast<double>(context.whole(kSettings[2]))}};
}

/// The extremes of colours, and the "CIE1931 Display" and "YCbCr Display" of each picture. The
/// first picture that cannot be read ends the check, which has then failed.
class GamutMeasurement : public ColourMeasurement<QA_GamutLevel> {
 public:
  using ColourMeasurement::ColourMeasurement;

  Taken add(int index, const DecodedPicture& decoded) override {
    OxVideoFrameYUV& picture = decoded.yuv();
    if (!planarPicture(picture)) {
      mayPass_ = false;
      if (context_.logger != nullptr) {
        context_.log("QAGamut: Specified pixel format not supported.");
      } else {
        std::puts("QATester::Gamut - specified pixel format not supported.");
      }
      return Taken::endsCheck;
    }
    if (context_.displays.wanted()) {
      context_.displays.show(kChromaticity, index,
                             drawCIE1931(picture, context_.displays.canvases()).get());
      context_.displays.show(kDistributions, index,
                             drawLinearGamut(picture, context_.displays.canvases()).get());
      context_.displays.repaint();
    }
    last_ = measured(picture, getGamutLimits);
    level_ = MaxChannels(level_, last_);
    return Taken::measured;
  }
};

std::unique_ptr<VideoCheck<GamutMeasurement>> make(const CheckContext& context) {
  return std::make_unique<VideoCheck<GamutMeasurement>>(context, kProfile, context,
                                                        limitsFrom(context));
}

}  // namespace

constinit const QACheck gamutCheck{
    .name = kProfile.check.name,
    .tag = kProfile.check.tag,
    .family = QAFamily::classic,
    .question = "Do the colours of every pixel stay inside one range?",
    .needs = QANeeds::pictures,
    .saysSomething = true,
    .settings = kSettings,
    .displays = kDisplays,
    .make = makeRun<make>,
};

}  // namespace qatester

QA_GamutLevel QATester::checkGamut() {
  return qatester::runAlone(context(), qatester::make);
}
