// A settings file of any bytes: what is stored, what checks read of it, and the limits they set.

#include <cmath>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "foundation/Logger.h"
#include "foundation/Settings.h"
#include "fuzz/Input.h"
#include "fuzz/MemoryFile.h"
#include "tester/CheckContext.h"
#include "tester/QATester.h"

using qafuzz::MemoryFile;
using qafuzz::require;

namespace {

constexpr const char* kKeys[] = {"QATesterSlateSeconds",
                                 "QATesterVisual",
                                 "QATesterConsoleOutput",
                                 "QATesterFileOutput",
                                 "FrameRateFrameChecks",
                                 "FieldFrameChecks",
                                 "PullDownFrameChecks",
                                 "TearingFrameChecks",
                                 "TearingThreshold",
                                 "TransitionFrameChecks",
                                 "TransitionPercentChange",
                                 "ChromaFrameChecks",
                                 "ChromaRGBMin",
                                 "ChromaRGBMax",
                                 "ChromaYMin",
                                 "ChromaYMax",
                                 "GamutFrameChecks",
                                 "GamutMin",
                                 "GamutMax",
                                 "LevelFrameChecks",
                                 "LevelLowThreshold",
                                 "LevelPeakThreshold",
                                 "LoudnessFrameChecks",
                                 "LoudnessMinThreshold",
                                 "LoudnessMaxThreshold",
                                 "MonoFrameChecks",
                                 "MonoSingleSampleThreshold",
                                 "MonoSimilarSampleCountThreshold",
                                 "PhaseFrameChecks",
                                 "PhaseSampleOffsetThreshold",
                                 "",
                                 "k"};

std::string trimmed(const std::string& text) {
  const std::size_t first = text.find_first_not_of(" \t\r");
  const std::size_t last = text.find_last_not_of(" \t\r");
  return first == std::string::npos ? "" : text.substr(first, last - first + 1);
}

/// What a settings text says, worked out line by line.
struct Expected {
  explicit Expected(const std::string& text) {
    for (std::size_t at = 0; at < text.size();) {
      const std::size_t end = std::min(text.find('\n', at), text.size());
      addLine(text.substr(at, end - at));
      at = end + 1;
    }
  }

  void addLine(const std::string& line) {
    if (line.empty() || line[0] == '#') {
      return;
    }
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos || line.find('=', equals + 1) != std::string::npos) {
      ++badLines;
    } else {
      entries.emplace_back(trimmed(line.substr(0, equals)), trimmed(line.substr(equals + 1)));
    }
  }

  /// Up to its first zero, as a client reads it.
  std::string valueOf(const std::string& key, const std::string& byDefault) const {
    for (const auto& [name, value] : entries) {
      if (name == key) {
        return value.empty() ? byDefault : value.c_str();
      }
    }
    return byDefault;
  }

  std::vector<std::pair<std::string, std::string>> entries;
  int badLines = 0;
};

std::string looked(Settings& settings, const char* key, const char* byDefault) {
  const std::unique_ptr<const char[]> text(settings.GetValueOf(key, byDefault));
  return text.get();
}

void lookUp(const std::string& text, const MemoryFile& file) {
  const Expected expected(text);
  for (const QALookup lookup : {QALookup::defaults, QALookup::stored}) {
    int reports = 0;
    Logger logger(nullptr);
    logger.SetConsole([&](const std::string&) { ++reports; });
    Settings settings(file.name().c_str(), &logger, lookup);
    require(reports == expected.badLines, "every line that is none is told, and no other");
    for (const char* key : kKeys) {
      for (const char* byDefault : {"", "0.25"}) {
        require(looked(settings, key, byDefault) ==
                    (lookup == QALookup::defaults ? byDefault : expected.valueOf(key, byDefault)),
                "a look-up finds what the file says");
      }
      qatester::intSetting(settings, key, "7");
      qatester::floatSetting(settings, key, "7.5");
    }
    require(looked(settings, nullptr, nullptr).empty() || lookup == QALookup::stored,
            "nothing is found by nothing");
  }
}

double figure(const QACheckOutcome& outcome, const char* name, double otherwise) {
  for (const QAFigure& one : outcome.figures) {
    if (one.name == name) {
      return one.value;
    }
  }
  return otherwise;
}

/// Checks read their settings, and tell their limits, before they find that there is no file.
void readAsChecks(const MemoryFile& file) {
  QACheckOutcome outcome;
  QATesterOptions options;
  options.pauses = QAPauses::untilReady;
  options.lookup = QALookup::stored;
  options.displays = QADisplays::nowhere;
  options.console = [](const std::string&) {};
  options.outcome = [&](const QACheckOutcome& told) { outcome = told; };
  QATester tester("", nullptr, file.name().c_str(), nullptr, options);

  tester.checkFrameRate();
  tester.checkFieldDominance();
  tester.checkFramePullDown();
  tester.checkVideoTransitions();
  tester.checkTearing();
  require(
      !(figure(outcome, "threshold", 0.0) < 0.0) && !std::isinf(figure(outcome, "threshold", 0.0)),
      "no part of a picture is negative, or without end");
  tester.checkChroma();
  require(outcome.limits.size() == 2, "colours and luma have limits");
  tester.checkGamut();
  require(outcome.limits.size() == 1, "colours have limits");
  require(tester.checkAudioLevels() == nullptr, "there is no file");
  require(outcome.limits.at(0).min <= 0 && outcome.limits.at(0).max <= 0,
          "levels are not above full scale");
  tester.checkITUR1770Loudness();
  tester.checkMono();
  tester.checkAudioPhase();
  require(outcome.limits.at(0).max >= 1, "a lag has a limit");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const MemoryFile file(text);
  lookUp(text, file);
  readAsChecks(file);
  return 0;
}
