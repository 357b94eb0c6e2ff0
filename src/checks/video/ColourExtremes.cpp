#include "checks/video/ColourExtremes.h"

#include "media/YUVConversion.h"

namespace qatester {

ColourExtremes measureColours(const PlanarPicture& picture, const Rectangle& rectangle) {
  ColourExtremes result;
  for (int y = rectangle.yStart; y < rectangle.yEnd; ++y) {
    const uint8_t* luma = picture.lumaRow(y);
    const uint8_t* cb = picture.chromaRow(1, y);
    const uint8_t* cr = picture.chromaRow(2, y);
    for (int x = rectangle.xStart; x < rectangle.xEnd; ++x) {
      const int u = cb[x >> picture.chromaShiftX];
      const int v = cr[x >> picture.chromaShiftX];
      const int r = static_cast<int>(kBt601Terms.red(luma[x], v));
      const int g = static_cast<int>(kBt601Terms.green(luma[x], u, v));
      const int b = static_cast<int>(kBt601Terms.blue(luma[x], u));
      result.r.widen({r, r});
      result.g.widen({g, g});
      result.b.widen({b, b});
      result.y.widen({luma[x], luma[x]});
    }
  }
  return result;
}

}  // namespace qatester
