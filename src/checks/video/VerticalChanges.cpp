#include "checks/video/VerticalChanges.h"

#include <cstddef>
#include <cstdlib>

#include "foundation/Conversions.h"

namespace qatester {

int64_t changeGradient(const uint8_t* grey, int rows, int width, uint8_t* gradient) {
  return changeGradientOneByOne(grey, rows, width, gradient);
}

int64_t changeGradientOneByOne(const uint8_t* grey, int rows, int width, uint8_t* gradient) {
  int64_t strong = 0;
  for (int y = 0; y < rows; ++y) {
    const uint8_t* upper = grey + static_cast<std::ptrdiff_t>(width) * y;
    const uint8_t* lower = upper + width;
    uint8_t* before = gradient + static_cast<std::ptrdiff_t>(width) * y;
    for (int x = 0; x < width; ++x) {
      const int now = std::abs(upper[x] - lower[x]);
      const bool inside = x >= kBarMargin && x < width - kBarMargin;
      strong += inside && std::abs(now - before[x]) >= kBarValue ? 1 : 0;
      before[x] = static_cast<uint8_t>(now);
    }
  }
  return strong;
}

int percentOfPixels(int64_t count, int width, int height) {
  const float share = static_cast<float>(count) / static_cast<float>(int64_t{width} * height);
  return truncateTo<int>(share * 100.0);
}

}  // namespace qatester
