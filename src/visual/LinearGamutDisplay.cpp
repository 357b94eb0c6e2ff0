#include <cstddef>
#include <cstdint>
#include <vector>

#include "visual/ColourDisplays.h"
#include "visual/PixelSpans.h"

namespace qatester {

namespace {

constexpr int kWidth = 512;
constexpr int kHeight = 256;

constexpr std::size_t kComponents = 3;
constexpr int kFirstColumn[kComponents] = {10, 177, 344};
constexpr int kColumns = 158;  // the last one is for pictures so wide that their edge rounds to 1
constexpr int kCodes = 256;

constexpr int kBottomRow = 231;
constexpr int kLowLimit = 12;
constexpr int kHighLimit = 189;

constexpr int heightOf(int code) {
  return static_cast<int>(code * 0.00390625 * 206.0);
}

/// The column of each pixel of a row, within a component's panel.
std::vector<int32_t> columnsOf(int width) {
  std::vector<int32_t> columns;
  columns.reserve(static_cast<std::size_t>(width));
  for (int x = 0; x < width; ++x) {
    const double part = static_cast<float>(x) / static_cast<float>(width);
    columns.push_back(static_cast<int32_t>(part * 157.0));
  }
  return columns;
}

/// Which code values each column of a panel has. The colour of a point follows from its row, so
/// neither order nor number matter.
class CodesSeen {
 public:
  explicit CodesSeen(int width) : width_(width), seen_(kComponents * kColumns * kCodes) {}

  void add(const PixelSpan& span) {
    if (columns_.empty()) {
      columns_ = columnsOf(width_);
    }
    const int32_t* column = columns_.data() + span.x;
    uint8_t* luma = panel(0);
    uint8_t* cb = panel(1);
    uint8_t* cr = panel(2);
    for (int i = 0; i < span.count; ++i) {
      const int32_t first = column[i] * kCodes;
      luma[first + span.y[i]] = 1;
      cb[first + span.u[i]] = 1;
      cr[first + span.v[i]] = 1;
    }
  }

  void paintOn(IplImage& canvas) const {
    const uint8_t* seen = seen_.data();
    for (const int edge : kFirstColumn) {
      for (int column = 0; column < kColumns; ++column) {
        for (int code = 0; code < kCodes; ++code, ++seen) {
          if (*seen != 0) {
            const int height = heightOf(code);
            const bool legal = kLowLimit < height && height < kHighLimit;
            paint(canvas, edge + column, kBottomRow - height, legal ? grey(100) : kWhite);
          }
        }
      }
    }
  }

 private:
  uint8_t* panel(std::size_t component) { return seen_.data() + component * kColumns * kCodes; }

  int width_;
  std::vector<int32_t> columns_;
  std::vector<uint8_t> seen_;
};

void paintLines(IplImage& canvas) {
  constexpr Stretch kAcross{0, kWidth - 1};
  paint(canvas, kAcross, 25, grey(100));
  paint(canvas, kAcross, kBottomRow, grey(100));
  paint(canvas, kAcross, kBottomRow - kLowLimit, kRed);
  paint(canvas, kAcross, kBottomRow - kHighLimit, kRed);
  paint(canvas, kAcross, 128, grey(200));
}

}  // namespace

UniqueCanvas drawLinearGamut(OxVideoFrameYUV& frame, CanvasMaker make) {
  UniqueCanvas canvas = make(kWidth, kHeight);
  if (canvas == nullptr) {
    return nullptr;
  }
  CodesSeen codes(frame.width);
  if (!forEachSpan(frame, [&](const PixelSpan& span) { codes.add(span); })) {
    return nullptr;
  }
  codes.paintOn(*canvas);
  paintLines(*canvas);
  return canvas;
}

}  // namespace qatester
