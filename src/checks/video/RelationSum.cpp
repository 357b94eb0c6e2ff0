#include "checks/video/RelationSum.h"

namespace qatester {

float addRelations(float sum, const uint8_t* middle, const uint8_t* before, const uint8_t* after,
                   std::size_t count) {
  return addRelationsOneByOne(sum, middle, before, after, count);
}

float addRelationsOneByOne(float sum, const uint8_t* middle, const uint8_t* before,
                           const uint8_t* after, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const int neighbours = before[i] + after[i];
    if (neighbours != 0) {
      sum += static_cast<float>(middle[i]) / static_cast<float>(neighbours);
    }
  }
  return sum;
}

}  // namespace qatester
