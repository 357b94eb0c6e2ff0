#include "checks/audio/Levels.h"

#include <algorithm>
#include <cmath>

#include "checks/audio/SampleIntegers.h"
#include "checks/audio/SampleMagnitudes.h"
#include "checks/audio/SampleValues.h"
#include "tester/QATester.h"

namespace qatester {

namespace {

constexpr AudioCheckProfile kProfile{
    .tag = "QALevels",
    .budgetKey = "LevelFrameChecks",
    .progress = &QAListener::onLevelsProgress,
    .streams = AudioCheckProfile::Streams::all,
    .refusal = AudioCheckProfile::Refusal::never,
    .bound = AudioCheckProfile::Bound::instants,
    .noStream = "No Audio Stream.",
    .preparing = "Initializing levels data...",
};

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

void measureOneByOne(const OxAudioSample& block, QA_ChannelLevel& entry) {
  for (int i = 0; i < block.numberOfSamples; ++i) {
    const float magnitude = getRealAudioValue(block, i);
    if (magnitude != 0.0F) {
      const float level = levelOf(magnitude, entry.dynamicRange);
      i == 0 ? restart(entry, level) : widen(entry, level);
    }
  }
}

}  // namespace

void measureLevels(const OxAudioSample& block, QA_ChannelLevel& entry) {
  constexpr uint32_t kNoLogarithm = 0x80000000U;
  entry.dynamicRange = getDynamicRange(static_cast<AVSampleFormat>(block.sampleFormat));
  const Magnitudes magnitudes = measureMagnitudes(block);
  if (magnitudes.silent()) {
    return;
  }
  if (magnitudes.largest == kNoLogarithm) {
    measureOneByOne(block, entry);
    return;
  }
  // Levels keep the order of magnitudes, so two logarithms do for the whole block.
  const float largest = levelOf(static_cast<float>(magnitudes.largest), entry.dynamicRange);
  const float smallest = levelOf(static_cast<float>(magnitudes.smallest), entry.dynamicRange);
  // The extremes start anew with each block whose first value is not zero, required.
  getRealAudioValue(block, 0) != 0.0F ? restart(entry, largest) : widen(entry, largest);
  widen(entry, smallest);
}

void LevelsMeasurement::Delete::operator()(QA_AudioLevels* record) const {
  delete[] record->levels;
  delete record;
}

void LevelsMeasurement::begin(const AudioPlan& plan) {
  channels_ = static_cast<std::size_t>(plan.channels);
  record_.reset(new QA_AudioLevels(static_cast<unsigned>(plan.streams),
                                   static_cast<unsigned>(plan.channels), plan.setup));
  heard_.assign(record_->count, false);
}

Heard LevelsMeasurement::add(int, int stream, AudioBlock block) {
  const auto number = static_cast<std::size_t>(stream);
  if (block.channels() < 2) {
    // By the stream's number alone, required.
    measureInto(number, block.samples());
    return Heard::measured;
  }
  for (int channel = 0; channel < block.channels(); ++channel) {
    const std::size_t entry = number * channels_ + static_cast<std::size_t>(channel);
    if (entry < heard_.size()) {
      measureInto(entry, block.channel(channel).samples());
    }
  }
  return Heard::measured;
}

void LevelsMeasurement::measureInto(std::size_t entry, const OxAudioSample& block) {
  if (entry < heard_.size()) {
    measureLevels(block, record_->levels[entry]);
    heard_[entry] = heard_[entry] || isIntegerFormat(block.sampleFormat);
  }
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
  outcome.limits = {{.channels = "", .min = low_, .max = peak_}};
  for (std::size_t entry = 0; entry < heard_.size(); ++entry) {
    if (!heard_[entry]) {
      outcome.unmeasuredEntries.push_back(static_cast<unsigned>(entry));
    }
  }
}

}  // namespace qatester

QA_AudioLevels* QATester::checkAudioLevels() {
  const qatester::CheckContext check = context();
  const int peak = std::min(0, check.intSetting("LevelPeakThreshold", "0"));
  const int low = std::min(0, check.intSetting("LevelLowThreshold", "-100"));
  qatester::LevelsMeasurement measurement(low, peak);
  return qatester::runAudioCheck(check, qatester::kProfile, measurement) ? measurement.release()
                                                                         : nullptr;
}
