#include "visual/Chromaticity.h"

#include <limits>

namespace qatester {

namespace {

// X and Y are linear forms over a divisor each.
constexpr double kXRed = 35246.0;
constexpr double kXGreen = 12239.0;
constexpr double kXBlue = 172479921.0;
constexpr double kXDivisor = 1437864921.0;
constexpr double kYRed = 8485.0;
constexpr double kYGreen = 10652.0;
constexpr double kYBlue = 46979193.0;
constexpr double kYDivisor = 479288307.0;

/// Everything beyond the diagram becomes -1 or `kSide`.
inline int32_t truncated(double position) {
  constexpr double kEnd = ChromaticityDiagram::kSide;
  const double atLeast = position > -1.0 ? position : -1.0;
  return static_cast<int32_t>(atLeast < kEnd ? atLeast : kEnd);
}

inline uint32_t byteOf(float channel) {
  const int value = static_cast<int>(channel);
  const int atLeast = value < 0 ? 0 : value;
  return static_cast<uint32_t>(atLeast > 255 ? 255 : atLeast);
}

/// `chromaticityPosition` of all pixels, in loops that can be vectorised. Terms are ordered for
/// speed, which for no 8-bit colour changes the place: a test goes through all of them.
[[gnu::always_inline]] inline void locate(const PixelSpan& span, ChromaticityPoints& points) {
  constexpr ChromaticityAxes kAxes = ChromaticityDiagram::kAxes;
  constexpr uint32_t kSide = ChromaticityDiagram::kSide;
  constexpr double kXOfRed = kXRed * 10000.0 / kXDivisor;
  constexpr double kXOfGreen = kXGreen * -10000.0 / kXDivisor;
  constexpr double kXOfBlue = kXBlue / kXDivisor;
  constexpr double kYOfRed = kYRed * 5000.0 / kYDivisor;
  constexpr double kYOfGreen = kYGreen * 5000.0 / kYDivisor;
  constexpr double kYOfBlue = -kYBlue / kYDivisor;

  const auto count = static_cast<std::size_t>(span.count);
  std::array<float, PixelSpan::kLongest> reds;
  std::array<float, PixelSpan::kLongest> greens;
  std::array<float, PixelSpan::kLongest> blues;
  for (std::size_t i = 0; i < count; ++i) {
    const StudioRgb rgb = studioRgb(span.y[i], span.u[i], span.v[i]);
    reds[i] = rgb.red;
    greens[i] = rgb.green;
    blues[i] = rgb.blue;
    points.colour[i] = ChromaticityPoints::kPainted | byteOf(rgb.red) << 16 |
                       byteOf(rgb.green) << 8 | byteOf(rgb.blue);
  }
  std::array<int32_t, PixelSpan::kLongest> columns;
  std::array<int32_t, PixelSpan::kLongest> rows;
  for (std::size_t i = 0; i < count; ++i) {
    const double red = reds[i];
    const double green = greens[i];
    const double blue = blues[i];
    const double x = red * kXOfRed + green * kXOfGreen + blue * kXOfBlue;
    const double y = red * kYOfRed + green * kYOfGreen + blue * kYOfBlue;
    const double sum = x + y + blue;
    // Times 0 where there is no light, with one choice and no branch.
    const double factor = kAxes.scale / (sum > 0.0 ? sum : std::numeric_limits<double>::infinity());
    columns[i] = truncated(kAxes.originX + x * factor);
    rows[i] = truncated(kAxes.originY - y * factor);
  }
  for (std::size_t i = 0; i < count; ++i) {
    const auto column = static_cast<uint32_t>(columns[i]);
    const auto row = static_cast<uint32_t>(rows[i]);
    points.place[i] = (column | row) < kSide ? row * kSide + column : ChromaticityPoints::kNowhere;
  }
}

void locateAnywhere(const PixelSpan& span, ChromaticityPoints& points) {
  locate(span, points);
}

#if defined(__x86_64__)
[[gnu::target("avx2")]] void locateWithAvx2(const PixelSpan& span, ChromaticityPoints& points) {
  locate(span, points);
}
#endif

}  // namespace

ChromaticityPosition chromaticityPosition(const StudioRgb& rgb, const ChromaticityAxes& axes) {
  const double red = rgb.red;
  const double green = rgb.green;
  const double blue = rgb.blue;
  const double x = (kXBlue * blue + (kXGreen * green - kXRed * red) * -10000.0) / kXDivisor;
  const double y = ((kYGreen * green + kYRed * red) * 5000.0 - kYBlue * blue) / kYDivisor;
  // Blue itself is the third term, not the third coordinate: required.
  const double sum = x + y + blue;
  return {axes.originX + (sum > 0.0 ? x / sum : 0.0) * axes.scale,
          axes.originY - axes.scale * (sum > 0.0 ? y / sum : 0.0)};
}

std::vector<LocateChromaticities> chromaticityLocators() {
  std::vector<LocateChromaticities> locators;
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx2") != 0) {
    locators.push_back(locateWithAvx2);
  }
#endif
  locators.push_back(locateAnywhere);
  return locators;
}

}  // namespace qatester
