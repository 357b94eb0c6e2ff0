#include "checks/video/RelationSum.h"

#include <algorithm>
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
// numbers that may be added in any order. Only a quotient halfway between two of them depends on
// the sum, which it makes even. Where a sum reaches the next power of two it goes in single steps.

HWY_BEFORE_NAMESPACE();
namespace qatester {
namespace HWY_NAMESPACE {

/// From here on a quotient, of at most 255, has less than 2^22 units.
constexpr float kLeastSum = 1024.0F;
/// The last bit of the numbers around it is 1, and stays so when 2^22 is added.
constexpr float kLarge = 12582912.0F;
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

/// Calls `each` with the quotients of a block, a vector at a time from the first, in whole units,
/// of two equally near ones the even one, and with what they are more.
template <class Each>
HWY_INLINE void forQuotients(const uint8_t* middle, const uint8_t* before, const uint8_t* after,
                             float unitsInOne, Each each) {
  const Floats floats;
  const Ints ints;
  const Bytes bytes;
  const auto scale = hn::Set(floats, unitsInOne);
  const auto large = hn::Set(floats, kLarge);
  const auto load = [&](const uint8_t* from) {
    return hn::PromoteTo(ints, hn::LoadU(bytes, from));
  };
#pragma GCC unroll 4
  for (std::size_t i = 0; i < kBlock; i += hn::Lanes(floats)) {
    const auto neighbours = hn::ConvertTo(floats, hn::Add(load(before + i), load(after + i)));
    const auto scaled = hn::Mul(hn::ConvertTo(floats, load(middle + i)), scale);
    const auto quotient =
        hn::IfThenElseZero(hn::Ne(neighbours, hn::Zero(floats)), hn::Div(scaled, neighbours));
    // Added to so large a number, a quotient loses what it has beside whole units.
    const auto nearest = hn::Sub(hn::Add(quotient, large), large);
    each(i, nearest, hn::Sub(quotient, nearest));
  }
}

/// The units of the quotients of a block, exactly if they are less than 2^24 and at least that many
/// otherwise; whether none of them is halfway between two numbers.
struct Units {
  uint32_t count;
  bool exact;
};

HWY_INLINE Units unitsOf(const uint8_t* middle, const uint8_t* before, const uint8_t* after,
                         float unitsInOne) {
  const Floats floats;
  const auto half = hn::Set(floats, 0.5F);
  auto sum = hn::Zero(floats);
  auto halfway = hn::FirstN(floats, 0);
  forQuotients(middle, before, after, unitsInOne, [&](std::size_t, auto nearest, auto rest) {
    sum = hn::Add(sum, nearest);
    halfway = hn::Or(halfway, hn::Eq(hn::Abs(rest), half));
  });
  return {static_cast<uint32_t>(hn::GetLane(hn::SumOfLanes(floats, sum))),
          hn::AllFalse(floats, halfway)};
}

/// The same one after the other, added to a sum of as many units: those halfway go to the even sum.
HWY_INLINE uint32_t unitsInTurn(const uint8_t* middle, const uint8_t* before, const uint8_t* after,
                                float unitsInOne, uint32_t sum) {
  const Floats floats;
  HWY_ALIGN float nearest[kBlock];
  HWY_ALIGN float rest[kBlock];
  forQuotients(middle, before, after, unitsInOne, [&](std::size_t i, auto units, auto more) {
    hn::Store(units, floats, nearest + i);
    hn::Store(more, floats, rest + i);
  });
  uint32_t count = 0;
  for (std::size_t i = 0; i < kBlock; ++i) {
    const bool odd = ((sum + count) & 1U) != 0;
    const int otherOne = rest[i] == 0.5F ? 1 : rest[i] == -0.5F ? -1 : 0;
    count += static_cast<uint32_t>(static_cast<int32_t>(nearest[i]) + (odd ? otherOne : 0));
  }
  return count;
}

/// Takes blocks until the sum is about to reach the next power of two; returns where the first
/// other one begins. The units stay the same meanwhile, so that no block waits for the one before.
HWY_INLINE std::size_t addBlocks(float* sum, const uint8_t* middle, const uint8_t* before,
                                 const uint8_t* after, std::size_t count) {
  constexpr uint32_t kMantissaBits = 23;
  constexpr uint32_t kLeading = 1U << kMantissaBits;
  constexpr uint32_t kBias = 127;
  uint32_t bits;
  std::memcpy(&bits, sum, sizeof bits);
  const uint32_t exponent = bits >> kMantissaBits;
  uint32_t mantissa = bits & (kLeading - 1);
  // 2 to the power of what the last bit lacks to 1.
  const uint32_t scaleBits = (kMantissaBits + 2 * kBias - exponent) << kMantissaBits;
  float unitsInOne;
  std::memcpy(&unitsInOne, &scaleBits, sizeof unitsInOne);
  std::size_t i = 0;
  for (; i + kBlock <= count; i += kBlock) {
    Units added = unitsOf(middle + i, before + i, after + i, unitsInOne);
    if (!added.exact) {
      added.count = unitsInTurn(middle + i, before + i, after + i, unitsInOne, mantissa);
    }
    if (mantissa + added.count >= kLeading) {
      break;
    }
    mantissa += added.count;
  }
  bits = exponent << kMantissaBits | mantissa;
  std::memcpy(sum, &bits, sizeof bits);
  return i;
}

float addRelationsIn(float sum, const uint8_t* middle, const uint8_t* before, const uint8_t* after,
                     std::size_t count) {
  for (std::size_t i = 0; i < count;) {
    if (sum >= kLeastSum) {
      i += addBlocks(&sum, middle + i, before + i, after + i, count - i);
    }
    const std::size_t next = std::min(kBlock, count - i);
    sum = addRelationsOneByOne(sum, middle + i, before + i, after + i, next);
    i += next;
  }
  return sum;
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
