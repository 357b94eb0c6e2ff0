#include <algorithm>
#include <functional>
#include <stdexcept>

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

/// A colour whose R, G and B are as wanted, out of all that there are.
YUVPixel colourWith(const std::function<bool(const RgbPixel&)>& wanted) {
  for (int y = 0; y < 256; ++y) {
    for (int u = 0; u < 256; ++u) {
      for (int v = 0; v < 256; ++v) {
        const YUVPixel pixel{y, u, v, true};
        if (wanted(YUVHelper::YUVtoRGB601(pixel))) {
          return pixel;
        }
      }
    }
  }
  throw std::runtime_error("there is no such colour");
}

bool isLegal(const RgbPixel& rgb) {
  return std::min({rgb.r, rgb.g, rgb.b}) >= 0 && std::max({rgb.r, rgb.g, rgb.b}) <= 255;
}

class DiamondDisplay : public qatest::DisplayTest {
 protected:
  static Pixels shown(Picture picture) {
    return shownBy(Visual::plotDiamondDisplay, std::move(picture));
  }
  static Pixels shown(const YUVPixel& pixel) { return shown(rowOf({pixel})); }
  static Pixels empty() { return emptyDisplay(Visual::plotDiamondDisplay); }
};

TEST_F(DiamondDisplay, IsAsItsRulesPixelByPixel) {
  expectEveryPictureAsIn(qatest::referenceDiamond, Visual::plotDiamondDisplay);
}

TEST_F(DiamondDisplay, HasTheSquaresAndTheOuterGraticule) {
  const Pixels canvas = empty();
  EXPECT_EQ(canvas.width, 512);
  EXPECT_EQ(canvas.height, 256);
  for (const Place& place : {Place{64, 65}, Place{64, 192}, Place{192, 65}, Place{65, 64},
                             Place{192, 64}, Place{320, 64}, Place{448, 65}, Place{448, 192},
                             Place{447, 64}, Place{320, 192}, Place{130, 192}}) {
    EXPECT_EQ(canvas.at(place.x, place.y), grey(100)) << place;
  }
  for (const Place& place : {Place{58, 58}, Place{198, 58}, Place{58, 198}, Place{198, 198},
                             Place{314, 58}, Place{454, 58}, Place{314, 198}, Place{454, 198}}) {
    EXPECT_EQ(canvas.at(place.x, place.y), grey(50)) << place;
  }
  // The upper outer corners belong to no line, nor does anything between the squares.
  for (const Place& place : {Place{64, 64}, Place{448, 64}, Place{63, 100}, Place{57, 58},
                             Place{455, 100}, Place{256, 128}, Place{0, 0}, Place{511, 255}}) {
    EXPECT_EQ(canvas.at(place.x, place.y), kBlack) << place;
  }
}

TEST_F(DiamondDisplay, LabelsItsAxes) {
  const Pixels canvas = empty();
  const auto lettersIn = [&](int left, int top) {
    int count = 0;
    for (int y = top; y < top + 14; ++y) {
      for (int x = left; x < left + 12; ++x) {
        count += canvas.at(x, y) != kBlack;
      }
    }
    return count;
  };
  // A text's origin is its lower left corner.
  EXPECT_GT(lettersIn(38, 196), 10);
  EXPECT_GT(lettersIn(208, 36), 10);
  EXPECT_GT(lettersIn(294, 36), 10);
  EXPECT_GT(lettersIn(464, 196), 10);
}

TEST_F(DiamondDisplay, PlotsGreyOnBothSides) {
  // (81 - 16) * 1.16438 = 75.7: R = G = B = 75, which is 37.6 of 128. 37 / 128 * 255 = 73.7.
  const Pixels canvas = shown({81, 128, 128, true});
  EXPECT_EQ(canvas.at(192 - 37, 192 - 37), (Bgr{0, 73, 73}));
  EXPECT_EQ(canvas.at(320 + 37, 192 - 37), (Bgr{73, 73, 0}));
  EXPECT_EQ(placesThatDiffer(canvas, empty()),
            (std::vector<Place>{{192 - 37, 192 - 37}, {320 + 37, 192 - 37}}));
}

TEST_F(DiamondDisplay, LegalColoursStayInsideTheSquares) {
  Picture picture(AV_PIX_FMT_YUV444P, 64, 48);
  qatest::fillWith(picture, qatest::Content::legal, 1);
  const auto places = placesThatDiffer(shown(std::move(picture)), empty());
  EXPECT_GT(places.size(), 1000U);
  for (const auto& [x, y] : places) {
    EXPECT_TRUE((64 <= x && x <= 192) || (320 <= x && x <= 448)) << x;
    EXPECT_TRUE(64 <= y && y <= 192) << y;
  }
}

TEST_F(DiamondDisplay, TooMuchRedTurnsTheLeftPointWhite) {
  // Luma is 184 * 1.16438 = 214.3; R = 214.3 + 42 * 1.596 = 281, scaled 141; G = 214.3 - 42 * 0.813
  // = 180, scaled 90, shade 179; B = 214, scaled 107, shade 213.
  const Pixels canvas = shown({200, 128, 170, true});
  EXPECT_EQ(canvas.at(192 - 141, 192 - 90), kWhite);
  EXPECT_EQ(canvas.at(320 + 107, 192 - 90), (Bgr{213, 179, 0}));
}

TEST_F(DiamondDisplay, TooMuchBlueTurnsTheRightPointWhite) {
  // B = 214.3 + 42 * 2.017 = 298, scaled 149; G = 214.3 - 42 * 0.392 = 197, scaled 98, shade 195;
  // R = 214, scaled 107, shade 213.
  const Pixels canvas = shown({200, 170, 128, true});
  EXPECT_EQ(canvas.at(320 + 149, 192 - 98), kWhite);
  EXPECT_EQ(canvas.at(192 - 107, 192 - 98), (Bgr{0, 195, 213}));
}

TEST_F(DiamondDisplay, TooLittleGreenTurnsBothPointsWhite) {
  // (202, -103, 0): scaled 101, -51 and 0.
  const Pixels canvas = shown({16, 128, 255, true});
  EXPECT_EQ(canvas.at(192 - 101, 192 + 51), kWhite);
  EXPECT_EQ(canvas.at(320, 192 + 51), kWhite);
}

TEST_F(DiamondDisplay, TooMuchGreenTurnsBothPointsWhite) {
  const YUVPixel pixel = colourWith([](const RgbPixel& rgb) {
    return rgb.g == 300 && rgb.r >= 0 && rgb.r <= 255 && rgb.b >= 0 && rgb.b <= 255;
  });
  // 300 / 255 * 128 = 150.6.
  const Pixels canvas = shown(pixel);
  const auto places = placesThatDiffer(canvas, empty());
  ASSERT_EQ(places.size(), 2U);
  for (const auto& [x, y] : places) {
    EXPECT_EQ(y, 192 - 150);
    EXPECT_EQ(canvas.at(x, y), kWhite);
  }
}

TEST_F(DiamondDisplay, WhiteIsLegalAndWhatIsWhiterIsNot) {
  // R = G = B = 255 is in the corners that the sides of the squares leave open. So is 256, which is
  // scaled to 128.5.
  const Pixels white = shown({235, 128, 128, true});
  EXPECT_EQ(white.at(64, 64), (Bgr{0, 255, 255}));
  EXPECT_EQ(white.at(448, 64), (Bgr{255, 255, 0}));
  const Pixels whiter = shown({236, 128, 128, true});
  EXPECT_EQ(whiter.at(64, 64), kWhite);
  EXPECT_EQ(whiter.at(448, 64), kWhite);
}

TEST_F(DiamondDisplay, BlackIsUnderTheGraticuleAndWhatIsBlackerLeavesIt) {
  EXPECT_EQ(difference(shown({16, 128, 128, true}), empty()), "");
  // Luma 14 is -2 * 1.16438 = -2.3, and -2 / 255 * 128 = -1.004.
  const Pixels blacker = shown({14, 128, 128, true});
  EXPECT_EQ(blacker.at(193, 193), kWhite);
  EXPECT_EQ(blacker.at(319, 193), kWhite);
}

// Left of the right square, blue's white points reach columns of the left one: there a legal point
// can come before or after a white one. (At the squares' sides it can as well, but they are painted
// over.)
TEST_F(DiamondDisplay, ALegalPointLeavesItsThirdChannelAsItWas) {
  // B = -255 to -256 is scaled to -128: column 192. -259 is scaled to -130: column 190, where red's
  // points are those of R = 4 and 5.
  const auto isWhiteAt190 = [](const RgbPixel& rgb) {
    return rgb.b <= -259 && rgb.b >= -260 && rgb.g >= 0;
  };
  const YUVPixel white = colourWith(isWhiteAt190);
  const int g = YUVHelper::YUVtoRGB601(white).g;
  const YUVPixel legal = colourWith([g](const RgbPixel& rgb) {
    return isLegal(rgb) && (rgb.r == 4 || rgb.r == 5) && rgb.g == g;
  });
  const int row = 192 - static_cast<int>(g / 255.0 * 128.0);
  const Bgr colour = shown(legal).at(190, row);
  EXPECT_EQ(colour.blue, 0);
  EXPECT_EQ(colour.red, 3);  // 2 / 128 * 255 = 3.98
  EXPECT_EQ(shown(white).at(190, row), kWhite);
  EXPECT_EQ(shown(rowOf({white, legal})).at(190, row), (Bgr{255, colour.green, colour.red}));
  EXPECT_EQ(shown(rowOf({legal, white})).at(190, row), kWhite) << "the last point stays";
  EXPECT_EQ(shown(rowOf({legal, white, legal})).at(190, row), (Bgr{255, colour.green, colour.red}));
}

TEST_F(DiamondDisplay, GreenFarBelowZeroGoesToTheMiddle) {
  // G = -130 is scaled to -65: as far down as 257 rows, so 64 rows up instead.
  const Pixels canvas = shown(colourWith([](const RgbPixel& rgb) { return rgb.g == -130; }));
  const auto places = placesThatDiffer(canvas, empty());
  ASSERT_EQ(places.size(), 2U);
  for (const auto& [x, y] : places) {
    EXPECT_EQ(y, 192 - 64);
    EXPECT_EQ(canvas.at(x, y), kWhite);
  }
}

TEST_F(DiamondDisplay, PointsBelowTheLastRowAreLeftOut) {
  // G = -128 is scaled to -64, which is row 256 of 256.
  const Pixels canvas =
      shown(colourWith([](const RgbPixel& rgb) { return rgb.g == -128 || rgb.g == -129; }));
  EXPECT_EQ(difference(canvas, empty()), "");
}

TEST_F(DiamondDisplay, GreenFarAboveWhiteGoesToTheFirstRow) {
  // 386 / 255 * 128 = 193.8.
  const auto places = placesThatDiffer(
      shown(colourWith([](const RgbPixel& rgb) { return rgb.g == 386; })), empty());
  ASSERT_EQ(places.size(), 2U);
  EXPECT_EQ(places[0].y, 0);
  EXPECT_EQ(places[1].y, 0);
}

TEST_F(DiamondDisplay, RedFarAboveWhiteGoesToTheFirstColumn) {
  const auto places = placesThatDiffer(
      shown(colourWith([](const RgbPixel& rgb) { return rgb.r == 450 && rgb.g > 0; })), empty());
  ASSERT_EQ(places.size(), 2U);
  EXPECT_EQ(places[0].x, 0);
}

TEST_F(DiamondDisplay, BlueFarAboveWhiteGoesToTheLastColumn) {
  const auto places = placesThatDiffer(
      shown(colourWith([](const RgbPixel& rgb) { return rgb.b == 450 && rgb.g > 0; })), empty());
  ASSERT_EQ(places.size(), 2U);
  EXPECT_EQ(places[1].x, 511);
}

TEST_F(DiamondDisplay, BlueOneColumnTooFarStartsTheNextRow) {
  // 383 / 255 * 128 = 192.25: column 512 of 512, whose bytes are those of the next row's first.
  const YUVPixel pixel = colourWith(
      [](const RgbPixel& rgb) { return rgb.b == 383 && rgb.g > 0 && rgb.r > 0 && rgb.r < 255; });
  const int row = 192 - static_cast<int>(YUVHelper::YUVtoRGB601(pixel).g / 255.0 * 128.0);
  const Pixels canvas = shown(pixel);
  EXPECT_EQ(canvas.at(0, row + 1), kWhite);
  EXPECT_EQ(placesThatDiffer(canvas, empty()).size(), 2U);
}

}  // namespace
