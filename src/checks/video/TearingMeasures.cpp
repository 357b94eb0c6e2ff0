#include "checks/video/TearingMeasures.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "checks/video/VerticalChanges.h"
#include "visual/Canvas.h"
#include "visual/Images.h"
#include "visual/WindowSystem.h"

using qatester::hasBytes;
using qatester::kBarMargin;
using qatester::kBarValue;
using qatester::rowOf;

namespace {

constexpr int kWhiteValue = 11;

/// A cleared image of the size of another.
IplImage* clearedImage(const IplImage& like, int channels) {
  IplImage* image = cvCreateImage(cvSize(like.width, like.height), IPL_DEPTH_8U, channels);
  std::fill_n(image->imageData, image->imageSize, '\0');
  return image;
}

/// Marks the pixels of a bar in rows and columns from `first` to before `last`.
void markBars(const IplImage& image, CvPoint first, CvPoint last, IplImage& bars) {
  for (int y = first.y; y < last.y; ++y) {
    const uint8_t* in = rowOf(image, y);
    uint8_t* out = rowOf(bars, y);
    for (int x = first.x; x < last.x; ++x) {
      out[x] = in[x] >= kBarValue ? 255 : 0;
    }
  }
}

}  // namespace

int percentWhite(IplImage* img) {
  if (!hasBytes(img)) {
    return 0;
  }
  int64_t white = 0;
  for (int y = 0; y < img->height; ++y) {
    const uint8_t* row = rowOf(*img, y);
    white +=
        std::count_if(row, row + img->width, [](uint8_t value) { return value >= kWhiteValue; });
  }
  return qatester::percentOfPixels(white, img->width, img->height);
}

IplImage* verticalDifferencing(IplImage* grey) {
  if (!hasBytes(grey)) {
    return nullptr;
  }
  IplImage* differences = clearedImage(*grey, 1);
  for (int y = 0; y < grey->height - 1; ++y) {
    qatester::replaceGradient(rowOf(*grey, y), rowOf(*grey, y + 1),
                              static_cast<std::size_t>(grey->width), rowOf(*differences, y));
  }
  return differences;
}

IplImage* horizontalBarring(IplImage* img) {
  if (!hasBytes(img)) {
    return nullptr;
  }
  IplImage* bars = clearedImage(*img, 1);
  markBars(*img, {kBarMargin, 0}, {img->width - kBarMargin, img->height}, *bars);
  return bars;
}

IplImage* verticalBarring(IplImage* img) {
  if (!hasBytes(img)) {
    return nullptr;
  }
  IplImage* bars = clearedImage(*img, 3);
  markBars(*img, {0, kBarMargin}, {img->width, img->height - kBarMargin}, *bars);
  return bars;
}

void showOnOriginal(IplImage* frameImage, IplImage* mask) {
  if (!hasBytes(frameImage) || frameImage->nChannels != 3 || !hasBytes(mask)) {
    return;
  }
  constexpr int kMaskValue = 10;
  for (int y = 0; y < std::min(frameImage->height, mask->height); ++y) {
    const uint8_t* marked = rowOf(*mask, y);
    for (int x = 0; x < std::min(frameImage->width, mask->width); ++x) {
      if (marked[x] > kMaskValue) {
        qatester::paint(*frameImage, x, y, qatester::kRed);
      }
    }
  }
  if (qatester::windowSystemAvailable()) {
    qatester::showInWindow("Overlay Tearing", *frameImage);
  }
}
