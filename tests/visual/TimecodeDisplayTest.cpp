#include "visual/TimecodeDisplay.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc/imgproc_c.h>

#include <limits>
#include <vector>

#include "support/FakeSleep.h"
#include "visual/OpenCVDouble.h"

namespace {

using qatest::openCVCalls;
using qatest::Pixels;
using qatest::pixelsOf;
using qatester::drawTimecodes;
using qatester::UniqueCanvas;

/// A line of text, and where it starts.
struct Line {
  const char* text;
  CvPoint at;
  CvScalar colour;
};

Pixels written(const std::vector<Line>& lines) {
  const qatest::UniqueImage canvas = qatest::plainCanvas(150, 80);
  CvFont font;
  cvInitFont(&font, CV_FONT_HERSHEY_SIMPLEX, 0.4, 0.4, 0.0, 1, CV_AA);
  for (const Line& line : lines) {
    cvPutText(canvas.get(), line.text, line.at, &font, line.colour);
  }
  return pixelsOf(*canvas);
}

Line dropFrame(const char* text) {
  return {text, cvPoint(20, 20), cvScalar(0, 255, 0, 0)};
}
Line nonDropFrame(const char* text) {
  return {text, cvPoint(20, 40), cvScalar(0, 0, 255, 0)};
}
Line number(const char* text) {
  return {text, cvPoint(20, 60), cvScalar(255, 255, 255, 0)};
}

class TimecodeDisplay : public testing::Test {
 protected:
  TimecodeDisplay() {
    qatest::clearOpenCV();
    qatest::clearPauses();
  }
};

TEST_F(TimecodeDisplay, HasThreeTextsOnBlack) {
  const UniqueCanvas canvas = drawTimecodes("01:23:45;06", "01:23:40:21", 150606);
  ASSERT_NE(canvas, nullptr);
  EXPECT_EQ(difference(pixelsOf(*canvas), written({dropFrame("01:23:45;06"),
                                                   nonDropFrame("01:23:40:21"), number("150606")})),
            "");
  EXPECT_TRUE(openCVCalls().shown.empty());
}

TEST_F(TimecodeDisplay, HasNumbersOfAnyLength) {
  constexpr int kMost = std::numeric_limits<int>::max();
  constexpr int kLeast = std::numeric_limits<int>::min();
  EXPECT_EQ(difference(pixelsOf(*drawTimecodes("", "", 0)), written({number("0")})), "");
  EXPECT_EQ(difference(pixelsOf(*drawTimecodes("", "", kMost)), written({number("2147483647")})),
            "");
  EXPECT_EQ(difference(pixelsOf(*drawTimecodes("", "", kLeast)), written({number("-2147483648")})),
            "");
}

TEST_F(TimecodeDisplay, WithoutMemoryIsNoneAfterFivePauses) {
  qatest::failToMakeImages(5);
  EXPECT_EQ(drawTimecodes("", "", 0), nullptr);
  EXPECT_EQ(qatest::callerPauses(), std::vector<unsigned>(5, 1000));
}

}  // namespace
