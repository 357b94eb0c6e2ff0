// What all displays of `Visual` have in common.

#include "visual/Visual.h"

#include <map>
#include <string>

#include "support/Console.h"
#include "support/FakeSleep.h"
#include "visual/DisplayTest.h"

namespace {

using qatest::clearOpenCV;
using qatest::openCVCalls;
using qatest::Picture;
using qatest::WindowSystem;

struct Display {
  void (*plot)(OxVideoFrameYUV& frame, const std::string& windowName);
  qatest::Pixels (*reference)(OxVideoFrameYUV frame);
};

const std::map<std::string, Display>& displays() {
  static const std::map<std::string, Display> all{
      {"diamond", {Visual::plotDiamondDisplay, qatest::referenceDiamond}},
      {"CIE1931", {Visual::plotCIE1931Display, qatest::referenceCIE1931}},
      {"linear", {Visual::plotLinearGamutDisplay, qatest::referenceLinearGamut}},
  };
  return all;
}

class VisualTest : public testing::TestWithParam<std::string> {
 protected:
  VisualTest() {
    clearOpenCV();
    qatest::clearPauses();
  }

  /// Plots a record, and gives what went to standard output.
  static std::string plot(OxVideoFrameYUV frame) {
    return qatest::consoleOutputOf([&] { displays().at(GetParam()).plot(frame, "the window"); });
  }
  static std::string plot(Picture picture) { return plot(picture.record()); }

  static qatest::Pixels reference(OxVideoFrameYUV frame) {
    return displays().at(GetParam()).reference(frame);
  }

  static void expectNothingShown() {
    EXPECT_TRUE(openCVCalls().shown.empty());
    EXPECT_EQ(openCVCalls().imagesReleased, openCVCalls().imagesMade);
    EXPECT_TRUE(qatest::callerPauses().empty());
  }
};

INSTANTIATE_TEST_SUITE_P(Displays, VisualTest, testing::Values("diamond", "CIE1931", "linear"),
                         [](const auto& info) { return info.param; });

TEST_P(VisualTest, ShowsAPictureInItsWindowAndReleasesTheCanvas) {
  const WindowSystem windows(WindowSystem::State::available);
  Picture picture = qatest::sharedPicture();
  EXPECT_EQ(plot(picture.record()), "");
  EXPECT_EQ(openCVCalls().imagesMade, 1);
  EXPECT_EQ(openCVCalls().imagesReleased, 1);
  EXPECT_TRUE(openCVCalls().waits.empty()) << "repainting is the caller's affair";
  ASSERT_EQ(openCVCalls().shown.size(), 1U);
  EXPECT_EQ(openCVCalls().shown[0].window, "the window");
  EXPECT_EQ(difference(openCVCalls().shown[0].canvas, reference(picture.record())), "");
}

TEST_P(VisualTest, APictureThatCannotBeReadIsNotShownAndSaidOnce) {
  const WindowSystem windows(WindowSystem::State::available);
  Picture picture = qatest::sharedPicture();
  picture.frame().format = AV_PIX_FMT_YUVJ420P;
  EXPECT_EQ(plot(std::move(picture)),
            "YUVHelper::getYUVPixelFromFrame - specified pixel format not supported, expected "
            "(444, 422, 420).\n");
  expectNothingShown();
  EXPECT_EQ(openCVCalls().imagesMade, 1);
}

TEST_P(VisualTest, APictureWithoutItsPlanesIsNotShown) {
  const WindowSystem windows(WindowSystem::State::available);
  Picture picture = qatest::sharedPicture();
  picture.frame().data[2] = nullptr;
  EXPECT_EQ(plot(std::move(picture)), "");
  expectNothingShown();
}

TEST_P(VisualTest, ARecordWithoutAPictureShowsTheEmptyDisplay) {
  const WindowSystem windows(WindowSystem::State::available);
  Picture picture = qatest::sharedPicture();
  OxVideoFrameYUV invalid = picture.record();
  invalid.valid = false;
  OxVideoFrameYUV withoutFrame = picture.record();
  withoutFrame.frame = nullptr;
  OxVideoFrameYUV withoutPixels = picture.record();
  withoutPixels.width = 0;
  for (const OxVideoFrameYUV& record : {invalid, withoutFrame, withoutPixels, OxVideoFrameYUV{}}) {
    clearOpenCV();
    EXPECT_EQ(plot(record), "");
    ASSERT_EQ(openCVCalls().shown.size(), 1U);
    EXPECT_EQ(difference(openCVCalls().shown[0].canvas, reference(OxVideoFrameYUV{})), "");
  }
}

TEST_P(VisualTest, WhatCannotBeShownIsPassedOver) {
  const WindowSystem windows(WindowSystem::State::available);
  qatest::letShowingThrow();
  EXPECT_NO_THROW(plot(qatest::sharedPicture()));
  EXPECT_EQ(openCVCalls().shown.size(), 1U);
  EXPECT_EQ(openCVCalls().imagesReleased, 1);
  EXPECT_TRUE(qatest::callerPauses().empty());
}

TEST_P(VisualTest, PausesForMemoryAndGivesUpAfterFiveFailures) {
  const WindowSystem windows(WindowSystem::State::available);
  qatest::failToMakeImages(4);
  plot(qatest::sharedPicture());
  EXPECT_EQ(qatest::callerPauses(), std::vector<unsigned>(4, 1000));
  EXPECT_EQ(openCVCalls().shown.size(), 1U);

  clearOpenCV();
  qatest::clearPauses();
  qatest::failToMakeImages(5);
  plot(qatest::sharedPicture());
  EXPECT_EQ(qatest::callerPauses(), std::vector<unsigned>(5, 1000));
  EXPECT_TRUE(openCVCalls().shown.empty());
}

TEST_P(VisualTest, WithoutAWindowSystemNothingIsDrawn) {
  for (const auto state : {WindowSystem::State::missing, WindowSystem::State::dead}) {
    const WindowSystem windows(state);
    Picture unreadable = qatest::sharedPicture();
    unreadable.frame().format = AV_PIX_FMT_YUYV422;
    EXPECT_EQ(plot(qatest::sharedPicture()), "");
    EXPECT_EQ(plot(std::move(unreadable)), "") << "not even looked at";
    EXPECT_EQ(openCVCalls().imagesMade, 0);
    expectNothingShown();
  }
}

TEST(VisualColourSpace, WithoutAWindowSystemNothingIsDrawn) {
  clearOpenCV();
  const WindowSystem windows(WindowSystem::State::missing);
  Visual::plotImageColourSpace({1, 1}, {1, 1}, {1, 1}, 1, "the window");
  EXPECT_EQ(openCVCalls().imagesMade, 0);
  EXPECT_TRUE(openCVCalls().shown.empty());
}

}  // namespace
