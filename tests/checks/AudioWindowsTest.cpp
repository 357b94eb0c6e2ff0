// What the audio checks ask of OpenCV's windows.

#include <gtest/gtest.h>

#include <stdexcept>

#include "checks/AudioChecks.h"
#include "support/FakeSleep.h"
#include "visual/OpenCVDouble.h"

namespace {

using namespace qatest;

constexpr int kBudget = 3;

class AudioWindows : public testing::Test {
 protected:
  AudioWindows() { clearOpenCV(); }

  /// Runs the check on a clip of which it compares `kBudget` blocks.
  std::vector<double> runOn(const AudioCheck& check, QADisplays displays,
                            const std::string& settings = "",
                            QAPauses pauses = QAPauses::untilReady) {
    QATesterOptions options = stored(pauses);
    options.displays = displays;
    options.displayFolder = folder_.file("pictures");
    LoggedTester tester(clip_, options, quick(check, kBudget) + settings);
    return run(check, tester);
  }

  const AudioCheck& levels_ = audioChecks()[0];
  const AudioCheck& loudness_ = audioChecks()[1];
  const AudioCheck& mono_ = audioChecks()[2];
  const AudioCheck& phase_ = audioChecks()[3];

 protected:
  TempDir folder_;
  std::string clip_ = makeClip(folder_, "sound.nut", {.audio = {quickSound(2, clipSample)}});
};

TEST_F(AudioWindows, MonoAndPhaseShowEachPairAndLetTheWindowRepaint) {
  const WindowSystem system(WindowSystem::State::available);
  for (const char* settings : {"", "QATesterVisual=1\n"}) {
    const QADisplays displays = *settings == '\0' ? QADisplays::windows : QADisplays::asSet;
    clearOpenCV();
    runOn(mono_, displays, settings);
    EXPECT_EQ(windowsShown(), std::vector<std::string>(kBudget, "Mono Check"));
    EXPECT_EQ(openCVCalls().waits, std::vector<int>(kBudget, 1));
    clearOpenCV();
    runOn(phase_, displays, settings);
    EXPECT_EQ(windowsShown(), std::vector<std::string>(kBudget, "Phase Check"));
    EXPECT_EQ(openCVCalls().waits, std::vector<int>(kBudget, 1));
    EXPECT_EQ(openCVCalls().imagesReleased, openCVCalls().imagesMade);
  }
}

TEST_F(AudioWindows, NothingElseIsShownAndNothingUnlessAskedFor) {
  const WindowSystem system(WindowSystem::State::available);
  runOn(levels_, QADisplays::windows);
  runOn(loudness_, QADisplays::windows);
  for (const AudioCheck& check : {mono_, phase_}) {
    runOn(check, QADisplays::asSet);
    runOn(check, QADisplays::asSet, "QATesterVisual=0\n");
    runOn(check, QADisplays::nowhere, "QATesterVisual=1\n");
    runOn(check, QADisplays::pictures);
  }
  EXPECT_EQ(windowsShown(), std::vector<std::string>());
  EXPECT_EQ(openCVCalls().waits, std::vector<int>());
}

TEST_F(AudioWindows, AllButLoudnessCloseAllWindowsAtTheEndAlsoWhenNoneWasShown) {
  const WindowSystem system(WindowSystem::State::available);
  for (const AudioCheck& check : audioChecks()) {
    for (const QADisplays displays : {QADisplays::asSet, QADisplays::windows}) {
      clearOpenCV();
      runOn(check, displays);
      const bool isLoudness = check.tag == std::string(loudness_.tag);
      EXPECT_EQ(openCVCalls().windowsDestroyed, isLoudness ? 0 : 1) << check.tag;
    }
  }
}

TEST_F(AudioWindows, WindowThatThrowsOrIsMissingDoesNotDisturbTheCheck) {
  for (const AudioCheck& check : {mono_, phase_}) {
    const std::vector<double> expected = runOn(check, QADisplays::nowhere);
    {
      const WindowSystem system(WindowSystem::State::missing);
      EXPECT_EQ(runOn(check, QADisplays::windows), expected);
      EXPECT_EQ(windowsShown(), std::vector<std::string>());
    }
    const WindowSystem system(WindowSystem::State::available);
    letShowingThrow();
    EXPECT_EQ(runOn(check, QADisplays::windows), expected);
    EXPECT_EQ(openCVCalls().imagesReleased, openCVCalls().imagesMade);
    clearOpenCV();
  }
}

TEST_F(AudioWindows, WindowThatThrowsIsFollowedByALongPauseUnlessUntilReady) {
  const WindowSystem system(WindowSystem::State::available);
  for (const AudioCheck& check : {mono_, phase_}) {
    clearOpenCV();
    letShowingThrow();
    clearPauses();
    runOn(check, QADisplays::windows, "", QAPauses::fixed);
    EXPECT_EQ(windowsShown().size(), std::size_t{kBudget});
    EXPECT_EQ(callerPauses(), (std::vector<unsigned>{500, 1000, 1000, 1000, 100})) << check.tag;
    clearPauses();
    runOn(check, QADisplays::windows);
    EXPECT_EQ(callerPauses(), std::vector<unsigned>()) << check.tag;
  }
}

TEST_F(AudioWindows, AreClosedWhenTheCheckEndsInAnException) {
  struct Throwing : RecordingListener {
    void onPercent(float) override { throw std::runtime_error("enough"); }
  } listener;
  const WindowSystem system(WindowSystem::State::available);
  writeFile(folder_.file("settings"), quick(mono_, kBudget));
  QATesterOptions options = stored();
  options.displays = QADisplays::windows;
  QATester tester(clip_.c_str(), &listener, folder_.file("settings").c_str(), "", options);
  EXPECT_THROW(tester.checkMono(), std::runtime_error);
  EXPECT_EQ(openCVCalls().windowsDestroyed, 1);
  EXPECT_NE(tester.runChecks({"mono"}).at(0).error, nullptr);
  EXPECT_EQ(openCVCalls().windowsDestroyed, 2);
}

}  // namespace
