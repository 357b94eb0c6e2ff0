#include "media/LumaPicture.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "media/EightBits.h"
#include "support/InstructionSets.h"
#include "support/MadePictures.h"

namespace {

using namespace qatester;
using qatest::emptyFrame;
using qatest::withEachInstructionSet;

ProgrammePicture pictureOf(const std::shared_ptr<AVFrame>& frame) {
  ProgrammePicture picture;
  picture.frame = frame;
  return picture;
}

/// Puts values of two bytes into a plane.
void putWords(AVFrame& frame, std::size_t plane, int x, int y, unsigned value, bool isBigEndian) {
  uint8_t* at = frame.data[plane] + frame.linesize[plane] * y + 2 * x;
  at[isBigEndian ? 1 : 0] = static_cast<uint8_t>(value & 0xFFU);
  at[isBigEndian ? 0 : 1] = static_cast<uint8_t>(value >> 8U);
}

TEST(EightBits, AreTheSameInVectorsAndOneByOne) {
  std::mt19937 random(1);
  for (const std::size_t count : {0U, 1U, 7U, 16U, 33U, 100U}) {
    std::vector<uint16_t> values(count);
    for (uint16_t& value : values) {
      value = static_cast<uint16_t>(random());
    }
    for (const int shift : {0, 2, 4, 8}) {
      std::vector<uint8_t> expected(count);
      writeEightBitsOneByOne(values.data(), count, shift, expected.data());
      withEachInstructionSet([&] {
        std::vector<uint8_t> found(count);
        writeEightBits(values.data(), count, shift, found.data());
        EXPECT_EQ(found, expected) << count << ", " << shift;
      });
    }
  }
}

TEST(LumaPicture, OfEightBitsIsTheDecodersOwn) {
  for (const AVPixelFormat format :
       {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_NV12, AV_PIX_FMT_GRAY8}) {
    const auto frame = emptyFrame(format, 20, 10);
    LumaPicture luma;
    ASSERT_TRUE(luma.read(pictureOf(frame)));
    EXPECT_EQ(luma.rows().pixels, frame->data[0]);
    EXPECT_EQ(luma.rows().stride, frame->linesize[0]);
    EXPECT_FALSE(luma.isFullRange());
  }
}

TEST(LumaPicture, OfMoreBitsLosesTheLowerOnes) {
  struct Case {
    AVPixelFormat format;
    unsigned value;
    bool isBigEndian;
  };
  // 0xAB and lower bits.
  for (const Case& its : {Case{AV_PIX_FMT_YUV420P10LE, 0x2AF, false},
                          {AV_PIX_FMT_YUV422P10BE, 0x2AF, true},
                          {AV_PIX_FMT_YUV444P12LE, 0xABC, false},
                          {AV_PIX_FMT_YUV420P16LE, 0xABCD, false},
                          {AV_PIX_FMT_P010LE, 0x2AFU << 6U, false},
                          {AV_PIX_FMT_GRAY10LE, 0x2AF, false}}) {
    const auto frame = emptyFrame(its.format, 37, 3);
    for (int y = 0; y < 3; ++y) {
      for (int x = 0; x < 37; ++x) {
        putWords(*frame, 0, x, y, its.value, its.isBigEndian);
      }
    }
    LumaPicture luma;
    ASSERT_TRUE(luma.read(pictureOf(frame)));
    for (int x = 0; x < 37; ++x) {
      EXPECT_EQ(luma.rows().row(2)[x], 0xAB) << its.format;
    }
  }
}

TEST(LumaPicture, OfPackedPixelsIsTakenOutOfThem) {
  for (const auto& [format, offset] : {std::pair{AV_PIX_FMT_YUYV422, 0}, {AV_PIX_FMT_UYVY422, 1}}) {
    const auto frame = emptyFrame(format, 16, 2);
    for (int x = 0; x < 16; ++x) {
      frame->data[0][frame->linesize[0] + 2 * x + offset] = static_cast<uint8_t>(10 + x);
      frame->data[0][frame->linesize[0] + 2 * x + 1 - offset] = 200;
    }
    LumaPicture luma;
    ASSERT_TRUE(luma.read(pictureOf(frame)));
    EXPECT_EQ(luma.rows().row(1)[5], 15);
  }
}

TEST(LumaPicture, OfColoursIsThatOfBt709InFullRange) {
  const auto packed = emptyFrame(AV_PIX_FMT_RGB24, 4, 1);
  const auto planar = emptyFrame(AV_PIX_FMT_GBRP, 4, 1);
  const uint8_t colours[4][3] = {{255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {255, 255, 255}};
  for (int x = 0; x < 4; ++x) {
    for (int i = 0; i < 3; ++i) {
      packed->data[0][3 * x + i] = colours[x][i];
    }
    planar->data[2][x] = colours[x][0];
    planar->data[0][x] = colours[x][1];
    planar->data[1][x] = colours[x][2];
  }
  // 0.2126, 0.7152 and 0.0722 of 255.
  const std::vector<uint8_t> expected = {54, 182, 18, 255};
  for (const auto& frame : {packed, planar}) {
    LumaPicture luma;
    ASSERT_TRUE(luma.read(pictureOf(frame)));
    EXPECT_TRUE(luma.isFullRange());
    EXPECT_EQ(std::vector<uint8_t>(luma.rows().row(0), luma.rows().row(0) + 4), expected);
  }
}

TEST(LumaPicture, KnowsItsRange) {
  const auto flagged = emptyFrame(AV_PIX_FMT_YUV420P, 8, 8);
  flagged->color_range = AVCOL_RANGE_JPEG;
  LumaPicture luma;
  ASSERT_TRUE(luma.read(pictureOf(flagged)));
  EXPECT_TRUE(luma.isFullRange());
  ASSERT_TRUE(luma.read(pictureOf(emptyFrame(AV_PIX_FMT_YUVJ420P, 8, 8))));
  EXPECT_TRUE(luma.isFullRange());
}

TEST(LumaPicture, IsNotThereWithoutSamplesOfWholeBytes) {
  LumaPicture luma;
  for (const AVPixelFormat format : {AV_PIX_FMT_PAL8, AV_PIX_FMT_MONOBLACK, AV_PIX_FMT_GRAYF32}) {
    EXPECT_FALSE(luma.read(pictureOf(emptyFrame(format, 8, 8)))) << format;
    EXPECT_EQ(luma.rows().pixels, nullptr);
    EXPECT_FALSE(luma.chroma().isThere);
  }
}

TEST(ChromaGrid, HoldsTheMeansOfItsCells) {
  const auto frame = emptyFrame(AV_PIX_FMT_YUV420P, 256, 128);
  for (int y = 0; y < 64; ++y) {
    for (int x = 0; x < 128; ++x) {
      frame->data[1][frame->linesize[1] * y + x] = static_cast<uint8_t>(100 + x / 8);
      frame->data[2][frame->linesize[2] * y + x] = static_cast<uint8_t>(50 + y / 8);
    }
  }
  LumaPicture luma;
  ASSERT_TRUE(luma.read(pictureOf(frame)));
  const ChromaGrid grid = luma.chroma();
  ASSERT_TRUE(grid.isThere);
  for (int row = 0; row < ChromaGrid::kRows; ++row) {
    for (int column = 0; column < ChromaGrid::kColumns; ++column) {
      const auto cell = static_cast<std::size_t>(row * ChromaGrid::kColumns + column);
      EXPECT_EQ(grid.blue[cell], 100 + column);
      EXPECT_EQ(grid.red[cell], 50 + row);
    }
  }
}

}  // namespace
