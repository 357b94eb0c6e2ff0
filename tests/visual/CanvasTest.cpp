#include "visual/Canvas.h"

#include "support/FakeSleep.h"
#include "visual/ColourDisplays.h"
#include "visual/OpenCVDouble.h"

#include <gtest/gtest.h>

namespace {

using qatester::makeCanvas;
using qatester::Stretch;
using qatester::UniqueCanvas;

class CanvasTest : public testing::Test {
 protected:
  CanvasTest() {
    qatest::clearOpenCV();
    qatest::clearPauses();
  }
};

TEST_F(CanvasTest, IsOfClearedBytes) {
  const UniqueCanvas canvas = makeCanvas(5, 3);
  ASSERT_NE(canvas, nullptr);
  EXPECT_EQ(canvas->width, 5);
  EXPECT_EQ(canvas->height, 3);
  EXPECT_EQ(canvas->depth, IPL_DEPTH_8U);
  EXPECT_EQ(canvas->nChannels, 3);
  EXPECT_EQ(canvas->widthStep, 16) << "with padding";
  EXPECT_EQ(std::string(canvas->imageData, 48), std::string(48, '\0'));
  EXPECT_TRUE(qatest::callerPauses().empty());
}

TEST_F(CanvasTest, FiveFailuresWithAPauseAfterEachAreTheEnd) {
  qatest::failToMakeImages(5);
  EXPECT_EQ(makeCanvas(5, 3), nullptr);
  EXPECT_EQ(qatest::callerPauses(), std::vector<unsigned>(5, 1000));
}

TEST_F(CanvasTest, TheFifthAttemptMaySucceed) {
  qatest::failToMakeImages(4);
  EXPECT_NE(makeCanvas(5, 3), nullptr);
  EXPECT_EQ(qatest::callerPauses(), std::vector<unsigned>(4, 1000));
}

TEST_F(CanvasTest, WhatIsNullWithoutAFailureIsTriedAgainAtOnce) {
  qatest::failToMakeImages(4, 20);
  EXPECT_NE(makeCanvas(5, 3), nullptr);
  EXPECT_EQ(qatest::callerPauses(), std::vector<unsigned>(4, 1000));
}

TEST_F(CanvasTest, MayBeEmpty) {
  EXPECT_NE(makeCanvas(0, 3), nullptr);
}

TEST_F(CanvasTest, ARectangleIsCutOffAtTheEdges) {
  const UniqueCanvas canvas = makeCanvas(6, 4);
  paint(*canvas, Stretch{-7, 1}, Stretch{2, 70}, qatester::kRed);
  const qatest::Pixels pixels = qatest::pixelsOf(*canvas);
  for (int y = 0; y < 4; ++y) {
    for (int x = 0; x < 6; ++x) {
      const qatest::Bgr expected = x <= 1 && y >= 2 ? qatest::Bgr{0, 0, 255} : qatest::kBlack;
      EXPECT_EQ(pixels.at(x, y), expected) << x << ", " << y;
    }
  }
}

}  // namespace
