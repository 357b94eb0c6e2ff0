#include "checks/video/Tearing.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "checks/CheckList.h"
#include "checks/video/VerticalChanges.h"
#include "foundation/Conversions.h"
#include "tester/QATester.h"
#include "tester/Readings.h"
#include "tester/SettingRows.h"
#include "tester/Words.h"
#include "visual/WaveformDisplay.h"

namespace qatester {

namespace {

constexpr QASetting kSettings[] = {
    frameBudget("TearingFrameChecks"),
    {"TearingThreshold", "0.1", QASetting::Kind::real, 0.0, std::numeric_limits<float>::max(), "",
     "share of the picture that may be torn on average, exclusive"},
};
constexpr const QASetting& kThreshold = kSettings[1];

constexpr VideoCheckProfile kProfile{
    .check = {.name = "tearing",
              .tag = "QATearing",
              .budget = &kSettings[0],
              .progress = &QAListener::onTearingProgress},
    .bound = boundTearingBudget,
    .boundFailure = "Could not get the maximum allowed checks.",
};

constexpr int kRows = 100;
constexpr const char* kOverlay = "Overlay Tearing";
constexpr const char* kPlot = "Percent of Tearing and Differencing";
constexpr const char* kDisplays[] = {kOverlay, kPlot};

std::unique_ptr<VideoCheck<TearingMeasurement>> make(const CheckContext& context) {
  return std::make_unique<VideoCheck<TearingMeasurement>>(context, kProfile, context,
                                                          context.real(kThreshold));
}

}  // namespace

int boundTearingBudget(int budget, float fps, double durationSeconds, int slateFrames) {
  const auto wholeSeconds = static_cast<float>(truncateTo<int>(durationSeconds));
  const int64_t inFile = truncateTo<int>(static_cast<double>(wholeSeconds * fps));
  const int64_t available = inFile - slateFrames;
  if (budget <= available) {
    return budget;
  }
  return truncateTo<int>(static_cast<double>(static_cast<float>(available) - fps));
}

TearingMeasurement::TearingMeasurement(const CheckContext& context, float threshold)
    : context_(context), threshold_(threshold) {}

void TearingMeasurement::begin(float, int budget) {
  budget_ = budget;
  hasGradient_ = false;
  previousPercent_ = highestPercent_ = 0;
  sum_ = 0;
  plot_ = FramePlot(budget, kRows);
}

Taken TearingMeasurement::add(int index, const DecodedPicture& picture) {
  const int width = picture.width();
  const int height = picture.height();
  // Pictures of different sizes cannot be compared: the second is like a first one.
  const bool comparable =
      hasGradient_ && gradient_.width() == width && gradient_.height() == height;
  if (comparable && context_.displays.wanted()) {
    gradientBefore_ = gradient_;
  }
  int64_t strong = 0;
  const auto measureRows = [&](const GreyPicture& grey, int first, int count) {
    if (first == 0) {
      // Of a picture that cannot be converted nothing is left: the last one stays.
      gradient_.resize(width, height);
      hasGradient_ = false;
    }
    // The differences of the last row above, and of all rows but the last one.
    const int above = first > 0 ? 1 : 0;
    strong += changeGradient(grey.row(first - above), count - 1 + above, width,
                             gradient_.row(first - above));
  };
  if (picture.grey(measureRows) == nullptr) {
    return Taken::missed;
  }
  hasGradient_ = true;
  percent_.reset();
  if (comparable) {
    const int percent = percentOfPixels(strong, width, height);
    percent_ = percent;
    sum_ += percent;
    highestPercent_ = std::max(highestPercent_, percent);
    if (context_.displays.wanted()) {
      show(index, picture, percent);
    }
    previousPercent_ = percent;
  }
  return Taken::measured;
}

void TearingMeasurement::show(int index, const DecodedPicture& picture, int percent) {
  plot_.markRed(index, kRows - 1 - std::abs(percent - previousPercent_));
  plot_.markGreen(index, percent);

  const UniqueCanvas overlay =
      drawImageData(picture.converted().record(), context_.displays.canvases());
  if (overlay != nullptr) {
    for (int y = 0; y < gradient_.height(); ++y) {
      const uint8_t* now = gradient_.row(y);
      const uint8_t* before = gradientBefore_.row(y);
      for (int x = kBarMargin; x < gradient_.width() - kBarMargin; ++x) {
        if (std::abs(now[x] - before[x]) >= kBarValue) {
          paint(*overlay, x, y, kRed);
        }
      }
    }
  }
  context_.displays.show(kOverlay, index, overlay.get());
  context_.displays.show(kPlot, index, plot_.canvas());
  context_.displays.repaint();
}

std::vector<double> TearingMeasurement::figures() const {
  return {percent_.has_value() ? *percent_ : std::numeric_limits<double>::quiet_NaN()};
}

double TearingMeasurement::meanShare() const {
  return static_cast<double>(static_cast<float>(sum_)) / 100.0 /
         static_cast<double>(static_cast<float>(budget_));
}

bool TearingMeasurement::verdict() const {
  return budget_ > 0 && static_cast<double>(threshold_) > meanShare();
}

void TearingMeasurement::describe(QACheckOutcome& outcome) const {
  const bool passed = recordOf(*this, outcome.began);
  const auto threshold = static_cast<double>(threshold_);
  outcome.values = {{"passed", passed, ""}};
  if (outcome.began) {
    outcome.values.push_back({"meanShare", budget_ > 0 ? meanShare() : 0.0, ""});
    outcome.values.push_back({"highestPercent", int64_t{highestPercent_}, "%"});
    outcome.values.push_back({"threshold", threshold, ""});
  }
  addFrameCounts(outcome);
  outcome.limits = {{.of = "meanShare", .max = threshold}};
  outcome.state = judged(passed);
  const double mean = budget_ > 0 ? std::round(10000.0 * meanShare()) / 10000.0 : 0.0;
  outcome.summary = percent(mean) + " of the picture torn on average, at most " +
                    std::to_string(highestPercent_) + " % in a frame (limit " + percent(threshold) +
                    ")";
  addWords(outcome.summary, "; ", shortfall(outcome, "frames"));
}

constinit const QACheck tearingCheck{
    .name = kProfile.check.name,
    .tag = kProfile.check.tag,
    .family = QAFamily::classic,
    .question = "Does the picture change from frame to frame without tears?",
    .needs = QANeeds::pictures,
    .saysSomething = true,
    .settings = kSettings,
    .displays = kDisplays,
    .make = makeRun<make>,
};

}  // namespace qatester

bool QATester::checkTearing() {
  return qatester::runAlone(context(), qatester::make);
}
