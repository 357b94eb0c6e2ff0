// The steps that the four audio checks share, and how each deviates from them.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>
#include <stop_token>
#include <thread>
#include <utility>

#include "checks/AudioChecks.h"
#include "support/FakeSleep.h"
#include "support/FaultyReads.h"

namespace {

using namespace qatest;

using Pauses = std::vector<unsigned>;

/// What each check logs, in the order of `audioChecks`.
using Logs = std::vector<std::string>;

Logs wholeLogs(const std::string& setup) {
  return {
      "QALevels: Beginning Test.\n"
      "QALevels: Buffering...\n"
      "QALevels: Dumping slate...\n"
      "QALevels: Initializing levels data...\n"
      "QALevels: Starting Checks.\n"
      "QALevels: Stopping Test...\n"
      "QALevels: Test Complete.\n",
      "QALoudness: Beginning Test.\n"
      "QALoudness: Audio Setup is " +
          setup +
          "\n"
          "QALoudness: Dumping slate...\n"
          "QALoudness: Starting Checks.\n"
          "QALoudness: Test Complete\n",
      "QAMono: Beginning Test.\n"
      "QAMono: Audio Setup is " +
          setup +
          "\n"
          "QAMono: Buffering...\n"
          "QAMono: Dumping slate...\n"
          "QAMono: Starting Checks.\n"
          "QAMono: Stopping Test...\n"
          "QAMono: Test Complete.\n",
      "QAPhase: Beginning Test.\n"
      "QAPhase: Audio Setup is " +
          setup +
          "\n"
          "QAPhase: Buffering...\n"
          "QAPhase: Dumping slate...\n"
          "QAPhase: Starting Checks.\n"
          "QAPhase: Stopping Test...\n"
          "QAPhase: Test Complete.\n",
  };
}

const Logs kWhole = wholeLogs("1 Stream with 2 Channels");

/// Runs `test` once for each check, with its number.
void forEachCheck(const std::function<void(const AudioCheck& check, std::size_t number)>& test) {
  for (std::size_t i = 0; i < audioChecks().size(); ++i) {
    SCOPED_TRACE(audioChecks()[i].tag);
    test(audioChecks()[i], i);
  }
}

/// Never silent, so that no block is skipped for that but the first.
int64_t signal(int channel, int64_t index) {
  return 1 + (index * (channel + 1)) % 500;
}

std::string clip(const TempDir& folder, double seconds, int channels = 2) {
  return makeClip(folder, "sound.nut",
                  {.audio = {quickSound(channels, codes(signal), "pcm_s16le", seconds)}});
}

std::string streamsClip(const TempDir& folder, std::size_t count, int channels) {
  return makeClip(folder, "streams.nut",
                  {.audio = std::vector<AudioSpec>(count, quickSound(channels, codes(signal)))});
}

/// A clip that declares 4 s of sound and holds about the first.
std::string cutClip(const TempDir& folder) {
  const std::string whole =
      makeClip(folder, "whole.mkv", {.audio = {quickSound(2, codes(signal), "pcm_s16le", 4.5)}});
  return truncatedCopy(folder, "cut.mkv", whole, readFile(whole).size() * 10 / 45);
}

double secondsOf(int blocks) {
  return static_cast<double>(blocks) * kQuickBlock / kQuickRate;
}

TEST(AudioCheckRun, PlainConstructorMeasuresTheDefaultBudgetBehindFiveSecondsWithFixedPauses) {
  const TempDir folder;
  const std::string file = clip(folder, 8.5);
  forEachCheck([&](const AudioCheck& check, std::size_t number) {
    LoggedTester tester(file);
    clearPauses();
    run(check, tester);
    EXPECT_EQ(callerPauses(), (Pauses{500, 100}));
    EXPECT_EQ(tester.logged(), kWhole[number]);
    EXPECT_TRUE(tester.listener.messages.empty());
    EXPECT_EQ(tester.listener.failures, 0);
    const bool isLoudness = check.tag == std::string("QALoudness");
    const int budget = isLoudness ? 1 : 100;
    EXPECT_EQ(tester.listener.progress[check.slot], percentsOf(budget));
    EXPECT_EQ(tester.listener.progress.size(), 1U);
    ASSERT_EQ(tester.outcomes.size(), 1U);
    const QACheckOutcome& outcome = tester.outcomes[0];
    EXPECT_EQ(outcome.tag, check.tag);
    EXPECT_TRUE(outcome.opened);
    EXPECT_TRUE(outcome.measured);
    EXPECT_FALSE(outcome.stopped);
    EXPECT_EQ(outcome.reason, "");
    EXPECT_EQ(outcome.budget, budget);
    EXPECT_EQ(outcome.count, budget);
    // 40000 / 128 = 312.5 blocks, and the one that ends the skipping of silence.
    const int first = isLoudness ? 314 : 313;
    EXPECT_EQ(outcome.startSeconds, secondsOf(first));
    EXPECT_EQ(outcome.endSeconds, secondsOf(first + budget));
    EXPECT_EQ(openDescriptors(file), 0);
  });
}

TEST(AudioCheckRun, PlainLookUpGivesTheDefaultsWhateverTheSettingsFileHolds) {
  const TempDir folder;
  const std::string file = clip(folder, 8.5);
  forEachCheck([&](const AudioCheck& check, std::size_t) {
    LoggedTester plain(file, untilReady());
    LoggedTester tester(file, untilReady(),
                        quick(check, 7, 1) +
                            "LevelPeakThreshold=-90\nLevelLowThreshold=-91\n"
                            "LoudnessMaxThreshold=0\nLoudnessMinThreshold=-1000\n"
                            "MonoSingleSampleThreshold=1\nMonoSimilarSampleCountThreshold=1\n"
                            "PhaseSampleOffsetThreshold=1\n");
    EXPECT_EQ(run(check, tester), run(check, plain));
    const QACheckOutcome& outcome = tester.outcomes.at(0);
    const QACheckOutcome& expected = plain.outcomes.at(0);
    EXPECT_EQ(outcome.budget, expected.budget);
    EXPECT_EQ(outcome.startSeconds, expected.startSeconds);
    ASSERT_EQ(outcome.limits.size(), expected.limits.size());
    for (std::size_t i = 0; i < expected.limits.size(); ++i) {
      EXPECT_EQ(outcome.limits[i].min, expected.limits[i].min);
      EXPECT_EQ(outcome.limits[i].max, expected.limits[i].max);
    }
    EXPECT_EQ(textOf(outcome.values), textOf(expected.values));
  });
}

TEST(AudioCheckRun, LimitsInEffectAreTold) {
  struct {
    const char* settings;
    std::vector<std::pair<int, int>> limits;  ///< of levels, loudness and phase
  } const cases[] = {
      {"", {{-100, 0}, {0, 0}, {0, 200}}},
      {"LevelPeakThreshold=-3\nLevelLowThreshold=-40\nLoudnessMaxThreshold=-22\n"
       "LoudnessMinThreshold=-24\nPhaseSampleOffsetThreshold=12\n",
       {{-40, -3}, {-24, -22}, {0, 12}}},
      {"LevelPeakThreshold=7\nLevelLowThreshold=2000000000\nLoudnessMaxThreshold=1\n"
       "LoudnessMinThreshold=9\nPhaseSampleOffsetThreshold=-7\n",
       {{0, 0}, {0, 0}, {0, 1}}},
      {"LevelPeakThreshold=x\nLevelLowThreshold=x\nLoudnessMaxThreshold=x\n"
       "LoudnessMinThreshold=x\nPhaseSampleOffsetThreshold=x\n",
       {{0, 0}, {0, 0}, {0, 1}}},
  };
  const TempDir folder;
  const std::string file = clip(folder, 2.5);
  for (const auto& c : cases) {
    LoggedTester tester(file, stored(), std::string("QATesterSlateSeconds=0\n") + c.settings);
    std::vector<std::pair<int, int>> limits;
    forEachCheck([&](const AudioCheck& check, std::size_t) {
      run(check, tester);
      for (const QALimits& one : tester.outcomes.back().limits) {
        EXPECT_EQ(one.of, "");
        limits.emplace_back(one.min, one.max);
      }
    });
    EXPECT_EQ(limits, c.limits) << c.settings;
  }
}

struct Refusal {
  std::string logged;   ///< behind "Beginning Test.", without the tag
  std::string message;  ///< the same; empty when the listener hears nothing
  Pauses pauses;
};

/// A check that cannot run logs, says and pauses this, and leaves nothing open.
void expectRefusal(const AudioCheck& check, const std::string& file, const Refusal& expected) {
  LoggedTester tester(file);
  clearPauses();
  EXPECT_EQ(run(check, tester), check.couldNotRun);
  EXPECT_EQ(callerPauses(), expected.pauses);
  const std::string tag = std::string(check.tag) + ": ";
  std::string logged = tag + "Beginning Test.\n";
  for (std::size_t at = 0; at < expected.logged.size();) {
    const std::size_t end = expected.logged.find('\n', at) + 1;
    logged += tag + expected.logged.substr(at, end - at);
    at = end;
  }
  EXPECT_EQ(tester.logged(), logged);
  const std::vector<std::string> none;
  EXPECT_EQ(tester.listener.messages,
            expected.message.empty() ? none : std::vector<std::string>{tag + expected.message});
  EXPECT_EQ(tester.listener.failures, 0);
  EXPECT_TRUE(tester.listener.progress.empty());
  EXPECT_EQ(openDescriptors(file), 0);
  ASSERT_EQ(tester.outcomes.size(), 1U);
  EXPECT_FALSE(tester.outcomes[0].measured);
  EXPECT_NE(tester.outcomes[0].reason, "");
}

TEST(AudioCheckRun, FileThatDoesNotOpenIsLoggedOnly) {
  const TempDir folder;
  writeFile(folder.file("text.mov"), "no media");
  for (const char* name : {"none.mov", "text.mov"}) {
    forEachCheck([&](const AudioCheck& check, std::size_t) {
      expectRefusal(check, folder.file(name), {"Failed to load file...\n", "", {}});
    });
  }
}

TEST(AudioCheckRun, FileWithoutAudioIsTurnedAway) {
  const TempDir folder;
  const std::string file = makeClip(folder, "clip.nut", {.video = {ffv1(5)}});
  const std::vector<AudioCheck>& checks = audioChecks();
  expectRefusal(checks[0], file, {"Buffering...\nNo Audio Stream.\n", "No Audio Stream.", {500}});
  expectRefusal(checks[1], file, {"No Audio Stream.\n", "No Audio Stream.", {500}});
  // These look at the number of streams first.
  for (const std::size_t number : {2U, 3U}) {
    expectRefusal(checks[number], file,
                  {"Unsupported stream layout, bailing out.\n", "Unsupported stream setup", {}});
  }
}

TEST(AudioCheckRun, UnsupportedNumberOfStreamsIsTurnedAwayByAllButLevels) {
  const TempDir folder;
  for (const std::size_t count : {std::size_t{2}, std::size_t{5}}) {
    const std::string file = streamsClip(folder, count, 1);
    const std::vector<AudioCheck>& checks = audioChecks();
    LoggedTester levels(file, untilReady());
    EXPECT_EQ(checkLevels(levels)->setup, QA_STREAM_SETUP_UNSUPPORTED);
    EXPECT_EQ(levels.logged(), kWhole[0]);
    EXPECT_TRUE(levels.listener.messages.empty());
    const std::string logged = "Unsupported stream layout, bailing out.\n";
    expectRefusal(checks[1], file, {logged, "Unsupported stream setup", {500}});
    expectRefusal(checks[2], file, {logged, "Unsupported stream setup", {}});
    expectRefusal(checks[3], file, {logged, "Unsupported stream setup", {}});
  }
}

TEST(AudioCheckRun, NumberOfStreamsIsLoggedAsTheSetup) {
  struct {
    std::size_t streams;
    int channels;
    const char* setup;
  } const cases[] = {
      {1, 1, "1 Stream with 2 Channels"},      {1, 2, "1 Stream with 2 Channels"},
      {1, 6, "1 Stream with 2 Channels"},      {3, 2, "3 Streams with 2 Channels each"},
      {4, 1, "4 Streams with 1 Channel each"}, {8, 1, "8 Streams with 1 Channel each"},
      {4, 2, "4 Streams with 1 Channel each"},
  };
  const TempDir folder;
  for (const auto& c : cases) {
    const std::string file = streamsClip(folder, c.streams, c.channels);
    Logs logs = wholeLogs(c.setup);
    if (c.streams == 3) {
      const std::string before = "QALoudness: Dumping slate...\n";
      logs[1].insert(logs[1].find(before),
                     "QALoudness: WARNING 3x2 stream setup detected, only checking stream 1.\n");
    }
    forEachCheck([&](const AudioCheck& check, std::size_t number) {
      LoggedTester tester(file, stored(), quick(check, 2));
      run(check, tester);
      EXPECT_EQ(tester.logged(), logs[number]) << c.streams;
      EXPECT_TRUE(tester.listener.messages.empty());
      EXPECT_EQ(tester.listener.failures, 0);
    });
  }
}

TEST(AudioCheckRun, ProgressIsTheWholePercentOfTheCyclesBegunWhenItChanges) {
  const TempDir folder;
  const std::string file = clip(folder, 4.5);
  forEachCheck([&](const AudioCheck& check, std::size_t) {
    for (const int budget : {1, 2, 7, 10, 100, 300}) {
      LoggedTester tester(file, stored(), quick(check, budget));
      run(check, tester);
      EXPECT_EQ(tester.listener.progress[check.slot], percentsOf(budget)) << budget;
      EXPECT_EQ(tester.outcomes.at(0).count, budget);
    }
  });
  EXPECT_EQ(percentsOf(1), std::vector<float>());
  EXPECT_EQ(percentsOf(7), (std::vector<float>{14, 28, 42, 57, 71, 85}));
}

TEST(AudioCheckRun, BudgetBelowOneBecomesOne) {
  const TempDir folder;
  const std::string file = clip(folder, 2.5);
  forEachCheck([&](const AudioCheck& check, std::size_t) {
    for (const char* budget : {"0", "-5", "x", "1"}) {
      LoggedTester tester(file, stored(),
                          std::string("QATesterSlateSeconds=0\n") + check.budgetKey + "=" + budget);
      run(check, tester);
      EXPECT_EQ(tester.outcomes.at(0).budget, 1) << budget;
      EXPECT_EQ(tester.outcomes[0].count, 1) << budget;
    }
  });
}

TEST(AudioCheckRun, BudgetIsBoundedBehindTheSlate) {
  constexpr int kHuge = 2000000000;
  struct {
    int channels;
    int slateSeconds;
    std::vector<int> budgets;  ///< of levels, loudness, mono and phase
  } const cases[] = {
      // Levels and phase: the instants of 2 s. Mono: those in blocks as long as the slate's last.
      {2, 0, {16000, kHuge, kHuge, 16000}},
      {2, -4, {16000, kHuge, kHuge, 16000}},
      {2, 1, {8000, kHuge, 8000 / 128, 8000}},
      {6, 1, {8000, kHuge, 8000 / 384, 8000}},
      {2, 2, {0, kHuge, kHuge, 0}},
      {2, 3, {-8000, kHuge, kHuge, -8000}},
  };
  const TempDir folder;
  for (const auto& c : cases) {
    const std::string file = clip(folder, 2.5, c.channels);
    forEachCheck([&](const AudioCheck& check, std::size_t number) {
      LoggedTester tester(file, stored(), quick(check, kHuge, c.slateSeconds));
      run(check, tester);
      EXPECT_EQ(tester.outcomes.at(0).budget, c.budgets[number]) << c.slateSeconds;
      LoggedTester modest(file, stored(), quick(check, 5, c.slateSeconds));
      run(check, modest);
      EXPECT_EQ(modest.outcomes.at(0).budget, std::min(5, c.budgets[number])) << c.slateSeconds;
    });
  }
}

TEST(AudioCheckRun, FileNotLongerThanTheSlateIsNotSkippedIn) {
  const TempDir folder;
  const std::string file = clip(folder, 2.5);
  for (const int slateSeconds : {2, 3}) {
    forEachCheck([&](const AudioCheck& check, std::size_t number) {
      LoggedTester tester(file, stored(), quick(check, 5, slateSeconds));
      const std::vector<double> result = run(check, tester);
      EXPECT_EQ(tester.logged(), kWhole[number]);
      const QACheckOutcome& outcome = tester.outcomes.at(0);
      EXPECT_EQ(outcome.startSeconds, 0.0);
      // The budget of the first and the last leaves nothing to measure.
      const bool measures = number == 1 || number == 2;
      EXPECT_EQ(outcome.measured, measures);
      EXPECT_EQ(outcome.count, measures ? 5 : 0);
      EXPECT_EQ(outcome.reason,
                measures ? "" : "too short, or of unknown duration: nothing is left to measure");
      if (number == 0) {
        EXPECT_EQ(result, std::vector<double>(8, 0.0)) << "two entries of zeros";
      } else if (number == 3) {
        EXPECT_EQ(result, check.couldNotRun);
      }
    });
  }
}

TEST(AudioCheckRun, UnknownDurationSkipsNothing) {
  const TempDir folder;
  // Of compressed sound the bit rate, by which it could be guessed, is unknown as well.
  const std::string file = makeClip(
      folder, "sound.mkv", withoutDuration({.audio = {quickSound(2, codes(signal), "flac")}}));
  forEachCheck([&](const AudioCheck& check, std::size_t number) {
    LoggedTester tester(file, stored(), quick(check, 5, 1));
    run(check, tester);
    EXPECT_EQ(tester.outcomes.at(0).startSeconds, 0.0);
    EXPECT_EQ(tester.outcomes[0].count, number == 1 || number == 2 ? 5 : 0);
  });
}

TEST(AudioCheckRun, SlateIsCountedInValuesOfAllChannels) {
  struct {
    std::size_t streams;
    int channels;
    int slateSeconds;
    int blocks;  ///< skipped of each stream
  } const cases[] = {
      {1, 2, 0, 0},  {1, 1, 1, 125},  // 8000 / 64
      {1, 2, 1, 63},                  // 8000 / 128 = 62.5
      {1, 6, 1, 21},                  // 8000 / 384 = 20.8
      {3, 2, 1, 63}, {4, 1, 1, 125}, {8, 1, 1, 125},
  };
  // Each block holds its own number, counted from 1.
  const auto numbers = codes([](int, int64_t index) { return 1 + index / kQuickBlock; });
  const TempDir folder;
  for (const auto& c : cases) {
    const std::string file =
        makeClip(folder, "sound.nut",
                 {.audio = std::vector<AudioSpec>(c.streams, quickSound(c.channels, numbers))});
    forEachCheck([&](const AudioCheck& check, std::size_t number) {
      LoggedTester tester(file, stored(), quick(check, 1, c.slateSeconds));
      const std::vector<double> result = run(check, tester);
      const int alsoSkipped = number == 1 ? 1 : 0;
      EXPECT_EQ(tester.outcomes.at(0).startSeconds, secondsOf(c.blocks + alsoSkipped))
          << c.streams << " of " << c.channels;
      if (number == 0) {
        EXPECT_EQ(result.at(1), static_cast<double>(levelOf(c.blocks + 1)));
      }
    });
  }
}

TEST(AudioCheckRun, SlateIsCountedByTheLastStreamOfThoseThatAreRead) {
  // Levels read all four, the others the first two.
  std::vector<AudioSpec> streams(4, quickSound(1, codes(signal), "pcm_s16le", 4.5));
  streams[1].samplesPerPacket = 32;
  streams[3].samplesPerPacket = 16;
  const TempDir folder;
  const std::string file = makeClip(folder, "sound.nut", {.audio = streams});
  forEachCheck([&](const AudioCheck& check, std::size_t number) {
    LoggedTester tester(file, stored(), quick(check, 1, 1));
    run(check, tester);
    const int blocks = number == 0 ? 8000 / 16 : 8000 / 32;
    EXPECT_EQ(tester.outcomes.at(0).startSeconds, secondsOf(blocks + (number == 1 ? 1 : 0)));
  });
}

TEST(AudioCheckRun, SoundThatEndsWithinTheSlateIsNotMeasured) {
  const TempDir folder;
  const std::string file = cutClip(folder);
  forEachCheck([&](const AudioCheck& check, std::size_t number) {
    LoggedTester tester(file, stored(), quick(check, 5, 3));
    run(check, tester);
    EXPECT_EQ(tester.logged(), kWhole[number]);
    const QACheckOutcome& outcome = tester.outcomes.at(0);
    EXPECT_FALSE(outcome.measured);
    EXPECT_EQ(outcome.count, 0);
    EXPECT_EQ(outcome.reason, "the sound ends within the slate of 3 s");
    EXPECT_TRUE(tester.listener.progress.empty());
  });
}

TEST(AudioCheckRun, StreamThatEndsWithinTheSlateLeavesNothingOfTheOthersToMeasure) {
  // The slate is counted by the last stream read, the second or the fourth.
  std::vector<AudioSpec> streams(4, quickSound(1, codes(signal), "pcm_s16le", 4.5));
  streams[1].seconds = 0.5;
  streams[3].seconds = 0.5;
  const TempDir folder;
  const std::string file = makeClip(folder, "sound.mkv", {.audio = streams});
  forEachCheck([&](const AudioCheck& check, std::size_t number) {
    LoggedTester tester(file, stored(), quick(check, 5, 3));
    EXPECT_EQ(run(check, tester).size(), number == 0 ? 16U : check.couldNotRun.size());
    EXPECT_FALSE(tester.outcomes.at(0).measured);
    EXPECT_EQ(tester.outcomes.at(0).startSeconds, tester.outcomes.at(0).endSeconds);
    EXPECT_EQ(tester.outcomes.at(0).reason, "the sound ends within the slate of 3 s");
  });
}

TEST(AudioCheckRun, SoundThatEndsInMidMeasurementKeepsWhatWasMeasured) {
  const TempDir folder;
  const std::string file = cutClip(folder);
  const int blocks = static_cast<int>(soundOf(file).at(0).blocks.size());
  constexpr int kBudget = 1000;
  ASSERT_LT(blocks, kBudget);
  forEachCheck([&](const AudioCheck& check, std::size_t number) {
    LoggedTester tester(file, stored(), quick(check, kBudget));
    run(check, tester);
    EXPECT_EQ(tester.logged(), kWhole[number]);
    const QACheckOutcome& outcome = tester.outcomes.at(0);
    const int measured = number == 1 ? blocks - 1 : blocks;
    EXPECT_TRUE(outcome.measured);
    EXPECT_EQ(outcome.count, measured);
    EXPECT_EQ(outcome.budget, kBudget);
    EXPECT_EQ(outcome.reason, "");
    EXPECT_EQ(outcome.endSeconds, secondsOf(blocks));
    const float last = static_cast<float>(100 * (measured - 1) / kBudget);
    EXPECT_EQ(tester.listener.progress[check.slot].back(), last);
  });
}

TEST(AudioCheckRun, FixedPausesNeverGiveUpWhileSkipping) {
  const TempDir folder;
  const std::string ending = cutClip(folder);
  const std::string silent = makeClip(
      folder, "silent.nut", {.audio = {quickSound(2, codes([](int, int64_t) { return 0; }))}});
  const auto runUntilStopped = [&](const AudioCheck& check, const std::string& file,
                                   int slateSeconds) {
    std::stop_source stop;
    QATesterOptions options = stored(QAPauses::fixed);
    options.stop = stop.get_token();
    LoggedTester tester(file, options, quick(check, 5, slateSeconds));
    clearPauses();
    const QuickWaits quickWaits;
    const std::jthread watcher([&](const std::stop_token& checkHasEnded) {
      // Until the reader has long come to the end of the file.
      while (readerPauses().size() < 60 && !checkHasEnded.stop_requested()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
      }
      stop.request_stop();
    });
    run(check, tester);
    EXPECT_TRUE(tester.outcomes.at(0).stopped);
    EXPECT_FALSE(tester.outcomes[0].measured);
    return tester.logged();
  };
  forEachCheck([&](const AudioCheck& check, std::size_t number) {
    EXPECT_EQ(runUntilStopped(check, ending, 3), kWhole[number]);
  });
  EXPECT_EQ(runUntilStopped(audioChecks()[1], silent, 0), kWhole[1]);
}

/// Does something at the first percent that is not below the one given.
class ActingListener : public RecordingListener {
 public:
  ActingListener(float percent, std::function<void()> action)
      : percent_(percent), action_(std::move(action)) {}

 protected:
  void onPercent(float percent) override {
    if (percent >= percent_ && action_) {
      std::exchange(action_, nullptr)();
    }
  }

 private:
  float percent_;
  std::function<void()> action_;
};

/// A run of a check over ten blocks, heard by such a listener.
struct ActingRun {
  ActingRun(const std::string& file, const AudioCheck& check, float percent,
            std::function<void()> action, QATesterOptions options = stored())
      : listener(percent, std::move(action)) {
    writeFile(folder.file("settings"), quick(check, 10));
    options.console = [this](const std::string& line) { logged += withoutTimes(line).substr(4); };
    options.outcome = [this](const QACheckOutcome& o) { outcome = o; };
    tester = std::make_unique<QATester>(file.c_str(), &listener, folder.file("settings").c_str(),
                                        "", options);
    logged.clear();
  }

  TempDir folder;
  ActingListener listener;
  std::string logged;
  QACheckOutcome outcome;
  std::unique_ptr<QATester> tester;
};

TEST(AudioCheckRun, StopRequestEndsTheLoopWithWhatWasMeasured) {
  const TempDir folder;
  const std::string file = clip(folder, 2.5);
  for (const QAPauses pauses : {QAPauses::fixed, QAPauses::untilReady}) {
    forEachCheck([&](const AudioCheck& check, std::size_t number) {
      std::stop_source stop;
      QATesterOptions options = stored(pauses);
      options.stop = stop.get_token();
      ActingRun stopping(
          file, check, 40.0F, [&] { stop.request_stop(); }, options);
      const std::vector<double> result = check.run(*stopping.tester);
      EXPECT_TRUE(stopping.outcome.stopped);
      EXPECT_TRUE(stopping.outcome.measured);
      EXPECT_EQ(stopping.outcome.count, 5);
      EXPECT_EQ(stopping.logged, kWhole[number]);
      EXPECT_EQ(stopping.listener.progress[check.slot], (std::vector<float>{10, 20, 30, 40}));
      LoggedTester five(file, stored(), quick(check, 5));
      EXPECT_EQ(result, run(check, five));
    });
  }
}

TEST(AudioCheckRun, StopRequestedBeforehandMeasuresNothing) {
  const TempDir folder;
  const std::string file = clip(folder, 2.5);
  std::stop_source stop;
  stop.request_stop();
  QATesterOptions options = stored(QAPauses::fixed);
  options.stop = stop.get_token();
  forEachCheck([&](const AudioCheck& check, std::size_t number) {
    LoggedTester tester(file, options, quick(check, 5, 1));
    clearPauses();
    run(check, tester);
    EXPECT_EQ(callerPauses(), Pauses{});
    EXPECT_EQ(tester.logged(), kWhole[number]);
    EXPECT_EQ(tester.outcomes.at(0).count, 0);
    EXPECT_EQ(tester.outcomes[0].reason, "stopped before the first block");
  });
}

TEST(AudioCheckRun, ListenersExceptionLeavesTheCheckAndNothingOpen) {
  const TempDir folder;
  const std::string file = clip(folder, 2.5);
  for (const std::size_t number : {0U, 2U, 3U}) {
    const AudioCheck& check = audioChecks()[number];
    ActingRun throwing(file, check, 30.0F, [] { throw std::runtime_error("enough"); });
    EXPECT_THROW(check.run(*throwing.tester), std::runtime_error) << check.tag;
    EXPECT_EQ(openDescriptors(file), 0);
    EXPECT_EQ(check.run(*throwing.tester).size(), number == 0 ? 8U : 1U) << "and may run again";
  }
}

TEST(AudioCheckRun, LoudnessLogsAnExceptionAndCompletesWithWhatWasMeasured) {
  const TempDir folder;
  const std::string file = clip(folder, 2.5);
  const AudioCheck& check = audioChecks()[1];
  ActingRun throwing(file, check, 30.0F, [] { throw std::runtime_error("enough"); });
  const std::vector<double> result = check.run(*throwing.tester);
  EXPECT_EQ(throwing.logged,
            "QALoudness: Beginning Test.\n"
            "QALoudness: Audio Setup is 1 Stream with 2 Channels\n"
            "QALoudness: Dumping slate...\n"
            "QALoudness: Starting Checks.\n"
            "QALoudness: Exception ...std::exception\n"
            "QALoudness: Test Complete\n");
  EXPECT_EQ(result.at(0), expectedLoudness(soundOf(file), {4})) << "30 % is sent by the fourth";
  EXPECT_EQ(throwing.outcome.reason, "cut short by an exception: enough");
  EXPECT_EQ(openDescriptors(file), 0);
}

TEST(AudioCheckRun, FixedAndUntilReadyPausesGiveTheSame) {
  struct {
    std::size_t streams;
    int channels;
  } const cases[] = {{1, 2}, {3, 2}, {4, 1}, {8, 1}};
  const TempDir folder;
  for (const auto& c : cases) {
    const std::string file = streamsClip(folder, c.streams, c.channels);
    forEachCheck([&](const AudioCheck& check, std::size_t) {
      LoggedTester fixed(file, stored(QAPauses::fixed), quick(check, 20, 1));
      LoggedTester ready(file, stored(), quick(check, 20, 1));
      clearPauses();
      const std::vector<double> result = run(check, fixed);
      EXPECT_EQ(callerPauses(), (Pauses{500, 100}));
      EXPECT_EQ(run(check, ready), result);
      EXPECT_EQ(callerPauses(), (Pauses{500, 100})) << "until-ready makes none";
      EXPECT_EQ(ready.logged(), fixed.logged());
      EXPECT_EQ(ready.listener.progress, fixed.listener.progress);
      EXPECT_EQ(ready.outcomes.at(0).count, fixed.outcomes.at(0).count);
    });
  }
}

TEST(AudioCheckRun, MayRunInAnyOrderAndMoreThanOnce) {
  const TempDir folder;
  LoggedTester tester(clip(folder, 2.5), stored(), "QATesterSlateSeconds=1\n");
  std::vector<std::vector<double>> results;
  for (int round = 0; round < 2; ++round) {
    forEachCheck(
        [&](const AudioCheck& check, std::size_t) { results.push_back(run(check, tester)); });
  }
  for (int number = 3; number >= 0; --number) {
    const auto at = static_cast<std::size_t>(number);
    EXPECT_EQ(results[at], results[at + 4]);
    EXPECT_EQ(results[at], run(audioChecks()[at], tester));
  }
}

TEST(AudioCheckRun, NeedsNeitherListenerNorLogger) {
  const TempDir folder;
  const std::string file = clip(folder, 2.5);
  const std::string unsupported = streamsClip(folder, 2, 2);
  forEachCheck([&](const AudioCheck& check, std::size_t) {
    writeFile(folder.file("settings"), quick(check, 20, 1));
    LoggedTester heard(file, stored(), quick(check, 20, 1));
    QATester alone(file.c_str(), nullptr, folder.file("settings").c_str(), "", stored());
    EXPECT_EQ(check.run(alone), run(check, heard));
    QATester turnedAway(unsupported.c_str(), nullptr, "", "", untilReady());
    check.run(turnedAway);
  });
}

TEST(AudioCheckRun, VideoIsDiscardedSoThatMuchOfItDoesNotHoldTheSoundBack) {
  // Pictures of 622,080 bytes: a queue takes eight.
  const TempDir folder;
  AudioSpec sound = quickSound(2, codes(signal), "pcm_s16le", 1.5);
  const std::string file = makeClip(folder, "clip.nut", {.video = {rawPal(38)}, .audio = {sound}});
  forEachCheck([&](const AudioCheck& check, std::size_t) {
    LoggedTester tester(file, stored(QAPauses::fixed), quick(check, 150));
    const QuickWaits quickWaits;
    run(check, tester);
    EXPECT_EQ(tester.outcomes.at(0).count, 150);
  });
}

TEST(AudioCheckRun, StreamsThatAreNotReadDoNotHoldTheOthersBackUnlessPausesAreFixed) {
  // The third stream has 3,072,000 bytes a second.
  const TempDir folder;
  AudioSpec much = audio("pcm_s32le", 4, 2.4);
  much.rate = 192000;
  much.samplesPerPacket = 7680;
  much.sample = [](int, int64_t) { return 0.0; };
  const AudioSpec small = quickSound(2, codes(signal));
  const std::string file = makeClip(folder, "clip.nut", {.audio = {small, small, much}});
  constexpr int kAll = 280;
  for (const std::size_t number : {1U, 2U, 3U}) {
    const AudioCheck& check = audioChecks()[number];
    LoggedTester ready(file, stored(), quick(check, kAll));
    run(check, ready);
    EXPECT_EQ(ready.outcomes.at(0).count, kAll) << check.tag;
    LoggedTester fixed(file, stored(QAPauses::fixed), quick(check, kAll));
    const QuickWaits quickWaits;
    run(check, fixed);
    EXPECT_GT(fixed.outcomes.at(0).count, 0) << check.tag;
    EXPECT_LT(fixed.outcomes.at(0).count, kAll) << check.tag;
  }
}

TEST(AudioCheckRun, DefinitionHoldsForEveryKindOfSound) {
  const TempDir folder;
  for (const ClipKind& kind : clipKinds()) {
    expectTheDefinitionToHold(makeClip(folder, kind.fileName, kind.spec));
  }
}

}  // namespace
