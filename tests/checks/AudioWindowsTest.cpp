// What the audio checks ask of OpenCV's windows.

#include <gtest/gtest.h>

#include "checks/AudioChecks.h"
#include "visual/OpenCVDouble.h"

namespace {

using namespace qatest;

constexpr int kBudget = 3;

class AudioWindows : public testing::Test {
 protected:
  AudioWindows() { clearOpenCV(); }

  /// Runs the check on a clip of which it compares `kBudget` blocks.
  std::vector<double> runOn(const AudioCheck& check, QADisplays displays,
                            const std::string& settings = "") {
    QATesterOptions options = stored();
    options.displays = displays;
    options.displayFolder = folder_.file("pictures");
    LoggedTester tester(clip_, options, quick(check, kBudget) + settings);
    return run(check, tester);
  }

  const AudioCheck& levels_ = audioChecks()[0];
  const AudioCheck& loudness_ = audioChecks()[1];
  const AudioCheck& mono_ = audioChecks()[2];
  const AudioCheck& phase_ = audioChecks()[3];

 private:
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

}  // namespace
