// The common steps of an audio check, seen through a measurement that only records.

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/Clips.h"
#include "support/FakeSleep.h"
#include "support/FaultyReads.h"
#include "support/QuickSound.h"
#include "support/TempDir.h"
#include "tester/AudioRun.h"
#include "tester/SettingRows.h"
#include "tester/TestRun.h"

namespace {

using qatest::AudioSpec;
using qatest::kQuickBlock;
using qatest::kQuickRate;
using qatest::Pauses;
using qatest::pausing;
using qatest::quickSound;
using qatest::TempDir;
using qatester::AudioCheckProfile;
using qatester::Taken;

constexpr QASetting kBudget = qatester::blockBudget("TestFrameChecks");

constexpr AudioCheckProfile kProfile{
    .check = {.name = "test",
              .tag = "QATest",
              .budget = &kBudget,
              .progress = &QAListener::onMonoProgress},
};

/// A block that a measurement was given, by the number that all of its samples have.
struct Given {
  int cycle;
  int stream;
  int number;

  bool operator==(const Given&) const = default;
};

void PrintTo(const Given& given, std::ostream* out) {
  *out << given.cycle << "/" << given.stream << ": " << given.number;
}

class Recording : public qatester::AudioMeasurement {
 public:
  void begin(const qatester::AudioPlan& plan) override {
    plans.push_back(plan);
    tell("begin");
  }
  Taken add(int cycle, int stream, const qatester::AudioBlock& block) override {
    int16_t first = 0;
    std::memcpy(&first, block.samples().buffer, sizeof first);
    given.push_back({cycle, stream, first});
    if (onAdd) {
      onAdd(cycle, stream);
    }
    return judge ? judge(cycle, stream) : Taken::measured;
  }
  void end() override {
    tell("end");
    if (throwsAt == "end") {
      throw std::runtime_error("not at the end");
    }
  }
  void conclude() override {
    tell("conclude");
    if (throwsAt == "conclude") {
      throw std::runtime_error("no conclusion");
    }
  }
  void describe(QACheckOutcome& outcome) const override {
    outcome.limits = {{.of = "level", .min = -3.5, .max = 7.25, .unit = "dB"}};
    if (!ownReason.empty()) {
      outcome.reason = ownReason;
    }
  }

  std::vector<qatester::AudioPlan> plans;
  std::vector<Given> given;
  std::function<void(const std::string& step)> onStep;
  std::function<void(int cycle, int stream)> onAdd;
  std::function<Taken(int cycle, int stream)> judge;
  std::string throwsAt;
  std::string ownReason;

 private:
  void tell(const char* step) const {
    if (onStep) {
      onStep(step);
    }
  }
};

/// A run of the test check.
struct TestRun : qatest::TestRun<Recording> {
  TestRun(const std::string& file, int slateSeconds, QATesterOptions runOptions = untilReady(),
          const char* settingsText = "")
      : qatest::TestRun<Recording>(file, slateSeconds, std::move(runOptions), settingsText) {}

  bool go(const AudioCheckProfile& profile = kProfile) {
    return qatest::TestRun<Recording>::go(profile);
  }

  static QATesterOptions untilReady() { return pausing(QAPauses::untilReady); }
};

/// Each block holds its own number, counted from 1.
int64_t numbered(int, int64_t index) {
  return 1 + index / kQuickBlock;
}

AudioSpec sound(int channels = 2, double seconds = 2.5) {
  return quickSound(channels, qatest::codes(numbered), "pcm_s16le", seconds);
}

std::string clip(const TempDir& folder, const std::vector<AudioSpec>& streams = {sound()}) {
  return qatest::makeClip(folder, "sound.nut", {.audio = streams});
}

std::string streamsClip(const TempDir& folder, std::size_t count, int channels = 1) {
  return clip(folder, std::vector<AudioSpec>(count, sound(channels)));
}

/// Declares four seconds of sound and holds about the first.
std::string cutClip(const TempDir& folder) {
  const std::string whole = qatest::makeClip(folder, "whole.mkv", {.audio = {sound(2, 4.5)}});
  return qatest::truncatedCopy(folder, "cut.mkv", whole, qatest::readFile(whole).size() * 10 / 45);
}

double secondsOf(int blocks) {
  return static_cast<double>(blocks) * kQuickBlock / kQuickRate;
}

/// What is given of one stream whose first `skipped` blocks are left out.
std::vector<Given> blocksOf(int skipped, int count) {
  std::vector<Given> blocks;
  for (int cycle = 0; cycle < count; ++cycle) {
    blocks.push_back({cycle, 0, skipped + cycle + 1});
  }
  return blocks;
}

class AudioCheckRun : public testing::TestWithParam<QAPauses> {};

INSTANTIATE_TEST_SUITE_P(BothPauses, AudioCheckRun,
                         testing::Values(QAPauses::fixed, QAPauses::untilReady),
                         [](const auto& info) {
                           return info.param == QAPauses::fixed ? "Fixed" : "UntilReady";
                         });

TEST_P(AudioCheckRun, SkipsTheSlateMeasuresTheBudgetAndClosesInOrder) {
  const TempDir folder;
  const std::string file = clip(folder);
  TestRun run(file, 1, pausing(GetParam()), "TestFrameChecks=20\n");
  run.measurement.onStep = [&](const std::string& step) { run.logged += step + "\n"; };
  EXPECT_TRUE(run.go());
  EXPECT_EQ(run.logged,
            "QATest: Beginning Test.\n"
            "QATest: Audio Setup is 1 Stream with 2 Channels\n"
            "QATest: Buffering...\n"
            "QATest: Dumping slate...\n"
            "QATest: Starting Checks.\n"
            "begin\n"
            "end\n"
            "QATest: Stopping Test...\n"
            "conclude\n"
            "QATest: Test Complete.\n");
  ASSERT_EQ(run.measurement.plans.size(), 1U);
  EXPECT_EQ(run.measurement.plans[0].setup, QA_STREAM_SETUP_ONE_STEREO);
  EXPECT_EQ(run.measurement.plans[0].streams, 1);
  EXPECT_EQ(run.measurement.plans[0].channels, 2);
  EXPECT_EQ(run.measurement.plans[0].cycles, 20);
  EXPECT_EQ(run.measurement.given, blocksOf(63, 20)) << "8000 / 128 = 62.5";
  EXPECT_EQ(run.pauses, GetParam() == QAPauses::fixed ? (Pauses{500, 100}) : Pauses{});
  std::vector<float> percents;
  for (int i = 1; i < 20; ++i) {
    percents.push_back(static_cast<float>(5 * i));
  }
  EXPECT_EQ(run.listener.progress["mono"], percents);
  EXPECT_EQ(run.listener.progress.size(), 1U);
  EXPECT_TRUE(run.listener.messages.empty());
  EXPECT_EQ(run.listener.failures, 0);
  EXPECT_EQ(run.outcome.name, "test");
  EXPECT_EQ(run.outcome.tag, "QATest");
  EXPECT_TRUE(run.outcome.opened);
  EXPECT_TRUE(run.outcome.began);
  EXPECT_TRUE(run.outcome.measured);
  EXPECT_FALSE(run.outcome.stopped);
  EXPECT_FALSE(run.outcome.reachedEnd) << "the budget ended it";
  EXPECT_EQ(run.outcome.reason, "");
  EXPECT_EQ(run.outcome.budget, 20);
  EXPECT_EQ(run.outcome.count, 20);
  EXPECT_EQ(run.outcome.startSeconds, secondsOf(63));
  EXPECT_EQ(run.outcome.endSeconds, secondsOf(83));
  EXPECT_EQ(qatest::openDescriptors(file), 0);
}

TEST_P(AudioCheckRun, BudgetBelowOneBecomesOne) {
  const TempDir folder;
  const std::string file = clip(folder);
  for (const char* setting : {"TestFrameChecks=0\n", "TestFrameChecks=-7\n", "TestFrameChecks=x"}) {
    TestRun run(file, 0, pausing(GetParam()), setting);
    EXPECT_TRUE(run.go());
    EXPECT_EQ(run.measurement.given, blocksOf(0, 1)) << setting;
    EXPECT_TRUE(run.listener.progress.empty());
  }
}

TEST_P(AudioCheckRun, StopIsSeenBetweenCyclesAndKeepsWhatWasMeasured) {
  const TempDir folder;
  std::stop_source stop;
  QATesterOptions options = pausing(GetParam());
  options.stop = stop.get_token();
  TestRun run(streamsClip(folder, 4), 0, options, "TestFrameChecks=10\n");
  run.measurement.onAdd = [&](int cycle, int stream) {
    if (cycle == 2 && stream == 0) {
      stop.request_stop();
    }
  };
  EXPECT_TRUE(run.go());
  EXPECT_EQ(run.measurement.given,
            (std::vector<Given>{{0, 0, 1}, {0, 1, 1}, {1, 0, 2}, {1, 1, 2}, {2, 0, 3}, {2, 1, 3}}));
  EXPECT_TRUE(run.outcome.stopped);
  EXPECT_TRUE(run.outcome.measured);
  EXPECT_EQ(run.outcome.state, QAState::notMeasured);
  EXPECT_EQ(run.outcome.count, 3);
  EXPECT_EQ(run.outcome.reason, "stopped before the check was complete");
  EXPECT_NE(run.logged.find("QATest: Stopping Test...\nQATest: Test Complete."), std::string::npos);
}

TEST_P(AudioCheckRun, StopRequestedBeforehandMeasuresNothing) {
  const TempDir folder;
  std::stop_source stop;
  stop.request_stop();
  QATesterOptions options = pausing(GetParam());
  options.stop = stop.get_token();
  TestRun run(clip(folder), 1, options);
  EXPECT_TRUE(run.go());
  EXPECT_TRUE(run.measurement.given.empty());
  EXPECT_EQ(run.outcome.reason, "stopped before the first block");
  EXPECT_EQ(run.pauses, Pauses{}) << "a stopped check does not pause any more";
  EXPECT_NE(run.logged.find("QATest: Starting Checks.\nQATest: Stopping Test..."),
            std::string::npos);
}

// The slate

TEST(AudioCheckSlate, IsCountedInValuesOfTheLastStreamRead) {
  // Blocks of the second stream are half as long, those of the fourth a quarter.
  std::vector<AudioSpec> streams(4, sound(1, 4.5));
  streams[1].samplesPerPacket = 32;
  streams[3].samplesPerPacket = 16;
  const TempDir folder;
  const std::string file = clip(folder, streams);
  TestRun programme(file, 1, TestRun::untilReady(), "TestFrameChecks=1\n");
  EXPECT_TRUE(programme.go());
  EXPECT_EQ(programme.outcome.startSeconds, secondsOf(8000 / 32));
  AudioCheckProfile all = kProfile;
  all.streams = AudioCheckProfile::Streams::all;
  TestRun everything(file, 1, TestRun::untilReady(), "TestFrameChecks=1\n");
  EXPECT_TRUE(everything.go(all));
  EXPECT_EQ(everything.outcome.startSeconds, secondsOf(8000 / 16));
}

TEST(AudioCheckSlate, CountsTheValuesOfAllChannels) {
  struct {
    std::size_t streams;
    int channels;
    int slateSeconds;
    int blocks;  ///< skipped of each stream
  } const cases[] = {
      {1, 2, 0, 0},  {1, 2, -4, 0},  {1, 1, 1, 125},  // 8000 / 64
      {1, 6, 1, 21},                                  // 8000 / 384 = 20.8
      {3, 2, 1, 63}, {8, 1, 1, 125}, {1, 2, 2, 0},
      {1, 2, 3, 0},  // not longer than the slate: nothing is skipped
  };
  const TempDir folder;
  for (const auto& c : cases) {
    TestRun run(streamsClip(folder, c.streams, c.channels), c.slateSeconds, TestRun::untilReady(),
                "TestFrameChecks=1\n");
    EXPECT_TRUE(run.go());
    ASSERT_FALSE(run.measurement.given.empty());
    EXPECT_EQ(run.measurement.given[0].number, c.blocks + 1) << c.streams << " of " << c.channels;
    EXPECT_EQ(run.outcome.startSeconds, secondsOf(c.blocks));
  }
}

TEST(AudioCheckSlate, OfAnUnknownDurationIsNotSkipped) {
  const TempDir folder;
  // Of compressed sound the bit rate, by which it could be guessed, is unknown as well.
  const std::string file = qatest::makeClip(
      folder, "sound.mkv",
      qatest::withoutDuration({.audio = {quickSound(2, qatest::codes(numbered), "flac")}}));
  TestRun run(file, 1, TestRun::untilReady(), "TestFrameChecks=5\n");
  EXPECT_TRUE(run.go());
  EXPECT_EQ(run.outcome.startSeconds, 0.0);
  EXPECT_EQ(run.outcome.count, 5);
}

TEST(AudioCheckSlate, InWhichAnyStreamEndsLeavesNothingToMeasure) {
  // The second stream ends first: the slate is counted by it.
  std::vector<AudioSpec> four(4, sound(1, 4.5));
  four[1].seconds = 0.5;
  const TempDir folder;
  for (const std::string& file :
       {cutClip(folder), qatest::makeClip(folder, "four.mkv", {.audio = four})}) {
    TestRun run(file, 3);
    EXPECT_TRUE(run.go());
    EXPECT_TRUE(run.measurement.given.empty());
    EXPECT_FALSE(run.outcome.measured);
    EXPECT_EQ(run.outcome.startSeconds, run.outcome.endSeconds);
    EXPECT_EQ(run.outcome.reason, "the sound ends within the slate of 3 s");
    EXPECT_TRUE(run.listener.progress.empty());
    EXPECT_NE(run.logged.find("QATest: Starting Checks.\nQATest: Stopping Test..."),
              std::string::npos);
  }
}

AudioCheckProfile skippingSilence() {
  AudioCheckProfile profile = kProfile;
  profile.skipsSilence = true;
  return profile;
}

TEST(AudioCheckSilence, IsSkippedWithTheBlockThatEndsIt) {
  const TempDir folder;
  AudioSpec late = sound();
  late.sample = qatest::codes([](int channel, int64_t index) {
    return index < 10 * kQuickBlock ? 0 : numbered(channel, index);
  });
  TestRun run(clip(folder, {late}), 0, TestRun::untilReady(), "TestFrameChecks=3\n");
  EXPECT_TRUE(run.go(skippingSilence()));
  EXPECT_EQ(run.measurement.given, blocksOf(11, 3)) << "ten are silent";
  EXPECT_EQ(run.outcome.startSeconds, secondsOf(11));
}

TEST(AudioCheckSilence, EndsWithTheFirstStreamThatIsHeard) {
  const TempDir folder;
  std::vector<AudioSpec> streams(4, sound(1));
  streams[0].sample = [](int, int64_t) { return 0.0; };
  // Of the first cycle both blocks were taken, and the streams stay in step.
  TestRun run(clip(folder, streams), 0, TestRun::untilReady(), "TestFrameChecks=2\n");
  EXPECT_TRUE(run.go(skippingSilence()));
  EXPECT_EQ(run.measurement.given,
            (std::vector<Given>{{0, 0, 0}, {0, 1, 2}, {1, 0, 0}, {1, 1, 3}}));
}

TEST(AudioCheckSilence, ToTheEndLeavesNothingToMeasure) {
  const TempDir folder;
  AudioSpec silent = sound();
  silent.sample = [](int, int64_t) { return 0.0; };
  TestRun run(clip(folder, {silent}), 1);
  EXPECT_TRUE(run.go(skippingSilence()));
  EXPECT_TRUE(run.measurement.given.empty());
  EXPECT_EQ(run.outcome.reason, "silent from the slate to the end");
}

TEST(AudioCheckSilence, AndSlateHaveNoEndWithFixedPauses) {
  const TempDir folder;
  AudioSpec silent = sound();
  silent.sample = [](int, int64_t) { return 0.0; };
  const std::pair<std::string, int> cases[] = {{cutClip(folder), 3}, {clip(folder, {silent}), 0}};
  for (const auto& [file, slateSeconds] : cases) {
    std::stop_source stop;
    QATesterOptions options = pausing(QAPauses::fixed);
    options.stop = stop.get_token();
    TestRun run(file, slateSeconds, options);
    const qatest::QuickWaits quickWaits;
    const std::jthread watcher([&](const std::stop_token& checkHasEnded) {
      // Until the reader has long come to the end of the file.
      while (qatest::readerPauses().size() < 60 && !checkHasEnded.stop_requested()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
      }
      stop.request_stop();
    });
    EXPECT_TRUE(run.go(skippingSilence()));
    EXPECT_TRUE(run.outcome.stopped);
    EXPECT_TRUE(run.measurement.given.empty());
    EXPECT_NE(run.logged.find("QATest: Test Complete."), std::string::npos);
  }
}

// The budget

TEST(AudioCheckBound, CutsTheBudgetDownToTheSoundAfterTheSlate) {
  using Bound = AudioCheckProfile::Bound;
  constexpr int kHuge = 2000000000;
  struct {
    Bound bound;
    int channels;
    int slateSeconds;
    int budget;
  } const cases[] = {
      {Bound::none, 2, 1, kHuge},        {Bound::instants, 2, 0, 16000},
      {Bound::instants, 2, 1, 8000},     {Bound::instants, 6, 1, 8000},
      {Bound::instants, 2, 2, 0},        {Bound::instants, 2, 3, -8000},
      {Bound::blocks, 2, 0, kHuge},  // no block of the slate is known
      {Bound::blocks, 2, 1, 8000 / 128}, {Bound::blocks, 6, 1, 8000 / 384},
      {Bound::blocks, 2, 2, kHuge},
  };
  const TempDir folder;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.slateSeconds);
    AudioCheckProfile profile = kProfile;
    profile.bound = c.bound;
    const std::string file = clip(folder, {sound(c.channels)});
    TestRun run(file, c.slateSeconds, TestRun::untilReady(), "TestFrameChecks=2000000000\n");
    run.measurement.judge = [](int cycle, int) {
      return cycle < 3 ? Taken::measured : Taken::endsCheck;
    };
    EXPECT_TRUE(run.go(profile));
    EXPECT_EQ(run.outcome.budget, c.budget);
    EXPECT_EQ(run.measurement.plans.at(0).cycles, c.budget);
    if (c.budget <= 0) {
      EXPECT_TRUE(run.measurement.given.empty());
      EXPECT_EQ(run.outcome.reason,
                "too short, or of unknown duration: nothing is left to measure");
    }
    TestRun modest(file, c.slateSeconds, TestRun::untilReady(), "TestFrameChecks=2\n");
    EXPECT_TRUE(modest.go(profile));
    EXPECT_EQ(modest.outcome.budget, std::min(2, c.budget));
  }
}

// Files that are turned away

struct Refusal {
  std::size_t streams;
  AudioCheckProfile::Refusal when;
  const char* logged;   ///< after "Beginning Test."
  const char* message;  ///< empty: none
  bool buffers;
};

TEST(AudioCheckRefusal, OfAnUnsupportedNumberOfStreamsDependsOnTheCheck) {
  using When = AudioCheckProfile::Refusal;
  const char* const unsupported = "QATest: Unsupported stream layout, bailing out.\n";
  const Refusal cases[] = {
      {0, When::beforeBuffering, unsupported, "QATest: Unsupported stream setup", false},
      {0, When::afterBuffering, "QATest: Buffering...\nQATest: Nothing to hear!\n",
       "QATest: No Audio Stream.", true},
      {0, When::never, "QATest: Buffering...\nQATest: Nothing to hear!\n",
       "QATest: No Audio Stream.", true},
      {2, When::beforeBuffering, unsupported, "QATest: Unsupported stream setup", false},
      {5, When::afterBuffering,
       "QATest: Buffering...\nQATest: Unsupported stream layout, bailing out.\n",
       "QATest: Unsupported stream setup", true},
  };
  const TempDir folder;
  for (const Refusal& c : cases) {
    SCOPED_TRACE(c.streams);
    const std::string file = qatest::makeClip(
        folder, "clip.nut",
        {.video = {qatest::ffv1(5)}, .audio = std::vector<AudioSpec>(c.streams, sound(1))});
    AudioCheckProfile profile = kProfile;
    profile.refusal = c.when;
    profile.noStream = "Nothing to hear!";
    TestRun run(file, 1, pausing(QAPauses::fixed));
    EXPECT_FALSE(run.go(profile));
    EXPECT_EQ(run.logged, std::string("QATest: Beginning Test.\n") + c.logged);
    EXPECT_EQ(run.listener.messages, std::vector<std::string>{c.message});
    EXPECT_EQ(run.listener.failures, 0);
    EXPECT_EQ(run.pauses, c.buffers ? Pauses{500} : Pauses{});
    EXPECT_TRUE(run.measurement.plans.empty());
    EXPECT_TRUE(run.outcome.opened);
    EXPECT_FALSE(run.outcome.began);
    EXPECT_EQ(run.outcome.state, QAState::notMeasured);
    EXPECT_TRUE(run.outcome.reasonIsOfFile);
    EXPECT_EQ(run.outcome.reason, c.streams == 0 ? "no audio stream"
                                                 : std::to_string(c.streams) +
                                                       " audio streams (1, 3, 4 or 8 are "
                                                       "supported)");
    EXPECT_EQ(qatest::openDescriptors(file), 0);
  }
}

TEST(AudioCheckRefusal, MayBeNone) {
  AudioCheckProfile profile = kProfile;
  profile.refusal = AudioCheckProfile::Refusal::never;
  profile.streams = AudioCheckProfile::Streams::all;
  const TempDir folder;
  TestRun run(streamsClip(folder, 2), 0, TestRun::untilReady(), "TestFrameChecks=2\n");
  EXPECT_TRUE(run.go(profile));
  EXPECT_EQ(run.measurement.given,
            (std::vector<Given>{{0, 0, 1}, {0, 1, 1}, {1, 0, 2}, {1, 1, 2}}));
  EXPECT_EQ(run.measurement.plans.at(0).setup, QA_STREAM_SETUP_UNSUPPORTED);
  EXPECT_EQ(run.logged.find("Audio Setup"), std::string::npos) << "nobody asked";
}

TEST(AudioCheckRefusal, OfAFileThatDoesNotOpenIsLoggedOnly) {
  TestRun run("no/such.mov", 5);
  EXPECT_FALSE(run.go());
  EXPECT_EQ(run.logged, "QATest: Beginning Test.\nQATest: Failed to load file...\n");
  EXPECT_TRUE(run.listener.messages.empty());
  EXPECT_EQ(run.listener.failures, 0);
  EXPECT_FALSE(run.outcome.opened);
  EXPECT_TRUE(run.outcome.reasonIsOfFile);
  ASSERT_EQ(run.outcome.limits.size(), 1U) << "limits are told all the same";
  EXPECT_EQ(run.outcome.limits[0].of, "level");
  EXPECT_EQ(run.outcome.limits[0].min, -3.5);
  EXPECT_EQ(run.outcome.limits[0].max, 7.25);
}

TEST(AudioCheckSetup, IsLoggedByTheNumberOfStreamsAndThreeMayBringAWarning) {
  struct {
    std::size_t streams;
    const char* logged;
    std::vector<Given> given;  ///< by a budget of one
  } const cases[] = {
      {1, "1 Stream with 2 Channels", {{0, 0, 1}}},
      {3, "3 Streams with 2 Channels each\nQATest: Only the first!", {{0, 0, 1}}},
      {4, "4 Streams with 1 Channel each", {{0, 0, 1}, {0, 1, 1}}},
      {8, "8 Streams with 1 Channel each", {{0, 0, 1}, {0, 1, 1}}},
  };
  AudioCheckProfile profile = kProfile;
  profile.threeStreamsWarning = "Only the first!";
  const TempDir folder;
  for (const auto& c : cases) {
    TestRun run(streamsClip(folder, c.streams), 0, TestRun::untilReady(), "TestFrameChecks=1\n");
    EXPECT_TRUE(run.go(profile));
    EXPECT_EQ(run.logged, std::string("QATest: Beginning Test.\nQATest: Audio Setup is ") +
                              c.logged +
                              "\n"
                              "QATest: Buffering...\n"
                              "QATest: Dumping slate...\n"
                              "QATest: Starting Checks.\n"
                              "QATest: Stopping Test...\n"
                              "QATest: Test Complete.\n");
    EXPECT_EQ(run.measurement.given, c.given);
  }
}

TEST(AudioCheckWords, MayBeOthersOrMissing) {
  AudioCheckProfile profile = kProfile;
  profile.check.beginning = "Starting Test...";
  profile.check.logsBuffering = false;
  profile.check.complete = "Done";
  profile.refusal = AudioCheckProfile::Refusal::afterBuffering;
  profile.preparing = "Preparing...";
  const TempDir folder;
  TestRun run(clip(folder), 0, TestRun::untilReady(), "TestFrameChecks=1\n");
  EXPECT_TRUE(run.go(profile));
  EXPECT_EQ(run.logged,
            "QATest: Starting Test...\n"
            "QATest: Audio Setup is 1 Stream with 2 Channels\n"
            "QATest: Dumping slate...\n"
            "QATest: Preparing...\n"
            "QATest: Starting Checks.\n"
            "QATest: Done\n");
  profile.check.complete = nullptr;
  profile.check.progress = nullptr;
  TestRun silent(clip(folder), 0, TestRun::untilReady(), "TestFrameChecks=9\n");
  silent.isHeard = false;
  EXPECT_TRUE(silent.go(profile)) << "there need be neither listener nor logger";
  EXPECT_TRUE(silent.outcome.progress.empty());
}

// What becomes of blocks

TEST(AudioCheckBlocks, CycleCountsWhenOneOfItsBlocksWasMeasured) {
  const TempDir folder;
  TestRun run(streamsClip(folder, 4), 0, TestRun::untilReady(), "TestFrameChecks=5\n");
  run.measurement.judge = [](int cycle, int stream) {
    return stream == 0 ? Taken::waits : cycle % 2 == 0 ? Taken::measured : Taken::leftOut;
  };
  EXPECT_TRUE(run.go());
  EXPECT_EQ(run.outcome.count, 3);
  EXPECT_EQ(run.outcome.budget, 5);
  EXPECT_EQ(run.listener.progress["mono"], (std::vector<float>{20, 40, 60, 80})) << "of cycles";
}

TEST(AudioCheckBlocks, NoneOfWhichWasMeasuredAreNoMeasurement) {
  const TempDir folder;
  TestRun run(clip(folder), 0, TestRun::untilReady(), "TestFrameChecks=3\n");
  run.measurement.judge = [](int, int) { return Taken::leftOut; };
  run.measurement.ownReason = "of another kind";
  EXPECT_TRUE(run.go());
  EXPECT_EQ(run.measurement.given, blocksOf(0, 3));
  EXPECT_FALSE(run.outcome.measured);
  EXPECT_EQ(run.outcome.count, 0);
  EXPECT_EQ(run.outcome.state, QAState::notMeasured);
  EXPECT_EQ(run.outcome.reason, "of another kind");
}

TEST(AudioCheckBlocks, MayEndTheCheckWithoutProgress) {
  const TempDir folder;
  TestRun run(clip(folder), 0, TestRun::untilReady(), "TestFrameChecks=10\n");
  run.measurement.judge = [](int cycle, int) {
    return cycle < 4 ? Taken::measured : Taken::endsCheck;
  };
  EXPECT_TRUE(run.go());
  EXPECT_EQ(run.measurement.given, blocksOf(0, 5));
  EXPECT_EQ(run.listener.progress["mono"], (std::vector<float>{10, 20, 30}));
  EXPECT_EQ(run.outcome.count, 4);
  EXPECT_FALSE(run.outcome.reachedEnd);
  EXPECT_NE(run.logged.find("QATest: Stopping Test...\nQATest: Test Complete."), std::string::npos);
}

TEST(AudioCheckBlocks, OfSamplesWithoutValuesSayWhyNothingWasMeasured) {
  const TempDir folder;
  TestRun run(clip(folder, {quickSound(2, qatest::clipSample, "pcm_f32le")}), 0,
              TestRun::untilReady(), "TestFrameChecks=3\n");
  EXPECT_TRUE(run.go());
  EXPECT_EQ(run.measurement.given.size(), 3U);
  EXPECT_FALSE(run.outcome.measured);
  EXPECT_EQ(run.outcome.count, 0);
  EXPECT_EQ(run.outcome.reason,
            "stream 0: samples of format flt read as silence: only 8-, 16- and 32-bit integers are "
            "measured");
}

TEST(AudioCheckEnd, OfTheSoundIsReachedWhereTheContainerSays) {
  const TempDir folder;
  TestRun whole(clip(folder), 0, TestRun::untilReady(), "TestFrameChecks=100000\n");
  EXPECT_TRUE(whole.go());
  EXPECT_TRUE(whole.outcome.reachedEnd);
  EXPECT_EQ(whole.outcome.count, 313) << "2.5 s at 125 blocks a second";
  EXPECT_EQ(whole.outcome.endSeconds, 2.5);
  EXPECT_EQ(whole.outcome.reason, "");
  const float last = 100.0F * 312 / 100000;
  EXPECT_LT(last, 1.0F);
  EXPECT_TRUE(whole.listener.progress.empty()) << "less than a percent";

  TestRun cut(cutClip(folder), 0, TestRun::untilReady(), "TestFrameChecks=100000\n");
  EXPECT_TRUE(cut.go());
  EXPECT_FALSE(cut.outcome.reachedEnd) << "a second of four and a half";
  EXPECT_GT(cut.outcome.count, 0);
}

// Exceptions

AudioCheckProfile loggingExceptions() {
  AudioCheckProfile profile = kProfile;
  profile.logsExceptions = true;
  return profile;
}

constexpr const char* kLoggedException = "QATest: Exception ...std::exception\n";

/// The log of a run whose lines after "Starting Checks." are these.
std::string logEndingWith(const std::string& lines) {
  return "QATest: Beginning Test.\n"
         "QATest: Audio Setup is 1 Stream with 2 Channels\n"
         "QATest: Buffering...\n"
         "QATest: Dumping slate...\n"
         "QATest: Starting Checks.\n" +
         lines + "QATest: Test Complete.\n";
}

TEST(AudioCheckException, LeavesTheCheckAndNothingOpen) {
  const TempDir folder;
  const std::string file = clip(folder);
  for (const char* step : {"add", "end", "conclude"}) {
    TestRun run(file, 0, TestRun::untilReady(), "TestFrameChecks=5\n");
    run.measurement.throwsAt = step;
    if (step == std::string("add")) {
      run.measurement.onAdd = [](int, int) { throw std::runtime_error("enough"); };
    }
    EXPECT_THROW(run.go(), std::runtime_error) << step;
    EXPECT_EQ(qatest::openDescriptors(file), 0);
  }
}

TEST(AudioCheckException, WhereItIsLoggedEndsTheMeasuringWithWhatThereIs) {
  const TempDir folder;
  TestRun run(clip(folder), 0, TestRun::untilReady(), "TestFrameChecks=10\n");
  run.measurement.onAdd = [](int cycle, int) {
    if (cycle == 4) {
      throw std::runtime_error("enough");
    }
  };
  EXPECT_TRUE(run.go(loggingExceptions()));
  EXPECT_EQ(run.logged,
            logEndingWith(kLoggedException + std::string("QATest: Stopping Test...\n")));
  EXPECT_EQ(run.measurement.given, blocksOf(0, 5));
  EXPECT_EQ(run.outcome.count, 4);
  EXPECT_TRUE(run.outcome.measured);
  EXPECT_EQ(run.outcome.reason, "cut short by an exception: enough");
}

TEST(AudioCheckException, OfTheListenerIsLoggedThereAsWell) {
  const TempDir folder;
  struct Throwing : qatest::RecordingListener {
    void onPercent(float) override { throw std::runtime_error("deaf"); }
  } listener;
  TestRun run(clip(folder), 0, TestRun::untilReady(), "TestFrameChecks=10\n");
  Settings settings(run.folder.file("settings").c_str(), &run.logger, QALookup::stored);
  qatester::Displays displays(QADisplays::nowhere, false, "", {});
  const qatester::CheckContext context{run.fileName, &listener, &run.logger, &settings,
                                       displays,     0,         run.options};
  EXPECT_TRUE(runAudioCheck(context, loggingExceptions(), run.measurement));
  EXPECT_EQ(run.outcome.reason, "cut short by an exception: deaf");
  EXPECT_EQ(run.outcome.count, 2) << "the first percent is that of the second block";
}

TEST(AudioCheckException, AtTheEndOrInTheConclusionIsLoggedAndEndsNothingElse) {
  struct {
    const char* step;
    const char* logged;
    const char* reason;
  } const cases[] = {
      {"end", "QATest: Exception ...std::exception\nQATest: Stopping Test...\n",
       "cut short by an exception: not at the end"},
      {"conclude", "QATest: Stopping Test...\nQATest: Exception ...std::exception\n",
       "cut short by an exception: no conclusion"},
  };
  const TempDir folder;
  const std::string file = clip(folder);
  for (const auto& c : cases) {
    TestRun run(file, 0, TestRun::untilReady(), "TestFrameChecks=5\n");
    run.measurement.throwsAt = c.step;
    EXPECT_TRUE(run.go(loggingExceptions()));
    EXPECT_EQ(run.logged, logEndingWith(c.logged));
    EXPECT_EQ(run.outcome.count, 5);
    EXPECT_EQ(run.outcome.reason, c.reason);
  }
}

// What is not read

TEST(AudioCheckVideo, IsDiscardedSoThatMuchOfItDoesNotHoldTheSoundBack) {
  // Pictures of 622,080 bytes: a queue takes eight.
  const TempDir folder;
  const std::string file = qatest::makeClip(
      folder, "clip.nut", {.video = {qatest::rawPal(38)}, .audio = {sound(2, 1.5)}});
  TestRun run(file, 0, pausing(QAPauses::fixed), "TestFrameChecks=150\n");
  const qatest::QuickWaits quickWaits;
  EXPECT_TRUE(run.go());
  EXPECT_EQ(run.outcome.count, 150);
}

TEST(AudioCheckStreams, ThatAreNotReadHoldTheOthersBackOnlyWithFixedPauses) {
  // The third stream has 3,072,000 bytes a second.
  const TempDir folder;
  AudioSpec much = qatest::audio("pcm_s32le", 4, 2.4);
  much.rate = 192000;
  much.samplesPerPacket = 7680;
  much.sample = [](int, int64_t) { return 0.0; };
  const std::string file = clip(folder, {sound(), sound(), much});
  TestRun ready(file, 0, TestRun::untilReady(), "TestFrameChecks=280\n");
  EXPECT_TRUE(ready.go());
  EXPECT_EQ(ready.outcome.count, 280);
  TestRun fixed(file, 0, pausing(QAPauses::fixed), "TestFrameChecks=280\n");
  const qatest::QuickWaits quickWaits;
  EXPECT_TRUE(fixed.go());
  EXPECT_GT(fixed.outcome.count, 0);
  EXPECT_LT(fixed.outcome.count, 280);
}

}  // namespace
