#include "visual/TimecodeDisplay.h"

namespace qatester {

UniqueCanvas drawTimecodes(const std::string& dropFrame, const std::string& nonDropFrame,
                           int number, CanvasMaker make) {
  UniqueCanvas canvas = make(150, 80);
  if (canvas != nullptr) {
    writeText(*canvas, dropFrame, 20, 20, kGreen);
    writeText(*canvas, nonDropFrame, 20, 40, kRed);
    writeText(*canvas, std::to_string(number), 20, 60, kWhite);
  }
  return canvas;
}

}  // namespace qatester
