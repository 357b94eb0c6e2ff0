#pragma once

#include <cstddef>
#include <cstdint>

namespace qatester {

/// Columns at either side of a picture that bars are not looked for in.
inline constexpr int kBarMargin = 10;
/// A pixel belongs to a bar from this value on: its twenty taps, which weigh 1.2 together and all
/// read the pixel itself, must add up to more than 20.
inline constexpr int kBarValue = 17;

/// Sets each value of `gradient` to the difference of `upper` and `lower`, without its sign.
/// Returns how many values change by `kBarValue` or more.
int64_t replaceGradient(const uint8_t* upper, const uint8_t* lower, std::size_t count,
                        uint8_t* gradient);

/// The same, pixel by pixel.
int64_t replaceGradientOneByOne(const uint8_t* upper, const uint8_t* lower, std::size_t count,
                                uint8_t* gradient);

/// Rows of grey pixels without gaps between them, of which one more than `rows` can be read.
/// `gradient` holds the differences of each pixel and the one below it in the picture before, and
/// gets those of this one. Returns how many pixels outside the margins change by `kBarValue` or
/// more.
int64_t changeGradient(const uint8_t* grey, int rows, int width, uint8_t* gradient);

/// The percentage of the pixels of a picture that `count` of them are, in single precision, rounded
/// down; 0 of none.
int percentOfPixels(int64_t count, int width, int height);

}  // namespace qatester
