#include "checks/video/FrameFields.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "checks/video/FieldComparison.h"
#include "checks/video/GreyValues.h"
#include "checks/video/Images.h"
#include "visual/Canvas.h"

using qatester::hasBytes;
using qatester::rowOf;
using qatester::UniqueCanvas;

namespace {

bool isColour(const IplImage* image) {
  return hasBytes(image) && image->nChannels == 3;
}

/// The grey pixels of an image: its own, or those that `made` then holds.
qatester::Field greyOf(const IplImage& image, std::vector<uint8_t>& made) {
  if (image.nChannels == 1) {
    return {rowOf(image, 0), image.widthStep, image.width, image.height};
  }
  const auto columns = static_cast<std::size_t>(image.width);
  made.resize(columns * static_cast<std::size_t>(image.height));
  for (int y = 0; y < image.height; ++y) {
    qatester::toGrey(rowOf(image, y), columns, made.data() + columns * static_cast<std::size_t>(y));
  }
  return {made.data(), image.width, image.width, image.height};
}

}  // namespace

FrameFields::~FrameFields() {
  cvReleaseImage(&top);
  cvReleaseImage(&bottom);
  cvReleaseImage(&frame);
}

void FrameFields::split(IplImage* frame, IplImage** top, IplImage** bottom) {
  *top = nullptr;
  *bottom = nullptr;
  if (!isColour(frame)) {
    return;
  }
  const auto newField = [&] {
    return UniqueCanvas(cvCreateImage(cvSize(frame->width, frame->height / 2), IPL_DEPTH_8U, 3));
  };
  UniqueCanvas fields[2] = {newField(), newField()};
  const auto rowBytes = static_cast<std::size_t>(std::min(frame->widthStep, fields[0]->widthStep));
  for (int y = 0; y < frame->height / 2 * 2; ++y) {
    std::memcpy(rowOf(*fields[y % 2], y / 2), rowOf(*frame, y), rowBytes);
  }
  *top = fields[0].release();
  *bottom = fields[1].release();
}

bool compareFields(IplImage* a, IplImage* b, float threshold) {
  const auto isComparable = [](const IplImage* image) {
    return isColour(image) || (hasBytes(image) && image->nChannels == 1);
  };
  if (!isComparable(a) || !isComparable(b)) {
    return false;
  }
  std::vector<uint8_t> greys[2];
  return qatester::isSameField(greyOf(*a, greys[0]), greyOf(*b, greys[1]), threshold);
}
