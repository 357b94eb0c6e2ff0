#include "checks/video/Tearing.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "checks/video/VerticalChanges.h"
#include "foundation/Conversions.h"
#include "tester/QATester.h"
#include "visual/WaveformDisplay.h"

namespace qatester {

namespace {

constexpr VideoCheckProfile kProfile{
    .tag = "QATearing",
    .budgetKey = "TearingFrameChecks",
    .progress = &QAListener::onTearingProgress,
    .bound = boundTearingBudget,
    .boundFailure = ": Could not get the maximum allowed checks.",
};

constexpr int kRows = 100;

float thresholdFrom(const CheckContext& context) {
  const float threshold = context.floatSetting("TearingThreshold", "0.1");
  return std::clamp(threshold, 0.0F, std::numeric_limits<float>::max());
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

Added TearingMeasurement::add(int index, const DecodedPicture& picture) {
  const int width = picture.width();
  const int height = picture.height();
  // Pictures of different sizes cannot be compared: the second is like a first one.
  const bool comparable =
      hasGradient_ && gradient_.width() == width && gradient_.height() == height;
  if (comparable && context_.displays.wanted()) {
    gradientBefore_ = gradient_;
  }
  int64_t strong = 0;
  const bool converted = makeGreyRows(
      picture, [&](int first, int count) { return placeForRows(width, first, count); },
      [&](int first, int count) {
        if (first == 0) {
          // Of a picture that cannot be converted nothing is left: the last one stays.
          gradient_.resize(width, height);
          hasGradient_ = false;
        }
        // The differences of the last row above, and of all rows but the last one.
        const int above = first > 0 ? 1 : 0;
        const uint8_t* row = grey_.data() + (above == 0 ? width : 0);
        strong += changeGradient(row, count - 1 + above, width, gradient_.row(first - above));
      });
  if (!converted) {
    return Added::unconvertible;
  }
  hasGradient_ = true;
  if (comparable) {
    const int percent = percentOfPixels(strong, width, height);
    sum_ += percent;
    highestPercent_ = std::max(highestPercent_, percent);
    if (context_.displays.wanted()) {
      show(index, picture, percent);
    }
    previousPercent_ = percent;
  }
  return Added::measured;
}

/// Room for rows behind the last one of those before, so that no more than a few stay in memory.
uint8_t* TearingMeasurement::placeForRows(int width, int first, int count) {
  const auto columns = static_cast<std::size_t>(width);
  if (first > 0) {
    std::copy_n(grey_.end() - width, width, grey_.begin());
  }
  grey_.resize(columns * static_cast<std::size_t>(count + 1));
  return grey_.data() + columns;
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
  context_.displays.show("Overlay Tearing", index, overlay.get());
  context_.displays.show("Percent of Tearing and Differencing", index, plot_.canvas());
  context_.displays.repaint();
}

double TearingMeasurement::meanShare() const {
  return static_cast<double>(static_cast<float>(sum_)) / 100.0 /
         static_cast<double>(static_cast<float>(budget_));
}

bool TearingMeasurement::verdict() const {
  return budget_ > 0 && static_cast<double>(threshold_) > meanShare();
}

void TearingMeasurement::describe(QACheckOutcome& outcome) const {
  outcome.figures = {{"meanShare", budget_ > 0 ? meanShare() : 0.0},
                     {"highestPercent", static_cast<double>(highestPercent_)},
                     {"threshold", static_cast<double>(threshold_)}};
}

}  // namespace qatester

bool QATester::checkTearing() {
  const qatester::CheckContext check = context();
  qatester::TearingMeasurement measurement(check, qatester::thresholdFrom(check));
  return qatester::runVideoCheck(check, qatester::kProfile, measurement) && measurement.verdict();
}
