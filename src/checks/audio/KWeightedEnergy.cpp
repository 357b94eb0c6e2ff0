#include "checks/audio/KWeightedEnergy.h"

#include <algorithm>
#include <cstddef>

#include "checks/audio/KWeighting.h"
#include "media/SampleIntegers.h"

// The part in HWY_NAMESPACE is compiled once for each instruction set; the best one that the
// processor has is chosen at run time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "checks/audio/KWeightedEnergy.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#ifndef QATESTER_K_WEIGHTED_ENERGY_ONCE
#define QATESTER_K_WEIGHTED_ENERGY_ONCE
namespace qatester {

struct Biquad {
  double b0;
  double b1;
  double b2;
  double a1;
  double a2;
};

constexpr Biquad kShelf{1.53512485958697, -2.69169618940638, 1.19839281085285, -1.69065929318241,
                        0.73248077421585};
constexpr Biquad kHighPass{1.0, -2.0, 1.0, -1.99004745483398, 0.99007225036621};

/// Values of each block that are filtered in one go, so that they stay in the fastest cache.
constexpr int kRun = 64;

/// The fractions of full scale of `count` values from `from` on.
inline void toFractions(const OxAudioSample& block, int from, int count, double* fractions) {
  const float unit = unitOfFullScale(block.sampleFormat);
  const auto convert = [&](const auto* values) {
    for (int i = 0; i < count; ++i) {
      fractions[i] = static_cast<float>(values[i]) * unit;
    }
  };
  switch (block.sampleFormat) {
    case AV_SAMPLE_FMT_S16:
      return convert(valuesOf<int16_t>(block) + from);
    case AV_SAMPLE_FMT_S32:
      return convert(valuesOf<int32_t>(block) + from);
    default:
      for (int i = 0; i < count; ++i) {
        fractions[i] = static_cast<float>(integerAt(block, from + i)) * unit;
      }
  }
}

}  // namespace qatester
#endif

HWY_BEFORE_NAMESPACE();
namespace qatester {
namespace HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR

int lanes() {
  return 1;
}

void weighInLanes(const OxAudioSample* const* blocks, int count, double* energies) {
  for (int i = 0; i < count; ++i) {
    energies[i] = weighOneByOne(*blocks[i]);
  }
}

#else

namespace hn = hwy::HWY_NAMESPACE;

/// As many blocks as there are lanes, up to 8, and two.
using AllLanes = hn::CappedTag<double, 8>;
using TwoLanes = hn::FixedTag<double, 2>;

int lanes() {
  return static_cast<int>(hn::Lanes(AllLanes()));
}

/// The filters' last two values each.
template <class Tag>
struct Filters {
  hn::Vec<Tag> x1;
  hn::Vec<Tag> x2;
  hn::Vec<Tag> y1;
  hn::Vec<Tag> y2;
  hn::Vec<Tag> z1;
  hn::Vec<Tag> z2;

  static HWY_INLINE Filters atRest() {
    const auto zero = hn::Zero(Tag());
    return {zero, zero, zero, zero, zero, zero};
  }

  /// What becomes of the next values.
  HWY_INLINE hn::Vec<Tag> next(hn::Vec<Tag> x) {
    const Tag lanes;
    // From left to right, as one by one: another order gives other last bits.
    auto y = hn::Mul(hn::Set(lanes, kShelf.b0), x);
    y = hn::Add(y, hn::Mul(hn::Set(lanes, kShelf.b1), x1));
    y = hn::Add(y, hn::Mul(hn::Set(lanes, kShelf.b2), x2));
    y = hn::Sub(y, hn::Mul(hn::Set(lanes, kShelf.a1), y1));
    y = hn::Sub(y, hn::Mul(hn::Set(lanes, kShelf.a2), y2));
    auto z = hn::Add(hn::Sub(y, hn::Add(y1, y1)), y2);
    z = hn::Sub(z, hn::Mul(hn::Set(lanes, kHighPass.a1), z1));
    z = hn::Sub(z, hn::Mul(hn::Set(lanes, kHighPass.a2), z2));
    *this = {x, x1, y, y1, z, z1};
    return z;
  }
};

/// Up to as many blocks, of one length, as there are lanes.
template <class Tag>
HWY_INLINE void weigh(const OxAudioSample* const* blocks, int count, double* energies) {
  const Tag lanes;
  constexpr auto kLanes = static_cast<int>(hn::MaxLanes(Tag()));
  HWY_ALIGN double values[kRun * kLanes] = {};
  double fractions[kRun];
  long double sums[kLanes] = {};
  auto filters = Filters<Tag>::atRest();
  for (int from = 0; from < blocks[0]->numberOfSamples; from += kRun) {
    const int run = std::min(kRun, blocks[0]->numberOfSamples - from);
    for (int lane = 0; lane < count; ++lane) {
      toFractions(*blocks[lane], from, run, fractions);
      for (int i = 0; i < run; ++i) {
        values[i * kLanes + lane] = fractions[i];
      }
    }
    for (int i = 0; i < run; ++i) {
      const auto z = filters.next(hn::Load(lanes, values + i * kLanes));
      hn::Store(hn::Mul(z, z), lanes, values + i * kLanes);
    }
    // Two sums at a time keep the adder of extended precision busy.
    for (int lane = 0; lane < count; lane += 2) {
      long double a = sums[lane];
      long double b = sums[lane + 1];
      for (int i = 0; i < run; ++i) {
        a += static_cast<long double>(values[i * kLanes + lane]);
        b += static_cast<long double>(values[i * kLanes + lane + 1]);
      }
      sums[lane] = a;
      sums[lane + 1] = b;
    }
  }
  for (int lane = 0; lane < count; ++lane) {
    energies[lane] = static_cast<double>(sums[lane]);
  }
}

void weighInLanes(const OxAudioSample* const* blocks, int count, double* energies) {
  if (count <= 2) {
    weigh<TwoLanes>(blocks, count, energies);
  } else {
    weigh<AllLanes>(blocks, count, energies);
  }
}

#endif  // HWY_TARGET == HWY_SCALAR

}  // namespace HWY_NAMESPACE
}  // namespace qatester
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qatester {

HWY_EXPORT(lanes);
HWY_EXPORT(weighInLanes);

int blocksAtOnce() {
  return HWY_DYNAMIC_DISPATCH(lanes)();
}

void weighBlocks(const OxAudioSample* const* blocks, int count, double* energies) {
  for (int at = 0; at < count;) {
    const auto sameLength = [&](const OxAudioSample* other) {
      return other->numberOfSamples == blocks[at]->numberOfSamples;
    };
    const int most = std::min(count - at, blocksAtOnce());
    const auto* const end = std::find_if_not(blocks + at, blocks + at + most, sameLength);
    const auto together = static_cast<int>(end - (blocks + at));
    if (together == 1 || blocks[at]->numberOfSamples < 2) {
      std::transform(blocks + at, end, energies + at,
                     [](const OxAudioSample* block) { return weighOneByOne(*block); });
    } else {
      HWY_DYNAMIC_DISPATCH(weighInLanes)(blocks + at, together, energies + at);
    }
    at += together;
  }
}

double weighOneByOne(const OxAudioSample& block) {
  if (block.numberOfSamples < 2) {
    return 0.0;
  }
  long double energy = 0.0L;
  double x1 = 0.0;
  double x2 = 0.0;
  double y1 = 0.0;
  double y2 = 0.0;
  double z1 = 0.0;
  double z2 = 0.0;
  double fractions[kRun];
  for (int from = 0; from < block.numberOfSamples; from += kRun) {
    const int run = std::min(kRun, block.numberOfSamples - from);
    toFractions(block, from, run, fractions);
    for (int i = 0; i < run; ++i) {
      const double x = fractions[i];
      const double y =
          kShelf.b0 * x + kShelf.b1 * x1 + kShelf.b2 * x2 - kShelf.a1 * y1 - kShelf.a2 * y2;
      const double z = y - 2.0 * y1 + y2 - kHighPass.a1 * z1 - kHighPass.a2 * z2;
      energy += static_cast<long double>(z * z);
      x2 = x1;
      x1 = x;
      y2 = y1;
      y1 = y;
      z2 = z1;
      z1 = z;
    }
  }
  return static_cast<double>(energy);
}

}  // namespace qatester

double runFilter(OxAudioSample block) {
  return qatester::weighOneByOne(block);
}

#endif  // HWY_ONCE
