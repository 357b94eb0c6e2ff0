#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace qatester {

/// Grey pixels of a field. `first` is its first row; `stride` leads from one of its rows to the
/// next.
struct Field {
  const uint8_t* first = nullptr;
  std::ptrdiff_t stride = 0;
  int width = 0;
  int height = 0;
};

/// How many pixels of a row are brighter in `a` than in `b`.
std::size_t countBrighter(const uint8_t* a, const uint8_t* b, std::size_t count);

/// The same, pixel by pixel.
std::size_t countBrighterOneByOne(const uint8_t* a, const uint8_t* b, std::size_t count);

/// Whether the share of those of a field's pixels that are not brighter is more than the threshold,
/// in single precision, where counting stops at 2^24.
inline bool isSameShare(std::size_t brighter, std::size_t pixels, float threshold) {
  const std::size_t counted = std::min(brighter, std::size_t{1} << 24U);
  return 1.0F - static_cast<float>(counted) / static_cast<float>(pixels) > threshold;
}

/// See `compareFields`. `rowOfA(y)` and `rowOfB(y)` give the grey pixels of a row. No further row
/// is asked for when enough pixels are brighter: their share never grows less.
template <typename RowOfA, typename RowOfB>
bool isSameField(int width, int height, RowOfA rowOfA, RowOfB rowOfB, float threshold) {
  if (width <= 0 || height <= 0) {
    return false;
  }
  const auto columns = static_cast<std::size_t>(width);
  const std::size_t pixels = columns * static_cast<std::size_t>(height);
  std::size_t brighter = 0;
  for (int y = 0; y < height; ++y) {
    brighter += countBrighter(rowOfA(y), rowOfB(y), columns);
    if (!isSameShare(brighter, pixels, threshold)) {
      return false;
    }
  }
  return true;
}

/// The same of fields whose grey pixels are there.
inline bool isSameField(const Field& a, const Field& b, float threshold) {
  const auto rowsOf = [](const Field& field) {
    return [&field](int y) { return field.first + y * field.stride; };
  };
  return a.width == b.width && a.height == b.height &&
         isSameField(a.width, a.height, rowsOf(a), rowsOf(b), threshold);
}

}  // namespace qatester
