#include "media/YUVHelper.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "media/YUVConversion.h"
#include "support/Console.h"
#include "support/Picture.h"

namespace {

using qatest::Picture;

constexpr const char* kUnsupported =
    "YUVHelper::getYUVPixelFromFrame - specified pixel format not supported, expected "
    "(444, 422, 420).\n";

/// Values that tell plane, row and column apart.
Picture numbered(AVPixelFormat format, int width, int height, qatest::Layout layout = {}) {
  Picture picture(format, width, height, layout);
  picture.fill([](int plane, int x, int y) { return 80 * plane + 10 * y + x; });
  return picture;
}

YUVPixel pixel(int y, int u, int v) {
  return {y, u, v, true};
}

RgbPixel rgb(int r, int g, int b) {
  return {r, g, b, true};
}

TEST(YUVHelper, RecordsStartAllZeroAndInvalid) {
  EXPECT_EQ(YUVPixel(), (YUVPixel{0, 0, 0, false}));
  EXPECT_EQ(RgbPixel(), (RgbPixel{0, 0, 0, false}));
}

TEST(YUVHelper, FourLumaPixelsShareAChromaSampleIn420) {
  Picture picture = numbered(AV_PIX_FMT_YUV420P, 6, 4);
  OxVideoFrameYUV frame = picture.record();
  EXPECT_EQ(YUVHelper::getYUVPixelFromFrame(frame, 0, 0), pixel(0, 80, 160));
  EXPECT_EQ(YUVHelper::getYUVPixelFromFrame(frame, 1, 0), pixel(1, 80, 160));
  EXPECT_EQ(YUVHelper::getYUVPixelFromFrame(frame, 0, 1), pixel(10, 80, 160));
  EXPECT_EQ(YUVHelper::getYUVPixelFromFrame(frame, 1, 1), pixel(11, 80, 160));
  EXPECT_EQ(YUVHelper::getYUVPixelFromFrame(frame, 2, 0), pixel(2, 81, 161));
  EXPECT_EQ(YUVHelper::getYUVPixelFromFrame(frame, 5, 3), pixel(35, 92, 172));
}

TEST(YUVHelper, TwoLumaPixelsOfARowShareAChromaSampleIn422) {
  Picture picture = numbered(AV_PIX_FMT_YUV422P, 6, 4);
  OxVideoFrameYUV frame = picture.record();
  EXPECT_EQ(YUVHelper::getYUVPixelFromFrame(frame, 0, 0), pixel(0, 80, 160));
  EXPECT_EQ(YUVHelper::getYUVPixelFromFrame(frame, 1, 0), pixel(1, 80, 160));
  EXPECT_EQ(YUVHelper::getYUVPixelFromFrame(frame, 1, 1), pixel(11, 90, 170));
  EXPECT_EQ(YUVHelper::getYUVPixelFromFrame(frame, 5, 3), pixel(35, 112, 192));
}

TEST(YUVHelper, EachPixelHasItsOwnChromaSampleIn444) {
  Picture picture = numbered(AV_PIX_FMT_YUV444P, 6, 4);
  OxVideoFrameYUV frame = picture.record();
  for (int y = 0; y < 4; ++y) {
    for (int x = 0; x < 6; ++x) {
      const int luma = 10 * y + x;
      EXPECT_EQ(YUVHelper::getYUVPixelFromFrame(frame, x, y), pixel(luma, 80 + luma, 160 + luma));
    }
  }
}

TEST(YUVHelper, FollowsStridesOfEitherSign) {
  for (const bool bottomUp : {false, true}) {
    Picture picture = numbered(AV_PIX_FMT_YUV420P, 5, 3, {.padding = 7, .bottomUp = bottomUp});
    OxVideoFrameYUV frame = picture.record();
    EXPECT_EQ(YUVHelper::getYUVPixelFromFrame(frame, 4, 2), pixel(24, 92, 172));
    EXPECT_EQ(YUVHelper::getYUVPixelFromFrame(frame, 0, 0), pixel(0, 80, 160));
  }
}

TEST(YUVHelper, ReadersIgnoreThePicturesOwnFormat) {
  Picture picture = numbered(AV_PIX_FMT_YUV444P, 6, 4);
  picture.frame().format = AV_PIX_FMT_GRAY8;
  OxVideoFrameYUV frame = picture.record();
  const std::string console = qatest::consoleOutputOf([&] {
    EXPECT_EQ(YUVHelper::getYUV420PixelFromFrame(frame, 5, 3), pixel(35, 92, 172));
    EXPECT_EQ(YUVHelper::getYUV422PixelFromFrame(frame, 5, 3), pixel(35, 112, 192));
    EXPECT_EQ(YUVHelper::getYUV444PixelFromFrame(frame, 5, 3), pixel(35, 115, 195));
  });
  EXPECT_EQ(console, "");
}

TEST(YUVHelper, UnsupportedFormatWritesALineACallAndGivesAnInvalidPixel) {
  for (const AVPixelFormat format :
       {AV_PIX_FMT_YUYV422, AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_YUV420P10, AV_PIX_FMT_GRAY8,
        AV_PIX_FMT_YUV411P, AV_PIX_FMT_BGR24, AV_PIX_FMT_NONE}) {
    Picture picture(AV_PIX_FMT_YUV444P, 4, 4);
    picture.frame().format = format;
    OxVideoFrameYUV frame = picture.record();
    const std::string once = qatest::consoleOutputOf(
        [&] { EXPECT_EQ(YUVHelper::getYUVPixelFromFrame(frame, 0, 0), YUVPixel()); });
    EXPECT_EQ(once, kUnsupported) << format;
    const std::string twice = qatest::consoleOutputOf([&] {
      YUVHelper::getYUVPixelFromFrame(frame, 0, 0);
      YUVHelper::getYUVPixelFromFrame(frame, 0, 0);
    });
    EXPECT_EQ(twice, std::string(kUnsupported) + kUnsupported) << format;
  }
}

TEST(YUVHelper, InvalidRecordGivesInvalidPixels) {
  using Reader = YUVPixel (*)(OxVideoFrameYUV&, int, int);
  const std::vector<Reader> readers = {
      YUVHelper::getYUVPixelFromFrame, YUVHelper::getYUV420PixelFromFrame,
      YUVHelper::getYUV422PixelFromFrame, YUVHelper::getYUV444PixelFromFrame};
  const std::string console = qatest::consoleOutputOf([&] {
    for (const Reader read : readers) {
      Picture picture = numbered(AV_PIX_FMT_YUV420P, 4, 4);
      OxVideoFrameYUV frame = picture.record();
      ASSERT_TRUE(read(frame, 1, 1).valid);
      frame.valid = false;
      EXPECT_EQ(read(frame, 1, 1), YUVPixel());
      OxVideoFrameYUV empty;
      EXPECT_EQ(read(empty, 0, 0), YUVPixel());
      for (int plane = 0; plane < 3; ++plane) {
        Picture holed = numbered(AV_PIX_FMT_YUV420P, 4, 4);
        holed.frame().data[plane] = nullptr;
        OxVideoFrameYUV missing = holed.record();
        EXPECT_EQ(read(missing, 1, 1), YUVPixel()) << plane;
      }
    }
  });
  EXPECT_EQ(console, "");
}

TEST(YUVHelper, FormatIsLookedAtBeforeTheValidFlag) {
  Picture picture(AV_PIX_FMT_YUV444P, 4, 4);
  picture.frame().format = AV_PIX_FMT_YUYV422;
  OxVideoFrameYUV frame = picture.record();
  frame.valid = false;
  EXPECT_EQ(qatest::consoleOutputOf([&] { YUVHelper::getYUVPixelFromFrame(frame, 0, 0); }),
            kUnsupported);
}

TEST(YUVHelper, BlackAndWhiteConvertToZeroAnd255WithEitherMatrix) {
  for (const auto convert : {YUVHelper::YUVtoRGB601, YUVHelper::YUVtoRGB709}) {
    EXPECT_EQ(convert(pixel(16, 128, 128)), rgb(0, 0, 0));
    EXPECT_EQ(convert(pixel(235, 128, 128)), rgb(255, 255, 255));
  }
}

TEST(YUVHelper, ColoursOutsideTheLegalRangeAreNotClamped) {
  // 1.5960 * 127 = 202.7; -0.8130 * 127 = -103.2
  EXPECT_EQ(YUVHelper::YUVtoRGB601(pixel(16, 128, 255)), rgb(202, -103, 0));
  // 1.1644 * -16 = -18.6, 1.1644 * 239 = 278.3
  EXPECT_EQ(YUVHelper::YUVtoRGB601(pixel(0, 128, 128)), rgb(-18, -18, -18));
  EXPECT_EQ(YUVHelper::YUVtoRGB601(pixel(255, 128, 128)), rgb(278, 278, 278));
  // 2.0172 * 127 = 256.2, -0.3918 * 127 = -49.8
  EXPECT_EQ(YUVHelper::YUVtoRGB601(pixel(16, 255, 128)), rgb(0, -49, 256));
  // BT.709: 1.7927 * 127 = 227.7, -0.5329 * 127 = -67.7; 2.1124 * 127 = 268.3, -0.2132 * 127 =
  // -27.1
  EXPECT_EQ(YUVHelper::YUVtoRGB709(pixel(16, 128, 255)), rgb(227, -67, 0));
  EXPECT_EQ(YUVHelper::YUVtoRGB709(pixel(16, 255, 128)), rgb(0, -27, 268));
}

TEST(YUVHelper, TruncatesTowardZeroOnBothSides) {
  EXPECT_EQ(YUVHelper::YUVtoRGB601(pixel(17, 128, 128)), rgb(1, 1, 1)) << "1.16";
  EXPECT_EQ(YUVHelper::YUVtoRGB601(pixel(15, 128, 128)), rgb(-1, -1, -1)) << "-1.16";
  EXPECT_EQ(YUVHelper::YUVtoRGB601(pixel(16, 128, 127)), rgb(-1, 0, 0)) << "-1.596 and 0.813";
  EXPECT_EQ(YUVHelper::YUVtoRGB601(pixel(16, 127, 128)), rgb(0, 0, -2)) << "0.392 and -2.017";
}

TEST(YUVHelper, InvalidPixelStaysInvalid) {
  const YUVPixel invalid{235, 128, 128, false};
  EXPECT_EQ(YUVHelper::YUVtoRGB(invalid, 0.114F, 0.299F), RgbPixel());
  EXPECT_EQ(YUVHelper::YUVtoRGB601(invalid), RgbPixel());
  EXPECT_EQ(YUVHelper::YUVtoRGB709(invalid), RgbPixel());
}

/// The conversion, written down once more: every product and sum a rounded single-precision value.
RgbPixel literal(int y, int u, int v, float kb, float kr) {
  const volatile float luma = static_cast<float>(y - 16) * 1.1643835F;
  const auto cb = static_cast<float>(u - 128);
  const auto cr = static_cast<float>(v - 128);
  const volatile float oneMinusKb = 1.0F - kb;
  const volatile float oneMinusKr = 1.0F - kr;
  const volatile float kg = oneMinusKb - kr;
  const volatile float redFactor = oneMinusKr * 2.2767856F;
  const volatile float red = redFactor * cr;
  const volatile float cbFactor1 = -kb * oneMinusKb;
  const volatile float cbFactor2 = cbFactor1 * 2.2767856F;
  const volatile float cbFactor = cbFactor2 / kg;
  const volatile float crFactor1 = -kr * oneMinusKr;
  const volatile float crFactor2 = crFactor1 * 2.2767856F;
  const volatile float crFactor = crFactor2 / kg;
  const volatile float greenCb = cbFactor * cb;
  const volatile float greenCr = crFactor * cr;
  const volatile float greenSoFar = luma + greenCb;
  const volatile float blueFactor = oneMinusKb * 2.2767856F;
  const volatile float blue = blueFactor * cb;
  return rgb(static_cast<int>(luma + red), static_cast<int>(greenSoFar + greenCr),
             static_cast<int>(luma + blue));
}

/// Calls `check(y, u, v)` for one triple in `stride`; over the residues all of them.
template <typename Check>
void forTriples(int stride, Check check) {
  for (int triple = 0; triple < 1 << 24; triple += stride) {
    check(triple >> 16, (triple >> 8) & 255, triple & 255);
  }
}

TEST(YUVHelper, ConvertsInSinglePrecisionInTheOrderGiven) {
  forTriples(11, [](int y, int u, int v) {
    const YUVPixel yuv = pixel(y, u, v);
    ASSERT_EQ(YUVHelper::YUVtoRGB601(yuv), literal(y, u, v, 0.114F, 0.299F))
        << y << " " << u << " " << v;
    ASSERT_EQ(YUVHelper::YUVtoRGB709(yuv), literal(y, u, v, 0.0722F, 0.2126F))
        << y << " " << u << " " << v;
  });
}

TEST(YUVHelper, ConvertsWithAnyCoefficients) {
  std::mt19937 random(1);
  const auto upTo = [&random](unsigned limit) { return static_cast<int>(random() % limit); };
  for (int i = 0; i < 200000; ++i) {
    const float kb = static_cast<float>(1 + upTo(400)) / 1000.0F;
    const float kr = static_cast<float>(1 + upTo(400)) / 1000.0F;
    const YUVPixel yuv = pixel(upTo(256), upTo(256), upTo(256));
    ASSERT_EQ(YUVHelper::YUVtoRGB(yuv, kb, kr), literal(yuv.y, yuv.u, yuv.v, kb, kr))
        << kb << " " << kr << " " << yuv.y << " " << yuv.u << " " << yuv.v;
  }
}

TEST(YUVConversion, FactorsAreMultipliedInTheOrderGiven) {
  std::mt19937 random(2);
  for (int i = 0; i < 1000; ++i) {
    const float kb = static_cast<float>(1 + random() % 400) / 1000.0F;
    const float kr = static_cast<float>(1 + random() % 400) / 1000.0F;
    const volatile float oneMinusKb = 1.0F - kb;
    const volatile float oneMinusKr = 1.0F - kr;
    const volatile float kg = oneMinusKb - kr;
    const volatile float cb = -kb * oneMinusKb;
    const volatile float cbScaled = cb * 2.2767856F;
    const volatile float cr = -kr * oneMinusKr;
    const volatile float crScaled = cr * 2.2767856F;
    const qatester::YUVConversion conversion(kb, kr);
    // One step above neutral a term is its factor.
    EXPECT_EQ(conversion.redOfCr(129), oneMinusKr * 2.2767856F) << kr;
    EXPECT_EQ(conversion.greenOfCb(129), cbScaled / kg) << kb << " " << kr;
    EXPECT_EQ(conversion.greenOfCr(129), crScaled / kg) << kb << " " << kr;
    EXPECT_EQ(conversion.blueOfCb(129), oneMinusKb * 2.2767856F) << kb;
  }
}

TEST(YUVHelper, LookedUpTermsGiveTheSameColoursForAllTriples) {
  long different = 0;
  forTriples(1, [&](int y, int u, int v) {
    const qatester::Bt601Terms& terms = qatester::kBt601Terms;
    const RgbPixel looked =
        rgb(static_cast<int>(terms.red(y, v)), static_cast<int>(terms.green(y, u, v)),
            static_cast<int>(terms.blue(y, u)));
    different += looked == YUVHelper::YUVtoRGB601(pixel(y, u, v)) ? 0 : 1;
  });
  EXPECT_EQ(different, 0);
}

}  // namespace
