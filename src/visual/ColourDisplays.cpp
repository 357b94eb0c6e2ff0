#include "visual/ColourDisplays.h"

#include <opencv2/core/core_c.h>

namespace qatester {

void ReleaseCanvas::operator()(IplImage* canvas) const {
  cvReleaseImage(&canvas);
}

UniqueCanvas drawDiamond(OxVideoFrameYUV&) {
  return nullptr;
}
UniqueCanvas drawCIE1931(OxVideoFrameYUV&) {
  return nullptr;
}
UniqueCanvas drawLinearGamut(OxVideoFrameYUV&) {
  return nullptr;
}

}  // namespace qatester
