// What only the tearing check does; the rest is in PictureCheckRunTest.cpp.

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "checks/PictureChecks.h"

namespace {

using namespace qatest;

/// Black and white by turns from the top down: a pixel differs from the one below it in these
/// columns and rows only.
struct Comb {
  int firstColumn = 0;
  int columns = 0;
  int firstRow = 0;
  int rows = 0;

  bool isWhite(int x, int y) const {
    if (x < firstColumn || x >= firstColumn + columns) {
      return false;
    }
    return std::clamp(y - firstRow, 0, rows) % 2 != 0;
  }
};

/// The default budget of most of the tests below.
constexpr int kBudget = 10;

class TearingCheck : public testing::Test {
 protected:
  /// Runs the check on the frames behind the first one. The clip goes on for two seconds, so that
  /// the budget is not bounded.
  bool measure(VideoSpec video, int budget = kBudget, const std::string& settings = "") {
    video.frames = budget + 60;
    LoggedTester tester(makeClip(folder, "clip.nut", {.video = {video}}), stored(),
                        quick(check, budget) + settings);
    const bool passed = checkTearing(tester);
    outcome = tester.outcomes.at(0);
    return passed;
  }

  /// On 100 x 50 pixels, of which frame k has the k-th comb, and all behind the last have that.
  bool measureCombs(std::vector<Comb> combs, int budget = kBudget, const std::string& settings = "",
                    int width = 100, int height = 50) {
    return measure(blackAndWhite(0, width, height,
                                 [combs = std::move(combs)](int x, int y, int frame) {
                                   const auto index = static_cast<std::size_t>(frame);
                                   return combs[std::min(index, combs.size() - 1)].isWhite(x, y);
                                 }),
                   budget, settings);
  }

  /// The mean of these percents, added up.
  void expectMean(int percents, int budget = kBudget) const {
    EXPECT_EQ(numberOf(outcome, "meanShare"), percents / 100.0 / budget);
  }

  const PictureCheck& check = pictureChecks()[1];
  TempDir folder;
  QACheckOutcome outcome;
};

const Comb kNone;
/// 80 columns by 49 rows of 5000 pixels: 78.4 %.
const Comb kFull{0, 100, 0, 49};

TEST_F(TearingCheck, StillPicturePassesForAnyPositiveThreshold) {
  EXPECT_TRUE(measureCombs({kFull}, kBudget, "TearingThreshold=0.0000001\n"));
  expectMean(0);
  EXPECT_EQ(numberOf(outcome, "highestPercent"), 0);
}

TEST_F(TearingCheck, ThresholdOfZeroOrLessFailsEveryFile) {
  for (const char* threshold : {"0", "-1", "-1e99", "none"}) {
    EXPECT_FALSE(
        measureCombs({kNone}, kBudget, "TearingThreshold=" + std::string(threshold) + "\n"));
    EXPECT_EQ(numberOf(outcome, "threshold"), 0.0) << threshold;
  }
}

TEST_F(TearingCheck, HugeThresholdIsTheLargestNumber) {
  for (const char* threshold : {"1e39", "1e400", "inf"}) {
    EXPECT_TRUE(measureCombs({kNone, kFull, kNone, kFull}, kBudget,
                             "TearingThreshold=" + std::string(threshold) + "\n"));
    EXPECT_EQ(numberOf(outcome, "threshold"),
              static_cast<double>(std::numeric_limits<float>::max()));
  }
}

TEST_F(TearingCheck, FirstPictureHasNothingToBeComparedWith) {
  // Only the slate's frame differs.
  EXPECT_TRUE(measureCombs({kFull, kNone}));
  expectMean(0);
}

TEST_F(TearingCheck, EachChangeCountsOnceInEitherDirection) {
  EXPECT_TRUE(measureCombs({kNone, kNone, kFull}));
  expectMean(78);
  EXPECT_EQ(numberOf(outcome, "highestPercent"), 78);
  EXPECT_FALSE(measureCombs({kNone, kNone, kFull, kFull, kNone}));
  expectMean(2 * 78);
  // Between frames 1 and 2, 2 and 3, ..., 9 and 10.
  EXPECT_FALSE(
      measureCombs({kNone, kNone, kFull, kNone, kFull, kNone, kFull, kNone, kFull, kNone, kFull}));
  expectMean(9 * 78);
}

TEST_F(TearingCheck, SeamCountsInWhateverRowItIs) {
  // One row of 80 columns in 100 x 18 pixels: 4.4 %. Below the last row there is nothing.
  for (int row = 0; row < 18; ++row) {
    measureCombs({kNone, kNone, {0, 100, row, 1}}, kBudget, "", 100, 18);
    EXPECT_EQ(numberOf(outcome, "highestPercent"), row < 17 ? 4 : 0) << row;
  }
}

TEST_F(TearingCheck, TenColumnsAtEitherSideAreLeftOut) {
  // One column of 23 rows in 24 x 24 pixels: 3.99 %.
  for (int column = 0; column < 24; ++column) {
    measureCombs({kNone, kNone, {column, 1, 0, 23}}, kBudget, "", 24, 24);
    EXPECT_EQ(numberOf(outcome, "highestPercent"), column >= 10 && column < 14 ? 3 : 0) << column;
  }
}

TEST_F(TearingCheck, PicturesOfTwentyColumnsHaveNoneLeft) {
  struct {
    int width;
    int percent;
  } const cases[] = {{4, 0},
                     {20, 0},
                     {21, 100 * 23 / (21 * 24)},  // rows that are no multiple of four bytes
                     {24, 100 * 4 * 23 / (24 * 24)}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.width);
    measureCombs({kNone, kNone, {0, c.width, 0, 23}}, kBudget, "", c.width, 24);
    EXPECT_EQ(numberOf(outcome, "highestPercent"), c.percent);
  }
}

TEST_F(TearingCheck, PercentsAreOfSinglePrecisionAndTruncated) {
  // 0.29 in single precision is 0.28999999, and 0.02 is 0.0199999996; 0.05 is 0.0500000007.
  struct {
    int columns;
    int rows;
    int percent;
  } const cases[] = {{50, 29, 28}, {10, 10, 1}, {25, 10, 5}, {50, 25, 25}, {1, 49, 0}, {79, 1, 1}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.percent);
    measureCombs({kNone, kNone, {10, c.columns, 0, c.rows}});
    EXPECT_EQ(numberOf(outcome, "highestPercent"), c.percent);
  }
}

TEST_F(TearingCheck, ChangesOfThePictureThatLeaveTheDifferencesAloneDoNotCount) {
  // The whole picture turns from black to white.
  EXPECT_TRUE(measure(blackAndWhite(0, 100, 50, [](int, int, int frame) { return frame % 2 != 0; }),
                      kBudget, "TearingThreshold=0.0000001\n"));
  expectMean(0);
}

const Comb kQuarter{10, 50, 0, 25};  // 25 %
const Comb kSliver{10, 60, 48, 1};   // 1.2 %

TEST_F(TearingCheck, MeanOfExactlyTenPercentPassesByDefault) {
  // The threshold is 0.1 in single precision, 0.100000001; four changes of 25 % in ten frames are
  // 0.1.
  std::vector<Comb> combs = {kNone, kNone, kQuarter, kNone, kQuarter, kNone};
  EXPECT_TRUE(measureCombs(combs));
  expectMean(100);
  EXPECT_EQ(numberOf(outcome, "threshold"), static_cast<double>(0.1F));
  combs.push_back(kSliver);
  EXPECT_FALSE(measureCombs(combs));
  expectMean(101);
}

TEST_F(TearingCheck, MeanMustBeBelowTheThreshold) {
  // Three changes of 25 % in four frames are 0.1875, which either precision can hold.
  const std::vector<Comb> combs = {kNone, kNone, kQuarter, kNone, kQuarter};
  EXPECT_FALSE(measureCombs(combs, 4, "TearingThreshold=0.1875\n"));
  expectMean(75, 4);
  EXPECT_TRUE(measureCombs(combs, 4, "TearingThreshold=0.18750002\n"));
  EXPECT_FALSE(measureCombs(combs, 4, "TearingThreshold=0.18749998\n"));
}

TEST_F(TearingCheck, BarsBeginAtADifferenceOfSeventeen) {
  // Every row differs from the next by the level of its column, in each second frame. A level of
  // luma above black makes 255 / 219 levels of grey: 14 make 16.3, 15 make 17.5.
  VideoSpec video = ffv1(60);
  video.width = 100;
  video.height = 8;
  video.pixel = [](int component, int x, int y, int frame) {
    const int level = frame % 2 == 0 || y % 2 == 0 ? 0 : (x - 10) / 2;
    return static_cast<uint8_t>(component == 0 ? 16 + level : 128);
  };
  measure(video, 4);
  // Level 15 begins in column 40 of the 90 that count, and 7 of 8 rows have one below: 43.75 %.
  EXPECT_EQ(numberOf(outcome, "highestPercent"), 100 * 7 * (90 - 40) / (100 * 8));
  expectMean(3 * 43, 4);
}

TEST_F(TearingCheck, DivisorIsTheBudgetAlsoWhenPicturesAreMissing) {
  VideoSpec video = blackAndWhite(
      250, 100, 50, [](int x, int y, int frame) { return frame % 2 != 0 && kFull.isWhite(x, y); });
  video.encoder = "rawvideo";
  const std::string whole = makeClip(folder, "whole.mkv", {.video = {video}});
  const std::string cut = truncatedCopy(folder, "cut.mkv", whole, readFile(whole).size() / 10);
  for (const auto& [threshold, passes] : {std::pair{"0.5", true}, std::pair{"0.1", false}}) {
    LoggedTester tester(cut, stored(), quick(check, 100) + "TearingThreshold=" + threshold + "\n");
    EXPECT_EQ(checkTearing(tester), passes);
    outcome = tester.outcomes.at(0);
    EXPECT_EQ(outcome.budget, 100);
    EXPECT_GT(outcome.count, 20);
    EXPECT_LT(outcome.count, 26);
    expectMean(78 * (outcome.count - 1), 100);
  }
}

TEST_F(TearingCheck, DurationCountsInWholeSecondsUnlikeThatOfOtherChecks) {
  // 3.6 s at 25 frames a second behind a slate of one: 50 frames in whole seconds, 65 in all.
  const std::string file = makeClip(folder, "clip.mkv", {.video = {ffv1(90)}});
  struct {
    int asked;
    int tearing;
    int others;
  } const cases[] = {{50, 50, 50},
                     {51, 50 - 25, 51},
                     {60, 50 - 25, 60},
                     {65, 50 - 25, 65},
                     {66, 50 - 25, 65 - 25}};
  for (const auto& c : cases) {
    LoggedTester tester(file, stored(), quickPictures(c.asked, 1));
    for (const PictureCheck& each : pictureChecks()) {
      run(each, tester);
      const bool isTearing = each.tag == std::string(check.tag);
      EXPECT_EQ(tester.outcomes.back().budget, isTearing ? c.tearing : c.others)
          << each.tag << " of " << c.asked;
      EXPECT_EQ(tester.outcomes.back().count, tester.outcomes.back().budget);
    }
  }
}

TEST_F(TearingCheck, BudgetThatIsBoundedAwayFailsTheFile) {
  // 1.96 s are one: nothing is left of it.
  LoggedTester tester(makeClip(folder, "clip.mkv", {.video = {ffv1(49)}}), stored(),
                      quick(check, 40) + "TearingThreshold=1e30\n");
  EXPECT_FALSE(checkTearing(tester));
  outcome = tester.outcomes.at(0);
  EXPECT_EQ(outcome.budget, 0);
  EXPECT_FALSE(outcome.measured);
  EXPECT_EQ(numberOf(outcome, "meanShare"), 0.0);
}

TEST_F(TearingCheck, StartsAfreshWhereTheSizeChanges) {
  const auto plain = [](int component, int, int, int) {
    return static_cast<uint8_t>(component != 0 ? 128 : 16);
  };
  const auto striped = [](int component, int, int y, int) {
    return static_cast<uint8_t>(component != 0 ? 128 : y % 2 != 0 ? 235 : 16);
  };
  const std::string file = clipOfSizes(folder, "clip.ts", {{64, 60, plain}, {80, 60, striped}});
  LoggedTester tester(file, stored(), quick(check, 70));
  EXPECT_TRUE(checkTearing(tester));
  outcome = tester.outcomes.at(0);
  EXPECT_EQ(outcome.count, 70);
  EXPECT_EQ(numberOf(outcome, "highestPercent"), 0);
  expectTheDefinitionToHold(file, 70);
}

TEST_F(TearingCheck, HoldsToTheDefinitionOnTornPicturesThatFFmpegMakes) {
  // The upper half is of another time than the lower one.
  const std::string file = filteredClip(
      folder, "torn.mkv",
      {"-f", "lavfi", "-i", "testsrc2=size=96x64:rate=25:duration=3", "-filter_complex",
       "[0]split[a][b];[b]tpad=start=7,crop=96:32:0:0[late];[a][late]overlay=0:0,format=yuv420p",
       "-t", "3"});
  expectTheDefinitionToHold(file, 30);
}

}  // namespace
