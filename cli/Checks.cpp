#include "Checks.h"

#include <algorithm>
#include <memory>

#include "Figures.h"
#include "Report.h"
#include "tester/QATester.h"

namespace cli {

namespace {

bool isCutShort(const QACheckOutcome& outcome) {
  return outcome.stopped && outcome.count < outcome.budget;
}

/// `state`, if the check came to its end.
State ifComplete(const QACheckOutcome& outcome, State state) {
  return outcome.measured && !isCutShort(outcome) ? state : State::notMeasured;
}

/// The state of a check that judges.
State judged(const QACheckOutcome& outcome, bool passed) {
  return ifComplete(outcome, passed ? State::pass : State::fail);
}

std::string reasonOf(const QACheckOutcome& outcome) {
  // Frames may have come and have been too few to measure anything.
  if (outcome.count > 0 && isCutShort(outcome)) {
    return "stopped before the check was complete";
  }
  if (outcome.reason.empty() && !outcome.measured) {
    return "nothing was measured";
  }
  return outcome.reason;
}

/// What a check that judges found; figures of nothing are left out.
Findings judgedFindings(const QACheckOutcome& outcome, bool passed, const Json& result,
                        const std::string& figures) {
  return {judged(outcome, passed), result, outcome.measured ? figures : "", reasonOf(outcome)};
}

/// The same for a check that measures without judging.
Findings informedFindings(const QACheckOutcome& outcome, const Json& result,
                          const std::string& figures) {
  return {ifComplete(outcome, State::info), result, outcome.measured ? figures : "",
          reasonOf(outcome)};
}

/// A text that the tester hands out and takes back.
std::string textOf(QATester& tester, char* handedOut) {
  const auto release = [&](void* text) { tester.release(&text); };
  const std::unique_ptr<char, decltype(release)> text(handedOut, release);
  return text.get();
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
  std::string figures =
      "declared " + fps(record.declaredFps) + ", measured " + fps(record.measuredFps);
  const std::string missing = shortfall(outcome, "frames");
  figures += (missing.empty() ? "" : ", ") + missing;
  return judgedFindings(outcome, record.passed, frameRateResult(record), figures);
}

Json fieldResult(const QA_FieldDominance& record, const std::string& frameType,
                 const std::string& fieldType) {
  return {{"frameType", static_cast<int>(record.frameType)},
          {"fieldType", static_cast<int>(record.fieldType)},
          {"frameTypeText", frameType},
          {"fieldTypeText", fieldType}};
}

Findings runFieldDominance(QATester& tester, const QACheckOutcome& outcome) {
  const QA_FieldDominance record = tester.checkFieldDominance();
  const std::string frameType = textOf(tester, tester.getFrameTypeText(record.frameType));
  const std::string fieldType = textOf(tester, tester.getFieldTypeText(record.fieldType));
  return informedFindings(outcome, fieldResult(record, frameType, fieldType),
                          fieldFigures(record, frameType, fieldType, outcome));
}

Json pulldownResult(const QA_PullDown& record) {
  return {{"cadenceFirst", record.cadenceFirst},
          {"cadenceSecond", record.cadenceSecond},
          {"confidence", numberJson(record.confidence)},
          {"detected", record.detected}};
}

Findings runPulldown(QATester& tester, const QACheckOutcome& outcome) {
  const QA_PullDown record = tester.checkFramePullDown();
  return informedFindings(outcome, pulldownResult(record), pulldownFigures(record, outcome));
}

Json passedResult(bool passed) {
  return {{"passed", passed}};
}

Findings runTearing(QATester& tester, const QACheckOutcome& outcome) {
  const bool passed = tester.checkTearing();
  return judgedFindings(outcome, passed, passedResult(passed), tearingFigures(outcome));
}

Json timecodeResult(bool completed) {
  return {{"completed", completed}};
}

Findings runTimecode(QATester& tester, const QACheckOutcome& outcome) {
  const bool completed = tester.checkTimecode();
  return informedFindings(outcome, timecodeResult(completed), timecodeFigures(outcome));
}

Json transitionsResult(int transitions) {
  return {{"transitions", transitions}};
}

Findings runTransitions(QATester& tester, const QACheckOutcome& outcome) {
  const int transitions = tester.checkVideoTransitions();
  return informedFindings(outcome, transitionsResult(transitions), transitionFigures(outcome));
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
  return judgedFindings(outcome, record.passed, chromaResult(record),
                        colourFigures(channels, outcome));
}

Json gamutResult(const QA_GamutLevel& record) {
  return rgbResult(record);
}

Findings runGamut(QATester& tester, const QACheckOutcome& outcome) {
  const QA_GamutLevel record = tester.checkGamut();
  return judgedFindings(outcome, record.passed, gamutResult(record),
                        colourFigures(rgbChannels(record), outcome));
}

struct DeleteLevels {
  void operator()(QA_AudioLevels* record) const {
    delete[] record->levels;
    delete record;
  }
};

Json levelJson(const QA_ChannelLevel& level) {
  return {{"dynamicRange", numberJson(level.dynamicRange)},
          {"maxLevel", numberJson(level.maxLevel)},
          {"minLevel", numberJson(level.minLevel)},
          {"audioStreamNumber", level.audioStreamNumber},
          {"channelNumber", level.channelNumber},
          {"passed", level.passed}};
}

Json levelsResult(const QA_AudioLevels& record, const std::string& setup) {
  Json levels = Json::array();
  for (uint32_t i = 0; i < record.count; ++i) {
    levels.push_back(levelJson(record.levels[i]));
  }
  return {{"setup", static_cast<int>(record.setup)},
          {"setupText", setup},
          {"count", record.count},
          {"levels", levels}};
}

/// Entries that nothing was measured into say nothing about the file.
bool measuredEntriesPassed(const QA_AudioLevels& record, const QACheckOutcome& outcome) {
  for (uint32_t i = 0; i < record.count; ++i) {
    if (isMeasured(outcome, i) && !record.levels[i].passed) {
      return false;
    }
  }
  return true;
}

Findings runLevels(QATester& tester, const QACheckOutcome& outcome) {
  const std::unique_ptr<QA_AudioLevels, DeleteLevels> record(tester.checkAudioLevels());
  if (record == nullptr) {
    return {State::notMeasured, nullptr, "", reasonOf(outcome)};
  }
  return judgedFindings(
      outcome, measuredEntriesPassed(*record, outcome),
      levelsResult(*record, textOf(tester, tester.getStreamSetupText(record->setup))),
      levelFigures(*record, outcome));
}

Json loudnessResult(const QA_Loudness& record) {
  return {{"loudness", numberJson(record.loudness)}, {"passed", record.passed}};
}

Findings runLoudness(QATester& tester, const QACheckOutcome& outcome) {
  const QA_Loudness record = tester.checkITUR1770Loudness();
  Findings findings = judgedFindings(outcome, record.passed, loudnessResult(record),
                                     loudnessFigures(record, outcome));
  if (findings.state == State::fail && !hasBand(outcome)) {
    findings.state = State::info;
  }
  return findings;
}

Findings runMono(QATester& tester, const QACheckOutcome& outcome) {
  const bool passed = tester.checkMono();
  return judgedFindings(outcome, passed, passedResult(passed), monoFigures(outcome));
}

Findings runPhase(QATester& tester, const QACheckOutcome& outcome) {
  const bool passed = tester.checkAudioPhase();
  return judgedFindings(outcome, passed, passedResult(passed), phaseFigures(outcome));
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
      {"field-dominance", "whether the frames are interlaced, and which field comes first",
       Slot::fieldDominance, true, [] { return fieldResult({}, "Unknown", "Unknown"); },
       runFieldDominance},
      {"pulldown", "whether fields repeat as by 2:3 pulldown, or not at all", Slot::pullDown, true,
       [] { return pulldownResult({}); }, runPulldown},
      {"tearing", "whether little of the picture tears from frame to frame", Slot::tearing, true,
       [] { return passedResult(false); }, runTearing},
      {"timecode", "how many frames the whole file has, less a second's, and their timecodes",
       Slot::timecode, true, [] { return timecodeResult(false); }, runTimecode},
      {"transitions", "how often the picture changes abruptly", Slot::timecode, true,
       [] { return transitionsResult(-1); }, runTransitions},
      {"chroma", "whether R, G, B and luma of every pixel lie strictly inside their limits",
       Slot::chroma, true, [] { return chromaResult({}); }, runChroma},
      {"gamut", "whether R, G and B of every pixel lie strictly inside one range", Slot::gamut,
       true, [] { return gamutResult({}); }, runGamut},
      {"levels", "whether the highest level of every audio channel lies strictly inside its limits",
       Slot::levels, true, [] { return Json(nullptr); }, runLevels},
      {"loudness", "the ungated loudness of the first two channels (ITU-R BS.1770)", Slot::loudness,
       true, [] { return loudnessResult({}); }, runLoudness},
      {"mono", "whether the first two channels carry distinct signals", Slot::mono, true,
       [] { return passedResult(false); }, runMono},
      {"phase", "whether the first two channels are shifted by less than a limit", Slot::phase,
       true, [] { return passedResult(false); }, runPhase},
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
