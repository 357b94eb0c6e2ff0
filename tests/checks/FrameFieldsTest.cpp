#include "checks/video/FrameFields.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc/imgproc_c.h>

#include <algorithm>
#include <cmath>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "checks/TestImages.h"
#include "visual/OpenCVDouble.h"

namespace {

using namespace qatest;

class FrameFieldsTest : public testing::Test {
 protected:
  FrameFieldsTest() { clearOpenCV(); }

  static void expectNoFields(IplImage* frame) {
    const UniqueImage stale = imageOf(1, 1, 1, [](int, int) { return 0; });
    IplImage* top = stale.get();
    IplImage* bottom = stale.get();
    const int made = openCVCalls().imagesMade;
    FrameFields::split(frame, &top, &bottom);
    EXPECT_EQ(top, nullptr);
    EXPECT_EQ(bottom, nullptr);
    EXPECT_EQ(openCVCalls().imagesMade, made);
  }
};

TEST_F(FrameFieldsTest, HaveTheEvenAndTheOddRowsButNotTheLastOfAnOddNumber) {
  for (int width = 0; width <= 24; ++width) {
    for (const int height : {0, 1, 2, 3, 4, 5, 16, 17}) {
      SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height));
      const UniqueImage frame = Noise(5).image(width, height, 3);
      const std::vector<uint8_t> before = bytesOf(*frame);
      const OpenCVCalls calls = openCVCalls();
      IplImage* fields[2] = {nullptr, nullptr};
      FrameFields::split(frame.get(), &fields[0], &fields[1]);
      const UniqueImage owned[2] = {UniqueImage(fields[0]), UniqueImage(fields[1])};
      EXPECT_EQ(openCVCalls().imagesMade, calls.imagesMade + 2);
      EXPECT_EQ(openCVCalls().imagesReleased, calls.imagesReleased);
      EXPECT_EQ(bytesOf(*frame), before);
      for (int parity = 0; parity < 2; ++parity) {
        const IplImage& field = *fields[parity];
        ASSERT_EQ(field.width, width);
        ASSERT_EQ(field.height, height / 2);
        ASSERT_EQ(field.nChannels, 3);
        ASSERT_EQ(field.depth, IPL_DEPTH_8U);
        for (int y = 0; y < field.height; ++y) {
          for (int x = 0; x < 3 * width; ++x) {
            ASSERT_EQ(byteAt(field, x, y), byteAt(*frame, x, 2 * y + parity)) << x << ", " << y;
          }
        }
      }
    }
  }
}

TEST_F(FrameFieldsTest, OfWhatIsNoColourPictureAreNone) {
  expectNoFields(nullptr);
  expectNoFields(Noise(1).image(8, 8, 1).get());
  expectNoFields(Noise(1).image(8, 8, 4).get());
  for (const UniqueImage& other : imagesWithoutBytes(8, 8, 3)) {
    expectNoFields(other.get());
  }
}

TEST_F(FrameFieldsTest, WithoutAPlaceForEachAreNotMade) {
  const UniqueImage frame = Noise(1).image(8, 8, 3);
  IplImage* field = frame.get();
  FrameFields::split(frame.get(), &field, nullptr);
  FrameFields::split(frame.get(), nullptr, &field);
  EXPECT_EQ(field, frame.get());
  EXPECT_EQ(openCVCalls().imagesMade, 1) << "the test's own";
}

TEST_F(FrameFieldsTest, WithoutMemoryAreNoneAndNothingIsLost) {
  const UniqueImage frame = Noise(1).image(8, 8, 3);
  IplImage* top = frame.get();
  IplImage* bottom = frame.get();
  failToMakeImages(1);
  EXPECT_THROW(FrameFields::split(frame.get(), &top, &bottom), std::bad_alloc);
  EXPECT_EQ(top, nullptr);
  EXPECT_EQ(bottom, nullptr);
  EXPECT_EQ(openCVCalls().imagesMade, 1) << "the test's own";
}

TEST_F(FrameFieldsTest, ReleaseTheThreeImages) {
  {
    FrameFields fields;
    EXPECT_EQ(fields.top, nullptr);
    EXPECT_EQ(fields.bottom, nullptr);
    EXPECT_EQ(fields.frame, nullptr);
    fields.frame = Noise(1).image(8, 8, 3).release();
    FrameFields::split(fields.frame, &fields.top, &fields.bottom);
    EXPECT_EQ(openCVCalls().imagesMade, 3);
    EXPECT_EQ(openCVCalls().imagesReleased, 0);
  }
  EXPECT_EQ(openCVCalls().imagesReleased, 3);
  { const FrameFields empty; }
}

// Comparison.

/// 10 x 10 grey pixels, the first of them of one value, the others of another.
UniqueImage partlyGrey(int count, int value, int others) {
  return imageOf(10, 10, 1, [=](int x, int y) { return 10 * y + x < count ? value : others; });
}

/// Whether an image of a hundred pixels of which the first are brighter is taken for the other.
bool isSameWithBrighter(int count, float threshold) {
  return compareFields(partlyGrey(count, 101, 100).get(), partlyGrey(0, 0, 100).get(), threshold);
}

UniqueImage plainColour(int first, int second, int third) {
  const int bytes[3] = {first, second, third};
  return imageOf(6, 4, 3, [&](int x, int) { return bytes[x % 3]; });
}

/// The definition, by OpenCV's own functions.
bool referenceComparison(const IplImage& a, const IplImage& b, float threshold) {
  if (a.width != b.width || a.height != b.height) {
    return false;
  }
  const auto greyOf = [](const IplImage& image) {
    UniqueImage grey(cvCreateImage(cvSize(image.width, image.height), IPL_DEPTH_8U, 1));
    cvCvtColor(&image, grey.get(), CV_RGB2GRAY);
    return grey;
  };
  const UniqueImage greyA = greyOf(a);
  const UniqueImage greyB = greyOf(b);
  const UniqueImage differences = greyOf(a);
  cvSub(greyA.get(), greyB.get(), differences.get());
  float count = 0.0F;
  for (int y = 0; y < a.height; ++y) {
    for (int x = 0; x < b.width; ++x) {
      count += byteAt(*differences, x, y) != 0 ? 1.0F : 0.0F;
    }
  }
  return 1.0F - count / static_cast<float>(a.height * a.width) > threshold;
}

class CompareFields : public FrameFieldsTest {};

TEST_F(CompareFields, OnePixelInAHundredIsOneTooMany) {
  EXPECT_TRUE(isSameWithBrighter(0, 0.99F));
  EXPECT_FALSE(isSameWithBrighter(1, 0.99F)) << "not more than 0.99 of them are alike";
  EXPECT_TRUE(isSameWithBrighter(1, 0.98F));
}

TEST_F(CompareFields, ThresholdMustBeExceeded) {
  EXPECT_FALSE(isSameWithBrighter(25, 0.75F)) << "1 - 0.25, without rounding";
  EXPECT_TRUE(isSameWithBrighter(25, std::nextafter(0.75F, 0.0F)));
  EXPECT_FALSE(isSameWithBrighter(0, 1.0F));
  EXPECT_TRUE(isSameWithBrighter(0, std::nextafter(1.0F, 0.0F)));
  EXPECT_FALSE(isSameWithBrighter(100, 0.0F));
  EXPECT_TRUE(isSameWithBrighter(100, -0.01F));
  EXPECT_FALSE(isSameWithBrighter(0, std::nanf("")));
}

TEST_F(CompareFields, SharesAreThoseOfSinglePrecision) {
  ASSERT_FALSE(1.0F - 10.0F / 100.0F > 0.9F);
  ASSERT_TRUE(1.0 - 10.0 / 100.0 > static_cast<double>(0.9F)) << "double precision would tell";
  EXPECT_FALSE(isSameWithBrighter(10, 0.9F));
  for (int count = 0; count <= 100; ++count) {
    for (int percent = 0; percent <= 100; ++percent) {
      const float threshold = static_cast<float>(percent) / 100.0F;
      const float fraction = static_cast<float>(count) / 100.0F;
      ASSERT_EQ(isSameWithBrighter(count, threshold), 1.0F - fraction > threshold)
          << count << " of 100, " << threshold;
    }
  }
}

TEST_F(CompareFields, OnlyPixelsBrighterInTheFirstCount) {
  const UniqueImage dark = plainColour(0, 0, 0);
  const UniqueImage bright = plainColour(255, 255, 255);
  EXPECT_TRUE(compareFields(dark.get(), bright.get(), 0.99F));
  EXPECT_FALSE(compareFields(bright.get(), dark.get(), 0.99F));
  EXPECT_TRUE(compareFields(bright.get(), bright.get(), 0.99F));
}

TEST_F(CompareFields, GreyWeighsTheFirstByteAsRedAndTheThirdAsBlue) {
  // 255 in the first byte gives 0.299 x 255 = 76, in the second 150, in the third 29.
  const UniqueImage first = plainColour(255, 0, 0);
  const UniqueImage second = plainColour(0, 255, 0);
  const UniqueImage third = plainColour(0, 0, 255);
  EXPECT_TRUE(compareFields(third.get(), first.get(), 0.99F));
  EXPECT_FALSE(compareFields(first.get(), third.get(), 0.99F));
  EXPECT_TRUE(compareFields(first.get(), second.get(), 0.99F));
  EXPECT_FALSE(compareFields(second.get(), first.get(), 0.99F));
  for (const auto& [image, level] :
       {std::pair{first.get(), 76}, {second.get(), 150}, {third.get(), 29}}) {
    const UniqueImage same = imageOf(6, 4, 1, [&](int, int) { return level; });
    const UniqueImage darker = imageOf(6, 4, 1, [&](int, int) { return level - 1; });
    EXPECT_TRUE(compareFields(image, same.get(), 0.99F)) << level;
    EXPECT_FALSE(compareFields(image, darker.get(), 0.99F)) << level;
    EXPECT_TRUE(compareFields(same.get(), image, 0.99F)) << level;
  }
}

TEST_F(CompareFields, GivesWhatTheDefinitionGives) {
  Noise noise(3);
  int same = 0;
  for (int width = 1; width <= 24; ++width) {
    for (const int height : {1, 2, 3, 8, 17}) {
      SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height));
      const UniqueImage a = noise.image(width, height, 3);
      // So close to the other that many grey values are equal.
      const UniqueImage b = imageOf(width, height, 3, [&](int x, int y) {
        return std::min(255, byteAt(*a, x, y) + noise.below(3) / 2);
      });
      for (const float threshold : {0.25F, 0.5F, 0.75F, 0.99F}) {
        EXPECT_EQ(compareFields(a.get(), b.get(), threshold),
                  referenceComparison(*a, *b, threshold));
        const bool reverse = referenceComparison(*b, *a, threshold);
        EXPECT_EQ(compareFields(b.get(), a.get(), threshold), reverse);
        same += reverse ? 1 : 0;
      }
    }
  }
  EXPECT_GT(same, 40) << "of 480";
  EXPECT_LT(same, 440) << "of 480";
}

TEST_F(CompareFields, SizesMustBeEqual) {
  const UniqueImage image = Noise(1).image(8, 6, 3);
  for (const CvSize size : {cvSize(7, 6), cvSize(9, 6), cvSize(8, 5), cvSize(8, 7), cvSize(6, 8)}) {
    const UniqueImage other = imageOf(size.width, size.height, 3, [](int, int) { return 0; });
    EXPECT_FALSE(compareFields(image.get(), other.get(), -1.0F));
    EXPECT_FALSE(compareFields(other.get(), image.get(), -1.0F));
  }
}

TEST_F(CompareFields, ImagesWithoutPixelsOrOfOtherKindsAreNeverTheSame) {
  const UniqueImage image = Noise(1).image(8, 6, 3);
  ASSERT_TRUE(compareFields(image.get(), image.get(), 0.99F));
  const auto expectDifferent = [&](IplImage* other) {
    EXPECT_FALSE(compareFields(image.get(), other, -1.0F));
    EXPECT_FALSE(compareFields(other, image.get(), -1.0F));
    EXPECT_FALSE(compareFields(other, other, -1.0F));
  };
  expectDifferent(nullptr);
  expectDifferent(Noise(1).image(8, 6, 4).get());
  expectDifferent(Noise(1).image(0, 6, 3).get());
  expectDifferent(Noise(1).image(8, 0, 3).get());
  expectDifferent(Noise(1).image(0, 0, 1).get());
  for (const int channels : {1, 3}) {
    for (const UniqueImage& other : imagesWithoutBytes(8, 6, channels)) {
      expectDifferent(other.get());
    }
  }
}

TEST_F(CompareFields, LeavesImagesAloneAndKeepsNone) {
  const UniqueImage a = Noise(1).image(7, 6, 3);
  const UniqueImage b = Noise(2).image(7, 6, 3);
  const std::vector<uint8_t> before[2] = {bytesOf(*a), bytesOf(*b)};
  const OpenCVCalls calls = openCVCalls();
  compareFields(a.get(), b.get(), 0.99F);
  compareFields(a.get(), a.get(), 0.99F);
  EXPECT_EQ(openCVCalls().imagesMade - calls.imagesMade,
            openCVCalls().imagesReleased - calls.imagesReleased);
  EXPECT_EQ(bytesOf(*a), before[0]);
  EXPECT_EQ(bytesOf(*b), before[1]);
}

}  // namespace
