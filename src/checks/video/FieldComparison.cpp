#include "checks/video/FieldComparison.h"

#include <algorithm>

namespace qatester {

namespace {

/// Where counting in single precision stops: one more makes no difference to such a number.
constexpr std::size_t kMostCounted = std::size_t{1} << 24U;

}  // namespace

bool isSameField(const Field& a, const Field& b, float threshold) {
  if (a.width != b.width || a.height != b.height || a.width <= 0 || a.height <= 0) {
    return false;
  }
  const auto columns = static_cast<std::size_t>(a.width);
  const auto pixels = static_cast<float>(columns * static_cast<std::size_t>(a.height));
  std::size_t brighter = 0;
  for (int y = 0; y < a.height; ++y) {
    brighter += countBrighter(a.first + y * a.stride, b.first + y * b.stride, columns);
    // The share of the others never grows again.
    const float share = 1.0F - static_cast<float>(std::min(brighter, kMostCounted)) / pixels;
    if (!(share > threshold)) {
      return false;
    }
  }
  return true;
}

std::size_t countBrighter(const uint8_t* a, const uint8_t* b, std::size_t count) {
  return countBrighterOneByOne(a, b, count);
}

std::size_t countBrighterOneByOne(const uint8_t* a, const uint8_t* b, std::size_t count) {
  std::size_t brighter = 0;
  for (std::size_t i = 0; i < count; ++i) {
    brighter += a[i] > b[i] ? 1 : 0;
  }
  return brighter;
}

}  // namespace qatester
