#include "checks/audio/Mono.h"

#include <algorithm>

#include "tester/QATester.h"

namespace qatester {

namespace {

constexpr AudioCheckProfile kProfile{
    .tag = "QAMono",
    .budgetKey = "MonoFrameChecks",
    .progress = &QAListener::onMonoProgress,
    .bound = AudioCheckProfile::Bound::blocks,
};

}  // namespace

int64_t decisiveCount(const Matches& matches) {
  return matches.same <= matches.previous ? matches.previous : std::max(matches.same, matches.next);
}

void MonoMeasurement::compare(const OxAudioSample& first, const OxAudioSample& second) {
  const int64_t best = decisiveCount(countMatches(first, second, tolerance_));
  if (static_cast<float>(best) >= static_cast<float>(first.numberOfSamples) * threshold_) {
    ++monoBlocks_;
  }
}

bool MonoMeasurement::verdict() const {
  return threshold_ > static_cast<float>(monoBlocks_) / static_cast<float>(compared());
}

void MonoMeasurement::describe(QACheckOutcome& outcome) const {
  PairMeasurement::describe(outcome);
  if (compared() > 0) {
    outcome.figures = {{"matchingBlocks", static_cast<double>(monoBlocks_)},
                       {"threshold", static_cast<double>(threshold_)}};
  }
}

}  // namespace qatester

bool QATester::checkMono() {
  const qatester::CheckContext check = context();
  const float tolerance =
      std::clamp(check.floatSetting("MonoSingleSampleThreshold", "0.01"), 0.0001F, 1.0F);
  const float threshold =
      std::clamp(check.floatSetting("MonoSimilarSampleCountThreshold", "0.01"), 0.01F, 1.0F);
  qatester::MonoMeasurement measurement(check, tolerance, threshold);
  return qatester::runAudioCheck(check, qatester::kProfile, measurement) && measurement.verdict();
}
