#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tester/QACheckOutcome.h"

namespace cli {

/// Both texts, with `between` between them if both are there.
std::string joined(const std::string& one, const char* between, const std::string& other);

/// With up to three decimals; small ones keep three digits.
std::string figureText(double value);

/// Where an event begins: its timecode or, where it has none, its time to the millisecond. Empty
/// for an event that is nowhere, or everywhere.
std::string placeOf(const QAEvent& event);

/// What there is, how much of it, and the limit: "still picture  4.04 s (limit 2 s)". Where its
/// words do not say so, also the stream and the channel. `outcome`: the event's.
std::string eventWords(const QAEvent& event, const QACheckOutcome& outcome);

/// The same behind the place, from where to where.
std::string eventLine(const QAEvent& event, const QACheckOutcome& outcome);

/// Events that broke the limits of a check, a line each.
struct BreakingEvents {
  std::vector<std::string> lines;
  /// How many more there are, such as "3 more" or "at least 3 more"; empty: none.
  std::string more;
};

/// The first `most` of them. With `placed`, those alone that are somewhere.
BreakingEvents breakingEvents(const QACheckOutcome& outcome, std::size_t most, bool placed);

}  // namespace cli
