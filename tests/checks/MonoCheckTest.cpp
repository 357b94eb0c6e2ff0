#include <gtest/gtest.h>

#include "checks/AudioChecks.h"

namespace {

using namespace qatest;

constexpr int kBudget = 10;

struct Verdict {
  bool passed;
  int compared;
  double matching;
  double threshold;
};

Verdict monoOf(const std::string& file, const std::string& settings = "", int budget = kBudget) {
  LoggedTester tester(
      file, stored(),
      "QATesterSlateSeconds=0\nMonoFrameChecks=" + std::to_string(budget) + "\n" + settings);
  const bool passed = checkMono(tester);
  const QACheckOutcome& outcome = tester.outcomes.at(0);
  return {passed, outcome.count, numberOf(outcome, "matchingBlocks"),
          numberOf(outcome, "threshold")};
}

Verdict monoOf(const std::vector<AudioSpec>& streams, const std::string& settings = "",
               int budget = kBudget) {
  const TempDir folder;
  return monoOf(makeClip(folder, "sound.nut", {.audio = streams}), settings, budget);
}

std::string similar(const std::string& threshold) {
  return "MonoSimilarSampleCountThreshold=" + threshold + "\n";
}

std::string tolerance(const std::string& share) {
  return "MonoSingleSampleThreshold=" + share + "\n";
}

/// Two channels of codes, the same in each block but for the place in it.
AudioSpec pair(CodeFunction code) {
  return quickSound(2, codes(std::move(code)));
}

/// Neighbours differ by more than the default tolerance.
int64_t jumping(int64_t index) {
  return (index + 10) * 7919 % 32000 - 16000;
}

/// The second channel is the first one `instants` later.
AudioSpec delayed(int instants) {
  return pair([instants](int channel, int64_t index) {
    return jumping(channel == 0 ? index : index - instants);
  });
}

void expectMono(const Verdict& verdict) {
  EXPECT_FALSE(verdict.passed);
  EXPECT_EQ(verdict.matching, kBudget);
  EXPECT_EQ(verdict.compared, kBudget);
}

void expectDistinct(const Verdict& verdict) {
  EXPECT_TRUE(verdict.passed);
  EXPECT_EQ(verdict.matching, 0);
  EXPECT_EQ(verdict.compared, kBudget);
}

TEST(MonoCheck, IdenticalChannelsAreMonoAndOppositeOnesAreNot) {
  expectMono(monoOf({delayed(0)}));
  expectDistinct(monoOf({pair([](int channel, int64_t) { return channel == 0 ? 9000 : -9000; })}));
  expectMono(monoOf({pair([](int, int64_t) { return 0; })}));
}

TEST(MonoCheck, FirstAndLastInstantOfABlockAreNotCompared) {
  expectMono(monoOf({delayed(0)}, similar("0.96875")));  // 62 / 64
  expectDistinct(monoOf({delayed(0)}, similar("0.9688")));
}

TEST(MonoCheck, SecondChannelOneInstantLateIsMono) {
  expectMono(monoOf({delayed(1)}));
  expectMono(monoOf({delayed(1)}, similar("0.96875")));
  expectDistinct(monoOf({delayed(1)}, similar("0.9688")));
}

TEST(MonoCheck, SecondChannelOneInstantEarlyIsMonoOnlyWhenMoreMatchAtTheSameInstantThanBefore) {
  expectDistinct(monoOf({delayed(-1)}));
  const auto earlyButFor = [](int64_t place) {
    return pair([place](int channel, int64_t index) {
      const bool early = channel == 1 && index % kQuickBlock != place;
      return jumping(early ? index + 1 : index);
    });
  };
  expectMono(monoOf({earlyButFor(30)}));
  expectMono(monoOf({earlyButFor(30)}, similar("0.953125")));  // 61 / 64
  expectDistinct(monoOf({earlyButFor(30)}, similar("0.9532")));
  expectDistinct(monoOf({earlyButFor(0)}));
}

TEST(MonoCheck, TwoInstantsApartIsNotMono) {
  expectDistinct(monoOf({delayed(2)}));
  expectDistinct(monoOf({delayed(-2)}));
}

TEST(MonoCheck, SamplesMatchWhenTheyDifferByLessThanTheTolerance) {
  struct {
    const char* encoder;
    int bits;
    int64_t first;
    int64_t second;
    const char* tolerance;
    bool match;
  } const cases[] = {
      // 65536 x 0.01 = 655.36
      {"pcm_s16le", 16, 1000, 1655, "0.01", true},
      {"pcm_s16le", 16, 1000, 1656, "0.01", false},
      {"pcm_s16le", 16, 1000, 345, "0.01", true},
      {"pcm_s16le", 16, 1000, 344, "0.01", false},
      {"pcm_s16le", 16, -300, 355, "0.01", true},
      // 65536 x 0.25 = 16384: strict
      {"pcm_s16le", 16, 0, 16383, "0.25", true},
      {"pcm_s16le", 16, 0, 16384, "0.25", false},
      {"pcm_s16le", 16, 16384, 0, "0.25", false},
      // At least 0.0001: 6.5536
      {"pcm_s16le", 16, 100, 106, "0", true},
      {"pcm_s16le", 16, 100, 107, "0", false},
      {"pcm_s16le", 16, 100, 106, "-1", true},
      {"pcm_s16le", 16, 100, 107, "x", false},
      // At most 1
      {"pcm_s16le", 16, -32768, 32767, "1", true},
      {"pcm_s32le", 32, 2147483647, -2147480000, "2", true},
      {"pcm_s32le", 32, 2147483647, -2147483648, "2", false},
      // 4294967296 x 0.01 = 42949672.96, in steps of single precision
      {"pcm_s32le", 32, 0, 42949600, "0.01", true},
      {"pcm_s32le", 32, 0, 42949700, "0.01", false},
      {"pcm_s24le", 32, 0, 42949600, "0.01", true},
      {"pcm_s24le", 32, 0, 42950000, "0.01", false},
  };
  for (const auto& c : cases) {
    const SampleFunction sample =
        codes([&c](int channel, int64_t) { return channel == 0 ? c.first : c.second; }, c.bits);
    EXPECT_EQ(monoOf({quickSound(2, sample, c.encoder)}, tolerance(c.tolerance)).matching,
              c.match ? kBudget : 0)
        << c.encoder << ": " << c.first << ", " << c.second << " within " << c.tolerance;
  }
}

TEST(MonoCheck, BytesMatchOnlyWhereBothAreZero) {
  struct {
    int byte;
    bool match;
  } const cases[] = {{0, true}, {128, false}, {255, false}, {1, false}, {77, false}};
  for (const auto& c : cases) {
    const AudioSpec identical =
        quickSound(2, bytes([&c](int, int64_t) { return c.byte; }), "pcm_u8");
    for (const char* share : {"0.01", "1"}) {
      const Verdict verdict = monoOf({identical}, tolerance(share));
      EXPECT_EQ(verdict.matching, c.match ? kBudget : 0) << c.byte;
      EXPECT_EQ(verdict.passed, !c.match) << c.byte;
    }
  }
}

TEST(MonoCheck, ThresholdIsAtLeastAHundredthAndAtMostOne) {
  struct {
    const char* setting;
    double threshold;
  } const cases[] = {{"0", 0.01F}, {"-3", 0.01F}, {"x", 0.01F},  {"0.5", 0.5},
                     {"1", 1.0},   {"7", 1.0},    {"1e30", 1.0}, {"0.009", 0.01F}};
  for (const auto& c : cases) {
    EXPECT_EQ(monoOf({delayed(0)}, similar(c.setting)).threshold, c.threshold) << c.setting;
  }
}

TEST(MonoCheck, ThresholdOfOneIsNeverReached) {
  expectDistinct(monoOf({delayed(0)}, similar("1")));
  expectDistinct(monoOf({delayed(0)}, similar("9")));
}

TEST(MonoCheck, FileIsMonoFromTheThresholdsShareOfItsBlocksOn) {
  for (const int monoBlocks : {4, 5, 6}) {
    const AudioSpec sound = pair([monoBlocks](int channel, int64_t index) {
      const bool opposite = channel == 1 && index / kQuickBlock % kBudget >= monoBlocks;
      return opposite ? int64_t{-10000} : int64_t{10000};
    });
    const Verdict verdict = monoOf({sound}, similar("0.5"));
    EXPECT_EQ(verdict.matching, monoBlocks);
    EXPECT_EQ(verdict.passed, monoBlocks < 5);
  }
}

TEST(MonoCheck, ComparesTheFirstTwoChannelsOrStreams) {
  const auto signal = [](int of) {
    return codes(
        [of](int channel, int64_t index) { return jumping(index + 1000 * (of + channel)); });
  };
  const auto same = [](int channels) {
    return quickSound(channels, codes([](int, int64_t index) { return jumping(index); }));
  };
  // One or three streams: the first one's channels.
  expectMono(monoOf({same(2), quickSound(2, signal(0)), quickSound(2, signal(1))}));
  expectDistinct(monoOf({quickSound(2, signal(0)), same(2), same(2)}));
  expectMono(monoOf({quickSound(6, codes([](int channel, int64_t index) {
                                  return channel < 2 ? jumping(index) : jumping(index * channel);
                                }))}));
  // Four or eight: the first two.
  for (const std::size_t count : {std::size_t{4}, std::size_t{8}}) {
    std::vector<AudioSpec> streams(count, same(1));
    expectMono(monoOf(streams));
    streams[1] = quickSound(1, signal(5));
    expectDistinct(monoOf(streams));
    streams.assign(count, quickSound(1, signal(5)));
    streams[0] = streams[1] = same(1);
    expectMono(monoOf(streams));
  }
}

TEST(MonoCheck, OneStreamOfOneChannelIsNotComparedAndFails) {
  const TempDir folder;
  LoggedTester tester(makeClip(folder, "sound.nut", {.audio = {quickSound(1, clipSample)}}),
                      stored(), "QATesterSlateSeconds=0\n");
  EXPECT_FALSE(checkMono(tester));
  const QACheckOutcome& outcome = tester.outcomes.at(0);
  EXPECT_FALSE(outcome.measured);
  EXPECT_EQ(outcome.count, 0);
  EXPECT_EQ(numberOf(outcome, "matchingBlocks"), 0.0);
  EXPECT_EQ(outcome.reason, "the stream has no second channel");
  EXPECT_TRUE(tester.listener.progress.empty());
}

std::vector<AudioSpec> fourWithSecond(const AudioSpec& second) {
  std::vector<AudioSpec> streams(4, quickSound(1, [](int, int64_t) { return 0.0; }));
  streams[1] = second;
  return streams;
}

TEST(MonoCheck, BlocksOfDifferentLengthsArePassedOver) {
  AudioSpec shorter = quickSound(1, [](int, int64_t) { return 0.0; });
  shorter.samplesPerPacket = kQuickBlock / 2;
  const TempDir folder;
  LoggedTester tester(makeClip(folder, "sound.nut", {.audio = fourWithSecond(shorter)}), stored(),
                      "QATesterSlateSeconds=0\nMonoFrameChecks=10\n");
  EXPECT_FALSE(checkMono(tester));
  const QACheckOutcome& outcome = tester.outcomes.at(0);
  EXPECT_EQ(outcome.count, 0);
  EXPECT_FALSE(outcome.measured);
  EXPECT_EQ(outcome.reason, "the blocks of the two streams differ in length");
  EXPECT_EQ(tester.listener.progress["mono"], percentsOf(10));

  AudioSpec laterShorter = quickSound(1, [](int, int64_t) { return 0.0; });
  laterShorter.edit = cutLaterPackets(kQuickBlock / 2, 2);
  const Verdict verdict = monoOf(fourWithSecond(laterShorter));
  EXPECT_EQ(verdict.compared, 1);
  EXPECT_EQ(verdict.matching, 1);
  EXPECT_FALSE(verdict.passed);
}

TEST(MonoCheck, StreamsOfDifferentFormatsAreNotMeasured) {
  const TempDir folder;
  for (const char* encoder : {"pcm_u8", "pcm_s32le"}) {
    LoggedTester tester(makeClip(folder, "sound.nut",
                                 {.audio = fourWithSecond(quickSound(1, clipSample, encoder))}),
                        stored(), "QATesterSlateSeconds=0\n");
    checkMono(tester);
    EXPECT_FALSE(tester.outcomes.at(0).measured) << encoder;
    EXPECT_EQ(tester.outcomes[0].reason, "the two streams have samples of different formats");
  }
}

TEST(MonoCheck, FloatSamplesMatchNowhere) {
  const TempDir folder;
  LoggedTester tester(makeClip(folder, "sound.nut",
                               {.audio = {quickSound(
                                    2, [](int, int64_t) { return 0.0; }, "pcm_f32le")}}),
                      stored(), "QATesterSlateSeconds=0\n");
  EXPECT_TRUE(checkMono(tester));
  EXPECT_FALSE(tester.outcomes.at(0).measured);
  EXPECT_NE(tester.outcomes[0].reason.find("samples of format flt read as silence"),
            std::string::npos);
}

}  // namespace
