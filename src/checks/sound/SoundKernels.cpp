#include "checks/sound/SoundKernels.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>

// The part in HWY_NAMESPACE is compiled once for each instruction set; the best one that the
// processor has is chosen at run time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "checks/sound/SoundKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#ifndef QATESTER_SOUND_KERNELS_ONCE
#define QATESTER_SOUND_KERNELS_ONCE
namespace qatester {

/// Sums are kept in so many parts, whatever the width of vectors, and added up in their order.
constexpr int kParts = 16;

/// Parts of a cell that are filtered side by side.
constexpr int kStretches = 8;

constexpr int kPhases = 7;
constexpr int kTaps = 24;
constexpr int kTapsBefore = 11;  ///< of those, before the sample on the left

struct Interpolation {
  float taps[kPhases][kTaps];
  float perBend;
};

const Interpolation& interpolation();

/// The sums of a cell while it is gone through, part by part.
struct LevelParts {
  alignas(64) float highest[kParts] = {};
  alignas(64) float lowest[kParts] = {};
  alignas(64) float bend[kParts] = {};
  alignas(64) float sum[kParts] = {};
  alignas(64) float squares[kParts] = {};

  void add(const float* at, int part) {
    const float value = *at;
    highest[part] = std::max(highest[part], value);
    lowest[part] = std::min(lowest[part], value);
    bend[part] = std::max(bend[part], std::abs(value - (at[-1] + at[-1]) + at[-2]));
    sum[part] += value;
    squares[part] += value * value;
  }

  LevelSums total() const {
    LevelSums sums;
    sums.highest = *std::max_element(std::begin(highest), std::end(highest));
    sums.lowest = *std::min_element(std::begin(lowest), std::end(lowest));
    sums.bend = *std::max_element(std::begin(bend), std::end(bend));
    for (int i = 0; i < kParts; ++i) {
      sums.sum += static_cast<double>(sum[i]);
      sums.squares += static_cast<double>(squares[i]);
    }
    return sums;
  }
};

struct DifferenceParts {
  alignas(64) float largest[kParts] = {};
  alignas(64) float squares[kParts] = {};

  void add(float one, float other, int part) {
    const float difference = one - other;
    largest[part] = std::max(largest[part], std::abs(difference));
    squares[part] += difference * difference;
  }

  DifferenceSums total() const {
    DifferenceSums sums;
    sums.largest = *std::max_element(std::begin(largest), std::end(largest));
    for (const float part : squares) {
      sums.squares += static_cast<double>(part);
    }
    return sums;
  }
};

/// What filtering stretches side by side from rest gives: of each, its energy, its energy with the
/// responses of the four states, and the states at its end.
struct StretchSums {
  alignas(64) double energy[kStretches];
  alignas(64) double withState[4][kStretches];
  alignas(64) double after[4][kStretches];
};

}  // namespace qatester
#endif

HWY_BEFORE_NAMESPACE();
namespace qatester {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using Floats = hn::CappedTag<float, kParts>;
using Doubles = hn::CappedTag<double, kStretches>;
constexpr auto kFloats = static_cast<std::ptrdiff_t>(hn::MaxLanes(Floats()));
constexpr auto kDoubles = static_cast<std::ptrdiff_t>(hn::MaxLanes(Doubles()));

/// Multiplied and added in two steps: one step rounds otherwise, and not every processor has it.
template <class V>
HWY_INLINE V mulThenAdd(V a, V b, V sum) {
  return hn::Add(sum, hn::Mul(a, b));
}

LevelSums levelsOf(const float* samples, int count) {
  constexpr std::ptrdiff_t kVectors = kParts / kFloats;
  const Floats d;
  using V = hn::Vec<Floats>;
  LevelParts parts;
  V highest[kVectors];
  V lowest[kVectors];
  V bend[kVectors];
  V sum[kVectors];
  V squares[kVectors];
  for (std::ptrdiff_t k = 0; k < kVectors; ++k) {
    highest[k] = lowest[k] = bend[k] = sum[k] = squares[k] = hn::Zero(d);
  }
  int i = 0;
  for (; i + kParts <= count; i += kParts) {
    for (std::ptrdiff_t k = 0; k < kVectors; ++k) {
      const float* at = samples + i + k * kFloats;
      const V value = hn::LoadU(d, at);
      const V before = hn::LoadU(d, at - 1);
      const V curve = hn::Add(hn::Sub(value, hn::Add(before, before)), hn::LoadU(d, at - 2));
      highest[k] = hn::Max(highest[k], value);
      lowest[k] = hn::Min(lowest[k], value);
      bend[k] = hn::Max(bend[k], hn::Abs(curve));
      sum[k] = hn::Add(sum[k], value);
      squares[k] = mulThenAdd(value, value, squares[k]);
    }
  }
  for (std::ptrdiff_t k = 0; k < kVectors; ++k) {
    hn::Store(highest[k], d, parts.highest + k * kFloats);
    hn::Store(lowest[k], d, parts.lowest + k * kFloats);
    hn::Store(bend[k], d, parts.bend + k * kFloats);
    hn::Store(sum[k], d, parts.sum + k * kFloats);
    hn::Store(squares[k], d, parts.squares + k * kFloats);
  }
  for (; i < count; ++i) {
    parts.add(samples + i, i % kParts);
  }
  return parts.total();
}

DifferenceSums differenceOf(const float* one, const float* other, int count) {
  constexpr std::ptrdiff_t kVectors = kParts / kFloats;
  const Floats d;
  using V = hn::Vec<Floats>;
  DifferenceParts parts;
  V largest[kVectors];
  V squares[kVectors];
  for (std::ptrdiff_t k = 0; k < kVectors; ++k) {
    largest[k] = squares[k] = hn::Zero(d);
  }
  int i = 0;
  for (; i + kParts <= count; i += kParts) {
    for (std::ptrdiff_t k = 0; k < kVectors; ++k) {
      const std::ptrdiff_t at = i + k * kFloats;
      const V difference = hn::Sub(hn::LoadU(d, one + at), hn::LoadU(d, other + at));
      largest[k] = hn::Max(largest[k], hn::Abs(difference));
      squares[k] = mulThenAdd(difference, difference, squares[k]);
    }
  }
  for (std::ptrdiff_t k = 0; k < kVectors; ++k) {
    hn::Store(largest[k], d, parts.largest + k * kFloats);
    hn::Store(squares[k], d, parts.squares + k * kFloats);
  }
  for (; i < count; ++i) {
    parts.add(one[i], other[i], i % kParts);
  }
  return parts.total();
}

float betweenOf(const float* samples, int count) {
  const Floats d;
  using V = hn::Vec<Floats>;
  const Interpolation& filter = interpolation();
  V largest = hn::Zero(d);
  const auto at = [&](std::ptrdiff_t i) {
    V sums[kPhases];
    for (int phase = 0; phase < kPhases; ++phase) {
      sums[phase] = hn::Zero(d);
    }
    for (int tap = 0; tap < kTaps; ++tap) {
      const V value = hn::LoadU(d, samples + i - (kTaps - 1) + tap);
      for (int phase = 0; phase < kPhases; ++phase) {
        sums[phase] = mulThenAdd(value, hn::Set(d, filter.taps[phase][tap]), sums[phase]);
      }
    }
    for (int phase = 0; phase < kPhases; ++phase) {
      largest = hn::Max(largest, hn::Abs(sums[phase]));
    }
  };
  if (count < kFloats) {
    return largestBetweenOneByOne(samples, count);
  }
  for (std::ptrdiff_t i = 0; i + kFloats <= count; i += kFloats) {
    at(i);
  }
  at(count - kFloats);  // some of them again
  alignas(64) float each[kFloats];
  hn::Store(largest, d, each);
  return *std::max_element(std::begin(each), std::end(each));
}

/// `lanes` has the samples of the stretches in turn.
void filterStretches(const WeightingCoefficients& filter, const double* lanes, int length,
                     const std::array<double, 4>* responses, StretchSums* sums) {
  constexpr std::ptrdiff_t kVectors = kStretches / kDoubles;
  const Doubles d;
  using V = hn::Vec<Doubles>;
  const V b0 = hn::Set(d, filter.shelf[0]);
  const V b1 = hn::Set(d, filter.shelf[1]);
  const V b2 = hn::Set(d, filter.shelf[2]);
  const V a1 = hn::Set(d, filter.shelf[3]);
  const V a2 = hn::Set(d, filter.shelf[4]);
  const V d0 = hn::Set(d, filter.highPass[0]);
  const V d1 = hn::Set(d, filter.highPass[1]);
  const V d2 = hn::Set(d, filter.highPass[2]);
  const V c1 = hn::Set(d, filter.highPass[3]);
  const V c2 = hn::Set(d, filter.highPass[4]);
  V state[4][kVectors];
  V energy[kVectors];
  V withState[4][kVectors];
  for (std::ptrdiff_t k = 0; k < kVectors; ++k) {
    energy[k] = hn::Zero(d);
    for (int j = 0; j < 4; ++j) {
      state[j][k] = withState[j][k] = hn::Zero(d);
    }
  }
  for (std::ptrdiff_t i = 0; i < length; ++i) {
    for (std::ptrdiff_t k = 0; k < kVectors; ++k) {
      const V x = hn::LoadU(d, lanes + i * kStretches + k * kDoubles);
      const V y = hn::Add(hn::Mul(b0, x), state[0][k]);
      state[0][k] = hn::Sub(hn::Add(hn::Mul(b1, x), state[1][k]), hn::Mul(a1, y));
      state[1][k] = hn::Sub(hn::Mul(b2, x), hn::Mul(a2, y));
      const V z = hn::Add(hn::Mul(d0, y), state[2][k]);
      state[2][k] = hn::Sub(hn::Add(hn::Mul(d1, y), state[3][k]), hn::Mul(c1, z));
      state[3][k] = hn::Sub(hn::Mul(d2, y), hn::Mul(c2, z));
      energy[k] = mulThenAdd(z, z, energy[k]);
      for (int j = 0; j < 4; ++j) {
        withState[j][k] =
            mulThenAdd(z, hn::Set(d, responses[i][static_cast<std::size_t>(j)]), withState[j][k]);
      }
    }
  }
  for (std::ptrdiff_t k = 0; k < kVectors; ++k) {
    hn::Store(energy[k], d, sums->energy + k * kDoubles);
    for (int j = 0; j < 4; ++j) {
      hn::Store(withState[j][k], d, sums->withState[j] + k * kDoubles);
      hn::Store(state[j][k], d, sums->after[j] + k * kDoubles);
    }
  }
}

}  // namespace HWY_NAMESPACE
}  // namespace qatester
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qatester {

HWY_EXPORT(levelsOf);
HWY_EXPORT(differenceOf);
HWY_EXPORT(betweenOf);
HWY_EXPORT(filterStretches);

namespace {

/// A state so small is silence; smaller numbers still would be slow.
constexpr double kAtRest = 1e-30;

/// Shorter cells are filtered as they come.
constexpr int kShortestInStretches = 8 * kStretches;

double bessel(double x) {
  double sum = 1.0;
  double term = 1.0;
  for (int k = 1; k < 40; ++k) {
    term *= (x / (2.0 * k)) * (x / (2.0 * k));
    sum += term;
  }
  return sum;
}

/// Windowed sincs, each with a sum of 1, so that what does not change stays as it is.
Interpolation makeInterpolation() {
  constexpr double kBeta = 5.0;
  Interpolation made{};
  double most = 0.0;
  for (int phase = 0; phase < kPhases; ++phase) {
    const double place = (phase + 1) / 8.0;
    double taps[kTaps];
    double sum = 0.0;
    for (int tap = 0; tap < kTaps; ++tap) {
      const double t = tap - kTapsBefore - place;
      const double angle = std::numbers::pi * t;
      const double within = t / (kTaps / 2.0);
      const double window = bessel(kBeta * std::sqrt(std::max(0.0, 1.0 - within * within)));
      taps[tap] = std::sin(angle) / angle * window;
      sum += taps[tap];
    }
    double centre = 0.0;
    for (int tap = 0; tap < kTaps; ++tap) {
      taps[tap] /= sum;
      made.taps[phase][tap] = static_cast<float>(taps[tap]);
      centre += tap * taps[tap];
    }
    // A straight line between the two neighbours, and second differences times their double sums.
    taps[kTapsBefore] -= 1.0 - (centre - kTapsBefore);
    taps[kTapsBefore + 1] -= centre - kTapsBefore;
    double once = 0.0;
    double twice = 0.0;
    double all = 0.0;
    for (const double tap : taps) {
      once += tap;
      twice += once;
      all += std::abs(twice);
    }
    most = std::max(most, all);
  }
  made.perBend = static_cast<float>(most);
  return made;
}

struct Analogue {
  double frequency;
  double q;
};
constexpr Analogue kShelf{1681.974450955533, 0.7071752369554196};
constexpr double kShelfGain = 3.999843853973347;  ///< dB
constexpr double kShelfExponent = 0.4996667741545416;
constexpr Analogue kHighPass{38.13547087602444, 0.5003270373238773};
constexpr double kReferenceRate = 48000.0;

/// How far a bilinear transform bends a filter at a rate.
double warped(const Analogue& filter, double sampleRate) {
  return std::tan(std::numbers::pi * filter.frequency / sampleRate);
}

double firstDenominator(const Analogue& filter, double k) {
  return 1.0 + k / filter.q + k * k;
}

/// The next value of the filter.
double step(const WeightingCoefficients& filter, std::array<double, 4>& state, double x) {
  const auto& b = filter.shelf;
  const auto& d = filter.highPass;
  const double y = b[0] * x + state[0];
  state[0] = b[1] * x + state[1] - b[3] * y;
  state[1] = b[2] * x - b[4] * y;
  const double z = d[0] * y + state[2];
  state[2] = d[1] * y + state[3] - d[3] * z;
  state[3] = d[2] * y - d[4] * z;
  return z;
}

}  // namespace

const Interpolation& interpolation() {
  static const Interpolation made = makeInterpolation();
  return made;
}

LevelSums measureLevels(const float* samples, int count) {
  return HWY_DYNAMIC_DISPATCH(levelsOf)(samples, count);
}

LevelSums measureLevelsOneByOne(const float* samples, int count) {
  LevelParts parts;
  for (int i = 0; i < count; ++i) {
    parts.add(samples + i, i % kParts);
  }
  return parts.total();
}

DifferenceSums measureDifference(const float* one, const float* other, int count) {
  return HWY_DYNAMIC_DISPATCH(differenceOf)(one, other, count);
}

DifferenceSums measureDifferenceOneByOne(const float* one, const float* other, int count) {
  DifferenceParts parts;
  for (int i = 0; i < count; ++i) {
    parts.add(one[i], other[i], i % kParts);
  }
  return parts.total();
}

float largestBetween(const float* samples, int count) {
  return HWY_DYNAMIC_DISPATCH(betweenOf)(samples, count);
}

float largestBetweenOneByOne(const float* samples, int count) {
  const Interpolation& filter = interpolation();
  float largest = 0.0F;
  for (int i = 0; i < count; ++i) {
    for (const auto& taps : filter.taps) {
      float sum = 0.0F;
      for (int tap = 0; tap < kTaps; ++tap) {
        sum += samples[i - (kTaps - 1) + tap] * taps[tap];
      }
      largest = std::max(largest, std::abs(sum));
    }
  }
  return largest;
}

float betweenPerBend() {
  return interpolation().perBend;
}

WeightingCoefficients kWeightingAt(int sampleRate) {
  const double rate = std::max(sampleRate, 1);
  WeightingCoefficients made{};
  {
    const double k = warped(kShelf, rate);
    const double high = std::pow(10.0, kShelfGain / 20.0);
    const double band = std::pow(high, kShelfExponent);
    const double a0 = firstDenominator(kShelf, k);
    made.shelf = {(high + band * k / kShelf.q + k * k) / a0, 2.0 * (k * k - high) / a0,
                  (high - band * k / kShelf.q + k * k) / a0, 2.0 * (k * k - 1.0) / a0,
                  (1.0 - k / kShelf.q + k * k) / a0};
  }
  {
    const double k = warped(kHighPass, rate);
    const double a0 = firstDenominator(kHighPass, k);
    // The text's numerator is 1, -2, 1 at 48 kHz, where a0 is not.
    const double gain = firstDenominator(kHighPass, warped(kHighPass, kReferenceRate)) / a0;
    made.highPass = {gain, -2.0 * gain, gain, 2.0 * (k * k - 1.0) / a0,
                     (1.0 - k / kHighPass.q + k * k) / a0};
  }
  return made;
}

KWeighting::KWeighting(int sampleRate) : filter_(kWeightingAt(sampleRate)) {}

const KWeighting::Stretch& KWeighting::stretchOf(int length) {
  const auto found = std::find_if(stretches_.begin(), stretches_.end(),
                                  [&](const Stretch& stretch) { return stretch.length == length; });
  if (found != stretches_.end()) {
    return *found;
  }
  if (responses_.size() < static_cast<std::size_t>(length)) {
    responses_.assign(static_cast<std::size_t>(length), State{});
    lanes_.resize(static_cast<std::size_t>(length) * kStretches);
    for (std::size_t j = 0; j < 4; ++j) {
      State state = {};
      state[j] = 1.0;
      for (State& response : responses_) {
        response[j] = step(filter_, state, 0.0);
      }
    }
  }
  Stretch stretch{.length = length, .energy = {}, .after = {}};
  for (std::size_t j = 0; j < 4; ++j) {
    State state = {};
    state[j] = 1.0;
    for (int i = 0; i < length; ++i) {
      step(filter_, state, 0.0);
    }
    stretch.after[j] = state;
    for (std::size_t k = 0; k < 4; ++k) {
      for (std::size_t i = 0; i < static_cast<std::size_t>(length); ++i) {
        stretch.energy[j][k] += responses_[i][j] * responses_[i][k];
      }
    }
  }
  stretches_.push_back(stretch);
  return stretches_.back();
}

double KWeighting::energy(State& state, const float* samples, int count) {
  if (count < kShortestInStretches) {
    return energyOneByOne(state, samples, count);
  }
  const int length = count / kStretches;
  const Stretch& stretch = stretchOf(length);
  for (int lane = 0; lane < kStretches; ++lane) {
    const float* from = samples + static_cast<std::ptrdiff_t>(lane) * length;
    double* to = lanes_.data() + lane;
    for (int i = 0; i < length; ++i) {
      to[static_cast<std::ptrdiff_t>(i) * kStretches] = static_cast<double>(from[i]);
    }
  }
  StretchSums sums;
  HWY_DYNAMIC_DISPATCH(filterStretches)
  (filter_, lanes_.data(), length, responses_.data(), &sums);

  double energy = 0.0;
  for (std::size_t lane = 0; lane < kStretches; ++lane) {
    double own = sums.energy[lane];
    State after = {};
    for (std::size_t j = 0; j < 4; ++j) {
      own += 2.0 * state[j] * sums.withState[j][lane];
      for (std::size_t k = 0; k < 4; ++k) {
        own += state[j] * stretch.energy[j][k] * state[k];
        after[k] += stretch.after[j][k] * state[j];
      }
    }
    for (std::size_t k = 0; k < 4; ++k) {
      state[k] = after[k] + sums.after[k][lane];
    }
    energy += std::max(own, 0.0);
  }
  const int done = length * kStretches;
  return energy + energyOneByOne(state, samples + done, count - done);
}

double KWeighting::energyOneByOne(State& state, const float* samples, int count) const {
  double energy = 0.0;
  for (int i = 0; i < count; ++i) {
    const double z = step(filter_, state, static_cast<double>(samples[i]));
    energy += z * z;
  }
  for (double& value : state) {
    value = std::abs(value) < kAtRest ? 0.0 : value;
  }
  return energy;
}

}  // namespace qatester

#endif  // HWY_ONCE
