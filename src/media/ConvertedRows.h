#pragma once

#include <cstdint>

namespace qatester {

/// Some rows of a converted picture, packed 8-bit blue, green, red.
struct ConvertedRows {
  const uint8_t* bytes = nullptr;  ///< of the first of them
  int64_t stride = 0;              ///< bytes from one row to the next
  int first = 0;                   ///< its number in the picture
  int count = 0;                   ///< how many rows there are
};

}  // namespace qatester
