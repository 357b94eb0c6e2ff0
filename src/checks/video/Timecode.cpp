#include "checks/video/Timecode.h"

#include "checks/video/Timecodes.h"
#include "foundation/Conversions.h"
#include "tester/QATester.h"
#include "visual/TimecodeDisplay.h"
#include "visual/WaveformDisplay.h"

namespace qatester {

namespace {

constexpr VideoCheckProfile kProfile{
    .tag = "QATimecode",
    .budgetKey = nullptr,
    .progress = &QAListener::onTimecodeProgress,
    .skipsSlate = false,
    .bound = framesButLastSecond,
    .stopTag = "QATransition",  // clients look for the line in these words
    .logsCompletion = false,
};

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

Added TimecodeMeasurement::add(int index, const DecodedPicture& picture) {
  Displays& displays = context_.displays;
  if (!displays.possible()) {
    // A picture that cannot be converted does not count, whether or not anybody sees it.
    return picture.convertInSlices([](const ConvertedRows&) {}) ? Added::measured
                                                                : Added::unconvertible;
  }
  const ConvertedPicture converted = picture.converted();
  if (!converted.record().valid) {
    return Added::unconvertible;
  }
  displays.show("Timecode Video", index,
                drawImageData(converted.record(), displays.canvases()).get());
  displays.show("Timecodes", index,
                drawTimecodes(getTimeCode(index, true, rate_), getTimeCode(index, false, rate_),
                              index, context_.displays.canvases())
                    .get());
  displays.repaint();
  return Added::measured;
}

void TimecodeMeasurement::describe(QACheckOutcome& outcome) const {
  outcome.figures = {{"nominalRate", static_cast<double>(rate_)}};
}

}  // namespace qatester

bool QATester::checkTimecode() {
  const qatester::CheckContext check = context();
  qatester::TimecodeMeasurement measurement(check);
  return qatester::runVideoCheck(check, qatester::kProfile, measurement);
}
