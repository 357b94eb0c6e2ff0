#include "media/EightBits.h"

#include <algorithm>

// The part in HWY_NAMESPACE is compiled once for each instruction set; the best one that the
// processor has is chosen at run time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "media/EightBits.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace qatester {
namespace HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR

void eightBitsOf(const uint16_t* values, std::size_t count, int shift, uint8_t* bytes) {
  writeEightBitsOneByOne(values, count, shift, bytes);
}

#else

namespace hn = hwy::HWY_NAMESPACE;

void eightBitsOf(const uint16_t* values, std::size_t count, int shift, uint8_t* bytes) {
  const hn::ScalableTag<uint16_t> words;
  const hn::RebindToSigned<decltype(words)> integers;
  const hn::Rebind<uint8_t, decltype(words)> halves;
  const std::size_t step = hn::Lanes(words);
  // The demotion reads signed values.
  const auto most = hn::Set(words, 255);
  std::size_t i = 0;
  for (; i + step <= count; i += step) {
    const auto shifted = hn::ShiftRightSame(hn::LoadU(words, values + i), shift);
    hn::StoreU(hn::DemoteTo(halves, hn::BitCast(integers, hn::Min(shifted, most))), halves,
               bytes + i);
  }
  writeEightBitsOneByOne(values + i, count - i, shift, bytes + i);
}

#endif  // HWY_TARGET == HWY_SCALAR

}  // namespace HWY_NAMESPACE
}  // namespace qatester
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qatester {

HWY_EXPORT(eightBitsOf);

void writeEightBits(const uint16_t* values, std::size_t count, int shift, uint8_t* bytes) {
  HWY_DYNAMIC_DISPATCH(eightBitsOf)(values, count, shift, bytes);
}

void writeEightBitsOneByOne(const uint16_t* values, std::size_t count, int shift, uint8_t* bytes) {
  for (std::size_t i = 0; i < count; ++i) {
    bytes[i] = static_cast<uint8_t>(std::min(values[i] >> shift, 255));
  }
}

}  // namespace qatester

#endif  // HWY_ONCE
