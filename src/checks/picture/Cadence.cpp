#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "checks/CheckList.h"
#include "checks/picture/FieldMeasurement.h"
#include "tester/Words.h"

namespace qatester {

namespace {

constexpr CheckProfile kProfile{.name = "cadence", .tag = "QACadence"};

constexpr const char* kDisplays[] = {"Cadence"};

bool isCadence(const FieldRun& run) {
  return run.pattern >= FieldPattern::shifted;
}

const char* textOf(FieldPattern pattern) {
  switch (pattern) {
    case FieldPattern::progressive:
      return "progressive";
    case FieldPattern::interlaced:
      return "interlaced";
    case FieldPattern::shifted:
      return "2:2 shifted";
    case FieldPattern::film23:
      return "2:3";
    case FieldPattern::film2332:
      return "2:3:3:2";
    case FieldPattern::film24In25:
      return "24 in 25";
    case FieldPattern::undetermined:
      break;
  }
  return "undetermined";
}

std::string wordsOf(const FieldRun& run) {
  std::string words = textOf(run.pattern);
  if (lengthOf(run.pattern) > 1) {
    words += ", phase ";
    words += std::to_string(run.phase);
  }
  return words;
}

class CadenceMeasurement final : public FieldMeasurement {
 public:
  const char* display() const override { return kDisplays[0]; }
  void describe(QACheckOutcome& outcome) const override {
    std::map<FieldPattern, int64_t> pictures;
    std::vector<int64_t> breaks;
    const FieldRun* before = nullptr;
    for (const FieldRun& run : runs()) {
      if (isCadence(run)) {
        pictures[run.pattern] += run.length();
        QAEvent event = eventOf(run.first, run.end, wordsOf(run).c_str());
        event.breaks = false;
        outcome.events.push_back(std::move(event));
        const bool isBreak = before != nullptr && before->pattern == run.pattern &&
                             (before->phase != run.phase || before->isTopFirst != run.isTopFirst);
        if (isBreak) {
          breaks.push_back(run.first);
          QAEvent change = eventOf(run.first, run.first + 1, "cadence breaks");
          outcome.events.push_back(std::move(change));
        }
      }
      // A still in between decides nothing, and a phase may go on after it.
      if (run.pattern != FieldPattern::undetermined) {
        before = isCadence(run) ? &run : nullptr;
      }
    }
    int64_t inCadence = 0;
    for (const auto& [pattern, count] : pictures) {
      inCadence += count;
    }
    const std::string found = pictures.empty()      ? "none"
                              : pictures.size() > 1 ? "several"
                                                    : textOf(pictures.begin()->first);
    const double share = times().count() > 0
                             ? static_cast<double>(inCadence) / static_cast<double>(times().count())
                             : 0.0;
    outcome.broken = !breaks.empty();
    outcome.values = {{"found", found, ""}, {"share", share, ""}, {"breakFrames", breaks, ""}};
    outcome.summary = found;
    if (!pictures.empty()) {
      outcome.summary += " in ";
      outcome.summary += quantity(100.0 * share, {" %", 0});
      outcome.summary += " of the pictures, ";
      outcome.summary +=
          breaks.empty() ? "unbroken" : counted(static_cast<double>(breaks.size()), "break");
    }
  }

 private:
  std::vector<QASeriesColumn> columns() const override {
    return {{"topChange", ""}, {"bottomChange", ""}};
  }
  std::vector<double> figuresOf(const FieldEvidence& evidence) const override {
    return {evidence.numbers.topRatio, evidence.numbers.bottomRatio};
  }
};

std::unique_ptr<ProgrammeCheck<CadenceMeasurement>> make(const CheckContext& context) {
  return std::make_unique<ProgrammeCheck<CadenceMeasurement>>(context, kProfile);
}

}  // namespace

constinit const QACheck cadenceCheck{
    .name = kProfile.name,
    .tag = kProfile.tag,
    .family = QAFamily::programme,
    .question = "Was film pulled down to this rate, and is its cadence unbroken?",
    .needs = QANeeds::pictures,
    .saysSomething = true,
    .severity = QASeverity::info,
    .settings = {},
    .displays = kDisplays,
    .make = makeRun<make>,
};

}  // namespace qatester
