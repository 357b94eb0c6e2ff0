#include "visual/FramePlot.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

#include "visual/Images.h"

namespace {

using qatester::FramePlot;

/// The bytes of a canvas, row by row without padding.
std::vector<int> bytesOf(FramePlot& plot) {
  std::vector<int> bytes;
  const IplImage* canvas = plot.canvas();
  for (int y = 0; canvas != nullptr && y < canvas->height; ++y) {
    const uint8_t* row = qatester::rowOf(*canvas, y);
    bytes.insert(bytes.end(), row, row + 3 * canvas->width);
  }
  return bytes;
}

TEST(FramePlot, IsBlackAsLargeAsAskedFor) {
  FramePlot plot(3, 2);
  ASSERT_NE(plot.canvas(), nullptr);
  EXPECT_EQ(plot.canvas()->width, 3);
  EXPECT_EQ(plot.canvas()->height, 2);
  EXPECT_EQ(plot.canvas()->nChannels, 3);
  EXPECT_EQ(bytesOf(plot), std::vector<int>(18, 0));
}

TEST(FramePlot, MarksOneColourOfAPointAndLeavesTheOthers) {
  FramePlot plot(3, 2);
  plot.markGreen(1, 0);
  plot.markRed(2, 1);
  plot.markRed(1, 0);
  plot.markRed(1, 0);
  std::vector<int> expected(18, 0);
  expected[3 * 1 + 1] = 255;
  expected[3 * 1 + 2] = 255;
  expected[9 + 3 * 2 + 2] = 255;
  EXPECT_EQ(bytesOf(plot), expected);
}

TEST(FramePlot, LeavesOutWhatLiesOutside) {
  FramePlot plot(3, 100);
  for (const int row : {-1, 100, 101, std::numeric_limits<int>::max()}) {
    plot.markRed(1, row);  // such as row 100 for 100 percent
    plot.markGreen(1, row);
  }
  for (const int column : {-1, 3, 4, std::numeric_limits<int>::min()}) {
    plot.markRed(column, 50);
    plot.markGreen(column, 50);
  }
  EXPECT_EQ(bytesOf(plot), std::vector<int>(900, 0));
}

TEST(FramePlot, PlotsNothingWhereThereIsNoCanvasOfItsSize) {
  for (const int columns : {-5, std::numeric_limits<int>::max()}) {
    FramePlot plot(columns, 255);
    plot.markRed(0, 0);
    plot.markGreen(0, 0);
    EXPECT_EQ(plot.canvas(), nullptr) << columns;
  }
}

}  // namespace
