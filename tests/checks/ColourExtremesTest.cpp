#include "checks/video/ColourExtremes.h"

#include <gtest/gtest.h>
#include <hwy/targets.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <random>
#include <vector>

#include "media/YUVHelper.h"
#include "support/Picture.h"
#include "support/Sanitized.h"

namespace qatester {

void PrintTo(const ColourExtremes& e, std::ostream* out) {
  *out << "r " << e.r.min << ".." << e.r.max << " g " << e.g.min << ".." << e.g.max << " b "
       << e.b.min << ".." << e.b.max << " y " << e.y.min << ".." << e.y.max;
}

}  // namespace qatester

namespace {

using qatest::Picture;
using qatester::ColourExtremes;
using qatester::Rectangle;

constexpr AVPixelFormat kFormats[] = {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV444P};

constexpr int kSanitizerStride = qatest::kSanitized ? 97 : 1;

/// What every single pixel's conversion adds up to.
ColourExtremes byDefinition(Picture& picture, const Rectangle& rectangle) {
  ColourExtremes extremes;
  OxVideoFrameYUV frame = picture.record();
  for (int y = rectangle.yStart; y < rectangle.yEnd; ++y) {
    for (int x = rectangle.xStart; x < rectangle.xEnd; ++x) {
      const YUVPixel yuv = YUVHelper::getYUVPixelFromFrame(frame, x, y);
      const RgbPixel rgb = YUVHelper::YUVtoRGB601(yuv);
      extremes.widen({{rgb.r, rgb.r}, {rgb.g, rgb.g}, {rgb.b, rgb.b}, {yuv.y, yuv.y}});
    }
  }
  return extremes;
}

ColourExtremes measured(Picture& picture, const Rectangle& rectangle) {
  return measureColours(*qatester::planarPicture(picture.record()), rectangle);
}

Rectangle whole(const Picture& picture) {
  return {0, 0, picture.width(), picture.height()};
}

/// Each test runs with every instruction set that this processor has.
class FastColours : public testing::TestWithParam<int64_t> {
 protected:
  FastColours() {
    hwy::SetSupportedTargetsForTest(GetParam());
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
  }
  ~FastColours() override {
    hwy::SetSupportedTargetsForTest(0);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
  }
};

/// Pictures of all kinds: what a block's bounds say is close to the truth in some and far from it
/// in others.
std::vector<std::function<int(int, int, int)>> contents(std::mt19937& random) {
  const auto noise = [&random](int, int, int) { return static_cast<int>(random() & 255); };
  const auto legalNoise = [&random](int, int, int) {
    return 16 + static_cast<int>(random() % 220);
  };
  const auto ramp = [](int plane, int x, int y) { return (x * (plane + 1) + y * 2) & 255; };
  const auto flat = [](int plane, int, int) { return plane == 0 ? 126 : 128; };
  const auto specks = [&random](int plane, int, int) {
    return random() % 997 == 0 ? static_cast<int>(random() & 255) : 120 + plane;
  };
  const auto quietNoise = [&random](int, int x, int y) {
    return 100 + (x + y) / 8 % 60 + static_cast<int>(random() % 12);
  };
  // Red and blue below zero throughout; red and blue above 255 throughout.
  const auto dark = [&random](int plane, int, int) {
    return static_cast<int>(random() % (plane == 0 ? 60 : 40));
  };
  const auto bright = [&random](int plane, int, int) {
    return (plane == 0 ? 180 : 216) + static_cast<int>(random() % 40);
  };
  return {noise, legalNoise, ramp, flat, specks, quietNoise, dark, bright};
}

TEST_P(FastColours, EqualTheDefinitionForEverySize) {
  std::mt19937 random(1);
  for (const AVPixelFormat format : kFormats) {
    for (const int width : {1, 2, 3, 5, 16, 31, 32, 63, 64, 65, 66, 95, 127, 128, 129, 191, 193}) {
      for (const int height : {1, 2, 3, 4, 7, 15, 16, 17, 33}) {
        const int padding = static_cast<int>(random() % 5);
        Picture picture(format, width, height, {padding, random() % 2 == 0});
        picture.fill(contents(random)[random() % 8]);
        ASSERT_EQ(measured(picture, whole(picture)), byDefinition(picture, whole(picture)))
            << format << " " << width << "x" << height;
      }
    }
  }
}

TEST_P(FastColours, EqualTheDefinitionForEveryContentAndRectangle) {
  std::mt19937 random(2);
  const auto between = [&random](int low, int high) {
    return low + static_cast<int>(random() % static_cast<unsigned>(high - low + 1));
  };
  for (const AVPixelFormat format : kFormats) {
    for (std::size_t content = 0; content < contents(random).size(); ++content) {
      Picture picture(format, 231, 75, {.padding = 3, .bottomUp = content % 2 == 0});
      picture.fill(contents(random)[content]);
      for (int i = 0; i < 40; ++i) {
        Rectangle rectangle;
        rectangle.xStart = between(0, 231);
        rectangle.xEnd = between(rectangle.xStart, 231);
        rectangle.yStart = between(0, 75);
        rectangle.yEnd = between(rectangle.yStart, 75);
        ASSERT_EQ(measured(picture, rectangle), byDefinition(picture, rectangle))
            << format << " content " << content << " columns " << rectangle.xStart << ".."
            << rectangle.xEnd << " rows " << rectangle.yStart << ".." << rectangle.yEnd;
      }
    }
  }
}

TEST_P(FastColours, SeeWhatOneChannelAloneGainsInALaterBlock) {
  // Blocks of two colours each: often a block widens one extreme of one channel only.
  constexpr int kBlock = 64;
  constexpr int kBlocks = 3;
  std::mt19937 random(4);
  Picture picture(AV_PIX_FMT_YUV444P, kBlock * kBlocks, 1);
  for (int round = 0; round < 30000 / kSanitizerStride; ++round) {
    ColourExtremes expected;
    for (int block = 0; block < kBlocks; ++block) {
      const int odd = static_cast<int>(random() % kBlock);
      YUVPixel colours[2];
      for (YUVPixel& colour : colours) {
        colour = {static_cast<int>(random() & 255), static_cast<int>(random() & 255),
                  static_cast<int>(random() & 255), true};
        const RgbPixel rgb = YUVHelper::YUVtoRGB601(colour);
        expected.widen({{rgb.r, rgb.r}, {rgb.g, rgb.g}, {rgb.b, rgb.b}, {colour.y, colour.y}});
      }
      for (int x = 0; x < kBlock; ++x) {
        const YUVPixel& colour = colours[x == odd ? 1 : 0];
        picture.at(0, block * kBlock + x, 0) = static_cast<uint8_t>(colour.y);
        picture.at(1, block * kBlock + x, 0) = static_cast<uint8_t>(colour.u);
        picture.at(2, block * kBlock + x, 0) = static_cast<uint8_t>(colour.v);
      }
    }
    ASSERT_EQ(measured(picture, whole(picture)), expected) << round;
  }
}

/// Measures flat pictures, each of which shows one triple.
void expectExactTriples(int first, int stride) {
  Picture picture(AV_PIX_FMT_YUV420P, 64, 2);
  const Rectangle oneRow{0, 0, 64, 1};
  int shown = -1;
  for (int triple = first; triple < 1 << 24; triple += stride) {
    const int u = triple >> 16;
    const int v = (triple >> 8) & 255;
    const int y = triple & 255;
    if (triple >> 8 != shown) {
      picture.fill(y, u, v);
      shown = triple >> 8;
    }
    std::fill_n(&picture.at(0, 0, 0), 64, static_cast<uint8_t>(y));
    const RgbPixel rgb = YUVHelper::YUVtoRGB601({y, u, v, true});
    const ColourExtremes expected{{rgb.r, rgb.r}, {rgb.g, rgb.g}, {rgb.b, rgb.b}, {y, y}};
    ASSERT_EQ(measured(picture, oneRow), expected) << y << " " << u << " " << v;
  }
}

TEST_P(FastColours, ConvertTriplesExactly) {
  expectExactTriples(0, 101 * kSanitizerStride);
}

/// With the best instruction set, in parts that may run side by side.
class AllTriples : public testing::TestWithParam<int> {};

TEST_P(AllTriples, AreConvertedExactly) {
  expectExactTriples(GetParam(), 4 * kSanitizerStride);
}

INSTANTIATE_TEST_SUITE_P(Part, AllTriples, testing::Range(0, 4));

TEST_P(FastColours, FindOnePixelWhereverItIs) {
  for (const AVPixelFormat format : kFormats) {
    Picture picture(format, 133, 37, {.padding = 2});
    picture.fill(126, 128, 128);
    for (int plane = 0; plane < 3; ++plane) {
      for (int y = 0; y < picture.rowsOf(plane); ++y) {
        for (int x = y % kSanitizerStride; x < picture.columnsOf(plane); x += kSanitizerStride) {
          for (const int value : {0, 255}) {
            const uint8_t before = picture.at(plane, x, y);
            picture.at(plane, x, y) = static_cast<uint8_t>(value);
            const RgbPixel odd =
                YUVHelper::YUVtoRGB601({plane == 0 ? value : 126, plane == 1 ? value : 128,
                                        plane == 2 ? value : 128, true});
            ColourExtremes expected{{128, 128}, {128, 128}, {128, 128}, {126, 126}};
            expected.widen({{odd.r, odd.r},
                            {odd.g, odd.g},
                            {odd.b, odd.b},
                            {picture.at(0, plane == 0 ? x : 0, plane == 0 ? y : 0),
                             picture.at(0, plane == 0 ? x : 0, plane == 0 ? y : 0)}});
            ASSERT_EQ(measured(picture, whole(picture)), expected)
                << format << " plane " << plane << " (" << x << ", " << y << ") " << value;
            picture.at(plane, x, y) = before;
          }
        }
      }
    }
  }
}

TEST_P(FastColours, SeeNothingOutsideTheRectangle) {
  for (const AVPixelFormat format : kFormats) {
    for (const int xStart : {0, 1, 2, 33}) {
      for (const int yStart : {0, 1, 2, 5}) {
        const Rectangle rectangle{xStart, yStart, xStart + 70, yStart + 21};
        const int across = format == AV_PIX_FMT_YUV444P ? 0 : 1;
        const int down = format == AV_PIX_FMT_YUV420P ? 1 : 0;
        Picture picture(format, 140, 40);
        picture.fill([&](int plane, int x, int y) {
          const int shiftX = plane == 0 ? 0 : across;
          const int shiftY = plane == 0 ? 0 : down;
          const bool inside =
              x >= rectangle.xStart >> shiftX && x <= (rectangle.xEnd - 1) >> shiftX &&
              y >= rectangle.yStart >> shiftY && y <= (rectangle.yEnd - 1) >> shiftY;
          return inside ? 128 : (x + y) % 2 * 255;
        });
        // 1.1644 * 112 = 130.4
        const ColourExtremes expected{{130, 130}, {130, 130}, {130, 130}, {128, 128}};
        ASSERT_EQ(measured(picture, rectangle), expected) << format << xStart << " " << yStart;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Each, FastColours, testing::ValuesIn(hwy::SupportedAndGeneratedTargets()),
                         [](const auto& info) { return hwy::TargetName(info.param); });

TEST(PixelwiseColours, EqualTheDefinition) {
  std::mt19937 random(3);
  for (const AVPixelFormat format : kFormats) {
    for (const auto& content : contents(random)) {
      Picture picture(format, 67, 35, {.padding = 1});
      picture.fill(content);
      const Rectangle odd{3, 5, 66, 34};
      EXPECT_EQ(measureColoursPixelwise(*qatester::planarPicture(picture.record()), odd),
                byDefinition(picture, odd));
    }
  }
}

TEST(PixelwiseColours, NoPixelGivesEmptyExtremes) {
  Picture picture(AV_PIX_FMT_YUV420P, 200, 40);
  picture.fill(1, 2, 3);
  for (const Rectangle& none : {Rectangle{0, 0, 0, 40}, Rectangle{0, 0, 200, 0},
                                Rectangle{100, 20, 100, 40}, Rectangle{150, 0, 20, 40}}) {
    for (const ColourExtremes& extremes :
         {measured(picture, none),
          measureColoursPixelwise(*qatester::planarPicture(picture.record()), none)}) {
      EXPECT_EQ(extremes, ColourExtremes());
      EXPECT_TRUE(extremes.r.empty() && extremes.g.empty() && extremes.b.empty() &&
                  extremes.y.empty());
    }
  }
}

}  // namespace
