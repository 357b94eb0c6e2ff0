#include <limits>
#include <utility>

#include "visual/DisplayTest.h"

namespace {

using qatest::Bgr;
using qatest::grey;
using qatest::kBlack;
using qatest::kWhite;
using qatest::Pixels;

using Pair = std::pair<int, int>;

class ColourSpaceDisplay : public qatest::DisplayTest {
 protected:
  static Pixels shown(Pair red, Pair green, Pair blue, int level) {
    return shownBy([&] { Visual::plotImageColourSpace(red, green, blue, level, "the window"); });
  }
};

constexpr Bgr kBackground = grey(12);

TEST_F(ColourSpaceDisplay, StacksBlackColourAndWhite) {
  const Pixels canvas = shown({100, 30}, {200, 50}, {255, 0}, 64);
  EXPECT_EQ(canvas.width, 105);
  EXPECT_EQ(canvas.height, 266);
  // Red: black down to row 260 from above row 230, red from above 160, white from row 6 to 130.
  EXPECT_EQ(canvas.at(5, 260), kBlack);
  EXPECT_EQ(canvas.at(5, 231), kBlack);
  EXPECT_EQ(canvas.at(24, 230), (Bgr{0, 0, 255}));
  EXPECT_EQ(canvas.at(24, 161), (Bgr{0, 0, 255}));
  EXPECT_EQ(canvas.at(24, 160), kBackground);
  EXPECT_EQ(canvas.at(24, 131), kBackground);
  EXPECT_EQ(canvas.at(24, 130), kWhite);
  EXPECT_EQ(canvas.at(24, 6), kWhite);
  EXPECT_EQ(canvas.at(24, 5), kBackground);
  EXPECT_EQ(canvas.at(24, 261), kBackground);
  EXPECT_EQ(canvas.at(4, 200), kBackground);
  EXPECT_EQ(canvas.at(25, 200), kBackground);
  EXPECT_EQ(canvas.at(30, 200), (Bgr{0, 255, 0}));
  EXPECT_EQ(canvas.at(49, 61), (Bgr{0, 255, 0}));
  EXPECT_EQ(canvas.at(55, 260), (Bgr{255, 0, 0}));
  EXPECT_EQ(canvas.at(74, 6), (Bgr{255, 0, 0}));
  // 64 rows of level: 197 to 260.
  EXPECT_EQ(canvas.at(80, 260), kWhite);
  EXPECT_EQ(canvas.at(99, 197), kWhite);
  EXPECT_EQ(canvas.at(99, 196), kBackground);
  EXPECT_EQ(canvas.at(100, 250), kBackground);
}

TEST_F(ColourSpaceDisplay, IsAsItsRulesForAnyPairsInAndAroundTheCanvas) {
  const std::vector<int> counts{-20, -6, -5, -1, 0, 1, 12, 128, 254, 255, 260, 261, 300};
  for (const int first : counts) {
    for (const int second : counts) {
      const Pair pair{first, second};
      const Pair swapped{second, first};
      EXPECT_EQ(difference(shown(pair, swapped, {255, second}, first),
                           qatest::referenceColourSpace(pair, swapped, {255, second}, first)),
                "")
          << first << ", " << second;
    }
  }
}

TEST_F(ColourSpaceDisplay, ExtremePairsFillWhatIsOnTheCanvas) {
  constexpr int kMost = std::numeric_limits<int>::max();
  constexpr int kLeast = std::numeric_limits<int>::min();
  const Pixels most = shown({kMost, kMost}, {kMost, 0}, {0, kMost}, kMost);
  EXPECT_EQ(most.at(10, 0), kBlack);
  EXPECT_EQ(most.at(10, 260), kBlack);
  EXPECT_EQ(most.at(10, 261), kBackground);
  EXPECT_EQ(most.at(40, 0), (Bgr{0, 255, 0}));
  EXPECT_EQ(most.at(40, 260), (Bgr{0, 255, 0}));
  EXPECT_EQ(most.at(60, 100), kBlack);
  EXPECT_EQ(most.at(90, 0), kWhite);
  const Pixels least = shown({kLeast, kLeast}, {kLeast, kMost}, {kMost, kLeast}, kLeast);
  EXPECT_EQ(least.at(10, 0), kBackground);
  EXPECT_EQ(least.at(10, 6), kWhite);
  EXPECT_EQ(least.at(10, 265), kWhite);
  // The rows from 261 on are first the colour's, then white: 260 - 2147483647 + 2147483648 = 261.
  EXPECT_EQ(least.at(60, 265), (Bgr{255, 0, 0}));
  EXPECT_EQ(least.at(60, 261), kWhite);
  EXPECT_EQ(least.at(60, 5), (Bgr{255, 0, 0}));
  EXPECT_EQ(least.at(90, 250), kBackground);
}

TEST_F(ColourSpaceDisplay, MemoryThatIsMissingIsToldAtOnce) {
  qatest::failToMakeImages(1);
  EXPECT_ANY_THROW(Visual::plotImageColourSpace({1, 1}, {1, 1}, {1, 1}, 1, "the window"));
  EXPECT_TRUE(qatest::openCVCalls().shown.empty());
}

TEST_F(ColourSpaceDisplay, AnImageThatIsNotThereIsAskedForAgain) {
  qatest::failToMakeImages(0, 3);
  Visual::plotImageColourSpace({1, 1}, {1, 1}, {1, 1}, 1, "the window");
  EXPECT_EQ(qatest::openCVCalls().shown.size(), 1U);
}

}  // namespace
