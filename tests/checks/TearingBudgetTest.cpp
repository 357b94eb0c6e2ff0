#include <gtest/gtest.h>

#include "checks/video/Tearing.h"

namespace {

using qatester::boundTearingBudget;

TEST(TearingBudget, CountsWholeSecondsAndLeavesOutExactlyTheFramesOfOne) {
  struct {
    float fps;
    int slate;
    int bounded;
  } const cases[] = {
      {24000.0F / 1001.0F, 23, 48},   // 95 - 23 - 23.976
      {24.0F, 24, 48},                // 96 - 24 - 24
      {25.0F, 25, 50},                // 100 - 25 - 25
      {30000.0F / 1001.0F, 29, 60},   // 119 - 29 - 29.97
      {30.0F, 30, 60},                // 120 - 30 - 30
      {50.0F, 50, 100},               // 200 - 50 - 50
      {60000.0F / 1001.0F, 59, 120},  // 239 - 59 - 59.94
      {60.0F, 60, 120},               // 240 - 60 - 60
  };
  for (const auto& c : cases) {
    EXPECT_EQ(boundTearingBudget(1000, c.fps, 4.5, c.slate), c.bounded) << c.fps;
  }
}

TEST(TearingBudget, ThatIsAvailableStaysAsItIs) {
  EXPECT_EQ(boundTearingBudget(75, 25.0F, 4.9, 25), 75);
  EXPECT_EQ(boundTearingBudget(76, 25.0F, 4.9, 25), 50);
  EXPECT_EQ(boundTearingBudget(1, 25.0F, 0.9, 0), -25) << "no second is whole";
}

}  // namespace
