#include "checks/audio/LagSearch.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "foundation/Conversions.h"
#include "media/SampleIntegers.h"

// The part in HWY_NAMESPACE is compiled once for each instruction set; the best one that the
// processor has is chosen at run time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "checks/audio/LagSearch.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// 256 |a - b| over full scale is |a - b| / 128 for 16 bits and |a - b| / 2^23 for 32. A sum that is
// a whole number, not negative, and truncated with every step grows by just the whole part of that.

HWY_BEFORE_NAMESPACE();
namespace qatester {
namespace HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR

template <int kShift, typename T>
int64_t sumOneByOne(const T* a, const T* b, int count, int64_t limit) {
  int64_t sum = 0;
  for (int i = 0; i < count && sum < limit; ++i) {
    sum += wrappedMagnitude(wrappedDifference(a[i], b[i])) >> kShift;
  }
  return sum;
}

int64_t sum8(const int16_t* a, const int16_t* b, int count, int64_t limit) {
  return sumOneByOne<0>(a, b, count, limit);
}
int64_t sum16(const int16_t* a, const int16_t* b, int count, int64_t limit) {
  return sumOneByOne<7>(a, b, count, limit);
}
int64_t sum32(const int32_t* a, const int32_t* b, int count, int64_t limit) {
  return sumOneByOne<23>(a, b, count, limit);
}
#else

namespace hn = hwy::HWY_NAMESPACE;

using Ints = hn::ScalableTag<int32_t>;
using Shorts = hn::Repartition<int16_t, Ints>;

/// The whole parts of the scaled differences of 16-bit values, added up in lanes of 16 bits.
template <int kShift>
struct ShortTerms {
  using Value = int16_t;
  using Tag = Shorts;

  static HWY_INLINE hn::Vec<Shorts> terms(const int16_t* a, const int16_t* b) {
    const hn::RebindToUnsigned<Shorts> positive;
    const auto x = hn::LoadU(Shorts(), a);
    const auto y = hn::LoadU(Shorts(), b);
    const auto difference = hn::BitCast(positive, hn::Sub(hn::Max(x, y), hn::Min(x, y)));
    return hn::BitCast(Shorts(), hn::ShiftRight<kShift>(difference));
  }

  static HWY_INLINE hn::Vec<Ints> widen(hn::Vec<Shorts> sums) {
    auto odd = hn::Zero(Ints());
    const auto even =
        hn::ReorderWidenMulAccumulate(Ints(), sums, hn::Set(Shorts(), 1), hn::Zero(Ints()), odd);
    return hn::Add(even, odd);
  }
};

/// The same of 32-bit values.
struct IntTerms {
  using Value = int32_t;
  using Tag = Ints;

  static HWY_INLINE hn::Vec<Ints> terms(const int32_t* a, const int32_t* b) {
    return hn::ShiftRight<23>(hn::Abs(hn::Sub(hn::LoadU(Ints(), a), hn::LoadU(Ints(), b))));
  }
  static HWY_INLINE hn::Vec<Ints> widen(hn::Vec<Ints> sums) { return sums; }
};

/// The sum of `count` terms, or some sum that is not below `limit` as soon as there is one.
template <class Terms>
int64_t sum(const typename Terms::Value* a, const typename Terms::Value* b, int count,
            int64_t limit) {
  using Value = typename Terms::Value;
  const typename Terms::Tag lanes;
  constexpr Ints kInts;
  const int step = static_cast<int>(hn::Lanes(lanes));
  if (count < step) {
    HWY_ALIGN Value x[hn::MaxLanes(lanes)] = {};
    HWY_ALIGN Value y[hn::MaxLanes(lanes)] = {};
    std::copy_n(a, count, x);
    std::copy_n(b, count, y);
    return hn::GetLane(hn::SumOfLanes(kInts, Terms::widen(Terms::terms(x, y))));
  }
  // Few enough for lanes of 16 bits, at up to 511 a term.
  constexpr int kStepsAtOnce = 16;
  auto total = hn::Zero(kInts);
  int i = 0;
  while (count - i >= step) {
    auto sums = hn::Zero(lanes);
    const int last = std::min(count - step, i + (kStepsAtOnce - 1) * step);
#pragma GCC unroll 4
    for (; i <= last; i += step) {
      sums = hn::Add(sums, Terms::terms(a + i, b + i));
    }
    total = hn::Add(total, Terms::widen(sums));
    const int64_t soFar = hn::GetLane(hn::SumOfLanes(kInts, total));
    if (soFar >= limit || i == count) {
      return soFar;
    }
  }
  // The last ones, in a vector that overlaps those that are summed already.
  const auto summed = hn::FirstN(lanes, static_cast<std::size_t>(step - (count - i)));
  const auto terms = Terms::terms(a + count - step, b + count - step);
  total = hn::Add(total, Terms::widen(hn::IfThenZeroElse(summed, terms)));
  return hn::GetLane(hn::SumOfLanes(kInts, total));
}

int64_t sum8(const int16_t* a, const int16_t* b, int count, int64_t limit) {
  return sum<ShortTerms<0> >(a, b, count, limit);
}
int64_t sum16(const int16_t* a, const int16_t* b, int count, int64_t limit) {
  return sum<ShortTerms<7> >(a, b, count, limit);
}
int64_t sum32(const int32_t* a, const int32_t* b, int count, int64_t limit) {
  return sum<IntTerms>(a, b, count, limit);
}

#endif  // HWY_TARGET == HWY_SCALAR

}  // namespace HWY_NAMESPACE
}  // namespace qatester
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qatester {

HWY_EXPORT(sum8);
HWY_EXPORT(sum16);
HWY_EXPORT(sum32);

namespace {

/// 256 times the difference as a fraction of full scale, added as clients know it: in double
/// precision, truncated with every step.
int addScaled(int sum, int32_t a, int32_t b, double unit) {
  const int32_t difference = wrappedMagnitude(wrappedDifference(a, b));
  return truncateTo<int>(sum + difference * unit * 256.0);
}

int addDifference(int format, int sum, int32_t a, int32_t b) {
  switch (format) {
    case AV_SAMPLE_FMT_U8:
      return sum + wrappedMagnitude(a - b);
    case AV_SAMPLE_FMT_S16:
    case AV_SAMPLE_FMT_S32:
      return addScaled(sum, a, b, static_cast<double>(unitOfFullScale(format)));
    default:
      return sum;
  }
}

/// The search over blocks of `count` values. `sum(a, b, count, limit)` gives the sum of scaled
/// differences, or any number from `limit` on when it is not below that.
template <typename T, typename Sum>
BestLag search(const T* first, const T* second, int count, BestLag best, Sum sum) {
  if (count < 2) {
    return best;
  }
  const auto score = [&](int lag, int64_t toBeat) {
    const int pairs = count - lag;
    const int64_t limit = toBeat * pairs;
    const int64_t forward = sum(first + lag, second, pairs, limit);
    return std::min(forward, sum(first, second + lag, pairs, std::min(limit, forward))) / pairs;
  };
  if (score(0, best.score) < best.score) {
    best.lag = 0;
  }
  best.score = count;

  // The smallest score wins and, of equal ones, the smallest lag, whatever the order. The lag of
  // the block before is likely to do well again, and the better the best, the sooner others stop.
  const int guess = best.lag;
  bool guessed = false;
  const auto test = [&](int lag) {
    const int64_t toBeat = best.score + (guessed && lag < best.lag ? 1 : 0);
    const int64_t reached = score(lag, toBeat);
    if (reached < toBeat) {
      best = {reached, lag};
      return true;
    }
    return false;
  };
  if (guess > 0 && guess < count / 2) {
    guessed = test(guess);
  }
  for (int lag = 1; lag < count / 2; ++lag) {
    if (lag != guess) {
      test(lag);
    }
  }
  return best;
}

/// The values of an 8-bit block.
std::vector<int16_t> signedBytes(const OxAudioSample& block, int count) {
  std::vector<int16_t> values(static_cast<std::size_t>(count));
  std::transform(block.buffer, block.buffer + count, values.begin(),
                 [](uint8_t value) { return static_cast<int16_t>(signedByte(value)); });
  return values;
}

/// The distances, counted from `count`, at which a value of `first` comes after a value of `second`
/// so far away that their difference wraps to -2^31. Empty when there is none.
std::vector<bool> wrappingDistances(const int32_t* first, const int32_t* second, int count) {
  // Most values of `second` have no partner, which a table of hashes tells without a search.
  constexpr int kHashBits = 18;
  const auto hash = [](uint32_t value) { return value * 2654435761U >> (32 - kHashBits); };
  std::vector<bool> present(std::size_t{1} << kHashBits);
  for (int i = 0; i < count; ++i) {
    present[hash(static_cast<uint32_t>(first[i]))] = true;
  }
  std::vector<bool> distances;
  for (int j = 0; j < count; ++j) {
    const uint32_t partner = static_cast<uint32_t>(second[j]) ^ 0x80000000U;
    if (present[hash(partner)]) {
      const auto value = static_cast<int32_t>(partner);
      const int32_t* const end = first + count;
      for (auto at = std::find(first, end, value); at != end; at = std::find(at + 1, end, value)) {
        distances.resize(2 * static_cast<std::size_t>(count));
        distances[static_cast<std::size_t>(count + (at - first) - j)] = true;
      }
    }
  }
  return distances;
}

/// The sum of differences of which some wrap: they take away from it, and what is truncated then
/// depends on its sign. 64 bits hold it with all its fraction, as a double does.
int64_t sumWrapping(const int32_t* a, const int32_t* b, int count) {
  int64_t sum = 0;
  for (int i = 0; i < count; ++i) {
    constexpr int64_t kOne = int64_t{1} << 23;
    sum = (sum * kOne + wrappedMagnitude(wrappedDifference(a[i], b[i]))) / kOne;
  }
  return sum;
}

BestLag search32(const int32_t* first, const int32_t* second, int count, BestLag before) {
  const std::vector<bool> wrapping = wrappingDistances(first, second, count);
  const auto sum = [&](const int32_t* a, const int32_t* b, int pairs, int64_t limit) {
    const auto distance = static_cast<std::size_t>(count + (a - first) - (b - second));
    return !wrapping.empty() && wrapping[distance]
               ? sumWrapping(a, b, pairs)
               : HWY_DYNAMIC_DISPATCH(sum32)(a, b, pairs, limit);
  };
  return search(first, second, count, before, sum);
}

}  // namespace

BestLag searchLags(const OxAudioSample& first, const OxAudioSample& second, BestLag before) {
  // Sums are dispatched anew with each call: a pointer that is kept from before the first call
  // would look for the instruction set every time, which takes longer than the sum.
  const int count = first.numberOfSamples;
  switch (first.sampleFormat) {
    case AV_SAMPLE_FMT_U8: {
      const std::vector<int16_t> a = signedBytes(first, count);
      const std::vector<int16_t> b = signedBytes(second, count);
      const auto sum = [](const int16_t* x, const int16_t* y, int pairs, int64_t limit) {
        return HWY_DYNAMIC_DISPATCH(sum8)(x, y, pairs, limit);
      };
      return search(a.data(), b.data(), count, before, sum);
    }
    case AV_SAMPLE_FMT_S16: {
      const auto sum = [](const int16_t* x, const int16_t* y, int pairs, int64_t limit) {
        return HWY_DYNAMIC_DISPATCH(sum16)(x, y, pairs, limit);
      };
      return search(valuesOf<int16_t>(first), valuesOf<int16_t>(second), count, before, sum);
    }
    case AV_SAMPLE_FMT_S32:
      return search32(valuesOf<int32_t>(first), valuesOf<int32_t>(second), count, before);
    default:
      return search(first.buffer, second.buffer, count, before,
                    [](const uint8_t*, const uint8_t*, int, int64_t) { return int64_t{0}; });
  }
}

BestLag searchLagsOneByOne(const OxAudioSample& first, const OxAudioSample& second,
                           BestLag before) {
  const int format = first.sampleFormat;
  const int count = first.numberOfSamples;
  OxAudioSample other = second;
  other.sampleFormat = format;
  BestLag best = before;
  for (int lag = 0; lag < count / 2; ++lag) {
    const int pairs = count - lag;
    int forward = 0;
    int backward = 0;
    for (int i = 0; i < pairs; ++i) {
      forward = addDifference(format, forward, integerAt(first, i + lag), integerAt(other, i));
      backward = addDifference(format, backward, integerAt(first, i), integerAt(other, i + lag));
    }
    // NOLINTNEXTLINE(clang-analyzer-core.DivideZero): a lag is less than half of the count.
    const int64_t score = std::min(forward / pairs, backward / pairs);
    if (score < best.score) {
      best = {score, lag};
    }
    if (lag == 0) {
      best.score = count;
    }
  }
  return best;
}

}  // namespace qatester

#endif  // HWY_ONCE
