#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "media/PlanarPicture.h"
#include "media/YUVHelper.h"

namespace qatester {

/// Neighbouring pixels of one row, with a chroma sample for each pixel.
struct PixelSpan {
  static constexpr int kLongest = 512;  // even

  const uint8_t* y;
  const uint8_t* u;
  const uint8_t* v;
  int x;      ///< the column of the first pixel
  int count;  ///< pixels
};

/// Repeats each chroma sample for the two pixels that share it.
class SpreadChroma {
 public:
  const uint8_t* spread(const uint8_t* samples, int pixels) {
    const auto count = static_cast<std::size_t>(pixels + 1) / 2;
    for (std::size_t i = 0; i < count; ++i) {
      samples_[2 * i] = samples[i];
      samples_[2 * i + 1] = samples[i];
    }
    return samples_.data();
  }

 private:
  std::array<uint8_t, PixelSpan::kLongest> samples_;
};

/// Hands every pixel of a picture to `draw`, row by row from the top, from left to right. A record
/// without a picture has no pixels. False for a picture whose pixels cannot be read, which
/// `YUVHelper` has then said on standard output as for any such pixel.
template <typename Draw>
bool forEachSpan(OxVideoFrameYUV& frame, Draw draw) {
  if (!frame.valid || frame.frame == nullptr || frame.width <= 0 || frame.height <= 0) {
    return true;
  }
  const auto picture = planarPicture(frame);
  if (!picture) {
    return YUVHelper::getYUVPixelFromFrame(frame, 0, 0).valid;
  }
  SpreadChroma cb;
  SpreadChroma cr;
  for (int row = 0; row < picture->height; ++row) {
    for (int x = 0; x < picture->width; x += PixelSpan::kLongest) {
      PixelSpan span{.y = picture->lumaRow(row) + x,
                     .u = picture->chromaRow(1, row) + (x >> picture->chromaShiftX),
                     .v = picture->chromaRow(2, row) + (x >> picture->chromaShiftX),
                     .x = x,
                     .count = std::min(PixelSpan::kLongest, picture->width - x)};
      if (picture->chromaShiftX != 0) {
        span.u = cb.spread(span.u, span.count);
        span.v = cr.spread(span.v, span.count);
      }
      draw(span);
    }
  }
  return true;
}

}  // namespace qatester
