#include "visual/Canvas.h"

#include <opencv2/core/core_c.h>
#include <opencv2/imgproc/imgproc_c.h>

#include <algorithm>
#include <limits>
#include <stdexcept>

#include "foundation/Pause.h"

namespace qatester {

namespace {

constexpr int kMostRetriedFailures = 4;
constexpr unsigned kPauseSeconds = 1000;

/// A cleared image; throws when there is no such image. OpenCV, which counts the bits of a row and
/// the bytes of an image in ints, lets the former wrap around, and does not free its header when it
/// finds a size wrong: such sizes do not get there.
UniqueCanvas createImage(int width, int height) {
  constexpr int64_t kMost = std::numeric_limits<int>::max();
  const int64_t rowBits = int64_t{24} * width + 7;
  const int64_t rowBytes = (int64_t{3} * width + 3) / 4 * 4;
  if (width < 0 || height < 0 || rowBits > kMost || rowBytes * height > kMost) {
    throw std::length_error("no canvas has this size");
  }
  UniqueCanvas image(cvCreateImage(cvSize(width, height), IPL_DEPTH_8U, 3));
  if (image != nullptr) {
    std::fill_n(image->imageData, image->imageSize, '\0');
  }
  return image;
}

}  // namespace

void ReleaseCanvas::operator()(IplImage* canvas) const {
  cvReleaseImage(&canvas);
}

UniqueCanvas makeCanvas(int width, int height) {
  UniqueCanvas canvas;
  for (int failures = 0; canvas == nullptr && failures <= kMostRetriedFailures;) {
    try {
      canvas = createImage(width, height);
    } catch (...) {
      ++failures;
      pause(kPauseSeconds);
    }
  }
  return canvas;
}

UniqueCanvas tryToMakeCanvas(int width, int height) {
  try {
    return createImage(width, height);
  } catch (...) {
    return nullptr;
  }
}

void writeText(IplImage& canvas, const std::string& text, int x, int y, Colour colour) {
  CvFont font;
  cvInitFont(&font, CV_FONT_HERSHEY_SIMPLEX, 0.4, 0.4, 0, 1, CV_AA);
  cvPutText(&canvas, text.c_str(), cvPoint(x, y), &font,
            cvScalar(colour.blue, colour.green, colour.red, 0));
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
