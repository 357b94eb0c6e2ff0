#pragma once

#include <opencv2/core/core_c.h>

#include <cstddef>
#include <cstdint>

namespace qatester {

/// Whether there is an image, and its channels are 8-bit.
inline bool hasBytes(const IplImage* image) {
  return image != nullptr && image->imageData != nullptr && image->depth == IPL_DEPTH_8U;
}

/// A row of an image of bytes.
inline uint8_t* rowOf(const IplImage& image, int y) {
  return reinterpret_cast<uint8_t*>(image.imageData) +
         static_cast<std::ptrdiff_t>(image.widthStep) * y;
}

}  // namespace qatester
