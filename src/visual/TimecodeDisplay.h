#pragma once

#include <string>

#include "visual/Canvas.h"

namespace qatester {

/// The timecodes of a frame, drop-frame in green over non-drop-frame in red, and its number in
/// white. 150 x 80. Null when there is no memory.
UniqueCanvas drawTimecodes(const std::string& dropFrame, const std::string& nonDropFrame,
                           int number, CanvasMaker make = makeCanvas);

}  // namespace qatester
