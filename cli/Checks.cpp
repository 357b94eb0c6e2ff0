#include "Checks.h"

#include <algorithm>

#include "Figures.h"
#include "Report.h"
#include "tester/QATester.h"

namespace cli {

namespace {

bool isCutShort(const QACheckOutcome& outcome) {
  return outcome.stopped && outcome.count < outcome.budget;
}

/// The state of a check that judges.
State judged(const QACheckOutcome& outcome, bool passed) {
  if (!outcome.measured || isCutShort(outcome)) {
    return State::notMeasured;
  }
  return passed ? State::pass : State::fail;
}

std::string reasonOf(const QACheckOutcome& outcome) {
  if (outcome.measured && isCutShort(outcome)) {
    return "stopped before the check was complete";
  }
  if (outcome.reason.empty() && !outcome.measured) {
    return "nothing was measured";
  }
  return outcome.reason;
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
    figures = "declared " + fps(record.declaredFps) + ", measured " + fps(record.measuredFps);
    const std::string missing = shortfall(outcome, "frames");
    figures += (missing.empty() ? "" : ", ") + missing;
  }
  return {judged(outcome, record.passed), frameRateResult(record), figures, reasonOf(outcome)};
}

template <typename Level>
Json rgbResult(const Level& level) {
  return {{"passed", level.passed}, {"rMax", level.rMax}, {"rMin", level.rMin},
          {"gMax", level.gMax},     {"gMin", level.gMin}, {"bMax", level.bMax},
          {"bMin", level.bMin}};
}

template <typename Level>
std::vector<Channel> rgbChannels(const Level& level) {
  return {
      {'R', level.rMin, level.rMax}, {'G', level.gMin, level.gMax}, {'B', level.bMin, level.bMax}};
}

Findings colourFindings(const QACheckOutcome& outcome, bool passed, const Json& result,
                        const std::vector<Channel>& channels) {
  return {judged(outcome, passed), result, outcome.measured ? colourFigures(channels, outcome) : "",
          reasonOf(outcome)};
}

Json chromaResult(const QA_ChromaLevel& record) {
  Json result = rgbResult(record);
  result["yMax"] = record.yMax;
  result["yMin"] = record.yMin;
  return result;
}

Findings runChroma(QATester& tester, const QACheckOutcome& outcome) {
  const QA_ChromaLevel record = tester.checkChroma();
  std::vector<Channel> channels = rgbChannels(record);
  channels.push_back({'Y', record.yMin, record.yMax});
  return colourFindings(outcome, record.passed, chromaResult(record), channels);
}

Json gamutResult(const QA_GamutLevel& record) {
  return rgbResult(record);
}

Findings runGamut(QATester& tester, const QACheckOutcome& outcome) {
  const QA_GamutLevel record = tester.checkGamut();
  return colourFindings(outcome, record.passed, gamutResult(record), rgbChannels(record));
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
      {"chroma", "whether R, G, B and luma of every pixel lie strictly inside their limits",
       Slot::chroma, true, [] { return chromaResult({}); }, runChroma},
      {"gamut", "whether R, G and B of every pixel lie strictly inside one range", Slot::gamut,
       true, [] { return gamutResult({}); }, runGamut},
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
