#pragma once

#include <opencv2/core/core_c.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace qatest {

/// The bytes of a pixel.
struct Bgr {
  int blue = 0;
  int green = 0;
  int red = 0;

  bool operator==(const Bgr&) const = default;
  friend std::ostream& operator<<(std::ostream& out, const Bgr& pixel) {
    return out << "blue " << pixel.blue << ", green " << pixel.green << ", red " << pixel.red;
  }
};

constexpr Bgr grey(int level) {
  return {level, level, level};
}
inline constexpr Bgr kBlack{};
inline constexpr Bgr kWhite = grey(255);

/// The bytes of a canvas, row by row without gaps.
struct Pixels {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> bytes;

  Bgr at(int x, int y) const {
    const auto first = static_cast<std::size_t>(3 * (y * width + x));
    return {bytes.at(first), bytes.at(first + 1), bytes.at(first + 2)};
  }

  bool operator==(const Pixels&) const = default;
};

Pixels pixelsOf(const IplImage& canvas);

/// Empty when they are equal; otherwise where they first differ.
std::string difference(const Pixels& actual, const Pixels& expected);

struct Place {
  int x;
  int y;

  bool operator==(const Place&) const = default;
  friend std::ostream& operator<<(std::ostream& out, const Place& place) {
    return out << place.x << ", " << place.y;
  }
};

/// The places whose pixels differ, row by row.
std::vector<Place> placesThatDiffer(const Pixels& one, const Pixels& other);

struct ReleaseImage {
  void operator()(IplImage* image) const { cvReleaseImage(&image); }
};
using UniqueImage = std::unique_ptr<IplImage, ReleaseImage>;

/// A canvas all of whose bytes have this value.
UniqueImage plainCanvas(int width, int height, uint8_t value = 0);

}  // namespace qatest
