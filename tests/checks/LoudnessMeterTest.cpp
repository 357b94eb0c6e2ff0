#include "checks/sound/LoudnessMeter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <limits>
#include <random>
#include <vector>

namespace {

using qatester::gatedLoudness;
using qatester::LoudnessMeter;
using qatester::loudnessOf;
using qatester::loudnessRange;

/// BS.1770: -0.691 LUFS is a mean square of 1.
double meanSquareAt(double lufs) {
  return std::pow(10.0, (lufs + 0.691) / 10.0);
}

/// Blocks are kept in single precision.
constexpr double kRounding = 1e-6;

struct Run {
  double lufs;
  int blocks;
};

std::vector<float> blocksOf(std::initializer_list<Run> runs) {
  std::vector<float> blocks;
  for (const Run& run : runs) {
    blocks.insert(blocks.end(), static_cast<std::size_t>(run.blocks),
                  static_cast<float>(meanSquareAt(run.lufs)));
  }
  return blocks;
}

double decibels(double ratio) {
  return 10.0 * std::log10(ratio);
}

// Gating

TEST(GatedLoudness, IsThatOfBlocksWhichAreAllAlike) {
  EXPECT_NEAR(*gatedLoudness(blocksOf({{-23.0, 1}})), -23.0, kRounding);
  EXPECT_NEAR(*gatedLoudness(blocksOf({{-23.0, 50}})), -23.0, kRounding);
  EXPECT_NEAR(loudnessOf(1.0), -0.691, 1e-12);
  EXPECT_EQ(loudnessOf(0.0), -std::numeric_limits<double>::infinity());
}

TEST(GatedLoudness, AveragesEnergiesAndNotDecibels) {
  // (1 + 0.1) / 2 of the louder.
  EXPECT_NEAR(*gatedLoudness(blocksOf({{-20.0, 10}, {-30.0, 10}})), -20.0 + decibels(0.55),
              kRounding);
}

TEST(GatedLoudness, BlocksBelowMinus70DoNotCount) {
  EXPECT_NEAR(*gatedLoudness(blocksOf({{-20.0, 1}, {-70.001, 99}})), -20.0, kRounding)
      << "nor do they lower the relative gate";
  EXPECT_NEAR(*gatedLoudness(blocksOf({{-69.999, 5}})), -69.999, kRounding);
  EXPECT_FALSE(gatedLoudness(blocksOf({{-70.001, 5}})).has_value());
}

TEST(GatedLoudness, BlocksTenBelowTheMeanOfTheOthersDoNotCount) {
  // The mean of both is 10 lg((1 + 1e-2) / 2) = -2.967 above -20: the gate lies at -32.967.
  EXPECT_NEAR(*gatedLoudness(blocksOf({{-20.0, 10}, {-40.0, 10}})), -20.0, kRounding);
  // x = 0.0527 of the louder lies where x = 0.1 (1 + x) / 2: at -32.78.
  EXPECT_NEAR(*gatedLoudness(blocksOf({{-20.0, 10}, {-32.8, 10}})), -20.0, kRounding);
  EXPECT_NEAR(*gatedLoudness(blocksOf({{-20.0, 10}, {-32.7, 10}})),
              -20.0 + decibels((1.0 + std::pow(10.0, -1.27)) / 2.0), kRounding);
}

TEST(GatedLoudness, OfNothingAndOfSilenceThereIsNone) {
  EXPECT_FALSE(gatedLoudness({}).has_value());
  EXPECT_FALSE(gatedLoudness(std::vector<float>(10, 0.0F)).has_value());
}

// Range

TEST(LoudnessRange, LiesBetweenThe10thAndThe95thPercentile) {
  // 21 blocks, each 0.5 LU above the one before: 20 * 0.1 = 2 and 20 * 0.95 = 19.
  std::vector<float> blocks;
  for (int i = 0; i < 21; ++i) {
    blocks.push_back(static_cast<float>(meanSquareAt(-30.0 + 0.5 * i)));
  }
  EXPECT_NEAR(*loudnessRange(blocks), 0.5 * (19 - 2), kRounding);
  std::mt19937 random(1);
  std::shuffle(blocks.begin(), blocks.end(), random);
  EXPECT_NEAR(*loudnessRange(blocks), 0.5 * (19 - 2), kRounding);
}

TEST(LoudnessRange, TakesTheNearestBlockToAPercentile) {
  // 4 * 0.1 = 0.4 is the lowest of five, 4 * 0.95 = 3.8 the highest.
  EXPECT_NEAR(
      *loudnessRange(blocksOf({{-20.0, 1}, {-21.0, 1}, {-23.0, 1}, {-26.0, 1}, {-30.0, 1}})), 10.0,
      kRounding);
  // 7 * 0.1 = 0.7 is the second lowest of eight, 7 * 0.95 = 6.65 the highest.
  EXPECT_NEAR(*loudnessRange(blocksOf({{-20.0, 6}, {-25.0, 1}, {-30.0, 1}})), 5.0, kRounding);
}

TEST(LoudnessRange, BlocksTwentyBelowTheMeanDoNotCount) {
  // 4 of 10 at 1e-2, the others at 1: a mean of 0.604 and a gate at 0.00604.
  EXPECT_NEAR(*loudnessRange(blocksOf({{-20.0, 6}, {-40.0, 4}})), 20.0, kRounding);
  EXPECT_NEAR(*loudnessRange(blocksOf({{-20.0, 6}, {-42.3, 4}})), 0.0, kRounding)
      << "0.00589 lies below 0.602 / 100";
}

TEST(LoudnessRange, BlocksBelowMinus70DoNotCount) {
  EXPECT_NEAR(*loudnessRange(blocksOf({{-60.0, 10}, {-69.999, 10}})), 9.999, kRounding);
  EXPECT_NEAR(*loudnessRange(blocksOf({{-60.0, 10}, {-70.001, 10}})), 0.0, kRounding);
  EXPECT_FALSE(loudnessRange(blocksOf({{-70.001, 10}})).has_value());
  EXPECT_FALSE(loudnessRange({}).has_value());
}

// The meter

constexpr int kSamplesOfACell = 480;

/// Adds cells of one mean square, which is to be a small whole number where sums must be exact.
void addCells(LoudnessMeter& meter, int cells, double meanSquare, double clock = 0.0) {
  for (int i = 0; i < cells; ++i) {
    const double start = clock + meter.seconds();
    meter.add(meanSquare * kSamplesOfACell, kSamplesOfACell, start, start + 0.01);
  }
}

TEST(LoudnessMeter, HasNothingToSayBefore400Milliseconds) {
  LoudnessMeter meter;
  addCells(meter, 39, 1.0);
  EXPECT_FALSE(meter.integrated().has_value());
  EXPECT_FALSE(meter.maxMomentary().has_value());
  addCells(meter, 1, 1.0);
  EXPECT_NEAR(*meter.integrated(), -0.691, 1e-9);
  ASSERT_TRUE(meter.maxMomentary().has_value());
  EXPECT_NEAR(meter.maxMomentary()->lufs, -0.691, 1e-9);
  EXPECT_DOUBLE_EQ(meter.maxMomentary()->startSeconds, 0.0);
  EXPECT_DOUBLE_EQ(meter.maxMomentary()->endSeconds, 0.4);
}

TEST(LoudnessMeter, HasNoShortTermLoudnessBefore3Seconds) {
  LoudnessMeter meter;
  addCells(meter, 299, 1.0);
  EXPECT_FALSE(meter.range().has_value());
  EXPECT_FALSE(meter.maxShortTerm().has_value());
  addCells(meter, 1, 1.0);
  EXPECT_NEAR(*meter.range(), 0.0, 1e-9);
  ASSERT_TRUE(meter.maxShortTerm().has_value());
  EXPECT_NEAR(meter.maxShortTerm()->lufs, -0.691, 1e-9);
  EXPECT_DOUBLE_EQ(meter.maxShortTerm()->startSeconds, 0.0);
  EXPECT_DOUBLE_EQ(meter.maxShortTerm()->endSeconds, 3.0);
  EXPECT_DOUBLE_EQ(meter.seconds(), 3.0);
}

TEST(LoudnessMeter, SilenceHasNoLoudness) {
  LoudnessMeter meter;
  addCells(meter, 400, 0.0);
  EXPECT_FALSE(meter.integrated().has_value());
  EXPECT_FALSE(meter.range().has_value());
  EXPECT_FALSE(meter.maxMomentary().has_value());
  EXPECT_FALSE(meter.maxShortTerm().has_value());
}

TEST(LoudnessMeter, BlocksBeginEvery100Milliseconds) {
  // 40 loud cells from the fifth on: blocks at 0, 100, 200, 300 and 400 ms hold 35, 35, 25, 15 and
  // 5 of them, the other two none.
  LoudnessMeter meter;
  addCells(meter, 5, 0.0);
  addCells(meter, 40, 1.0);
  addCells(meter, 55, 0.0);
  EXPECT_NEAR(*meter.integrated(), -0.691 + decibels((35 + 35 + 25 + 15 + 5) / 5.0 / 40.0), 1e-6);
}

TEST(LoudnessMeter, MaximaAreFoundInWindowsThatBeginEvery10Milliseconds) {
  // 40 loud cells from 5.07 s on fill one window of 400 ms, which no block of the integrated
  // loudness does; the first window of 3 s that holds all of them ends with them.
  LoudnessMeter meter;
  addCells(meter, 507, 0.0);
  addCells(meter, 40, 3.0);
  addCells(meter, 600, 0.0);
  ASSERT_TRUE(meter.maxMomentary().has_value());
  EXPECT_NEAR(meter.maxMomentary()->lufs, -0.691 + decibels(3.0), 1e-9);
  EXPECT_DOUBLE_EQ(meter.maxMomentary()->startSeconds, 5.07);
  EXPECT_DOUBLE_EQ(meter.maxMomentary()->endSeconds, 5.47);
  ASSERT_TRUE(meter.maxShortTerm().has_value());
  EXPECT_NEAR(meter.maxShortTerm()->lufs, -0.691 + decibels(3.0 * 40 / 300), 1e-9);
  EXPECT_DOUBLE_EQ(meter.maxShortTerm()->startSeconds, 2.47);
  EXPECT_DOUBLE_EQ(meter.maxShortTerm()->endSeconds, 5.47);
}

TEST(LoudnessMeter, OfEqualMaximaTheFirstCounts) {
  LoudnessMeter meter;
  addCells(meter, 1000, 2.0);
  EXPECT_DOUBLE_EQ(meter.maxMomentary()->startSeconds, 0.0);
  EXPECT_DOUBLE_EQ(meter.maxShortTerm()->startSeconds, 0.0);
}

TEST(LoudnessMeter, TimesAreThoseOfTheCells) {
  LoudnessMeter meter;
  addCells(meter, 100, 1.0, 60.0);
  addCells(meter, 40, 2.0, 60.0);
  addCells(meter, 100, 1.0, 70.0);
  EXPECT_DOUBLE_EQ(meter.maxMomentary()->startSeconds, 61.0);
  EXPECT_DOUBLE_EQ(meter.maxMomentary()->endSeconds, 61.4);
}

TEST(LoudnessMeter, CellsOfUnevenLengthsCountByTheirSamples) {
  // 220 and 221 samples in turn, as at 22,050 Hz: only the longer ones are loud.
  LoudnessMeter meter;
  for (int i = 0; i < 100; ++i) {
    const double start = i / 100.0;
    meter.add(i % 2 == 0 ? 0.0 : 221.0, 220 + i % 2, start, start + 0.01);
  }
  EXPECT_NEAR(*meter.integrated(), -0.691 + decibels(221.0 / 441.0), 1e-6);
}

}  // namespace
