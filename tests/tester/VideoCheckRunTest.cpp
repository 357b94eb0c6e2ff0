// The common steps of a video check, seen through a measurement that only records.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/Clips.h"
#include "support/FakeSleep.h"
#include "support/MuchAudio.h"
#include "support/TempDir.h"
#include "tester/SettingRows.h"
#include "tester/TestRun.h"
#include "tester/VideoRun.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace {

using qatest::ClipSpec;
using qatest::Pauses;
using qatest::pausing;
using qatest::TempDir;
using qatester::VideoCheckProfile;

using qatester::Taken;

constexpr QASetting kBudget = qatester::frameBudget("TestFrameChecks");

constexpr VideoCheckProfile kProfile{
    .check = {.name = "test",
              .tag = "QATest",
              .budget = &kBudget,
              .progress = &QAListener::onTearingProgress},
};

/// Notes which pictures of a clip it is given: the first luma value of picture n is 16 + 7n mod
/// 220.
class Recording : public qatester::VideoMeasurement {
 public:
  void begin(float fps, int budget) override {
    declared = fps;
    budgets.push_back(budget);
  }
  Taken add(int index, const qatester::DecodedPicture& picture) override {
    indices.push_back(index);
    firstLuma.push_back(picture.yuv().frame->data[0][0]);
    if (onAdd) {
      onAdd(index);
    }
    return judge ? judge(index) : Taken::measured;
  }
  void describe(QACheckOutcome& outcome) const override {
    outcome.limits = {{.of = "RGB", .min = 3, .max = 7}};
    reasonsFound.push_back(outcome.reason);
    if (!ownReason.empty()) {
      outcome.reason = ownReason;
    }
  }

  float declared = 0.0F;
  std::vector<int> budgets;
  std::vector<int> indices;
  std::vector<int> firstLuma;
  std::function<void(int)> onAdd;
  std::function<Taken(int)> judge;
  std::string ownReason;
  mutable std::vector<std::string> reasonsFound;  ///< a call of `describe` each
};

/// A run of the test check.
struct TestRun : qatest::TestRun<Recording> {
  using qatest::TestRun<Recording>::TestRun;

  bool go(const VideoCheckProfile& profile = kProfile) {
    return qatest::TestRun<Recording>::go(profile);
  }
};

/// 100 pictures at 10 a second: ten seconds.
std::string tenSeconds(const TempDir& folder) {
  return qatest::makeClip(folder, "clip.mkv",
                          {.video = {qatest::ffv1(100, AV_PIX_FMT_YUV422P, {10, 1})}});
}

std::vector<int> lumaOfPictures(int first, int count) {
  std::vector<int> luma;
  for (int n = first; n < first + count; ++n) {
    luma.push_back(qatest::clipPixel(0, 0, 0, n));
  }
  return luma;
}

class VideoCheckRun : public testing::TestWithParam<QAPauses> {};

TEST(VideoCheckListener, AndLoggerMayBeMissing) {
  const TempDir folder;
  TestRun run(tenSeconds(folder), 1, pausing(QAPauses::untilReady), "TestFrameChecks=4\n");
  run.isHeard = false;
  EXPECT_TRUE(run.go());
  EXPECT_EQ(run.outcome.progress, (std::vector<int>{25, 50, 75})) << "the outcome has them";
  for (const ClipSpec& spec :
       {ClipSpec{.audio = qatest::audioStreams(1)}, ClipSpec{.video = {qatest::proRes(5)}}}) {
    TestRun refused(qatest::makeClip(folder, "clip.mov", spec), 1);
    refused.isHeard = false;
    EXPECT_FALSE(refused.go());
  }
}

TEST_P(VideoCheckRun, SkipsTheSlateAndMeasuresTheBudget) {
  const TempDir folder;
  TestRun run(tenSeconds(folder), 5, pausing(GetParam()), "TestFrameChecks=20\n");
  EXPECT_TRUE(run.go());
  EXPECT_EQ(run.logged,
            "QATest: Beginning Test.\n"
            "QATest: Buffering...\n"
            "QATest: Detected YUV422P pixel format.\n"
            "QATest: Dumping slate...\n"
            "QATest: Starting Checks.\n"
            "QATest: Stopping Test...\n"
            "QATest: Test Complete.\n");
  EXPECT_EQ(run.measurement.declared, 10.0F);
  EXPECT_EQ(run.measurement.budgets, std::vector<int>{20});
  EXPECT_EQ(run.measurement.firstLuma, lumaOfPictures(50, 20));
  std::vector<float> percents;
  for (int i = 1; i < 20; ++i) {
    percents.push_back(static_cast<float>(5 * i));
  }
  EXPECT_EQ(run.listener.progress["tearing"], percents);
  EXPECT_EQ(run.listener.progress.size(), 1U);
  EXPECT_TRUE(run.listener.messages.empty());
  EXPECT_EQ(run.pauses, GetParam() == QAPauses::fixed ? (Pauses{500, 100}) : Pauses{});
  EXPECT_TRUE(run.outcome.measured);
  EXPECT_EQ(run.outcome.count, 20);
}

TEST_P(VideoCheckRun, SlateOfZeroSecondsStillDropsOnePicture) {
  const TempDir folder;
  TestRun run(tenSeconds(folder), 0, pausing(GetParam()), "TestFrameChecks=3\n");
  EXPECT_TRUE(run.go());
  EXPECT_EQ(run.measurement.firstLuma, lumaOfPictures(1, 3));
}

TEST_P(VideoCheckRun, BudgetBelowOneBecomesOne) {
  const TempDir folder;
  const std::string file = tenSeconds(folder);
  for (const char* setting :
       {"TestFrameChecks=0\n", "TestFrameChecks=-7\n", "TestFrameChecks=x\n"}) {
    TestRun run(file, 1, pausing(GetParam()), setting);
    EXPECT_TRUE(run.go());
    EXPECT_EQ(run.measurement.firstLuma, lumaOfPictures(10, 1)) << setting;
  }
}

TEST_P(VideoCheckRun, BudgetIsBoundedBehindTheSlate) {
  const TempDir folder;
  TestRun run(tenSeconds(folder), 5, pausing(GetParam()));  // 100 asked for, 50 behind the slate
  EXPECT_TRUE(run.go());
  EXPECT_EQ(run.measurement.budgets, std::vector<int>{40}) << "a second's worth is left out";
  EXPECT_EQ(run.measurement.firstLuma, lumaOfPictures(50, 40));
}

TEST_P(VideoCheckRun, NothingLeftBehindTheSlateMeasuresNothing) {
  const TempDir folder;
  TestRun run(tenSeconds(folder), 9, pausing(GetParam()));
  EXPECT_TRUE(run.go());
  EXPECT_EQ(run.measurement.budgets, std::vector<int>{0});
  EXPECT_TRUE(run.measurement.indices.empty());
  EXPECT_FALSE(run.outcome.measured);
  EXPECT_EQ(run.outcome.reason, "too short, or of unknown duration: no frames are left to measure");
  EXPECT_NE(run.logged.find("QATest: Test Complete."), std::string::npos);
}

TEST_P(VideoCheckRun, ListenerExceptionLeavesTheCheck) {
  const TempDir folder;
  TestRun run(tenSeconds(folder), 0, pausing(GetParam()));
  run.measurement.onAdd = [](int) { throw std::runtime_error("stop it"); };
  EXPECT_THROW(run.go(), std::runtime_error);
}

TEST_P(VideoCheckRun, StopRequestEndsTheLoopWithWhatWasMeasured) {
  const TempDir folder;
  std::stop_source stop;
  QATesterOptions stoppable = pausing(GetParam());
  stoppable.stop = stop.get_token();
  TestRun run(tenSeconds(folder), 1, stoppable);
  run.measurement.onAdd = [&](int index) {
    if (index == 4) {
      stop.request_stop();
    }
  };
  EXPECT_TRUE(run.go());
  EXPECT_EQ(run.measurement.firstLuma, lumaOfPictures(10, 5));
  EXPECT_TRUE(run.outcome.stopped);
  EXPECT_EQ(run.outcome.count, 5);
  EXPECT_NE(run.logged.find("QATest: Stopping Test...\nQATest: Test Complete."), std::string::npos);
}

TEST_P(VideoCheckRun, StopRequestedBeforehandMeasuresNothing) {
  const TempDir folder;
  std::stop_source stop;
  stop.request_stop();
  QATesterOptions stoppable = pausing(GetParam());
  stoppable.stop = stop.get_token();
  TestRun run(tenSeconds(folder), 5, stoppable);
  EXPECT_TRUE(run.go());
  EXPECT_TRUE(run.measurement.indices.empty());
  EXPECT_EQ(run.outcome.reason, "stopped before the first frame");
  EXPECT_EQ(run.pauses, Pauses{}) << "a stopped check does not pause any more";
}

INSTANTIATE_TEST_SUITE_P(BothPauses, VideoCheckRun,
                         testing::Values(QAPauses::fixed, QAPauses::untilReady),
                         [](const auto& info) {
                           return info.param == QAPauses::fixed ? "Fixed" : "UntilReady";
                         });

/// A clip of 100 declared pictures of which the last 60 are missing.
std::string cutClip(const TempDir& folder) {
  const std::string whole = tenSeconds(folder);
  const std::size_t bytes = qatest::readFile(whole).size();
  return qatest::truncatedCopy(folder, "cut.mkv", whole, bytes * 4 / 10);
}

TEST(VideoCheckMisses, HundredAndOneInARowEndTheLoop) {
  const TempDir folder;
  TestRun run(cutClip(folder), 1);
  // What is left is queued before the first get, and nothing follows it.
  const qatest::QuickWaits quick;
  EXPECT_TRUE(run.go());
  EXPECT_EQ(run.measurement.budgets, std::vector<int>{80});
  const std::size_t measured = run.measurement.indices.size();
  EXPECT_GT(measured, 0U);
  EXPECT_LT(measured, 80U);
  Pauses expected = {500};
  expected.insert(expected.end(), 100, 10U);  // the 101st miss ends the loop without a pause
  expected.push_back(100);
  EXPECT_EQ(run.pauses, expected);
  EXPECT_EQ(run.outcome.count, static_cast<int>(measured));
  EXPECT_NE(run.logged.find("QATest: Test Complete."), std::string::npos);
}

TEST(VideoCheckMisses, UntilReadyFindsTheSame) {
  const TempDir folder;
  const std::string file = cutClip(folder);
  TestRun ready(file, 1, pausing(QAPauses::untilReady));
  EXPECT_TRUE(ready.go());
  EXPECT_EQ(ready.pauses, Pauses{});
  TestRun fixed(file, 1);
  const qatest::QuickWaits quick;
  EXPECT_TRUE(fixed.go());
  EXPECT_EQ(ready.measurement.firstLuma, fixed.measurement.firstLuma);
  EXPECT_EQ(ready.listener.progress, fixed.listener.progress);
  EXPECT_EQ(ready.logged, fixed.logged);
}

std::ptrdiff_t tensIn(const Pauses& pauses) {
  return std::count(pauses.begin(), pauses.end(), 10U);
}

TEST(VideoCheckSlate, UntilReadyEndsAtTheEndOfTheData) {
  const TempDir folder;
  TestRun run(tenSeconds(folder), 60, pausing(QAPauses::untilReady));
  EXPECT_TRUE(run.go());
  EXPECT_TRUE(run.measurement.indices.empty());
  EXPECT_EQ(run.outcome.reason, "the file ends within the slate of 60 s");
}

TEST(VideoCheckSlate, FixedPausesNeverGiveUp) {
  const TempDir folder;
  std::stop_source stop;
  QATesterOptions stoppable;
  stoppable.stop = stop.get_token();
  TestRun run(tenSeconds(folder), 60, stoppable);
  const qatest::QuickWaits quick;
  std::jthread watcher([&] {
    // Far more misses than end a frame loop.
    while (tensIn(qatest::readerPauses()) < 150) {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    stop.request_stop();
  });
  EXPECT_TRUE(run.go());
  EXPECT_GE(tensIn(run.pauses), 150);
}

TEST(VideoCheckEarlyReturn, OfAFileThatDoesNotOpen) {
  TestRun run("no/such.mov", 5);
  EXPECT_FALSE(run.go());
  EXPECT_EQ(run.logged, "QATest: Beginning Test.\nQATest: Failed to load file...\n");
  EXPECT_TRUE(run.listener.messages.empty());
  EXPECT_EQ(run.listener.failures, 0);
  EXPECT_TRUE(run.pauses.empty());
  EXPECT_FALSE(run.outcome.opened);
  EXPECT_FALSE(run.outcome.measured);
}

TEST(VideoCheckEarlyReturn, OfAFileWithoutVideo) {
  const TempDir folder;
  TestRun run(qatest::makeClip(folder, "clip.wav", {.audio = qatest::audioStreams(1)}), 5);
  EXPECT_FALSE(run.go());
  EXPECT_EQ(run.logged,
            "QATest: Beginning Test.\nQATest: Buffering...\nQATest: No video stream.\n");
  EXPECT_EQ(run.listener.messages, std::vector<std::string>{"QATest: No video stream."});
  EXPECT_EQ(run.listener.failures, 0);
  EXPECT_EQ(run.pauses, Pauses{500});
  EXPECT_TRUE(run.measurement.budgets.empty());
  EXPECT_TRUE(run.outcome.opened);
  EXPECT_FALSE(run.outcome.measured);
  EXPECT_EQ(run.outcome.reason, "no video stream");
}

TEST(VideoCheckEarlyReturn, OfAnotherPixelFormat) {
  const TempDir folder;
  for (const qatest::VideoSpec& other : {qatest::proRes(5), qatest::mjpeg(5)}) {
    TestRun run(qatest::makeClip(folder, "clip.mov", {.video = {other}}), 5);
    EXPECT_FALSE(run.go());
    EXPECT_EQ(run.logged,
              "QATest: Beginning Test.\nQATest: Buffering...\nQATest: Detected Other\n");
    EXPECT_EQ(run.listener.failures, 1);
    EXPECT_TRUE(run.listener.messages.empty());
    EXPECT_EQ(run.pauses, Pauses{500}) << "the wrapper is torn down without a stop";
    EXPECT_TRUE(run.measurement.budgets.empty());
  }
}

TEST(VideoCheckEarlyReturn, MessageMayLackTheFullStopThatTheLogHas) {
  const TempDir folder;
  VideoCheckProfile unfinished = kProfile;
  unfinished.messageEndsWithFullStop = false;
  TestRun run(qatest::makeClip(folder, "clip.wav", {.audio = qatest::audioStreams(1)}), 5);
  EXPECT_FALSE(run.go(unfinished));
  EXPECT_EQ(run.listener.messages, std::vector<std::string>{"QATest: No video stream"});
  EXPECT_EQ(run.logged,
            "QATest: Beginning Test.\nQATest: Buffering...\nQATest: No video stream.\n");
}

constexpr const char* kManyFrames = "TestFrameChecks=40\n";  // kFramesBesideMuchAudio

TEST(VideoCheckAudio, ThatIsDiscardedHoldsNoPicturesBack) {
  const TempDir folder;
  TestRun run(qatest::makeClip(folder, "clip.nut", qatest::muchAudio()), 0, {}, kManyFrames);
  EXPECT_TRUE(run.go());
  EXPECT_EQ(run.outcome.count, qatest::kFramesBesideMuchAudio);
  EXPECT_EQ(run.pauses, (Pauses{500, 100}));
}

TEST(VideoCheckAudio, ThatIsKeptHoldsThePicturesBackUnlessUntilReady) {
  const TempDir folder;
  const std::string file = qatest::makeClip(folder, "clip.nut", qatest::muchAudio());
  VideoCheckProfile keeping = kProfile;
  keeping.discardsAudio = false;
  TestRun fixed(file, 0, {}, kManyFrames);
  {
    const qatest::QuickWaits quick;
    EXPECT_TRUE(fixed.go(keeping));
  }
  EXPECT_GT(fixed.outcome.count, 0);
  EXPECT_LT(fixed.outcome.count, qatest::kFramesBesideMuchAudio);
  EXPECT_EQ(tensIn(fixed.pauses), 100);
  TestRun ready(file, 0, pausing(QAPauses::untilReady), kManyFrames);
  EXPECT_TRUE(ready.go(keeping));
  EXPECT_EQ(ready.outcome.count, qatest::kFramesBesideMuchAudio);
  EXPECT_EQ(ready.pauses, Pauses{});
}

TEST(VideoCheckUnreadable, PictureIsAFrameThatDoesNotCount) {
  const TempDir folder;
  TestRun run(tenSeconds(folder), 1, pausing(QAPauses::untilReady), "TestFrameChecks=10\n");
  run.measurement.judge = [](int index) {
    return index % 2 == 0 ? Taken::measured : Taken::leftOut;
  };
  EXPECT_TRUE(run.go());
  EXPECT_EQ(run.measurement.indices, (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
  EXPECT_EQ(run.listener.progress["tearing"],
            (std::vector<float>{10, 20, 30, 40, 50, 60, 70, 80, 90}));
  EXPECT_TRUE(run.outcome.measured);
  EXPECT_EQ(run.outcome.count, 5);
  EXPECT_EQ(run.outcome.budget, 10);
  EXPECT_EQ(run.outcome.reason, "pixel format yuv422p is not 8-bit planar 4:2:0, 4:2:2 or 4:4:4");
}

TEST(VideoCheckUnreadable, PictureMayEndTheLoopWithoutProgress) {
  const TempDir folder;
  TestRun run(tenSeconds(folder), 1, pausing(QAPauses::untilReady), "TestFrameChecks=10\n");
  run.measurement.judge = [](int index) { return index < 4 ? Taken::measured : Taken::endsCheck; };
  EXPECT_TRUE(run.go());
  EXPECT_EQ(run.measurement.indices, (std::vector<int>{0, 1, 2, 3, 4}));
  EXPECT_EQ(run.listener.progress["tearing"], (std::vector<float>{10, 20, 30}));
  EXPECT_EQ(run.outcome.count, 4);
  EXPECT_NE(run.outcome.reason, "");
  EXPECT_NE(run.logged.find("QATest: Stopping Test...\nQATest: Test Complete."), std::string::npos);
}

TEST(VideoCheckUnreadable, PicturesAloneAreNoMeasurement) {
  const TempDir folder;
  TestRun run(tenSeconds(folder), 1, pausing(QAPauses::untilReady), "TestFrameChecks=3\n");
  run.measurement.judge = [](int) { return Taken::leftOut; };
  EXPECT_TRUE(run.go());
  EXPECT_FALSE(run.outcome.measured);
  EXPECT_EQ(run.outcome.count, 0);
  EXPECT_EQ(run.outcome.reason, "pixel format yuv422p is not 8-bit planar 4:2:0, 4:2:2 or 4:4:4");
}

TEST(VideoCheckOutcome, TellsTheLimitsOfTheMeasurementAlsoWhenItCannotRun) {
  const TempDir folder;
  for (const std::string& file : {tenSeconds(folder), folder.file("none.mov")}) {
    TestRun run(file, 1, pausing(QAPauses::untilReady));
    run.go();
    ASSERT_EQ(run.outcome.limits.size(), 1U);
    EXPECT_EQ(run.outcome.limits[0].of, "RGB");
    EXPECT_EQ(run.outcome.limits[0].min, 3);
    EXPECT_EQ(run.outcome.limits[0].max, 7);
  }
}

TEST(VideoCheckOrder, CheckThatStartsEarlyReadsItsBudgetLate) {
  const TempDir folder;
  VideoCheckProfile early = kProfile;
  early.skipsSlate = false;
  early.startsBeforeBudget = true;
  TestRun run(tenSeconds(folder), 5, pausing(QAPauses::untilReady), "TestFrameChecks=2\n");
  EXPECT_TRUE(run.go(early));
  EXPECT_EQ(run.logged,
            "QATest: Beginning Test.\n"
            "QATest: Buffering...\n"
            "QATest: Detected YUV422P pixel format.\n"
            "QATest: Starting Checks.\n"
            "QATest: Stopping Test...\n"
            "QATest: Test Complete.\n");
  EXPECT_EQ(run.measurement.firstLuma, lumaOfPictures(0, 2)) << "no slate is skipped";
}

TEST(VideoCheckWords, OfTheFirstAndTheLastLineMayBeOthers) {
  const TempDir folder;
  VideoCheckProfile profile = kProfile;
  profile.check.beginning = "Starting Test...";
  profile.check.stopTag = "QAOther";
  profile.check.complete = nullptr;
  TestRun run(tenSeconds(folder), 1, pausing(QAPauses::untilReady), "TestFrameChecks=2\n");
  EXPECT_TRUE(run.go(profile));
  EXPECT_EQ(run.logged,
            "QATest: Starting Test...\n"
            "QATest: Buffering...\n"
            "QATest: Detected YUV422P pixel format.\n"
            "QATest: Dumping slate...\n"
            "QATest: Starting Checks.\n"
            "QAOther: Stopping Test...\n");
  EXPECT_EQ(run.outcome.tag, "QATest") << "the outcome has the tag";
  EXPECT_EQ(run.outcome.name, "test");
  EXPECT_EQ(run.outcome.count, 2);
}

/// What the last bound was asked.
struct Asked {
  int budget;
  float fps;
  double durationSeconds;
  int slateFrames;
} asked;

int four(int budget, float fps, double durationSeconds, int slateFrames) {
  asked = {budget, fps, durationSeconds, slateFrames};
  return 4;
}

int noBound(int, float, double, int) {
  throw std::runtime_error("no duration");
}

int noBoundEither(int, float, double, int) {
  throw 7;
}

TEST(VideoCheckBound, MayBeTheProfilesOwn) {
  const TempDir folder;
  VideoCheckProfile profile = kProfile;
  profile.bound = four;
  TestRun run(tenSeconds(folder), 2, pausing(QAPauses::untilReady), "TestFrameChecks=30\n");
  EXPECT_TRUE(run.go(profile));
  EXPECT_EQ(asked.budget, 30);
  EXPECT_EQ(asked.fps, 10.0F);
  EXPECT_EQ(asked.durationSeconds, 10.0);
  EXPECT_EQ(asked.slateFrames, 20);
  EXPECT_EQ(run.measurement.budgets, std::vector<int>{4});
  EXPECT_EQ(run.measurement.firstLuma, lumaOfPictures(20, 4));
  EXPECT_EQ(run.listener.progress["tearing"], (std::vector<float>{25, 50, 75}));
  EXPECT_EQ(run.outcome.budget, 4);
}

TEST(VideoCheckBound, ThatFailsIsLoggedAndLeavesTheBudgetAsItIs) {
  const TempDir folder;
  const std::string file = tenSeconds(folder);
  VideoCheckProfile profile = kProfile;
  profile.boundFailure = "Could not find the end.";
  for (const auto bound : {noBound, noBoundEither}) {
    profile.bound = bound;
    TestRun run(file, 1, pausing(QAPauses::untilReady), "TestFrameChecks=5\n");
    EXPECT_TRUE(run.go(profile));
    EXPECT_EQ(run.logged,
              "QATest: Beginning Test.\n"
              "QATest: Buffering...\n"
              "QATest: Detected YUV422P pixel format.\n"
              "QATest: Dumping slate...\n"
              "QATest: Could not find the end.\n"
              "QATest: Starting Checks.\n"
              "QATest: Stopping Test...\n"
              "QATest: Test Complete.\n");
    EXPECT_EQ(run.measurement.budgets, std::vector<int>{5});
    EXPECT_EQ(run.measurement.firstLuma, lumaOfPictures(10, 5));
  }
  profile.bound = four;
  TestRun run(file, 1, pausing(QAPauses::untilReady));
  EXPECT_TRUE(run.go(profile));
  EXPECT_EQ(run.logged.find("Could not"), std::string::npos) << "only of one that fails";
}

TEST(VideoCheckBound, ThatFailsUnannouncedLeavesTheCheck) {
  const TempDir folder;
  VideoCheckProfile profile = kProfile;
  profile.bound = noBound;
  TestRun run(tenSeconds(folder), 0, pausing(QAPauses::untilReady));
  EXPECT_THROW(run.go(profile), std::runtime_error);
  EXPECT_TRUE(run.measurement.budgets.empty());
}

TEST(VideoCheckBound, WithoutABudgetKeyMakesTheBudgetOfNone) {
  const TempDir folder;
  VideoCheckProfile profile = kProfile;
  profile.check.budget = nullptr;
  profile.bound = four;
  for (const bool early : {false, true}) {
    profile.startsBeforeBudget = early;
    TestRun run(tenSeconds(folder), 1, pausing(QAPauses::untilReady), "TestFrameChecks=9\n");
    EXPECT_TRUE(run.go(profile));
    EXPECT_EQ(asked.budget, 0);
    EXPECT_EQ(run.measurement.firstLuma, lumaOfPictures(10, 4));
  }
}

TEST(VideoCheckGathered, PicturesCountButBringNoProgress) {
  const TempDir folder;
  TestRun run(tenSeconds(folder), 1, pausing(QAPauses::untilReady), "TestFrameChecks=10\n");
  run.measurement.judge = [](int index) { return index % 5 == 4 ? Taken::measured : Taken::waits; };
  EXPECT_TRUE(run.go());
  EXPECT_EQ(run.measurement.indices, (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
  EXPECT_EQ(run.measurement.firstLuma, lumaOfPictures(10, 10));
  EXPECT_EQ(run.listener.progress["tearing"], (std::vector<float>{40, 90}));
  EXPECT_TRUE(run.outcome.measured);
  EXPECT_EQ(run.outcome.count, 10);
  EXPECT_EQ(run.outcome.reason, "");
}

TEST(VideoCheckGathered, PicturesAloneAreNoMeasurement) {
  const TempDir folder;
  TestRun run(tenSeconds(folder), 1, pausing(QAPauses::untilReady), "TestFrameChecks=3\n");
  run.measurement.judge = [](int) { return Taken::waits; };
  EXPECT_TRUE(run.go());
  EXPECT_FALSE(run.outcome.measured);
  EXPECT_EQ(run.outcome.count, 3);
  EXPECT_TRUE(run.listener.progress.empty());
}

/// 200 small pictures at 10 a second.
std::string manyPictures(const TempDir& folder) {
  qatest::VideoSpec video = qatest::ffv1(200, AV_PIX_FMT_YUV420P, {10, 1});
  video.width = 16;
  video.height = 16;
  return qatest::makeClip(folder, "many.mkv", {.video = {video}});
}

TEST(VideoCheckUnconvertible, PictureIsAMissThatIsFollowedByAPauseAndKeepsTheIndex) {
  const TempDir folder;
  TestRun run(tenSeconds(folder), 1, {}, "TestFrameChecks=4\n");
  int calls = 0;
  run.measurement.judge = [&](int) {
    ++calls;
    return calls == 2 || calls == 3 ? Taken::missed : Taken::measured;
  };
  EXPECT_TRUE(run.go());
  EXPECT_EQ(run.measurement.indices, (std::vector<int>{0, 1, 1, 1, 2, 3}));
  EXPECT_EQ(run.measurement.firstLuma, lumaOfPictures(10, 6)) << "each time the next picture";
  EXPECT_EQ(run.pauses, (Pauses{500, 10, 10, 100}));
  EXPECT_EQ(run.listener.progress["tearing"], (std::vector<float>{25, 50, 75}));
  EXPECT_EQ(run.outcome.count, 4);
  EXPECT_EQ(run.outcome.reason, "");
}

TEST(VideoCheckUnconvertible, PicturesEndTheLoopWithTheHundredAndFirstInARow) {
  const TempDir folder;
  TestRun run(manyPictures(folder), 1, pausing(QAPauses::untilReady), "TestFrameChecks=150\n");
  run.measurement.judge = [](int) { return Taken::missed; };
  EXPECT_TRUE(run.go());
  EXPECT_EQ(run.measurement.indices, std::vector<int>(101, 0));
  EXPECT_FALSE(run.outcome.measured);
  EXPECT_EQ(run.outcome.count, 0);
  EXPECT_EQ(run.outcome.reason, "no frame could be decoded");
  EXPECT_TRUE(run.listener.progress.empty());
  EXPECT_NE(run.logged.find("QATest: Stopping Test...\nQATest: Test Complete."), std::string::npos);
}

/// How many pictures are asked for when the first hundred are misses, the next one is judged so,
/// and all others are misses.
std::size_t picturesAround(Taken between) {
  const TempDir folder;
  TestRun run(manyPictures(folder), 0, pausing(QAPauses::untilReady), "TestFrameChecks=150\n");
  int calls = 0;
  run.measurement.judge = [&](int) { return ++calls == 101 ? between : Taken::missed; };
  EXPECT_TRUE(run.go());
  return run.measurement.indices.size();
}

TEST(VideoCheckUnconvertible, PicturesAreCountedOnOverOneThatIsGathered) {
  EXPECT_EQ(picturesAround(Taken::waits), 100U + 1U + 1U);
}

TEST(VideoCheckUnconvertible, PicturesAreCountedAnewBehindOneThatCounts) {
  // 199 pictures are left behind the slate: 98 misses, then none come, which are misses too.
  EXPECT_EQ(picturesAround(Taken::measured), 100U + 1U + 98U);
  EXPECT_EQ(picturesAround(Taken::leftOut), 100U + 1U + 98U);
}

TEST(VideoCheckOutcome, IsDescribedOnceBeforeItsReasonIsFound) {
  const TempDir folder;
  TestRun whole(tenSeconds(folder), 1, pausing(QAPauses::untilReady), "TestFrameChecks=2\n");
  whole.go();
  EXPECT_EQ(whole.measurement.reasonsFound, std::vector<std::string>{""});
  EXPECT_EQ(whole.outcome.reason, "");

  TestRun nothing(tenSeconds(folder), 9, pausing(QAPauses::untilReady));
  nothing.go();
  EXPECT_EQ(nothing.measurement.reasonsFound, std::vector<std::string>{""});
  EXPECT_EQ(nothing.outcome.reason,
            "too short, or of unknown duration: no frames are left to measure");

  const std::string sound =
      qatest::makeClip(folder, "clip.wav", {.audio = qatest::audioStreams(1)});
  TestRun withoutVideo(sound, 1, pausing(QAPauses::untilReady));
  withoutVideo.go();
  EXPECT_EQ(withoutVideo.measurement.reasonsFound, std::vector<std::string>{"no video stream"});
}

TEST(VideoCheckOutcome, MeasurementMayGiveAReasonOfItsOwn) {
  const TempDir folder;
  for (const int slate : {1, 9}) {
    TestRun run(tenSeconds(folder), slate, pausing(QAPauses::untilReady), "TestFrameChecks=20\n");
    run.measurement.ownReason = "all black";
    run.go();
    EXPECT_EQ(run.outcome.measured, slate == 1);
    EXPECT_EQ(run.outcome.reason, "all black");
  }
}

}  // namespace
