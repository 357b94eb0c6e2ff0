#include "checks/audio/SampleMatches.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>

#include "checks/audio/SampleIntegers.h"
#include "checks/audio/SampleValues.h"

// The part in HWY_NAMESPACE is compiled once for each instruction set; the best one that the
// processor has is chosen at run time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "checks/audio/SampleMatches.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace qatester {
namespace HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR

// One by one, which is what is done with the values that do not fill a vector.
Matches matchZeros(const uint8_t*, const uint8_t*, int, int*) {
  return {};
}
Matches matchWithin(const int16_t*, const int16_t*, int, uint16_t, int*) {
  return {};
}
Matches matchFloats(const int32_t*, const int32_t*, int, float, int*) {
  return {};
}

#else

namespace hn = hwy::HWY_NAMESPACE;

using Ints = hn::ScalableTag<int32_t>;
using Floats = hn::RebindToFloat<Ints>;
using Shorts = hn::Repartition<int16_t, Ints>;

/// Counts, over instants 1 to `count` - 2 as far as they fill vectors, what `isMatch(x, y)`, a
/// vector of 0 and -1 in lanes of the type of the values, finds of the first channel's vector `x`
/// and the second's `y`. `*last` becomes the first instant that is not counted.
template <class Tag, class IsMatch>
HWY_INLINE Matches countInVectors(Tag lanes, const hn::TFromD<Tag>* first,
                                  const hn::TFromD<Tag>* second, int count, IsMatch isMatch,
                                  int* last) {
  const int step = static_cast<int>(hn::Lanes(lanes));
  // Few enough for a lane.
  constexpr auto kStepsAtOnce = static_cast<int>(std::numeric_limits<hn::TFromD<Tag> >::max());
  Matches matches;
  int i = 1;
  while (i + step <= count - 1) {
    auto previous = hn::Zero(lanes);
    auto same = hn::Zero(lanes);
    auto next = hn::Zero(lanes);
    for (int steps = 0; steps < kStepsAtOnce && i + step <= count - 1; ++steps, i += step) {
      const auto value = hn::LoadU(lanes, second + i);
      previous = hn::Sub(previous, isMatch(hn::LoadU(lanes, first + i - 1), value));
      same = hn::Sub(same, isMatch(hn::LoadU(lanes, first + i), value));
      next = hn::Sub(next, isMatch(hn::LoadU(lanes, first + i + 1), value));
    }
    HWY_ALIGN hn::TFromD<Tag> lanesOfThree[3][hn::MaxLanes(lanes)];
    hn::Store(previous, lanes, lanesOfThree[0]);
    hn::Store(same, lanes, lanesOfThree[1]);
    hn::Store(next, lanes, lanesOfThree[2]);
    for (int lane = 0; lane < step; ++lane) {
      matches.previous += lanesOfThree[0][lane];
      matches.same += lanesOfThree[1][lane];
      matches.next += lanesOfThree[2][lane];
    }
  }
  *last = i;
  return matches;
}

/// Only zeros match.
Matches matchZeros(const uint8_t* first, const uint8_t* second, int count, int* last) {
  const hn::ScalableTag<int8_t> lanes;
  return countInVectors(
      lanes, reinterpret_cast<const int8_t*>(first), reinterpret_cast<const int8_t*>(second), count,
      [&](auto x, auto y) { return hn::VecFromMask(lanes, hn::Eq(hn::Or(x, y), hn::Zero(lanes))); },
      last);
}

/// Values match that differ by at most `most`.
Matches matchWithin(const int16_t* first, const int16_t* second, int count, uint16_t most,
                    int* last) {
  const Shorts lanes;
  const hn::RebindToUnsigned<Shorts> positive;
  const auto limit = hn::Set(positive, most);
  return countInVectors(
      lanes, first, second, count,
      [&](auto x, auto y) {
        const auto difference = hn::BitCast(positive, hn::Sub(hn::Max(x, y), hn::Min(x, y)));
        const auto excess = hn::SaturatedSub(difference, limit);
        return hn::VecFromMask(lanes, hn::Eq(hn::BitCast(lanes, excess), hn::Zero(lanes)));
      },
      last);
}

/// Values match as `checkSingleSample` says with this width.
Matches matchFloats(const int32_t* first, const int32_t* second, int count, float width,
                    int* last) {
  const Ints lanes;
  const Floats floats;
  const auto w = hn::Set(floats, width);
  return countInVectors(
      lanes, first, second, count,
      [&](auto x, auto y) {
        const auto a = hn::ConvertTo(floats, x);
        const auto b = hn::ConvertTo(floats, y);
        const auto near = hn::And(hn::Gt(a, hn::Sub(b, w)), hn::Gt(hn::Add(b, w), a));
        const auto silent = hn::Eq(hn::Or(x, y), hn::Zero(lanes));
        return hn::Or(hn::BitCast(lanes, hn::VecFromMask(floats, near)),
                      hn::VecFromMask(lanes, silent));
      },
      last);
}

#endif  // HWY_TARGET == HWY_SCALAR

}  // namespace HWY_NAMESPACE
}  // namespace qatester
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qatester {

HWY_EXPORT(matchZeros);
HWY_EXPORT(matchWithin);
HWY_EXPORT(matchFloats);

namespace {

/// Adds the matches of the instants from `from` on.
template <typename T>
void addOneByOne(const OxAudioSample& first, const OxAudioSample& second, float tolerance, int from,
                 Matches& matches) {
  for (int i = from; i < first.numberOfSamples - 1; ++i) {
    const T value = valueAt<T>(second, i);
    matches.previous += checkSingleSample(valueAt<T>(first, i - 1), value, tolerance);
    matches.same += checkSingleSample(valueAt<T>(first, i), value, tolerance);
    matches.next += checkSingleSample(valueAt<T>(first, i + 1), value, tolerance);
  }
}

template <typename T>
const T* valuesOf(const OxAudioSample& block) {
  return reinterpret_cast<const T*>(block.buffer);
}

}  // namespace

std::optional<int> largestMatchingDifference(float width) {
  // A sum of 16 bits and of a width of up to 17 is exact when the width is whole, and otherwise
  // rounded by less than 1/64: nothing crosses a whole number but where the width is as near to
  // one.
  constexpr float kMargin = 1.0F / 64.0F;
  const float whole = std::floor(width);
  const float rest = width - whole;
  if (!(width >= 1.0F && width <= 65536.0F) || (rest > 0.0F && rest <= kMargin) ||
      rest >= 1.0F - kMargin) {
    return std::nullopt;
  }
  return static_cast<int>(whole) - (rest > 0.0F ? 0 : 1);
}

Matches countMatches(const OxAudioSample& first, const OxAudioSample& second, float tolerance) {
  const int count = first.numberOfSamples;
  Matches matches;
  int last = 1;
  switch (first.sampleFormat) {
    case AV_SAMPLE_FMT_U8:
      // Without tolerance, required.
      matches = HWY_DYNAMIC_DISPATCH(matchZeros)(first.buffer, second.buffer, count, &last);
      addOneByOne<unsigned char>(first, second, 0.0F, last, matches);
      return matches;
    case AV_SAMPLE_FMT_S16:
      if (const std::optional<int> most = largestMatchingDifference(65536.0F * tolerance)) {
        matches =
            HWY_DYNAMIC_DISPATCH(matchWithin)(valuesOf<int16_t>(first), valuesOf<int16_t>(second),
                                              count, static_cast<uint16_t>(*most), &last);
      }
      addOneByOne<short>(first, second, tolerance, last, matches);
      return matches;
    case AV_SAMPLE_FMT_S32:
      matches =
          HWY_DYNAMIC_DISPATCH(matchFloats)(valuesOf<int32_t>(first), valuesOf<int32_t>(second),
                                            count, 4294967296.0F * tolerance, &last);
      addOneByOne<int>(first, second, tolerance, last, matches);
      return matches;
    default:
      return matches;
  }
}

Matches countMatchesOneByOne(const OxAudioSample& first, const OxAudioSample& second,
                             float tolerance) {
  Matches matches;
  switch (first.sampleFormat) {
    case AV_SAMPLE_FMT_U8:
      addOneByOne<unsigned char>(first, second, 0.0F, 1, matches);
      break;
    case AV_SAMPLE_FMT_S16:
      addOneByOne<short>(first, second, tolerance, 1, matches);
      break;
    case AV_SAMPLE_FMT_S32:
      addOneByOne<int>(first, second, tolerance, 1, matches);
      break;
    default:
      break;
  }
  return matches;
}

}  // namespace qatester

#endif  // HWY_ONCE
