#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "media/LumaPicture.h"

namespace qatester {

/// Pixels. Blocks at the right and at the bottom edge may be smaller.
inline constexpr int kBlockWidth = 32;
inline constexpr int kBlockHeight = 16;

/// What the pixels of a block come to, in a picture and against the one before. Even rows are those
/// of the top field.
struct BlockSums {
  /// Of the left and of the right 16 columns.
  uint32_t left = 0;
  uint32_t right = 0;
  /// Magnitudes of the change since the picture before, over even and odd rows.
  uint32_t evenChange = 0;
  uint32_t oddChange = 0;
  /// How far a row is off the mean of its neighbours, both rows of the same picture.
  uint32_t evenComb = 0;
  uint32_t oddComb = 0;
  /// The same, of a row of the picture before between its neighbours in this one.
  uint32_t evenMixed = 0;
  uint32_t oddMixed = 0;

  friend bool operator==(const BlockSums&, const BlockSums&) = default;
};

inline int blockColumns(int width) {
  return (width + kBlockWidth - 1) / kBlockWidth;
}
inline int blockRows(int height) {
  return (height + kBlockHeight - 1) / kBlockHeight;
}

/// Fills `sums`, row by row, of two pictures of the same size. Next to the first and the last row,
/// the row on their other side stands in for the one that is missing. The mean of two neighbours is
/// rounded up.
void sumBlocks(const LumaRows& now, const LumaRows& before, std::vector<BlockSums>& sums);

/// The same, pixel by pixel: what they are.
void sumBlocksPlainly(const LumaRows& now, const LumaRows& before, std::vector<BlockSums>& sums);

/// How many pixels are at most `limit`.
int64_t countUpTo(const LumaRows& picture, uint8_t limit);

/// Sums of all rows, and of all columns.
struct LineSums {
  std::vector<uint32_t> rows;
  std::vector<uint32_t> columns;
};
void sumLines(const LumaRows& picture, LineSums& sums);

}  // namespace qatester
