#include "checks/audio/Mono.h"

#include <algorithm>
#include <string>

#include "checks/CheckList.h"
#include "tester/QATester.h"
#include "tester/Readings.h"
#include "tester/SettingRows.h"
#include "tester/Words.h"

namespace qatester {

namespace {

constexpr QASetting kSettings[] = {
    pairBudget("MonoFrameChecks"),
    {"MonoSingleSampleThreshold", "0.01", QASetting::Kind::real, 0.0001, 1.0, "",
     "share of the samples' range within which two samples match, exclusive"},
    {"MonoSimilarSampleCountThreshold", "0.01", QASetting::Kind::real, 0.01, 1.0, "",
     "share of matching samples that makes a block mono, and of such blocks the file"},
};
constexpr const QASetting& kTolerance = kSettings[1];
constexpr const QASetting& kThreshold = kSettings[2];

constexpr AudioCheckProfile kProfile{
    .check = {.name = "mono",
              .tag = "QAMono",
              .budget = &kSettings[0],
              .progress = &QAListener::onMonoProgress},
    .bound = AudioCheckProfile::Bound::blocks,
};

constexpr const char* kDisplays[] = {"Mono Check"};

std::unique_ptr<AudioCheck<MonoMeasurement>> make(const CheckContext& context) {
  return std::make_unique<AudioCheck<MonoMeasurement>>(
      context, kProfile, context, context.real(kTolerance), context.real(kThreshold));
}

}  // namespace

int64_t decisiveCount(const Matches& matches) {
  return matches.same <= matches.previous ? matches.previous : std::max(matches.same, matches.next);
}

void MonoMeasurement::compare(const OxAudioSample& first, const OxAudioSample& second) {
  const int64_t best = decisiveCount(countMatches(first, second, tolerance_));
  matchingPercent_ = 100.0 * static_cast<double>(best) / first.numberOfSamples;
  if (static_cast<float>(best) >= static_cast<float>(first.numberOfSamples) * threshold_) {
    ++monoBlocks_;
  }
}

bool MonoMeasurement::verdict() const {
  return threshold_ > static_cast<float>(monoBlocks_) / static_cast<float>(compared());
}

void MonoMeasurement::describe(QACheckOutcome& outcome) const {
  describePairs(outcome);
  const bool passed = recordOf(*this, outcome.began);
  const auto threshold = static_cast<double>(threshold_);
  outcome.values = {{"passed", passed, ""}};
  if (outcome.began) {
    outcome.values.push_back({"matchingBlocks", int64_t{monoBlocks_}, "blocks"});
    outcome.values.push_back({"threshold", threshold, ""});
  }
  addBlockCounts(outcome);
  outcome.limits = {{.of = "matchingBlocks", .max = threshold, .unit = "of the blocks"}};
  outcome.state = judged(passed);
  outcome.summary = std::to_string(monoBlocks_) + " of " + counted(outcome.count, "block") +
                    " carry one signal, limit " + percent(threshold);
  addWords(outcome.summary, "; ", shortfall(outcome, "blocks"));
}

constinit const QACheck monoCheck{
    .name = kProfile.check.name,
    .tag = kProfile.check.tag,
    .family = QAFamily::classic,
    .question = "Do two channels carry one and the same signal?",
    .needs = QANeeds::sound,
    .saysSomething = true,
    .settings = kSettings,
    .displays = kDisplays,
    .make = makeRun<make>,
};

}  // namespace qatester

bool QATester::checkMono() {
  return qatester::runAlone(context(), qatester::make);
}
