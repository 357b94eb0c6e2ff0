#include <opencv2/core/core_c.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "foundation/Conversions.h"
#include "visual/ColourDisplays.h"
#include "visual/PixelSpans.h"

namespace qatester {

namespace {

constexpr int kSide = 256;
constexpr int kOriginX = 53;
constexpr int kOriginY = 203;
constexpr int kScale = 150;

struct Rgb {
  float red;
  float green;
  float blue;
};

/// BT.601, studio range, with coefficients rounded by themselves: not always what `YUVHelper` gives
/// to the last bit.
inline Rgb convert(float y, float u, float v) {
  const float luma = (y - 16.0F) * 1.1643835F;
  const float cb = u - 128.0F;
  const float cr = v - 128.0F;
  return {luma + cr * 1.5960267F, luma + cb * -0.39176223F + cr * -0.81296754F,
          luma + cb * 2.017232F};
}

struct Position {
  double x;
  double y;
};

/// Where a colour lies, `originX` and `originY` being the place of chromaticity (0, 0).
inline Position positionOf(const Rgb& rgb, int originX, int originY, int scale) {
  const double red = rgb.red;
  const double green = rgb.green;
  const double blue = rgb.blue;
  const double x =
      (172479921.0 * blue + (12239.0 * green - 35246.0 * red) * -10000.0) / 1437864921.0;
  const double y = ((10652.0 * green + 8485.0 * red) * 5000.0 - 46979193.0 * blue) / 479288307.0;
  // Blue itself is the third term, not the third coordinate: required.
  const double sum = x + y + blue;
  // Nothing is at the origin. Choosing the operands, not the quotient, keeps loops free of
  // branches.
  const bool lit = sum > 0.0;
  const double divisor = lit ? sum : 1.0;
  return {originX + (lit ? x : 0.0) / divisor * scale,
          originY - scale * ((lit ? y : 0.0) / divisor)};
}

/// The picture's points, of which the last one at each place stays.
class Points {
 public:
  Points() : places_(kSide * kSide + 1) {}

  void add(const PixelSpan& span) {
    const auto count = static_cast<std::size_t>(span.count);
    locate(span, count);
    for (std::size_t i = 0; i < count; ++i) {
      places_[static_cast<std::size_t>(place_[i])] = colour_[i];
    }
  }

  void paintOn(IplImage& canvas) const {
    for (int y = 0; y < kSide; ++y) {
      for (int x = 0; x < kSide; ++x) {
        const uint32_t packed = places_[static_cast<std::size_t>(y * kSide + x)];
        if (packed != 0) {
          paint(canvas, x, y,
                {static_cast<uint8_t>(packed), static_cast<uint8_t>(packed >> 8),
                 static_cast<uint8_t>(packed >> 16)});
        }
      }
    }
  }

 private:
  static constexpr uint32_t kPainted = 1U << 24;  // tells black from nothing
  static constexpr int kNowhere = kSide * kSide;

  /// What `drawCIE1931Point` does with each pixel, but for painting.
  void locate(const PixelSpan& span, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      const Rgb rgb = convert(span.y[i], span.u[i], span.v[i]);
      const Position position = positionOf(rgb, kOriginX, kOriginY, kScale);
      // Truncated; -1 and `kSide` stand for everything beyond.
      const int x = static_cast<int>(bounded(position.x));
      const int y = static_cast<int>(bounded(position.y));
      const bool inside = static_cast<unsigned>(x) < kSide && static_cast<unsigned>(y) < kSide;
      place_[i] = inside ? y * kSide + x : kNowhere;
      colour_[i] = kPainted | byteOf(rgb.red) << 16 | byteOf(rgb.green) << 8 | byteOf(rgb.blue);
    }
  }

  static double bounded(double position) {
    const double atLeast = position < -1.0 ? -1.0 : position;
    return atLeast > kSide ? kSide : atLeast;
  }

  static uint32_t byteOf(float channel) {
    const int value = static_cast<int>(channel);
    const int atLeast = value < 0 ? 0 : value;
    return static_cast<uint32_t>(atLeast > 255 ? 255 : atLeast);
  }

  std::vector<uint32_t> places_;
  std::array<int32_t, PixelSpan::kLongest> place_;
  std::array<uint32_t, PixelSpan::kLongest> colour_;
};

void paintGraticule(IplImage& canvas) {
  constexpr int kStep = kScale / 10;
  for (int a = 0; a <= 135; ++a) {
    for (int c = 0; c <= 120; ++c) {
      const bool onLine = c % kStep == 0 || a % kStep == 0 || a + c == kScale;
      if (a + c <= kScale && onLine) {
        paint(canvas, kOriginX + c, kOriginY - a, grey(100));
      }
    }
  }
}

}  // namespace

void drawCIE1931Point(IplImage& canvas, float y, float u, float v, int originX, int originY,
                      int scale, int rowLimit, int columnLimit) {
  const Rgb rgb = convert(y, u, v);
  const Position position = positionOf(rgb, originX, originY, scale);
  // A position above -1 is truncated to 0 or more. None is inside that is not a number.
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

UniqueCanvas drawCIE1931(OxVideoFrameYUV& frame) {
  UniqueCanvas canvas = makeCanvas(kSide, kSide);
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
