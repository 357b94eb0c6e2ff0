// What only the gamut check does; the rest is in ColourCheckTest.cpp.

#include <gtest/gtest.h>

#include <algorithm>

#include "checks/ColourChecks.h"
#include "support/ChangingFormat.h"
#include "support/Console.h"
#include "support/FakeSleep.h"
#include "support/MuchAudio.h"

namespace {

using namespace qatest;

TEST(GamutCheck, LumaHasNoLimits) {
  const TempDir folder;
  // Luma on its limit of the chroma check, with R, G and B far inside the range given here.
  const std::string file = makeClip(folder, "clip.nut", {.video = {plain({255, 128, 128})}});
  LoggedTester tester(file, stored(), quick<GamutCheck>(1) + "GamutMax=300\n");
  EXPECT_TRUE(check<GamutCheck>(tester).passed);
  EXPECT_EQ(tester.outcomes.at(0).limits.size(), 1U);
}

TEST(GamutCheck, KeepsAudioSoThatFixedPausesEndWithTheMissesOfAStalledReader) {
  const TempDir folder;
  const std::string file = makeClip(folder, "clip.nut", muchAudio());
  const QuickWaits quickWaits;
  LoggedTester tester(file, stored(QAPauses::fixed), quick<GamutCheck>(kFramesBesideMuchAudio));
  clearPauses();
  const QA_GamutLevel level = check<GamutCheck>(tester);
  const int came = tester.outcomes.at(0).count;
  EXPECT_GT(came, 0);
  EXPECT_LT(came, kFramesBesideMuchAudio);
  EXPECT_EQ(extremesOf(level), expectedOf(muchAudio().video[0], 1, came).extremes<GamutCheck>());
  std::vector<unsigned> expected{500};
  expected.insert(expected.end(), 100, 10U);  // the 101st miss ends the loop without a pause
  expected.push_back(100);
  EXPECT_EQ(callerPauses(), expected);
}

TEST(GamutCheck, UntilReadyIsNotStalledByAudioThatNobodyWants) {
  const TempDir folder;
  LoggedTester tester(makeClip(folder, "clip.nut", muchAudio()), stored(),
                      quick<GamutCheck>(kFramesBesideMuchAudio));
  const QA_GamutLevel level = check<GamutCheck>(tester);
  EXPECT_EQ(tester.outcomes.at(0).count, kFramesBesideMuchAudio);
  EXPECT_EQ(extremesOf(level),
            expectedOf(muchAudio().video[0], 1, kFramesBesideMuchAudio).extremes<GamutCheck>());
}

/// A slate of one frame, then the other 49 that can be read, and others that cannot.
constexpr int kReadable = kReadableFrames - 1;
constexpr int kBudget = kReadable + 10;

const std::string kWideLimits = "GamutMin=-999\nGamutMax=999\n";

TEST(GamutCheck, FirstPictureThatCannotBeReadEndsAndFailsIt) {
  const TempDir folder;
  const std::string file = clipWithChangingFormat(folder, "clip.ts");
  LoggedTester tester(file, stored(), quick<GamutCheck>(kBudget) + kWideLimits);
  const QA_GamutLevel level = check<GamutCheck>(tester);
  EXPECT_FALSE(level.passed);
  EXPECT_EQ(tester.logged(),
            "QAGamut: Beginning Test.\n"
            "QAGamut: Buffering...\n"
            "QAGamut: Detected YUV420P pixel format.\n"
            "QAGamut: Dumping slate...\n"
            "QAGamut: Starting Checks.\n"
            "QAGamut: Specified pixel format not supported.\n"
            "QAGamut: Stopping Test...\n"
            "QAGamut: Test Complete.\n");
  // The last picture that could be read has index 48: 4800 / 59 = 81.4.
  EXPECT_EQ(tester.listener.progress["gamut"].back(), 81.0F);
  EXPECT_TRUE(tester.listener.messages.empty());
  EXPECT_EQ(tester.listener.failures, 0);
  const QACheckOutcome& outcome = tester.outcomes.at(0);
  EXPECT_TRUE(outcome.measured);
  EXPECT_EQ(outcome.count, kReadable);
  EXPECT_EQ(outcome.budget, kBudget);
  EXPECT_EQ(outcome.reason, "pixel format yuv420p10le is not 8-bit planar 4:2:0, 4:2:2 or 4:4:4");

  LoggedTester before(file, stored(), quick<GamutCheck>(kReadable) + kWideLimits);
  const QA_GamutLevel readable = check<GamutCheck>(before);
  EXPECT_TRUE(readable.passed) << "what was measured until then passes";
  EXPECT_EQ(extremesOf(level), extremesOf(readable));
}

TEST(GamutCheck, WithoutALoggerAPictureThatCannotBeReadIsToldOnStandardOutput) {
  const TempDir folder;
  const std::string file = clipWithChangingFormat(folder, "clip.ts");
  writeFile(folder.file("settings"), quick<GamutCheck>(kBudget));
  const std::string printed = consoleOutputOf([&] {
    QATester tester(file.c_str(), nullptr, folder.file("settings").c_str(), "", stored());
    EXPECT_FALSE(tester.checkGamut().passed);
  });
  EXPECT_EQ(printed, "QATester::Gamut - specified pixel format not supported.\n");
}

TEST(GamutCheck, StandardOutputStaysCleanWhenAConsoleIsGiven) {
  const TempDir folder;
  const std::string file = clipWithChangingFormat(folder, "clip.ts");
  writeFile(folder.file("settings"), quick<GamutCheck>(kBudget));
  std::string lines;
  QATesterOptions options = stored();
  options.console = [&](const std::string& line) { lines += line; };
  const std::string printed = consoleOutputOf([&] {
    QATester tester(file.c_str(), nullptr, folder.file("settings").c_str(), "", options);
    tester.checkGamut();
  });
  EXPECT_EQ(printed, "");
  EXPECT_NE(lines.find("QAGamut: Specified pixel format not supported."), std::string::npos);
}

TEST(GamutCheck, FromTheFirstPictureUnreadableMeasuresNothing) {
  const TempDir folder;
  LoggedTester tester(clipWithChangingFormat(folder, "clip.ts"), stored(),
                      "QATesterSlateSeconds=2\nGamutFrameChecks=5\n" + kWideLimits);
  const QA_GamutLevel level = check<GamutCheck>(tester);
  EXPECT_FALSE(level.passed);
  EXPECT_EQ(extremesOf(level), Expected().extremes<GamutCheck>());
  EXPECT_FALSE(tester.outcomes.at(0).measured);
  EXPECT_EQ(tester.outcomes.at(0).reason,
            "pixel format yuv420p10le is not 8-bit planar 4:2:0, 4:2:2 or 4:4:4");
  EXPECT_TRUE(tester.listener.progress.empty());
}

}  // namespace
