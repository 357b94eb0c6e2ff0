// What each of the four audio checks says in a whole run, and how it deviates from the others. The
// steps that they share are proved in tester/AudioCheckRunTest.cpp.

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <memory>
#include <stdexcept>
#include <utility>

#include "checks/AudioChecks.h"
#include "support/FakeSleep.h"
#include "support/FaultyReads.h"
#include "support/Sanitized.h"

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
  constexpr double kNone = -std::numeric_limits<double>::infinity();
  struct {
    const char* settings;
    std::vector<std::pair<double, double>> limits;  ///< of levels, loudness, mono and phase
  } const cases[] = {
      {"", {{-100, 0}, {0, 0}, {kNone, 0.01F}, {kNone, 200}}},
      {"LevelPeakThreshold=-3\nLevelLowThreshold=-40\nLoudnessMaxThreshold=-22\n"
       "LoudnessMinThreshold=-24\nMonoSimilarSampleCountThreshold=0.5\n"
       "PhaseSampleOffsetThreshold=12\n",
       {{-40, -3}, {-24, -22}, {kNone, 0.5}, {kNone, 12}}},
      {"LevelPeakThreshold=7\nLevelLowThreshold=2000000000\nLoudnessMaxThreshold=1\n"
       "LoudnessMinThreshold=9\nMonoSimilarSampleCountThreshold=2\n"
       "PhaseSampleOffsetThreshold=-7\n",
       {{0, 0}, {0, 0}, {kNone, 1}, {kNone, 1}}},
      {"LevelPeakThreshold=x\nLevelLowThreshold=x\nLoudnessMaxThreshold=x\n"
       "LoudnessMinThreshold=x\nMonoSimilarSampleCountThreshold=x\n"
       "PhaseSampleOffsetThreshold=x\n",
       {{0, 0}, {0, 0}, {kNone, 0.01F}, {kNone, 1}}},
  };
  const TempDir folder;
  const std::string file = clip(folder, 2.5);
  for (const auto& c : cases) {
    LoggedTester tester(file, stored(), std::string("QATesterSlateSeconds=0\n") + c.settings);
    std::vector<std::pair<double, double>> limits;
    std::vector<std::string> of;
    forEachCheck([&](const AudioCheck& check, std::size_t) {
      run(check, tester);
      for (const QALimits& one : tester.outcomes.back().limits) {
        of.push_back(one.of);
        limits.emplace_back(one.min, one.max);
      }
    });
    EXPECT_EQ(limits, c.limits) << c.settings;
    EXPECT_EQ(of, (std::vector<std::string>{"maxLevel", "loudness", "matchingBlocks", "meanLag"}));
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
      {3, 2, "3 Streams with 2 Channels each"},
      {8, 1, "8 Streams with 1 Channel each"},
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

TEST(AudioCheckRun, BudgetIsBoundedBehindTheSlate) {
  constexpr int kHuge = 2000000000;
  struct {
    int channels;
    int slateSeconds;
    std::vector<int> budgets;  ///< of levels, loudness, mono and phase
  } const cases[] = {
      // Levels and phase: the instants of 2 s. Mono: those in blocks as long as the slate's last.
      {2, 0, {16000, kHuge, kHuge, 16000}},
      {2, 1, {8000, kHuge, 8000 / 128, 8000}},
  };
  const TempDir folder;
  for (const auto& c : cases) {
    const std::string file = clip(folder, 2.5, c.channels);
    forEachCheck([&](const AudioCheck& check, std::size_t number) {
      LoggedTester tester(file, stored(), quick(check, kHuge, c.slateSeconds));
      run(check, tester);
      EXPECT_EQ(tester.outcomes.at(0).budget, c.budgets[number]) << c.slateSeconds;
    });
  }
}

TEST(AudioCheckRun, FileNotLongerThanTheSlateIsNotSkippedIn) {
  const TempDir folder;
  const std::string file = clip(folder, 2.5);
  for (const int slateSeconds : {2}) {
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

TEST(AudioCheckRun, DefinitionHoldsForEveryKindOfSound) {
  const TempDir folder;
  for (const ClipKind& kind : clipKinds(kSanitized)) {
    expectTheDefinitionToHold(makeClip(folder, kind.fileName, kind.spec));
  }
}

}  // namespace
