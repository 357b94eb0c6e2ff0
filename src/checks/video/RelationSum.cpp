#include "checks/video/RelationSum.h"

#include <cstring>

// The part in HWY_NAMESPACE is compiled once for each instruction set; the best one that the
// processor has is chosen at run time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "checks/video/RelationSum.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// A sum in single precision depends on the order of its steps, so that lanes cannot each add up
// some of the pixels. But as long as it stays between two powers of two it is a whole number of
// units, those of its last bit, and adding a quotient adds the whole number of units next to it:
// numbers that may be added in any order. Two cases are left to single steps: a quotient halfway
// between two numbers of units, which goes to the one that makes the sum even, and a sum that
// reaches the next power of two.

HWY_BEFORE_NAMESPACE();
namespace qatester {
namespace HWY_NAMESPACE {

/// From here on no quotient has more units than an integer holds.
constexpr float kLeastSum = 1024.0F;
constexpr std::size_t kBlock = 32;

#if HWY_TARGET == HWY_SCALAR

float addRelationsIn(float sum, const uint8_t* middle, const uint8_t* before, const uint8_t* after,
                     std::size_t count) {
  return addRelationsOneByOne(sum, middle, before, after, count);
}

#else

namespace hn = hwy::HWY_NAMESPACE;

using Floats = hn::CappedTag<float, kBlock>;
using Ints = hn::RebindToSigned<Floats>;
using Bytes = hn::Rebind<uint8_t, Floats>;

/// The units of the quotients of a block, if none of them is halfway between two numbers.
struct Units {
  int count;
  bool exact;
};

HWY_INLINE Units unitsOf(const uint8_t* middle, const uint8_t* before, const uint8_t* after,
                         float unitsInOne) {
  const Floats floats;
  const Ints ints;
  const Bytes bytes;
  const auto scale = hn::Set(floats, unitsInOne);
  const auto half = hn::Set(floats, 0.5F);
  const auto load = [&](const uint8_t* from) {
    return hn::PromoteTo(ints, hn::LoadU(bytes, from));
  };
  auto sum = hn::Zero(ints);
  auto halfway = hn::FirstN(floats, 0);
#pragma GCC unroll 4
  for (std::size_t i = 0; i < kBlock; i += hn::Lanes(floats)) {
    const auto neighbours = hn::ConvertTo(floats, hn::Add(load(before + i), load(after + i)));
    const auto scaled = hn::Mul(hn::ConvertTo(floats, load(middle + i)), scale);
    const auto quotient =
        hn::IfThenElseZero(hn::Ne(neighbours, hn::Zero(floats)), hn::Div(scaled, neighbours));
    const auto nearest = hn::NearestInt(quotient);
    sum = hn::Add(sum, nearest);
    const auto rest = hn::Abs(hn::Sub(quotient, hn::ConvertTo(floats, nearest)));
    halfway = hn::Or(halfway, hn::Eq(rest, half));
  }
  return {hn::GetLane(hn::SumOfLanes(ints, sum)), hn::AllFalse(floats, halfway)};
}

float addRelationsIn(float sum, const uint8_t* middle, const uint8_t* before, const uint8_t* after,
                     std::size_t count) {
  constexpr uint32_t kMantissaBits = 23;
  constexpr uint32_t kLeading = 1U << kMantissaBits;
  constexpr uint32_t kBias = 127;
  std::size_t i = 0;
  for (; i + kBlock <= count; i += kBlock) {
    if (sum >= kLeastSum) {
      uint32_t bits;
      std::memcpy(&bits, &sum, sizeof bits);
      const uint32_t exponent = bits >> kMantissaBits;
      // 2 to the power of what the last bit lacks to 1.
      const uint32_t scaleBits = (kMantissaBits + 2 * kBias - exponent) << kMantissaBits;
      float unitsInOne;
      std::memcpy(&unitsInOne, &scaleBits, sizeof unitsInOne);
      const Units added = unitsOf(middle + i, before + i, after + i, unitsInOne);
      const uint32_t mantissa = (bits & (kLeading - 1)) + static_cast<uint32_t>(added.count);
      if (added.exact && mantissa < kLeading) {
        bits = exponent << kMantissaBits | mantissa;
        std::memcpy(&sum, &bits, sizeof sum);
        continue;
      }
    }
    sum = addRelationsOneByOne(sum, middle + i, before + i, after + i, kBlock);
  }
  return addRelationsOneByOne(sum, middle + i, before + i, after + i, count - i);
}

#endif  // HWY_TARGET == HWY_SCALAR

}  // namespace HWY_NAMESPACE
}  // namespace qatester
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qatester {

HWY_EXPORT(addRelationsIn);

float addRelations(float sum, const uint8_t* middle, const uint8_t* before, const uint8_t* after,
                   std::size_t count) {
  return HWY_DYNAMIC_DISPATCH(addRelationsIn)(sum, middle, before, after, count);
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

#endif  // HWY_ONCE
