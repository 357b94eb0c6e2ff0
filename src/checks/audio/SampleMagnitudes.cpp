#include "checks/audio/SampleMagnitudes.h"

#include <algorithm>

#include "media/SampleIntegers.h"

// The part in HWY_NAMESPACE is compiled once for each instruction set; the best one that the
// processor has is chosen at run time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "checks/audio/SampleMagnitudes.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace qatester {
namespace HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR

Magnitudes magnitudesOf(const OxAudioSample& block) {
  return measureMagnitudesOneByOne(block);
}

#else

namespace hn = hwy::HWY_NAMESPACE;

/// The magnitudes of a vector of values, as unsigned ones: the most negative value has one, too.
template <class Tag, class V>
HWY_INLINE auto magnitudes(Tag lanes, V values) {
  const hn::RebindToUnsigned<Tag> positive;
  if constexpr (sizeof(hn::TFromD<Tag>) == 1) {
    // See `signedByte`: of bytes from 128 on, the distance from 255.
    const auto high = hn::VecFromMask(lanes, hn::Lt(values, hn::Zero(lanes)));
    return hn::BitCast(positive, hn::Xor(values, high));
  } else {
    return hn::BitCast(positive, hn::Abs(values));
  }
}

/// Of `count` values, at least a vector of them.
template <class Tag>
HWY_INLINE Magnitudes measure(Tag lanes, const hn::TFromD<Tag>* values, int count) {
  const hn::RebindToUnsigned<Tag> positive;
  const auto one = hn::Set(positive, 1);
  const int step = static_cast<int>(hn::Lanes(lanes));
  auto largest = hn::Zero(positive);
  // Less 1, so that 0 becomes the largest of all.
  auto smallest = hn::Sub(hn::Zero(positive), one);
  const auto widen = [&](const hn::TFromD<Tag>* at) {
    const auto magnitude = magnitudes(lanes, hn::LoadU(lanes, at));
    largest = hn::Max(largest, magnitude);
    smallest = hn::Min(smallest, hn::Sub(magnitude, one));
  };
  for (int i = 0; i + step <= count; i += step) {
    widen(values + i);
  }
  widen(values + count - step);

  HWY_ALIGN hn::TFromD<decltype(positive)> each[2][hn::MaxLanes(positive)];
  hn::Store(largest, positive, each[0]);
  hn::Store(smallest, positive, each[1]);
  Magnitudes result;
  result.largest = *std::max_element(each[0], each[0] + step);
  if (!result.silent()) {
    result.smallest = *std::min_element(each[1], each[1] + step) + 1U;
  }
  return result;
}

template <typename T>
HWY_INLINE Magnitudes measureBlock(const OxAudioSample& block) {
  const hn::ScalableTag<T> lanes;
  if (block.numberOfSamples < static_cast<int>(hn::Lanes(lanes))) {
    return measureMagnitudesOneByOne(block);
  }
  return measure(lanes, valuesOf<T>(block), block.numberOfSamples);
}

Magnitudes magnitudesOf(const OxAudioSample& block) {
  switch (block.sampleFormat) {
    case AV_SAMPLE_FMT_U8:
      return measureBlock<int8_t>(block);
    case AV_SAMPLE_FMT_S16:
      return measureBlock<int16_t>(block);
    case AV_SAMPLE_FMT_S32:
      return measureBlock<int32_t>(block);
    default:
      return {};
  }
}

#endif  // HWY_TARGET == HWY_SCALAR

}  // namespace HWY_NAMESPACE
}  // namespace qatester
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qatester {

HWY_EXPORT(magnitudesOf);

Magnitudes measureMagnitudes(const OxAudioSample& block) {
  return HWY_DYNAMIC_DISPATCH(magnitudesOf)(block);
}

Magnitudes measureMagnitudesOneByOne(const OxAudioSample& block) {
  Magnitudes magnitudes;
  for (int i = 0; i < block.numberOfSamples; ++i) {
    const auto magnitude = static_cast<uint32_t>(wrappedMagnitude(integerAt(block, i)));
    magnitudes.largest = std::max(magnitudes.largest, magnitude);
    if (magnitude != 0) {
      magnitudes.smallest = std::min(magnitudes.smallest, magnitude);
    }
  }
  return magnitudes;
}

}  // namespace qatester

#endif  // HWY_ONCE
