#include "tester/TimeLeft.h"

#include <gtest/gtest.h>

namespace {

using qatester::secondsLeft;

TEST(TimeLeft, IsWhatTheRestTakesAtTheSamePace) {
  EXPECT_EQ(secondsLeft(30.0, 0.25), 90.0);
  EXPECT_EQ(secondsLeft(30.0, 1.0), 0.0);
}

TEST(TimeLeft, IsNotKnownAtTheBeginning) {
  EXPECT_EQ(secondsLeft(1.0, 0.25), std::nullopt);
  EXPECT_EQ(secondsLeft(30.0, 0.0), std::nullopt);
}

}  // namespace
