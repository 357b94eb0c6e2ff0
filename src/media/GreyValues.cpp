#include "media/GreyValues.h"

// The part in HWY_NAMESPACE is compiled once for each instruction set; the best one that the
// processor has is chosen at run time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "media/GreyValues.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace qatester {
namespace HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR

void greyOf(const uint8_t* pixels, std::size_t count, uint8_t* grey) {
  toGreyOneByOne(pixels, count, grey);
}

#else

namespace hn = hwy::HWY_NAMESPACE;

/// Of every second byte of each channel, as numbers of 16 bits. OpenCV's weights are of 15 bits;
/// here each is 256 times a high part plus a low part, so that all fits in 16: the sum of the low
/// parts is at most 256 * 255, and that of the high parts at most 127 * 255, with 64 for rounding.
template <class V>
HWY_INLINE V weighted(V first, V second, V third) {
  const hn::DFromV<V> lanes;
  const auto times = [&](V value, int weight) {
    return hn::Mul(value, hn::Set(lanes, static_cast<uint16_t>(weight)));
  };
  const V high = hn::Add(hn::Add(times(first, 9798 / 256), times(second, 19235 / 256)),
                         times(third, 3735 / 256));
  const V low = hn::Add(hn::Add(times(first, 9798 % 256), times(second, 19235 % 256)),
                        times(third, 3735 % 256));
  const V sum = hn::Add(hn::Add(high, hn::Set(lanes, 64)), hn::ShiftRight<8>(low));
  return hn::ShiftRight<7>(sum);
}

void greyOf(const uint8_t* pixels, std::size_t count, uint8_t* grey) {
  const hn::ScalableTag<uint8_t> bytes;
  const hn::Repartition<uint16_t, decltype(bytes)> words;
  const std::size_t step = hn::Lanes(bytes);
  if (count < step) {
    return toGreyOneByOne(pixels, count, grey);
  }
  const auto evenByte = hn::Set(words, 0x00FF);
  const auto convert = [&](std::size_t i) {
    hn::Vec<decltype(bytes)> channel[3];
    hn::LoadInterleaved3(bytes, pixels + 3 * i, channel[0], channel[1], channel[2]);
    const auto even = [&](int c) { return hn::And(hn::BitCast(words, channel[c]), evenByte); };
    const auto odd = [&](int c) { return hn::ShiftRight<8>(hn::BitCast(words, channel[c])); };
    const auto evens = weighted(even(0), even(1), even(2));
    const auto odds = weighted(odd(0), odd(1), odd(2));
    hn::StoreU(hn::BitCast(bytes, hn::Or(evens, hn::ShiftLeft<8>(odds))), bytes, grey + i);
  };
  for (std::size_t i = 0; i + step <= count; i += step) {
    convert(i);
  }
  convert(count - step);
}

#endif  // HWY_TARGET == HWY_SCALAR

}  // namespace HWY_NAMESPACE
}  // namespace qatester
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qatester {

HWY_EXPORT(greyOf);

void toGrey(const uint8_t* pixels, std::size_t count, uint8_t* grey) {
  HWY_DYNAMIC_DISPATCH(greyOf)(pixels, count, grey);
}

void toGreyOneByOne(const uint8_t* pixels, std::size_t count, uint8_t* grey) {
  for (std::size_t i = 0; i < count; ++i) {
    const uint8_t* pixel = pixels + 3 * i;
    grey[i] = static_cast<uint8_t>(
        (9798U * pixel[0] + 19235U * pixel[1] + 3735U * pixel[2] + 16384U) >> 15U);
  }
}

}  // namespace qatester

#endif  // HWY_ONCE
