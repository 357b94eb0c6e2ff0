#include "tester/ProgrammeRun.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "tester/FrameClock.h"
#include "tester/QAVerdict.h"
#include "visual/WaveformDisplay.h"

namespace qatester {

namespace {

/// Leaves the worst of them, in no order. Those that break come before those that are only
/// reported.
void keepWorst(std::vector<QAEvent>& events, std::size_t most) {
  if (events.size() <= most) {
    return;
  }
  std::stable_sort(events.begin(), events.end(), [](const QAEvent& one, const QAEvent& other) {
    if (one.breaks != other.breaks) {
      return one.breaks;
    }
    return getEventWeight(one) > getEventWeight(other);
  });
  events.resize(most);
}

/// Of how many events of a check there are pictures.
constexpr std::size_t kMostShown = 20;

}  // namespace

ProgrammeRun::ProgrammeRun(const CheckContext& context, const CheckProfile& profile,
                           ProgrammeMeasurement& measurement)
    : CheckRun(context, profile), measurement_(measurement) {}

void ProgrammeRun::refuseFile(const std::string& reason) {
  log("Failed to load file...");
  refuse(reason);
}

void ProgrammeRun::open(const ProgrammeFacts& facts) {
  outcome_.opened = true;
  std::string reason;
  if (!measurement_.hasSubject(facts, reason)) {
    outcome_.subjectAbsent = true;
    refuse(reason);
    return;
  }
  facts_ = &facts;
  measurement_.setSeries(SeriesMaker(context_.options.measurements, check_.name, facts));
  beginMeasuring();
}

void ProgrammeRun::finish(const ProgrammeEnd& end) {
  outcome_.measured = !end.stopped;
  if (end.stopped) {
    outcome_.reason = "stopped before the end of the file";
  } else if (std::string why = measurement_.whyNothing(); !why.empty()) {
    outcome_.measured = false;
    outcome_.subjectAbsent = measurement_.foundNoSubject();
    outcome_.reason = std::move(why);
  }
  log(check_.complete);
  CheckRun::end();
}

void ProgrammeRun::describe() {
  if (!outcome_.began) {
    return;
  }
  outcome_.state = QAState::notMeasured;
  measurement_.describe(outcome_);
  if (outcome_.state != QAState::info) {
    outcome_.state = judged(!outcome_.broken);
  }
  outcome_.eventCount = static_cast<int64_t>(outcome_.events.size());
  keepTheWorst();
  addTimecodes();
}

void ProgrammeRun::keepTheWorst() {
  std::vector<QAEvent>& events = outcome_.events;
  keepWorst(events, static_cast<std::size_t>(eventsPerCheck(context_)));
  const auto start = [](const QAEvent& event) { return event.startSeconds.value_or(-1.0); };
  std::stable_sort(events.begin(), events.end(), [&](const QAEvent& one, const QAEvent& other) {
    return start(one) < start(other);
  });
}

void ProgrammeRun::addTimecodes() {
  const std::optional<FrameClock> clock =
      facts_ != nullptr ? FrameClock::of(*facts_) : std::nullopt;
  if (!clock.has_value()) {
    return;
  }
  const auto add = [&](const std::optional<double>& seconds, std::optional<int64_t>& frame,
                       std::string& timecode) {
    if (seconds.has_value()) {
      const int64_t shown = clock->frameAt(*seconds);
      frame = frame.value_or(shown);
      timecode = clock->timecodeOf(shown);  // by time: frames may be missing before it
    } else if (frame.has_value()) {
      timecode = clock->timecodeOf(*frame);
    }
  };
  for (QAEvent& event : outcome_.events) {
    add(event.startSeconds, event.startFrame, event.startTimecode);
    add(event.endSeconds, event.endFrame, event.endTimecode);
  }
}

std::vector<int64_t> ProgrammeRun::picturesToShow() {
  std::vector<int64_t> numbers;
  if (measurement_.display() == nullptr || !context_.displays.wantsEvents()) {
    return numbers;
  }
  for (QAEvent& event : outcome_.events) {
    event.pictures = measurement_.picturesOf(event);
  }
  std::vector<QAEvent> events = outcome_.events;
  keepWorst(events, kMostShown);
  for (const QAEvent& event : events) {
    numbers.insert(numbers.end(), event.pictures.begin(), event.pictures.end());
  }
  return numbers;
}

void ProgrammeRun::show(const ProgrammePicture& picture, const OxVideoFrameRGB& converted) {
  const UniqueCanvas canvas = drawImageData(converted, context_.displays.canvases());
  if (canvas == nullptr) {
    return;
  }
  measurement_.mark(picture, *canvas);
  context_.displays.showEvent(measurement_.display(), static_cast<int>(picture.number),
                              canvas.get());
}

std::string ProgrammeRun::reasonForNothing() const {
  return context_.stopped() ? "stopped before the end of the file" : "nothing was measured";
}

}  // namespace qatester
