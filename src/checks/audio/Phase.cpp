#include "checks/audio/Phase.h"

#include <string>

#include "checks/CheckList.h"
#include "tester/QATester.h"
#include "tester/Readings.h"
#include "tester/SettingRows.h"
#include "tester/Words.h"

namespace qatester {

namespace {

constexpr QASetting kSettings[] = {
    pairBudget("PhaseFrameChecks"),
    {"PhaseSampleOffsetThreshold", "200", QASetting::Kind::whole, 1, QASetting::kMost, "samples",
     "mean lag between the channels, exclusive"},
};
constexpr const QASetting& kThreshold = kSettings[1];

constexpr AudioCheckProfile kProfile{
    .check = {.name = "phase",
              .tag = "QAPhase",
              .budget = &kSettings[0],
              .progress = &QAListener::onPhaseProgress},
    .bound = AudioCheckProfile::Bound::instants,
};

constexpr const char* kDisplays[] = {"Phase Check"};

std::unique_ptr<AudioCheck<PhaseMeasurement>> make(const CheckContext& context) {
  return std::make_unique<AudioCheck<PhaseMeasurement>>(context, kProfile, context,
                                                        context.whole(kThreshold));
}

}  // namespace

void PhaseMeasurement::compare(const OxAudioSample& first, const OxAudioSample& second) {
  best_ = searchLags(first, second, best_);
  lags_ += static_cast<uint32_t>(best_.lag);
}

float PhaseMeasurement::meanLag() const {
  return static_cast<float>(static_cast<int32_t>(lags_)) / static_cast<float>(compared());
}

bool PhaseMeasurement::verdict() const {
  return static_cast<float>(threshold_) > meanLag();
}

void PhaseMeasurement::describe(QACheckOutcome& outcome) const {
  describePairs(outcome);
  const bool passed = recordOf(*this, outcome.began);
  outcome.values = {{"passed", passed, ""}};
  if (outcome.began) {
    const double lag = compared() > 0 ? static_cast<double>(meanLag()) : 0.0;
    outcome.values.push_back({"meanLag", lag, "samples"});
    outcome.values.push_back({"threshold", int64_t{threshold_}, "samples"});
  }
  addBlockCounts(outcome);
  outcome.limits = {{.of = "meanLag", .max = static_cast<double>(threshold_), .unit = "samples"}};
  outcome.state = judged(passed);
  outcome.summary = "mean lag " +
                    quantity(compared() > 0 ? static_cast<double>(meanLag()) : 0.0, kSamples) +
                    ", limit " + std::to_string(threshold_);
  addWords(outcome.summary, "; ", shortfall(outcome, "blocks"));
}

constinit const QACheck phaseCheck{
    .name = kProfile.check.name,
    .tag = kProfile.check.tag,
    .family = QAFamily::classic,
    .question = "By how much is one channel shifted against the other?",
    .needs = QANeeds::sound,
    .saysSomething = true,
    .settings = kSettings,
    .displays = kDisplays,
    .make = makeRun<make>,
};

}  // namespace qatester

bool QATester::checkAudioPhase() {
  return qatester::runAlone(context(), qatester::make);
}
