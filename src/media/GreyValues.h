#pragma once

#include <cstddef>
#include <cstdint>

namespace qatester {

/// The grey values of packed 8-bit pixels, exactly as the installed OpenCV gives them for
/// `CV_RGB2GRAY`. The bytes are blue, green, red, so red's and blue's weights fall on each other:
/// clients rely on it.
void toGrey(const uint8_t* pixels, std::size_t count, uint8_t* grey);

/// The same, pixel by pixel.
void toGreyOneByOne(const uint8_t* pixels, std::size_t count, uint8_t* grey);

}  // namespace qatester
