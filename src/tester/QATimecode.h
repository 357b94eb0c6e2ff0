#pragma once

#include <string>

#include "foundation/Export.h"

/// The timecode of the next frame. It drops frame numbers where the text is written as drop-frame,
/// such as "00:00:59;29" at 29.97 frames a second, and begins again after 24 hours. Empty for a
/// text that is no timecode of this rate, as events have it.
QATESTER_API std::string getNextTimecode(const std::string& timecode, double framesPerSecond);
