#include <gtest/gtest.h>
#include <opencv2/imgproc/imgproc_c.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <utility>
#include <vector>

#include "checks/video/FieldComparison.h"
#include "checks/video/RelationSum.h"
#include "checks/video/VerticalChanges.h"
#include "media/GreyValues.h"
#include "support/InstructionSets.h"

namespace {

using qatest::withEachInstructionSet;
using qatester::addRelations;
using qatester::addRelationsOneByOne;
using qatester::changeGradient;
using qatester::countBrighter;
using qatester::countBrighterOneByOne;
using qatester::Field;
using qatester::isSameField;
using qatester::percentOfPixels;
using qatester::replaceGradient;
using qatester::replaceGradientOneByOne;
using qatester::toGrey;
using qatester::toGreyOneByOne;

using Bytes = std::vector<uint8_t>;

/// Around the lengths of vectors, and rows as pictures have them.
const std::vector<std::size_t> kLengths{0,  1,  2,  3,  7,  8,   9,   15,  16,  17,  31,  32,  33,
                                        63, 64, 65, 95, 96, 127, 128, 129, 255, 256, 720, 1920};

Bytes noise(std::mt19937& random, std::size_t count) {
  Bytes bytes(count);
  std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<uint8_t>(random()); });
  return bytes;
}

/// Each value one of a few.
Bytes someOf(std::mt19937& random, std::size_t count, const Bytes& few) {
  Bytes bytes(count);
  std::generate(bytes.begin(), bytes.end(), [&] { return few[random() % few.size()]; });
  return bytes;
}

/// Within a few code values of another.
Bytes near(std::mt19937& random, const Bytes& other, int most) {
  Bytes bytes(other);
  for (uint8_t& value : bytes) {
    const int change = static_cast<int>(random() % static_cast<unsigned>(2 * most + 1)) - most;
    value = static_cast<uint8_t>(std::clamp(value + change, 0, 255));
  }
  return bytes;
}

// Grey

/// Grey as the installed OpenCV makes it of one row.
Bytes greyByOpenCV(Bytes& pixels) {
  Bytes grey(pixels.size() / 3);
  const auto header = [](Bytes& bytes, std::size_t columns, int channels) {
    IplImage image;
    cvInitImageHeader(&image, cvSize(static_cast<int>(columns), 1), IPL_DEPTH_8U, channels);
    cvSetData(&image, bytes.data(), static_cast<int>(bytes.size()));
    return image;
  };
  IplImage in = header(pixels, grey.size(), 3);
  IplImage out = header(grey, grey.size(), 1);
  cvCvtColor(&in, &out, CV_RGB2GRAY);
  return grey;
}

TEST(GreyValues, AreThoseOfOpenCVForEveryColour) {
  Bytes pixels(std::size_t{3} << 16U);
  Bytes grey(std::size_t{1} << 16U);
  for (unsigned first = 0; first < 256; ++first) {
    for (std::size_t i = 0; i < grey.size(); ++i) {
      pixels[3 * i] = static_cast<uint8_t>(first);
      pixels[3 * i + 1] = static_cast<uint8_t>(i >> 8U);
      pixels[3 * i + 2] = static_cast<uint8_t>(i);
    }
    toGrey(pixels.data(), grey.size(), grey.data());
    ASSERT_EQ(grey, greyByOpenCV(pixels)) << first;
  }
}

TEST(GreyValues, AreThoseOfTheDefinitionWithEveryInstructionSet) {
  std::mt19937 random(1);
  withEachInstructionSet([&] {
    for (const std::size_t count : kLengths) {
      for (const Bytes& few : {Bytes{0, 255}, Bytes{0, 1, 127, 128, 254, 255}}) {
        for (Bytes pixels : {noise(random, 3 * count), someOf(random, 3 * count, few)}) {
          Bytes grey(count + 1, 77);
          Bytes expected(grey);
          toGrey(pixels.data(), count, grey.data());
          for (std::size_t i = 0; i < count; ++i) {
            const int sum =
                9798 * pixels[3 * i] + 19235 * pixels[3 * i + 1] + 3735 * pixels[3 * i + 2];
            expected[i] = static_cast<uint8_t>((sum + 16384) / 32768);
          }
          ASSERT_EQ(grey, expected) << count;  // nothing is written behind the last one
          toGreyOneByOne(pixels.data(), count, grey.data());
          ASSERT_EQ(grey, expected) << count;
        }
      }
    }
  });
}

// Vertical changes

struct Changed {
  int64_t strong = 0;
  Bytes gradient;

  bool operator==(const Changed&) const = default;
};

TEST(VerticalChanges, AreThoseOfTheDefinitionWithEveryInstructionSet) {
  std::mt19937 random(2);
  withEachInstructionSet([&] {
    for (const std::size_t count : kLengths) {
      const Bytes upper = noise(random, count);
      for (const Bytes& lower : {noise(random, count), near(random, upper, 40),
                                 someOf(random, count, {0, 16, 17, 255})}) {
        for (const Bytes& before : {noise(random, count), near(random, Bytes(count, 17), 17),
                                    someOf(random, count, {0, 255})}) {
          Changed expected{0, before};
          for (std::size_t i = 0; i < count; ++i) {
            const int now = std::abs(upper[i] - lower[i]);
            expected.strong += std::abs(now - before[i]) >= 17 ? 1 : 0;
            expected.gradient[i] = static_cast<uint8_t>(now);
          }
          Changed vectors{0, before};
          vectors.strong =
              replaceGradient(upper.data(), lower.data(), count, vectors.gradient.data());
          ASSERT_EQ(vectors, expected) << count;
          Changed plain{0, before};
          plain.strong =
              replaceGradientOneByOne(upper.data(), lower.data(), count, plain.gradient.data());
          ASSERT_EQ(plain, expected) << count;
        }
      }
    }
  });
}

TEST(VerticalChanges, CountBetweenTheMarginsOfEachRow) {
  std::mt19937 random(3);
  for (int width : {1, 2, 9, 10, 11, 19, 20, 21, 22, 30, 64, 101}) {
    for (int rows : {0, 1, 2, 5}) {
      const auto pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(rows);
      const Bytes grey = noise(random, pixels + static_cast<std::size_t>(width));
      const Bytes before = noise(random, pixels);
      Changed expected{0, before};
      for (int y = 0; y < rows; ++y) {
        for (int x = 0; x < width; ++x) {
          const auto at = static_cast<std::size_t>(width * y + x);
          const int now = std::abs(grey[at] - grey[at + static_cast<std::size_t>(width)]);
          const bool strong = std::abs(now - before[at]) >= 17;
          expected.strong += strong && x >= 10 && x < width - 10 ? 1 : 0;
          expected.gradient[at] = static_cast<uint8_t>(now);
        }
      }
      Changed found{0, before};
      found.strong = changeGradient(grey.data(), rows, width, found.gradient.data());
      EXPECT_EQ(found, expected) << width << " x " << rows;
    }
  }
}

TEST(VerticalChanges, PercentIsFormedInSinglePrecisionAndRoundedDown) {
  EXPECT_EQ(percentOfPixels(0, 10, 10), 0);
  EXPECT_EQ(percentOfPixels(100, 10, 10), 100);
  EXPECT_EQ(percentOfPixels(99, 10, 10), 99);
  EXPECT_EQ(percentOfPixels(199, 20, 10), 99);
  EXPECT_EQ(percentOfPixels(0, 0, 10), 0);
  EXPECT_EQ(percentOfPixels(int64_t{1} << 32, 1 << 16, 1 << 16), 100);
  for (int count = 0; count <= 720; ++count) {
    const float share = static_cast<float>(count) / 720.0F;
    EXPECT_EQ(percentOfPixels(count, 36, 20), static_cast<int>(share * 100.0)) << count;
  }
}

// Brighter pixels

TEST(BrighterPixels, AreThoseOfTheDefinitionWithEveryInstructionSet) {
  std::mt19937 random(4);
  withEachInstructionSet([&] {
    for (const std::size_t count : kLengths) {
      const Bytes a = noise(random, count);
      for (const Bytes& b : {noise(random, count), near(random, a, 1), a,
                             someOf(random, count, {0, 127, 128, 255})}) {
        std::size_t expected = 0;
        for (std::size_t i = 0; i < count; ++i) {
          expected += a[i] > b[i] ? 1U : 0U;
        }
        ASSERT_EQ(countBrighter(a.data(), b.data(), count), expected) << count;
        ASSERT_EQ(countBrighterOneByOne(a.data(), b.data(), count), expected) << count;
      }
    }
  });
}

TEST(SameField, StopsWhereTheShareInSinglePrecisionIsNoMoreThanTheThreshold) {
  // Fields of 100 x 10 pixels in every second row of a picture, the other rows being different.
  constexpr int kWidth = 100;
  constexpr int kHeight = 10;
  constexpr std::size_t kPixels = kWidth * kHeight;
  const auto field = [](const Bytes& picture) {
    return Field{picture.data(), std::ptrdiff_t{2} * kWidth, kWidth, kHeight};
  };
  for (const float threshold : {0.99F, 0.5F, 0.0F, -1.0F, 1.0F}) {
    for (std::size_t brighter = 0; brighter <= kPixels; brighter += brighter < 20 ? 1 : 70) {
      Bytes a(2 * kPixels, 200);
      Bytes b(2 * kPixels, 100);
      for (std::size_t i = 0; i < kPixels; ++i) {
        const std::size_t at = i / kWidth * 2 * kWidth + i % kWidth;
        a[at] = i >= kPixels - brighter ? 101 : 100;  // the last ones, so that all rows are seen
      }
      const float share = 1.0F - static_cast<float>(brighter) / static_cast<float>(kPixels);
      EXPECT_EQ(isSameField(field(a), field(b), threshold), share > threshold)
          << brighter << ", " << threshold;
      EXPECT_EQ(isSameField(field(b), field(a), threshold), 1.0F > threshold);  // b is brighter
    }
  }
}

TEST(SameField, NeedsTwoFieldsOfOneSize) {
  const Bytes pixels(100, 5);
  const Field field{pixels.data(), 10, 10, 10};
  EXPECT_TRUE(isSameField(field, field, 0.5F));
  EXPECT_FALSE(isSameField(field, {pixels.data(), 10, 10, 9}, 0.5F));
  EXPECT_FALSE(isSameField(field, {pixels.data(), 10, 9, 10}, 0.5F));
  const Field empty{pixels.data(), 10, 10, 0};
  EXPECT_FALSE(isSameField(empty, empty, -1.0F));
}

// Relations

/// The sum step by step, kept from being reordered.
float sumOfRelations(float sum, const Bytes& middle, const Bytes& before, const Bytes& after) {
  for (std::size_t i = 0; i < middle.size(); ++i) {
    if (before[i] + after[i] != 0) {
      volatile float quotient =
          static_cast<float>(middle[i]) / static_cast<float>(before[i] + after[i]);
      volatile float next = sum + quotient;
      sum = next;
    }
  }
  return sum;
}

void expectSum(float start, const Bytes& middle, const Bytes& before, const Bytes& after) {
  const float expected = sumOfRelations(start, middle, before, after);
  ASSERT_EQ(addRelations(start, middle.data(), before.data(), after.data(), middle.size()),
            expected)
      << "from " << start;
  ASSERT_EQ(addRelationsOneByOne(start, middle.data(), before.data(), after.data(), middle.size()),
            expected);
}

TEST(RelationSum, IsThatOfTheDefinitionWithEveryInstructionSet) {
  std::mt19937 random(5);
  // Where the sum begins: at 0, around powers of two, where vectors begin, and beyond the numbers
  // whose last bit is 1.
  std::vector<float> starts{0.0F, 0.25F, 1000.0F};
  for (int power = 9; power < 30; ++power) {
    const float two = std::ldexp(1.0F, power);
    starts.insert(starts.end(), {std::nextafter(two, 0.0F), two, two * 1.5F});
  }
  withEachInstructionSet([&] {
    for (const std::size_t count : kLengths) {
      const Bytes middle = noise(random, count);
      const std::vector<std::pair<Bytes, Bytes>> neighbours{
          {near(random, middle, 3), near(random, middle, 3)},
          {noise(random, count), noise(random, count)},
          {someOf(random, count, {0, 0, 0, 1}), someOf(random, count, {0, 0, 1, 255})},
          {middle, middle},
          {Bytes(count), Bytes(count)}};
      for (const auto& [before, after] : neighbours) {
        for (const float start : starts) {
          expectSum(start, middle, before, after);
          if (HasFatalFailure()) {
            return;
          }
        }
      }
    }
  });
}

TEST(RelationSum, RoundsQuotientsHalfwayBetweenTwoSumsToTheEvenOne) {
  // Between 2^19 and 2^20 the last bit of a sum is 1/16: 9/32 and 7/32 lie halfway.
  const float start = std::ldexp(1.0F, 19);
  withEachInstructionSet([&] {
    for (std::size_t at = 0; at < 64; ++at) {
      Bytes middle(64, 8);
      Bytes before(64, 64);
      const Bytes after(64, 64);
      middle[at] = 36;
      expectSum(start, middle, before, after);
      expectSum(std::nextafter(start, INFINITY), middle, before, after);
      middle.assign(64, 28);
      expectSum(start, middle, before, after);
      before[at] = 63;
      expectSum(start, middle, before, after);
      if (HasFatalFailure()) {
        return;
      }
    }
  });
}

TEST(RelationSum, IsThatOfTheDefinitionAcrossPowersOfTwo) {
  // Quotients of 255 lead from one to the next within a few blocks.
  const std::size_t count = 4096;
  const Bytes middle(count, 255);
  std::mt19937 random(6);
  withEachInstructionSet([&] {
    for (const float start : {0.0F, 130.0F, 200.0F, 300.0F, 520.0F, 900.0F, 1e5F}) {
      expectSum(start, middle, Bytes(count, 1), Bytes(count));
      for (int value = 130; value < 256; ++value) {
        Bytes lone(64);
        lone[5] = static_cast<uint8_t>(value);
        expectSum(start, lone, Bytes(64, 1), Bytes(64, 1));
        expectSum(start, lone, Bytes(64, 3), Bytes(64));
      }
      expectSum(start, middle, someOf(random, count, {1, 2, 3}), someOf(random, count, {0, 1}));
    }
  });
}

TEST(RelationSum, IsThatOfTheDefinitionOverWholePictures) {
  // Single precision is far from the true sum here, so that only the same order gives the same.
  constexpr std::size_t kPixels = 720 * 576;
  std::mt19937 random(7);
  const Bytes middle = noise(random, kPixels);
  const Bytes before = near(random, middle, 9);
  const Bytes after = near(random, middle, 9);
  double exact = 0.0;
  for (std::size_t i = 0; i < kPixels; ++i) {
    const int neighbours = before[i] + after[i];
    exact += neighbours != 0 ? static_cast<double>(middle[i]) / neighbours : 0.0;
  }
  EXPECT_GT(std::abs(exact - static_cast<double>(sumOfRelations(0.0F, middle, before, after))),
            1.0);
  withEachInstructionSet([&] { expectSum(0.0F, middle, before, after); });
}

}  // namespace
