#include "visual/Canvases.h"

#include <algorithm>
#include <sstream>

namespace qatest {

Pixels pixelsOf(const IplImage& canvas) {
  Pixels result{canvas.width, canvas.height, {}};
  for (int y = 0; y < canvas.height; ++y) {
    const auto* row = reinterpret_cast<const uint8_t*>(canvas.imageData) + y * canvas.widthStep;
    for (int x = 0; x < canvas.width; ++x) {
      result.pixels.push_back({row[3 * x], row[3 * x + 1], row[3 * x + 2]});
    }
  }
  return result;
}

std::string difference(const Pixels& actual, const Pixels& expected) {
  std::ostringstream text;
  if (actual.width != expected.width || actual.height != expected.height) {
    text << "canvas of " << actual.width << " x " << actual.height << " instead of "
         << expected.width << " x " << expected.height;
    return text.str();
  }
  const std::vector<Place> places = placesThatDiffer(actual, expected);
  if (!places.empty()) {
    const auto [x, y] = places.front();
    text << places.size() << " pixels differ, first at " << x << ", " << y << ": "
         << actual.at(x, y) << " instead of " << expected.at(x, y);
  }
  return text.str();
}

std::vector<Place> placesThatDiffer(const Pixels& one, const Pixels& other) {
  std::vector<Place> places;
  for (int y = 0; y < one.height; ++y) {
    for (int x = 0; x < one.width; ++x) {
      if (one.at(x, y) != other.at(x, y)) {
        places.push_back({x, y});
      }
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
