#include "visual/DisplayTest.h"

namespace {

using qatest::Bgr;
using qatest::grey;
using qatest::kBlack;
using qatest::kWhite;
using qatest::Picture;
using qatest::Pixels;
using qatest::Place;
using qatest::rowOf;

constexpr Bgr kRed{0, 0, 255};

class LinearGamutDisplay : public qatest::DisplayTest {
 protected:
  static Pixels shown(Picture picture) {
    return shownBy(Visual::plotLinearGamutDisplay, std::move(picture));
  }
  /// Of one pixel, whose components are in columns 10, 177 and 344.
  static Pixels shown(int y, int u, int v) { return shown(rowOf({{y, u, v, true}})); }
  static Pixels empty() { return emptyDisplay(Visual::plotLinearGamutDisplay); }
};

TEST_F(LinearGamutDisplay, IsAsItsRulesPixelByPixel) {
  expectEveryPictureAsIn(qatest::referenceLinearGamut, Visual::plotLinearGamutDisplay);
}

TEST_F(LinearGamutDisplay, HasLinesForScaleLimitsAndMiddle) {
  const Pixels canvas = empty();
  EXPECT_EQ(canvas.width, 512);
  EXPECT_EQ(canvas.height, 256);
  for (int y = 0; y < 256; ++y) {
    const Bgr expected = y == 25 || y == 231   ? grey(100)
                         : y == 42 || y == 219 ? kRed
                         : y == 128            ? grey(200)
                                               : kBlack;
    for (const int x : {0, 9, 255, 511}) {
      EXPECT_EQ(canvas.at(x, y), expected) << x << ", " << y;
    }
  }
}

TEST_F(LinearGamutDisplay, CodeValuesInsideTheLimitsAreGrey) {
  // 17 / 256 * 206 = 13.7 and 234 / 256 * 206 = 188.3; 100 / 256 * 206 = 80.5.
  const Pixels canvas = shown(17, 234, 100);
  EXPECT_EQ(canvas.at(10, 231 - 13), grey(100));
  EXPECT_EQ(canvas.at(177, 231 - 188), grey(100));
  EXPECT_EQ(canvas.at(344, 231 - 80), grey(100));
  EXPECT_EQ(placesThatDiffer(canvas, empty()).size(), 3U);
}

TEST_F(LinearGamutDisplay, CodeValuesOutsideTheLimitsAreWhite) {
  // 14 / 256 * 206 = 11.3, 237 / 256 * 206 = 190.7, 255 / 256 * 206 = 205.2.
  const Pixels canvas = shown(14, 237, 255);
  EXPECT_EQ(canvas.at(10, 231 - 11), kWhite);
  EXPECT_EQ(canvas.at(177, 231 - 190), kWhite);
  EXPECT_EQ(canvas.at(344, 231 - 205), kWhite);
  EXPECT_EQ(shown(0, 128, 128).at(10, 230), kBlack);
}

TEST_F(LinearGamutDisplay, CodeValuesOnTheLimitsLieUnderTheRedLines) {
  // 16 / 256 * 206 = 12.9 and 235 / 256 * 206 = 189.1.
  const Pixels canvas = shown(16, 235, 128);
  EXPECT_EQ(canvas.at(10, 219), kRed);
  EXPECT_EQ(canvas.at(177, 42), kRed);
  EXPECT_EQ(canvas.at(344, 128), grey(200)) << "128 / 256 * 206 = 103, the middle";
}

TEST_F(LinearGamutDisplay, SpreadsThePictureOverThePanels) {
  // Of three columns, the second begins at 157 / 3 = 52.3, the third at 104.7.
  const Pixels canvas =
      shown(rowOf({{100, 100, 100, true}, {100, 100, 100, true}, {100, 100, 100, true}}));
  std::vector<Place> expected;
  for (const int edge : {10, 177, 344}) {
    for (const int column : {0, 52, 104}) {
      expected.push_back({edge + column, 231 - 80});
    }
  }
  EXPECT_EQ(placesThatDiffer(canvas, empty()), expected);
}

TEST_F(LinearGamutDisplay, TheLastColumnOfAWidePictureIsTheLastOfThePanel) {
  Picture picture(AV_PIX_FMT_YUV444P, 1920, 1);
  picture.fill(100, 100, 100);
  const auto places = placesThatDiffer(shown(std::move(picture)), empty());
  ASSERT_EQ(places.size(), 3U * 157U);
  EXPECT_EQ(places.front().x, 10);
  EXPECT_EQ(places.back().x, 344 + 156);
}

}  // namespace
