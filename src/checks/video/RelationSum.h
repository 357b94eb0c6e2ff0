#pragma once

#include <cstddef>
#include <cstdint>

namespace qatester {

/// `sum`, to which `middle` / (`before` + `after`) of each pixel is added in turn, every step in
/// single precision; a pixel that is 0 in both adds nothing. `sum` is not negative.
float addRelations(float sum, const uint8_t* middle, const uint8_t* before, const uint8_t* after,
                   std::size_t count);

/// The same, pixel by pixel.
float addRelationsOneByOne(float sum, const uint8_t* middle, const uint8_t* before,
                           const uint8_t* after, std::size_t count);

/// The mean of a picture's relations.
inline float meanRelation(float sum, int width, int height) {
  return sum / static_cast<float>(int64_t{width} * height);
}

}  // namespace qatester
