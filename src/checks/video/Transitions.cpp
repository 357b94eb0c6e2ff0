#include "checks/video/Transitions.h"

#include <algorithm>
#include <utility>

#include "checks/video/RelationSum.h"
#include "tester/QATester.h"

namespace qatester {

namespace {

constexpr VideoCheckProfile kProfile{
    .tag = "QATransition",
    .budgetKey = "TransitionFrameChecks",
    .progress = &QAListener::onTimecodeProgress,  // shared with the timecode check
    .logsCompletion = false,
};

constexpr int kCouldNotRun = -1;
constexpr int kRows = 255;

float percentChangeFrom(const CheckContext& context) {
  return std::max(context.floatSetting("TransitionPercentChange", "0.1"), 0.0F);
}

}  // namespace

TransitionMeasurement::TransitionMeasurement(const CheckContext& context, float percentChange)
    : context_(context), percentChange_(percentChange), counter_(percentChange) {}

void TransitionMeasurement::begin(float, int budget) {
  counter_ = TransitionCounter(percentChange_);
  known_ = 0;
  times_.clear();
  plot_ = FramePlot(budget, kRows);
}

Added TransitionMeasurement::add(int index, const DecodedPicture& picture) {
  // Pictures of different sizes have no relation: the second is like a first one.
  const int known =
      middle_.width() == picture.width() && middle_.height() == picture.height() ? known_ : 0;
  float sum = 0.0F;
  const bool converted = makeGrey(picture, current_, [&](int first, int count) {
    if (known == 2) {
      const auto pixels = static_cast<std::size_t>(current_.row(count) - current_.row(0));
      sum = addRelations(sum, middle_.row(first), before_.row(first), current_.row(first), pixels);
    }
  });
  if (!converted) {
    return Added::unconvertible;
  }
  if (known == 2) {
    const int level = levelOf(meanRelation(sum, current_.width(), current_.height()));
    if (counter_.add(level)) {
      times_.push_back(picture.yuv().time);
    }
    if (context_.displays.wanted()) {
      plot(index, level);
    }
  }
  if (context_.displays.wanted()) {
    context_.displays.show("Video Change", index, plot_.canvas());
    context_.displays.repaint();
  }
  std::swap(before_, middle_);
  std::swap(middle_, current_);
  known_ = std::min(known + 1, 2);
  return Added::measured;
}

void TransitionMeasurement::plot(int index, int level) {
  plot_.markGreen(index, kRows - 1 - level);
  for (int row = 0; row < counter_.lastJump(); ++row) {
    plot_.markRed(index, kRows - 1 - row);
  }
}

void TransitionMeasurement::describe(QACheckOutcome& outcome) const {
  for (const double seconds : times_) {
    outcome.figures.push_back({"transitionSeconds", seconds});
  }
}

}  // namespace qatester

int QATester::checkVideoTransitions() {
  const qatester::CheckContext check = context();
  qatester::TransitionMeasurement measurement(check, qatester::percentChangeFrom(check));
  return qatester::runVideoCheck(check, qatester::kProfile, measurement) ? measurement.verdict()
                                                                         : qatester::kCouldNotRun;
}
