// What statistics of pictures come to: repeats, the active area, flashes.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <numbers>
#include <vector>

#include "checks/picture/ActiveArea.h"
#include "checks/picture/DamagedPictures.h"
#include "checks/picture/FlashFinder.h"
#include "checks/picture/RepeatFinder.h"

namespace {

using namespace qatester;

// Damage

int64_t damagedOf(int64_t count, const std::function<unsigned(int64_t)>& damageAt) {
  DamagedPictures pictures;
  int64_t damaged = 0;
  for (int64_t n = 0; n < count; ++n) {
    damaged += pictures.isDamaged(damageAt(n)) ? 1 : 0;
  }
  return damaged;
}

TEST(DamagedPictures, AreThoseThatAreFlagged) {
  EXPECT_EQ(damagedOf(100, [](int64_t) { return kNoDamage; }), 0);
  EXPECT_EQ(damagedOf(100, [](int64_t n) { return n % 3 == 0 ? kFromBadPacket : kNoDamage; }), 34);
  EXPECT_EQ(damagedOf(100, [](int64_t n) { return n == 50 ? kDecodeErrors : kNoDamage; }), 1);
}

TEST(DamagedPictures, AreFewWherePacketsAreCountedWrongly) {
  EXPECT_EQ(damagedOf(100, [](int64_t) { return kFromBadPacket; }), 7);
  // A decoder that names an error makes the flags of the pictures around it good ones.
  EXPECT_EQ(damagedOf(100, [](int64_t n) { return n == 50 ? kFlaggedCorrupt : kFromBadPacket; }),
            7 + 32);
}

// Repeats

/// Pictures that move, but for those that are shown again.
std::vector<RepeatEvidence> moving(int64_t count, const std::function<bool(int64_t)>& isAgain) {
  std::vector<RepeatEvidence> pictures;
  for (int64_t n = 0; n < count; ++n) {
    RepeatEvidence one;
    one.change.largest = isAgain(n) ? 0.5F : 20.0F;
    one.change.mean = isAgain(n) ? 0.1F : 5.0F;
    pictures.push_back(one);
  }
  return pictures;
}

TEST(RepeatedPictures, AreFoundWhereSomethingMoves) {
  const auto isAgain = [](int64_t n) { return n == 20 || n == 47; };
  EXPECT_EQ(findRepeatedPictures(moving(80, isAgain)), (std::vector<int64_t>{20, 47}));
  EXPECT_TRUE(findRepeatedPictures(moving(80, [](int64_t) { return false; })).empty());
  EXPECT_TRUE(findRepeatedPictures({}).empty());
}

TEST(RepeatedPictures, AreNoneInAStill) {
  EXPECT_TRUE(findRepeatedPictures(moving(80, [](int64_t) { return true; })).empty());
  // Nor is a pause of five pictures.
  EXPECT_TRUE(
      findRepeatedPictures(moving(80, [](int64_t n) { return n >= 30 && n < 35; })).empty());
}

TEST(RepeatedPictures, AreNoPicturesThatMoveLess) {
  std::vector<RepeatEvidence> pictures = moving(80, [](int64_t) { return false; });
  pictures[40].change = {.mean = 2.0F, .largest = 8.1F};
  EXPECT_TRUE(findRepeatedPictures(pictures).empty());
}

TEST(RepeatedPictures, AreNoPausesOfAMotion) {
  std::vector<RepeatEvidence> pictures = moving(80, [](int64_t) { return false; });
  for (std::size_t n = 40; n < 43; ++n) {
    pictures[n].change = {.mean = 1.3F, .largest = 4.5F};
  }
  // In one picture alone, a part of it moves.
  pictures[60].change = {.mean = 1.7F, .largest = 5.9F};
  EXPECT_TRUE(findRepeatedPictures(pictures).empty());
}

TEST(RepeatedPictures, StandOutFromPicturesThatHardlyMove) {
  std::vector<RepeatEvidence> pictures = moving(80, [](int64_t) { return false; });
  for (RepeatEvidence& one : pictures) {
    one.change = {.mean = 15.0F, .largest = 60.0F};
  }
  // A camera held by hand rests for a moment.
  pictures[40].change = {.mean = 1.4F, .largest = 4.9F};
  pictures[39].change = {.mean = 2.7F, .largest = 14.0F};
  EXPECT_TRUE(findRepeatedPictures(pictures).empty());
  pictures[39].change.mean = 2.9F;
  EXPECT_EQ(findRepeatedPictures(pictures), std::vector<int64_t>{40});
  // What rests before a cut says nothing of the shot after it.
  pictures[39].kind = PictureKind::cut;
  for (std::size_t n = 30; n < 39; ++n) {
    pictures[n].change = {.mean = 0.1F, .largest = 0.5F};
  }
  EXPECT_EQ(findRepeatedPictures(pictures), std::vector<int64_t>{40});
}

TEST(RepeatedPictures, AreNoneWhereAMotionBegins) {
  std::vector<RepeatEvidence> pictures = moving(80, [](int64_t n) { return n == 39; });
  for (std::size_t n = 0; n < 39; ++n) {
    pictures[n].change = {.mean = 0.1F, .largest = 2.5F};
  }
  EXPECT_TRUE(findRepeatedPictures(pictures).empty());
}

TEST(RepeatedPictures, MayBeNoisyAndCodedAtALowRate) {
  std::vector<RepeatEvidence> pictures = moving(80, [](int64_t) { return false; });
  pictures[40].change = {.mean = 2.0F, .largest = 4.5F};
  EXPECT_EQ(findRepeatedPictures(pictures), std::vector<int64_t>{40});
  for (RepeatEvidence& one : pictures) {
    one.change = {.mean = 13.0F, .largest = 80.0F};
  }
  pictures[40].change = {.mean = 1.3F, .largest = 7.6F};
  EXPECT_EQ(findRepeatedPictures(pictures), std::vector<int64_t>{40});
}

TEST(RepeatedPictures, AreNoCutsAndNothingFlat) {
  std::vector<RepeatEvidence> pictures = moving(80, [](int64_t n) { return n == 40; });
  pictures[40].isFlat = true;
  EXPECT_TRUE(findRepeatedPictures(pictures).empty());
  pictures[40].isFlat = false;
  pictures[40].kind = PictureKind::flash;
  EXPECT_TRUE(findRepeatedPictures(pictures).empty());
}

TEST(Repeats, AtRegularDistancesAreOne) {
  std::vector<int64_t> every5th;
  for (int64_t n = 4; n < 100; n += 5) {
    every5th.push_back(n);
  }
  const std::vector<Repeats> joined = joinRepeats(every5th);
  ASSERT_EQ(joined.size(), 1U);
  EXPECT_TRUE(joined[0].isRegular());
  EXPECT_EQ(joined[0].count, 20);
  EXPECT_EQ(joined[0].first, 4);
  EXPECT_EQ(joined[0].end, 100);
  EXPECT_NEAR(joined[0].newShare(), 0.8, 0.01);
}

TEST(Repeats, OfThreeAndTwoPicturesAreOne) {
  std::vector<int64_t> repeated;
  for (int64_t n = 0; n < 50; n += 5) {
    repeated.insert(repeated.end(), {n + 1, n + 2, n + 4});
  }
  const std::vector<Repeats> joined = joinRepeats(repeated);
  ASSERT_EQ(joined.size(), 1U);
  EXPECT_NEAR(joined[0].newShare(), 0.4, 0.03);
}

TEST(Repeats, WithoutAPatternAreSingle) {
  const std::vector<Repeats> joined = joinRepeats({10, 31, 35, 90, 99});
  ASSERT_EQ(joined.size(), 5U);
  for (const Repeats& one : joined) {
    EXPECT_FALSE(one.isRegular());
    EXPECT_EQ(one.end, one.first + 1);
  }
}

// The active area

constexpr int kWidth = 320;
constexpr int kHeight = 240;

/// A picture whose content is lighter than its bars by so much.
LineSums linesOf(const Margins& margins, int content = 80, int bars = 16) {
  LineSums lines;
  const int activeWidth = kWidth - margins.left - margins.right;
  const int activeHeight = kHeight - margins.top - margins.bottom;
  const auto sum = [&](int active, int total) {
    return static_cast<uint32_t>(active * content + (total - active) * bars);
  };
  for (int y = 0; y < kHeight; ++y) {
    const bool isActive = y >= margins.top && y < kHeight - margins.bottom;
    lines.rows.push_back(sum(isActive ? activeWidth : 0, kWidth));
  }
  for (int x = 0; x < kWidth; ++x) {
    const bool isActive = x >= margins.left && x < kWidth - margins.right;
    lines.columns.push_back(sum(isActive ? activeHeight : 0, kHeight));
  }
  return lines;
}

TEST(ActiveArea, IsWhatTheBarsLeave) {
  for (const Margins& margins : {Margins{}, Margins{0, 30, 0, 30}, Margins{40, 0, 40, 0},
                                 Margins{12, 30, 20, 25}, Margins{5, 0, 0, 4}}) {
    EXPECT_EQ(marginsOf(linesOf(margins), 0.2), margins);
  }
}

TEST(ActiveArea, OfRaisedBlackIsFoundAsWell) {
  const Margins margins{0, 30, 0, 30};
  EXPECT_EQ(marginsOf(linesOf(margins, 80, 25), 0.2), margins);
  // A light edge is no bar.
  EXPECT_EQ(marginsOf(linesOf(margins, 120, 60), 0.2), Margins{});
}

TEST(ActiveArea, EndsWhereSubtitlesInTheBarDoNotCount) {
  LineSums lines = linesOf({0, 30, 0, 40});
  for (std::size_t y = 215; y < 225; ++y) {
    lines.rows[y] += 10 * kWidth;
  }
  EXPECT_EQ(marginsOf(lines, 0.2), (Margins{0, 30, 0, 40}));
}

TEST(ActiveArea, IsUnknownWhereNearlyAllIsBlack) {
  EXPECT_FALSE(marginsOf(linesOf({0, 30, 0, 30}), 0.9).has_value());
  EXPECT_FALSE(marginsOf(linesOf({0, 30, 0, 30}, 20), 0.2).has_value());
}

Thumb evenThumb() {
  return {.columns = 20, .rows = 15, .cells = std::vector<uint8_t>(300, 16)};
}

TEST(ActiveArea, OfAShotIsWhatMostOfItsPicturesHave) {
  std::vector<AreaSample> samples(10, AreaSample{{0, 32, 0, 32}, evenThumb()});
  samples[3].margins = {0, 80, 0, 64};
  EXPECT_EQ(marginsOfShot(samples, kWidth, kHeight), (Margins{0, 32, 0, 32}));
  EXPECT_FALSE(marginsOfShot({}, kWidth, kHeight).has_value());
}

TEST(ActiveArea, GoesOnUnderDarkScenery) {
  Thumb scenery = evenThumb();
  for (std::size_t cell = 0; cell < 40; ++cell) {
    scenery.cells[cell] = static_cast<uint8_t>(16 + 3 * (cell % 5));
  }
  EXPECT_EQ(marginsOfShot({{{0, 32, 0, 32}, scenery}}, kWidth, kHeight), (Margins{0, 0, 0, 32}));
}

TEST(ActiveArea, EndsAtABarWithSubtitles) {
  const auto withText = [](std::size_t first, std::size_t end, uint8_t text) {
    Thumb bar = evenThumb();
    for (std::size_t column = first; column < end; ++column) {
      bar.cells[13 * 20 + column] = text;
    }
    return marginsOfShot({{{0, 32, 0, 48}, bar}}, kWidth, kHeight);
  };
  // 12 cells of 60.
  EXPECT_EQ(withText(4, 16, 90), (Margins{0, 32, 0, 48}));
  // Scenery goes on to the edge, and a part of it is darker than the rest.
  EXPECT_EQ(withText(8, 20, 90), (Margins{0, 32, 0, 0}));
  EXPECT_EQ(withText(4, 16, 2), (Margins{0, 32, 0, 0}));
}

TEST(ActiveAreas, BeginWithTheFirstShotThatShowsOne) {
  ActiveAreas areas(250);
  areas.add(0, 50, kWidth, kHeight, std::nullopt);
  areas.add(50, 100, kWidth, kHeight, Margins{0, 30, 0, 30});
  ASSERT_EQ(areas.areas().size(), 1U);
  EXPECT_EQ(areas.areas()[0].margins, (Margins{0, 30, 0, 30}));
  EXPECT_EQ(areas.areas()[0].end, 100);
}

TEST(ActiveAreas, ChangeWhereContentStandsInTheBars) {
  ActiveAreas areas(250);
  areas.add(0, 100, kWidth, kHeight, Margins{0, 30, 0, 30});
  areas.add(100, 120, kWidth, kHeight, Margins{0, 31, 0, 29});
  areas.add(120, 140, kWidth, kHeight, std::nullopt);
  areas.add(140, 200, kWidth, kHeight, Margins{});
  ASSERT_EQ(areas.areas().size(), 2U);
  EXPECT_EQ(areas.areas()[0].end, 140);
  EXPECT_EQ(areas.areas()[1].first, 140);
  EXPECT_EQ(areas.areas()[1].end, 200);
  EXPECT_EQ(areas.areas()[0].activeHeight(), kHeight - 60);
}

TEST(ActiveAreas, DoNotChangeWithShotsThatAreDarkForAWhile) {
  ActiveAreas areas(250);
  areas.add(0, 100, kWidth, kHeight, Margins{});
  areas.add(100, 300, kWidth, kHeight, Margins{0, 30, 0, 30});
  areas.add(300, 340, kWidth, kHeight, Margins{});
  EXPECT_EQ(areas.areas().size(), 1U);
  areas.add(340, 500, kWidth, kHeight, Margins{0, 30, 0, 30});
  areas.add(500, 600, kWidth, kHeight, Margins{0, 30, 0, 30});
  ASSERT_EQ(areas.areas().size(), 2U);
  EXPECT_EQ(areas.areas()[1].first, 340);
}

TEST(ActiveAreas, ChangeWithTheSizeOfThePicture) {
  ActiveAreas areas(250);
  areas.add(0, 10, kWidth, kHeight, Margins{});
  areas.add(10, 20, kWidth / 2, kHeight, Margins{});
  EXPECT_EQ(areas.areas().size(), 2U);
}

// Flashes

/// A part of a picture that goes up and down so often in a second.
FlashFinder flashing(double perSecond, double high, double low, double area, double seconds = 3.0,
                     double rate = 50.0) {
  FlashFinder finder({});
  constexpr int kCells = 100;
  for (int64_t n = 0; static_cast<double>(n) < seconds * rate; ++n) {
    const double time = static_cast<double>(n) / rate;
    const bool isHigh = std::fmod(time * perSecond + 1e-9, 1.0) < 0.5;
    std::vector<float> cells(kCells, 50.0F);
    for (int i = 0; i < static_cast<int>(area * kCells); ++i) {
      cells[static_cast<std::size_t>(i)] = static_cast<float>(isHigh ? high : low);
    }
    finder.add(n, time, cells);
  }
  return finder;
}

TEST(FlashFinder, FindsMoreThanThreeFlashesInASecond) {
  const FlashFinder finder = flashing(5.0, 100.0, 20.0, 0.5);
  EXPECT_EQ(finder.most(), 10);
  ASSERT_EQ(finder.spans().size(), 1U);
  EXPECT_NEAR(finder.spans()[0].startSeconds, 0.1, 1e-6);
  EXPECT_NEAR(finder.spans()[0].endSeconds, 2.9, 1e-6);
}

TEST(FlashFinder, AllowsThreeFlashesInASecond) {
  const FlashFinder finder = flashing(3.0, 100.0, 20.0, 0.5, 3.0, 60.0);
  EXPECT_EQ(finder.most(), 6);
  EXPECT_TRUE(finder.spans().empty());
}

TEST(FlashFinder, NeedsAQuarterOfThePicture) {
  EXPECT_TRUE(flashing(5.0, 100.0, 20.0, 0.25).spans().empty());
  EXPECT_FALSE(flashing(5.0, 100.0, 20.0, 0.26).spans().empty());
}

TEST(FlashFinder, NeedsChangesOfTwentyWhereTheDarkerIsBelow160) {
  EXPECT_TRUE(flashing(5.0, 119.0, 100.0, 0.5).spans().empty());
  EXPECT_FALSE(flashing(5.0, 120.0, 100.0, 0.5).spans().empty());
  EXPECT_TRUE(flashing(5.0, 190.0, 160.0, 0.5).spans().empty());
}

TEST(FlashFinder, StartsAnewWithAnotherNumberOfCells) {
  FlashFinder finder({});
  for (int64_t n = 0; n < 50; ++n) {
    finder.add(
        n, static_cast<double>(n) / 25.0,
        std::vector<float>(static_cast<std::size_t>(10 + n % 2), n % 2 == 0 ? 10.0F : 90.0F));
  }
  EXPECT_EQ(finder.transitions(), 0);
}

}  // namespace
