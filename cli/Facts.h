#pragma once

#include <string>

#include "media/QAMedia.h"

namespace cli {

/// What a file says of itself, in one line: container, picture, sound, duration, timecode.
std::string factsLine(const QAMedia& media, const std::string& fileName);

/// With up to three decimals, such as "25" and "29.97".
std::string shortNumber(double value);

/// Hours, minutes and seconds to `decimals` places, such as "00:01:30.0".
std::string clockText(double seconds, int decimals);

}  // namespace cli
