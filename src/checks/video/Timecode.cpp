#include "checks/video/Timecode.h"

#include "checks/CheckList.h"
#include "checks/video/Timecodes.h"
#include "foundation/Conversions.h"
#include "tester/QATester.h"
#include "tester/Readings.h"
#include "tester/Words.h"
#include "visual/TimecodeDisplay.h"
#include "visual/WaveformDisplay.h"

namespace qatester {

namespace {

constexpr VideoCheckProfile kProfile{
    .check = {.name = "timecode",
              .tag = "QATimecode",
              .progress = &QAListener::onTimecodeProgress,
              .stopTag = "QATransition",  // clients look for the line in these words
              .complete = nullptr},
    .skipsSlate = false,
    .countsOnly = true,
    .bound = framesButLastSecond,
};

constexpr const char* kPicture = "Timecode Video";
constexpr const char* kTexts = "Timecodes";
constexpr const char* kDisplays[] = {kPicture, kTexts};

std::unique_ptr<VideoCheck<TimecodeMeasurement>> make(const CheckContext& context) {
  return std::make_unique<VideoCheck<TimecodeMeasurement>>(context, kProfile, context);
}

}  // namespace

int framesButLastSecond(int, float fps, double durationSeconds, int) {
  const auto total =
      static_cast<float>(truncateTo<int>(static_cast<double>(fps) * durationSeconds));
  return truncateTo<int>(static_cast<double>(total - fps));
}

int nominalRate(float fps) {
  return truncateTo<int>(static_cast<double>(fps) + 0.5);
}

void TimecodeMeasurement::begin(float fps, int) {
  rate_ = nominalRate(fps);
}

Taken TimecodeMeasurement::add(int index, const DecodedPicture& picture) {
  Displays& displays = context_.displays;
  if (!displays.possible()) {
    // A picture that cannot be converted does not count, whether or not anybody sees it.
    return picture.isConvertible() ? Taken::measured : Taken::missed;
  }
  const ConvertedPicture& converted = picture.converted();
  if (!converted.record().valid) {
    return Taken::missed;
  }
  displays.showOrPause(kPicture, index,
                       drawImageData(converted.record(), displays.canvases()).get());
  displays.show(kTexts, index,
                drawTimecodes(getTimeCode(index, true, rate_), getTimeCode(index, false, rate_),
                              index, context_.displays.canvases())
                    .get());
  displays.repaint();
  return Taken::measured;
}

void TimecodeMeasurement::describe(QACheckOutcome& outcome) const {
  outcome.values = {{"completed", recordOf(*this, outcome.began), ""}};
  outcome.state = QAState::info;
  if (outcome.began) {
    outcome.values.push_back({"nominalRate", int64_t{rate_}, "fps"});
  }
  addFrameCounts(outcome);
  if (outcome.count > 0) {
    const int last = outcome.count - 1;
    const std::string first = getTimeCode(0, false, rate_);
    const std::string end = getTimeCode(last, false, rate_);
    const std::string dropFrameEnd = getTimeCode(last, true, rate_);
    outcome.values.push_back({"firstTimecode", first, ""});
    outcome.values.push_back({"lastTimecode", end, ""});
    outcome.values.push_back({"lastDropFrameTimecode", dropFrameEnd, ""});
    outcome.summary = counted(outcome.count, "frame") + ", " + first + " to " + end +
                      " (drop-frame to " + dropFrameEnd + ")";
    addWords(outcome.summary, "; ", shortfall(outcome, "frames"));
  }
}

constinit const QACheck timecodeCheck{
    .name = kProfile.check.name,
    .tag = kProfile.check.tag,
    .family = QAFamily::classic,
    .question = "How many frames are there, and what are their timecodes?",
    .needs = QANeeds::pictures,
    .saysSomething = true,
    .settings = {},
    .displays = kDisplays,
    .make = makeRun<make>,
};

}  // namespace qatester

bool QATester::checkTimecode() {
  return qatester::runAlone(context(), qatester::make);
}
