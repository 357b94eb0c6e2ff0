#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <vector>

#include "media/ConvertedRows.h"
#include "media/FFmpeg.h"
#include "media/OxVideoStream.h"

namespace qatester {

/// Converts pictures to packed 8-bit blue, green, red. Each thread that converts has one of its
/// own. It keeps the scaler and the rows from picture to picture.
///
/// The planes must be readable for `ffmpeg::kPlanePadding` bytes after their last row: the scaler
/// reads whole vectors. Pictures of a stream are.
class PictureConverter {
 public:
  PictureConverter();
  ~PictureConverter();
  PictureConverter(const PictureConverter&) = delete;
  PictureConverter& operator=(const PictureConverter&) = delete;

  /// Whether a picture like this one can be converted. A picture without planes cannot; for others
  /// it is decided once for each size and pixel format, by converting the first.
  bool canConvert(const OxVideoFrameYUV& picture);

  /// Converts a few rows at a time from top to bottom, so that they are still in the processor's
  /// cache when `take` gets them. Rows are valid during the call of `take`. False when there is
  /// nothing to convert or no memory.
  bool inSlices(const OxVideoFrameYUV& picture,
                const std::function<void(const ConvertedRows& rows)>& take);

  /// The whole picture, packed. The buffer of the record is released with `free`; the record is
  /// invalid when there is nothing to convert or no memory.
  OxVideoFrameRGB whole(const OxVideoFrameYUV& picture);

  /// The scaler for pictures of that size and format; null when FFmpeg has none for them. It stays
  /// the converter's, until it converts a picture of another size or format.
  SwsContext* prepareScaler(int width, int height, int format);

 private:
  using Shape = std::array<int, 3>;  ///< width, height, pixel format

  /// The picture to convert if the scaler is ready for it; null otherwise.
  const AVFrame* prepare(const OxVideoFrameYUV& picture);
  bool convertAtOnce(const AVFrame& picture, uint8_t* target, std::size_t stride);
  uint8_t* rowsOf(std::size_t bytes);

  ffmpeg::UniqueScaler scaler_;
  Shape shape_{};  ///< what `scaler_` was made for
  std::map<Shape, bool> convertible_;
  std::vector<uint8_t> rows_;  ///< wide enough for the scaler to write past a picture's width
};

}  // namespace qatester
