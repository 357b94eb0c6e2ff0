#include <cmath>
#include <limits>

#include "visual/DisplayTest.h"

namespace {

using qatest::Bgr;
using qatest::grey;
using qatest::kBlack;
using qatest::kWhite;
using qatest::Picture;
using qatest::Pixels;
using qatest::pixelsOf;
using qatest::Place;
using qatest::placesThatDiffer;
using qatest::plainCanvas;
using qatest::rowOf;
using qatest::UniqueImage;

class CIE1931Display : public qatest::DisplayTest {
 protected:
  static Pixels shown(Picture picture) {
    return shownBy(Visual::plotCIE1931Display, std::move(picture));
  }
  static Pixels empty() { return emptyDisplay(Visual::plotCIE1931Display); }
};

TEST_F(CIE1931Display, IsAsItsRulesPixelByPixel) {
  expectEveryPictureAsIn(qatest::referenceCIE1931, Visual::plotCIE1931Display);
}

TEST_F(CIE1931Display, HasATriangleWithAGridOfTenths) {
  const Pixels canvas = empty();
  EXPECT_EQ(canvas.width, 256);
  EXPECT_EQ(canvas.height, 256);
  // The corner, the ends of both legs, grid points, the diagonal: 120 + 30 = 150.
  for (const Place& place :
       {Place{53, 203}, Place{53 + 120, 203}, Place{53, 203 - 135}, Place{53 + 15, 203 - 7},
        Place{53 + 7, 203 - 15}, Place{53 + 120, 203 - 30}, Place{53 + 71, 203 - 79}}) {
    EXPECT_EQ(canvas.at(place.x, place.y), grey(100)) << place;
  }
  // Beyond the diagonal and the legs, and between the lines.
  for (const Place& place :
       {Place{53 + 120, 203 - 31}, Place{53, 203 - 136}, Place{53 + 121, 203},
        Place{53 + 1, 203 - 1}, Place{53 + 72, 203 - 79}, Place{52, 203}, Place{53, 204}}) {
    EXPECT_EQ(canvas.at(place.x, place.y), kBlack) << place;
  }
}

TEST_F(CIE1931Display, BlackIsAtTheCornerInBlack) {
  const Pixels canvas = shown(rowOf({{16, 128, 128, true}}));
  EXPECT_EQ(canvas.at(53, 203), kBlack);
  EXPECT_EQ(placesThatDiffer(canvas, empty()), (std::vector<Place>{{53, 203}}));
}

TEST_F(CIE1931Display, WhiteIsWhereItsChromaticityIs) {
  // R = G = B = 255. X = 255 * (172479921 + 230070000) / 1437864921 = 255 * 0.27996,
  // Y = 255 * (95685000 - 46979193) / 479288307 = 255 * 0.10162, and the sum with B itself is
  // 255 * 1.38158. So x = 0.20264 and y = 0.07355, that is 30.4 columns and 11.03 rows: 83.4,
  // 191.97.
  const Pixels canvas = shown(rowOf({{235, 128, 128, true}}));
  EXPECT_EQ(canvas.at(83, 191), kWhite);
  EXPECT_EQ(placesThatDiffer(canvas, empty()), (std::vector<Place>{{83, 191}}));
}

TEST_F(CIE1931Display, BelowBlackIsAtTheCorner) {
  // A negative sum is as good as none.
  EXPECT_EQ(placesThatDiffer(shown(rowOf({{1, 128, 128, true}})), empty()),
            (std::vector<Place>{{53, 203}}));
}

TEST_F(CIE1931Display, PointsLieOverTheGraticule) {
  // At the corner, which is grey without.
  EXPECT_EQ(empty().at(53, 203), grey(100));
  EXPECT_EQ(shown(rowOf({{16, 128, 128, true}})).at(53, 203), kBlack);
}

TEST_F(CIE1931Display, TheLastPixelOfAPlaceStays) {
  // All greys have the chromaticity of white. (81 - 16) * 1.16438 = 75.7.
  EXPECT_EQ(shown(rowOf({{235, 128, 128, true}, {81, 128, 128, true}})).at(83, 191), grey(75));
  EXPECT_EQ(shown(rowOf({{81, 128, 128, true}, {235, 128, 128, true}})).at(83, 191), kWhite);
}

TEST_F(CIE1931Display, ColoursOutsideTheCanvasAreLeftOut) {
  // R = 127 * 1.596 = 202.7, G = 30 * 0.392 - 127 * 0.813 = -91.5, B = -30 * 2.017 = -60.5. The sum
  // is small, 0.334 * 202.7 - 0.026 * 91.5 - 1.022 * 60.5 = 3.4, and X is 50: some 2200 columns.
  const auto outside = qatest::referenceCIE1931Point(16, 98, 255);
  ASSERT_GT(outside.place.x, 256);
  EXPECT_EQ(difference(shown(rowOf({{16, 98, 255, true}})), empty()), "");
}

class CIE1931DisplayPoint : public testing::Test {
 protected:
  static void plot(IplImage* canvas, float y, float u, float v, int originX, int originY, int scale,
                   int rowLimit, int columnLimit) {
    Visual::plotCIE1931DisplayPoint({canvas}, y, u, v, originX, originY, scale, rowLimit,
                                    columnLimit);
  }

  /// Where a grey of 235, whose chromaticity is (0.20264, 0.07355), is painted on a black canvas.
  static std::vector<Place> placesOfWhite(int width, int height, int originX, int originY,
                                          int scale, int rowLimit, int columnLimit) {
    const UniqueImage canvas = plainCanvas(width, height);
    plot(canvas.get(), 235, 128, 128, originX, originY, scale, rowLimit, columnLimit);
    return placesThatDiffer(pixelsOf(*canvas), pixelsOf(*plainCanvas(width, height)));
  }
};

TEST_F(CIE1931DisplayPoint, IsAsItsRulesForEveryKindOfColour) {
  for (int y = 0; y < 256; y += 51) {
    for (int u = 0; u < 256; u += 51) {
      for (int v = 0; v < 256; v += 51) {
        const auto luma = static_cast<float>(y);
        const auto cb = static_cast<float>(u);
        const auto cr = static_cast<float>(v);
        const UniqueImage canvas = plainCanvas(256, 256, 7);
        plot(canvas.get(), luma, cb, cr, 53, 203, 150, 256, 256);
        const auto [place, colour] = qatest::referenceCIE1931Point(luma, cb, cr);
        const auto places =
            placesThatDiffer(pixelsOf(*canvas), pixelsOf(*plainCanvas(256, 256, 7)));
        const bool inside = 0 <= place.x && place.x < 256 && 0 <= place.y && place.y < 256;
        ASSERT_EQ(places, inside ? std::vector<Place>{place} : std::vector<Place>{})
            << y << ", " << u << ", " << v;
        if (inside) {
          ASSERT_EQ(pixelsOf(*canvas).at(place.x, place.y), colour) << y << ", " << u << ", " << v;
        }
      }
    }
  }
}

TEST_F(CIE1931DisplayPoint, TakesOriginAndScale) {
  // 0.20264 * 1000 = 202.6 to the right, 0.07355 * 1000 = 73.55 up: 299.45.
  EXPECT_EQ(placesOfWhite(400, 400, 10, 373, 1000, 400, 400), (std::vector<Place>{{212, 299}}));
}

TEST_F(CIE1931DisplayPoint, LeavesOutWhatIsOutsideOfTheLimits) {
  EXPECT_EQ(placesOfWhite(256, 256, 53, 203, 150, 192, 84), (std::vector<Place>{{83, 191}}));
  EXPECT_TRUE(placesOfWhite(256, 256, 53, 203, 150, 191, 84).empty()) << "rows are limited";
  EXPECT_TRUE(placesOfWhite(256, 256, 53, 203, 150, 192, 83).empty()) << "columns are limited";
  EXPECT_TRUE(placesOfWhite(256, 256, 53, 203, 150, 0, 0).empty());
  EXPECT_TRUE(placesOfWhite(256, 256, 53, 203, 150, -5, -5).empty());
}

TEST_F(CIE1931DisplayPoint, TruncatesTowardTheFirstColumnAndRow) {
  // -31 + 30.4 = -0.6 and 11 - 11.03 = -0.03 are both 0; -32 + 30.4 = -1.6 is -1.
  EXPECT_EQ(placesOfWhite(20, 20, -31, 11, 150, 20, 20), (std::vector<Place>{{0, 0}}));
  EXPECT_TRUE(placesOfWhite(20, 20, -32, 11, 150, 20, 20).empty());
  EXPECT_TRUE(placesOfWhite(20, 20, -31, 10, 150, 20, 20).empty());
}

TEST_F(CIE1931DisplayPoint, NeverPaintsOutsideTheCanvas) {
  constexpr int kMost = std::numeric_limits<int>::max();
  EXPECT_EQ(placesOfWhite(84, 192, 53, 203, 150, kMost, kMost), (std::vector<Place>{{83, 191}}));
  EXPECT_TRUE(placesOfWhite(83, 192, 53, 203, 150, kMost, kMost).empty());
  EXPECT_TRUE(placesOfWhite(84, 191, 53, 203, 150, kMost, kMost).empty());
}

TEST_F(CIE1931DisplayPoint, AcceptsAnyNumbers) {
  constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  constexpr float kHuge = std::numeric_limits<float>::max();
  constexpr int kMost = std::numeric_limits<int>::max();
  constexpr int kLeast = std::numeric_limits<int>::min();
  for (const float y : {16.0F, kNaN, kInfinity, -kInfinity, kHuge, -kHuge}) {
    for (const float chroma : {128.0F, kNaN, kInfinity, -kInfinity, kHuge, -kHuge}) {
      for (const int origin : {0, 8, kMost, kLeast}) {
        for (const int scale : {0, 150, kMost, kLeast}) {
          const UniqueImage canvas = plainCanvas(16, 16, 7);
          plot(canvas.get(), y, chroma, 128.0F, origin, origin, scale, kMost, kMost);
          EXPECT_LE(placesThatDiffer(pixelsOf(*canvas), pixelsOf(*plainCanvas(16, 16, 7))).size(),
                    1U);
        }
      }
    }
  }
}

TEST_F(CIE1931DisplayPoint, ColoursBeyondAllNumbersAreClamped) {
  // R, G and B are as large as can be and equal: the chromaticity is that of white.
  const UniqueImage canvas = plainCanvas(256, 256);
  plot(canvas.get(), 1e30F, 128, 128, 53, 203, 150, 256, 256);
  EXPECT_EQ(pixelsOf(*canvas).at(83, 191), kWhite);
  // No light at all: at the origin, in black.
  const UniqueImage dark = plainCanvas(256, 256, 7);
  plot(dark.get(), -1e30F, 128, 128, 53, 203, 150, 256, 256);
  EXPECT_EQ(pixelsOf(*dark).at(53, 203), kBlack);
}

TEST_F(CIE1931DisplayPoint, WithoutACanvasNothingHappens) {
  plot(nullptr, 235, 128, 128, 53, 203, 150, 256, 256);
  SUCCEED();
}

TEST_F(CIE1931DisplayPoint, LeavesTheCanvasToItsOwner) {
  qatest::clearOpenCV();
  const UniqueImage canvas = plainCanvas(256, 256);
  plot(canvas.get(), 235, 128, 128, 53, 203, 150, 256, 256);
  EXPECT_EQ(qatest::openCVCalls().imagesReleased, 0);
}

}  // namespace
