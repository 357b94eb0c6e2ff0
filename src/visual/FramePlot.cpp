#include "visual/FramePlot.h"

#include <cstddef>

#include "visual/Images.h"

namespace qatester {

namespace {

// The bytes of a pixel are blue, green, red.
constexpr int kGreenByte = 1;
constexpr int kRedByte = 2;

}  // namespace

void FramePlot::markRed(int column, int row) {
  mark(column, row, kRedByte);
}

void FramePlot::markGreen(int column, int row) {
  mark(column, row, kGreenByte);
}

void FramePlot::mark(int column, int row, int byte) {
  if (canvas() == nullptr || column < 0 || column >= columns_ || row < 0 || row >= rows_) {
    return;
  }
  rowOf(*canvas_, row)[std::ptrdiff_t{3} * column + byte] = 255;
}

const IplImage* FramePlot::canvas() {
  if (!tried_) {
    tried_ = true;
    canvas_ = tryToMakeCanvas(columns_, rows_);
  }
  return canvas_.get();
}

}  // namespace qatester
