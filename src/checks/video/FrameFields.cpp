#include "checks/video/FrameFields.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "checks/video/FieldComparison.h"
#include "media/GreyValues.h"
#include "visual/Canvas.h"
#include "visual/Images.h"

using qatester::hasBytes;
using qatester::rowOf;
using qatester::UniqueCanvas;

namespace {

bool isColour(const IplImage* image) {
  return hasBytes(image) && image->nChannels == 3;
}

bool isComparable(const IplImage* image) {
  return isColour(image) || (hasBytes(image) && image->nChannels == 1);
}

/// Gives the rows of an image in grey.
class GreyRows {
 public:
  explicit GreyRows(const IplImage& image)
      : image_(image), row_(image.nChannels == 1 ? 0 : static_cast<std::size_t>(image.width)) {}

  /// Valid until the next call.
  const uint8_t* operator()(int y) {
    if (row_.empty()) {
      return rowOf(image_, y);
    }
    qatester::toGrey(rowOf(image_, y), row_.size(), row_.data());
    return row_.data();
  }

 private:
  const IplImage& image_;
  std::vector<uint8_t> row_;
};

}  // namespace

FrameFields::~FrameFields() {
  cvReleaseImage(&top);
  cvReleaseImage(&bottom);
  cvReleaseImage(&frame);
}

void FrameFields::split(IplImage* frame, IplImage** top, IplImage** bottom) {
  if (top == nullptr || bottom == nullptr) {
    return;
  }
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
  return isComparable(a) && isComparable(b) && a->width == b->width && a->height == b->height &&
         qatester::isSameField(a->width, a->height, GreyRows(*a), GreyRows(*b), threshold);
}
