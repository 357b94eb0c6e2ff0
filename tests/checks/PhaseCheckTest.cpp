#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

#include "checks/AudioChecks.h"

namespace {

using namespace qatest;

constexpr int kBudget = 6;

struct Verdict {
  bool passed;
  int compared;
  double meanLag;  ///< in samples
};

Verdict phaseOf(const std::string& file, const std::string& settings = "", int budget = kBudget) {
  LoggedTester tester(
      file, stored(),
      "QATesterSlateSeconds=0\nPhaseFrameChecks=" + std::to_string(budget) + "\n" + settings);
  const bool passed = checkPhase(tester);
  const QACheckOutcome& outcome = tester.outcomes.at(0);
  return {passed, outcome.count, numberOf(outcome, "meanLag")};
}

Verdict phaseOf(const std::vector<AudioSpec>& streams, const std::string& settings = "",
                int budget = kBudget) {
  const TempDir folder;
  return phaseOf(makeClip(folder, "sound.nut", {.audio = streams}), settings, budget);
}

std::string threshold(const std::string& samples) {
  return "PhaseSampleOffsetThreshold=" + samples + "\n";
}

/// Noise whose second channel is the first one `samples` later.
AudioSpec delayed(int samples, int bits = 16, const std::string& encoder = "pcm_s16le") {
  return quickSound(
      2,
      codes([=](int channel,
                int64_t index) { return noise(1, channel == 0 ? index : index - samples, bits); },
            bits),
      encoder);
}

TEST(PhaseCheck, FindsTheDelayOfEitherChannel) {
  for (const int samples : {1, 2, 17, 31}) {
    for (const int delay : {samples, -samples}) {
      const Verdict verdict = phaseOf({delayed(delay)});
      EXPECT_EQ(verdict.meanLag, samples);
      EXPECT_EQ(verdict.compared, kBudget);
      EXPECT_TRUE(verdict.passed);
    }
  }
}

TEST(PhaseCheck, FindsADelayInEveryFormat) {
  for (const int delay : {5, -12}) {
    EXPECT_EQ(phaseOf({delayed(delay, 8, "pcm_u8")}).meanLag, std::abs(delay));
    EXPECT_EQ(phaseOf({delayed(delay, 24, "pcm_s24le")}).meanLag, std::abs(delay));
    EXPECT_EQ(phaseOf({delayed(delay, 32, "pcm_s32le")}).meanLag, std::abs(delay));
  }
}

TEST(PhaseCheck, FindsADelayOfAHundredInBlocksOf1024) {
  const TempDir folder;
  AudioSpec sound = delayed(100);
  sound.rate = 48000;
  sound.seconds = 1.2;
  const std::string file = makeClip(folder, "sound.wav", {.audio = {sound}});
  EXPECT_EQ(phaseOf(file, "", 2).meanLag, 100.0);
  EXPECT_TRUE(phaseOf(file, threshold("101"), 2).passed);
  EXPECT_FALSE(phaseOf(file, threshold("100"), 2).passed) << "the threshold is strict";
  EXPECT_FALSE(phaseOf(file, threshold("99"), 2).passed);
}

TEST(PhaseCheck, ThresholdIsAtLeastOne) {
  for (const char* setting : {"1", "0", "-20", "x"}) {
    EXPECT_FALSE(phaseOf({delayed(1)}, threshold(setting)).passed) << setting;
    EXPECT_TRUE(phaseOf({delayed(0)}, threshold(setting)).passed) << setting;
    EXPECT_TRUE(phaseOf({delayed(1)}, threshold("2")).passed);
  }
}

TEST(PhaseCheck, LagStaysWhatItWasWhereNoDifferenceIsBelowTheBlocksLength) {
  // The mean difference of full-scale noise, 65536 / 3 / 128 = 171, is above 64.
  EXPECT_EQ(phaseOf({delayed(0)}).meanLag, 0.0);
  const auto opposite = codes([](int channel, int64_t index) {
    return channel == 0 ? int64_t{20000} : int64_t{-20000} + index % 2;
  });
  EXPECT_EQ(phaseOf({quickSound(2, opposite)}).meanLag, 0.0);
}

TEST(PhaseCheck, LagOfNoneGivesWayToAnyOtherBelowTheBlocksLength) {
  // Differences below 128 are truncated away, so all lags score 0, and the first one after 0 wins.
  const auto quiet = codes([](int channel, int64_t index) { return noise(channel, index) / 1024; });
  EXPECT_EQ(phaseOf({quickSound(2, quiet)}).meanLag, 1.0);
}

/// A first block with a delay of 20, then blocks of `instants` with the values of `later`.
AudioSpec withShortBlocks(int instants, CodeFunction later) {
  AudioSpec sound = quickSound(2, codes([later = std::move(later)](int channel, int64_t index) {
                                 return index < kQuickBlock
                                            ? noise(1, channel == 0 ? index : index - 20)
                                            : later(channel, index);
                               }));
  sound.edit = cutLaterPackets(instants, 4);
  return sound;
}

TEST(PhaseCheck, BlocksTooShortForALagKeepTheOneBefore) {
  const auto apart = [](int channel, int64_t) { return channel == 0 ? 20000 : -20000; };
  const auto equal = [](int, int64_t) { return 0; };
  for (const int instants : {2, 3}) {
    EXPECT_EQ(phaseOf({withShortBlocks(instants, apart)}).meanLag, 20.0);
    // Lag 20 scored 0, which 0 does not beat; the block after has 2 or 3 to beat.
    EXPECT_EQ(phaseOf({withShortBlocks(instants, equal)}, "", 2).meanLag, 20.0);
    EXPECT_EQ(phaseOf({withShortBlocks(instants, equal)}, "", 4).meanLag, 10.0);
  }
  // No lag is tried at all.
  EXPECT_EQ(phaseOf({withShortBlocks(1, equal)}).meanLag, 20.0);
}

TEST(PhaseCheck, ComparesTheFirstTwoChannelsOrStreams) {
  const auto stream = [](int samples) {
    return quickSound(1,
                      codes([samples](int, int64_t index) { return noise(1, index - samples); }));
  };
  EXPECT_EQ(phaseOf({delayed(3), delayed(7), delayed(8)}).meanLag, 3.0);
  EXPECT_EQ(phaseOf({stream(0), stream(9), stream(2), stream(4)}).meanLag, 9.0);
  EXPECT_EQ(phaseOf({stream(9), stream(0), stream(2), stream(4), stream(1), stream(3), stream(5),
                     stream(6)})
                .meanLag,
            9.0);
  const auto six =
      codes([](int channel, int64_t index) { return noise(1, index - 11 * channel * channel); });
  EXPECT_EQ(phaseOf({quickSound(6, six)}).meanLag, 11.0);
}

TEST(PhaseCheck, OneStreamOfOneChannelIsNotComparedAndFails) {
  const Verdict verdict = phaseOf({quickSound(1, clipSample)});
  EXPECT_FALSE(verdict.passed);
  EXPECT_EQ(verdict.compared, 0);
  EXPECT_EQ(verdict.meanLag, 0.0);
}

TEST(PhaseCheck, BlocksOfDifferentLengthsArePassedOver) {
  std::vector<AudioSpec> streams(4, quickSound(1, clipSample));
  streams[1].edit = cutLaterPackets(kQuickBlock / 2, 2);
  EXPECT_EQ(phaseOf(streams).compared, 1);
  streams[1].samplesPerPacket = kQuickBlock / 2;
  const Verdict none = phaseOf(streams);
  EXPECT_EQ(none.compared, 0);
  EXPECT_FALSE(none.passed);
}

TEST(PhaseCheck, StreamsOfDifferentFormatsAreNotMeasured) {
  const TempDir folder;
  for (const char* encoder : {"pcm_u8", "pcm_s32le"}) {
    std::vector<AudioSpec> streams(4, quickSound(1, clipSample));
    streams[1] = quickSound(1, clipSample, encoder);
    LoggedTester tester(makeClip(folder, "sound.nut", {.audio = streams}), stored(),
                        "QATesterSlateSeconds=0\n");
    checkPhase(tester);
    EXPECT_FALSE(tester.outcomes.at(0).measured) << encoder;
    EXPECT_EQ(tester.outcomes[0].reason, "the two streams have samples of different formats");
  }
}

TEST(PhaseCheck, EqualsTheDefinition) {
  const auto uncorrelated = [](int bits) {
    return codes([bits](int channel, int64_t index) { return noise(channel, index, bits); }, bits);
  };
  // Differences that leave 32 bits wrap.
  const auto extremes = codes(
      [](int channel, int64_t index) {
        return noise(channel, index) % 3 == 0 ? -2147483648L : noise(channel, index, 32) / 3;
      },
      32);
  const auto smooth = codes([](int channel, int64_t index) {
    return std::lround(3000.0 * std::sin(0.05 * static_cast<double>(index + 9 * channel)));
  });
  const auto inverted = codes(
      [](int channel, int64_t index) { return (channel == 0 ? 1 : -1) * noise(1, index) / 16; });
  struct {
    const char* what;
    AudioSpec sound;
  } const cases[] = {
      {"16 bits", quickSound(2, uncorrelated(16))},
      {"8 bits", quickSound(2, uncorrelated(8), "pcm_u8")},
      {"24 bits", quickSound(2, uncorrelated(24), "pcm_s24le")},
      {"32 bits", quickSound(2, uncorrelated(32), "pcm_s32le")},
      {"extremes", quickSound(2, extremes, "pcm_s32le")},
      {"smooth", quickSound(2, smooth)},
      {"inverted", quickSound(2, inverted)},
      {"saw tooth", quickSound(2, clipSample)},
  };
  const TempDir folder;
  for (const auto& c : cases) {
    for (const int instants : {2, 3, 64, 700}) {
      AudioSpec sound = c.sound;
      sound.samplesPerPacket = instants;
      const std::string file = makeClip(folder, "sound.nut", {.audio = {sound}});
      const ExpectedPhase expected = expectedPhase(soundOf(file), {3}, 50);
      const Verdict verdict = phaseOf(file, threshold("50"), 3);
      EXPECT_EQ(verdict.meanLag, static_cast<double>(expected.meanLag)) << c.what << instants;
      EXPECT_EQ(verdict.passed, expected.passed) << c.what << instants;
      EXPECT_EQ(verdict.compared, expected.compared) << c.what << instants;
    }
  }
}

}  // namespace
