#pragma once

#include <ctime>
#include <optional>
#include <string>

#include "media/QAMedia.h"

namespace cli {

/// What a file says of itself, in one line: container, picture, sound, duration, timecode.
std::string factsLine(const QAMedia& media, const std::string& fileName);

/// A container has several names, such as "mov,mp4": the one that the file is called by, or the
/// first.
std::string containerName(const std::string& names, const std::string& fileName);

/// With up to three decimals, such as "25" and "29.97".
std::string shortNumber(double value);

/// Hours, minutes and seconds to `decimals` places, such as "00:01:30.0".
std::string clockText(double seconds, int decimals);

/// Rounded: sums of durations end in digits that nobody asked for.
std::optional<double> wholeMicroseconds(const std::optional<double>& seconds);

/// The date and the time in UTC, such as "2000-01-01T00:00:00Z".
std::string utcText(std::time_t time);

}  // namespace cli
