// What only the transition check does; the rest is in PictureCheckRunTest.cpp.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "checks/PictureChecks.h"

namespace {

using namespace qatest;

constexpr int kWidth = 64;
constexpr int kHeight = 40;

class TransitionCheck : public testing::Test {
 protected:
  /// Runs the check on the frames behind the first one. The clip goes on for two seconds, so that
  /// the budget is not bounded.
  int measure(VideoSpec video, int budget, const std::string& settings = "") {
    video.frames = budget + 51;
    file = makeClip(folder, "clip.nut", {.video = {video}});
    LoggedTester tester(file, stored(), quick(check, budget) + settings);
    const int count = checkTransitions(tester);
    seconds = numbersOf(tester.outcomes.at(0), "transitionSeconds");
    EXPECT_EQ(seconds.size(), static_cast<std::size_t>(count));
    return count;
  }

  /// Of white frames of which that many rows, from the top, are black. The last goes on.
  int measureBlackRows(const std::vector<int>& blackRows, const std::string& settings = "") {
    return measure(blackAndWhite(0, kWidth, kHeight,
                                 [blackRows](int, int y, int frame) {
                                   const auto i = static_cast<std::size_t>(frame);
                                   return y >= blackRows[std::min(i, blackRows.size() - 1)];
                                 }),
                   static_cast<int>(blackRows.size()) - 1, settings);
  }

  /// Of frames in these luma levels, neutral all over; the last goes on.
  int measureLuma(const std::vector<int>& luma, const std::string& settings = "") {
    VideoSpec video = ffv1(0);
    video.width = kWidth;
    video.height = kHeight;
    video.pixel = [luma](int component, int, int, int frame) {
      const auto i = static_cast<std::size_t>(frame);
      return static_cast<uint8_t>(component == 0 ? luma[std::min(i, luma.size() - 1)] : 128);
    };
    return measure(video, static_cast<int>(luma.size()) - 1, settings);
  }

  const PictureCheck& check = pictureChecks()[2];
  TempDir folder;
  std::string file;
  std::vector<double> seconds;
};

/// The time of a frame.
double at(int frame) {
  return frame / 25.0;
}

TEST_F(TransitionCheck, StillPictureHasNone) {
  for (const int luma : {16, 17, 60, 128, 235}) {
    EXPECT_EQ(measureLuma(std::vector<int>(21, luma)), 0) << luma;
  }
}

TEST_F(TransitionCheck, CutCountsOnce) {
  // Levels: 127 in stills; 255 a / (a + b), then 255 b / (a + b), around a cut from a to b.
  for (const auto& [a, b] : {std::pair{60, 140}, std::pair{140, 60}, std::pair{16, 235},
                             std::pair{235, 16}, std::pair{100, 160}}) {
    SCOPED_TRACE(a);
    EXPECT_EQ(measureLuma({a, a, a, a, a, b, b, b, b, b, b}), 1);
    // The first picture of the new scene; from black, which has level 0 and keeps it, the next one.
    EXPECT_EQ(seconds, std::vector<double>{at(a == 16 ? 6 : 5)});
  }
}

TEST_F(TransitionCheck, CutsThatAreApartCountEach) {
  EXPECT_EQ(measureLuma({60, 60, 60, 60, 140, 140, 140, 140, 60, 60, 60, 60, 140, 140, 140, 140}),
            3);
  EXPECT_EQ(seconds, (std::vector<double>{at(4), at(8), at(12)}));
}

TEST_F(TransitionCheck, CutOnTheNextPictureWhileOneIsOpenDoesNotCount) {
  EXPECT_EQ(measureLuma({60, 60, 60, 60, 140, 220, 220, 220, 220, 220}), 1);
  EXPECT_EQ(seconds, std::vector<double>{at(4)});
  EXPECT_EQ(measureLuma({60, 60, 60, 60, 140, 60, 140, 60, 140, 60, 60, 60, 60}), 1);
}

TEST_F(TransitionCheck, FlashCountsOnce) {
  EXPECT_EQ(measureLuma({60, 60, 60, 60, 220, 60, 60, 60, 60, 60}), 1);
  EXPECT_EQ(seconds, std::vector<double>{at(4)});
}

TEST_F(TransitionCheck, DissolveCountsOnceWhenItIsFastAndNotWhenItIsSlow) {
  // Greys of about 52, 105, 157: levels of 85, 127, 153, 127 around the three.
  EXPECT_EQ(measureLuma({61, 61, 61, 61, 106, 151, 151, 151, 151, 151}), 1);
  // By a twentieth a picture.
  std::vector<int> slow(5, 100);
  for (int luma = 105; luma <= 200; luma += 5) {
    slow.push_back(luma);
  }
  EXPECT_EQ(measureLuma(slow), 0);
}

TEST_F(TransitionCheck, FirstTwoPicturesHaveNoLevelAndTheThirdCannotCount) {
  // The slate's frame is 0; the level of frame 3 is the first.
  EXPECT_EQ(measureLuma({235, 60, 60, 60, 60, 60}), 0);
  EXPECT_EQ(measureLuma({60, 60, 220, 220, 220, 220, 220, 220}), 1);
  // The level of frame 3 is that of frame 2 in the middle, 255 b / (a + b); then it falls to 127.
  EXPECT_EQ(seconds, std::vector<double>{at(4)});
}

TEST_F(TransitionCheck, SmallBudgetsFindNone) {
  const VideoSpec flicker = blackAndWhite(
      0, kWidth, kHeight, [](int, int y, int frame) { return frame % 2 == 0 || y < 20; });
  for (const int budget : {1, 2, 3}) {
    EXPECT_EQ(measure(flicker, budget, "TransitionPercentChange=0\n"), 0) << budget;
  }
}

TEST_F(TransitionCheck, JumpMustExceedThePercentChange) {
  // From white all over to 16 of 40 black rows: the level of the last white picture is
  // 255 (0.6 / 2 + 0.4) = 178.5, a jump of 178 - 127 = 51, which is 0.2 of 255. The level of the
  // first picture behind it is 255 * 0.6 / 2 = 76.5: a jump of 102, which is 0.4.
  const std::vector<int> rows = {0, 0, 0, 0, 16, 16, 16, 16, 16};
  EXPECT_EQ(measureBlackRows(rows, "TransitionPercentChange=0.199\n"), 1);
  EXPECT_EQ(seconds, std::vector<double>{at(4)});
  EXPECT_EQ(measureBlackRows(rows, "TransitionPercentChange=0.2\n"), 1);
  EXPECT_EQ(seconds, std::vector<double>{at(5)});
  EXPECT_EQ(measureBlackRows(rows, "TransitionPercentChange=0.399\n"), 1);
  EXPECT_EQ(seconds, std::vector<double>{at(5)});
  EXPECT_EQ(measureBlackRows(rows, "TransitionPercentChange=0.4\n"), 0);
}

TEST_F(TransitionCheck, TransitionLastsWhileJumpsAreAtLeastHalfThePercentChange) {
  // White pictures, then 24 and 32 of 40 rows black, then white again. A row is 1/40; one that is
  // white counts half where it is white before and after, whole where it is in one of the two:
  // frame 5: 16 rows half and 24 whole are 0.8, a level of 204, a jump of 77;
  // frame 6: 8 half and 8 whole are 0.3, level 76, jump 128;
  // frame 7: 8 half are 0.1, level 25, jump 51, which is 0.2;
  // frame 8: 8 half and 32 whole are 0.9, level 229, jump 204.
  const std::vector<int> rows = {0, 0, 0, 0, 0, 24, 32, 0, 0, 0, 0};
  EXPECT_EQ(measureBlackRows(rows, "TransitionPercentChange=0.4\n"), 1);
  EXPECT_EQ(seconds, std::vector<double>{at(6)});
  EXPECT_EQ(measureBlackRows(rows, "TransitionPercentChange=0.401\n"), 2);
  EXPECT_EQ(seconds, (std::vector<double>{at(6), at(8)}));
}

TEST_F(TransitionCheck, PercentChangeOfZeroOrLessCountsTheFirstJumpAndNeverEnds) {
  // Half of 0 is more than no jump.
  for (const char* change : {"0", "-1", "-1e99", "none"}) {
    EXPECT_EQ(measureLuma({60, 60, 60, 60, 62, 62, 62, 62, 140, 140, 140, 140, 60, 60, 60, 60},
                          "TransitionPercentChange=" + std::string(change) + "\n"),
              1)
        << change;
    EXPECT_EQ(seconds, std::vector<double>{at(4)});
    EXPECT_EQ(measureLuma(std::vector<int>(11, 60),
                          "TransitionPercentChange=" + std::string(change) + "\n"),
              0);
  }
}

TEST_F(TransitionCheck, BigPercentChangeFindsNone) {
  const std::vector<int> cuts = {16, 235, 16, 16, 235, 235, 16, 235, 16, 235, 235};
  for (const char* change : {"1", "2", "1e30", "1e99"}) {
    EXPECT_EQ(measureLuma(cuts, "TransitionPercentChange=" + std::string(change) + "\n"), 0);
  }
  EXPECT_GT(measureLuma(cuts), 0);
}

TEST_F(TransitionCheck, LevelIsLimitedTo254) {
  // A white frame among ones of 1/255: its level would be 255 * 255 / 2. The jump is 254 - 127.
  const std::vector<int> luma = {17, 17, 17, 17, 235, 17, 17, 17, 17, 17};
  const auto expected = [&] { return expectedTransitions(footageOf(file, 0, 9), 9); };
  EXPECT_EQ(measureLuma(luma, "TransitionPercentChange=0.9\n"), 1);
  // Levels of the dark pictures beside it are about 1.
  EXPECT_EQ(expected().levels, (std::vector<int>{-1, -1, 127, 0, 254, 0, 127, 127, 127}));
  EXPECT_EQ(measureLuma(luma, "TransitionPercentChange=0.9961\n"), 0) << "254 / 255 = 0.99608";
}

TEST_F(TransitionCheck, TransitionsOfFlickerHoldToTheDefinition) {
  VideoSpec video = ffv1(130);
  video.width = kWidth;
  video.height = kHeight;
  video.pixel = [](int component, int x, int y, int frame) {
    const int level = 20 + noisePixel(0, 0, 0, frame) * (1 + noisePixel(1, 0, 0, frame / 5)) / 320;
    return static_cast<uint8_t>(component == 0 ? level : noisePixel(component, x, y, frame));
  };
  file = makeClip(folder, "clip.nut", {.video = {video}});
  const Footage footage = footageOf(file, 0, 100);
  int different = 0;
  int last = -1;
  for (const char* change : {"0.01", "0.05", "0.1", "0.15", "0.2", "0.3", "0.5"}) {
    LoggedTester tester(file, stored(),
                        quick(check, 100) + "TransitionPercentChange=" + change + "\n");
    const ExpectedTransitions expected =
        expectedTransitions(footage, 100, std::strtof(change, nullptr));
    EXPECT_EQ(checkTransitions(tester), expected.count) << change;
    EXPECT_EQ(numbersOf(tester.outcomes.at(0), "transitionSeconds"), expected.seconds) << change;
    different += expected.count != last ? 1 : 0;
    last = expected.count;
  }
  EXPECT_GT(different, 3);
}

TEST_F(TransitionCheck, PicturesOfDifferentSizesHaveNoRelation) {
  const auto cutAt = [](int first) {
    return [first](int component, int, int, int frame) {
      return static_cast<uint8_t>(component != 0 ? 128 : frame < first ? 60 : 140);
    };
  };
  file = clipOfSizes(folder, "clip.ts", {{64, 30, cutAt(15)}, {80, 30, cutAt(10)}});
  LoggedTester tester(file, stored(), quick(check, 50));
  // One cut in either size; where the size changes from 140 to 60 there is none.
  EXPECT_EQ(checkTransitions(tester), 2);
  EXPECT_EQ(tester.outcomes.at(0).count, 50);
  expectTheDefinitionToHold(file, 50);
}

TEST_F(TransitionCheck, HoldsToTheDefinitionOnFadesThatFFmpegMakes) {
  const std::vector<std::string> bars = {"-f", "lavfi", "-i", "testsrc2=size=64x48:rate=25:d=3"};
  std::vector<std::string> fade = bars;
  fade.insert(fade.end(), {"-vf", "fade=in:5:4,fade=out:20:3,format=yuv420p"});
  expectTheDefinitionToHold(filteredClip(folder, "fade.mkv", fade), 40);
  for (const char* duration : {"0.08", "0.4"}) {
    std::vector<std::string> crossFade = bars;
    crossFade.insert(crossFade.end(),
                     {"-f", "lavfi", "-i", "smptebars=size=64x48:rate=25:d=3", "-filter_complex",
                      std::string("xfade=offset=0.6:duration=") + duration + ",format=yuv420p"});
    expectTheDefinitionToHold(filteredClip(folder, "xfade.mkv", crossFade), 40);
  }
}

}  // namespace
