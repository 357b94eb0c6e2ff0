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
    frameBudget("ChromaFrameChecks"),
    wholeLimit("ChromaRGBMin", "0", QASetting::kMost, "", "lower limit of R, G and B, exclusive"),
    wholeLimit("ChromaRGBMax", "255", QASetting::kMost, "", "upper limit of R, G and B, exclusive"),
    wholeLimit("ChromaYMin", "0", QASetting::kMost, "", "lower limit of luma, exclusive"),
    wholeLimit("ChromaYMax", "255", QASetting::kMost, "", "upper limit of luma, exclusive"),
};

constexpr VideoCheckProfile kProfile{
    .check = {.name = "chroma",
              .tag = "QAChroma",
              .budget = &kSettings[0],
              .progress = &QAListener::onChromaProgress},
    .messageEndsWithFullStop = false,
};

constexpr const char* kDisplay = "Diamond Display";
constexpr const char* kDisplays[] = {kDisplay};

std::vector<QALimits> limitsFrom(const CheckContext& context) {
  const auto limit = [&](int row) { return static_cast<double>(context.whole(kSettings[row])); };
  return {{.of = "RGB", .min = limit(1), .max = limit(2)},
          {.of = "Y", .min = limit(3), .max = limit(4)}};
}

/// The extremes of colours and luma, and the "Diamond Display" of each picture.
class ChromaMeasurement : public ColourMeasurement<QA_ChromaLevel> {
 public:
  using ColourMeasurement::ColourMeasurement;

  Taken add(int index, const DecodedPicture& decoded) override {
    OxVideoFrameYUV& picture = decoded.yuv();
    const bool readable = planarPicture(picture).has_value();
    if (!readable && context_.options.console) {
      return Taken::leftOut;  // reading it would write on standard output
    }
    if (context_.displays.wanted()) {
      context_.displays.show(kDisplay, index,
                             drawDiamond(picture, context_.displays.canvases()).get());
      context_.displays.repaint();
    }
    last_ = measured(picture, getChromaLimits);
    level_ = MaxChannels(last_, level_);
    return readable ? Taken::measured : Taken::leftOut;
  }
};

std::unique_ptr<VideoCheck<ChromaMeasurement>> make(const CheckContext& context) {
  return std::make_unique<VideoCheck<ChromaMeasurement>>(context, kProfile, context,
                                                         limitsFrom(context));
}

}  // namespace

constinit const QACheck chromaCheck{
    .name = kProfile.check.name,
    .tag = kProfile.check.tag,
    .family = QAFamily::classic,
    .question = "Do the colours and the luma of every pixel stay inside their limits?",
    .needs = QANeeds::pictures,
    .saysSomething = true,
    .settings = kSettings,
    .displays = kDisplays,
    .make = makeRun<make>,
};

}  // namespace qatester

QA_ChromaLevel QATester::checkChroma() {
  return qatester::runAlone(context(), qatester::make);
}
