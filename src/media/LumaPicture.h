#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "media/FFmpegPixels.h"
#include "media/Programme.h"

namespace qatester {

/// Rows of bytes that belong to somebody else.
struct LumaRows {
  const uint8_t* pixels = nullptr;
  std::ptrdiff_t stride = 0;  ///< bytes from a row to the next; may be negative
  int width = 0;
  int height = 0;

  const uint8_t* row(int y) const { return pixels + stride * y; }
  bool hasSizeOf(const LumaRows& other) const {
    return width == other.width && height == other.height;
  }
};

/// What Cb and Cr come to in cells of a picture, in 8 bits.
struct ChromaGrid {
  static constexpr int kColumns = 16;
  static constexpr int kRows = 8;

  bool isThere = false;  ///< false where the picture has no Cb and Cr, or too few
  std::array<uint8_t, static_cast<std::size_t>(kColumns)* kRows> blue = {};
  std::array<uint8_t, static_cast<std::size_t>(kColumns)* kRows> red = {};
};

/// The luma of a picture in 8 bits: deeper pictures lose their lower bits. Of R'G'B' it is the luma
/// of BT.709, in full range. Keeps its memory from one picture to the next.
class LumaPicture {
 public:
  /// False where the samples of the format cannot be read; nothing is there then.
  bool read(const ProgrammePicture& picture);

  /// Valid until the next `read`.
  const LumaRows& rows() const { return rows_; }
  bool isFullRange() const { return isFullRange_; }

  /// Every fourth row of Cb and Cr counts, and every second sample of it.
  ChromaGrid chroma() const;

 private:
  std::shared_ptr<const AVFrame> frame_;
  PixelLayout layout_;
  LumaRows rows_;
  bool isFullRange_ = false;
  std::vector<uint8_t> copy_;
};

}  // namespace qatester
