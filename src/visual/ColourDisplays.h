#pragma once

#include <memory>

#include "media/OxVideoStream.h"
#include "visual/Visual.h"

namespace qatester {

struct ReleaseCanvas {
  void operator()(IplImage* canvas) const;
};
using UniqueCanvas = std::unique_ptr<IplImage, ReleaseCanvas>;

/// A cleared canvas of 8-bit blue, green, red. When there is no memory for it, pauses for 1000 s
/// and tries again, five times at most; then null.
UniqueCanvas makeCanvas(int width, int height);

// The displays of `Visual` on canvases of their own. Null when there is no canvas or when the
// picture has an invalid pixel: there is nothing to show then.

UniqueCanvas drawDiamond(OxVideoFrameYUV& frame);
UniqueCanvas drawCIE1931(OxVideoFrameYUV& frame);
UniqueCanvas drawLinearGamut(OxVideoFrameYUV& frame);

}  // namespace qatester
