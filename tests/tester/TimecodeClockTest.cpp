#include "tester/TimecodeClock.h"

#include <gtest/gtest.h>

#include "tester/QATimecode.h"

namespace {

using qatester::TimecodeClock;

constexpr double kNtsc = 30000.0 / 1001.0;

TEST(TimecodeClock, CountsFramesSecondsMinutesAndHours) {
  const TimecodeClock clock("10:00:00:00", 25.0);
  EXPECT_EQ(clock.at(0), "10:00:00:00");
  EXPECT_EQ(clock.at(24), "10:00:00:24");
  EXPECT_EQ(clock.at(25), "10:00:01:00");
  EXPECT_EQ(clock.at(25 * 3600 + 25 * 61 + 3), "11:01:01:03");
}

TEST(TimecodeClock, GoesFromZeroWithoutAStartOrWithOneThatIsNone) {
  EXPECT_EQ(TimecodeClock("", 25.0).at(26), "00:00:01:01");
  EXPECT_EQ(TimecodeClock("ten o'clock", 25.0).at(0), "00:00:00:00");
  EXPECT_EQ(TimecodeClock("10:00:00:25", 25.0).at(0), "00:00:00:00");
}

TEST(TimecodeClock, BeginsAgainAfterADayEitherWay) {
  const TimecodeClock clock("23:59:59:24", 25.0);
  EXPECT_EQ(clock.at(1), "00:00:00:00");
  EXPECT_EQ(TimecodeClock("", 25.0).at(-1), "23:59:59:24");
  EXPECT_EQ(clock.day(), 25 * 86400);
}

TEST(TimecodeClock, DropFrameSkipsTwoNumbersAMinuteButEveryTenth) {
  const TimecodeClock clock("00:00:00;00", kNtsc);
  EXPECT_TRUE(clock.isDropFrame());
  EXPECT_EQ(clock.at(1799), "00:00:59;29");
  EXPECT_EQ(clock.at(1800), "00:01:00;02");
  EXPECT_EQ(clock.at(1800 + 1798), "00:02:00;02");
  EXPECT_EQ(clock.at(17981), "00:09:59;29");
  EXPECT_EQ(clock.at(17982), "00:10:00;00");
  EXPECT_EQ(clock.day(), 2589408) << "30 * 86400 less 2 * (1440 - 144)";
}

TEST(TimecodeClock, DropFrameAtSixtySkipsFour) {
  const TimecodeClock clock("00:00:59;59", 60000.0 / 1001.0);
  EXPECT_EQ(clock.at(1), "00:01:00;04");
}

TEST(TimecodeClock, CountsWhatItShows) {
  for (const char* start : {"00:00:00:00", "00:00:00;00"}) {
    const TimecodeClock clock(start, kNtsc);
    for (const int64_t frame : {0, 1, 29, 30, 1799, 1800, 1801, 3597, 3598, 17981, 17982, 107892}) {
      EXPECT_EQ(clock.countOf(clock.at(frame)), frame) << start;
    }
  }
}

TEST(TimecodeClock, HasNoCountForWhatItNeverShows) {
  const TimecodeClock drop("00:00:00;00", kNtsc);
  EXPECT_EQ(drop.countOf("00:01:00;00"), std::nullopt);
  EXPECT_EQ(drop.countOf("00:01:00;01"), std::nullopt);
  EXPECT_EQ(drop.countOf("00:10:00;00"), 17982);
  for (const char* text : {"", "1", "00:00:00", "24:00:00:00", "00:60:00:00", "00:00:60:00",
                           "00:00:00:30", "00:00:00:00x", "aa:00:00:00"}) {
    EXPECT_EQ(drop.countOf(text), std::nullopt) << text;
  }
}

TEST(TimecodeClock, OnlyRatesOfA1001thDrop) {
  EXPECT_TRUE(TimecodeClock::mayDrop(kNtsc));
  EXPECT_TRUE(TimecodeClock::mayDrop(60000.0 / 1001.0));
  EXPECT_FALSE(TimecodeClock::mayDrop(30.0));
  EXPECT_FALSE(TimecodeClock::mayDrop(25.0));
  EXPECT_FALSE(TimecodeClock::mayDrop(24000.0 / 1001.0));
}

TEST(NextTimecode, FollowsAsTheTextIsWritten) {
  EXPECT_EQ(getNextTimecode("10:00:59:24", 25.0), "10:01:00:00");
  EXPECT_EQ(getNextTimecode("00:00:59:29", kNtsc), "00:01:00:00");
  EXPECT_EQ(getNextTimecode("00:00:59;29", kNtsc), "00:01:00;02");
  EXPECT_EQ(getNextTimecode("23:59:59;29", kNtsc), "00:00:00;00");
}

TEST(NextTimecode, IsThereForTimecodesOfTheRateOnly) {
  for (const char* text : {"", "ten", "00:00:00:25", "00:00:00", "\n1:00:00:00", "00:00:00.00"}) {
    EXPECT_EQ(getNextTimecode(text, 25.0), "") << text;
  }
  EXPECT_EQ(getNextTimecode("00:01:00;00", kNtsc), "") << "a number that is dropped";
}

TEST(TimecodeClock, TakesARateThatIsNoneForTwentyFive) {
  EXPECT_EQ(TimecodeClock("", 0.0).at(25), "00:00:01:00");
  EXPECT_EQ(TimecodeClock("", -1.0).at(25), "00:00:01:00");
}

}  // namespace
