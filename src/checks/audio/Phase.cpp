#include "checks/audio/Phase.h"

#include <algorithm>

#include "tester/QATester.h"

namespace qatester {

namespace {

constexpr AudioCheckProfile kProfile{
    .tag = "QAPhase",
    .budgetKey = "PhaseFrameChecks",
    .progress = &QAListener::onPhaseProgress,
    .bound = AudioCheckProfile::Bound::instants,
};

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
  PairMeasurement::describe(outcome);
  outcome.limits = {{.channels = "", .min = 0, .max = threshold_}};
  if (compared() > 0) {
    outcome.figures = {{"meanLag", static_cast<double>(meanLag())}};
  }
}

}  // namespace qatester

bool QATester::checkAudioPhase() {
  const qatester::CheckContext check = context();
  const int threshold = std::max(1, check.intSetting("PhaseSampleOffsetThreshold", "200"));
  qatester::PhaseMeasurement measurement(check, threshold);
  return qatester::runAudioCheck(check, qatester::kProfile, measurement) && measurement.verdict();
}
