#include "checks/audio/Levels.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <utility>

#include "checks/CheckList.h"
#include "checks/audio/SampleMagnitudes.h"
#include "media/SampleIntegers.h"
#include "media/SampleValues.h"
#include "tester/QATester.h"
#include "tester/Readings.h"
#include "tester/SettingRows.h"
#include "tester/StreamSetup.h"
#include "tester/Words.h"

namespace qatester {

namespace {

constexpr QASetting kSettings[] = {
    blockBudget("LevelFrameChecks"),
    wholeLimit("LevelPeakThreshold", "0", 0, "dB",
               "upper limit of each channel's highest level, exclusive"),
    wholeLimit("LevelLowThreshold", "-100", 0, "dB",
               "lower limit of each channel's highest level, exclusive"),
};
constexpr const QASetting& kPeak = kSettings[1];
constexpr const QASetting& kLow = kSettings[2];

constexpr AudioCheckProfile kProfile{
    .check = {.name = "levels",
              .tag = "QALevels",
              .budget = &kSettings[0],
              .progress = &QAListener::onLevelsProgress},
    .streams = AudioCheckProfile::Streams::all,
    .refusal = AudioCheckProfile::Refusal::never,
    .bound = AudioCheckProfile::Bound::instants,
    .noStream = "No Audio Stream.",
    .preparing = "Initializing levels data...",
};

std::unique_ptr<AudioCheck<LevelsMeasurement>> make(const CheckContext& context) {
  return std::make_unique<AudioCheck<LevelsMeasurement>>(context, kProfile, context.whole(kLow),
                                                         context.whole(kPeak));
}

bool isSilent(const QA_ChannelLevel& level) {
  return level.minLevel == 0.0F && level.maxLevel == 0.0F;
}

std::string channelName(const QA_ChannelLevel& level) {
  return "ch " + std::to_string(level.channelNumber);
}

std::string streamName(const QA_ChannelLevel& level) {
  return "stream " + std::to_string(level.audioStreamNumber);
}

std::string extremesOf(const QA_ChannelLevel& level) {
  if (isSilent(level)) {
    return "silent";
  }
  return quantity(static_cast<double>(level.minLevel), {"", kDecibels.decimals}) + " to " +
         quantity(static_cast<double>(level.maxLevel), kDecibels);
}

/// Only the highest level is judged.
std::string trespasses(const QA_ChannelLevel& level, int low, int peak) {
  const std::string name = streamName(level) + " " + channelName(level);
  const auto highest = static_cast<double>(level.maxLevel);
  std::string list = trespass(name, low - highest, "below", low, kDecibels);
  addWords(list, ", ", trespass(name, highest - peak, "above", peak, kDecibels));
  return list;
}

QAValues valuesOf(const QA_ChannelLevel& level, bool measured) {
  return {{"dynamicRange", static_cast<double>(level.dynamicRange), "dB"},
          {"maxLevel", static_cast<double>(level.maxLevel), "dB"},
          {"minLevel", static_cast<double>(level.minLevel), "dB"},
          {"audioStreamNumber", int64_t{level.audioStreamNumber}, ""},
          {"channelNumber", int64_t{level.channelNumber}, ""},
          {"passed", level.passed, ""},
          {"measured", measured, ""}};
}

/// In single precision, required.
float levelOf(float magnitude, float dynamicRange) {
  return 20.0F * std::log10(magnitude) - dynamicRange;
}

void widen(QA_ChannelLevel& entry, float level) {
  // A level that is no number gives way to one that is.
  entry.maxLevel = std::fmax(level, entry.maxLevel);
  entry.minLevel = std::fmin(level, entry.minLevel);
}

void restart(QA_ChannelLevel& entry, float level) {
  entry.maxLevel = level;
  entry.minLevel = level;
}

BlockLevels measureOneByOne(const OxAudioSample& block, QA_ChannelLevel& entry) {
  BlockLevels its;
  for (int i = 0; i < block.numberOfSamples; ++i) {
    const float magnitude = getRealAudioValue(block, i);
    if (magnitude != 0.0F) {
      const float level = levelOf(magnitude, entry.dynamicRange);
      i == 0 ? restart(entry, level) : widen(entry, level);
      its = {std::fmax(level, its.max), std::fmin(level, its.min)};
    }
  }
  return its;
}

}  // namespace

BlockLevels measureLevels(const OxAudioSample& block, QA_ChannelLevel& entry) {
  constexpr uint32_t kNoLogarithm = 0x80000000U;
  entry.dynamicRange = getDynamicRange(static_cast<AVSampleFormat>(block.sampleFormat));
  const Magnitudes magnitudes = measureMagnitudes(block);
  if (magnitudes.silent()) {
    return {};
  }
  if (magnitudes.largest == kNoLogarithm) {
    return measureOneByOne(block, entry);
  }
  // Levels keep the order of magnitudes, so two logarithms do for the whole block.
  const float largest = levelOf(static_cast<float>(magnitudes.largest), entry.dynamicRange);
  const float smallest = levelOf(static_cast<float>(magnitudes.smallest), entry.dynamicRange);
  // The extremes start anew with each block whose first value is not zero, required.
  getRealAudioValue(block, 0) != 0.0F ? restart(entry, largest) : widen(entry, largest);
  widen(entry, smallest);
  return {largest, smallest};
}

void LevelsMeasurement::Delete::operator()(QA_AudioLevels* record) const {
  delete[] record->levels;
  delete record;
}

void LevelsMeasurement::begin(const AudioPlan& plan) {
  channels_ = static_cast<std::size_t>(plan.channels);
  streams_ = static_cast<std::size_t>(plan.streams);
  record_.reset(new QA_AudioLevels(static_cast<unsigned>(plan.streams),
                                   static_cast<unsigned>(plan.channels), plan.setup));
  heard_.assign(record_->count, false);
}

std::vector<BlockSeries> LevelsMeasurement::beginSeries() {
  wantsFigures_ = true;
  std::vector<BlockSeries> all;
  for (std::size_t stream = 0; stream < streams_; ++stream) {
    BlockSeries& its = all.emplace_back();
    if (streams_ > 1) {
      its.part = "stream " + std::to_string(stream);
    }
    for (std::size_t channel = 0; channel < channels_; ++channel) {
      its.columns.push_back({"maxLevel", "dB", std::to_string(channel)});
      its.columns.push_back({"minLevel", "dB", std::to_string(channel)});
    }
  }
  return all;
}

Taken LevelsMeasurement::add(int cycle, int stream, const AudioBlock& block) {
  const auto number = static_cast<std::size_t>(stream);
  // As many as the stream had when its block was asked for, required.
  const int channels = block.channelsBefore();
  std::vector<double> values(wantsFigures_ ? 2 * channels_ : 0,
                             std::numeric_limits<double>::quiet_NaN());
  const auto note = [&](std::size_t channel, const BlockLevels& levels) {
    if (2 * channel + 1 < values.size()) {
      values[2 * channel] = static_cast<double>(levels.max);
      values[2 * channel + 1] = static_cast<double>(levels.min);
    }
  };
  if (channels < 2) {
    // By the stream's number alone, required.
    note(0, measureInto(number, block.samples()));
  } else {
    for (int channel = 0; channel < channels; ++channel) {
      const std::size_t entry = number * channels_ + static_cast<std::size_t>(channel);
      if (entry < heard_.size()) {
        note(static_cast<std::size_t>(channel),
             measureInto(entry, block.channel(channel).samples()));
      }
    }
  }
  if (wantsFigures_) {
    figures_.push_back({.series = number, .cycle = cycle, .values = std::move(values)});
  }
  return Taken::measured;
}

BlockLevels LevelsMeasurement::measureInto(std::size_t entry, const OxAudioSample& block) {
  BlockLevels its;
  if (entry < heard_.size()) {
    its = measureLevels(block, record_->levels[entry]);
    heard_[entry] = heard_[entry] || isIntegerFormat(block.sampleFormat);
  }
  return its;
}

void LevelsMeasurement::conclude() {
  const auto peak = static_cast<float>(peak_);
  const auto low = static_cast<float>(low_);
  for (uint32_t i = 0; i < record_->count; ++i) {
    QA_ChannelLevel& entry = record_->levels[i];
    entry.passed = peak > entry.maxLevel && entry.maxLevel > low;
  }
}

void LevelsMeasurement::describe(QACheckOutcome& outcome) const {
  outcome.limits = {{.of = "maxLevel",
                     .min = static_cast<double>(low_),
                     .max = static_cast<double>(peak_),
                     .unit = "dB"}};
  outcome.values.clear();
  if (outcome.began && record_ != nullptr) {
    describeRecord(outcome);
  }
}

void LevelsMeasurement::describeRecord(QACheckOutcome& outcome) const {
  std::vector<QAValues> levels;
  std::string outside;
  bool passed = true;
  for (uint32_t i = 0; i < record_->count; ++i) {
    const QA_ChannelLevel& level = record_->levels[i];
    const bool measured = heard_[i];
    levels.push_back(valuesOf(level, measured));
    const std::string found =
        channelName(level) + " " + (measured ? extremesOf(level) : "not measured");
    level.channelNumber == 0 ? addWords(outcome.summary, "; ", streamName(level) + ": " + found)
                             : addWords(outcome.summary, ", ", found);
    // Entries that nothing was measured into say nothing about the file.
    passed = passed && (level.passed || !measured);
    if (measured && !isSilent(level)) {
      addWords(outside, ", ", trespasses(level, low_, peak_));
    }
  }
  outcome.values = {{"setup", int64_t{record_->setup}, ""},
                    {"setupText", std::string(streamSetupText(record_->setup)), ""},
                    {"count", int64_t{record_->count}, ""},
                    {"levels", std::move(levels), ""}};
  addBlockCounts(outcome);
  outcome.state = judged(passed);
  addWords(outcome.summary, "; ", outside.empty() ? "" : "outside: " + outside);
  addWords(outcome.summary, "; ", shortfall(outcome, "blocks"));
}

constinit const QACheck levelsCheck{
    .name = kProfile.check.name,
    .tag = kProfile.check.tag,
    .family = QAFamily::classic,
    .question = "How loud is the loudest sample of every channel of every audio stream?",
    .needs = QANeeds::sound,
    .saysSomething = true,
    .settings = kSettings,
    .displays = {},
    .make = makeRun<make>,
};

}  // namespace qatester

QA_AudioLevels* QATester::checkAudioLevels() {
  return qatester::runAlone(context(), qatester::make);
}
