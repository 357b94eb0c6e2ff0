#include <opencv2/core/core_c.h>

#include <algorithm>
#include <cstdint>

#include "visual/ColourDisplays.h"

namespace qatester {

namespace {

constexpr int kWidth = 105;
constexpr int kHeight = 266;
constexpr char kBackground = 12;

constexpr int kTop = 5;       // bars begin below it
constexpr int kBottom = 260;  // and end here

/// Paints the rows below row `above` down to row `last` of the bar whose first column is `edge`.
/// Counts come from outside and may be anything, so rows are counted in 64 bits.
void paintBar(IplImage& canvas, int edge, int64_t above, int64_t last, Colour colour) {
  const auto row = [](int64_t at) {
    return static_cast<int>(std::clamp<int64_t>(at, -1, kHeight));
  };
  paint(canvas, Stretch{edge, edge + 19}, Stretch{row(above) + 1, row(last)}, colour);
}

void paintPair(IplImage& canvas, int edge, std::pair<int, int> pair, Colour colour) {
  const int64_t first = pair.first;
  const int64_t second = pair.second;
  paintBar(canvas, edge, kBottom - second, kBottom, grey(0));
  paintBar(canvas, edge, kBottom - first, kBottom - second, colour);
  paintBar(canvas, edge, kTop, kBottom - first - second, kWhite);
}

}  // namespace

UniqueCanvas drawColourSpace(std::pair<int, int> red, std::pair<int, int> green,
                             std::pair<int, int> blue, int level) {
  UniqueCanvas canvas;
  while (canvas == nullptr) {
    canvas.reset(cvCreateImage(cvSize(kWidth, kHeight), IPL_DEPTH_8U, 3));
  }
  std::fill_n(canvas->imageData, canvas->imageSize, kBackground);
  paintPair(*canvas, 5, red, {0, 0, 255});
  paintPair(*canvas, 30, green, {0, 255, 0});
  paintPair(*canvas, 55, blue, {255, 0, 0});
  paintBar(*canvas, 80, kBottom - static_cast<int64_t>(level), kBottom, kWhite);
  return canvas;
}

}  // namespace qatester
