#include "robustness/EveryCheck.h"

#include <cstdio>
#include <filesystem>
#include <iterator>
#include <memory>

#include "support/WaitUntil.h"
#include "tester/QATester.h"

namespace qatest {

namespace {

namespace fs = std::filesystem;

template <typename... Numbers>
std::string texts(Numbers... numbers) {
  std::string all;
  const auto add = [&](double number) {
    char text[64];
    std::snprintf(text, sizeof text, "%a ", number);
    all += text;
  };
  (add(static_cast<double>(numbers)), ...);
  return all;
}

template <typename Level>
std::string extremes(const Level& level) {
  return texts(level.passed, level.rMax, level.rMin, level.gMax, level.gMin, level.bMax,
               level.bMin);
}

std::string levelsOf(QATester& tester) {
  const std::unique_ptr<QA_AudioLevels> record(tester.checkAudioLevels());
  if (record == nullptr) {
    return "none";
  }
  const std::unique_ptr<QA_ChannelLevel[]> levels(record->levels);
  std::string text = texts(record->count, record->setup);
  for (uint32_t i = 0; i < record->count; ++i) {
    const QA_ChannelLevel& level = levels[i];
    text += texts(level.dynamicRange, level.maxLevel, level.minLevel, level.audioStreamNumber,
                  level.channelNumber, level.passed);
  }
  return text;
}

long entriesOf(const char* folder) {
  return static_cast<long>(std::distance(fs::directory_iterator(folder), {}));
}

}  // namespace

const std::vector<NamedCheck>& everyCheck() {
  static const std::vector<NamedCheck> checks{
      {"valid", [](QATester& t) { return texts(t.isValidFile()); }},
      {"frame-rate",
       [](QATester& t) {
         const QA_FrameRate r = t.checkFrameRate();
         return texts(r.passed, r.declaredFps, r.measuredFps);
       }},
      {"field-dominance",
       [](QATester& t) {
         const QA_FieldDominance r = t.checkFieldDominance();
         return texts(r.frameType, r.fieldType);
       }},
      {"pulldown",
       [](QATester& t) {
         const QA_PullDown r = t.checkFramePullDown();
         return texts(r.cadenceFirst, r.cadenceSecond, r.confidence, r.detected);
       }},
      {"tearing", [](QATester& t) { return texts(t.checkTearing()); }},
      {"timecode", [](QATester& t) { return texts(t.checkTimecode()); }},
      {"transitions", [](QATester& t) { return texts(t.checkVideoTransitions()); }},
      {"chroma",
       [](QATester& t) {
         const QA_ChromaLevel r = t.checkChroma();
         return extremes(r) + texts(r.yMax, r.yMin);
       }},
      {"gamut", [](QATester& t) { return extremes(t.checkGamut()); }},
      {"levels", levelsOf},
      {"loudness",
       [](QATester& t) {
         const QA_Loudness r = t.checkITUR1770Loudness();
         return texts(r.loudness, r.passed);
       }},
      {"mono", [](QATester& t) { return texts(t.checkMono()); }},
      {"phase", [](QATester& t) { return texts(t.checkAudioPhase()); }},
      {"drop-no-drop", [](QATester& t) { return texts(t.checkDropNoDrop()); }},
  };
  return checks;
}

OpenThings openThings() {
  return {entriesOf("/proc/self/fd"), entriesOf("/proc/self/task")};
}

OpenThings settledThings(const OpenThings& allowed) {
  OpenThings now = openThings();
  waitUntil([&] {
    now = openThings();
    return now.descriptors <= allowed.descriptors && now.threads <= allowed.threads;
  });
  return now;
}

}  // namespace qatest
