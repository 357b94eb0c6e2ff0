#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "checks/picture/LumaKernels.h"
#include "media/LumaPicture.h"

namespace qatester {

/// A picture in cells of equal size, each the mean of its luma.
struct Thumb {
  int columns = 0;
  int rows = 0;
  std::vector<uint8_t> cells;  ///< row by row

  std::size_t index(int column, int row) const {
    return static_cast<std::size_t>(row) * static_cast<std::size_t>(columns) +
           static_cast<std::size_t>(column);
  }
  uint8_t at(int column, int row) const { return cells[index(column, row)]; }
  bool hasSizeOf(const Thumb& other) const {
    return columns == other.columns && rows == other.rows;
  }
};

/// Two pictures that follow each other, in numbers. Levels are 8-bit luma codes.
struct ChangeNumbers {
  float mean = 0.0F;     ///< change of a pixel
  float largest = 0.0F;  ///< of the block that changes most, a pixel
  float quarter = 0.0F;  ///< a quarter of the blocks change less, a pixel
};

/// How the fields of a picture fit those of the picture before: means over the blocks in which
/// something moves.
struct FieldNumbers {
  float active = 0.0F;  ///< how many these blocks are
  /// Whether the field fits the other one of the picture before worse than its own: from -1, it
  /// fits that better, to 1.
  float topQuality = 0.0F;
  float bottomQuality = 0.0F;
  /// Its change against that of the field that changes more, 0 to 1.
  float topRatio = 0.0F;
  float bottomRatio = 0.0F;
  /// Of the blocks, 0 to 1: those that say progressive, top first, bottom first.
  float progressiveVotes = 0.0F;
  float topVotes = 0.0F;
  float bottomVotes = 0.0F;
};

/// What the blocks of a picture come to.
struct PictureNumbers {
  // Of luma, and of its change, exactly: means that are printed with many digits.
  uint64_t lumaSum = 0;
  uint64_t changeSum = 0;
  float meanLuma = 0.0F;
  ChangeNumbers change;
  FieldNumbers fields;
};

/// Reduces the blocks of a picture of this size.
PictureNumbers reduceBlocks(const std::vector<BlockSums>& blocks, int width, int height);

/// Cells of 16 x 16 pixels, some together so that at most 48 rows remain. Pixels at the right and
/// at the bottom that fill no cell are left out, unless there is nothing else.
Thumb thumbOf(const std::vector<BlockSums>& blocks, int width, int height);

/// Rows that a thumb has at most.
inline constexpr int kMostThumbRows = 48;

/// The mean difference of two thumbs of the same size.
float distanceOf(const Thumb& one, const Thumb& other);
/// The largest difference of a cell.
int largestDifferenceOf(const Thumb& one, const Thumb& other);

/// How unlike two thumbs of the same size are, wherever the one lies on the other.
struct Likeness {
  /// 1 less the best correlation: about 0 is the same content, whatever its gain; 1 has nothing in
  /// common.
  float unlike = 0.0F;
  /// The least mean difference.
  float distance = 0.0F;
};
Likeness compareShifted(const Thumb& one, const Thumb& other);

/// Whether there is nothing to recognise in it: its cells hardly differ inside what is not black.
bool isFlat(const Thumb& thumb);

}  // namespace qatester
