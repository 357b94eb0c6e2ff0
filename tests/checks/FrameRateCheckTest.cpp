#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <thread>
#include <vector>

#include "checks/EarlyReturns.h"
#include "support/Clips.h"
#include "support/FakeSleep.h"
#include "support/LoggedTester.h"
#include "support/Sanitized.h"
#include "support/TempDir.h"

namespace {

using qatest::ClipSpec;
using qatest::LoggedTester;
using qatest::stored;
using qatest::TempDir;

using Pauses = std::vector<unsigned>;

QA_FrameRate check(LoggedTester& tester) {
  return tester.run([](QATester& t) { return t.checkFrameRate(); });
}

/// A clip whose picture of index k is stamped (k + first) / rate seconds.
ClipSpec stampedFrom(int first, AVRational rate, int frames) {
  qatest::VideoSpec video = qatest::ffv1(frames, AV_PIX_FMT_YUV420P, rate);
  video.edit = [first](AVPacket& packet, int) {
    packet.pts += first;
    packet.dts += first;
  };
  return {.video = {video}};
}

/// The sum of (k + 1) / t(k) over the frames that came, divided by the budget; t(k) is
/// (k + first) / rate.
float expectedRate(int first, double rate, int came, int budget) {
  double sum = 0.0;
  for (int k = 0; k < came; ++k) {
    if (k + first > 0) {
      sum += (k + 1) * rate / (k + first);
    }
  }
  return static_cast<float>(std::floor(sum / budget * 100.0 + 0.5) / 100.0);
}

TEST(FrameRateCheck, PlainConstructorMeasuresAHundredFramesWithFixedPauses) {
  const TempDir folder;
  LoggedTester tester(qatest::makeClip(folder, "clip.nut", stampedFrom(0, {25, 1}, 150)));
  qatest::clearPauses();
  const QA_FrameRate result = check(tester);
  EXPECT_EQ(result.declaredFps, 25.0F);
  EXPECT_EQ(result.measuredFps, 26.04F) << "25 (99 + H(99)) / 100 = 26.0443";
  EXPECT_FALSE(result.passed);
  EXPECT_EQ(tester.logged(),
            "QAFramerate: Beginning Test.\n"
            "QAFramerate: Buffering...\n"
            "QAFramerate: Detected YUV420P pixel format.\n"
            "QAFramerate: Starting Checks.\n"
            "QAFramerate: Stopping Test...\n"
            "QAFramerate: Test Complete.\n");
  EXPECT_EQ(qatest::callerPauses(), (Pauses{500, 100}));
  std::vector<float> percents;
  for (int i = 1; i < 100; ++i) {
    if (i != 53 && i != 59) {  // lost in single precision
      percents.push_back(static_cast<float>(i));
    }
  }
  EXPECT_EQ(tester.listener.progress["frame-rate"], percents);
  EXPECT_EQ(tester.listener.progress.size(), 1U);
  EXPECT_TRUE(tester.listener.messages.empty());
  EXPECT_EQ(tester.listener.failures, 0);
}

TEST(FrameRateCheck, PassesWhenTheFirstFrameIsStampedOneFrameLate) {
  const TempDir folder;
  for (const AVRational rate :
       {AVRational{25, 1}, AVRational{30, 1}, AVRational{50, 1}, AVRational{30000, 1001},
        AVRational{24000, 1001}, AVRational{60000, 1001}}) {
    const std::string name = std::to_string(rate.num) + "-" + std::to_string(rate.den) + ".nut";
    LoggedTester tester(qatest::makeClip(folder, name, stampedFrom(1, rate, 200)),
                        qatest::untilReady());
    const QA_FrameRate result = check(tester);
    const double fps = static_cast<double>(rate.num) / rate.den;
    EXPECT_EQ(result.declaredFps, static_cast<float>(std::floor(fps * 100.0 + 0.5) / 100.0));
    EXPECT_EQ(result.measuredFps, result.declaredFps) << fps;
    EXPECT_TRUE(result.passed) << fps;
  }
}

TEST(FrameRateCheck, LaterStartMeasuresLower) {
  const TempDir folder;
  LoggedTester tester(qatest::makeClip(folder, "clip.nut", stampedFrom(10, {25, 1}, 150)),
                      qatest::untilReady());
  EXPECT_EQ(check(tester).measuredFps, expectedRate(10, 25.0, 100, 100));
}

TEST(FrameRateCheck, ReadsItsBudgetFromItsKey) {
  const TempDir folder;
  const std::string file = qatest::makeClip(folder, "clip.nut", stampedFrom(0, {25, 1}, 150));
  for (const int budget : {2, 10, 37}) {
    LoggedTester tester(file, stored(), "FrameRateFrameChecks=" + std::to_string(budget) + "\n");
    EXPECT_EQ(check(tester).measuredFps, expectedRate(0, 25.0, budget, budget)) << budget;
    ASSERT_EQ(tester.outcomes.size(), 1U);
    EXPECT_EQ(tester.outcomes[0].count, budget);
  }
}

TEST(FrameRateCheck, BudgetBelowOneBecomesOneAndMeasuresNothing) {
  const TempDir folder;
  const std::string file = qatest::makeClip(folder, "clip.nut", stampedFrom(0, {25, 1}, 50));
  for (const char* budget : {"1", "0", "-5"}) {
    LoggedTester tester(file, stored(), std::string("FrameRateFrameChecks=") + budget + "\n");
    const QA_FrameRate result = check(tester);
    EXPECT_EQ(result.measuredFps, 0.0F) << "the one frame is at time 0";
    EXPECT_EQ(result.declaredFps, 25.0F);
    EXPECT_FALSE(result.passed);
    EXPECT_TRUE(tester.listener.progress.empty());
  }
}

TEST(FrameRateCheck, FileShorterThanTheBudgetLeavesOutItsLastSecond) {
  const TempDir folder;
  LoggedTester tester(qatest::makeClip(folder, "clip.mkv", stampedFrom(0, {25, 1}, 75)),
                      qatest::untilReady());
  EXPECT_EQ(check(tester).measuredFps, expectedRate(0, 25.0, 50, 50));
  EXPECT_EQ(tester.outcomes.at(0).budget, 50);
}

TEST(FrameRateCheck, FileOfLessThanASecondGivesTheDeclaredRateAlone) {
  const TempDir folder;
  LoggedTester tester(qatest::makeClip(folder, "clip.nut", stampedFrom(0, {25, 1}, 20)),
                      qatest::untilReady());
  const QA_FrameRate result = check(tester);
  EXPECT_EQ(result.declaredFps, 25.0F);
  EXPECT_EQ(result.measuredFps, 0.0F);
  EXPECT_FALSE(result.passed);
  EXPECT_FALSE(tester.outcomes.at(0).measured);
  EXPECT_NE(tester.logged().find("QAFramerate: Test Complete."), std::string::npos);
}

TEST(FrameRateCheck, SkipsNoSlate) {
  // The first picture, at time 0, is the one that adds nothing: with a slate none would be at 0.
  const TempDir folder;
  LoggedTester tester(qatest::makeClip(folder, "clip.nut", stampedFrom(0, {25, 1}, 400)), stored(),
                      "QATesterSlateSeconds=5\n");
  EXPECT_EQ(check(tester).measuredFps, 26.04F);
  EXPECT_EQ(tester.logged().find("Dumping slate"), std::string::npos);
}

TEST(FrameRateCheck, UnknownDurationMeasuresNothing) {
  const TempDir folder;
  LoggedTester tester(
      qatest::makeClip(folder, "clip.mkv", qatest::withoutDuration(stampedFrom(0, {25, 1}, 150))),
      qatest::untilReady());
  const QA_FrameRate result = check(tester);
  EXPECT_EQ(result.declaredFps, 25.0F);
  EXPECT_EQ(result.measuredFps, 0.0F);
  EXPECT_FALSE(result.passed);
}

TEST(FrameRateCheck, FramesThatNeverComePullTheMeanDown) {
  const TempDir folder;
  const std::string whole = qatest::makeClip(
      folder, "clip.mkv", {.video = {qatest::ffv1(150, AV_PIX_FMT_YUV420P, {25, 1})}});
  const std::string cut =
      qatest::truncatedCopy(folder, "cut.mkv", whole, qatest::readFile(whole).size() / 3);
  LoggedTester tester(cut, qatest::untilReady());
  const QA_FrameRate result = check(tester);
  const int came = tester.outcomes.at(0).count;
  ASSERT_GT(came, 10);
  ASSERT_LT(came, 100);
  EXPECT_EQ(tester.outcomes.at(0).budget, 100);
  EXPECT_EQ(result.measuredFps, expectedRate(0, 25.0, came, 100));
}

TEST(FrameRateCheck, ThatCannotRunReturnsAllZero) {
  for (const qatest::EarlyReturn& c : qatest::earlyReturns("QAFramerate")) {
    const TempDir folder;
    LoggedTester tester(c.makeIn(folder));
    const QA_FrameRate result = check(tester);
    EXPECT_FALSE(result.passed) << c.name;
    EXPECT_EQ(result.declaredFps, 0.0F) << c.name;
    EXPECT_EQ(result.measuredFps, 0.0F) << c.name;
    EXPECT_EQ(tester.logged(), "QAFramerate: Beginning Test.\n" + c.logged) << c.name;
    EXPECT_EQ(tester.listener.messages, c.messages) << c.name;
    EXPECT_EQ(tester.listener.failures, c.failures) << c.name;
    EXPECT_TRUE(tester.listener.progress.empty()) << c.name;
  }
}

TEST(FrameRateCheck, FixedAndUntilReadyAgreeOnEveryKindOfClip) {
  for (const qatest::ClipKind& kind : qatest::clipKinds(qatest::kSanitized)) {
    const TempDir folder;
    const std::string file = qatest::makeClip(folder, kind.fileName, kind.spec);
    const std::string settings = "FrameRateFrameChecks=20\n";
    LoggedTester fixed(file, stored(QAPauses::fixed), settings);
    LoggedTester ready(file, stored(QAPauses::untilReady), settings);
    const QA_FrameRate a = check(fixed);
    const QA_FrameRate b = check(ready);
    EXPECT_EQ(a.passed, b.passed) << kind.fileName;
    EXPECT_EQ(a.declaredFps, b.declaredFps) << kind.fileName;
    EXPECT_EQ(a.measuredFps, b.measuredFps) << kind.fileName;
    EXPECT_EQ(fixed.listener.progress, ready.listener.progress) << kind.fileName;
    EXPECT_EQ(fixed.listener.messages, ready.listener.messages) << kind.fileName;
    EXPECT_EQ(fixed.listener.failures, ready.listener.failures) << kind.fileName;
    EXPECT_EQ(fixed.logged(), ready.logged()) << kind.fileName;
    EXPECT_EQ(fixed.outcomes.at(0).count, ready.outcomes.at(0).count) << kind.fileName;
  }
}

TEST(FrameRateCheck, MayRunMoreThanOnce) {
  const TempDir folder;
  LoggedTester tester(qatest::makeClip(folder, "clip.nut", stampedFrom(0, {25, 1}, 150)),
                      qatest::untilReady());
  EXPECT_EQ(check(tester).measuredFps, 26.04F);
  EXPECT_EQ(check(tester).measuredFps, 26.04F);
}

TEST(FrameRateCheck, NeedsNeitherListenerNorLogger) {
  const TempDir folder;
  const std::string file = qatest::makeClip(folder, "clip.nut", stampedFrom(0, {25, 1}, 150));
  QATester tester(file.c_str(), nullptr, "", "", qatest::untilReady());
  EXPECT_EQ(tester.checkFrameRate().measuredFps, 26.04F);
}

TEST(FrameRateCheck, TenTestersInTenThreadsDoNotDisturbEachOther) {
  const TempDir folder;
  const std::string file = qatest::makeClip(folder, "clip.nut", stampedFrom(0, {25, 1}, 150));
  std::vector<float> measured(10, 0.0F);
  {
    std::vector<std::jthread> threads;
    for (float& rate : measured) {
      threads.emplace_back([&rate, &file] {
        QATester tester(file.c_str(), nullptr, "", "", qatest::untilReady());
        rate = tester.checkFrameRate().measuredFps;
      });
    }
  }
  EXPECT_EQ(measured, std::vector<float>(10, 26.04F));
}

}  // namespace
