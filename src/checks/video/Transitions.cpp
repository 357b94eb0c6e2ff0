#include "checks/video/Transitions.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "checks/CheckList.h"
#include "checks/video/RelationSum.h"
#include "tester/QATester.h"
#include "tester/Readings.h"
#include "tester/SettingRows.h"
#include "tester/Words.h"

namespace qatester {

namespace {

constexpr QASetting kSettings[] = {
    frameBudget("TransitionFrameChecks"),
    {"TransitionPercentChange", "0.1", QASetting::Kind::real, 0.0, QASetting::kNoLimit, "",
     "change of level from frame to frame, of 255, that begins a transition"},
};
constexpr const QASetting& kPercentChange = kSettings[1];

constexpr VideoCheckProfile kProfile{
    .check = {.name = "transitions",
              .tag = "QATransition",
              .budget = &kSettings[0],
              .progress = &QAListener::onTimecodeProgress,  // shared with the timecode check
              .complete = nullptr},
};

constexpr int kRows = 255;
constexpr std::size_t kMostTimes = 5;
constexpr const char* kPlot = "Video Change";
constexpr const char* kDisplays[] = {kPlot};

std::unique_ptr<VideoCheck<TransitionMeasurement>> make(const CheckContext& context) {
  return std::make_unique<VideoCheck<TransitionMeasurement>>(context, kProfile, context,
                                                             context.real(kPercentChange));
}

std::string summaryOf(const std::vector<double>& times, const QACheckOutcome& outcome) {
  const std::size_t shown = std::min(times.size(), kMostTimes);
  std::string text = times.empty()
                         ? "no transitions"
                         : counted(static_cast<double>(times.size()), "transition") + ", at ";
  for (std::size_t i = 0; i < shown; ++i) {
    const bool isLast = i + 1 == times.size();
    text += (i == 0 ? "" : isLast ? " and " : ", ") + quantity(times[i], kSeconds);
  }
  if (times.size() > shown) {
    text += " and " + std::to_string(times.size() - shown) + " more";
  }
  addWords(text, "; ", shortfall(outcome, "frames"));
  return text;
}

}  // namespace

TransitionMeasurement::TransitionMeasurement(const CheckContext& context, float percentChange)
    : context_(context), percentChange_(percentChange), counter_(percentChange) {}

void TransitionMeasurement::begin(float, int budget) {
  counter_ = TransitionCounter(percentChange_);
  before_ = middle_ = nullptr;
  events_.clear();
  plot_ = FramePlot(budget, kRows);
}

Taken TransitionMeasurement::add(int index, const DecodedPicture& picture) {
  // Pictures of different sizes have no relation: the second is like a first one.
  const bool hasMiddle = middle_ != nullptr && middle_->width() == picture.width() &&
                         middle_->height() == picture.height();
  const bool hasBoth = hasMiddle && before_ != nullptr;
  float sum = 0.0F;
  const auto relateRows = [&](const GreyPicture& grey, int first, int count) {
    if (hasBoth) {
      const auto pixels = static_cast<std::size_t>(grey.row(count) - grey.row(0));
      sum = addRelations(sum, middle_->row(first), before_->row(first), grey.row(first), pixels);
    }
  };
  std::shared_ptr<const GreyPicture> current = picture.grey(relateRows);
  if (current == nullptr) {
    return Taken::missed;
  }
  level_.reset();
  if (hasBoth) {
    const int level = levelOf(meanRelation(sum, current->width(), current->height()));
    level_ = level;
    if (counter_.add(level)) {
      events_.push_back({.startSeconds = picture.seconds(),
                         .startFrame = picture.number(),
                         .what = "transition",
                         .breaks = false});
    }
    if (context_.displays.wanted()) {
      plot(index, level);
    }
  }
  if (context_.displays.wanted()) {
    context_.displays.show(kPlot, index, plot_.canvas());
    context_.displays.repaint();
  }
  before_ = hasMiddle ? std::move(middle_) : nullptr;
  middle_ = std::move(current);
  return Taken::measured;
}

std::vector<double> TransitionMeasurement::figures() const {
  return {level_.has_value() ? *level_ : std::numeric_limits<double>::quiet_NaN()};
}

void TransitionMeasurement::plot(int index, int level) {
  plot_.markGreen(index, kRows - 1 - level);
  for (int row = 0; row < counter_.lastJump(); ++row) {
    plot_.markRed(index, kRows - 1 - row);
  }
}

void TransitionMeasurement::describe(QACheckOutcome& outcome) const {
  std::vector<double> times;
  for (const QAEvent& event : events_) {
    times.push_back(event.startSeconds.value_or(0.0));
  }
  outcome.values = {{"transitions", int64_t{recordOf(*this, outcome.began)}, ""}};
  addFrameCounts(outcome);
  outcome.state = QAState::info;
  outcome.summary = summaryOf(times, outcome);
  if (outcome.began) {
    outcome.events = events_;
    outcome.values.push_back({"transitionSeconds", std::move(times), "s"});
  }
}

constinit const QACheck transitionsCheck{
    .name = kProfile.check.name,
    .tag = kProfile.check.tag,
    .family = QAFamily::classic,
    .question = "How often does the picture change abruptly?",
    .needs = QANeeds::pictures,
    .saysSomething = true,
    .settings = kSettings,
    .displays = kDisplays,
    .make = makeRun<make>,
};

}  // namespace qatester

int QATester::checkVideoTransitions() {
  return qatester::runAlone(context(), qatester::make);
}
