#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "checks/AudioChecks.h"

namespace {

using namespace qatest;

constexpr float kRange8 = 43.9052F;
constexpr float kRange32 = 194.4202F;

/// The numbers of the entries that nothing was measured into.
std::vector<unsigned> unmeasuredOf(const QACheckOutcome& outcome) {
  std::vector<unsigned> numbers;
  const std::vector<QAValues> entries = recordsOf(outcome, "levels");
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (numberOf(entries[i], "measured") == 0.0) {
      numbers.push_back(static_cast<unsigned>(i));
    }
  }
  return numbers;
}

std::string levelsSettings(int budget) {
  return "QATesterSlateSeconds=0\nLevelFrameChecks=" + std::to_string(budget) + "\n";
}

/// The record of a file without a slate.
LevelsRecord levelsOf(const std::string& file, int budget = 10, const std::string& settings = "") {
  LoggedTester tester(file, stored(), levelsSettings(budget) + settings);
  LevelsRecord record = checkLevels(tester);
  EXPECT_NE(record, nullptr);
  return record;
}

/// The record of streams that are made of nothing but these samples.
LevelsRecord levelsOf(const std::vector<AudioSpec>& streams, int budget = 10,
                      const std::string& settings = "") {
  const TempDir folder;
  return levelsOf(makeClip(folder, "sound.nut", {.audio = streams}), budget, settings);
}

/// A square wave.
CodeFunction square(int64_t code) {
  return [code](int, int64_t index) { return index / 20 % 2 == 0 ? code : -code; };
}

TEST(LevelsCheck, SquareWavesReadTheirMagnitudeBelowTheDynamicRange) {
  struct {
    int64_t code;
    double level;  ///< worked out by hand, to two decimals
  } const cases[] = {{16384, -13.80}, {32767, -7.78}, {1, -98.09}};
  for (const auto& c : cases) {
    const LevelsRecord record = levelsOf({quickSound(1, codes(square(c.code)))});
    ASSERT_EQ(record->count, 1U);
    const QA_ChannelLevel& level = record->levels[0];
    EXPECT_NEAR(level.maxLevel, c.level, 0.005);
    EXPECT_EQ(level.maxLevel, 20.0F * std::log10(static_cast<float>(c.code)) - 98.0906F);
    EXPECT_EQ(level.minLevel, level.maxLevel);
    EXPECT_EQ(level.dynamicRange, 98.0906F);
    EXPECT_TRUE(level.passed);
  }
  const LevelsRecord record = levelsOf({quickSound(1, codes([](int, int64_t) { return -32768; }))});
  EXPECT_EQ(record->levels[0].maxLevel, levelOf(32768)) << "negative full scale";
}

TEST(LevelsCheck, SilenceStaysAtZeroAndFailsAlsoBelowAPeakThresholdAboveZero) {
  for (const char* settings : {"", "LevelPeakThreshold=5\n"}) {
    const LevelsRecord record =
        levelsOf({quickSound(2, codes([](int, int64_t) { return 0; }))}, 10, settings);
    ASSERT_EQ(record->count, 2U);
    for (uint32_t i = 0; i < record->count; ++i) {
      EXPECT_EQ(record->levels[i].maxLevel, 0.0F);
      EXPECT_EQ(record->levels[i].minLevel, 0.0F);
      EXPECT_EQ(record->levels[i].dynamicRange, 98.0906F);
      EXPECT_FALSE(record->levels[i].passed) << settings;
    }
  }
}

TEST(LevelsCheck, BytesAbove127StandForThemselvesLess255) {
  struct {
    int byte;
    int magnitude;
  } const cases[] = {{127, 127}, {128, 127}, {254, 1}, {1, 1}};
  for (const auto& c : cases) {
    const LevelsRecord record =
        levelsOf({quickSound(1, bytes([&c](int, int64_t) { return c.byte; }), "pcm_u8")});
    EXPECT_EQ(record->levels[0].maxLevel, levelOf(c.magnitude, kRange8)) << c.byte;
    EXPECT_EQ(record->levels[0].dynamicRange, kRange8);
  }
  const LevelsRecord record =
      levelsOf({quickSound(1, bytes([](int, int64_t) { return 255; }), "pcm_u8")});
  EXPECT_EQ(record->levels[0].maxLevel, 0.0F) << "255 is silence";
}

TEST(LevelsCheck, SamplesOf24BitsAreMeasuredAs32BitOnes) {
  const LevelsRecord record = levelsOf({quickSound(1, codes(square(8388607), 24), "pcm_s24le")});
  EXPECT_EQ(record->levels[0].maxLevel, levelOf(8388607 * 256L, kRange32));
  EXPECT_EQ(record->levels[0].dynamicRange, kRange32);
}

TEST(LevelsCheck, SmallestValueOf32BitsHasNoLevel) {
  const LevelsRecord record = levelsOf({quickSound(
      1, codes([](int, int64_t index) { return index % 8 == 5 ? -2147483648L : 1000L; }, 32),
      "pcm_s32le")});
  EXPECT_EQ(record->levels[0].maxLevel, levelOf(1000, kRange32));
  EXPECT_EQ(record->levels[0].minLevel, levelOf(1000, kRange32));
}

/// A block of the signal: its first value, its loudest and its quietest.
struct Part {
  int64_t first;
  int64_t loud;
  int64_t quiet;
};

LevelsRecord levelsOfParts(const std::vector<Part>& parts) {
  const CodeFunction code = [&parts](int, int64_t index) {
    const auto block = static_cast<std::size_t>(index / kQuickBlock);
    const Part& part = parts[std::min(block, parts.size() - 1)];
    const int64_t place = index % kQuickBlock;
    return place == 0 ? part.first : place % 2 == 0 ? part.loud : -part.quiet;
  };
  return levelsOf({quickSound(1, codes(code))}, static_cast<int>(parts.size()));
}

TEST(LevelsCheck, ExtremesStartAnewWithEachBlockWhoseFirstValueIsNotZero) {
  const LevelsRecord record = levelsOfParts({{100, 20000, 50}, {300, 400, 350}});
  EXPECT_EQ(record->levels[0].maxLevel, levelOf(400));
  EXPECT_EQ(record->levels[0].minLevel, levelOf(300));
}

TEST(LevelsCheck, BlockWhoseFirstValueIsZeroAddsToWhatCameBefore) {
  const LevelsRecord record =
      levelsOfParts({{9, 9, 9}, {100, 20000, 70}, {0, 500, 50}, {0, 900, 300}});
  EXPECT_EQ(record->levels[0].maxLevel, levelOf(20000));
  EXPECT_EQ(record->levels[0].minLevel, levelOf(50));
}

TEST(LevelsCheck, MaximumStaysAtZeroWhileBlocksBeginWithZero) {
  const LevelsRecord record = levelsOfParts({{0, 5000, 40}, {0, 6000, 60}});
  EXPECT_EQ(record->levels[0].maxLevel, 0.0F);
  EXPECT_EQ(record->levels[0].minLevel, levelOf(40));
  EXPECT_FALSE(record->levels[0].passed);
}

TEST(LevelsCheck, ThresholdsAreStrict) {
  struct {
    const char* low;
    const char* peak;
    bool passes;
  } const cases[] = {
      {"-97", "-95", true}, {"-96", "-95", false}, {"-97", "-96", false}, {"-95", "-97", false},
      {"-97", "5", true},   {"5", "0", false},     {"x", "0", false},     {"-97", "x", true},
  };
  // 20 log10(83370) is 98.4202 to seven digits.
  const SampleFunction sample = codes(square(83370), 32);
  ASSERT_EQ(levelOf(83370, kRange32), -96.0F);
  for (const auto& c : cases) {
    const LevelsRecord record = levelsOf(
        {quickSound(1, sample, "pcm_s32le")}, 2,
        std::string("LevelLowThreshold=") + c.low + "\nLevelPeakThreshold=" + c.peak + "\n");
    EXPECT_EQ(record->levels[0].maxLevel, -96.0F);
    EXPECT_EQ(record->levels[0].passed, c.passes) << c.low << " to " << c.peak;
  }
}

/// Magnitudes that tell streams and channels apart: 100 times the stream's number from 1 on, plus
/// that of the channel from 0 on.
AudioSpec numbered(int stream, int channels) {
  return quickSound(channels,
                    codes([stream](int channel, int64_t) { return 100 * (stream + 1) + channel; }));
}

/// The magnitude that each entry's level stands for; 0 where nothing was measured.
std::vector<int> magnitudesOf(const QA_AudioLevels& record) {
  std::vector<int> magnitudes;
  for (uint32_t i = 0; i < record.count; ++i) {
    const QA_ChannelLevel& level = record.levels[i];
    const bool heard = level.dynamicRange != 0.0F;
    const double magnitude = std::pow(10.0, (level.maxLevel + level.dynamicRange) / 20.0);
    magnitudes.push_back(heard ? static_cast<int>(std::lround(magnitude)) : 0);
  }
  return magnitudes;
}

TEST(LevelsCheck, EveryChannelOfEveryStreamHasAnEntry) {
  struct {
    std::vector<int> channels;  ///< of each stream
    QA_StreamSetup setup;
    std::vector<int> magnitudes;
  } const cases[] = {
      {{1}, QA_STREAM_SETUP_ONE_STEREO, {100}},
      {{2}, QA_STREAM_SETUP_ONE_STEREO, {100, 101}},
      {{6}, QA_STREAM_SETUP_ONE_STEREO, {100, 101, 102, 103, 104, 105}},
      {{2, 2}, QA_STREAM_SETUP_UNSUPPORTED, {100, 101, 200, 201}},
      {{2, 2, 2}, QA_STREAM_SETUP_THREE_STEREO, {100, 101, 200, 201, 300, 301}},
      {{1, 1, 1, 1}, QA_STREAM_SETUP_FOUR_MONO, {100, 200, 300, 400}},
      {{1, 1, 1, 1, 1, 1, 1, 1},
       QA_STREAM_SETUP_EIGHT_MONO,
       {100, 200, 300, 400, 500, 600, 700, 800}},
  };
  for (const auto& c : cases) {
    std::vector<AudioSpec> streams;
    for (const int channels : c.channels) {
      streams.push_back(numbered(static_cast<int>(streams.size()), channels));
    }
    const LevelsRecord record = levelsOf(streams);
    EXPECT_EQ(record->setup, c.setup) << streams.size();
    EXPECT_EQ(magnitudesOf(*record), c.magnitudes) << streams.size();
    for (uint32_t i = 0; i < record->count; ++i) {
      const auto channels = static_cast<uint32_t>(c.channels[0]);
      EXPECT_EQ(record->levels[i].audioStreamNumber, i / channels);
      EXPECT_EQ(record->levels[i].channelNumber, i % channels);
    }
  }
}

TEST(LevelsCheck, EntriesAreCountedByTheFirstStreamsChannels) {
  struct {
    std::vector<int> channels;
    std::vector<int> magnitudes;
    std::vector<unsigned> unmeasured;
  } const cases[] = {
      // One channel goes into the entry of its stream's number.
      {{2, 1}, {100, 200, 0, 0}, {2, 3}},
      {{2, 1, 2}, {100, 200, 0, 0, 300, 301}, {2, 3}},
      // What has no entry is left out, and what shares one is overwritten.
      {{1, 2}, {100, 200}, {}},
      {{1, 2, 1}, {100, 200, 300}, {}},
      {{2, 6, 2}, {100, 101, 200, 201, 300, 301}, {}},
  };
  for (const auto& c : cases) {
    std::vector<AudioSpec> streams;
    for (const int channels : c.channels) {
      streams.push_back(numbered(static_cast<int>(streams.size()), channels));
    }
    const TempDir folder;
    const std::string file = makeClip(folder, "sound.nut", {.audio = streams});
    LoggedTester tester(file, stored(), levelsSettings(3));
    const LevelsRecord record = checkLevels(tester);
    EXPECT_EQ(magnitudesOf(*record), c.magnitudes);
    EXPECT_EQ(unmeasuredOf(tester.outcomes.at(0)), c.unmeasured);
    expectSameLevels(*record, expectedLevels(soundOf(file), {3}));
  }
}

TEST(LevelsCheck, StreamThatEndsEarlyEndsTheCheckWithWhatWasMeasured) {
  const auto block = [](int, int64_t index) { return 1 + index / kQuickBlock; };
  // The second stream has 50 blocks: the first is measured once more.
  const LevelsRecord record =
      levelsOf({quickSound(1, codes(block)), quickSound(1, codes(block), "pcm_s16le", 0.4)}, 125);
  EXPECT_EQ(magnitudesOf(*record), (std::vector<int>{51, 50}));
  EXPECT_TRUE(record->levels[0].passed);
  EXPECT_TRUE(record->levels[1].passed);
}

TEST(LevelsCheck, FloatSamplesHaveNoLevels) {
  const TempDir folder;
  AudioSpec sound = quickSound(2, clipSample, "pcm_f32le");
  LoggedTester tester(makeClip(folder, "sound.nut", {.audio = {sound}}), stored(),
                      levelsSettings(10));
  const LevelsRecord record = checkLevels(tester);
  EXPECT_EQ(magnitudesOf(*record), (std::vector<int>{0, 0}));
  EXPECT_FALSE(record->levels[0].passed);
  const QACheckOutcome& outcome = tester.outcomes.at(0);
  EXPECT_FALSE(outcome.measured);
  EXPECT_EQ(unmeasuredOf(outcome), (std::vector<unsigned>{0, 1}));
  EXPECT_EQ(outcome.reason,
            "stream 0: samples of format flt read as silence: only 8-, 16- and 32-bit integers are "
            "measured");
}

TEST(LevelsCheck, OneStreamThatHasNoValuesDoesNotSpoilTheOthers) {
  const TempDir folder;
  const std::vector<AudioSpec> streams = {quickSound(1, clipSample, "pcm_f32le"), numbered(1, 1),
                                          numbered(2, 1), numbered(3, 1)};
  LoggedTester tester(makeClip(folder, "sound.nut", {.audio = streams}), stored(),
                      levelsSettings(10));
  const LevelsRecord record = checkLevels(tester);
  EXPECT_EQ(magnitudesOf(*record), (std::vector<int>{0, 200, 300, 400}));
  EXPECT_TRUE(tester.outcomes.at(0).measured);
  EXPECT_NE(tester.outcomes[0].reason.find("stream 0: samples of format flt"), std::string::npos);
}

}  // namespace
