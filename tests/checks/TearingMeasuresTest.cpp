#include "checks/video/TearingMeasures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "checks/TestImages.h"
#include "visual/OpenCVDouble.h"

namespace {

using namespace qatest;

/// Sizes around those of the margins, with and without bytes between rows.
const std::vector<CvSize>& manySizes() {
  static const std::vector<CvSize> sizes = [] {
    std::vector<CvSize> all{cvSize(64, 48), cvSize(61, 25)};
    for (int width = 0; width <= 24; ++width) {
      for (const int height : {0, 1, 2, 19, 20, 21, 22, 24}) {
        all.push_back(cvSize(width, height));
        all.push_back(cvSize(height, width));
      }
    }
    return all;
  }();
  return sizes;
}

/// Calls `test` with images of many sizes, of one channel and of three.
template <typename Test>
void withManyImages(Test test) {
  for (const CvSize size : manySizes()) {
    for (const int channels : {1, 3}) {
      SCOPED_TRACE(std::to_string(size.width) + " x " + std::to_string(size.height) + ", " +
                   std::to_string(channels) + " channels");
      Noise noise(static_cast<uint32_t>(size.width * 100 + size.height));
      // Half of the values lie around the limits.
      const UniqueImage image = imageOf(size.width, size.height, channels, [&](int, int) {
        return noise.below(2) == 0 ? 8 + noise.below(12) : noise.below(256);
      });
      test(*image);
    }
  }
}

// The definitions, tap by tap.

bool isBarAlongTheRow(int value, int x) {
  float sum = 0.0F;
  for (int k = x - 10; k < x + 10; ++k) {
    sum = static_cast<float>(static_cast<double>(sum) + value * (std::abs(x - k) + 1.0) / 100.0);
  }
  return static_cast<double>(sum) > 20.0;
}

bool isBarDownTheColumn(int value, int y) {
  float sum = 0.0F;
  for (int k = y - 10; k < y + 10; ++k) {
    sum = static_cast<float>(static_cast<double>(sum) + value * (11.0 - std::abs(y - k)) / 100.0);
  }
  return static_cast<double>(sum) > 20.0;
}

class TearingMeasures : public testing::Test {
 protected:
  using Measure = IplImage* (*)(IplImage*);

  TearingMeasures() { clearOpenCV(); }

  /// The result of a measure, which must be one new image of that size, and the caller's; the
  /// measured image must be left alone.
  static UniqueImage newImage(Measure measure, IplImage& image, int channels) {
    const std::vector<uint8_t> before = bytesOf(image);
    const OpenCVCalls calls = openCVCalls();
    UniqueImage result(measure(&image));
    EXPECT_EQ(openCVCalls().imagesMade, calls.imagesMade + 1);
    EXPECT_EQ(openCVCalls().imagesReleased, calls.imagesReleased);
    EXPECT_EQ(bytesOf(image), before);
    EXPECT_NE(result.get(), &image);
    EXPECT_EQ(result->width, image.width);
    EXPECT_EQ(result->height, image.height);
    EXPECT_EQ(result->depth, IPL_DEPTH_8U);
    EXPECT_EQ(result->nChannels, channels);
    return result;
  }

  /// What is not an image of bytes has no result, and costs no image.
  static void expectNothingOfImagesWithoutBytes(Measure measure) {
    EXPECT_EQ(measure(nullptr), nullptr);
    for (const int channels : {1, 3}) {
      for (const UniqueImage& other : imagesWithoutBytes(24, 24, channels)) {
        const int made = openCVCalls().imagesMade;
        EXPECT_EQ(measure(other.get()), nullptr) << other->depth;
        EXPECT_EQ(openCVCalls().imagesMade, made);
      }
    }
  }
};

// Percentages.

/// 100 pixels in one row, the first of them of this value.
int percentWithFirst(int count, int value) {
  return percentWhite(imageOf(100, 1, 1, [=](int x, int) { return x < count ? value : 0; }).get());
}

TEST_F(TearingMeasures, WhiteIsFromElevenOn) {
  for (int value = 0; value < 256; ++value) {
    EXPECT_EQ(percentWithFirst(50, value), value >= 11 ? 50 : 0) << value;
  }
}

TEST_F(TearingMeasures, PercentagesAreSinglePrecisionSharesRoundedDown) {
  EXPECT_EQ(percentWithFirst(29, 255), 28) << "29 / 100 in single precision is below 0.29";
  EXPECT_EQ(percentWithFirst(58, 255), 57) << "so is 58 / 100";
  EXPECT_EQ(percentWithFirst(0, 255), 0);
  EXPECT_EQ(percentWithFirst(100, 255), 100);
  for (int count = 0; count <= 100; ++count) {
    const float share = static_cast<float>(count) / 100.0F;
    EXPECT_EQ(percentWithFirst(count, 11), static_cast<int>(share * 100.0)) << count;
  }
}

TEST_F(TearingMeasures, PercentageIsOfTheFirstBytesOfEachRow) {
  withManyImages([](IplImage& image) {
    int white = 0;
    for (int x = 0; x < image.width; ++x) {
      for (int y = 0; y < image.height; ++y) {
        white += byteAt(image, x, y) >= 11 ? 1 : 0;
      }
    }
    const int pixels = image.width * image.height;
    const int expected =
        pixels == 0
            ? 0
            : static_cast<int>(static_cast<float>(white) / static_cast<float>(pixels) * 100.0);
    EXPECT_EQ(percentWhite(&image), expected);
  });
}

TEST_F(TearingMeasures, PercentageOfNoImageOfBytesIsZero) {
  EXPECT_EQ(percentWhite(nullptr), 0);
  for (const UniqueImage& other : imagesWithoutBytes(8, 8, 1)) {
    EXPECT_EQ(percentWhite(other.get()), 0) << other->depth;
  }
}

// Differences.

TEST_F(TearingMeasures, DifferencesAreThoseOfEachPixelAndTheOneBelow) {
  withManyImages([](IplImage& image) {
    const UniqueImage differences = newImage(verticalDifferencing, image, 1);
    for (int y = 0; y < image.height; ++y) {
      for (int x = 0; x < image.width; ++x) {
        const int expected =
            y < image.height - 1 ? std::abs(byteAt(image, x, y) - byteAt(image, x, y + 1)) : 0;
        ASSERT_EQ(byteAt(*differences, x, y), expected) << x << ", " << y;
      }
    }
  });
}

TEST_F(TearingMeasures, DifferencesHaveNoSignAndReach255) {
  const UniqueImage image = imageOf(3, 4, 1, [](int x, int y) {
    constexpr int kRows[4][3] = {{0, 255, 7}, {255, 0, 7}, {1, 200, 8}, {0, 201, 6}};
    return kRows[y][x];
  });
  EXPECT_EQ(bytesOf(*newImage(verticalDifferencing, *image, 1)),
            (std::vector<uint8_t>{255, 255, 0, 254, 200, 1, 1, 1, 2, 0, 0, 0}));
}

TEST_F(TearingMeasures, DifferencesOfNoImageOfBytesAreNone) {
  expectNothingOfImagesWithoutBytes(verticalDifferencing);
}

// Bars.

TEST_F(TearingMeasures, BarsAreMadeOfPixelsFrom17On) {
  const auto valueOf = [](int x, int) { return x < 10 || x >= 266 ? 255 : x - 10; };
  const UniqueImage image = imageOf(276, 21, 1, valueOf);
  const UniqueImage horizontal = newImage(horizontalBarring, *image, 1);
  const UniqueImage vertical = newImage(verticalBarring, *image, 3);
  for (int value = 0; value < 256; ++value) {
    const int expected = value >= 17 ? 255 : 0;
    EXPECT_EQ(byteAt(*horizontal, value + 10, 0), expected) << value;
    EXPECT_EQ(byteAt(*vertical, value + 10, 10), expected) << value;
    EXPECT_EQ(isBarAlongTheRow(value, 10), value >= 17) << "twenty taps of " << value;
    EXPECT_EQ(isBarDownTheColumn(value, 10), value >= 17) << "twenty taps of " << value;
  }
}

TEST_F(TearingMeasures, HorizontalBarsStayOutOfTheTenOutermostColumns) {
  withManyImages([](IplImage& image) {
    const UniqueImage bars = newImage(horizontalBarring, image, 1);
    for (int y = 0; y < image.height; ++y) {
      for (int x = 0; x < image.width; ++x) {
        const bool inside = x >= 10 && x < image.width - 10;
        const int expected = inside && isBarAlongTheRow(byteAt(image, x, y), x) ? 255 : 0;
        ASSERT_EQ(byteAt(*bars, x, y), expected) << x << ", " << y;
      }
    }
  });
}

TEST_F(TearingMeasures, VerticalBarsAreWrittenToTheByteOfTheirColumn) {
  withManyImages([](IplImage& image) {
    const UniqueImage bars = newImage(verticalBarring, image, 3);
    for (int y = 0; y < image.height; ++y) {
      for (int x = 0; x < image.width * 3; ++x) {
        const bool inside = x < image.width && y >= 10 && y < image.height - 10;
        const int expected = inside && isBarDownTheColumn(byteAt(image, x, y), y) ? 255 : 0;
        ASSERT_EQ(byteAt(*bars, x, y), expected) << x << ", " << y;
      }
    }
  });
}

TEST_F(TearingMeasures, BarsHaveOneColumnOrRowInPicturesOf21) {
  const auto countOf = [](const UniqueImage& bars) {
    const std::vector<uint8_t> bytes = bytesOf(*bars);
    return std::count(bytes.begin(), bytes.end(), 255);
  };
  const auto white = [](int width, int height) {
    return imageOf(width, height, 1, [](int, int) { return 255; });
  };
  EXPECT_EQ(countOf(newImage(horizontalBarring, *white(20, 5), 1)), 0);
  EXPECT_EQ(countOf(newImage(horizontalBarring, *white(21, 5), 1)), 5);
  EXPECT_EQ(countOf(newImage(verticalBarring, *white(5, 20), 3)), 0);
  EXPECT_EQ(countOf(newImage(verticalBarring, *white(5, 21), 3)), 5);
}

TEST_F(TearingMeasures, BarsOfNoImageOfBytesAreNone) {
  expectNothingOfImagesWithoutBytes(horizontalBarring);
  expectNothingOfImagesWithoutBytes(verticalBarring);
}

// The marked picture.

class ShowOnOriginal : public TearingMeasures {
 protected:
  /// What a mask makes of a picture; both may be larger than the other.
  static std::vector<uint8_t> painted(const IplImage& picture, const IplImage& mask) {
    std::vector<uint8_t> bytes = bytesOf(picture);
    for (int y = 0; y < picture.height && y < mask.height; ++y) {
      for (int x = 0; x < picture.width && x < mask.width; ++x) {
        if (byteAt(mask, x, y) > 10) {
          const auto first = static_cast<std::size_t>(3 * (y * picture.width + x));
          bytes[first] = 0;
          bytes[first + 1] = 0;
          bytes[first + 2] = 255;
        }
      }
    }
    return bytes;
  }

  const WindowSystem windows_{WindowSystem::State::available};
  Noise noise_{7};
};

TEST_F(ShowOnOriginal, PaintsPixelsRedWhereTheMaskIsMoreThanTen) {
  const UniqueImage picture = imageOf(256, 2, 3, [](int, int) { return 100; });
  const UniqueImage mask = imageOf(256, 2, 1, [](int x, int y) { return y == 0 ? x : 0; });
  showOnOriginal(picture.get(), mask.get());
  const Pixels pixels = pixelsOf(*picture);
  for (int x = 0; x < 256; ++x) {
    EXPECT_EQ(pixels.at(x, 0), x > 10 ? (Bgr{0, 0, 255}) : grey(100)) << x;
    EXPECT_EQ(pixels.at(x, 1), grey(100)) << x;
  }
}

TEST_F(ShowOnOriginal, PaintsAsFarAsPictureAndMaskReach) {
  for (const CvSize size :
       {cvSize(13, 9), cvSize(5, 20), cvSize(20, 5), cvSize(21, 22), cvSize(0, 9), cvSize(13, 0)}) {
    for (const int channels : {1, 3}) {
      SCOPED_TRACE(std::to_string(size.width) + " x " + std::to_string(size.height));
      const UniqueImage picture = noise_.image(13, 9, 3);
      const UniqueImage mask = noise_.image(size.width, size.height, channels);
      const std::vector<uint8_t> expected = painted(*picture, *mask);
      const std::vector<uint8_t> maskBytes = bytesOf(*mask);
      showOnOriginal(picture.get(), mask.get());
      EXPECT_EQ(bytesOf(*picture), expected);
      EXPECT_EQ(bytesOf(*mask), maskBytes);
    }
  }
}

TEST_F(ShowOnOriginal, ShowsThePaintedPictureInItsWindow) {
  const UniqueImage picture = noise_.image(13, 9, 3);
  const UniqueImage mask = noise_.image(13, 9, 1);
  showOnOriginal(picture.get(), mask.get());
  ASSERT_EQ(openCVCalls().shown.size(), 1U);
  EXPECT_EQ(openCVCalls().shown[0].window, "Overlay Tearing");
  EXPECT_EQ(difference(openCVCalls().shown[0].canvas, pixelsOf(*picture)), "");
  EXPECT_TRUE(openCVCalls().waits.empty()) << "repainting is the caller's affair";
  EXPECT_EQ(openCVCalls().imagesMade, 2) << "the test's own";
  EXPECT_EQ(openCVCalls().imagesReleased, 0);
}

TEST_F(ShowOnOriginal, PaintsWithoutAWindowSystemToo) {
  for (const auto state : {WindowSystem::State::missing, WindowSystem::State::dead}) {
    const WindowSystem none(state);
    const UniqueImage picture = noise_.image(13, 9, 3);
    const UniqueImage mask = noise_.image(13, 9, 1);
    const std::vector<uint8_t> expected = painted(*picture, *mask);
    showOnOriginal(picture.get(), mask.get());
    EXPECT_EQ(bytesOf(*picture), expected);
    EXPECT_TRUE(openCVCalls().shown.empty());
  }
}

TEST_F(ShowOnOriginal, AWindowThatCannotBeShownIsPassedOver) {
  letShowingThrow();
  const UniqueImage picture = noise_.image(13, 9, 3);
  const UniqueImage mask = noise_.image(13, 9, 1);
  EXPECT_NO_THROW(showOnOriginal(picture.get(), mask.get()));
  EXPECT_EQ(openCVCalls().shown.size(), 1U);
}

TEST_F(ShowOnOriginal, LeavesAloneAndHiddenWhatIsNoColourPictureOrHasNoMask) {
  const UniqueImage picture = noise_.image(12, 8, 3);
  const UniqueImage grey = noise_.image(12, 8, 1);
  const UniqueImage mask = imageOf(12, 8, 1, [](int, int) { return 255; });
  const std::vector<uint8_t> before = bytesOf(*picture);
  const std::vector<uint8_t> greyBefore = bytesOf(*grey);
  showOnOriginal(nullptr, mask.get());
  showOnOriginal(picture.get(), nullptr);
  showOnOriginal(nullptr, nullptr);
  showOnOriginal(grey.get(), mask.get());
  for (const UniqueImage& other : imagesWithoutBytes(12, 8, 1)) {
    showOnOriginal(picture.get(), other.get());
  }
  for (const UniqueImage& other : imagesWithoutBytes(12, 8, 3)) {
    showOnOriginal(other.get(), mask.get());
  }
  EXPECT_EQ(bytesOf(*picture), before);
  EXPECT_EQ(bytesOf(*grey), greyBefore);
  EXPECT_TRUE(openCVCalls().shown.empty());
}

}  // namespace
