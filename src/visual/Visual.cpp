#include "visual/Visual.h"

#include "visual/ColourDisplays.h"
#include "visual/WindowSystem.h"

namespace {

/// Draws only where what is drawn can be shown.
template <typename Draw>
void plot(const std::string& windowName, Draw draw) {
  if (!qatester::windowSystemAvailable()) {
    return;
  }
  if (const qatester::UniqueCanvas canvas = draw()) {
    qatester::showInWindow(windowName, *canvas);
  }
}

}  // namespace

void Visual::plotDiamondDisplay(OxVideoFrameYUV& frame, const std::string& windowName) {
  plot(windowName, [&] { return qatester::drawDiamond(frame); });
}

void Visual::plotCIE1931Display(OxVideoFrameYUV& frame, const std::string& windowName) {
  plot(windowName, [&] { return qatester::drawCIE1931(frame); });
}

void Visual::plotLinearGamutDisplay(OxVideoFrameYUV& frame, const std::string& windowName) {
  plot(windowName, [&] { return qatester::drawLinearGamut(frame); });
}

void Visual::plotCIE1931DisplayPoint(Image<RgbPixel> canvas, float y, float u, float v, int originX,
                                     int originY, int scale, int rowLimit, int columnLimit) {
  if (canvas.image != nullptr) {
    qatester::drawCIE1931Point(*canvas.image, y, u, v, originX, originY, scale, rowLimit,
                               columnLimit);
  }
}

void Visual::plotImageColourSpace(std::pair<int, int> red, std::pair<int, int> green,
                                  std::pair<int, int> blue, int level,
                                  const std::string& windowName) {
  plot(windowName, [&] { return qatester::drawColourSpace(red, green, blue, level); });
}
