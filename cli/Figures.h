#pragma once

#include <string>
#include <vector>

#include "tester/QACheckOutcome.h"

namespace cli {

/// What a check found, in words and with units.

/// Frames per second, to two decimals.
std::string fps(float rate);

/// What a reader must know when less was measured than was to be; empty otherwise. `unit` is the
/// plural of what is counted.
std::string shortfall(const QACheckOutcome& outcome, const char* unit);

/// The extremes of a colour channel.
struct Channel {
  char name;
  int min;
  int max;
};

/// The extremes of all channels, then what does not lie strictly inside the limits in effect.
std::string colourFigures(const std::vector<Channel>& channels, const QACheckOutcome& outcome);

}  // namespace cli
