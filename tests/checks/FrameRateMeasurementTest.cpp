#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "checks/video/FrameRate.h"

namespace {

using qatester::FrameRateMeasurement;
using qatester::roundToHundredths;

/// Measures `frames` frames, the one of index k stamped k * step + start seconds.
QA_FrameRate measured(float fps, int budget, int frames, double start, double step) {
  FrameRateMeasurement measurement;
  measurement.begin(fps, budget);
  for (int k = 0; k < frames; ++k) {
    measurement.addTime(k, start + k * step);
  }
  return measurement.verdict();
}

TEST(FrameRateRounding, IsToTwoDecimalsHalvesUp) {
  EXPECT_EQ(roundToHundredths(29.97003F), 29.97F);
  EXPECT_EQ(roundToHundredths(23.976F), 23.98F);
  EXPECT_EQ(roundToHundredths(25.0F), 25.0F);
  EXPECT_EQ(roundToHundredths(0.125F), 0.13F) << "12.5 is exact and rounds up";
  EXPECT_EQ(roundToHundredths(-0.125F), -0.12F) << "up is toward plus infinity";
  EXPECT_TRUE(std::isnan(roundToHundredths(std::numeric_limits<float>::quiet_NaN())));
}

TEST(FrameRateMeasurement, ConstantRateStampedFromZeroMeasuresTooHigh) {
  // Frame k contributes 25 (k + 1) / k: the mean of a hundred is 25 (99 + H(99)) / 100 = 26.0443.
  const QA_FrameRate result = measured(25.0F, 100, 100, 0.0, 1.0 / 25.0);
  EXPECT_EQ(result.measuredFps, 26.04F);
  EXPECT_EQ(result.declaredFps, 25.0F);
  EXPECT_FALSE(result.passed);
}

TEST(FrameRateMeasurement, ConstantRateStampedFromOneFrameOnIsExact) {
  const QA_FrameRate result = measured(25.0F, 100, 100, 1.0 / 25.0, 1.0 / 25.0);
  EXPECT_EQ(result.measuredFps, 25.0F);
  EXPECT_TRUE(result.passed);
}

TEST(FrameRateMeasurement, NeighbouringHundredthDoesNotPass) {
  for (const double rate : {29.96, 29.98}) {
    const QA_FrameRate result = measured(29.97F, 100, 100, 1.0 / rate, 1.0 / rate);
    EXPECT_EQ(result.measuredFps, static_cast<float>(rate));
    EXPECT_FALSE(result.passed);
  }
  EXPECT_TRUE(measured(29.97F, 100, 100, 1.0 / 29.97, 1.0 / 29.97).passed);
}

TEST(FrameRateMeasurement, FrameAtTimeZeroOrEarlierAddsNothing) {
  FrameRateMeasurement measurement;
  measurement.begin(25.0F, 4);
  measurement.addTime(0, 0.0);
  measurement.addTime(1, -1.0);
  measurement.addTime(2, 0.1);  // 3 / 0.1
  EXPECT_EQ(measurement.verdict().measuredFps, 7.5F);
}

TEST(FrameRateMeasurement, BudgetOfOneStampedZeroMeasuresNothing) {
  const QA_FrameRate result = measured(25.0F, 1, 1, 0.0, 0.04);
  EXPECT_EQ(result.measuredFps, 0.0F);
  EXPECT_FALSE(result.passed);
}

TEST(FrameRateMeasurement, DividesByTheBudgetNotByTheFramesThatCame) {
  EXPECT_EQ(measured(25.0F, 100, 50, 0.04, 0.04).measuredFps, 12.5F);
}

TEST(FrameRateMeasurement, WithoutABudgetOnlyTheDeclaredRateIsGiven) {
  for (const int budget : {0, -25}) {
    const QA_FrameRate result = measured(25.0F, budget, 0, 0.0, 0.0);
    EXPECT_EQ(result.declaredFps, 25.0F);
    EXPECT_EQ(result.measuredFps, 0.0F);
    EXPECT_FALSE(result.passed);
  }
}

TEST(FrameRateMeasurement, UndeclaredRateNeverPasses) {
  const float undeclared = std::numeric_limits<float>::quiet_NaN();
  const QA_FrameRate result = measured(undeclared, 2, 2, 0.04, 0.04);
  EXPECT_TRUE(std::isnan(result.declaredFps));
  EXPECT_EQ(result.measuredFps, 25.0F);
  EXPECT_FALSE(result.passed);
}

TEST(FrameRateMeasurement, SumIsKeptInSinglePrecision) {
  // 2^24 is reached first; each 1 behind it is lost in single precision.
  FrameRateMeasurement measurement;
  measurement.begin(25.0F, 1);
  measurement.addTime(0, 1.0 / 16777216.0);
  for (int index = 1; index < 100; ++index) {
    measurement.addTime(index, index + 1.0);
  }
  EXPECT_EQ(measurement.verdict().measuredFps, roundToHundredths(16777216.0F));
}

}  // namespace
