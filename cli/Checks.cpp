#include "Checks.h"

#include <algorithm>
#include <cstdio>

#include "Report.h"
#include "tester/QATester.h"

namespace cli {

namespace {

std::string fps(float rate) {
  char text[64];
  std::snprintf(text, sizeof text, "%.2f fps", static_cast<double>(rate));
  return text;
}

/// The state of a check that judges.
State judged(const QACheckOutcome& outcome, bool passed) {
  if (!outcome.measured || (outcome.stopped && outcome.count < outcome.budget)) {
    return State::notMeasured;
  }
  return passed ? State::pass : State::fail;
}

std::string reasonOf(const QACheckOutcome& outcome) {
  if (!outcome.reason.empty()) {
    return outcome.reason;
  }
  if (outcome.stopped && outcome.count < outcome.budget) {
    return "stopped before the check was complete";
  }
  return outcome.measured ? "" : "nothing was measured";
}

/// What a reader must know when less was measured than was to be.
std::string shortfall(const QACheckOutcome& outcome, const char* unit) {
  if (outcome.count >= outcome.budget) {
    return "";
  }
  return ", only " + std::to_string(outcome.count) + " of " + std::to_string(outcome.budget) + " " +
         unit + " came";
}

Json validResult(bool valid) {
  return {{"valid", valid}};
}

Findings runValid(QATester& tester, const QACheckOutcome& outcome) {
  const bool valid = tester.isValidFile();
  return {valid ? State::pass : State::fail, validResult(valid), "", outcome.reason};
}

Json frameRateResult(const QA_FrameRate& record) {
  return {{"passed", record.passed},
          {"declaredFps", numberJson(record.declaredFps)},
          {"measuredFps", numberJson(record.measuredFps)}};
}

Findings runFrameRate(QATester& tester, const QACheckOutcome& outcome) {
  const QA_FrameRate record = tester.checkFrameRate();
  std::string figures;
  if (outcome.measured) {
    figures = "declared " + fps(record.declaredFps) + ", measured " + fps(record.measuredFps) +
              shortfall(outcome, "frames");
  }
  return {judged(outcome, record.passed), frameRateResult(record), figures, reasonOf(outcome)};
}

Json dropNoDropResult(bool result) {
  return {{"result", result}};
}

Findings runDropNoDrop(QATester& tester, const QACheckOutcome&) {
  return {State::info, dropNoDropResult(tester.checkDropNoDrop()),
          "nothing is measured: always false", ""};
}

}  // namespace

const std::vector<Check>& allChecks() {
  static const std::vector<Check> checks{
      {"valid", "whether the file can be tested: 4:2:0, 4:2:2 or 4:4:4 video, 1, 3, 4 or 8 audio",
       Slot::none, true, [] { return validResult(false); }, runValid},
      {"frame-rate", "the declared frame rate against the one that the time stamps show",
       Slot::frameRate, true, [] { return frameRateResult({}); }, runFrameRate},
      {"drop-no-drop", "nothing yet: always false", Slot::none, false,
       [] { return dropNoDropResult(false); }, runDropNoDrop},
  };
  return checks;
}

const char* stateText(State state) {
  switch (state) {
    case State::pass:
      return "pass";
    case State::fail:
      return "fail";
    case State::info:
      return "info";
    default:
      return "not-measured";
  }
}

const Check* findCheck(const std::string& name) {
  const std::vector<Check>& checks = allChecks();
  const auto found = std::find_if(checks.begin(), checks.end(),
                                  [&](const Check& check) { return check.name == name; });
  return found != checks.end() ? &*found : nullptr;
}

}  // namespace cli
