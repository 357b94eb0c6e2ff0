#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

namespace qatester {

/// Truncates toward zero; values that do not fit become the nearest bound, NaN becomes 0.
template <typename Int>
Int truncateTo(double value) {
  // Both bounds of a signed integer, the upper one plus 1, are exact in double precision.
  constexpr double kLow = static_cast<double>(std::numeric_limits<Int>::min());
  if (value != value) {
    return 0;
  }
  if (value <= kLow) {
    return std::numeric_limits<Int>::min();
  }
  if (value >= -kLow) {
    return std::numeric_limits<Int>::max();
  }
  return static_cast<Int>(value);
}

/// Values that do not fit become the nearest bound.
inline int clampToInt(int64_t value) {
  return static_cast<int>(
      std::clamp<int64_t>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

}  // namespace qatester
