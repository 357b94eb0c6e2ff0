#include "checks/audio/Loudness.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <utility>

#include "checks/CheckList.h"
#include "checks/audio/KWeightedEnergy.h"
#include "tester/QATester.h"
#include "tester/Readings.h"
#include "tester/SettingRows.h"
#include "tester/StreamSetup.h"
#include "tester/Words.h"

namespace qatester {

namespace {

constexpr QASetting kSettings[] = {
    blockBudget("LoudnessFrameChecks", ""),
    wholeLimit("LoudnessMaxThreshold", "", 0, "LKFS", "upper limit of the loudness, exclusive"),
    wholeLimit("LoudnessMinThreshold", "", 0, "LKFS", "lower limit of the loudness, exclusive"),
};
constexpr const QASetting& kMax = kSettings[1];
constexpr const QASetting& kMin = kSettings[2];

constexpr AudioCheckProfile kProfile{
    .check = {.name = "loudness",
              .tag = "QALoudness",
              .budget = &kSettings[0],
              .progress = &QAListener::onLoudnessProgress,
              .logsBuffering = false,
              .closesWindows = false,
              .complete = "Test Complete"},
    .refusal = AudioCheckProfile::Refusal::afterBuffering,
    .noStream = "No Audio Stream.",
    .threeStreamsWarning = "WARNING 3x2 stream setup detected, only checking stream 1.",
    .skipsSilence = true,
    .logsExceptions = true,
};

std::unique_ptr<AudioCheck<LoudnessMeasurement>> make(const CheckContext& context) {
  return std::make_unique<AudioCheck<LoudnessMeasurement>>(context, kProfile, context);
}

/// Of left, right and centre, low-frequency effects, left and right surround.
constexpr double kWeights[] = {1.0, 1.0, 1.0, 0.0, 1.41, 1.41};

/// The loudness of silence is minus infinity.
double loudnessOf(double weighted) {
  // cppcheck-suppress invalidFunctionArg
  return 10.0 * std::log10(weighted) - 0.691;
}

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

std::vector<BlockSeries> LoudnessMeasurement::beginSeries() {
  wantsFigures_ = true;
  return {{.columns = {{"loudness", "LKFS"}}}};
}

std::vector<BlockFigures> LoudnessMeasurement::takeFigures() {
  std::vector<BlockFigures> figures;
  const std::size_t complete = ofCycles_.size() - (isOver_ || ofCycles_.empty() ? 0 : 1);
  for (std::size_t i = 0; i < complete; ++i) {
    figures.push_back({.cycle = ofCycles_[i].first, .values = {loudnessOf(ofCycles_[i].second)}});
  }
  ofCycles_.erase(ofCycles_.begin(), ofCycles_.begin() + static_cast<std::ptrdiff_t>(complete));
  return figures;
}

void LoudnessMeasurement::noteEnergy(int cycle, double energy) {
  if (ofCycles_.empty() || ofCycles_.back().first != cycle) {
    ofCycles_.emplace_back(cycle, 0.0);
  }
  ofCycles_.back().second += energy;
}

Taken LoudnessMeasurement::add(int cycle, int stream, const AudioBlock& block) {
  if (channels_ == 1) {
    weigh(cycle, stream, block);
    return Taken::measured;
  }
  for (int channel = 0; channel < channels_; ++channel) {
    weigh(cycle, channel, block.channel(channel));
  }
  return Taken::measured;
}

void LoudnessMeasurement::weigh(int cycle, int position, AudioBlock block) {
  if (block.count() < 2 || position >= static_cast<int>(kPositions)) {
    return;
  }
  waiting_.push_back({static_cast<std::size_t>(position), cycle, std::move(block)});
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
    if (wantsFigures_) {
      noteEnergy(waiting_[i].cycle,
                 energies[i] / waiting_[i].block.count() * kWeights[waiting_[i].position]);
    }
  }
  waiting_.clear();
}

void LoudnessMeasurement::end() {
  weighWaiting();
  isOver_ = true;
}

void LoudnessMeasurement::conclude() {
  double sum = 0.0;
  for (std::size_t i = 0; i < kPositions; ++i) {
    if (energies_[i] > 0.0 && kWeights[i] > 0.0) {
      sum += energies_[i] / static_cast<int32_t>(counts_[i]) * kWeights[i];
    }
  }
  result_.loudness = loudnessOf(sum);
  max_ = context_.whole(kMax);
  min_ = context_.whole(kMin);
  result_.passed = result_.loudness < max_ && min_ < result_.loudness;
}

void LoudnessMeasurement::describe(QACheckOutcome& outcome) const {
  const QA_Loudness record = recordOf(*this, outcome.began);
  outcome.values = {{"loudness", record.loudness, "LKFS"}, {"passed", record.passed, ""}};
  addBlockCounts(outcome);
  outcome.limits = {{.of = "loudness",
                     .min = static_cast<double>(min_),
                     .max = static_cast<double>(max_),
                     .unit = "LKFS"}};
  // Without a band nothing can pass: nothing is judged.
  const bool hasBand = min_ < max_;
  outcome.state = record.passed || hasBand ? judged(record.passed) : QAState::info;
  outcome.summary = quantity(record.loudness, kLoudnessUnits);
  if (record.loudness == -std::numeric_limits<double>::infinity()) {
    outcome.summary += " (silence)";
  }
  outcome.summary += " over " + quantity(outcome.endSeconds - outcome.startSeconds, kSeconds) +
                     " from " + quantity(outcome.startSeconds, kSeconds);
  outcome.summary += hasBand ? ", band " + std::to_string(min_) + " to " + std::to_string(max_)
                             : "; no band is set (LoudnessMinThreshold, LoudnessMaxThreshold)";
  addWords(outcome.summary, "; ", shortfall(outcome, "blocks"));
}

constinit const QACheck loudnessCheck{
    .name = kProfile.check.name,
    .tag = kProfile.check.tag,
    .family = QAFamily::classic,
    .question = "How loud is the sound after ITU-R BS.1770, without gating?",
    .needs = QANeeds::sound,
    .saysSomething = true,
    .settings = kSettings,
    .displays = {},
    .make = makeRun<make>,
};

}  // namespace qatester

QA_Loudness QATester::checkITUR1770Loudness() {
  return qatester::runAlone(context(), qatester::make);
}
