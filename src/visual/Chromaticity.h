#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "visual/PixelSpans.h"

namespace qatester {

/// R'G'B' by BT.601, studio range, with coefficients rounded by themselves: not always what
/// `YUVHelper` gives to the last bit.
struct StudioRgb {
  float red;
  float green;
  float blue;
};
inline StudioRgb studioRgb(float y, float u, float v) {
  const float luma = (y - 16.0F) * 1.1643835F;
  const float cb = u - 128.0F;
  const float cr = v - 128.0F;
  return {luma + cr * 1.5960267F, luma + cb * -0.39176223F + cr * -0.81296754F,
          luma + cb * 2.017232F};
}

/// The axes of a chromaticity diagram on a canvas.
struct ChromaticityAxes {
  int originX;  ///< the column and the row of chromaticity (0, 0)
  int originY;
  int scale;  ///< pixels a unit
};

struct ChromaticityPosition {
  double x;
  double y;
};

/// Where a colour lies; truncated, that is its pixel. Colours without light are at the origin.
ChromaticityPosition chromaticityPosition(const StudioRgb& rgb, const ChromaticityAxes& axes);

/// The diagram of the chromaticity display.
struct ChromaticityDiagram {
  static constexpr int kSide = 256;  ///< columns, and rows
  static constexpr ChromaticityAxes kAxes{.originX = 53, .originY = 203, .scale = 150};
};

/// Where the pixels of a span lie in that diagram, and in which colour.
struct ChromaticityPoints {
  static constexpr uint32_t kNowhere = ChromaticityDiagram::kSide * ChromaticityDiagram::kSide;
  static constexpr uint32_t kPainted = 1U << 24;

  std::array<uint32_t, PixelSpan::kLongest> place;   ///< counted along the rows, or `kNowhere`
  std::array<uint32_t, PixelSpan::kLongest> colour;  ///< 0xRRGGBB, clamped, and `kPainted`
};

/// Locates all pixels of a span.
using LocateChromaticities = void (*)(const PixelSpan& span, ChromaticityPoints& points);

/// The forms that this processor can run, from fast to slow; they all give the same.
std::vector<LocateChromaticities> chromaticityLocators();

}  // namespace qatester
