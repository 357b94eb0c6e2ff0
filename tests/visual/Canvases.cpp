#include "visual/Canvases.h"

#include <algorithm>
#include <sstream>

namespace qatest {

Pixels pixelsOf(const IplImage& canvas) {
  Pixels pixels{canvas.width, canvas.height, {}};
  for (int y = 0; y < canvas.height; ++y) {
    const auto* row = reinterpret_cast<const uint8_t*>(canvas.imageData) + y * canvas.widthStep;
    pixels.bytes.insert(pixels.bytes.end(), row, row + 3 * canvas.width);
  }
  return pixels;
}

std::string difference(const Pixels& actual, const Pixels& expected) {
  if (actual == expected) {
    return "";
  }
  std::ostringstream text;
  if (actual.width != expected.width || actual.height != expected.height) {
    text << "canvas of " << actual.width << " x " << actual.height << " instead of "
         << expected.width << " x " << expected.height;
    return text.str();
  }
  const std::vector<Place> places = placesThatDiffer(actual, expected);
  const auto [x, y] = places.front();
  text << places.size() << " pixels differ, first at " << x << ", " << y << ": " << actual.at(x, y)
       << " instead of " << expected.at(x, y);
  return text.str();
}

std::vector<Place> placesThatDiffer(const Pixels& one, const Pixels& other) {
  std::vector<Place> places;
  const auto end = one.bytes.end();
  for (auto at = one.bytes.begin(); at != end;) {
    at = std::mismatch(at, end, other.bytes.begin() + (at - one.bytes.begin())).first;
    if (at != end) {
      const auto pixel = static_cast<int>(at - one.bytes.begin()) / 3;
      places.push_back({pixel % one.width, pixel / one.width});
      at = one.bytes.begin() + 3 * (pixel + 1);
    }
  }
  return places;
}

UniqueImage plainCanvas(int width, int height, uint8_t value) {
  UniqueImage canvas(cvCreateImage(cvSize(width, height), IPL_DEPTH_8U, 3));
  std::fill_n(canvas->imageData, canvas->imageSize, static_cast<char>(value));
  return canvas;
}

}  // namespace qatest
