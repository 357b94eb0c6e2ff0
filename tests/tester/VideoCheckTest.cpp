#include "tester/VideoRun.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "foundation/Settings.h"
#include "support/RecordingListener.h"
#include "visual/Displays.h"

namespace {

using qatester::boundBudget;
using qatester::slateFrames;

constexpr float kNtsc = 30000.0F / 1001.0F;

struct SlateCase {
  int seconds;
  float fps;
  int frames;
};

class SlateFrames : public testing::TestWithParam<SlateCase> {};

TEST_P(SlateFrames, AreSecondsTimesRateTruncated) {
  EXPECT_EQ(slateFrames(GetParam().seconds, GetParam().fps), GetParam().frames);
}

INSTANTIATE_TEST_SUITE_P(Rates, SlateFrames,
                         testing::Values(SlateCase{5, 25.0F, 125}, SlateCase{0, 25.0F, 0},
                                         SlateCase{5, kNtsc, 149},   // 149.85
                                         SlateCase{5, 23.976F, 119}  // 119.88
                                         ));

TEST(SlateFrames, OfAnUndeclaredRateAreNone) {
  EXPECT_EQ(slateFrames(5, std::numeric_limits<float>::quiet_NaN()), 0);
}

TEST(SlateFrames, OfAnAbsurdRateDoNotOverflow) {
  EXPECT_EQ(slateFrames(5, 1e30F), std::numeric_limits<int>::max());
}

struct BudgetCase {
  const char* why;
  int budget;
  float fps;
  double duration;
  int slate;
  int bounded;
};

void PrintTo(const BudgetCase& c, std::ostream* out) {
  *out << c.why;
}

class BoundBudget : public testing::TestWithParam<BudgetCase> {};

TEST_P(BoundBudget, FollowsTheAvailableFrames) {
  const BudgetCase& c = GetParam();
  EXPECT_EQ(boundBudget(c.budget, c.fps, c.duration, c.slate), c.bounded) << c.why;
}

INSTANTIATE_TEST_SUITE_P(
    Files, BoundBudget,
    testing::Values(
        BudgetCase{"long file", 100, 25.0F, 60.0, 125, 100},
        BudgetCase{"exactly enough", 100, 25.0F, 9.0, 125, 100},
        BudgetCase{"one frame too few: a second's worth is left out", 100, 25.0F, 8.96, 125, 74},
        BudgetCase{"no slate", 100, 25.0F, 3.0, 0, 50},
        BudgetCase{"shorter than a second goes below zero", 100, 25.0F, 0.4, 0, -15},
        BudgetCase{"ends within the slate", 100, 25.0F, 4.0, 125, -50},
        BudgetCase{"the rate is truncated before it is taken off: 89 - 29", 100, kNtsc, 3.0, 0, 60},
        BudgetCase{"the product is truncated: 74.925", 75, kNtsc, 2.5, 0, 45},
        BudgetCase{"the product is enough", 74, kNtsc, 2.5, 0, 74}));

TEST(BoundBudget, OfAnUnknownDurationLeavesNoFrames) {
  constexpr double kUnknown = -9223372036854775808.0 / 1000000.0;
  EXPECT_LT(boundBudget(100, 25.0F, kUnknown, 125), 0);
}

TEST(BoundBudget, OfAnUndeclaredRateLeavesNoFrames) {
  EXPECT_EQ(boundBudget(100, std::numeric_limits<float>::quiet_NaN(), 10.0, 0), 0);
}

TEST(BoundBudget, OfAnAbsurdLengthIsTheBudget) {
  EXPECT_EQ(boundBudget(100, 25.0F, 1e300, 125), 100);
  EXPECT_EQ(boundBudget(100, std::numeric_limits<float>::infinity(), 10.0, 0), 100);
}

/// A run that only counts.
class Counting final : public qatester::CheckRun {
 public:
  using CheckRun::advance;
  using CheckRun::CheckRun;

 private:
  void describe() override {}
};

/// A run that has counted to its budget, and what its listener heard.
struct Counted {
  explicit Counted(int budget, bool isHeard = true)
      : context_{name_, isHeard ? &listener : nullptr, nullptr, &settings_, displays_, 0, options_},
        run(context_, kProfile) {
    for (int i = 0; i < budget; ++i) {
      run.advance(i, budget);
    }
  }

 private:
  static constexpr qatester::CheckProfile kProfile{
      .name = "test", .tag = "QATest", .progress = &QAListener::onGamutProgress};

  const std::string name_;
  Settings settings_{nullptr, nullptr};
  qatester::Displays displays_{QADisplays::nowhere, false, "", {}};
  const QATesterOptions options_;
  const qatester::CheckContext context_;

 public:
  qatest::RecordingListener listener;
  Counting run;
};

std::vector<float> percentsOf(int budget) {
  Counted counted(budget);
  EXPECT_EQ(counted.listener.progress.size(), counted.listener.progress.count("gamut"));
  const std::vector<float>& percents = counted.listener.progress["gamut"];
  EXPECT_EQ(std::vector<float>(counted.run.outcome().progress.begin(),
                               counted.run.outcome().progress.end()),
            percents)
      << "the outcome has them too";
  return percents;
}

TEST(Progress, OfTenFramesCountsByTens) {
  EXPECT_EQ(percentsOf(10), (std::vector<float>{10, 20, 30, 40, 50, 60, 70, 80, 90}));
}

TEST(Progress, OfAHundredFramesLeavesOutWhatSinglePrecisionLoses) {
  std::vector<float> expected;
  for (int percent = 1; percent <= 99; ++percent) {
    // 53 / 100 and 59 / 100 times 100 fall just below the whole number in single precision.
    if (percent != 53 && percent != 59) {
      expected.push_back(static_cast<float>(percent));
    }
  }
  EXPECT_EQ(percentsOf(100), expected);
}

TEST(Progress, SharedPercentIsSentOnce) {
  const std::vector<float> percents = percentsOf(1000);
  for (std::size_t i = 1; i < percents.size(); ++i) {
    EXPECT_LT(percents[i - 1], percents[i]);
  }
  EXPECT_EQ(percents.front(), 1.0F);
  EXPECT_EQ(percents.back(), 99.0F);
}

TEST(Progress, OfOneFrameIsNeverSent) {
  EXPECT_TRUE(percentsOf(1).empty());
}

TEST(Progress, NeedsNoListener) {
  const Counted counted(10, false);
  EXPECT_EQ(counted.run.outcome().progress, (std::vector<int>{10, 20, 30, 40, 50, 60, 70, 80, 90}));
}

}  // namespace
