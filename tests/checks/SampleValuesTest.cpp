#include "media/SampleValues.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "support/Blocks.h"

namespace {

using qatest::blockOf;

const std::vector<int> kFormatsWithoutValues{-1, 3, 4, 5, 6, 7, 8, 9, 10, 11, 100};

TEST(DynamicRange, IsThatOfAnIdealQuantiser) {
  EXPECT_EQ(getDynamicRange(AV_SAMPLE_FMT_U8), 43.9052F);
  EXPECT_EQ(getDynamicRange(AV_SAMPLE_FMT_S16), 98.0906F);
  EXPECT_EQ(getDynamicRange(AV_SAMPLE_FMT_S32), 194.4202F);
  // 6.0206 N + 1.7609, with 7 bits for 8.
  EXPECT_NEAR(getDynamicRange(AV_SAMPLE_FMT_U8), 6.0206 * 7 + 1.7609, 2e-4);
  EXPECT_NEAR(getDynamicRange(AV_SAMPLE_FMT_S16), 6.0206 * 16 + 1.7609, 2e-4);
  EXPECT_NEAR(getDynamicRange(AV_SAMPLE_FMT_S32), 6.0206 * 32 + 1.7609, 2e-4);
}

TEST(DynamicRange, IsZeroForOtherFormats) {
  for (const int format : kFormatsWithoutValues) {
    EXPECT_EQ(getDynamicRange(static_cast<AVSampleFormat>(format)), 0.0F) << format;
  }
}

TEST(SignedBytes, From128OnAreLess255) {
  for (int byte = 0; byte < 256; ++byte) {
    EXPECT_EQ(getIntValue(static_cast<unsigned char>(byte)), byte < 128 ? byte : byte - 255);
  }
  EXPECT_EQ(getIntValue(255), 0);
  EXPECT_EQ(getIntValue(128), -127);
  EXPECT_EQ(getIntValue(127), 127);
}

TEST(SignedBytes, AreMadeOfValuesThatWrap) {
  EXPECT_EQ(getUintValue(-1), 254);
  EXPECT_EQ(getUintValue(-127), 128);
  EXPECT_EQ(getUintValue(0), 0);
  EXPECT_EQ(getUintValue(127), 127);
  EXPECT_EQ(getUintValue(300), 44);
  EXPECT_EQ(getUintValue(-300), (-301) & 255);
  EXPECT_EQ(getUintValue(std::numeric_limits<int>::max()), 255);
  EXPECT_EQ(getUintValue(std::numeric_limits<int>::min()), 255);  // less 1 wraps
  for (int value = -127; value <= 127; ++value) {
    EXPECT_EQ(getIntValue(static_cast<unsigned char>(getUintValue(value))), value);
  }
}

TEST(Magnitude, IsThatOfTheSignedValue) {
  std::vector<uint8_t> bytes{0, 1, 127, 128, 254, 255};
  const float ofBytes[] = {0.0F, 1.0F, 127.0F, 127.0F, 1.0F, 0.0F};
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(getRealAudioValue(blockOf(bytes), i), ofBytes[i]) << i;
  }
  std::vector<int16_t> shorts{0, -1, 32767, -32768};
  const float ofShorts[] = {0.0F, 1.0F, 32767.0F, 32768.0F};
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(getRealAudioValue(blockOf(shorts), i), ofShorts[i]) << i;
  }
  std::vector<int32_t> ints{0, -1, 2147483647, -2147483647};
  const float ofInts[] = {0.0F, 1.0F, 2147483648.0F, 2147483648.0F};
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(getRealAudioValue(blockOf(ints), i), ofInts[i]) << i;
  }
}

TEST(Magnitude, OfTheMostNegative32BitValueStaysNegative) {
  std::vector<int32_t> ints{std::numeric_limits<int32_t>::min()};
  EXPECT_EQ(getRealAudioValue(blockOf(ints), 0), -2147483648.0F);
}

TEST(AudioValue, IsAFractionOfFullScale) {
  std::vector<uint8_t> bytes{0, 64, 127, 128, 255};
  const double ofBytes[] = {0.0, 0.5, 127.0 / 128.0, -127.0 / 128.0, 0.0};
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(getAudioValue(blockOf(bytes), i), ofBytes[i]) << i;
  }
  std::vector<int16_t> shorts{0, 16384, 32767, -32768};
  const double ofShorts[] = {0.0, 0.5, 32767.0 / 32768.0, -1.0};
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(getAudioValue(blockOf(shorts), i), ofShorts[i]) << i;
  }
  // In single precision: 2147483647 is 2^31 there, and 16777217 is 16777216.
  std::vector<int32_t> ints{1, 1 << 30, 2147483647, std::numeric_limits<int32_t>::min(), 16777217};
  const double ofInts[] = {std::ldexp(1.0, -31), 0.5, 1.0, -1.0, std::ldexp(1.0, -7)};
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(getAudioValue(blockOf(ints), i), ofInts[i]) << i;
  }
}

TEST(SampleValues, AreZeroInOtherFormats) {
  std::vector<double> full(4, 1.0);
  for (const int format : kFormatsWithoutValues) {
    const OxAudioSample block = blockOf(full, format);
    EXPECT_EQ(getRealAudioValue(block, 1), 0.0F) << format;
    EXPECT_EQ(getAudioValue(block, 1), 0.0) << format;
  }
}

TEST(SampleValues, AreZeroWithoutABuffer) {
  for (const int format : {0, 1, 2}) {
    OxAudioSample block;
    block.sampleFormat = format;
    EXPECT_EQ(getRealAudioValue(block, 0), 0.0F);
    EXPECT_EQ(getAudioValue(block, 0), 0.0);
  }
}

TEST(SingleSample, TwoZerosMatchWhateverTheTolerance) {
  for (const float tolerance : {0.0F, 0.01F, -1.0F, std::numeric_limits<float>::quiet_NaN()}) {
    EXPECT_TRUE(checkSingleSample<unsigned char>(0, 0, tolerance));
    EXPECT_TRUE(checkSingleSample<short>(0, 0, tolerance));
    EXPECT_TRUE(checkSingleSample<int>(0, 0, tolerance));
  }
}

TEST(SingleSample, WithoutToleranceNothingElseMatches) {
  EXPECT_FALSE(checkSingleSample<unsigned char>(7, 7, 0.0F));
  EXPECT_FALSE(checkSingleSample<short>(-7, -7, 0.0F));
  EXPECT_FALSE(checkSingleSample<int>(7, 7, 0.0F));
}

TEST(SingleSample, MatchesWithinAShareOfTheTypesRange) {
  EXPECT_TRUE(checkSingleSample<short>(1000, 1300, 0.005F));   // 327.68
  EXPECT_FALSE(checkSingleSample<short>(1000, 1300, 0.004F));  // 262.144
  EXPECT_TRUE(checkSingleSample<short>(1300, 1000, 0.005F));
  EXPECT_FALSE(checkSingleSample<short>(1300, 1000, 0.004F));
  // A quarter of 256, of 65536 and of 2^32: strictly within.
  EXPECT_TRUE(checkSingleSample<unsigned char>(100, 163, 0.25F));
  EXPECT_FALSE(checkSingleSample<unsigned char>(100, 164, 0.25F));
  EXPECT_TRUE(checkSingleSample<short>(-8192, 8191, 0.25F));
  EXPECT_FALSE(checkSingleSample<short>(-8192, 8192, 0.25F));
  EXPECT_TRUE(checkSingleSample<int>(-(1 << 29), (1 << 29) - 128, 0.25F));
  EXPECT_FALSE(checkSingleSample<int>(-(1 << 29), 1 << 29, 0.25F));
}

TEST(SingleSample, BytesAreComparedAsStored) {
  // As signed values, 0 and -127.
  EXPECT_TRUE(checkSingleSample<unsigned char>(127, 128, 0.01F));
  EXPECT_FALSE(checkSingleSample<unsigned char>(0, 255, 0.5F));
}

TEST(SingleSample, IntegersAreRoundedToSinglePrecision) {
  // The difference is 3, and the width 3.5; but 2^24 + 3 is rounded to 2^24 + 4.
  EXPECT_FALSE(checkSingleSample<int>(16777219, 16777216, std::ldexp(3.5F, -32)));
  EXPECT_TRUE(checkSingleSample<int>(16777218, 16777216, std::ldexp(3.5F, -32)));
}

}  // namespace
