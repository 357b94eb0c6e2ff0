// What only the chroma check does; the rest is in ColourCheckTest.cpp.

#include <gtest/gtest.h>

#include "checks/ColourChecks.h"
#include "support/ChangingFormat.h"
#include "support/Console.h"
#include "support/FakeSleep.h"
#include "support/MuchAudio.h"

namespace {

using namespace qatest;

constexpr const char* kUnreadablePixel =
    "YUVHelper::getYUVPixelFromFrame - specified pixel format not supported, expected "
    "(444, 422, 420).\n";

std::string times(int count, const std::string& text) {
  std::string all;
  for (int i = 0; i < count; ++i) {
    all += text;
  }
  return all;
}

TEST(ChromaCheck, LumaHasLimitsOfItsOwn) {
  const TempDir folder;
  VideoSpec video = plain({100, 128, 128});
  video.pixel = [](int component, int x, int, int) {
    return static_cast<uint8_t>(component == 0 ? 100 + x % 51 : 128);
  };
  const std::string file = makeClip(folder, "clip.nut", {.video = {video}});
  struct {
    const char* min;
    const char* max;
    bool passes;
  } const cases[] = {{"0", "255", true},   {"99", "151", true}, {"100", "151", false},
                     {"99", "150", false}, {"-1", "300", true}, {"101", "151", false},
                     {"99", "149", false}, {"x", "151", true},  {"99", "x", false},
                     {"151", "99", false}};
  for (const auto& c : cases) {
    LoggedTester tester(
        file, stored(),
        quick<ChromaCheck>(2) + "ChromaYMin=" + c.min + "\nChromaYMax=" + c.max + "\n");
    const QA_ChromaLevel level = check<ChromaCheck>(tester);
    EXPECT_EQ(level.passed, c.passes) << c.min << " to " << c.max;
    EXPECT_EQ(level.yMin, 100);
    EXPECT_EQ(level.yMax, 150);
  }
}

TEST(ChromaCheck, LumaMayFailAlone) {
  const TempDir folder;
  for (const Colour& colour : {Colour{255, 128, 128}, Colour{0, 128, 128}}) {
    const std::string file = makeClip(folder, "clip.nut", {.video = {plain(colour)}});
    LoggedTester tester(file, stored(),
                        quick<ChromaCheck>(1) + "ChromaRGBMin=-500\nChromaRGBMax=500\n");
    EXPECT_FALSE(check<ChromaCheck>(tester).passed) << colour.y;
    LoggedTester wider(file, stored(),
                       quick<ChromaCheck>(1) + "ChromaRGBMin=-500\nChromaRGBMax=500\n" +
                           "ChromaYMin=-1\nChromaYMax=256\n");
    EXPECT_TRUE(check<ChromaCheck>(wider).passed) << colour.y;
  }
}

TEST(ChromaCheck, LumaLimitsAreZeroAnd255ByDefault) {
  const TempDir folder;
  for (const Colour& colour : {Colour{254, 128, 128}, Colour{1, 128, 128}}) {
    const std::string file = makeClip(folder, "clip.nut", {.video = {plain(colour)}});
    LoggedTester tester(file, stored(),
                        quick<ChromaCheck>(1) + "ChromaRGBMin=-500\nChromaRGBMax=500\n");
    EXPECT_TRUE(check<ChromaCheck>(tester).passed) << colour.y;
  }
}

TEST(ChromaCheck, TellsItsLimits) {
  const TempDir folder;
  LoggedTester tester(makeClip(folder, "clip.nut", {.video = {ffv1()}}), stored(),
                      quick<ChromaCheck>(1) + "ChromaYMin=16\nChromaYMax=235\n");
  check<ChromaCheck>(tester);
  const std::vector<QALimits>& limits = tester.outcomes.at(0).limits;
  ASSERT_EQ(limits.size(), 2U);
  EXPECT_EQ(limits[0].of, "RGB");
  EXPECT_EQ(limits[0].min, 0);
  EXPECT_EQ(limits[0].max, 255);
  EXPECT_EQ(limits[1].of, "Y");
  EXPECT_EQ(limits[1].min, 16);
  EXPECT_EQ(limits[1].max, 235);
}

TEST(ChromaCheck, DiscardsAudioSoThatMuchOfItDoesNotHoldThePicturesBack) {
  const TempDir folder;
  const std::string file = makeClip(folder, "clip.nut", muchAudio());
  LoggedTester tester(file, stored(QAPauses::fixed), quick<ChromaCheck>(kFramesBesideMuchAudio));
  clearPauses();
  check<ChromaCheck>(tester);
  EXPECT_EQ(tester.outcomes.at(0).count, kFramesBesideMuchAudio);
  EXPECT_EQ(callerPauses(), (std::vector<unsigned>{500, 100}));
}

/// A slate of one frame, then the other 49 that can be read and 10 that cannot.
constexpr int kReadable = kReadableFrames - 1;
constexpr int kBudget = kReadable + 10;

TEST(ChromaCheck, PicturesThatCannotBeReadAreLeftOutAndCountAsFrames) {
  const TempDir folder;
  const std::string file = clipWithChangingFormat(folder, "clip.ts");
  LoggedTester tester(file, stored(), quick<ChromaCheck>(kBudget));
  const QA_ChromaLevel level = check<ChromaCheck>(tester);
  LoggedTester before(file, stored(), quick<ChromaCheck>(kReadable));
  EXPECT_EQ(extremesOf(level), extremesOf(check<ChromaCheck>(before)));
  const QACheckOutcome& outcome = tester.outcomes.at(0);
  EXPECT_TRUE(outcome.measured);
  EXPECT_EQ(outcome.count, kReadable);
  EXPECT_EQ(outcome.budget, kBudget);
  EXPECT_EQ(outcome.reason, "pixel format yuv420p10le is not 8-bit planar 4:2:0, 4:2:2 or 4:4:4");
  // 58 x 100 / 59 = 98.3: the last frame was reported like any other.
  EXPECT_EQ(tester.listener.progress["chroma"].back(), 98.0F);
  EXPECT_EQ(tester.listener.failures, 0);
}

TEST(ChromaCheck, PicturesThatCannotBeReadDoNotFailAFile) {
  const TempDir folder;
  LoggedTester tester(clipWithChangingFormat(folder, "clip.ts"), stored(),
                      quick<ChromaCheck>(kBudget) + "ChromaRGBMin=-999\nChromaRGBMax=999\n" +
                          "ChromaYMin=-1\nChromaYMax=256\n");
  EXPECT_TRUE(check<ChromaCheck>(tester).passed);
}

TEST(ChromaCheck, ReasonIsThePicturesFormatAlsoWhenTheDecoderIsInTheNextOne) {
  const TempDir folder;
  const std::string file = clipOfFormats(
      folder, "clip.ts",
      {{AV_PIX_FMT_YUV420P, 25}, {AV_PIX_FMT_YUV420P10, 25}, {AV_PIX_FMT_YUV420P, 75}}, 3);
  LoggedTester tester(file, stored(), quick<ChromaCheck>(60));
  check<ChromaCheck>(tester);
  EXPECT_EQ(tester.outcomes.at(0).count, 60 - 25);
  EXPECT_EQ(tester.outcomes.at(0).reason,
            "pixel format yuv420p10le is not 8-bit planar 4:2:0, 4:2:2 or 4:4:4");
}

TEST(ChromaCheck, EachPartOfAPictureThatCannotBeReadTellsSoOnStandardOutput) {
  const TempDir folder;
  const std::string file = clipWithChangingFormat(folder, "clip.ts");
  writeFile(folder.file("settings"), quick<ChromaCheck>(kBudget));
  const std::string printed = consoleOutputOf([&] {
    QATester tester(file.c_str(), nullptr, folder.file("settings").c_str(), "", stored());
    tester.checkChroma();
  });
  EXPECT_EQ(printed, times(8 * (kBudget - kReadable), kUnreadablePixel));
}

TEST(ChromaCheck, StandardOutputStaysCleanWhenAConsoleIsGiven) {
  const TempDir folder;
  const std::string file = clipWithChangingFormat(folder, "clip.ts");
  writeFile(folder.file("settings"), quick<ChromaCheck>(kBudget));
  std::string lines;
  QATesterOptions options = stored();
  options.console = [&](const std::string& line) { lines += line; };
  const std::string printed = consoleOutputOf([&] {
    QATester tester(file.c_str(), nullptr, folder.file("settings").c_str(), "", options);
    tester.checkChroma();
  });
  EXPECT_EQ(printed, "");
  EXPECT_NE(lines.find("QAChroma: Test Complete."), std::string::npos);
}

}  // namespace
