#include "checks/video/GreyValues.h"

namespace qatester {

void toGrey(const uint8_t* pixels, std::size_t count, uint8_t* grey) {
  toGreyOneByOne(pixels, count, grey);
}

void toGreyOneByOne(const uint8_t* pixels, std::size_t count, uint8_t* grey) {
  for (std::size_t i = 0; i < count; ++i) {
    const uint8_t* pixel = pixels + 3 * i;
    grey[i] = static_cast<uint8_t>((9798U * pixel[0] + 19235U * pixel[1] + 3735U * pixel[2] +
                                    16384U) >>
                                   15U);
  }
}

}  // namespace qatester
