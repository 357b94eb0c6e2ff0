#include "checks/audio/SampleMatches.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>

#include "media/SampleIntegers.h"
#include "media/SampleValues.h"

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

/// Counts what `isMatch(x, y)` finds of a vector `x` of the first channel and `y` of the second,
/// and sets `*last` to the first instant that is not counted. Counts nothing where the instants do
/// not fill a vector.
template <class Tag, class IsMatch>
HWY_INLINE Matches countInVectors(Tag lanes, const hn::TFromD<Tag>* first,
                                  const hn::TFromD<Tag>* second, int count, IsMatch isMatch,
                                  int* last) {
  const int step = static_cast<int>(hn::Lanes(lanes));
  const int end = count - 1;
  Matches matches;
  if (end - 1 < step) {
    return matches;
  }
  const auto add = [&](int i, auto wanted) {
    const auto value = hn::LoadU(lanes, second + i);
    const auto matchesOf = [&](int at) {
      const auto found = isMatch(hn::LoadU(lanes, first + at), value);
      return static_cast<int64_t>(hn::CountTrue(lanes, hn::And(wanted, found)));
    };
    matches.previous += matchesOf(i - 1);
    matches.same += matchesOf(i);
    matches.next += matchesOf(i + 1);
  };
  const auto all = hn::FirstN(lanes, static_cast<std::size_t>(step));
  int i = 1;
  for (; i + step <= end; i += step) {
    add(i, all);
  }
  // The last ones, in a vector that overlaps those that are counted already.
  const int overlapping = end - step;
  add(overlapping, hn::Not(hn::FirstN(lanes, static_cast<std::size_t>(i - overlapping))));
  *last = end;
  return matches;
}

/// Only zeros match.
Matches matchZeros(const uint8_t* first, const uint8_t* second, int count, int* last) {
  const hn::ScalableTag<int8_t> lanes;
  return countInVectors(
      lanes, reinterpret_cast<const int8_t*>(first), reinterpret_cast<const int8_t*>(second), count,
      [&](auto x, auto y) { return hn::Eq(hn::Or(x, y), hn::Zero(lanes)); }, last);
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
        return hn::Eq(hn::BitCast(lanes, excess), hn::Zero(lanes));
      },
      last);
}

/// Values match as `checkSingleSample` says with this width, which is above 0.
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
        return hn::RebindMask(lanes, hn::And(hn::Gt(a, hn::Sub(b, w)), hn::Gt(hn::Add(b, w), a)));
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
      if (const float width = 4294967296.0F * tolerance; width > 0.0F) {
        matches = HWY_DYNAMIC_DISPATCH(matchFloats)(valuesOf<int32_t>(first),
                                                    valuesOf<int32_t>(second), count, width, &last);
      }
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
