// The displays of the checks that measure converted pictures, in windows and in picture files.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "checks/PictureChecks.h"
#include "visual/OpenCVDouble.h"
#include "visual/PngFile.h"

namespace {

using namespace qatest;

constexpr const char* kOverlay = "Overlay Tearing";
constexpr const char* kPercents = "Percent of Tearing and Differencing";
constexpr const char* kChange = "Video Change";

constexpr int kBudget = 12;

struct Display {
  std::string window;
  int index;
  Pixels pixels;
};

Pixels blackPixels(int width, int height) {
  return {width, height, std::vector<uint8_t>(static_cast<std::size_t>(3 * width * height), 0)};
}

uint8_t& byteOf(Pixels& pixels, int x, int y, int byte) {
  return pixels.bytes.at(static_cast<std::size_t>(3 * (y * pixels.width + x) + byte));
}

constexpr int kGreenByte = 1;
constexpr int kRedByte = 2;

/// The picture as an image, with what is torn in red.
Pixels overlayOf(const PackedPicture& picture, const RowImage& torn) {
  const RowImage image = imageOf(picture);
  Pixels overlay = blackPixels(image.width, image.height);
  for (int y = 0; y < image.height; ++y) {
    for (int x = 0; x < image.width; ++x) {
      for (int byte = 0; byte < 3; ++byte) {
        const uint8_t marked = byte == kRedByte ? 255 : 0;
        byteOf(overlay, x, y, byte) = torn.at(x, y) > 10 ? marked : image.at(x, y, byte);
      }
    }
  }
  return overlay;
}

std::vector<Display> expectedTearingDisplays(const Footage& footage) {
  const ExpectedTearing tearing = expectedTearing(footage, kBudget);
  std::vector<Display> displays;
  Pixels canvas = blackPixels(kBudget, 100);
  int previous = 0;
  for (int i = 1; i < kBudget; ++i) {
    const auto number = static_cast<std::size_t>(i);
    const int percent = tearing.percents[number];
    byteOf(canvas, i, 99 - std::abs(percent - previous), kRedByte) = 255;
    byteOf(canvas, i, percent, kGreenByte) = 255;
    previous = percent;
    displays.push_back({kOverlay, i, overlayOf(footage.pictures[number], tearing.torn[number])});
    displays.push_back({kPercents, i, canvas});
  }
  return displays;
}

std::vector<Display> expectedTransitionDisplays(const Footage& footage) {
  const ExpectedTransitions transitions = expectedTransitions(footage, kBudget);
  std::vector<Display> displays;
  Pixels canvas = blackPixels(kBudget, 255);
  for (int i = 0; i < kBudget; ++i) {
    const int level = transitions.levels[static_cast<std::size_t>(i)];
    if (level >= 0) {
      byteOf(canvas, i, 254 - level, kGreenByte) = 255;
      for (int row = 0; row < transitions.jumps[static_cast<std::size_t>(i)]; ++row) {
        byteOf(canvas, i, 254 - row, kRedByte) = 255;
      }
    }
    displays.push_back({kChange, i, canvas});
  }
  return displays;
}

class PictureWindows : public testing::Test {
 protected:
  PictureWindows() { clearOpenCV(); }

  /// Noise, with tears and cuts, of this size.
  std::string clip(int width = 48, int height = 16) {
    VideoSpec video = ffv1(kBudget + 60, AV_PIX_FMT_YUV444P);
    video.width = width;
    video.height = height;
    video.pixel = [](int component, int x, int y, int frame) {
      const int noise = noisePixel(component, x, y, frame);
      return static_cast<uint8_t>(frame / 4 % 2 == 0 ? noise : 128 + noise / (2 + x % 8));
    };
    return makeClip(folder_, std::to_string(width) + ".nut", {.video = {video}});
  }

  std::vector<double> runOn(const std::string& file, const PictureCheck& check, QADisplays displays,
                            const std::string& settings = "") {
    QATesterOptions options = stored();
    options.displays = displays;
    options.displayFolder = pictures();
    LoggedTester tester(file, options, quick(check, kBudget) + settings);
    return run(check, tester);
  }

  std::string pictures() const { return folder_.file("pictures"); }

  static void expectShown(const std::vector<Display>& expected) {
    ASSERT_EQ(openCVCalls().shown.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
      const Shown& shown = openCVCalls().shown[i];
      EXPECT_EQ(shown.window, expected[i].window);
      EXPECT_EQ(difference(shown.canvas, expected[i].pixels), "")
          << shown.window << " of picture " << expected[i].index;
    }
  }

  void expectPictureFiles(const std::vector<Display>& expected) const {
    const auto files = std::filesystem::directory_iterator(pictures());
    EXPECT_EQ(static_cast<std::size_t>(std::distance(begin(files), end(files))), expected.size());
    for (const Display& display : expected) {
      std::string name = display.window;
      std::replace(name.begin(), name.end(), ' ', '-');
      name += (display.index < 10 ? "-0000" : "-000") + std::to_string(display.index) + ".png";
      EXPECT_EQ(difference(readPng(pictures() + "/" + name), display.pixels), "") << name;
    }
  }

  const PictureCheck& pulldown_ = pictureChecks()[0];
  const PictureCheck& tearing_ = pictureChecks()[1];
  const PictureCheck& transitions_ = pictureChecks()[2];

 private:
  TempDir folder_;
};

TEST_F(PictureWindows, TearingShowsWhatIsTornAndItsPercentsPixelByPixel) {
  const WindowSystem system(WindowSystem::State::available);
  // The second size has rows that are no multiple of four bytes: the overlay is sheared.
  for (const int width : {48, 49}) {
    clearOpenCV();
    const std::string file = clip(width);
    const Footage footage = footageOf(file, 0, kBudget);
    const ExpectedTearing tearing = expectedTearing(footage, kBudget);
    EXPECT_GT(*std::ranges::max_element(tearing.percents), 20);
    EXPECT_EQ(runOn(file, tearing_, QADisplays::windows)[0], tearing.passed ? 1.0 : 0.0);
    expectShown(expectedTearingDisplays(footage));
    EXPECT_EQ(openCVCalls().waits, std::vector<int>(kBudget - 1, 1));
    EXPECT_EQ(openCVCalls().windowsDestroyed, 1);
    EXPECT_EQ(openCVCalls().imagesReleased, openCVCalls().imagesMade);
  }
}

TEST_F(PictureWindows, TransitionsShowLevelsAndJumpsFromTheFirstPictureOn) {
  const WindowSystem system(WindowSystem::State::available);
  const std::string file = clip();
  const Footage footage = footageOf(file, 0, kBudget);
  const ExpectedTransitions transitions = expectedTransitions(footage, kBudget);
  EXPECT_GT(*std::ranges::max_element(transitions.jumps), 20);
  EXPECT_EQ(runOn(file, transitions_, QADisplays::windows)[0], transitions.count);
  expectShown(expectedTransitionDisplays(footage));
  EXPECT_EQ(openCVCalls().waits, std::vector<int>(kBudget, 1));
  EXPECT_EQ(openCVCalls().windowsDestroyed, 1);
  EXPECT_EQ(openCVCalls().imagesReleased, openCVCalls().imagesMade);
}

TEST_F(PictureWindows, ExtremeLevelsLieOnTheFirstAndTheLastRow) {
  const WindowSystem system(WindowSystem::State::available);
  // A white picture among black ones: levels 0 (black stays black), then white between black ones
  // has no relation at all, then 0.
  TempDir folder;
  const VideoSpec video = blackAndWhite(
      kBudget + 60, 16, 16, [](int x, int, int frame) { return frame == 6 ? x > 0 : x == 0; });
  const std::string file = makeClip(folder, "clip.nut", {.video = {video}});
  const ExpectedTransitions transitions = expectedTransitions(footageOf(file, 0, kBudget), kBudget);
  runOn(file, transitions_, QADisplays::windows);
  const Pixels& last = openCVCalls().shown.back().canvas;
  EXPECT_EQ(last.width, kBudget);
  EXPECT_EQ(last.height, 255);
  // One of 16 columns stays white: 255 / 32 = 7.97. Picture 5 is the white one; the column that
  // is black in it is white in its neighbours and adds nothing.
  EXPECT_EQ(transitions.levels, (std::vector<int>{-1, -1, 7, 7, 7, 15, 0, 15, 7, 7, 7, 7}));
  EXPECT_EQ(last.at(6, 254), (Bgr{0, 255, 255})) << "green at level 0, over a jump of 15";
  EXPECT_EQ(last.at(6, 254 - 14), (Bgr{0, 0, 255}));
  EXPECT_EQ(last.at(6, 254 - 15), kBlack);
  EXPECT_EQ(last.at(4, 254 - 7), (Bgr{0, 255, 0}));
  EXPECT_EQ(last.at(4, 254), kBlack) << "no jump";
}

TEST_F(PictureWindows, PictureFilesHoldTheSame) {
  const WindowSystem system(WindowSystem::State::available);
  for (const PictureCheck* check : {&tearing_, &transitions_}) {
    const std::string file = clip(49);
    const Footage footage = footageOf(file, 0, kBudget);
    std::filesystem::remove_all(pictures());
    runOn(file, *check, QADisplays::pictures);
    expectPictureFiles(check == &tearing_ ? expectedTearingDisplays(footage)
                                          : expectedTransitionDisplays(footage));
  }
  EXPECT_EQ(windowsShown(), std::vector<std::string>());
  EXPECT_EQ(openCVCalls().waits, std::vector<int>());
  EXPECT_EQ(openCVCalls().windowsDestroyed, 0);
}

TEST_F(PictureWindows, PulldownShowsNothing) {
  const WindowSystem system(WindowSystem::State::available);
  runOn(clip(), pulldown_, QADisplays::windows);
  runOn(clip(), pulldown_, QADisplays::asSet, "QATesterVisual=1\n");
  EXPECT_EQ(openCVCalls().windowsDestroyed, 2);
  runOn(clip(), pulldown_, QADisplays::pictures);
  EXPECT_FALSE(std::filesystem::exists(pictures()));
  EXPECT_EQ(windowsShown(), std::vector<std::string>());
  EXPECT_EQ(openCVCalls().waits, std::vector<int>());
  EXPECT_EQ(openCVCalls().imagesMade, 0);
}

TEST_F(PictureWindows, SettingsDecideUnlessToldOtherwise) {
  const WindowSystem system(WindowSystem::State::available);
  const std::string file = clip();
  for (const PictureCheck* check : {&tearing_, &transitions_}) {
    SCOPED_TRACE(check->tag);
    clearOpenCV();
    runOn(file, *check, QADisplays::asSet, "QATesterVisual=1\n");
    EXPECT_EQ(windowsShown().size(), check == &tearing_ ? 2U * (kBudget - 1) : kBudget);
    clearOpenCV();
    const std::vector<double> result = runOn(file, *check, QADisplays::asSet);
    EXPECT_EQ(runOn(file, *check, QADisplays::asSet, "QATesterVisual=0\n"), result);
    EXPECT_EQ(runOn(file, *check, QADisplays::nowhere, "QATesterVisual=1\n"), result);
    EXPECT_EQ(windowsShown(), std::vector<std::string>());
    EXPECT_EQ(openCVCalls().waits, std::vector<int>());
    EXPECT_EQ(openCVCalls().imagesMade, 0) << "nothing is drawn";
    EXPECT_EQ(openCVCalls().windowsDestroyed, 2) << "but with nowhere to show, windows are closed";
    EXPECT_FALSE(std::filesystem::exists(pictures()));
  }
}

TEST_F(PictureWindows, TroubleWithWindowsDoesNotDisturbTheCheck) {
  const std::string file = clip();
  for (const PictureCheck* check : {&tearing_, &transitions_}) {
    const std::vector<double> expected = runOn(file, *check, QADisplays::nowhere);
    for (const auto state : {WindowSystem::State::missing, WindowSystem::State::dead}) {
      const WindowSystem system(state);
      clearOpenCV();
      EXPECT_EQ(runOn(file, *check, QADisplays::windows), expected);
      EXPECT_EQ(windowsShown(), std::vector<std::string>());
    }
    const WindowSystem system(WindowSystem::State::available);
    letShowingThrow();
    EXPECT_EQ(runOn(file, *check, QADisplays::windows), expected);
    clearOpenCV();
  }
}

TEST_F(PictureWindows, CanvasThatCannotBeMadeIsNotShown) {
  const WindowSystem system(WindowSystem::State::available);
  const std::string file = clip();
  const std::vector<double> expected = runOn(file, transitions_, QADisplays::nowhere);
  clearOpenCV();
  failToMakeImages(1);
  EXPECT_EQ(runOn(file, transitions_, QADisplays::windows), expected);
  EXPECT_EQ(windowsShown(), std::vector<std::string>());
}

}  // namespace
