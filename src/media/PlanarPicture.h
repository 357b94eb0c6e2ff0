#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "media/OxVideoStream.h"

namespace qatester {

/// The planes of an 8-bit 4:2:0, 4:2:2 or 4:4:4 picture, for measures that read rows rather than
/// single pixels. Belongs to whoever the picture belongs to.
struct PlanarPicture {
  std::array<const uint8_t*, 3> planes{};   ///< luma, Cb, Cr
  std::array<std::ptrdiff_t, 3> strides{};  ///< bytes from a row to the next; may be negative
  int width = 0;                            ///< luma pixels
  int height = 0;
  /// By how many bits a luma coordinate is shifted to the right to give its chroma sample's.
  int chromaShiftX = 0;
  int chromaShiftY = 0;

  const uint8_t* lumaRow(int y) const { return planes[0] + strides[0] * y; }
  /// The rows of plane 1 (Cb) or 2 (Cr) that belong to a luma row.
  const uint8_t* chromaRow(std::size_t plane, int y) const {
    return planes[plane] + strides[plane] * (y >> chromaShiftY);
  }
};

/// Empty for every picture of which `YUVHelper::getYUVPixelFromFrame` gives invalid pixels.
std::optional<PlanarPicture> planarPicture(const OxVideoFrameYUV& frame);

}  // namespace qatester
