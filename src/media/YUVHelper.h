#pragma once

#include "foundation/Export.h"
#include "media/OxVideoStream.h"

/// One pixel of a planar picture as stored: 8-bit code values.
struct YUVPixel {
  int y = 0;           ///< luma
  int u = 0;           ///< Cb
  int v = 0;           ///< Cr
  bool valid = false;  ///< false: it could not be read

  /// Equal in all fields.
  bool operator==(const YUVPixel&) const = default;
};

/// One pixel in studio-range R'G'B', black 0 and white 255. Not clamped: colours outside the legal
/// range lie below 0 or above 255.
struct RgbPixel {
  int r = 0;           ///< red
  int g = 0;           ///< green
  int b = 0;           ///< blue
  bool valid = false;  ///< false: its `YUVPixel` was invalid

  /// Equal in all fields.
  bool operator==(const RgbPixel&) const = default;
};

/// Reads single pixels of decoded pictures and converts them from Y'CbCr to R'G'B'. Coordinates are
/// luma pixels from the top left corner and are not checked against the picture's size.
class QATESTER_API YUVHelper {
 public:
  /// By the picture's pixel format. A format other than 8-bit planar 4:2:0, 4:2:2 or 4:4:4 writes a
  /// line on standard output and gives an invalid pixel, as does, silently, a record without a
  /// picture.
  static YUVPixel getYUVPixelFromFrame(OxVideoFrameYUV& frame, int x, int y);

  /// The readers for one chroma subsampling each, this one for 4:2:0, whatever the picture's own
  /// format. Invalid when the record or one of its planes is.
  static YUVPixel getYUV420PixelFromFrame(OxVideoFrameYUV& frame, int x, int y);
  /// For 4:2:2.
  static YUVPixel getYUV422PixelFromFrame(OxVideoFrameYUV& frame, int x, int y);
  /// For 4:4:4.
  static YUVPixel getYUV444PixelFromFrame(OxVideoFrameYUV& frame, int x, int y);

  /// Converts with the luma coefficients `kb` (blue) and `kr` (red) in single precision; results
  /// are truncated toward zero. An invalid pixel stays invalid.
  static RgbPixel YUVtoRGB(YUVPixel pixel, float kb, float kr);

  /// The coefficients of ITU-R BT.601: 0.114 and 0.299.
  static RgbPixel YUVtoRGB601(YUVPixel pixel);

  /// The coefficients of ITU-R BT.709: 0.0722 and 0.2126.
  static RgbPixel YUVtoRGB709(YUVPixel pixel);
};
