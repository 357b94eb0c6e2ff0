#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "checks/AudioChecks.h"

namespace {

using namespace qatest;

constexpr double kMinusInfinity = -std::numeric_limits<double>::infinity();

std::string loudnessSettings(int budget) {
  return "QATesterSlateSeconds=0\nLoudnessFrameChecks=" + std::to_string(budget) + "\n";
}

QA_Loudness loudnessOf(const std::string& file, int budget = 5, const std::string& settings = "") {
  LoggedTester tester(file, stored(), loudnessSettings(budget) + settings);
  return checkLoudness(tester);
}

QA_Loudness loudnessOf(const std::vector<AudioSpec>& streams, int budget = 5,
                       const std::string& settings = "") {
  const TempDir folder;
  return loudnessOf(makeClip(folder, "sound.nut", {.audio = streams}), budget, settings);
}

int64_t noisy(int channel, int64_t index) {
  return noise(channel, index);
}

/// The samples of some channels; the others are silent.
SampleFunction only(const std::vector<int>& channels) {
  return codes([channels](int channel, int64_t index) {
    const bool heard = std::find(channels.begin(), channels.end(), channel) != channels.end();
    return heard ? noisy(0, index) : 0;
  });
}

/// The samples of one channel of `sample`, for a stream of its own.
SampleFunction channelOf(const SampleFunction& sample, int channel) {
  return [=](int, int64_t index) { return sample(channel, index); };
}

TEST(LoudnessCheck, FullScaleSineReadsMinusThreeInOneChannelAndZeroInBoth) {
  const auto sine = [](int64_t index) {
    return std::sin(2.0 * std::numbers::pi * 997.0 * static_cast<double>(index) / 48000.0);
  };
  AudioSpec both = audio("pcm_s16le");
  both.sample = [&](int, int64_t index) { return sine(index); };
  AudioSpec left = both;
  left.sample = [&](int channel, int64_t index) { return channel == 0 ? sine(index) : 0.0; };
  const TempDir folder;
  for (const int budget : {1, 20}) {
    EXPECT_NEAR(loudnessOf(makeClip(folder, "left.wav", {.audio = {left}}), budget).loudness, -3.0,
                0.1);
    EXPECT_NEAR(loudnessOf(makeClip(folder, "both.wav", {.audio = {both}}), budget).loudness, 0.0,
                0.1);
  }
}

TEST(LoudnessCheck, EqualsTheDefinitionToTheLastBit) {
  struct {
    const char* encoder;
    int rate;
    int streams;
    int channels;
  } const cases[] = {
      {"pcm_s16le", 48000, 1, 2}, {"pcm_s16le", 44100, 1, 2}, {"pcm_u8", 48000, 1, 2},
      {"pcm_s32le", 48000, 1, 2}, {"pcm_s24le", 44100, 3, 2}, {"pcm_s16le", 48000, 4, 1},
      {"pcm_s32le", 44100, 8, 1}, {"pcm_s16le", 48000, 1, 6}, {"pcm_u8", 44100, 4, 1},
      {"pcm_s16le", 44100, 1, 1},
  };
  const TempDir folder;
  for (const auto& c : cases) {
    std::vector<AudioSpec> streams;
    for (int i = 0; i < c.streams; ++i) {
      streams.push_back(quickSound(c.channels, codes([i](int channel, int64_t index) {
                                     return noise(8 * i + channel, index) / (1 + index % 7);
                                   }),
                                   c.encoder, 1.2));
      streams.back().rate = c.rate;
      streams.back().samplesPerPacket = 400;
    }
    const std::string file = makeClip(folder, "sound.nut", {.audio = streams});
    const Sound sound = soundOf(file);
    for (const int budget : {1, 7, 100}) {
      EXPECT_EQ(loudnessOf(file, budget).loudness, expectedLoudness(sound, {budget}))
          << c.encoder << ", " << c.streams << " of " << c.channels << ", " << budget << " blocks";
    }
  }
}

TEST(LoudnessCheck, ChannelsBehindTheSecondDoNotCount) {
  const double left = loudnessOf({quickSound(2, only({0}))}).loudness;
  EXPECT_EQ(loudnessOf({quickSound(6, only({0}))}).loudness, left);
  EXPECT_EQ(loudnessOf({quickSound(6, only({0, 2, 3, 4, 5}))}).loudness, left);
  EXPECT_EQ(loudnessOf({quickSound(6, only({0, 1, 4}))}).loudness,
            loudnessOf({quickSound(2, only({0, 1}))}).loudness);
}

TEST(LoudnessCheck, StreamOfOneChannelIsAPairWhoseOtherHalfIsSilent) {
  EXPECT_EQ(loudnessOf({quickSound(1, only({0}))}).loudness,
            loudnessOf({quickSound(2, only({0}))}).loudness);
}

TEST(LoudnessCheck, FourOrEightStreamsOfOneChannelCountAsThePairOfTheFirstTwo) {
  const SampleFunction pair = codes(noisy);
  const double loudness = loudnessOf({quickSound(2, pair)}).loudness;
  for (const int count : {4, 8}) {
    // Skipping silence takes a block of both channels of a pair, but of the first stream alone.
    std::vector<AudioSpec> streams;
    for (int i = 0; i < count; ++i) {
      streams.push_back(quickSound(1, channelOf(pair, i)));
    }
    streams[1].sample = [&pair](int, int64_t index) { return pair(1, index + kQuickBlock); };
    EXPECT_EQ(loudnessOf(streams).loudness, loudness) << count;
  }
}

TEST(LoudnessCheck, OfThreeStreamsTheFirstAloneCounts) {
  const AudioSpec first = quickSound(2, only({0}));
  EXPECT_EQ(loudnessOf({first, quickSound(2, only({0, 1})), quickSound(1, only({0}))}).loudness,
            loudnessOf({first}).loudness);
}

TEST(LoudnessCheck, SilenceIsMinusInfinityAndFails) {
  struct {
    int slateSeconds;
    bool measured;
    const char* reason;
  } const cases[] = {{0, false, "silent from the slate to the end"}, {3, true, ""}};
  const TempDir folder;
  const std::string file = makeClip(folder, "sound.nut", {.audio = {quickSound(2, only({}))}});
  for (const auto& c : cases) {
    LoggedTester tester(file, stored(),
                        "LoudnessMinThreshold=-1000\nQATesterSlateSeconds=" +
                            std::to_string(c.slateSeconds) + "\n");
    const QA_Loudness result = checkLoudness(tester);
    EXPECT_EQ(result.loudness, kMinusInfinity);
    EXPECT_FALSE(result.passed);
    EXPECT_EQ(tester.outcomes.at(0).measured, c.measured) << c.slateSeconds;
    EXPECT_EQ(tester.outcomes[0].reason, c.reason);
    EXPECT_NE(tester.logged().find("QALoudness: Starting Checks.\nQALoudness: Test Complete\n"),
              std::string::npos);
  }
}

TEST(LoudnessCheck, BlockThatEndsTheLeadingSilenceIsNotMeasured) {
  // Silent for ten blocks, of which one only starts so; then a loud one, then quiet ones.
  const auto sample = codes([](int, int64_t index) -> int64_t {
    const int64_t block = index / kQuickBlock;
    const int64_t sign = index % 2 == 0 ? 1 : -1;
    if (block < 10) {
      return block == 4 && index % kQuickBlock != 0 ? 30000 * sign : 0;
    }
    return block == 10 ? 30000 * sign : 10 * sign;
  });
  const TempDir folder;
  const std::string file = makeClip(folder, "sound.nut", {.audio = {quickSound(2, sample)}});
  LoggedTester tester(file, stored(), loudnessSettings(3));
  const double loudness = checkLoudness(tester).loudness;
  EXPECT_EQ(tester.outcomes.at(0).startSeconds, 11.0 * kQuickBlock / kQuickRate);
  EXPECT_LT(loudness, -50.0);
  EXPECT_EQ(loudness, expectedLoudness(soundOf(file), {3}));
}

TEST(LoudnessCheck, SkippingOfSilenceStopsAtTheFirstStreamThatIsHeard) {
  // The second stream is loud in its first block alone, which is measured: the skipping has ended
  // at the first stream's.
  const auto loudOnce = codes(
      [](int, int64_t index) -> int64_t { return index < kQuickBlock ? noisy(0, index) : 0; });
  const AudioSpec hardlyHeard = quickSound(1, codes([](int, int64_t) { return 1; }));
  const AudioSpec silent = quickSound(1, only({}));
  EXPECT_GT(loudnessOf({hardlyHeard, quickSound(1, loudOnce), silent, silent}, 1).loudness, -20.0);
  EXPECT_EQ(loudnessOf({silent, quickSound(1, loudOnce), silent, silent}, 1).loudness,
            kMinusInfinity);
}

TEST(LoudnessCheck, FileNotLongerThanTheSlateIsMeasuredFromItsStartSilenceIncluded) {
  const auto lateStart = codes([](int channel, int64_t index) -> int64_t {
    return index < 3 * kQuickBlock ? 0 : noisy(channel, index);
  });
  const TempDir folder;
  const std::string file = makeClip(folder, "sound.nut", {.audio = {quickSound(2, lateStart)}});
  for (const int budget : {3, 6}) {
    LoggedTester tester(file, stored(),
                        "QATesterSlateSeconds=2\nLoudnessFrameChecks=" + std::to_string(budget));
    const double loudness = checkLoudness(tester).loudness;
    EXPECT_EQ(tester.outcomes.at(0).startSeconds, 0.0);
    EXPECT_EQ(loudness, expectedLoudness(soundOf(file), {.cycles = budget, .slateSeconds = 2}));
    EXPECT_EQ(loudness == kMinusInfinity, budget == 3);
  }
}

TEST(LoudnessCheck, PassesStrictlyBetweenThresholdsThatAreAtMostZero) {
  const TempDir folder;
  const std::string file =
      makeClip(folder, "sound.nut", {.audio = {quickSound(2, codes([](int channel, int64_t index) {
                                                            return noise(channel, index) / 10;
                                                          }))}});
  const double loudness = expectedLoudness(soundOf(file), {1});
  const int below = static_cast<int>(std::floor(loudness));
  ASSERT_LT(below, -2);
  struct {
    int min;
    int max;
    bool passes;
  } const cases[] = {{below, below + 1, true}, {below, 0, true},         {below, 30, true},
                     {-1000, below, false},    {below + 1, 0, false},    {0, 0, false},
                     {30, 30, false},          {below + 1, below, false}};
  for (const auto& c : cases) {
    const QA_Loudness result =
        loudnessOf(file, 1,
                   "LoudnessMinThreshold=" + std::to_string(c.min) +
                       "\nLoudnessMaxThreshold=" + std::to_string(c.max) + "\n");
    EXPECT_EQ(result.loudness, loudness);
    EXPECT_EQ(result.passed, c.passes) << c.min << " to " << c.max;
  }
}

TEST(LoudnessCheck, MaximumAboveZeroIsZero) {
  // A square wave at full scale in both channels is louder than 0.
  const AudioSpec square =
      quickSound(2, codes([](int, int64_t index) { return index / 4 % 2 == 0 ? 32767 : -32767; }));
  const TempDir folder;
  LoggedTester tester(makeClip(folder, "sound.nut", {.audio = {square}}), stored(),
                      loudnessSettings(5) + "LoudnessMinThreshold=-100\nLoudnessMaxThreshold=50\n");
  const QA_Loudness result = checkLoudness(tester);
  EXPECT_GT(result.loudness, 0.0);
  EXPECT_FALSE(result.passed);
  ASSERT_EQ(tester.outcomes.at(0).limits.size(), 1U);
  EXPECT_EQ(tester.outcomes[0].limits[0].min, -100);
  EXPECT_EQ(tester.outcomes[0].limits[0].max, 0);
}

TEST(LoudnessCheck, StreamThatEndsEarlyEndsTheCheckWithWhatWasMeasured) {
  const TempDir folder;
  // 10 blocks in the second stream: the first is measured once more.
  const std::string file = makeClip(
      folder, "sound.nut",
      {.audio = {quickSound(1, codes(noisy)), quickSound(1, codes(noisy), "pcm_s16le", 0.08),
                 quickSound(1, codes(noisy)), quickSound(1, codes(noisy))}});
  LoggedTester tester(file, stored(), loudnessSettings(100));
  EXPECT_EQ(checkLoudness(tester).loudness, expectedLoudness(soundOf(file), {100}));
  EXPECT_EQ(tester.outcomes.at(0).count, 10);
  // The first stream's first block ended the skipping of silence.
  EXPECT_DOUBLE_EQ(tester.outcomes[0].endSeconds - tester.outcomes[0].startSeconds,
                   11.0 * kQuickBlock / kQuickRate);
}

TEST(LoudnessCheck, BlocksOfOneInstantCountForNothing) {
  AudioSpec sound = quickSound(2, codes([](int channel, int64_t index) {
                                 return noise(channel, index % kQuickBlock);  // the same each block
                               }));
  const double loudness = loudnessOf({sound}, 2).loudness;
  sound.edit = [](AVPacket& packet, int index) {
    if (index % 2 == 0) {
      av_shrink_packet(&packet, 4);
    }
  };
  EXPECT_EQ(loudnessOf({sound}, 4).loudness, loudness);
  EXPECT_EQ(loudnessOf({sound}, 1).loudness, loudness) << "a whole block";
}

TEST(LoudnessCheck, FloatSamplesReadAsSilence) {
  const TempDir folder;
  for (const int slateSeconds : {0, 3}) {
    LoggedTester tester(
        makeClip(folder, "sound.nut", {.audio = {quickSound(2, clipSample, "pcm_f32le")}}),
        stored(), "QATesterSlateSeconds=" + std::to_string(slateSeconds));
    EXPECT_EQ(checkLoudness(tester).loudness, kMinusInfinity);
    EXPECT_FALSE(tester.outcomes.at(0).measured);
    EXPECT_NE(tester.outcomes[0].reason.find("samples of format flt read as silence"),
              std::string::npos);
  }
}

}  // namespace
