// What the checks ask of OpenCV's windows.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "checks/ColourChecks.h"
#include "support/FakeSleep.h"
#include "visual/OpenCVDouble.h"

namespace {

using namespace qatest;

constexpr int kFrames = 3;

class ColourWindows : public testing::Test {
 protected:
  ColourWindows() { clearOpenCV(); }

  /// Runs the check on a clip of which it measures `kFrames`.
  template <typename Check>
  typename Check::Level runOn(QADisplays displays, const std::string& settings = "") {
    QATesterOptions options = stored();
    options.displays = displays;
    options.displayFolder = folder_.file("pictures");
    LoggedTester tester(clip_, options, quick<Check>(kFrames) + settings);
    clearPauses();
    return check<Check>(tester);
  }

  static void expectNothingShown() {
    EXPECT_EQ(windowsShown(), std::vector<std::string>());
    EXPECT_EQ(openCVCalls().waits, std::vector<int>());
  }

 private:
  TempDir folder_;
  std::string clip_ = makeClip(folder_, "clip.nut", {.video = {ffv1()}});
};

const std::vector<std::string> kDiamonds(kFrames, "Diamond Display");

TEST_F(ColourWindows, ChromaShowsEachFrameAndLetsTheWindowRepaint) {
  const WindowSystem system(WindowSystem::State::available);
  runOn<ChromaCheck>(QADisplays::windows);
  EXPECT_EQ(windowsShown(), kDiamonds);
  EXPECT_EQ(openCVCalls().waits, std::vector<int>(kFrames, 1));
  EXPECT_EQ(openCVCalls().windowsDestroyed, 1);
}

TEST_F(ColourWindows, GamutShowsTwoDisplaysAFrameAndThenLetsThemRepaint) {
  const WindowSystem system(WindowSystem::State::available);
  runOn<GamutCheck>(QADisplays::windows);
  EXPECT_EQ(windowsShown(),
            (std::vector<std::string>{"CIE1931 Display", "YCbCr Display", "CIE1931 Display",
                                      "YCbCr Display", "CIE1931 Display", "YCbCr Display"}));
  EXPECT_EQ(openCVCalls().waits, std::vector<int>(kFrames, 1));
  EXPECT_EQ(openCVCalls().windowsDestroyed, 1);
}

TEST_F(ColourWindows, SettingsDecideUnlessToldOtherwise) {
  const WindowSystem system(WindowSystem::State::available);
  runOn<ChromaCheck>(QADisplays::asSet, "QATesterVisual=1\n");
  EXPECT_EQ(windowsShown(), kDiamonds);
  clearOpenCV();
  runOn<ChromaCheck>(QADisplays::asSet, "QATesterVisual=0\n");
  expectNothingShown();
  runOn<ChromaCheck>(QADisplays::asSet);
  expectNothingShown();
  runOn<ChromaCheck>(QADisplays::nowhere, "QATesterVisual=1\n");
  expectNothingShown();
}

TEST_F(ColourWindows, WithoutAWindowSystemTheCheckRunsAndShowsNothing) {
  for (const auto state : {WindowSystem::State::missing, WindowSystem::State::dead}) {
    const WindowSystem system(state);
    const QA_GamutLevel level = runOn<GamutCheck>(QADisplays::windows);
    EXPECT_EQ(extremesOf(level), expectedOf(ffv1(), 1, kFrames).extremes<GamutCheck>());
    expectNothingShown();
    EXPECT_EQ(callerPauses(), std::vector<unsigned>());
  }
}

TEST_F(ColourWindows, AllWindowsAreClosedAtTheEndAlsoWhenNoneWasShown) {
  const WindowSystem system(WindowSystem::State::available);
  runOn<ChromaCheck>(QADisplays::asSet);
  EXPECT_EQ(openCVCalls().windowsDestroyed, 1);
  runOn<GamutCheck>(QADisplays::asSet);
  EXPECT_EQ(openCVCalls().windowsDestroyed, 2);
}

TEST_F(ColourWindows, PictureFilesLeaveWindowsAlone) {
  const WindowSystem system(WindowSystem::State::available);
  runOn<ChromaCheck>(QADisplays::pictures);
  expectNothingShown();
  EXPECT_EQ(openCVCalls().windowsDestroyed, 0);
}

TEST_F(ColourWindows, WindowThatThrowsDoesNotDisturbTheCheck) {
  const WindowSystem system(WindowSystem::State::available);
  letShowingThrow();
  const QA_ChromaLevel level = runOn<ChromaCheck>(QADisplays::windows);
  EXPECT_EQ(extremesOf(level), expectedOf(ffv1(), 1, kFrames).extremes<ChromaCheck>());
  EXPECT_EQ(openCVCalls().imagesReleased, openCVCalls().imagesMade);
}

TEST_F(ColourWindows, FrameRateCheckClosesNone) {
  const WindowSystem system(WindowSystem::State::available);
  const TempDir folder;
  LoggedTester tester(makeClip(folder, "clip.nut", {.video = {ffv1()}}), untilReady());
  tester.run([](QATester& t) { return t.checkFrameRate(); });
  EXPECT_EQ(openCVCalls().windowsDestroyed, 0);
}

}  // namespace
