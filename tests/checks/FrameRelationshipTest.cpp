#include "checks/video/FrameRelationship.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "checks/TestImages.h"
#include "visual/OpenCVDouble.h"

namespace {

using namespace qatest;

UniqueImage plainGrey(int value, int width = 10, int height = 4) {
  return imageOf(width, height, 1, [=](int, int) { return value; });
}

float relation(const UniqueImage& middle, const UniqueImage& before, const UniqueImage& after) {
  return getFrameRelationship(middle.get(), before.get(), after.get());
}

/// The definition. `Sum` is the type that is added up in; `byColumns` adds column after column.
template <typename Sum>
float referenceRelation(const IplImage& middle, const IplImage& before, const IplImage& after,
                        bool byColumns = false) {
  const int pixels = middle.width * middle.height;
  Sum sum = 0;
  for (int i = 0; i < pixels; ++i) {
    const int x = byColumns ? i / middle.height : i % middle.width;
    const int y = byColumns ? i % middle.height : i / middle.width;
    const int neighbours = byteAt(before, x, y) + byteAt(after, x, y);
    if (neighbours != 0) {
      sum += static_cast<Sum>(byteAt(middle, x, y)) / static_cast<Sum>(neighbours);
    }
  }
  return static_cast<float>(sum / static_cast<Sum>(pixels));
}

class FrameRelationship : public testing::Test {
 protected:
  FrameRelationship() { clearOpenCV(); }
};

TEST_F(FrameRelationship, OfAStillSceneIsAHalf) {
  for (int value = 1; value < 256; ++value) {
    const UniqueImage still = plainGrey(value);
    EXPECT_EQ(relation(still, still, still), 0.5F) << value;
  }
}

TEST_F(FrameRelationship, IsTheShareOfTheNeighboursSum) {
  EXPECT_EQ(relation(plainGrey(60), plainGrey(30), plainGrey(90)), 0.5F);
  EXPECT_EQ(relation(plainGrey(60), plainGrey(10), plainGrey(5)), 4.0F);
  EXPECT_EQ(relation(plainGrey(30), plainGrey(60), plainGrey(60)), 0.25F);
  EXPECT_EQ(relation(plainGrey(255), plainGrey(0), plainGrey(1)), 255.0F) << "the largest";
  EXPECT_EQ(relation(plainGrey(255), plainGrey(1), plainGrey(0)), 255.0F);
  EXPECT_EQ(relation(plainGrey(0), plainGrey(60), plainGrey(60)), 0.0F) << "the smallest";
  EXPECT_EQ(relation(plainGrey(255), plainGrey(255), plainGrey(255)), 0.5F) << "510 does not wrap";
}

TEST_F(FrameRelationship, PixelsWithDarkNeighboursAddNothingButCount) {
  EXPECT_EQ(relation(plainGrey(200), plainGrey(0), plainGrey(0)), 0.0F);
  // One pixel in four gives 200 / (100 + 100).
  const UniqueImage quarter = imageOf(10, 4, 1, [](int, int y) { return y == 2 ? 100 : 0; });
  EXPECT_EQ(relation(plainGrey(200), quarter, quarter), 0.25F);
}

TEST_F(FrameRelationship, IsAddedUpRowByRowInSinglePrecision) {
  bool differsFromDouble = false;
  bool differsByColumns = false;
  for (uint32_t seed = 1; seed <= 20; ++seed) {
    Noise noise(seed);
    const UniqueImage middle = noise.image(23, 17, 1);
    const UniqueImage before = noise.image(23, 17, 1);
    const UniqueImage after = noise.image(23, 17, 1);
    const float expected = referenceRelation<float>(*middle, *before, *after);
    EXPECT_EQ(relation(middle, before, after), expected) << seed;
    differsFromDouble |= referenceRelation<double>(*middle, *before, *after) != expected;
    differsByColumns |= referenceRelation<float>(*middle, *before, *after, true) != expected;
  }
  EXPECT_TRUE(differsFromDouble) << "the images do not tell";
  EXPECT_TRUE(differsByColumns) << "the images do not tell";
}

TEST_F(FrameRelationship, IsOfEverySizeOfPicture) {
  for (int width = 1; width <= 24; ++width) {
    for (const int height : {1, 2, 5}) {
      SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height));
      Noise noise(static_cast<uint32_t>(width));
      const UniqueImage middle = noise.image(width, height, 1);
      const UniqueImage before = noise.image(width, height, 1);
      const UniqueImage after = noise.image(width, height, 1);
      EXPECT_EQ(relation(middle, before, after),
                referenceRelation<float>(*middle, *before, *after));
    }
  }
}

TEST_F(FrameRelationship, OfNoPixelsIsNotANumber) {
  const UniqueImage none = plainGrey(0, 0, 0);
  EXPECT_TRUE(std::isnan(relation(none, none, none))) << "nothing divided by nothing";
}

TEST_F(FrameRelationship, WithoutThreeGreyImagesOfOneSizeIsMinusOne) {
  const UniqueImage image = plainGrey(100);
  const auto expectNone = [&](IplImage* other) {
    EXPECT_EQ(getFrameRelationship(other, image.get(), image.get()), -1.0F);
    EXPECT_EQ(getFrameRelationship(image.get(), other, image.get()), -1.0F);
    EXPECT_EQ(getFrameRelationship(image.get(), image.get(), other), -1.0F);
  };
  expectNone(nullptr);
  expectNone(plainGrey(100, 11, 4).get());
  expectNone(plainGrey(100, 10, 5).get());
  expectNone(plainGrey(100, 4, 10).get());
  expectNone(imageOf(10, 4, 3, [](int, int) { return 100; }).get());
  for (const UniqueImage& other : imagesWithoutBytes(10, 4, 1)) {
    expectNone(other.get());
  }
  EXPECT_EQ(getFrameRelationship(nullptr, nullptr, nullptr), -1.0F);
}

TEST_F(FrameRelationship, LeavesImagesAloneAndMakesNone) {
  const UniqueImage middle = Noise(1).image(9, 5, 1);
  const UniqueImage other = Noise(2).image(9, 5, 1);
  const std::vector<uint8_t> before[2] = {bytesOf(*middle), bytesOf(*other)};
  relation(middle, other, other);
  EXPECT_EQ(bytesOf(*middle), before[0]);
  EXPECT_EQ(bytesOf(*other), before[1]);
  EXPECT_EQ(openCVCalls().imagesMade, 2) << "the test's own";
}

}  // namespace
