#include "visual/Canvas.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc/imgproc_c.h>

#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "support/FakeSleep.h"
#include "visual/ColourDisplays.h"
#include "visual/OpenCVDouble.h"

namespace {

using qatester::makeCanvas;
using qatester::Stretch;
using qatester::tryToMakeCanvas;
using qatester::UniqueCanvas;
using qatester::writeText;

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

TEST_F(CanvasTest, ThatIsTriedOnceIsClearedToo) {
  const UniqueCanvas canvas = tryToMakeCanvas(5, 3);
  ASSERT_NE(canvas, nullptr);
  EXPECT_EQ(canvas->width, 5);
  EXPECT_EQ(canvas->height, 3);
  EXPECT_EQ(canvas->depth, IPL_DEPTH_8U);
  EXPECT_EQ(canvas->nChannels, 3);
  EXPECT_EQ(std::string(canvas->imageData, 48), std::string(48, '\0'));
  EXPECT_NE(tryToMakeCanvas(0, 3), nullptr) << "it may be empty";
}

TEST_F(CanvasTest, ThatIsTriedOnceIsNoneAtOnceWithoutMemory) {
  qatest::failToMakeImages(1);
  EXPECT_EQ(tryToMakeCanvas(5, 3), nullptr);
  EXPECT_NE(tryToMakeCanvas(5, 3), nullptr) << "one failure, one try";
  qatest::failToMakeImages(0, 1);
  EXPECT_EQ(tryToMakeCanvas(5, 3), nullptr);
  EXPECT_NE(tryToMakeCanvas(5, 3), nullptr);
  EXPECT_TRUE(qatest::callerPauses().empty());
}

TEST_F(CanvasTest, OfASizeThatCannotBeIsNone) {
  constexpr int kMost = std::numeric_limits<int>::max();
  constexpr int kLeast = std::numeric_limits<int>::min();
  // Of a row OpenCV counts the bits.
  constexpr int kTooWide = 89478486;
  static_assert(int64_t{24} * kTooWide + 7 > kMost && int64_t{24} * (kTooWide - 1) + 7 <= kMost);
  for (const auto& [width, height] : {std::pair{-1, 3},
                                      {5, -1},
                                      {kLeast, 3},
                                      {5, kLeast},
                                      {kTooWide, 1},
                                      {kMost, kMost},
                                      {30000, 30000}}) {
    EXPECT_EQ(tryToMakeCanvas(width, height), nullptr) << width << " x " << height;
  }
  EXPECT_EQ(qatest::openCVCalls().imagesMade, 0);
  EXPECT_TRUE(qatest::callerPauses().empty());
  EXPECT_EQ(makeCanvas(-1, 3), nullptr);
  EXPECT_EQ(qatest::callerPauses(), std::vector<unsigned>(5, 1000));
}

TEST_F(CanvasTest, TextsAreOpenCVsSmallThinSmoothLetters) {
  CvFont font;
  cvInitFont(&font, CV_FONT_HERSHEY_SIMPLEX, 0.4, 0.4, 0.0, 1, CV_AA);
  const std::vector<std::pair<qatester::Colour, CvScalar>> colours = {
      {qatester::kWhite, cvScalar(255, 255, 255, 0)},
      {qatester::kRed, cvScalar(0, 0, 255, 0)},
      {qatester::kGreen, cvScalar(0, 255, 0, 0)},
      {{200, 100, 50}, cvScalar(200, 100, 50, 0)}};
  for (const auto& [colour, scalar] : colours) {
    for (const auto& [x, y] : {std::pair{20, 20}, {0, 0}, {-5, 12}, {70, 29}, {500, 500}}) {
      const UniqueCanvas canvas = makeCanvas(81, 31);
      writeText(*canvas, "Ag:59;", x, y, colour);
      const qatest::UniqueImage expected = qatest::plainCanvas(81, 31);
      cvPutText(expected.get(), "Ag:59;", cvPoint(x, y), &font, scalar);
      EXPECT_EQ(difference(qatest::pixelsOf(*canvas), qatest::pixelsOf(*expected)), "")
          << x << ", " << y;
    }
  }
}

TEST_F(CanvasTest, TextsLeaveTheCanvasAroundThemAlone) {
  const qatest::UniqueImage canvas = qatest::plainCanvas(81, 31, 90);
  writeText(*canvas, "", 20, 20, qatester::kRed);
  EXPECT_EQ(qatest::pixelsOf(*canvas), qatest::pixelsOf(*qatest::plainCanvas(81, 31, 90)));
  writeText(*canvas, "Ag:59;", 20, 20, qatester::kRed);
  const qatest::Pixels pixels = qatest::pixelsOf(*canvas);
  int changed = 0;
  for (int y = 0; y < 31; ++y) {
    for (int x = 0; x < 81; ++x) {
      if (pixels.at(x, y) != qatest::grey(90)) {
        ++changed;
        EXPECT_GE(x, 18);
        EXPECT_LE(y, 26) << "letters stand on the row";
        EXPECT_GE(y, 5);
      }
    }
  }
  EXPECT_GT(changed, 20);
}

}  // namespace
