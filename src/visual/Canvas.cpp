#include "visual/Canvas.h"

#include <opencv2/core/core_c.h>

#include <algorithm>
#include <limits>
#include <stdexcept>

#include "foundation/Pause.h"

namespace qatester {

namespace {

constexpr int kMostRetriedFailures = 4;
constexpr unsigned kPauseSeconds = 1000;

/// Throws when there is no such image. OpenCV, which counts the bits of a row and the bytes of an
/// image in ints, lets the former wrap around, and does not free its header when it finds a size
/// wrong: such sizes do not get there.
IplImage* createImage(int width, int height) {
  constexpr int64_t kMost = std::numeric_limits<int>::max();
  const int64_t rowBits = int64_t{24} * width + 7;
  const int64_t rowBytes = (int64_t{3} * width + 3) / 4 * 4;
  if (width < 0 || height < 0 || rowBits > kMost || rowBytes * height > kMost) {
    throw std::length_error("no canvas has this size");
  }
  return cvCreateImage(cvSize(width, height), IPL_DEPTH_8U, 3);
}

}  // namespace

void ReleaseCanvas::operator()(IplImage* canvas) const {
  cvReleaseImage(&canvas);
}

UniqueCanvas makeCanvas(int width, int height) {
  IplImage* canvas = nullptr;
  for (int failures = 0; canvas == nullptr && failures <= kMostRetriedFailures;) {
    try {
      canvas = createImage(width, height);
    } catch (...) {
      ++failures;
      pause(kPauseSeconds);
    }
  }
  if (canvas != nullptr) {
    std::fill_n(canvas->imageData, canvas->imageSize, '\0');
  }
  return UniqueCanvas(canvas);
}

void paint(IplImage& canvas, int x, int y, Colour colour) {
  char* pixel = canvas.imageData + static_cast<std::ptrdiff_t>(canvas.widthStep) * y +
                static_cast<std::ptrdiff_t>(3) * x;
  pixel[0] = static_cast<char>(colour.blue);
  pixel[1] = static_cast<char>(colour.green);
  pixel[2] = static_cast<char>(colour.red);
}

void paint(IplImage& canvas, Stretch columns, Stretch rows, Colour colour) {
  const int lastRow = std::min(rows.last, canvas.height - 1);
  const int lastColumn = std::min(columns.last, canvas.width - 1);
  for (int y = std::max(rows.first, 0); y <= lastRow; ++y) {
    for (int x = std::max(columns.first, 0); x <= lastColumn; ++x) {
      paint(canvas, x, y, colour);
    }
  }
}

}  // namespace qatester
