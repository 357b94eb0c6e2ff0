// What the timecode check does beside showing; what it shows is in TimecodeWindowsTest.cpp.

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "checks/EarlyReturns.h"
#include "checks/video/Timecode.h"
#include "support/Clips.h"
#include "support/FakeSleep.h"
#include "support/LoggedTester.h"
#include "support/TempDir.h"
#include "support/Values.h"

namespace {

using namespace qatest;
using qatester::framesButLastSecond;
using qatester::nominalRate;

using Pauses = std::vector<unsigned>;

constexpr int kMost = std::numeric_limits<int>::max();
constexpr int kLeast = std::numeric_limits<int>::min();
constexpr float kNotANumber = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinite = std::numeric_limits<float>::infinity();

/// Of a file; budget and slate do not matter.
int frames(float fps, double durationSeconds) {
  const int count = framesButLastSecond(0, fps, durationSeconds, 0);
  EXPECT_EQ(framesButLastSecond(100, fps, durationSeconds, 125), count);
  EXPECT_EQ(framesButLastSecond(kMost, fps, durationSeconds, kMost), count);
  return count;
}

TEST(TimecodeFrames, AreAllButTheLastSecondsWorth) {
  EXPECT_EQ(frames(24000.0F / 1001.0F, 10.0), 215) << "239 - 23.98 = 215.02";
  EXPECT_EQ(frames(24.0F, 10.0), 216);
  EXPECT_EQ(frames(25.0F, 10.0), 225);
  EXPECT_EQ(frames(30000.0F / 1001.0F, 10.0), 269) << "299 - 29.97 = 269.03";
  EXPECT_EQ(frames(30.0F, 10.0), 270);
  EXPECT_EQ(frames(50.0F, 10.0), 450);
  EXPECT_EQ(frames(60000.0F / 1001.0F, 10.0), 539) << "599 - 59.94 = 539.06";
  EXPECT_EQ(frames(60.0F, 10.0), 540);
  EXPECT_EQ(frames(25.0F, 1.999), 24) << "49.975 frames are 49";
}

TEST(TimecodeFrames, OfASecondOrLessAreNoneOrFewer) {
  EXPECT_EQ(frames(25.0F, 1.0), 0);
  EXPECT_EQ(frames(25.0F, 0.5), 12 - 25);
  EXPECT_EQ(frames(25.0F, 0.0), -25);
  EXPECT_EQ(frames(30000.0F / 1001.0F, 0.9), -3) << "26 - 29.97 = -3.97, toward zero";
  EXPECT_EQ(frames(30000.0F / 1001.0F, 1.0), 0) << "29 - 29.97 = -0.97, toward zero";
}

TEST(TimecodeFrames, OfUnknownOrAbsurdDurationOrRateDoNotOverflow) {
  EXPECT_EQ(frames(25.0F, -9223372036854.775), kLeast) << "an unknown duration";
  EXPECT_EQ(frames(25.0F, -1.0), -50);
  EXPECT_EQ(frames(-1.0F, 10.0), -9) << "no container: -10 + 1";
  EXPECT_EQ(frames(kNotANumber, 10.0), 0);
  EXPECT_EQ(frames(25.0F, std::numeric_limits<double>::quiet_NaN()), -25);
  EXPECT_EQ(frames(kInfinite, 10.0), kLeast);
  EXPECT_EQ(frames(1e30F, 10.0), kLeast) << "2^31 - 10^30";
}

TEST(TimecodeFrames, AreSubtractedInSinglePrecision) {
  ASSERT_EQ(static_cast<float>((1 << 24) + 1) - 1.0F, static_cast<float>((1 << 24) - 1));
  EXPECT_EQ(frames(1.0F, (1 << 24) + 1), (1 << 24) - 1);
  EXPECT_EQ(frames(25.0F, 1e12), kMost) << "25 less is nothing of 2^31";
}

TEST(NominalRate, IsTheNearestWholeNumber) {
  EXPECT_EQ(nominalRate(30000.0F / 1001.0F), 30);
  EXPECT_EQ(nominalRate(24000.0F / 1001.0F), 24);
  EXPECT_EQ(nominalRate(60000.0F / 1001.0F), 60);
  EXPECT_EQ(nominalRate(29.97F), 30);
  EXPECT_EQ(nominalRate(25.0F), 25);
  EXPECT_EQ(nominalRate(12.5F), 13) << "halves up";
  EXPECT_EQ(nominalRate(12.49F), 12);
  EXPECT_EQ(nominalRate(0.0F), 0);
  // The largest number below a half: in single precision the sum would be 1.
  ASSERT_EQ(0.49999997F + 0.5F, 1.0F);
  EXPECT_EQ(nominalRate(0.49999997F), 0);
}

TEST(NominalRate, OfAnAbsurdRateDoesNotOverflow) {
  EXPECT_EQ(nominalRate(kNotANumber), 0);
  EXPECT_EQ(nominalRate(-1.0F), 0) << "-0.5, toward zero";
  EXPECT_EQ(nominalRate(kInfinite), kMost);
  EXPECT_EQ(nominalRate(-kInfinite), kLeast);
}

// Whole runs. The displays go nowhere, as there may be a window system.

QATesterOptions unseen(QATesterOptions options) {
  options.displays = QADisplays::nowhere;
  return options;
}

bool check(LoggedTester& tester) {
  return tester.run([](QATester& t) { return t.checkTimecode(); });
}

/// 4:2:2, so that the log tells the format.
ClipSpec clipOf(int frames, AVRational rate = {25, 1}) {
  return {.video = {ffv1(frames, AV_PIX_FMT_YUV422P, rate)}};
}

TEST(TimecodeCheck, GoesThroughAllFramesButTheLastSecondsAndSkipsNoSlate) {
  const TempDir folder;
  LoggedTester tester(makeClip(folder, "clip.mkv", clipOf(45)), unseen({}));
  clearPauses();
  EXPECT_TRUE(check(tester));
  EXPECT_EQ(tester.logged(),
            "QATimecode: Beginning Test.\n"
            "QATimecode: Buffering...\n"
            "QATimecode: Detected YUV422P pixel format.\n"
            "QATimecode: Starting Checks.\n"
            "QATransition: Stopping Test...\n");
  EXPECT_EQ(callerPauses(), (Pauses{500, 100}));
  std::vector<float> percents;
  for (int i = 1; i < 20; ++i) {
    percents.push_back(static_cast<float>(5 * i));  // of 45 - 25 frames
  }
  EXPECT_EQ(tester.listener.progress["timecode"], percents);
  EXPECT_EQ(tester.listener.progress.size(), 1U);
  EXPECT_TRUE(tester.listener.messages.empty());
  EXPECT_EQ(tester.listener.failures, 0);
  const QACheckOutcome& outcome = tester.outcomes.at(0);
  EXPECT_EQ(outcome.tag, "QATimecode");
  EXPECT_TRUE(outcome.measured);
  EXPECT_EQ(outcome.reason, "");
  EXPECT_EQ(outcome.budget, 20);
  EXPECT_EQ(outcome.count, 20);
}

TEST(TimecodeCheck, HasNoBudgetKey) {
  const TempDir folder;
  const std::string file = makeClip(folder, "clip.mkv", clipOf(45));
  LoggedTester tester(file, unseen(stored()),
                      "QATesterSlateSeconds=9\nTimecodeFrameChecks=3\nFrameChecks=3\n"
                      "TimeCodeFrameChecks=3\nTransitionFrameChecks=3\n");
  EXPECT_TRUE(check(tester));
  EXPECT_EQ(tester.outcomes.at(0).budget, 20);
  EXPECT_EQ(tester.outcomes.at(0).count, 20);
}

TEST(TimecodeCheck, TellsTheNominalRate) {
  const std::vector<std::pair<AVRational, int>> rates = {
      {{30000, 1001}, 30}, {{24000, 1001}, 24}, {{25, 1}, 25}};
  for (const auto& [declared, nominal] : rates) {
    const TempDir folder;
    LoggedTester tester(makeClip(folder, "clip.nut", clipOf(35, declared)), unseen(untilReady()));
    EXPECT_TRUE(check(tester));
    const QACheckOutcome& outcome = tester.outcomes.at(0);
    EXPECT_EQ(numberOf(outcome, "nominalRate"), nominal);
  }
}

TEST(TimecodeCheck, OfLessThanASecondGoesThroughNothingAndIsTrue) {
  const TempDir folder;
  for (const int count : {10, 25}) {
    LoggedTester tester(makeClip(folder, "clip.mkv", clipOf(count)), unseen(untilReady()));
    EXPECT_TRUE(check(tester)) << count;
    EXPECT_EQ(tester.outcomes.at(0).budget, count - 25);
    EXPECT_EQ(tester.outcomes.at(0).count, 0);
    EXPECT_FALSE(tester.outcomes.at(0).measured);
    EXPECT_TRUE(tester.listener.progress.empty());
    EXPECT_NE(tester.logged().find("QATransition: Stopping Test...\n"), std::string::npos);
  }
}

TEST(TimecodeCheck, OfUnknownDurationGoesThroughNothingAndIsTrue) {
  const TempDir folder;
  LoggedTester tester(makeClip(folder, "clip.mkv", withoutDuration(clipOf(45))),
                      unseen(untilReady()));
  EXPECT_TRUE(check(tester));
  EXPECT_EQ(tester.outcomes.at(0).count, 0);
}

TEST(TimecodeCheck, IsTrueAlsoWhenTheFramesEndWithAHundredAndOneMisses) {
  const TempDir folder;
  const std::string whole = makeClip(folder, "clip.mkv", clipOf(75));
  const std::string cut = truncatedCopy(folder, "cut.mkv", whole, readFile(whole).size() / 3);
  LoggedTester tester(cut, unseen(untilReady()));
  EXPECT_TRUE(check(tester));
  EXPECT_EQ(tester.outcomes.at(0).budget, 50);
  EXPECT_GT(tester.outcomes.at(0).count, 5);
  EXPECT_LT(tester.outcomes.at(0).count, 50);
  EXPECT_NE(tester.logged().find("QATransition: Stopping Test...\n"), std::string::npos);
}

TEST(TimecodeCheck, ThatCannotRunReturnsFalse) {
  for (const EarlyReturn& c : earlyReturns("QATimecode")) {
    SCOPED_TRACE(c.name);
    const TempDir folder;
    LoggedTester tester(c.makeIn(folder), unseen(untilReady()));
    EXPECT_FALSE(check(tester));
    EXPECT_EQ(tester.logged(), "QATimecode: Beginning Test.\n" + c.logged);
    EXPECT_EQ(tester.listener.messages, c.messages);
    EXPECT_EQ(tester.listener.failures, c.failures);
    EXPECT_TRUE(tester.listener.progress.empty());
  }
}

TEST(TimecodeCheck, NeedsNeitherListenerNorLogger) {
  const TempDir folder;
  const std::string file = makeClip(folder, "clip.mkv", clipOf(30));
  QATester tester(file.c_str(), nullptr, "", "", unseen(untilReady()));
  EXPECT_TRUE(tester.checkTimecode());
  EXPECT_TRUE(tester.checkTimecode()) << "may run more than once";
}

}  // namespace
