#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "checks/audio/KWeightedEnergy.h"
#include "checks/audio/KWeighting.h"
#include "checks/audio/LagSearch.h"
#include "checks/audio/SampleMagnitudes.h"
#include "checks/audio/SampleMatches.h"
#include "media/SampleValues.h"
#include "support/Blocks.h"
#include "support/InstructionSets.h"

namespace qatester {

void PrintTo(const Magnitudes& m, std::ostream* out) {
  *out << m.smallest << " to " << m.largest;
}
void PrintTo(const Matches& m, std::ostream* out) {
  *out << m.previous << ", " << m.same << ", " << m.next;
}
void PrintTo(const BestLag& best, std::ostream* out) {
  *out << "lag " << best.lag << ", score " << best.score;
}

}  // namespace qatester

namespace {

using qatest::blockOf;
using qatest::withEachInstructionSet;
using qatester::BestLag;
using qatester::countMatches;
using qatester::countMatchesOneByOne;
using qatester::Magnitudes;
using qatester::Matches;
using qatester::measureMagnitudes;
using qatester::measureMagnitudesOneByOne;
using qatester::searchLags;
using qatester::searchLagsOneByOne;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSlow = true;
#else
constexpr bool kSlow = false;
#endif

/// Around the lengths of vectors and of what is summed in one go, and blocks as decoders give them.
const std::vector<int> kLengths{0,  1,  2,  3,  4,  5,   7,   8,   9,   15,  16,  17,   31,   32,
                                33, 34, 63, 64, 65, 127, 128, 129, 255, 256, 257, 1024, 1152, 4096};

template <typename T>
constexpr T kLowest = std::numeric_limits<T>::min();
template <typename T>
constexpr T kHighest = std::numeric_limits<T>::max();

template <typename T>
std::vector<T> noise(std::mt19937& random, int count, double amplitude = 1.0) {
  std::uniform_real_distribution<double> any(kLowest<T> * amplitude, kHighest<T> * amplitude);
  std::vector<T> values(static_cast<std::size_t>(count));
  std::generate(values.begin(), values.end(), [&] { return static_cast<T>(any(random)); });
  return values;
}

/// Values that are extreme, near them, zero, or anything.
template <typename T>
std::vector<T> extremes(std::mt19937& random, int count) {
  constexpr auto kMiddle = static_cast<T>(kHighest<T> / 2 + 1);
  const T few[] = {kLowest<T>,
                   static_cast<T>(kLowest<T> + 1),
                   kHighest<T>,
                   static_cast<T>(kHighest<T> - 1),
                   0,
                   1,
                   static_cast<T>(-1),
                   kMiddle,
                   static_cast<T>(-kMiddle),
                   static_cast<T>(random())};
  std::vector<T> values(static_cast<std::size_t>(count));
  std::generate(values.begin(), values.end(), [&] { return few[random() % std::size(few)]; });
  return values;
}

template <typename T>
std::vector<T> shifted(const std::vector<T>& values, int by) {
  std::vector<T> result(values.size());
  for (std::size_t i = static_cast<std::size_t>(by); i < values.size(); ++i) {
    result[i] = values[i - static_cast<std::size_t>(by)];
  }
  return result;
}

// Magnitudes

template <typename T>
Magnitudes magnitudesByDefinition(std::vector<T>& values) {
  const OxAudioSample block = blockOf(values);
  Magnitudes result;
  for (int i = 0; i < block.numberOfSamples; ++i) {
    const float magnitude = std::fabs(getRealAudioValue(block, i));
    int64_t exact = static_cast<int64_t>(values[static_cast<std::size_t>(i)]);
    if (sizeof(T) == 1) {
      exact = static_cast<int64_t>(magnitude);
    }
    const auto whole = static_cast<uint32_t>(exact < 0 ? -exact : exact);
    if (whole != 0) {
      result.largest = std::max(result.largest, whole);
      result.smallest = std::min(result.smallest, whole);
    }
  }
  return result;
}

template <typename T>
void expectMagnitudes(std::vector<T> values) {
  const Magnitudes expected = magnitudesByDefinition(values);
  ASSERT_EQ(measureMagnitudesOneByOne(blockOf(values)), expected) << values.size();
  withEachInstructionSet(
      [&] { ASSERT_EQ(measureMagnitudes(blockOf(values)), expected) << values.size(); });
}

template <typename T>
void expectMagnitudesOfAllKinds() {
  std::mt19937 random(1);
  for (const int length : kLengths) {
    expectMagnitudes(noise<T>(random, length));
    expectMagnitudes(extremes<T>(random, length));
    expectMagnitudes(std::vector<T>(static_cast<std::size_t>(length), 0));
    expectMagnitudes(std::vector<T>(static_cast<std::size_t>(length), kLowest<T>));
    // One value in silence, wherever it is.
    std::vector<T> one(static_cast<std::size_t>(length), 0);
    for (std::size_t at = 0; at < one.size(); at += 1 + one.size() / 40) {
      one[at] = 77;
      expectMagnitudes(one);
      one[at] = 0;
    }
  }
}

TEST(MagnitudeKernel, FindsTheExtremesOf8BitBlocks) {
  expectMagnitudesOfAllKinds<uint8_t>();
  for (int value = 0; value < 256; ++value) {
    expectMagnitudes(std::vector<uint8_t>(70, static_cast<uint8_t>(value)));
  }
}

TEST(MagnitudeKernel, FindsTheExtremesOf16BitBlocks) {
  expectMagnitudesOfAllKinds<int16_t>();
}

TEST(MagnitudeKernel, FindsTheExtremesOf32BitBlocks) {
  expectMagnitudesOfAllKinds<int32_t>();
}

TEST(MagnitudeKernel, FindsNothingInOtherFormats) {
  std::vector<int32_t> values(100, 0x3F800000);
  for (const int format : {-1, 3, 4, 10, 99}) {
    EXPECT_TRUE(measureMagnitudes(blockOf(values, format)).silent()) << format;
    EXPECT_TRUE(measureMagnitudesOneByOne(blockOf(values, format)).silent()) << format;
  }
}

// Matches

/// As a client would count with the public function.
template <typename T, typename As>
Matches matchesByDefinition(const std::vector<T>& first, const std::vector<T>& second,
                            float tolerance) {
  Matches matches;
  for (std::size_t i = 1; i + 1 < first.size(); ++i) {
    const auto value = static_cast<As>(second[i]);
    matches.previous += checkSingleSample(static_cast<As>(first[i - 1]), value, tolerance);
    matches.same += checkSingleSample(static_cast<As>(first[i]), value, tolerance);
    matches.next += checkSingleSample(static_cast<As>(first[i + 1]), value, tolerance);
  }
  return matches;
}

template <typename T, typename As>
void expectMatches(std::vector<T> first, std::vector<T> second, float tolerance) {
  // Without tolerance for 8 bits, whatever was asked for.
  const float effective = sizeof(T) == 1 ? 0.0F : tolerance;
  const Matches expected = matchesByDefinition<T, As>(first, second, effective);
  const OxAudioSample a = blockOf(first);
  const OxAudioSample b = blockOf(second);
  ASSERT_EQ(countMatchesOneByOne(a, b, tolerance), expected) << first.size() << ' ' << tolerance;
  withEachInstructionSet([&] {
    ASSERT_EQ(countMatches(a, b, tolerance), expected) << first.size() << ' ' << tolerance;
  });
}

/// 2^-7 and its neighbours make whole widths and widths nearly whole.
const float kTolerances[] = {0.0F,
                             0.0001F,
                             0.004F,
                             0.005F,
                             0.01F,
                             0.0078125F,
                             std::nextafter(0.0078125F, 0.0F),
                             std::nextafter(0.0078125F, 1.0F),
                             0.5F,
                             1.0F,
                             2.0F,
                             -0.1F,
                             std::numeric_limits<float>::quiet_NaN(),
                             std::numeric_limits<float>::infinity()};

template <typename T, typename As>
void expectMatchesOfAllKinds() {
  std::mt19937 random(2);
  for (const int length : kLengths) {
    for (const float tolerance : kTolerances) {
      const std::vector<T> first = noise<T>(random, length);
      expectMatches<T, As>(first, noise<T>(random, length), tolerance);
      expectMatches<T, As>(first, first, tolerance);
      expectMatches<T, As>(extremes<T>(random, length), extremes<T>(random, length), tolerance);
      // Differences about as large as the width, which is where rounding could tell.
      const double width = tolerance * std::pow(2.0, 8.0 * sizeof(T));
      std::vector<T> near = first;
      for (T& value : near) {
        const double moved = static_cast<double>(value) + (random() % 2 == 0 ? width : -width) +
                             static_cast<double>(random() % 5) - 2.0;
        if (moved >= kLowest<T> && moved <= kHighest<T>) {
          value = static_cast<T>(moved);
        }
      }
      expectMatches<T, As>(first, near, tolerance);
    }
  }
}

TEST(MatchKernel, CountsZerosOf8BitBlocks) {
  expectMatchesOfAllKinds<uint8_t, unsigned char>();
}

TEST(MatchKernel, CountsMatchesOf16BitBlocks) {
  expectMatchesOfAllKinds<int16_t, short>();
}

TEST(MatchKernel, CountsMatchesOf32BitBlocks) {
  expectMatchesOfAllKinds<int32_t, int>();
}

TEST(MatchKernel, CountsMoreThanALaneHolds) {
  constexpr int kLength = 70000 * 16;
  const std::vector<uint8_t> silence(kLength, 0);
  expectMatches<uint8_t, unsigned char>(silence, silence, 0.01F);
  std::vector<int16_t> loud(kLength, -32768);
  const OxAudioSample block = blockOf(loud);
  withEachInstructionSet([&] {
    ASSERT_EQ(countMatches(block, block, 0.01F), (Matches{kLength - 2, kLength - 2, kLength - 2}));
  });
}

TEST(MatchKernel, FindsNothingInOtherFormats) {
  std::vector<int32_t> values(100, 0);
  for (const int format : {-1, 3, 4, 10}) {
    EXPECT_EQ(countMatches(blockOf(values, format), blockOf(values), 0.01F), Matches{});
    EXPECT_EQ(countMatchesOneByOne(blockOf(values, format), blockOf(values), 0.01F), Matches{});
  }
}

TEST(MatchKernel, KnowsTheLargestDifferenceThatMatches) {
  for (const float tolerance : kTolerances) {
    const std::optional<int> most = qatester::largestMatchingDifference(65536.0F * tolerance);
    if (!most) {
      continue;
    }
    for (int b = -32768; b < 32768; b += kSlow ? 17 : 1) {
      for (const int sign : {-1, 1}) {
        for (const int difference : {*most, *most + 1}) {
          const int a = b + sign * difference;
          if (a >= -32768 && a < 32768 && (a != 0 || b != 0)) {
            ASSERT_EQ(checkSingleSample(static_cast<short>(a), static_cast<short>(b), tolerance),
                      difference == *most)
                << tolerance << ": " << a << ", " << b;
          }
        }
      }
    }
  }
  EXPECT_EQ(qatester::largestMatchingDifference(65536.0F * 0.01F), 655);
  EXPECT_EQ(qatester::largestMatchingDifference(512.0F), 511);
  EXPECT_EQ(qatester::largestMatchingDifference(512.01F), std::nullopt);
  EXPECT_EQ(qatester::largestMatchingDifference(511.99F), std::nullopt);
  EXPECT_EQ(qatester::largestMatchingDifference(0.0F), std::nullopt);
}

// Lags

template <typename T>
double scaledDifference(T a, T b) {
  if constexpr (sizeof(T) == 1) {
    return std::abs(getIntValue(a) - getIntValue(b));
  } else if constexpr (sizeof(T) == 2) {
    return std::abs(a - b) * 3.0517578125e-5 * 256.0;
  } else {
    // As 32 bits wrap: the magnitude of -2^31 is -2^31.
    const auto difference =
        static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
    const double magnitude = difference == kLowest<int32_t>
                                 ? kLowest<int32_t>
                                 : std::fabs(static_cast<double>(difference));
    return magnitude * 4.656612873077393e-10 * 256.0;
  }
}

template <typename T>
BestLag lagsByDefinition(const std::vector<T>& first, const std::vector<T>& second, BestLag best) {
  const int n = static_cast<int>(first.size());
  const auto at = [](const std::vector<T>& values, int i) {
    return values[static_cast<std::size_t>(i)];
  };
  for (int k = 0; k < n / 2; ++k) {
    int forward = 0;
    int backward = 0;
    for (int i = 0; i < n - k; ++i) {
      forward = static_cast<int>(forward + scaledDifference(at(first, i + k), at(second, i)));
      backward = static_cast<int>(backward + scaledDifference(at(first, i), at(second, i + k)));
    }
    const int score = std::min(forward / (n - k), backward / (n - k));
    if (score < best.score) {
      best.score = score;
      best.lag = k;
    }
    if (k == 0) {
      best.score = n;
    }
  }
  return best;
}

template <typename T>
void expectLags(std::vector<T> first, std::vector<T> second, BestLag before = {}) {
  const BestLag expected = lagsByDefinition(first, second, before);
  const OxAudioSample a = blockOf(first);
  const OxAudioSample b = blockOf(second);
  ASSERT_EQ(searchLagsOneByOne(a, b, before), expected) << first.size();
  withEachInstructionSet([&] { ASSERT_EQ(searchLags(a, b, before), expected) << first.size(); });
}

template <typename T>
void expectLagsOfAllKinds() {
  std::mt19937 random(3);
  for (const int length : kLengths) {
    if (length > (kSlow ? 130 : 260)) {
      continue;
    }
    for (const double amplitude : {0.001, 0.3, 1.0}) {
      const std::vector<T> first = noise<T>(random, length, amplitude);
      // What the block before left, from nothing to anything.
      for (const BestLag before :
           {BestLag{}, BestLag{1, 0}, BestLag{length, 3}, BestLag{50, length / 3},
            BestLag{100000, length / 2}, BestLag{-5, 2}}) {
        expectLags(first, noise<T>(random, length, amplitude), before);
        expectLags(first, first, before);
      }
      for (const int by : {1, 2, 5, 13}) {
        if (by < length) {
          expectLags(first, shifted(first, by), {length, 1});
          expectLags(shifted(first, by), first, {length, 40});
        }
      }
    }
    expectLags(extremes<T>(random, length), extremes<T>(random, length), {length, 2});
    const std::vector<T> flat(static_cast<std::size_t>(length), kHighest<T>);
    expectLags(flat, flat, {3, 1});
    expectLags(flat, std::vector<T>(flat.size(), kLowest<T>), {kHighest<int16_t>, 1});
  }
}

TEST(LagKernel, SearchesLagsOf8BitBlocks) {
  expectLagsOfAllKinds<uint8_t>();
}

TEST(LagKernel, SearchesLagsOf16BitBlocks) {
  expectLagsOfAllKinds<int16_t>();
}

TEST(LagKernel, SearchesLagsOf32BitBlocksWhoseDifferencesWrap) {
  expectLagsOfAllKinds<int32_t>();
}

TEST(LagKernel, SumsAreExactForLongLoudBlocks) {
  std::mt19937 random(4);
  const int length = kSlow ? 600 : 4096;
  expectLags(std::vector<int16_t>(static_cast<std::size_t>(length), -32768),
             std::vector<int16_t>(static_cast<std::size_t>(length), 32767), {100000, 0});
  expectLags(noise<int16_t>(random, length), noise<int16_t>(random, length));
  std::vector<int32_t> first = noise<int32_t>(random, length);
  std::vector<int32_t> second = noise<int32_t>(random, length);
  expectLags(first, second);
  // One pair whose difference wraps: at distance 7 the second channel is behind.
  first[100] = 1 << 30;
  second[107] = -(1 << 30);
  expectLags(first, second);
  expectLags(second, first);
}

TEST(LagKernel, OfEqualScoresTheSmallestLagWins) {
  // A period of 8 fits at every eighth lag; the block before found it at 16.
  std::vector<int16_t> tone(64);
  for (std::size_t i = 0; i < tone.size(); ++i) {
    tone[i] = static_cast<int16_t>(i % 8 * 1000);
  }
  OxAudioSample block = blockOf(tone);
  withEachInstructionSet([&] {
    EXPECT_EQ(searchLags(block, block, {64, 16}), (BestLag{0, 8}));
    EXPECT_EQ(searchLags(block, block, {0, 16}), (BestLag{0, 8}));
  });
}

TEST(LagKernel, KeepsTheLagWhereNoneIsBetter) {
  // Every score is 511, which is not below 64.
  std::vector<int16_t> low(64, -32768);
  std::vector<int16_t> high(64, 32767);
  withEachInstructionSet([&] {
    EXPECT_EQ(searchLags(blockOf(low), blockOf(high), {0, 5}), (BestLag{64, 5}));
    // Lag 0 beats what the block before left.
    EXPECT_EQ(searchLags(blockOf(low), blockOf(high), {512, 5}), (BestLag{64, 0}));
  });
}

TEST(LagKernel, AddsNothingForOtherFormats) {
  std::vector<int32_t> values(16, 123456789);
  for (const int format : {-1, 3, 4}) {
    EXPECT_EQ(searchLags(blockOf(values, format), blockOf(values), {0, 5}), (BestLag{0, 1}));
    EXPECT_EQ(searchLagsOneByOne(blockOf(values, format), blockOf(values), {0, 5}),
              (BestLag{0, 1}));
  }
}

// K-weighting

/// One stage after the other, each into a list of its own.
double energyByDefinition(OxAudioSample block) {
  const int n = block.numberOfSamples;
  if (n < 2) {
    return 0.0;
  }
  std::vector<double> x;
  std::vector<double> y(static_cast<std::size_t>(n));
  std::vector<double> z(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) {
    x.push_back(getAudioValue(block, i));
  }
  const auto at = [](const std::vector<double>& list, int i) {
    return i < 0 ? 0.0 : list[static_cast<std::size_t>(i)];
  };
  for (int i = 0; i < n; ++i) {
    y[static_cast<std::size_t>(i)] =
        1.53512485958697 * at(x, i) + -2.69169618940638 * at(x, i - 1) +
        1.19839281085285 * at(x, i - 2) - -1.69065929318241 * at(y, i - 1) -
        0.73248077421585 * at(y, i - 2);
  }
  long double sum = 0.0L;
  for (int i = 0; i < n; ++i) {
    z[static_cast<std::size_t>(i)] = at(y, i) - 2.0 * at(y, i - 1) + at(y, i - 2) -
                                     -1.99004745483398 * at(z, i - 1) -
                                     0.99007225036621 * at(z, i - 2);
    sum += static_cast<long double>(at(z, i) * at(z, i));
  }
  return static_cast<double>(sum);
}

template <typename T>
void expectEnergies() {
  std::mt19937 random(5);
  std::vector<std::vector<T>> values;
  for (const int length : kLengths) {
    // Runs of one length fill the lanes, in part or more than once.
    for (int i = 0; i < 1 + length % 19; ++i) {
      values.push_back(i % 5 == 4 ? extremes<T>(random, length)
                                  : noise<T>(random, length, i % 3 == 0 ? 1.0 : 0.01));
    }
  }
  std::vector<OxAudioSample> blocks;
  std::vector<const OxAudioSample*> pointers;
  std::transform(values.begin(), values.end(), std::back_inserter(blocks),
                 [](std::vector<T>& each) { return blockOf(each); });
  std::transform(blocks.begin(), blocks.end(), std::back_inserter(pointers),
                 [](const OxAudioSample& each) { return &each; });
  withEachInstructionSet([&] {
    std::vector<double> energies(blocks.size(), -1.0);
    qatester::weighBlocks(pointers.data(), static_cast<int>(pointers.size()), energies.data());
    for (std::size_t i = 0; i < blocks.size(); ++i) {
      const double expected = energyByDefinition(blocks[i]);
      ASSERT_EQ(energies[i], expected) << blocks[i].numberOfSamples;
      ASSERT_EQ(runFilter(blocks[i]), expected) << blocks[i].numberOfSamples;
    }
  });
}

TEST(KWeightingKernel, WeighsBlocksOf8BitsToTheLastBit) {
  expectEnergies<uint8_t>();
}

TEST(KWeightingKernel, WeighsBlocksOf16BitsToTheLastBit) {
  expectEnergies<int16_t>();
}

TEST(KWeightingKernel, WeighsBlocksOf32BitsToTheLastBit) {
  expectEnergies<int32_t>();
}

TEST(KWeightingKernel, HearsNothingInOtherFormats) {
  std::vector<int32_t> values(100, 0x3F800000);
  EXPECT_EQ(runFilter(blockOf(values, 3)), 0.0);
}

TEST(KWeightingKernel, ABlockOfFewerThanTwoValuesHasNoEnergy) {
  std::vector<int16_t> one(1, 32767);
  EXPECT_EQ(runFilter(blockOf(one)), 0.0);
  EXPECT_EQ(runFilter(OxAudioSample{}), 0.0);
}

}  // namespace
