#include "checks/video/Timecodes.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>
#include <vector>

namespace {

constexpr int kMost = std::numeric_limits<int>::max();
constexpr int kLeast = std::numeric_limits<int>::min();

/// The definition, for numbers that fit.
int referenceDrop(int frame) {
  const auto tens = static_cast<int>(frame / 17982.0);
  const int rest = frame % 17982;
  return static_cast<int>((frame + 18.0 * tens) + 2.0 * ((rest - 2) / 1798.0));
}

std::string referenceText(int frame, bool drop, int fps) {
  const int number = drop ? referenceDrop(frame) : frame;
  const auto quotient = [&](int product) {
    return static_cast<int>(static_cast<float>(number) / static_cast<float>(product));
  };
  char text[64];
  std::snprintf(text, sizeof text, "%02d:%02d:%02d%c%02d", quotient(fps * 3600) % 24,
                quotient(fps * 60) % 60, quotient(fps) % 60, drop ? ';' : ':', number % fps);
  return text;
}

/// Frames of some days, all of those around whole seconds, minutes, ten minutes and hours.
std::vector<int> manyFrames() {
  std::vector<int> frames;
  for (int frame = -40000; frame < 5400000; frame += 4993) {
    frames.push_back(frame);
  }
  for (const int step : {25, 1798, 1800, 17982, 18000, 90000, 108000, 2592000}) {
    for (int times = -2; times <= 26; ++times) {
      for (int around = -2; around <= 2; ++around) {
        frames.push_back(step * times + around);
      }
    }
  }
  return frames;
}

TEST(ConvertToDrop, ShiftsSmoothlyInsideTenMinutes) {
  EXPECT_EQ(convertToDrop(0), 0);
  EXPECT_EQ(convertToDrop(1), 0) << "1 - 2/1798 cut off";
  EXPECT_EQ(convertToDrop(2), 2);
  EXPECT_EQ(convertToDrop(900), 900) << "2 x 898/1798 is below 1";
  EXPECT_EQ(convertToDrop(901), 902) << "and 2 x 899/1798 is 1, halfway through the minute";
  EXPECT_EQ(convertToDrop(1000), 1001);
  EXPECT_EQ(convertToDrop(1799), 1800) << "2 x 1797/1798 is below 2";
  EXPECT_EQ(convertToDrop(1800), 1802);
  EXPECT_EQ(convertToDrop(17981), 18000);
  EXPECT_EQ(convertToDrop(107892), 107999);
}

TEST(ConvertToDrop, StepsBackByOneWhereTenMinutesAreFull) {
  for (int tens = 1; tens <= 6 * 24; ++tens) {
    EXPECT_EQ(convertToDrop(17982 * tens - 1), 18000 * tens) << tens;
    EXPECT_EQ(convertToDrop(17982 * tens), 18000 * tens - 1) << tens;
    EXPECT_EQ(convertToDrop(17982 * tens + 1), 18000 * tens) << tens;
    EXPECT_EQ(convertToDrop(17982 * tens + 2), 18000 * tens + 2) << tens;
  }
}

TEST(ConvertToDrop, GivesWhatTheDefinitionGives) {
  for (const int frame : manyFrames()) {
    ASSERT_EQ(convertToDrop(frame), referenceDrop(frame)) << frame;
  }
  for (int frame = 0; frame < 20000; ++frame) {
    ASSERT_EQ(convertToDrop(frame), referenceDrop(frame)) << frame;
  }
}

TEST(ConvertToDrop, OfNegativeFramesIsTruncatedTowardZeroToo) {
  EXPECT_EQ(convertToDrop(-1), -1) << "-1 - 2 x 3/1798";
  EXPECT_EQ(convertToDrop(-899), -900) << "-899 - 2 x 901/1798 = -900.002";
  EXPECT_EQ(convertToDrop(-17981), -18001) << "-17981 - 2 x 17983/1798 = -18001.003";
  EXPECT_EQ(convertToDrop(-17982), -18000) << "-17982 - 18 - 2 x 2/1798";
}

TEST(ConvertToDrop, NumbersThatDoNotFitBecomeTheNearest) {
  EXPECT_EQ(convertToDrop(kMost), kMost);
  EXPECT_EQ(convertToDrop(kLeast), kLeast);
  // 2^31 - 1 numbers are 119304 times ten minutes and 11647 more: those still fit.
  constexpr int kTens = 119304;
  static_assert(int64_t{18000} * kTens + 11647 == kMost);
  EXPECT_EQ(convertToDrop(17982 * kTens + 2), 18000 * kTens + 2);
}

TEST(TimeCode, CountsHoursMinutesSecondsAndFrames) {
  EXPECT_EQ(getTimeCode(0, false, 25), "00:00:00:00");
  EXPECT_EQ(getTimeCode(24, false, 25), "00:00:00:24");
  EXPECT_EQ(getTimeCode(25, false, 25), "00:00:01:00");
  EXPECT_EQ(getTimeCode(1499, false, 25), "00:00:59:24");
  EXPECT_EQ(getTimeCode(1500, false, 25), "00:01:00:00");
  EXPECT_EQ(getTimeCode(1799, false, 30), "00:00:59:29");
  EXPECT_EQ(getTimeCode(107892, false, 30), "00:59:56:12");
  EXPECT_EQ(getTimeCode(107999, false, 30), "00:59:59:29");
  EXPECT_EQ(getTimeCode(108000, false, 30), "01:00:00:00");
  EXPECT_EQ(getTimeCode((((12 * 60) + 34) * 60 + 56) * 50 + 49, false, 50), "12:34:56:49");
}

TEST(TimeCode, WithDropFrameCountingHasASemicolonAndTheOtherNumber) {
  EXPECT_EQ(getTimeCode(0, true, 30), "00:00:00;00");
  EXPECT_EQ(getTimeCode(1, true, 30), "00:00:00;00");
  EXPECT_EQ(getTimeCode(2, true, 30), "00:00:00;02");
  EXPECT_EQ(getTimeCode(1800, true, 30), "00:01:00;02");
  EXPECT_EQ(getTimeCode(17981, true, 30), "00:10:00;00");
  EXPECT_EQ(getTimeCode(17982, true, 30), "00:09:59;29");
  EXPECT_EQ(getTimeCode(107892, true, 30), "00:59:59;29");
}

TEST(TimeCode, DropFrameCountingIsThatOf2997AtEveryRate) {
  EXPECT_EQ(getTimeCode(1800, true, 25), "00:01:12;02") << "1802 = 72 x 25 + 2";
  EXPECT_EQ(getTimeCode(1800, true, 60), "00:00:30;02") << "1802 = 30 x 60 + 2";
}

TEST(TimeCode, HoursStartAgainAfterADay) {
  EXPECT_EQ(getTimeCode(24 * 108000 - 1, false, 30), "23:59:59:29");
  EXPECT_EQ(getTimeCode(24 * 108000, false, 30), "00:00:00:00");
  EXPECT_EQ(getTimeCode(49 * 108000 + 30, false, 30), "01:00:01:00");
}

TEST(TimeCode, RateBelowOneCountsAsOne) {
  for (const int fps : {0, -1, -30, kLeast}) {
    EXPECT_EQ(getTimeCode(3661, false, fps), "01:01:01:00") << fps;
    EXPECT_EQ(getTimeCode(3661, true, fps), getTimeCode(3661, true, 1)) << fps;
  }
}

TEST(TimeCode, NumbersOfThreeDigitsAndNegativeOnesMakeItLonger) {
  EXPECT_EQ(getTimeCode(99, false, 120), "00:00:00:99");
  EXPECT_EQ(getTimeCode(119, false, 120), "00:00:00:119");
  EXPECT_EQ(getTimeCode(120, false, 120), "00:00:01:00");
  EXPECT_EQ(getTimeCode(1000000, false, kMost), "00:00:00:1000000");
  EXPECT_EQ(getTimeCode(-31, false, 30), "00:00:-1:-1");
  EXPECT_EQ(getTimeCode(-108029, false, 30), "-1:00:00:-29");
}

TEST(TimeCode, QuotientsAreThoseOfSinglePrecision) {
  constexpr int kFrame = (1 << 24) + 1;
  ASSERT_EQ(static_cast<int>(static_cast<float>(kFrame) / 1.0F), kFrame - 1);
  // 2^24 s are 194 days, 4 h, 20 min and 16 s.
  static_assert((1 << 24) == ((194 * 24 + 4) * 60 + 20) * 60 + 16);
  EXPECT_EQ(getTimeCode(kFrame, false, 1), "04:20:16:00") << "17 s without rounding";
  // A frame before a full hour: the quotients round up to it, the frames do not.
  constexpr int kBeforeTheHour = 108000 * 257 - 1;
  ASSERT_EQ(static_cast<float>(kBeforeTheHour) / 108000.0F, 257.0F);
  EXPECT_EQ(getTimeCode(kBeforeTheHour, false, 30), "17:00:00:29") << "257 - 10 x 24 = 17";
}

TEST(TimeCode, GivesWhatTheDefinitionGives) {
  for (const int fps : {1, 2, 12, 24, 25, 30, 48, 50, 60, 99, 100, 120}) {
    for (const int frame : manyFrames()) {
      ASSERT_EQ(getTimeCode(frame, false, fps), referenceText(frame, false, fps))
          << frame << " at " << fps;
      ASSERT_EQ(getTimeCode(frame, true, fps), referenceText(frame, true, fps))
          << frame << " at " << fps;
    }
  }
}

TEST(TimeCode, OfTheLargestNumbersDoesNotOverflow) {
  // 2^31 - 1 in single precision is 2^31: of seconds these are 24855 days, 3 h, 14 min and 8 s.
  static_assert(int64_t{1} << 31 == ((int64_t{24855} * 24 + 3) * 60 + 14) * 60 + 8);
  // Whole minutes of them are told in steps of 4: 35791394 becomes 35791396, two minutes late.
  ASSERT_EQ(static_cast<float>(kMost) / 60.0F, 35791396.0F);
  EXPECT_EQ(getTimeCode(kMost, false, 1), "03:16:07:00") << "quotients stop at 2^31 - 1";
  EXPECT_EQ(getTimeCode(kMost, true, 1), "03:16:07;00");
  EXPECT_EQ(getTimeCode(kLeast, false, 1), "-3:-16:-8:00");
  EXPECT_EQ(getTimeCode(kLeast, true, 1), "-3:-16:-8;00");
  EXPECT_EQ(getTimeCode(5, false, kMost), "00:00:00:05") << "nor do rates times 3600";
  EXPECT_EQ(getTimeCode(kMost, false, kMost), "00:00:01:00");
}

}  // namespace
