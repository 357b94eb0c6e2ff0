// Programme checks of the picture on pictures that are made.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "support/MadePictures.h"
#include "support/Values.h"

namespace {

using qatest::CheckSettings;
using qatest::MadePictures;
using qatest::measurePictures;
using qatest::numberOf;

/// Texture that moves by so many pixels a picture. Computed once: pictures take many of it.
int textureAt(int x, int y, double moved) {
  constexpr int kWidth = 2048;
  constexpr int kHeight = 512;
  static const std::vector<uint8_t> texture = [] {
    std::vector<uint8_t> pixels;
    for (int row = 0; row < kHeight; ++row) {
      for (int column = 0; column < kWidth; ++column) {
        pixels.push_back(static_cast<uint8_t>(
            110.0 + 45.0 * std::sin(0.19 * column + 0.5 * std::sin(0.11 * row)) +
            35.0 * std::cos(0.23 * row + 0.07 * column)));
      }
    }
    return pixels;
  }();
  const int column = (x + static_cast<int>(moved)) % kWidth;
  return texture[static_cast<std::size_t>(y % kHeight * kWidth + column)];
}

MadePictures moving(int64_t count, int width = 96, int height = 64) {
  MadePictures made;
  made.count = count;
  made.width = width;
  made.height = height;
  made.luma = [](int x, int y, int64_t n) { return textureAt(x, y, 3.0 * static_cast<double>(n)); };
  return made;
}

/// The fields of a picture are half a picture's time apart.
MadePictures fields(int64_t count, bool isTopFirst) {
  MadePictures made = moving(count, 96, 256);
  made.luma = [=](int x, int y, int64_t n) {
    const bool isLater = (y % 2 == 0) != isTopFirst;
    return textureAt(x, y, 6.0 * static_cast<double>(n) + (isLater ? 3.0 : 0.0));
  };
  made.isInterlaced = true;
  made.isTopFirst = isTopFirst;
  return made;
}

std::vector<std::string> eventsOf(const QACheckOutcome& outcome) {
  std::vector<std::string> events;
  for (const QAEvent& event : outcome.events) {
    events.push_back(std::to_string(*event.startFrame) + "-" + std::to_string(*event.endFrame) +
                     " " + event.what + (event.breaks ? "" : " (said)"));
  }
  return events;
}

using Events = std::vector<std::string>;

std::string wordOf(const QACheckOutcome& outcome, const std::string& key) {
  for (const QAValue& value : outcome.values) {
    if (value.key == key) {
      return std::get<std::string>(value.value);
    }
  }
  return "";
}

QACheckOutcome blackOf(int64_t first, int64_t end, int64_t count, int pixel = 20,
                       const CheckSettings& settings = {}) {
  MadePictures made = moving(count);
  made.luma = [=, texture = made.luma](int x, int y, int64_t n) {
    return n >= first && n < end ? pixel : texture(x, y, n);
  };
  return measurePictures("black", settings, made);
}

TEST(BlackCheck, FindsBlackOfTwoSeconds) {
  EXPECT_EQ(eventsOf(blackOf(40, 90, 130)), Events{"40-90 black"});
  EXPECT_EQ(eventsOf(blackOf(40, 89, 130)), Events{});
  EXPECT_EQ(eventsOf(blackOf(40, 60, 130, 20, {{"BlackSeconds", "0.5"}})), Events{"40-60 black"});
}

TEST(BlackCheck, CountsPixelsUpToATenthOfTheRange) {
  EXPECT_EQ(eventsOf(blackOf(40, 100, 130, 37)), Events{"40-100 black"});
  EXPECT_EQ(eventsOf(blackOf(40, 100, 130, 38)), Events{});
}

TEST(BlackCheck, SaysBlackAtTheEdges) {
  EXPECT_EQ(eventsOf(blackOf(0, 60, 130)), Events{"0-60 leader (said)"});
  EXPECT_EQ(eventsOf(blackOf(60, 130, 130)), Events{"60-130 tail (said)"});
  EXPECT_EQ(eventsOf(blackOf(0, 60, 130, 20, {{"BlackEdgeSeconds", "1"}})), Events{"0-60 black"});
  const QACheckOutcome all = blackOf(0, 130, 130);
  EXPECT_EQ(eventsOf(all), Events{"0-130 black throughout"});
  EXPECT_TRUE(all.broken);
}

TEST(BlackCheck, AllowsTwoPercentThatAreLight) {
  for (const auto& [light, expected] : {std::pair{0.019, 1U}, {0.021, 0U}}) {
    MadePictures made = moving(100, 100, 100);
    made.luma = [light = light, texture = made.luma](int x, int y, int64_t n) {
      const bool isLight = y * 100 + x < light * 10000;
      return n < 10 || n >= 80 ? texture(x, y, n) : isLight ? 235 : 16;
    };
    EXPECT_EQ(measurePictures("black", {}, made).events.size(), expected) << light;
  }
}

QACheckOutcome frozen(int64_t first, int64_t end, int64_t count) {
  MadePictures made = moving(count);
  made.luma = [=, texture = made.luma](int x, int y, int64_t n) {
    return texture(x, y, n >= first && n < end ? first : n);
  };
  return measurePictures("freeze", {}, made);
}

TEST(FreezeCheck, FindsAStillOfTwoSeconds) {
  EXPECT_EQ(eventsOf(frozen(30, 80, 120)), Events{"30-80 no visible change"});
  EXPECT_EQ(eventsOf(frozen(30, 79, 120)), Events{});
  EXPECT_TRUE(frozen(30, 80, 120).broken);
}

TEST(FreezeCheck, SaysStillsAtTheEdges) {
  EXPECT_EQ(eventsOf(frozen(0, 60, 120)), Events{"0-60 still at the start (said)"});
  EXPECT_EQ(eventsOf(frozen(60, 120, 120)), Events{"60-120 still at the end (said)"});
  EXPECT_FALSE(frozen(60, 120, 120).broken);
  EXPECT_EQ(eventsOf(frozen(0, 120, 120)), Events{"0-120 a still throughout (said)"});
}

/// Where the texture is at each picture.
Events stillsOf(int64_t count, const std::function<double(int64_t n)>& moved) {
  MadePictures made = moving(count);
  made.luma = [&](int x, int y, int64_t n) { return textureAt(x, y, moved(n)); };
  return eventsOf(measurePictures("freeze", {}, made));
}

TEST(FreezeCheck, SaysACardThatLastsToTheEnd) {
  MadePictures made = moving(120);
  made.luma = [](int x, int y, int64_t n) {
    return n < 60 ? textureAt(x, y, static_cast<double>(n)) : textureAt(3 * y + 40, 2 * x + y, 0.0);
  };
  EXPECT_EQ(eventsOf(measurePictures("freeze", {}, made)),
            Events{"60-120 still at the end (said)"});
  // What comes to rest gets slower.
  const auto slower = [](int64_t n) {
    return 180.0 * (1.0 - std::exp(-static_cast<double>(n) / 8.0));
  };
  const Events rests = stillsOf(200, [&](int64_t n) { return slower(std::min<int64_t>(n, 60)); });
  ASSERT_EQ(rests.size(), 1U);
  EXPECT_NE(rests[0].find("still at the end (said)"), std::string::npos) << rests[0];
}

TEST(FreezeCheck, GoesOnWhereAStillIsCodedAnew) {
  MadePictures made = moving(120);
  made.luma = [texture = made.luma](int x, int y, int64_t n) {
    // 4.5 levels a pixel, and 3.5 of the mean of a cell.
    const int anew = (x / 2 + y / 2) % 2 == 0 ? 8 : -1;
    return texture(x, y, n >= 30 && n < 90 ? 30 : n) + (n >= 60 && n < 90 ? anew : 0);
  };
  EXPECT_EQ(eventsOf(measurePictures("freeze", {}, made)), Events{"30-90 no visible change"});
}

TEST(FreezeCheck, EndsWhereASmallThingJumps) {
  MadePictures made = moving(120);
  made.luma = [](int x, int y, int64_t n) {
    const bool isThing = x / 8 == n / 25 && y / 8 == 3;
    return textureAt(x, y, 0.0) + (isThing ? 40 : 0);
  };
  EXPECT_EQ(eventsOf(measurePictures("freeze", {}, made)), Events{});
}

TEST(FreezeCheck, TakesASlideAfterAnotherAtTheStartAsAHead) {
  MadePictures made = moving(200);
  made.luma = [](int x, int y, int64_t n) {
    return textureAt(x, y, n < 60 ? 0.0 : n < 120 ? 900.0 : 3.0 * static_cast<double>(n));
  };
  EXPECT_EQ(eventsOf(measurePictures("freeze", {}, made)),
            (Events{"0-60 still at the start (said)", "60-120 still at the start (said)"}));
}

TEST(FreezeCheck, LeavesBlackToTheOtherCheck) {
  MadePictures made = moving(150);
  made.luma = [texture = made.luma](int x, int y, int64_t n) {
    return n >= 40 && n < 110 ? 16 : texture(x, y, n);
  };
  EXPECT_EQ(eventsOf(measurePictures("freeze", {}, made)), Events{});
}

TEST(FreezeCheck, IsNotMisledByASlowFade) {
  MadePictures made = moving(150);
  made.luma = [](int x, int y, int64_t n) {
    return static_cast<int>(textureAt(x, y, 0.0) * (1.0 - static_cast<double>(n) / 150.0));
  };
  EXPECT_EQ(eventsOf(measurePictures("freeze", {}, made)), Events{});
}

TEST(FieldOrderCheck, BreaksWhereTheFlagsSayOtherwise) {
  for (const bool isTopFirst : {true, false}) {
    MadePictures made = fields(60, isTopFirst);
    EXPECT_FALSE(measurePictures("field-order", {}, made).broken);
    made.isTopFirst = !isTopFirst;
    const QACheckOutcome wrong = measurePictures("field-order", {}, made);
    EXPECT_TRUE(wrong.broken);
    EXPECT_EQ(eventsOf(wrong), Events{isTopFirst ? "0-60 top first, flagged bottom first"
                                                 : "0-60 bottom first, flagged top first"});
    made.isInterlaced = false;
    EXPECT_TRUE(measurePictures("field-order", {}, made).broken);
  }
}

TEST(FieldOrderCheck, SaysThatProgressivePicturesAreFlaggedAsFields) {
  MadePictures made = moving(60, 96, 256);
  made.isInterlaced = true;
  made.isTopFirst = true;
  const QACheckOutcome outcome = measurePictures("field-order", {}, made);
  EXPECT_FALSE(outcome.broken);
  EXPECT_EQ(eventsOf(outcome), Events{"0-60 progressive, flagged top first (said)"});
}

TEST(FieldOrderCheck, LeavesSmallPicturesOut) {
  const QACheckOutcome outcome = measurePictures("field-order", {}, moving(60, 96, 238));
  EXPECT_EQ(outcome.state, QAState::notMeasured);
  EXPECT_EQ(outcome.reason, "pictures of fewer than 240 lines show no fields");
}

/// Film whose pictures last two and three fields by turns.
MadePictures film(int64_t count, int64_t brokenAt) {
  MadePictures made = moving(count, 96, 256);
  made.rate = 30.0;
  made.luma = [=](int x, int y, int64_t n) {
    const int64_t field = 2 * (n >= brokenAt ? n + 1 : n) + (y % 2);
    const int64_t turn = field % 5;
    const int64_t picture = field / 5 * 2 + (turn >= 2 ? 1 : 0);
    return textureAt(x, y, 6.0 * static_cast<double>(picture));
  };
  made.isInterlaced = true;
  made.isTopFirst = true;
  return made;
}

TEST(CadenceCheck, NamesThePullDownAndWhereItBreaks) {
  const QACheckOutcome unbroken = measurePictures("cadence", {}, film(120, 1000));
  EXPECT_EQ(wordOf(unbroken, "found"), "2:3");
  EXPECT_EQ(unbroken.events.size(), 1U);
  EXPECT_FALSE(unbroken.broken);
  const QACheckOutcome broken = measurePictures("cadence", {}, film(120, 57));
  EXPECT_TRUE(broken.broken);
  ASSERT_EQ(broken.events.size(), 3U);
  EXPECT_NEAR(static_cast<double>(*broken.events[1].startFrame), 57.0, 1.0);
  EXPECT_EQ(wordOf(measurePictures("cadence", {}, fields(60, true)), "found"), "none");
}

TEST(RepeatsCheck, FindsPicturesThatAreShownAgain) {
  MadePictures made = moving(80);
  made.luma = [texture = made.luma](int x, int y, int64_t n) {
    return texture(x, y, n == 30 || n == 61 ? n - 1 : n);
  };
  const QACheckOutcome outcome = measurePictures("repeats", {}, made);
  EXPECT_TRUE(outcome.broken);
  EXPECT_EQ(eventsOf(outcome), (Events{"30-31 repeated picture", "61-62 repeated picture"}));
  EXPECT_FALSE(measurePictures("repeats", {{"Repeats", "2"}}, made).broken);
  EXPECT_FALSE(measurePictures("repeats", {}, moving(80)).broken);
}

TEST(RepeatsCheck, NamesAPattern) {
  MadePictures made = moving(100);
  made.luma = [](int x, int y, int64_t n) {
    return textureAt(x, y, 3.0 * static_cast<double>(n - n / 5));
  };
  const QACheckOutcome outcome = measurePictures("repeats", {}, made);
  ASSERT_EQ(outcome.events.size(), 1U);
  EXPECT_NEAR(*outcome.events[0].value, 0.8, 0.02);
  EXPECT_TRUE(outcome.broken);
  // Film at twice its rate and more is shown so.
  made.rate = 60.0;
  made.luma = [](int x, int y, int64_t n) {
    return textureAt(x, y, 6.0 * static_cast<double>(n / 5 * 2 + (n % 5 >= 3 ? 1 : 0)));
  };
  EXPECT_FALSE(measurePictures("repeats", {}, made).broken);
}

TEST(CutsCheck, FindsCuts) {
  MadePictures made = moving(80);
  made.luma = [](int x, int y, int64_t n) {
    return n < 40 ? textureAt(x, y, static_cast<double>(n))
                  : textureAt(3 * y + 40, 2 * x + y, static_cast<double>(n));
  };
  const QACheckOutcome outcome = measurePictures("cuts", {}, made);
  EXPECT_EQ(eventsOf(outcome), Events{"40-41 cut (said)"});
  EXPECT_EQ(outcome.state, QAState::info);
}

TEST(CutsCheck, LeavesOutWhatIsDamaged) {
  MadePictures made = moving(80);
  made.luma = [](int x, int y, int64_t n) {
    return n < 40 ? textureAt(x, y, static_cast<double>(n))
                  : textureAt(3 * y + 40, 2 * x + y, static_cast<double>(n));
  };
  made.damagedAt = 40;
  EXPECT_EQ(eventsOf(measurePictures("cuts", {}, made)), Events{});
}

TEST(ActivePictureCheck, FindsTheAreaAndItsAspect) {
  MadePictures made = moving(40, 320, 240);
  made.luma = [texture = made.luma](int x, int y, int64_t n) {
    return y < 30 || y >= 210 ? 16 : texture(x, y, n);
  };
  const QACheckOutcome outcome = measurePictures("active-picture", {}, made);
  EXPECT_EQ(eventsOf(outcome), Events{"0-40 active picture 320x180+0+30 (said)"});
  EXPECT_NEAR(numberOf(outcome.values, "aspect"), 16.0 / 9.0, 1e-6);
  EXPECT_FALSE(measurePictures("active-picture", {{"ActiveAspect", "1.78"}}, made).broken);
  EXPECT_TRUE(measurePictures("active-picture", {{"ActiveAspect", "2.39"}}, made).broken);
}

TEST(FlashesCheck, FindsFlashesOfTheWholePicture) {
  MadePictures made = moving(100);
  made.luma = [texture = made.luma](int x, int y, int64_t n) {
    return texture(x, y, 0) / 2 + (n >= 20 && n < 80 && n % 6 < 3 ? 90 : 0);
  };
  const QACheckOutcome outcome = measurePictures("flashes", {}, made);
  EXPECT_TRUE(outcome.broken);
  ASSERT_EQ(outcome.events.size(), 1U);
  EXPECT_FALSE(measurePictures("flashes", {{"FlashesPerSecond", "5"}}, made).broken);
  EXPECT_FALSE(measurePictures("flashes", {}, moving(100)).broken);
}

const std::vector<std::string> kChecks = {"black",   "freeze", "field-order",    "cadence",
                                          "repeats", "cuts",   "active-picture", "flashes"};

TEST(PictureChecks, MeasureOnePicture) {
  for (const std::string& name : kChecks) {
    const QACheckOutcome outcome = measurePictures(name, {}, moving(1, 96, 256));
    EXPECT_NE(outcome.state, QAState::notMeasured) << name << ": " << outcome.reason;
    EXPECT_FALSE(outcome.broken) << name;
  }
}

TEST(PictureChecks, SayThatThereWasNoPicture) {
  for (const std::string& name : kChecks) {
    const QACheckOutcome outcome = measurePictures(name, {}, moving(0, 96, 256));
    EXPECT_EQ(outcome.state, QAState::notMeasured) << name;
    EXPECT_EQ(outcome.reason, "no picture could be decoded") << name;
  }
}

TEST(PictureChecks, SayWhichFormatTheyCannotRead) {
  MadePictures made = moving(3, 96, 256);
  made.format = AV_PIX_FMT_PAL8;
  EXPECT_EQ(measurePictures("black", {}, made).reason,
            "pictures of the format pal8 cannot be measured");
}

TEST(PictureChecks, MeasurePicturesOfAnySizeThatChanges) {
  for (const auto& [width, height] : {std::pair{1, 1}, {2, 3}, {33, 17}, {700, 5}, {5, 400}}) {
    MadePictures made = moving(30, 64, 48);
    made.sizeChangesAt = 12;
    made.laterWidth = width;
    made.laterHeight = height;
    for (const std::string& name : kChecks) {
      const QACheckOutcome outcome = measurePictures(name, {}, made);
      EXPECT_FALSE(outcome.broken) << name << ", " << width << " x " << height;
    }
  }
}

TEST(PictureChecks, CountPicturesWithoutTimesAtTheUsualDistance) {
  MadePictures made = moving(130);
  made.hasTimes = false;
  made.luma = [texture = made.luma](int x, int y, int64_t n) {
    return n >= 40 && n < 90 ? 20 : texture(x, y, n);
  };
  const QACheckOutcome outcome = measurePictures("black", {}, made);
  EXPECT_EQ(eventsOf(outcome), Events{"40-90 black"});
  ASSERT_EQ(outcome.events.size(), 1U);
  EXPECT_NEAR(*outcome.events[0].startSeconds, 40 / 25.0, 1e-9);
}

}  // namespace
