#include "visual/Visual.h"

#include "foundation/Pause.h"
#include "visual/ColourDisplays.h"
#include "visual/WaveformDisplay.h"
#include "visual/WindowSystem.h"

namespace {

/// Draws only where what is drawn can be shown. False when showing it failed.
template <typename Draw>
bool plot(const std::string& windowName, Draw draw) {
  if (!qatester::windowSystemAvailable()) {
    return true;
  }
  const qatester::UniqueCanvas canvas = draw();
  return canvas == nullptr || qatester::showInWindow(windowName, *canvas);
}

/// The same, with a pause when showing it failed.
template <typename Draw>
void plotOrPause(const std::string& windowName, Draw draw) {
  if (!plot(windowName, draw)) {
    qatester::pause(qatester::kFailedWindowPauseSeconds);
  }
}

}  // namespace

IplImage* Visual::createCleanImage(int width) {
  return qatester::makeCanvas(width, qatester::kPlotRows).release();
}

IplImage* Visual::createCleanImage(int width, int height) {
  return width != 0 && height != 0 ? qatester::makeCanvas(width, height).release() : nullptr;
}

void Visual::plotPoint(int x, int y, IplImage* image, int r, int g, int b) {
  if (image != nullptr) {
    qatester::drawPoint(
        *image, x, y, {static_cast<uint8_t>(b), static_cast<uint8_t>(g), static_cast<uint8_t>(r)});
  }
}

void Visual::plotSample(OxAudioSample& block, const std::string& title) {
  plotOrPause(title, [&] { return qatester::drawSample(block); });
}

void Visual::plotSamples(OxAudioSample& first, OxAudioSample& second, const std::string& title) {
  plotOrPause(title, [&] { return qatester::drawSamples(first, second); });
}

void Visual::plotImageData(OxVideoFrameRGB& frame, const std::string& title) {
  plotOrPause(title, [&] { return qatester::drawImageData(frame); });
}

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
