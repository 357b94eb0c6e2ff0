#include "checks/sound/SoundKernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

#include "support/InstructionSets.h"
#include "support/Sanitized.h"

namespace qatester {

void PrintTo(const LevelSums& sums, std::ostream* out) {
  *out << sums.lowest << " to " << sums.highest << ", bend " << sums.bend << ", sum " << sums.sum
       << ", squares " << sums.squares;
}
void PrintTo(const DifferenceSums& sums, std::ostream* out) {
  *out << sums.largest << ", squares " << sums.squares;
}

}  // namespace qatester

namespace {

using qatest::withEachInstructionSet;
using qatester::DifferenceSums;
using qatester::kKernelHistory;
using qatester::KWeighting;
using qatester::kWeightingAt;
using qatester::largestBetween;
using qatester::largestBetweenOneByOne;
using qatester::LevelSums;
using qatester::measureDifference;
using qatester::measureDifferenceOneByOne;
using qatester::measureLevels;
using qatester::measureLevelsOneByOne;
using std::numbers::pi;

bool isSame(const LevelSums& one, const LevelSums& other) {
  return one.highest == other.highest && one.lowest == other.lowest && one.bend == other.bend &&
         one.sum == other.sum && one.squares == other.squares;
}

bool isSame(const DifferenceSums& one, const DifferenceSums& other) {
  return one.largest == other.largest && one.squares == other.squares;
}

/// Noise between -1 and 1, and at every eighth place something extreme.
std::vector<float> anySound(std::mt19937& random, std::size_t count) {
  constexpr float kExtremes[] = {0.0F,    -0.0F, 1.0F, -1.0F,    std::numeric_limits<float>::min(),
                                 -1e-40F, 1e6F,  1.0F, -0x1p-23F};
  std::uniform_real_distribution<float> any(-1.0F, 1.0F);
  std::vector<float> values(count);
  for (float& value : values) {
    value = random() % 8 == 0 ? kExtremes[random() % std::size(kExtremes)] : any(random);
  }
  return values;
}

constexpr int kMostLength = 200;

/// Calls with each length and with places that lie otherwise in vectors, with each instruction set.
/// The last sample of a call is the last of its memory.
template <typename Call>
void withEachLength(const Call& call) {
  std::mt19937 random(1);
  for (int length = 0; length <= kMostLength; ++length) {
    for (const int shift : {1, 0, 3, 6}) {
      if (qatest::kSanitized && shift != 1) {
        break;
      }
      const auto before = static_cast<std::size_t>(kKernelHistory + shift);
      const std::vector<float> one = anySound(random, before + static_cast<std::size_t>(length));
      const std::vector<float> other = anySound(random, one.size());
      withEachInstructionSet([&] {
        ASSERT_NO_FATAL_FAILURE(call(one.data() + before, other.data() + before, length));
      });
    }
  }
}

// Levels and differences

TEST(LevelsKernel, EqualsItsTwinToTheLastBit) {
  withEachLength([](const float* samples, const float*, int length) {
    const LevelSums expected = measureLevelsOneByOne(samples, length);
    const LevelSums sums = measureLevels(samples, length);
    ASSERT_TRUE(isSame(sums, expected)) << length << ": " << testing::PrintToString(sums) << " for "
                                        << testing::PrintToString(expected);
  });
}

TEST(LevelsKernel, MeasuresWhatItSays) {
  // Second differences: 0.5 - 2 * 0.25 + 0, -0.25 - 2 * 0.5 + 0.25 and 1 - 2 * -0.25 + 0.5.
  const float samples[] = {0.0F, 0.25F, 0.5F, -0.25F, 1.0F};
  const LevelSums sums = measureLevels(samples + 2, 3);
  EXPECT_EQ(sums.highest, 1.0F);
  EXPECT_EQ(sums.lowest, -0.25F);
  EXPECT_EQ(sums.bend, 2.0F);
  EXPECT_EQ(sums.sum, 1.25);
  EXPECT_EQ(sums.squares, 0.25 + 0.0625 + 1.0);
}

TEST(LevelsKernel, OfOneSideOnlyTheOtherExtremeIsZero) {
  const std::vector<float> high(100, 0.5F);
  EXPECT_EQ(measureLevels(high.data() + 2, 98).lowest, 0.0F);
  EXPECT_EQ(measureLevels(high.data() + 2, 98).bend, 0.0F);
  const std::vector<float> low(100, -0.5F);
  EXPECT_EQ(measureLevels(low.data() + 2, 98).highest, 0.0F);
}

TEST(DifferenceKernel, EqualsItsTwinToTheLastBit) {
  withEachLength([](const float* one, const float* other, int length) {
    const DifferenceSums expected = measureDifferenceOneByOne(one, other, length);
    const DifferenceSums sums = measureDifference(one, other, length);
    ASSERT_TRUE(isSame(sums, expected)) << length << ": " << testing::PrintToString(sums) << " for "
                                        << testing::PrintToString(expected);
  });
}

TEST(DifferenceKernel, MeasuresWhatItSays) {
  const float one[] = {0.5F, -0.25F, 1.0F};
  const float other[] = {0.25F, 0.5F, 1.0F};
  const DifferenceSums sums = measureDifference(one, other, 3);
  EXPECT_EQ(sums.largest, 0.75F);
  EXPECT_EQ(sums.squares, 0.0625 + 0.5625);
}

// Between the samples

TEST(BetweenKernel, EqualsItsTwinToTheLastBit) {
  withEachLength([](const float* samples, const float*, int length) {
    ASSERT_EQ(largestBetween(samples, length), largestBetweenOneByOne(samples, length)) << length;
  });
}

TEST(BetweenKernel, WhatDoesNotChangeStaysAsItIs) {
  const std::vector<float> level(100, -0.25F);
  EXPECT_NEAR(largestBetween(level.data() + kKernelHistory, 50), 0.25F, 1e-6F);
}

TEST(BetweenKernel, SeesFrom12SamplesBeforeItsFirstTo12BeforeItsLast) {
  // An impulse is larger than 0.9 an eighth of a sample from its place only.
  std::vector<float> impulse(200, 0.0F);
  impulse[100] = 1.0F;
  const auto seen = [&](int first, int count) {
    return largestBetween(impulse.data() + first, count) > 0.9F;
  };
  EXPECT_TRUE(seen(111, 1)) << "between samples 99 and 100";
  EXPECT_TRUE(seen(112, 1)) << "between samples 100 and 101";
  EXPECT_FALSE(seen(110, 1));
  EXPECT_FALSE(seen(113, 1));
  EXPECT_FALSE(seen(60, 51));
  EXPECT_TRUE(seen(60, 52));
}

/// What a meter reads of a sine whose peaks are 1: the samples and what is between them.
double readingOf(double cyclesPerSample, double phase) {
  constexpr int kCount = 600;
  std::vector<float> sine(kKernelHistory + kCount);
  float largest = 0.0F;
  for (std::size_t i = 0; i < sine.size(); ++i) {
    sine[i] =
        static_cast<float>(std::sin(2.0 * pi * cyclesPerSample * static_cast<double>(i) + phase));
    largest = std::max(largest, std::abs(sine[i]));
  }
  largest = std::max(largest, largestBetween(sine.data() + kKernelHistory, kCount));
  return 20.0 * std::log10(static_cast<double>(largest));
}

TEST(BetweenKernel, ReadsThePeaksOfSines) {
  // A sine that meets the grid of 8 times the rate in few places is read lowest when its peaks lie
  // between two of them; the filter itself adds a little at most.
  std::vector<double> frequencies;
  for (int divisor = 3; divisor <= 20; ++divisor) {
    for (int cycles = 1; cycles <= divisor * 9 / 20; ++cycles) {
      frequencies.push_back(static_cast<double>(cycles) / divisor);
    }
  }
  std::mt19937 random(2);
  std::uniform_real_distribution<double> any(0.001, 0.45);
  for (int i = 0; i < 100; ++i) {
    frequencies.push_back(any(random));
  }
  for (const double frequency : frequencies) {
    // Half a step of the grid from the peak: -0.135 dB at 0.45 of the rate.
    const double lowest = 20.0 * std::log10(std::cos(pi * frequency / 8.0));
    for (int step = 0; step < 16; ++step) {
      const double reading = readingOf(frequency, pi / 16.0 / 8.0 * step + 0.001);
      EXPECT_GT(reading, lowest - 0.005) << frequency << ", step " << step;
      EXPECT_LT(reading, 0.05) << frequency << ", step " << step;
    }
  }
}

/// The bound for one place is that of the 24 samples that make it.
void expectWithinBound(const std::vector<float>& sound) {
  for (std::size_t last = kKernelHistory; last < sound.size(); ++last) {
    float peak = 0.0F;
    float bend = 0.0F;
    for (std::size_t i = last - kKernelHistory; i <= last; ++i) {
      peak = std::max(peak, std::abs(sound[i]));
      if (i >= last - kKernelHistory + 2) {
        bend = std::max(bend, std::abs(sound[i] - 2.0F * sound[i - 1] + sound[i - 2]));
      }
    }
    // Both sides are rounded.
    ASSERT_LE(largestBetween(sound.data() + last, 1),
              (peak + qatester::betweenPerBend() * bend) * (1.0F + 1e-5F))
        << last;
  }
}

TEST(BetweenKernel, IsNeverAboveItsBound) {
  std::mt19937 random(3);
  std::uniform_real_distribution<float> any(-1.0F, 1.0F);
  std::vector<float> noise(3000);
  std::generate(noise.begin(), noise.end(), [&] { return any(random); });
  expectWithinBound(noise);
  // Two values only, in random turns.
  std::generate(noise.begin(), noise.end(), [&] { return random() % 2 == 0 ? 1.0F : -1.0F; });
  expectWithinBound(noise);
  // Second differences of one size, whose signs are random: what the bound is made for.
  float value = 0.0F;
  float slope = 0.0F;
  for (float& sample : noise) {
    slope += random() % 2 == 0 ? 1.0F : -1.0F;
    sample = value += slope;
  }
  expectWithinBound(noise);
  std::vector<float> impulse(100, 0.0F);
  impulse[50] = -1.0F;
  expectWithinBound(impulse);
  for (std::size_t half = 1; half <= 30; ++half) {
    std::vector<float> square(200);
    for (std::size_t i = 0; i < square.size(); ++i) {
      square[i] = i / half % 2 == 0 ? 1.0F : -1.0F;
    }
    expectWithinBound(square);
  }
}

TEST(BetweenKernel, ItsBoundIsNeeded) {
  // Between two samples of full scale amid the other sign in turns the sound is much larger.
  std::vector<float> turns(48);
  for (std::size_t i = 0; i < turns.size(); ++i) {
    const std::size_t fromMiddle = i < 24 ? 23 - i : i - 24;
    turns[i] = fromMiddle % 2 == 0 ? 1.0F : -1.0F;
  }
  EXPECT_GT(largestBetween(turns.data() + kKernelHistory, 25), 1.5F);
}

// K-weighting

TEST(KWeightingFilter, IsThatOfTheTextAt48Kilohertz) {
  const auto filter = kWeightingAt(48000);
  const double shelf[] = {1.53512485958697, -2.69169618940638, 1.19839281085285, -1.69065929318241,
                          0.73248077421585};
  const double highPass[] = {1.0, -2.0, 1.0, -1.99004745483398, 0.99007225036621};
  for (std::size_t i = 0; i < 5; ++i) {
    EXPECT_NEAR(filter.shelf[i], shelf[i], 1e-10) << i;
    EXPECT_NEAR(filter.highPass[i], highPass[i], 1e-10) << i;
  }
}

/// In dB, by the transfer function.
double gainOf(int sampleRate, double hertz) {
  const auto filter = kWeightingAt(sampleRate);
  const auto delay = std::polar(1.0, -2.0 * pi * hertz / sampleRate);
  const auto gain = [&](const std::array<double, 5>& biquad) {
    return std::abs((biquad[0] + biquad[1] * delay + biquad[2] * delay * delay) /
                    (1.0 + biquad[3] * delay + biquad[4] * delay * delay));
  };
  return 20.0 * std::log10(gain(filter.shelf) * gain(filter.highPass));
}

const std::vector<int> kRates{8000,  11025, 16000, 22050, 24000,  32000,
                              44100, 48000, 88200, 96000, 176400, 192000};

TEST(KWeightingFilter, HearsLowNotesAlikeAtEveryRate) {
  for (const int rate : kRates) {
    EXPECT_NEAR(gainOf(rate, 100.0), gainOf(48000, 100.0), 0.003) << rate;
  }
}

TEST(KWeightingFilter, HearsTheMiddleAlikeFrom22KilohertzOn) {
  for (const int rate : kRates) {
    if (rate >= 22050) {
      EXPECT_NEAR(gainOf(rate, 1000.0), gainOf(48000, 1000.0), 0.03) << rate;
    }
  }
}

/// Sound that a filter takes by stretches and one by one, cell by cell.
using Signal = std::function<double(int64_t sample, int sampleRate)>;

/// The samples of a cell, whose lengths are uneven where a rate is no multiple of 100.
int lengthOfCell(int cell, int sampleRate) {
  const auto edge = [&](int64_t number) { return (number * sampleRate + 50) / 100; };
  return static_cast<int>(edge(cell + 1) - edge(cell));
}

void expectTheSameEnergies(const Signal& signal, int cells = 60) {
  for (const int rate : kRates) {
    withEachInstructionSet([&] {
      KWeighting weighting(rate);
      KWeighting::State byStretches = {};
      KWeighting::State oneByOne = {};
      int64_t sample = 0;
      double largest = 0.0;
      for (int cell = 0; cell < cells; ++cell) {
        std::vector<float> samples(static_cast<std::size_t>(lengthOfCell(cell, rate)));
        std::generate(samples.begin(), samples.end(),
                      [&] { return static_cast<float>(signal(sample++, rate)); });
        const auto count = static_cast<int>(samples.size());
        KWeighting::State rest = {};
        const double alone = weighting.energyOneByOne(rest, samples.data(), count);
        const double expected = weighting.energyOneByOne(oneByOne, samples.data(), count);
        const double energy = weighting.energy(byStretches, samples.data(), count);
        largest = std::max({largest, expected, alone});
        EXPECT_NEAR(energy, expected, 1e-9 * largest) << rate << " Hz, cell " << cell;
      }
    });
  }
}

TEST(KWeightingKernel, EqualsTheRecursionForNoise) {
  std::mt19937 random(4);
  std::uniform_real_distribution<double> any(-1.0, 1.0);
  expectTheSameEnergies([&](int64_t, int) { return any(random); });
}

TEST(KWeightingKernel, EqualsTheRecursionForSteps) {
  // Up at once, down after 0.2 s, and up again.
  expectTheSameEnergies([](int64_t sample, int rate) {
    return sample < rate / 5 ? 1.0 : sample < rate / 5 * 2 ? -1.0 : 0.5;
  });
}

TEST(KWeightingKernel, EqualsTheRecursionForALowNote) {
  expectTheSameEnergies([](int64_t sample, int rate) {
    return std::sin(2.0 * pi * 40.0 * static_cast<double>(sample) / rate);
  });
}

TEST(KWeightingKernel, EqualsTheRecursionForSilenceAfterLoudSound) {
  std::mt19937 random(5);
  std::uniform_real_distribution<double> any(-1.0, 1.0);
  expectTheSameEnergies(
      [&](int64_t sample, int rate) { return sample < rate / 10 ? any(random) : 0.0; }, 200);
}

TEST(KWeightingKernel, ComesToRestInSilence) {
  KWeighting weighting(48000);
  KWeighting::State state = {};
  const std::vector<float> loud(480, 1.0F);
  const std::vector<float> silence(480, 0.0F);
  EXPECT_GT(weighting.energy(state, loud.data(), 480), 1.0);
  for (int cell = 0; cell < 200; ++cell) {
    weighting.energy(state, silence.data(), 480);
  }
  EXPECT_EQ(state, KWeighting::State{});
  EXPECT_EQ(weighting.energy(state, silence.data(), 480), 0.0);
}

TEST(KWeightingKernel, GivesTheSameWithEveryInstructionSet) {
  std::mt19937 random(6);
  for (int length = 0; length <= kMostLength; ++length) {
    const std::vector<float> samples = anySound(random, static_cast<std::size_t>(length));
    std::vector<double> energies;
    std::vector<KWeighting::State> states;
    withEachInstructionSet([&] {
      KWeighting weighting(44100);
      KWeighting::State state{0.1, -0.2, 0.3, -0.25};
      energies.push_back(weighting.energy(state, samples.data(), length));
      states.push_back(state);
    });
    for (std::size_t i = 1; i < energies.size(); ++i) {
      EXPECT_EQ(energies[i], energies[0]) << length;
      EXPECT_EQ(states[i], states[0]) << length;
    }
  }
}

TEST(KWeightingKernel, EqualsTheRecursionForEveryLength) {
  std::mt19937 random(7);
  std::uniform_real_distribution<float> any(-1.0F, 1.0F);
  KWeighting weighting(48000);
  for (int length = 0; length <= kMostLength; ++length) {
    std::vector<float> samples(static_cast<std::size_t>(length));
    std::generate(samples.begin(), samples.end(), [&] { return any(random); });
    KWeighting::State byStretches{0.1, -0.2, 0.3, -0.25};
    KWeighting::State oneByOne = byStretches;
    const double expected = weighting.energyOneByOne(oneByOne, samples.data(), length);
    EXPECT_NEAR(weighting.energy(byStretches, samples.data(), length), expected, 1e-11 * expected)
        << length;
  }
}

}  // namespace
