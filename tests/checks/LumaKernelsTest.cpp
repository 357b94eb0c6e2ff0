#include "checks/picture/LumaKernels.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "support/InstructionSets.h"

namespace qatester {

void PrintTo(const BlockSums& sums, std::ostream* out) {
  *out << "luma " << sums.left << " " << sums.right << ", change " << sums.evenChange << " "
       << sums.oddChange << ", comb " << sums.evenComb << " " << sums.oddComb << ", mixed "
       << sums.evenMixed << " " << sums.oddMixed;
}

}  // namespace qatester

namespace {

using namespace qatester;
using qatest::withEachInstructionSet;

/// Rows with bytes between them that do not belong to the picture.
struct Pixels {
  Pixels(int width, int height, unsigned seed) : width_(width), height_(height) {
    std::mt19937 random(seed);
    bytes_.resize(static_cast<std::size_t>(stride()) * static_cast<std::size_t>(height));
    for (uint8_t& byte : bytes_) {
      byte = static_cast<uint8_t>(random());
    }
  }

  LumaRows rows() const { return {bytes_.data(), stride(), width_, height_}; }
  /// The same upside down.
  LumaRows rowsUpward() const {
    return {bytes_.data() + static_cast<std::ptrdiff_t>(stride()) * (height_ - 1), -stride(),
            width_, height_};
  }

 private:
  int stride() const { return width_ + 5; }

  int width_;
  int height_;
  std::vector<uint8_t> bytes_;
};

TEST(BlockSums, AreTheSameInVectorsAndPixelByPixel) {
  for (const auto& [width, height] : {std::pair{1, 1},
                                      {1, 2},
                                      {2, 1},
                                      {31, 15},
                                      {32, 16},
                                      {33, 17},
                                      {64, 48},
                                      {97, 33},
                                      {160, 31},
                                      {7, 100}}) {
    const Pixels now(width, height, 1);
    const Pixels before(width, height, 2);
    std::vector<BlockSums> expected;
    sumBlocksPlainly(now.rows(), before.rows(), expected);
    std::vector<BlockSums> upward;
    sumBlocksPlainly(now.rowsUpward(), before.rowsUpward(), upward);
    withEachInstructionSet([&] {
      std::vector<BlockSums> found;
      sumBlocks(now.rows(), before.rows(), found);
      EXPECT_EQ(found, expected) << width << " x " << height;
      sumBlocks(now.rowsUpward(), before.rowsUpward(), found);
      EXPECT_EQ(found, upward) << width << " x " << height;
    });
  }
}

TEST(BlockSums, OfTheLargestDifferencesDoNotOverflow) {
  std::vector<uint8_t> black(64 * 32, 0);
  std::vector<uint8_t> white(64 * 32, 255);
  std::vector<BlockSums> sums;
  sumBlocks({white.data(), 64, 64, 32}, {black.data(), 64, 64, 32}, sums);
  ASSERT_EQ(sums.size(), 4U);
  for (const BlockSums& block : sums) {
    EXPECT_EQ(block.left, 16U * 16U * 255U);
    EXPECT_EQ(block.right, 16U * 16U * 255U);
    EXPECT_EQ(block.evenChange, 32U * 8U * 255U);
    EXPECT_EQ(block.oddChange, 32U * 8U * 255U);
    EXPECT_EQ(block.evenComb + block.oddComb, 0U);
    EXPECT_EQ(block.evenMixed, 32U * 8U * 255U);
    EXPECT_EQ(block.oddMixed, 32U * 8U * 255U);
  }
}

TEST(BlockSums, OfRowsByTurnsAreCombed) {
  // Even rows 100, odd rows 140: every row is 40 off its neighbours, the edges included.
  std::vector<uint8_t> combed;
  for (int y = 0; y < 16; ++y) {
    combed.insert(combed.end(), 32, y % 2 == 0 ? 100 : 140);
  }
  const LumaRows rows{combed.data(), 32, 32, 16};
  std::vector<BlockSums> sums;
  sumBlocks(rows, rows, sums);
  EXPECT_EQ(sums.at(0).evenComb, 32U * 8U * 40U);
  EXPECT_EQ(sums.at(0).oddComb, 32U * 8U * 40U);
  EXPECT_EQ(sums.at(0).evenMixed, 32U * 8U * 40U);
  EXPECT_EQ(sums.at(0).evenChange + sums.at(0).oddChange, 0U);
}

TEST(CountUpTo, CountsPixelsNoLighterThanTheLimit) {
  const Pixels pixels(131, 17, 3);
  for (const int limit : {0, 37, 128, 254, 255}) {
    int64_t expected = 0;
    for (int y = 0; y < 17; ++y) {
      for (int x = 0; x < 131; ++x) {
        expected += pixels.rows().row(y)[x] <= limit ? 1 : 0;
      }
    }
    withEachInstructionSet(
        [&] { EXPECT_EQ(countUpTo(pixels.rows(), static_cast<uint8_t>(limit)), expected); });
  }
}

TEST(LineSums, AreThoseOfRowsAndColumns) {
  const Pixels pixels(67, 9, 4);
  std::vector<uint32_t> rows(9);
  std::vector<uint32_t> columns(67);
  for (std::size_t y = 0; y < rows.size(); ++y) {
    for (std::size_t x = 0; x < columns.size(); ++x) {
      const uint8_t pixel = pixels.rows().row(static_cast<int>(y))[x];
      rows[y] += pixel;
      columns[x] += pixel;
    }
  }
  withEachInstructionSet([&] {
    LineSums sums;
    sumLines(pixels.rows(), sums);
    EXPECT_EQ(sums.rows, rows);
    EXPECT_EQ(sums.columns, columns);
  });
}

}  // namespace
