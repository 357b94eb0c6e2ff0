#pragma once

#include <cstddef>
#include <string>

#include "tester/QACheckOutcome.h"

namespace qatester {

// What checks found, in words and with units.

/// Appends an item, if there is one, to a list.
void addWords(std::string& list, const char* separator, const std::string& item);

struct Unit {
  const char* text;
  int decimals;
};
inline constexpr Unit kCodeValues{"", 0};
inline constexpr Unit kDecibels{" dB", 2};
inline constexpr Unit kFramesPerSecond{" fps", 2};
inline constexpr Unit kLoudnessUnits{" LKFS", 2};
inline constexpr Unit kSamples{" samples", 2};
inline constexpr Unit kSeconds{" s", 2};

std::string quantity(double value, const Unit& unit);

/// With as many digits as it takes, up to six.
std::string plain(double value);

/// A share in percent.
std::string percent(double share);

/// A number and what it counts, in the singular or the plural.
std::string counted(double count, const char* noun);

/// An audio stream, counted from 0, of so many: "sound" where it is the only one.
std::string soundName(std::size_t index, std::size_t count);

/// What a value that lies `excess` beyond a limit does; empty for one inside it. A value on the
/// limit is outside: the limits are strict.
std::string trespass(const std::string& name, double excess, const char* side, double limit,
                     const Unit& unit);

/// What a reader must know when less was measured than was to be; empty otherwise. `unit` is the
/// plural of what is counted.
std::string shortfall(const QACheckOutcome& outcome, const char* unit);

/// Adds to the values how many frames or blocks were measured, and were to be, if it began.
void addFrameCounts(QACheckOutcome& outcome);
void addBlockCounts(QACheckOutcome& outcome);

}  // namespace qatester
