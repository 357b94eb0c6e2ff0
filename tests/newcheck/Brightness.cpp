// A check as a developer adds one: this file, and its line in the list of checks.

#include <algorithm>
#include <cstdint>
#include <memory>

#include "checks/CheckList.h"
#include "tester/SettingRows.h"
#include "tester/VideoRun.h"
#include "tester/Words.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace qatester {

namespace {

constexpr QASetting kSettings[] = {
    frameBudget("BrightnessFrameChecks"),
    wholeLimit("BrightnessMin", "40", 255, "", "lowest luma that passes"),
};
constexpr const QASetting& kMin = kSettings[1];

constexpr VideoCheckProfile kProfile{
    .check = {.name = "brightness", .tag = "QABrightness", .budget = &kSettings[0]},
};

/// The brightest pixel of all pictures.
class BrightnessMeasurement : public VideoMeasurement {
 public:
  explicit BrightnessMeasurement(int min) : min_(min) {}

  void begin(float, int) override {}

  Taken add(int, const DecodedPicture& picture) override {
    const AVFrame& frame = *picture.yuv().frame;
    for (int y = 0; y < picture.height(); ++y) {
      const uint8_t* row = frame.data[0] + std::ptrdiff_t{frame.linesize[0]} * y;
      brightest_ = std::max<int>(brightest_, *std::max_element(row, row + picture.width()));
    }
    return Taken::measured;
  }

  void describe(QACheckOutcome& outcome) const override {
    outcome.values = {{"brightest", int64_t{brightest_}, ""}};
    addFrameCounts(outcome);
    outcome.limits = {{.of = "brightest", .min = static_cast<double>(min_)}};
    outcome.state = judged(brightest_ >= min_);
    outcome.summary = "brightest pixel " + std::to_string(brightest_);
  }

  int verdict() const { return brightest_; }

 private:
  int min_;
  int brightest_ = 0;
};

std::unique_ptr<VideoCheck<BrightnessMeasurement>> make(const CheckContext& context) {
  return std::make_unique<VideoCheck<BrightnessMeasurement>>(context, kProfile,
                                                             context.whole(kMin));
}

}  // namespace

constinit const QACheck brightnessCheck{
    .name = kProfile.check.name,
    .tag = kProfile.check.tag,
    .family = QAFamily::programme,
    .question = "Is any pixel bright?",
    .needs = QANeeds::pictures,
    .saysSomething = true,
    .severity = QASeverity::fail,
    .settings = kSettings,
    .displays = {},
    .make = makeRun<make>,
};

}  // namespace qatester
