#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

#include "checks/audio/KWeighting.h"
#include "checks/audio/Levels.h"
#include "checks/audio/Loudness.h"
#include "checks/audio/Mono.h"
#include "checks/audio/Phase.h"
#include "foundation/Settings.h"
#include "media/SampleValues.h"
#include "support/Blocks.h"
#include "support/Sanitized.h"
#include "support/Values.h"
#include "tester/CheckContext.h"

namespace {

using qatest::blockOf;
using qatest::ownBlock;
using qatester::AudioBlock;
using qatester::AudioPlan;
using qatester::Taken;

constexpr int32_t kLowest = std::numeric_limits<int32_t>::min();

template <typename T>
AudioBlock block(const std::vector<T>& values, int channels = 1) {
  return {ownBlock(values), channels};
}

std::vector<int16_t> tone(std::size_t count, int amplitude, int period) {
  std::vector<int16_t> values(count);
  for (std::size_t i = 0; i < count; ++i) {
    values[i] = static_cast<int16_t>(
        std::lround(amplitude * std::sin(2.0 * M_PI * static_cast<double>(i) / period)));
  }
  return values;
}

/// What a check sees of a tester that nobody listens to.
class Context {
 public:
  Context()
      : settings_("", nullptr, QALookup::defaults),
        displays_(QADisplays::nowhere, false, "", {}),
        context_{file_, nullptr, nullptr, &settings_, displays_, 5, options_} {}

  operator const qatester::CheckContext&() const { return context_; }

 private:
  std::string file_;
  Settings settings_;
  qatester::Displays displays_;
  QATesterOptions options_;
  qatester::CheckContext context_;
};

// Blocks

TEST(AudioBlocks, GiveTheirChannels) {
  const AudioBlock both = block<int16_t>({1, 2, 3, 4, 5, 6, 7}, 2);
  const AudioBlock right = both.channel(1);
  ASSERT_EQ(right.count(), 3);
  EXPECT_EQ(right.channels(), 1);
  EXPECT_EQ(right.format(), 1);
  EXPECT_EQ(right.samples().bytesPerSample, 2);
  const int16_t expected[] = {2, 4, 6};
  EXPECT_EQ(std::memcmp(right.samples().buffer, expected, sizeof expected), 0);
}

TEST(AudioBlocks, HaveNoOtherChannels) {
  const AudioBlock both = block<int16_t>({1, 2, 3, 4}, 2);
  EXPECT_TRUE(both.channel(2).empty());
  EXPECT_TRUE(both.channel(-1).empty());
  EXPECT_TRUE(block<int16_t>({1}, 2).channel(0).empty());
  EXPECT_TRUE(block<int16_t>({1, 2}, 0).channel(0).empty());
  EXPECT_TRUE(block<int16_t>({1, 2}, -1).channel(0).empty());
  EXPECT_TRUE(AudioBlock().channel(0).empty());
}

TEST(AudioBlocks, AreHandedOver) {
  AudioBlock first = block<int16_t>({1, 2});
  const uint8_t* const buffer = first.samples().buffer;
  AudioBlock second(std::move(first));
  AudioBlock third;
  third = std::move(second);
  EXPECT_EQ(third.samples().buffer, buffer);
  EXPECT_EQ(third.count(), 2);
  third = block<int16_t>({3});
  EXPECT_EQ(third.count(), 1);
}

// Levels

/// A logarithm for each value.
void measureByDefinition(const OxAudioSample& samples, QA_ChannelLevel& entry) {
  entry.dynamicRange = getDynamicRange(static_cast<AVSampleFormat>(samples.sampleFormat));
  for (int i = 0; i < samples.numberOfSamples; ++i) {
    const float magnitude = getRealAudioValue(samples, i);
    if (magnitude == 0.0F) {
      continue;
    }
    const float level = 20.0F * log10f(magnitude) - entry.dynamicRange;
    if (i == 0) {
      entry.maxLevel = level;
      entry.minLevel = level;
    } else {
      entry.maxLevel = std::fmax(level, entry.maxLevel);
      entry.minLevel = std::fmin(level, entry.minLevel);
    }
  }
}

/// Blocks that follow each other into one entry.
template <typename T>
void expectLevels(std::vector<std::vector<T>> blocks) {
  QA_ChannelLevel expected;
  QA_ChannelLevel entry;
  for (std::vector<T>& values : blocks) {
    measureByDefinition(blockOf(values), expected);
    qatester::measureLevels(blockOf(values), entry);
    EXPECT_EQ(entry.dynamicRange, expected.dynamicRange);
    EXPECT_EQ(std::isnan(entry.maxLevel), std::isnan(expected.maxLevel));
    EXPECT_EQ(std::isnan(entry.minLevel), std::isnan(expected.minLevel));
    if (!std::isnan(expected.maxLevel)) {
      EXPECT_EQ(entry.maxLevel, expected.maxLevel);
      EXPECT_EQ(entry.minLevel, expected.minLevel);
    }
  }
}

TEST(LevelMeasurement, TwoLogarithmsABlockGiveWhatOneAValueGives) {
  expectLevels<int16_t>({{5, -9, 0, 700, -32768, 3}, {0, 2, 1}, {4}, {0}, {}, {0, 32767}, {-1, 1}});
  expectLevels<int32_t>(
      {{5, -9, 0, 700, 2147483647, 3}, {0, 2}, {16777217, 16777216}, {0, 1 << 30}});
  expectLevels<uint8_t>({{1, 127, 128, 255, 254}, {255, 1}, {0, 200}, {130}});
  expectLevels<int16_t>({tone(1024, 20000, 50), tone(1024, 300, 48), tone(1023, 9, 7)});
}

TEST(LevelMeasurement, LevelsKeepTheOrderOfMagnitudes) {
  // Every magnitude that has its own float: this is why two logarithms a block suffice.
  const float ranges[] = {43.9052F, 98.0906F, 194.4202F};
  const float largest[] = {127.0F, 32768.0F, 2147483648.0F};
  for (int format = 0; format < 3; ++format) {
    float before = -std::numeric_limits<float>::infinity();
    for (float magnitude = 1.0F; magnitude <= largest[format];) {
      const float level = 20.0F * std::log10(magnitude) - ranges[format];
      ASSERT_GE(level, before) << magnitude;
      before = level;
      const float step = qatest::kSanitized ? magnitude / 1000.0F : 0.0F;
      magnitude =
          std::max(magnitude + 1.0F + step, std::nextafter(magnitude, largest[format] * 2.0F));
    }
  }
}

TEST(LevelMeasurement, AValueWithoutLogarithmGivesWayToNumbers) {
  const float ofOne = -194.4202F;
  // It comes first, last, alone behind numbers of an earlier block.
  for (const std::vector<std::vector<int32_t>>& blocks :
       std::vector<std::vector<std::vector<int32_t>>>{
           {{kLowest, 1}}, {{1, kLowest}}, {{1}, {0, kLowest}}, {{kLowest}, {0, 1}}}) {
    QA_ChannelLevel entry;
    for (std::vector<int32_t> values : blocks) {
      qatester::measureLevels(blockOf(values), entry);
    }
    EXPECT_EQ(entry.maxLevel, ofOne);
    EXPECT_EQ(entry.minLevel, ofOne);
    expectLevels(blocks);
  }
  expectLevels<int32_t>({{kLowest, 5, 2000000000, kLowest, 0, 7}, {0, kLowest, 3}});
}

TEST(LevelMeasurement, AFullScaleOfNegativeValuesHasNoLevel) {
  QA_ChannelLevel entry;
  std::vector<int32_t> values(8, kLowest);
  qatester::measureLevels(blockOf(values), entry);
  EXPECT_TRUE(std::isnan(entry.maxLevel));
  expectLevels<int32_t>({values, {0, 0}, {7}});
}

TEST(LevelMeasurement, EntriesThatDoNotExistAreLeftOut) {
  qatester::LevelsMeasurement levels(-100, 0);
  levels.begin({.setup = QA_STREAM_SETUP_UNSUPPORTED, .streams = 2, .channels = 1, .cycles = 1});
  EXPECT_EQ(levels.add(0, 0, block<int16_t>({1000})), Taken::measured);
  // Three channels where the record has room for one.
  EXPECT_EQ(levels.add(0, 1, block<int16_t>({100, 200, 300, 100, 200, 300}, 3)), Taken::measured);
  // A stream that was not there.
  EXPECT_EQ(levels.add(0, 2, block<int16_t>({5})), Taken::measured);
  levels.conclude();
  const std::unique_ptr<QA_AudioLevels> record(levels.verdict());
  const std::unique_ptr<QA_ChannelLevel[]> entries(record->levels);
  ASSERT_EQ(record->count, 2U);
  EXPECT_EQ(entries[0].maxLevel, 20.0F * std::log10(1000.0F) - 98.0906F);
  EXPECT_EQ(entries[1].maxLevel, 20.0F * std::log10(100.0F) - 98.0906F);
}

TEST(LevelMeasurement, ChannelsAreThoseThatTheStreamHadBeforeTheBlockWasDecoded) {
  const std::vector<int16_t> values = {1000, 3000, 1000, 3000};
  struct {
    int before;
    int after;
    float first;
    float second;  ///< magnitudes; 0: nothing is measured
  } const cases[] = {
      {2, 2, 1000.0F, 3000.0F},
      {2, 1, 3000.0F, 0.0F},  // there is no second channel any more
      {1, 2, 3000.0F, 0.0F},  // all values go into the entry of the stream's number
  };
  for (const auto& c : cases) {
    qatester::LevelsMeasurement levels(-100, 0);
    levels.begin({.streams = 1, .channels = 2, .cycles = 1});
    levels.add(0, 0, AudioBlock(ownBlock(values), c.after, c.before));
    levels.conclude();
    const std::unique_ptr<QA_AudioLevels> record(levels.verdict());
    const std::unique_ptr<QA_ChannelLevel[]> entries(record->levels);
    const auto levelOf = [](float magnitude) {
      return magnitude == 0.0F ? 0.0F : 20.0F * std::log10(magnitude) - 98.0906F;
    };
    EXPECT_EQ(entries[0].maxLevel, levelOf(c.first)) << c.before << " to " << c.after;
    EXPECT_EQ(entries[1].maxLevel, levelOf(c.second)) << c.before << " to " << c.after;
  }
}

TEST(LevelMeasurement, WithoutChannelsTheRecordIsEmpty) {
  qatester::LevelsMeasurement levels(-100, 0);
  levels.begin({.streams = 3, .channels = 0});
  EXPECT_EQ(levels.add(0, 0, block<int16_t>({1000})), Taken::measured);
  levels.conclude();
  const std::unique_ptr<QA_AudioLevels> record(levels.verdict());
  const std::unique_ptr<QA_ChannelLevel[]> entries(record->levels);
  EXPECT_EQ(record->count, 0U);
}

TEST(LevelRecord, NumbersItsEntriesByStreamAndChannel) {
  const QA_AudioLevels record(2, 3, QA_STREAM_SETUP_FOUR_MONO);
  const std::unique_ptr<QA_ChannelLevel[]> entries(record.levels);
  EXPECT_EQ(record.count, 6U);
  EXPECT_EQ(record.setup, QA_STREAM_SETUP_FOUR_MONO);
  for (unsigned i = 0; i < 6; ++i) {
    EXPECT_EQ(entries[i].audioStreamNumber, i / 3);
    EXPECT_EQ(entries[i].channelNumber, i % 3);
    EXPECT_EQ(entries[i].dynamicRange, 0.0F);
    EXPECT_EQ(entries[i].maxLevel, 0.0F);
    EXPECT_EQ(entries[i].minLevel, 0.0F);
    EXPECT_FALSE(entries[i].passed);
  }
}

// Loudness

/// The loudness of one block whose channels hold `tones`.
double loudnessOf(const std::vector<std::vector<int16_t>>& tones, const AudioPlan& plan) {
  const Context context;
  qatester::LoudnessMeasurement loudness(context);
  loudness.begin(plan);
  const std::size_t channels = tones.size();
  std::vector<int16_t> values(channels * tones[0].size());
  for (std::size_t i = 0; i < values.size(); ++i) {
    values[i] = tones[i % channels][i / channels];
  }
  loudness.add(0, 0, block(values, static_cast<int>(channels)));
  loudness.end();
  loudness.conclude();
  return loudness.verdict().loudness;
}

TEST(LoudnessMeasurement, SurroundsWeighMoreAndLowFrequencyEffectsNothing) {
  // A layout beyond those of the files that are accepted: all channels of the stream count.
  const AudioPlan plan{.setup = QA_STREAM_SETUP_UNSUPPORTED, .streams = 1, .channels = 8};
  const double weights[] = {1.0, 1.0, 1.0, 0.0, 1.41, 1.41, 0.0, 0.0};
  std::vector<int16_t> sound = tone(1000, 12000, 48);
  const double meanSquare = runFilter(blockOf(sound)) / 1000.0;
  for (std::size_t position = 0; position < 8; ++position) {
    std::vector<std::vector<int16_t>> channels(8, std::vector<int16_t>(1000));
    channels[position] = sound;
    EXPECT_DOUBLE_EQ(loudnessOf(channels, plan),
                     10.0 * std::log10(meanSquare * weights[position]) - 0.691)
        << position;
  }
  const std::vector<std::vector<int16_t>> all(8, sound);
  EXPECT_NEAR(loudnessOf(all, plan), 10.0 * std::log10(meanSquare * 5.82) - 0.691, 1e-9);
}

TEST(LoudnessMeasurement, OfFourOrEightStreamsEachCountsAsOneChannel) {
  // Whatever it holds: here interleaved stereo.
  std::vector<int16_t> sound = tone(1000, 12000, 48);
  std::vector<int16_t> interleaved;
  for (const int16_t value : sound) {
    interleaved.insert(interleaved.end(), {value, value});
  }
  const double meanSquare = runFilter(blockOf(interleaved)) / 2000.0;
  for (const QA_StreamSetup setup : {QA_STREAM_SETUP_FOUR_MONO, QA_STREAM_SETUP_EIGHT_MONO}) {
    EXPECT_DOUBLE_EQ(loudnessOf({sound, sound}, {.setup = setup, .streams = 8, .channels = 2}),
                     10.0 * std::log10(meanSquare) - 0.691);
  }
}

TEST(LoudnessMeasurement, BlocksOfFewerThanTwoValuesAddNothing) {
  const Context context;
  qatester::LoudnessMeasurement loudness(context);
  loudness.begin({.setup = QA_STREAM_SETUP_ONE_STEREO, .streams = 1, .channels = 1});
  std::vector<int16_t> sound = tone(1000, 12000, 48);
  const double energy = runFilter(blockOf(sound));
  loudness.add(0, 0, block(sound, 1));  // there is no second channel
  loudness.add(1, 0, block<int16_t>({32767}, 1));
  loudness.end();
  loudness.conclude();
  EXPECT_DOUBLE_EQ(loudness.verdict().loudness, 10.0 * std::log10(energy / 1000.0) - 0.691);
}

// Mono

TEST(MonoMeasurement, TheCountThatDecidesIsNotAlwaysTheLargest) {
  EXPECT_EQ(qatester::decisiveCount({.previous = 5, .same = 5, .next = 9}), 5);
  EXPECT_EQ(qatester::decisiveCount({.previous = 6, .same = 5, .next = 9}), 6);
  EXPECT_EQ(qatester::decisiveCount({.previous = 4, .same = 5, .next = 9}), 9);
  EXPECT_EQ(qatester::decisiveCount({.previous = 4, .same = 5, .next = 5}), 5);
  EXPECT_EQ(qatester::decisiveCount({.previous = 0, .same = 8, .next = 3}), 8);
  EXPECT_EQ(qatester::decisiveCount({}), 0);
}

constexpr AudioPlan kFourStreams{
    .setup = QA_STREAM_SETUP_FOUR_MONO, .streams = 4, .channels = 1, .cycles = 9};
constexpr AudioPlan kOneStream{
    .setup = QA_STREAM_SETUP_ONE_STEREO, .streams = 1, .channels = 2, .cycles = 9};

TEST(PairMeasurement, NarrowerSecondSamplesAreNotReadPastTheirEnd) {
  const Context context;
  qatester::MonoMeasurement mono(context, 0.01F, 0.01F);
  mono.begin(kFourStreams);
  EXPECT_EQ(mono.add(0, 0, block(std::vector<int32_t>(64, 7))), Taken::waits);
  EXPECT_EQ(mono.add(0, 1, block(std::vector<int16_t>(64, 7))), Taken::leftOut);
  EXPECT_TRUE(mono.verdict());  // nothing matches
  QACheckOutcome outcome;
  mono.describe(outcome);
  EXPECT_EQ(outcome.reason, "the two streams have samples of different formats");

  qatester::PhaseMeasurement phase(context, 200);
  phase.begin(kFourStreams);
  phase.add(0, 0, block(std::vector<int32_t>(64, 7)));
  phase.add(0, 1, block(std::vector<uint8_t>(64, 7)));
  EXPECT_TRUE(phase.verdict());
}

TEST(PairMeasurement, BlocksOfOtherLengthsArePassedOver) {
  const Context context;
  qatester::MonoMeasurement mono(context, 0.01F, 0.01F);
  mono.begin(kFourStreams);
  mono.add(0, 0, block(std::vector<int16_t>(64, 7)));
  EXPECT_EQ(mono.add(0, 1, block(std::vector<int16_t>(63, 7))), Taken::leftOut);
  EXPECT_FALSE(mono.verdict());  // nothing was compared
  QACheckOutcome outcome;
  mono.describe(outcome);
  EXPECT_EQ(outcome.reason, "the blocks of the two streams differ in length");
  mono.add(1, 0, block(std::vector<int16_t>(64, 7)));
  EXPECT_EQ(mono.add(1, 1, block(std::vector<int16_t>(64, 20000))), Taken::measured);
  EXPECT_TRUE(mono.verdict());
}

TEST(PairMeasurement, AChannelThatDoesNotExistEndsTheCheck) {
  const Context context;
  qatester::PhaseMeasurement phase(context, 200);
  phase.begin(kOneStream);
  EXPECT_EQ(phase.add(0, 0, block(std::vector<int16_t>(64, 7), 1)), Taken::endsCheck);
  EXPECT_FALSE(phase.verdict());
  QACheckOutcome outcome;
  phase.describe(outcome);
  EXPECT_EQ(outcome.reason, "the stream has no second channel");
}

// Phase

TEST(PhaseMeasurement, TheThresholdIsStrict) {
  const Context context;
  const std::vector<int16_t> sound = tone(256, 20000, 8);
  for (const int threshold : {8, 9}) {
    qatester::PhaseMeasurement phase(context, threshold);
    phase.begin(kFourStreams);
    phase.add(0, 0, block(sound));
    phase.add(0, 1, block(sound));
    EXPECT_EQ(phase.verdict(), threshold == 9);
    QACheckOutcome outcome;
    outcome.began = true;
    phase.describe(outcome);
    EXPECT_EQ(qatest::numberOf(outcome, "meanLag"), 8.0);  // the first whole period
  }
}

}  // namespace
