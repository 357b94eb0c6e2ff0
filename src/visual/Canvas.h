#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "visual/Visual.h"

namespace qatester {

struct ReleaseCanvas {
  void operator()(IplImage* canvas) const;
};
using UniqueCanvas = std::unique_ptr<IplImage, ReleaseCanvas>;

/// A cleared canvas of 8-bit blue, green, red. When there is no memory for it, or no canvas of that
/// size (it is negative, or too large for OpenCV), pauses for 1000 s and tries again; after five
/// failures, and as many pauses, null.
UniqueCanvas makeCanvas(int width, int height);

/// The same without pausing: null at once.
UniqueCanvas tryToMakeCanvas(int width, int height);

/// Either of the two.
using CanvasMaker = UniqueCanvas (*)(int width, int height);

/// The height of the plots of sound.
inline constexpr int kPlotRows = 256;

/// The bytes of a pixel, in the order of a canvas.
struct Colour {
  uint8_t blue;
  uint8_t green;
  uint8_t red;
};

constexpr Colour grey(uint8_t level) {
  return {level, level, level};
}
inline constexpr Colour kWhite = grey(255);
inline constexpr Colour kRed{0, 0, 255};
inline constexpr Colour kGreen{0, 255, 0};

/// From the first column or row to the last, both included; empty when the last comes first.
struct Stretch {
  int first;
  int last;
};

/// Paints a rectangle; what of it lies outside the canvas is left out.
void paint(IplImage& canvas, Stretch columns, Stretch rows, Colour colour);

/// Paints one pixel, which must lie on the canvas.
void paint(IplImage& canvas, int x, int y, Colour colour);

/// A vertical line.
inline void paint(IplImage& canvas, int x, Stretch rows, Colour colour) {
  paint(canvas, Stretch{x, x}, rows, colour);
}

/// A horizontal line.
inline void paint(IplImage& canvas, Stretch columns, int y, Colour colour) {
  paint(canvas, columns, Stretch{y, y}, colour);
}

/// Writes a text that starts at the left of column `x` and stands on row `y`.
void writeText(IplImage& canvas, const std::string& text, int x, int y, Colour colour);

}  // namespace qatester
