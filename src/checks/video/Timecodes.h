#pragma once

#include <string>

#include "foundation/Export.h"

// Timecodes of frames that are counted from 0.

/// The number that drop-frame timecode shows for a frame of 29.97 frames a second: 18 numbers are
/// left out every 10 minutes, and which they are shifts smoothly within these, not at whole
/// minutes, which clients rely on. So 1000 gives 1001, and the number steps back where 10 minutes
/// are full: 17981 gives 18000, 17982 gives 17999.
QATESTER_API int convertToDrop(int frame);

/// "hh:mm:ss:ff", or "hh:mm:ss;ff" with drop-frame counting, which is that of 29.97 frames a second
/// at whatever rate. `fps` is the nominal rate (30 for 29.97); 0 or less counts as 1. Hours start
/// again at 24. Numbers of three digits, or negative ones, make the text longer.
QATESTER_API std::string getTimeCode(int frame, bool drop, int fps);
