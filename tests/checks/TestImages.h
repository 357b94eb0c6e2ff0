#pragma once

#include <opencv2/core/core_c.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "visual/Canvases.h"

/// Images for the functions that measure them. The bytes between their rows hold leftovers where
/// OpenCV's double makes them, so that whoever reads these sees bright pixels.
namespace qatest {

/// An image of bytes, the one in column `x` of row `y` being `value(x, y)`; columns are counted in
/// bytes.
template <typename Value>
UniqueImage imageOf(int width, int height, int channels, Value value) {
  UniqueImage image(cvCreateImage(cvSize(width, height), IPL_DEPTH_8U, channels));
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width * channels; ++x) {
      image->imageData[y * image->widthStep + x] = static_cast<char>(value(x, y));
    }
  }
  return image;
}

/// The byte in column `x` of row `y`.
inline uint8_t byteAt(const IplImage& image, int x, int y) {
  return static_cast<uint8_t>(image.imageData[y * image.widthStep + x]);
}

/// All bytes, row by row, without those between rows.
inline std::vector<uint8_t> bytesOf(const IplImage& image) {
  std::vector<uint8_t> bytes;
  for (int y = 0; y < image.height; ++y) {
    for (int x = 0; x < image.width * image.nChannels; ++x) {
      bytes.push_back(byteAt(image, x, y));
    }
  }
  return bytes;
}

/// Bytes without a pattern, the same in every run.
class Noise {
 public:
  explicit Noise(uint32_t seed) : state_(seed * 2654435761U + 1U) {}

  /// From 0 to before `end`.
  int below(int end) {
    state_ = state_ * 1664525U + 1013904223U;
    return static_cast<int>((state_ >> 8U) % static_cast<uint32_t>(end));
  }

  UniqueImage image(int width, int height, int channels) {
    return imageOf(width, height, channels, [this](int, int) { return below(256); });
  }

 private:
  uint32_t state_;
};

/// Images of a size but not of plain bytes: one of 16-bit channels, one of signed bytes, and one
/// without pixels.
inline std::vector<UniqueImage> imagesWithoutBytes(int width, int height, int channels) {
  std::vector<UniqueImage> images;
  const CvSize size = cvSize(width, height);
  images.emplace_back(cvCreateImage(size, static_cast<int>(IPL_DEPTH_16U), channels));
  images.emplace_back(cvCreateImage(size, static_cast<int>(IPL_DEPTH_8S), channels));
  images.emplace_back(cvCreateImageHeader(size, IPL_DEPTH_8U, channels));
  return images;
}

}  // namespace qatest
