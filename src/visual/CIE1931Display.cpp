#include <opencv2/core/core_c.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "foundation/Conversions.h"
#include "visual/Chromaticity.h"
#include "visual/ColourDisplays.h"
#include "visual/PixelSpans.h"

namespace qatester {

namespace {

constexpr int kSide = ChromaticityDiagram::kSide;

/// The points of a picture, of which the last one at each place stays.
class Points {
 public:
  Points() : locate_(chromaticityLocators().front()), places_(ChromaticityPoints::kNowhere + 1) {}

  void add(const PixelSpan& span) {
    locate_(span, points_);
    for (std::size_t i = 0; i < static_cast<std::size_t>(span.count); ++i) {
      places_[points_.place[i]] = points_.colour[i];
    }
  }

  void paintOn(IplImage& canvas) const {
    const uint32_t* colour = places_.data();
    for (int y = 0; y < kSide; ++y) {
      for (int x = 0; x < kSide; ++x, ++colour) {
        if (*colour != 0) {
          paint(canvas, x, y,
                {static_cast<uint8_t>(*colour), static_cast<uint8_t>(*colour >> 8),
                 static_cast<uint8_t>(*colour >> 16)});
        }
      }
    }
  }

 private:
  LocateChromaticities locate_;
  ChromaticityPoints points_;
  std::vector<uint32_t> places_;
};

/// The triangle of all chromaticities that sum up to 1 or less, with a grid of 0.1.
void paintGraticule(IplImage& canvas) {
  constexpr ChromaticityAxes kAxes = ChromaticityDiagram::kAxes;
  constexpr int kStep = kAxes.scale / 10;
  for (int a = 0; a <= 135; ++a) {
    for (int c = 0; c <= 120; ++c) {
      const bool isOnLine = c % kStep == 0 || a % kStep == 0 || a + c == kAxes.scale;
      if (a + c <= kAxes.scale && isOnLine) {
        paint(canvas, kAxes.originX + c, kAxes.originY - a, grey(100));
      }
    }
  }
}

}  // namespace

void drawCIE1931Point(IplImage& canvas, float y, float u, float v, int originX, int originY,
                      int scale, int rowLimit, int columnLimit) {
  const StudioRgb rgb = studioRgb(y, u, v);
  const ChromaticityPosition position = chromaticityPosition(rgb, {originX, originY, scale});
  // What is above -1 is truncated to 0 or more. What is not a number is nowhere.
  const auto isInside = [](double at, int limit, int size) {
    return at > -1.0 && at < std::min(limit, size);
  };
  if (!isInside(position.x, columnLimit, canvas.width) ||
      !isInside(position.y, rowLimit, canvas.height)) {
    return;
  }
  const auto byteOf = [](float channel) {
    return static_cast<uint8_t>(std::clamp(truncateTo<int>(channel), 0, 255));
  };
  paint(canvas, static_cast<int>(position.x), static_cast<int>(position.y),
        {byteOf(rgb.blue), byteOf(rgb.green), byteOf(rgb.red)});
}

UniqueCanvas drawCIE1931(OxVideoFrameYUV& frame, CanvasMaker make) {
  UniqueCanvas canvas = make(kSide, kSide);
  if (canvas == nullptr) {
    return nullptr;
  }
  paintGraticule(*canvas);
  Points points;
  if (!forEachSpan(frame, [&](const PixelSpan& span) { points.add(span); })) {
    return nullptr;
  }
  points.paintOn(*canvas);
  return canvas;
}

}  // namespace qatester
