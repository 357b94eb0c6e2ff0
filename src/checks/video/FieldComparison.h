#pragma once

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

/// See `compareFields`.
bool isSameField(const Field& a, const Field& b, float threshold);

/// How many pixels of a row are brighter in `a` than in `b`.
std::size_t countBrighter(const uint8_t* a, const uint8_t* b, std::size_t count);

/// The same, pixel by pixel.
std::size_t countBrighterOneByOne(const uint8_t* a, const uint8_t* b, std::size_t count);

}  // namespace qatester
