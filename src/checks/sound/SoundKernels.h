#pragma once

#include <array>
#include <vector>

namespace qatester {

// What is computed for every sample of a cell. Each kernel gives the same result, to the last bit,
// with every instruction set; those with a twin that goes one by one equal it as well, unless it
// says how close it comes.

/// The earliest sample before a cell that a kernel reads.
inline constexpr int kKernelHistory = 23;

/// What the samples of a cell come to. Full scale is 1.
struct LevelSums {
  float highest = 0.0F;  ///< at least 0
  float lowest = 0.0F;   ///< at most 0
  /// The largest second difference of samples in a row.
  float bend = 0.0F;
  double sum = 0.0;
  double squares = 0.0;
};

/// Of `count` samples. The two before them are read.
LevelSums measureLevels(const float* samples, int count);
LevelSums measureLevelsOneByOne(const float* samples, int count);

/// How two channels differ.
struct DifferenceSums {
  float largest = 0.0F;
  double squares = 0.0;
};

DifferenceSums measureDifference(const float* one, const float* other, int count);
DifferenceSums measureDifferenceOneByOne(const float* one, const float* other, int count);

/// The largest magnitude of the seven values between any two samples at 8 times the rate, by
/// windowed sincs of 24 taps, for the places from 12 samples before the first of `count` samples to
/// 12 before the last. The 23 samples before the first are read.
float largestBetween(const float* samples, int count);
float largestBetweenOneByOne(const float* samples, int count);

/// No value between samples is larger than the largest sample near it plus so many of the largest
/// second difference near it.
float betweenPerBend();

/// A filter of two biquads, as its recursion goes.
struct WeightingCoefficients {
  /// Numerator, then denominator less its first, which is 1.
  std::array<double, 5> shelf;
  std::array<double, 5> highPass;
};

/// K-weighting after ITU-R BS.1770-5 at this rate: at 48 kHz the table of that text; at others what
/// the same analogue filters come to by the bilinear transform, with the high-pass as loud as at
/// 48 kHz.
WeightingCoefficients kWeightingAt(int sampleRate);

/// K-weighting of channels of one rate, cell by cell.
class KWeighting {
 public:
  /// What the filter remembers of a channel; zeros at rest.
  using State = std::array<double, 4>;

  explicit KWeighting(int sampleRate);

  /// The sum of the squares of the next `count` filtered samples of a channel.
  double energy(State& state, const float* samples, int count);

  /// The same, by the recursion itself: they differ by less than 1e-9 of the largest energy so far,
  /// which includes what the samples of a call alone come to.
  double energyOneByOne(State& state, const float* samples, int count) const;

 private:
  using Matrix = std::array<State, 4>;
  /// What the states at the start of so many samples come to.
  struct Stretch {
    int length = 0;
    Matrix energy;  ///< of the products of two states
    Matrix after;   ///< the states at the end
  };

  const Stretch& stretchOf(int length);

  WeightingCoefficients filter_;
  std::vector<Stretch> stretches_;
  /// Of each state alone, what the filter gives at each sample.
  std::vector<State> responses_;
  std::vector<double> lanes_;
};

}  // namespace qatester
