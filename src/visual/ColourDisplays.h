#pragma once

#include <utility>

#include "media/OxVideoStream.h"
#include "visual/Canvas.h"

namespace qatester {

// The displays of `Visual` on canvases of their own. Null when there is no canvas or when the
// picture has an invalid pixel: there is nothing to show then.

UniqueCanvas drawDiamond(OxVideoFrameYUV& frame, CanvasMaker make = makeCanvas);
UniqueCanvas drawCIE1931(OxVideoFrameYUV& frame, CanvasMaker make = makeCanvas);
UniqueCanvas drawLinearGamut(OxVideoFrameYUV& frame, CanvasMaker make = makeCanvas);

/// Never null: without memory it throws what OpenCV throws.
UniqueCanvas drawColourSpace(std::pair<int, int> red, std::pair<int, int> green,
                             std::pair<int, int> blue, int level);

/// See `Visual::plotCIE1931DisplayPoint`.
void drawCIE1931Point(IplImage& canvas, float y, float u, float v, int originX, int originY,
                      int scale, int rowLimit, int columnLimit);

}  // namespace qatester
