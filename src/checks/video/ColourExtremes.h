#pragma once

#include <algorithm>
#include <limits>

#include "media/PlanarPicture.h"

namespace qatester {

/// The pixels of columns [xStart, xEnd) and rows [yStart, yEnd).
struct Rectangle {
  int xStart = 0;
  int yStart = 0;
  int xEnd = 0;
  int yEnd = 0;

  bool empty() const { return xStart >= xEnd || yStart >= yEnd; }
};

/// The largest and smallest value of a channel; empty as constructed.
struct Extremes {
  int max = std::numeric_limits<int>::min();
  int min = std::numeric_limits<int>::max();

  bool operator==(const Extremes&) const = default;

  bool empty() const { return min > max; }
  void widen(const Extremes& other) {
    max = std::max(max, other.max);
    min = std::min(min, other.min);
  }
};

/// The extremes of R, G and B as `YUVHelper::YUVtoRGB601` gives them, and of luma as stored.
struct ColourExtremes {
  Extremes r;
  Extremes g;
  Extremes b;
  Extremes y;

  bool operator==(const ColourExtremes&) const = default;

  void widen(const ColourExtremes& other) {
    r.widen(other.r);
    g.widen(other.g);
    b.widen(other.b);
    y.widen(other.y);
  }
};

/// The extremes of the pixels of a rectangle, which must lie inside the picture: exactly what the
/// conversion of every single pixel gives, at a fraction of its cost.
ColourExtremes measureColours(const PlanarPicture& picture, const Rectangle& rectangle);

/// The same, pixel by pixel.
ColourExtremes measureColoursPixelwise(const PlanarPicture& picture, const Rectangle& rectangle);

}  // namespace qatester
