#pragma once

#include <string>
#include <utility>

#include "foundation/Export.h"
#include "media/OxAudioStream.h"
#include "media/OxVideoStream.h"
#include "media/YUVHelper.h"

struct _IplImage;  // NOLINT(bugprone-reserved-identifier): OpenCV's name
/// OpenCV's image, so that clients that draw nothing need no header of OpenCV.
typedef struct _IplImage IplImage;  // NOLINT(modernize-use-using): as OpenCV declares it

/// A borrowed OpenCV image with pixels of type `Pixel`.
template <typename Pixel>
struct Image {
  IplImage* image = nullptr;  ///< null: none
};

/// Draws diagnostic displays of pictures and sound and shows them in on-screen windows. The caller
/// lets the windows repaint (`cvWaitKey`). Where no window system is available nothing is drawn or
/// shown. A picture that cannot be read (see `YUVHelper`) is not shown.
///
/// Canvases are 8-bit blue, green, red. When one cannot be made (no memory, no canvas of such a
/// size), the call pauses for 1000 s and tries again; after five failures nothing is shown. When
/// the window of `plotSample`, `plotSamples` or `plotImageData` cannot be shown, the call pauses
/// for 1000 s.
class QATESTER_API Visual {
 public:
  /// A cleared canvas of `width` x 256, or of `width` x `height`, the caller's to release
  /// (`cvReleaseImage`); needs no window system. Null after five failures, and at once when `width`
  /// and `height` are given and either is 0.
  static IplImage* createCleanImage(int width);
  /// The same of any height.
  static IplImage* createCleanImage(int width, int height);

  /// A bar one pixel wide in column `x`, from the zero line in row 127 to row `y`, both included:
  /// adds `r`, `g` and `b` to the bytes of each of its pixels, which wrap around. A bar that ends
  /// on the zero line is added twice. What falls outside the canvas, which must be one of 8-bit
  /// blue, green, red, is left out; null is left alone.
  static void plotPoint(int x, int y, IplImage* image, int r, int g, int b);

  /// The waveform of a block, a column a value, in green: full scale is 127 rows, upwards from the
  /// zero line in row 127. Of samples that are not 8-, 16- or 32-bit integers the canvas stays
  /// empty. A block without values or buffer is not shown.
  static void plotSample(OxAudioSample& block, const std::string& title);

  /// The waveforms of two blocks, the first in green, the second in red, with a legend; where they
  /// overlap the colours add up to yellow. As wide as the first; both are read in the first one's
  /// format, the second as far as its bytes go. Not shown unless the first has values and both have
  /// buffers.
  static void plotSamples(OxAudioSample& first, OxAudioSample& second, const std::string& title);

  /// A converted picture. Its bytes are copied as one run: rows of a canvas are padded to four
  /// bytes, so a picture whose rows are not a multiple of that appears sheared. One that is invalid
  /// or has no buffer is not shown.
  static void plotImageData(OxVideoFrameRGB& frame, const std::string& title);

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
