#pragma once

#include <string>
#include <utility>

#include "foundation/Export.h"
#include "media/OxVideoStream.h"
#include "media/YUVHelper.h"

// OpenCV's image, so that clients that draw nothing need no header of OpenCV.
struct _IplImage;
typedef struct _IplImage IplImage;  // NOLINT(modernize-use-using): as OpenCV declares it

/// A borrowed OpenCV image with pixels of type `Pixel`.
template <typename Pixel>
struct Image {
  IplImage* image = nullptr;
};

/// Draws diagnostic displays of pictures and shows them in on-screen windows. The caller lets the
/// windows repaint (`cvWaitKey`). Where no window system is available nothing is drawn or shown.
/// A picture that cannot be read (see `YUVHelper`) is not shown.
///
/// Canvases are 8-bit blue, green, red. When there is no memory for one, the call pauses for 1000 s
/// and tries again; after five failures nothing is shown.
class QATESTER_API Visual {
 public:
  /// Red against green on the left, blue against green on the right; the inner squares hold what is
  /// legal. A point of which a channel is outside 0 to 255 is white. 512 x 256.
  static void plotDiamondDisplay(OxVideoFrameYUV& frame, const std::string& windowName);

  /// Chromaticities, each in its colour, over a triangle with 0.1 a grid step. 256 x 256.
  static void plotCIE1931Display(OxVideoFrameYUV& frame, const std::string& windowName);

  /// The distributions of Y, Cb and Cr across the picture's width, side by side; code values
  /// outside 17 to 234 are white. 512 x 256.
  static void plotLinearGamutDisplay(OxVideoFrameYUV& frame, const std::string& windowName);

  /// Plots one pixel of the chromaticity display: chromaticity (0, 0) is at column `originX` and
  /// row `originY`, one unit is `scale` pixels; what falls outside `columnLimit` x `rowLimit`
  /// pixels, or outside the canvas, is left out. The canvas, which must be one of 8-bit blue,
  /// green, red, stays the caller's; null is left alone.
  static void plotCIE1931DisplayPoint(Image<RgbPixel> canvas, float y, float u, float v,
                                      int originX, int originY, int scale, int rowLimit,
                                      int columnLimit);

  /// Three bars, one a channel, and a level bar, counted in rows from the bottom. Of a pair, the
  /// first `second` rows are black, those from there to `first` have the channel's colour, and
  /// those above `first` + `second` are white. 105 x 266. Throws what OpenCV throws when there is
  /// no memory for the canvas: it does not pause.
  static void plotImageColourSpace(std::pair<int, int> red, std::pair<int, int> green,
                                   std::pair<int, int> blue, int level,
                                   const std::string& windowName);
};
