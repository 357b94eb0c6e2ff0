#include "checks/audio/Loudness.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "checks/audio/KWeightedEnergy.h"
#include "tester/QATester.h"
#include "tester/StreamSetup.h"

namespace qatester {

namespace {

constexpr AudioCheckProfile kProfile{
    .tag = "QALoudness",
    .budgetKey = "LoudnessFrameChecks",
    .progress = &QAListener::onLoudnessProgress,
    .budgetDefault = "",
    .refusal = AudioCheckProfile::Refusal::afterBuffering,
    .noStream = "No Audio Stream.",
    .threeStreamsWarning = "WARNING 3x2 stream setup detected, only checking stream 1.",
    .logsBuffering = false,
    .skipsSilence = true,
    .closesWindows = false,
    .complete = "Test Complete",
    .logsExceptions = true,
};

/// Of left, right and centre, low-frequency effects, left and right surround.
constexpr double kWeights[] = {1.0, 1.0, 1.0, 0.0, 1.41, 1.41};

/// The channels that count of each stream that is read.
int channelsOf(const AudioPlan& plan) {
  if (plan.setup == QA_STREAM_SETUP_UNSUPPORTED) {
    return plan.channels;
  }
  return hasStreamPerChannel(plan.setup) ? 1 : 2;
}

}  // namespace

void LoudnessMeasurement::begin(const AudioPlan& plan) {
  channels_ = channelsOf(plan);
}

Heard LoudnessMeasurement::add(int, int stream, AudioBlock block) {
  if (channels_ == 1) {
    weigh(stream, std::move(block));
    return Heard::measured;
  }
  for (int channel = 0; channel < channels_; ++channel) {
    weigh(channel, block.channel(channel));
  }
  return Heard::measured;
}

void LoudnessMeasurement::weigh(int position, AudioBlock block) {
  if (block.count() < 2 || position >= static_cast<int>(kPositions)) {
    return;
  }
  waiting_.push_back({static_cast<std::size_t>(position), std::move(block)});
  if (static_cast<int>(waiting_.size()) == blocksAtOnce()) {
    weighWaiting();
  }
}

void LoudnessMeasurement::weighWaiting() {
  std::vector<const OxAudioSample*> blocks;
  for (const Waiting& one : waiting_) {
    blocks.push_back(&one.block.samples());
  }
  std::vector<double> energies(blocks.size());
  weighBlocks(blocks.data(), static_cast<int>(blocks.size()), energies.data());
  for (std::size_t i = 0; i < energies.size(); ++i) {
    // Rounded from extended to double precision with each addition, required.
    double& sum = energies_[waiting_[i].position];
    sum =
        static_cast<double>(static_cast<long double>(sum) + static_cast<long double>(energies[i]));
    counts_[waiting_[i].position] += static_cast<uint32_t>(waiting_[i].block.count());
  }
  waiting_.clear();
}

void LoudnessMeasurement::end() {
  weighWaiting();
}

void LoudnessMeasurement::conclude() {
  double sum = 0.0;
  for (std::size_t i = 0; i < kPositions; ++i) {
    if (energies_[i] > 0.0 && kWeights[i] > 0.0) {
      sum += energies_[i] / static_cast<int32_t>(counts_[i]) * kWeights[i];
    }
  }
  // The loudness of silence is minus infinity.
  // cppcheck-suppress invalidFunctionArg
  result_.loudness = 10.0 * std::log10(sum) - 0.691;
  max_ = std::min(0, context_.intSetting("LoudnessMaxThreshold", ""));
  min_ = std::min(0, context_.intSetting("LoudnessMinThreshold", ""));
  result_.passed = result_.loudness < max_ && min_ < result_.loudness;
}

void LoudnessMeasurement::describe(QACheckOutcome& outcome) const {
  outcome.limits = {{.channels = "", .min = min_, .max = max_}};
}

}  // namespace qatester

QA_Loudness QATester::checkITUR1770Loudness() {
  const qatester::CheckContext check = context();
  qatester::LoudnessMeasurement measurement(check);
  return qatester::runAudioCheck(check, qatester::kProfile, measurement) ? measurement.verdict()
                                                                         : QA_Loudness{};
}
