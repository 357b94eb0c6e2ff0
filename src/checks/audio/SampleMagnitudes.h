#pragma once

#include <cstdint>
#include <limits>

#include "media/OxAudioStream.h"

namespace qatester {

/// The largest and the smallest magnitude other than 0 among the values of a block, in code values.
struct Magnitudes {
  uint32_t largest = 0;
  uint32_t smallest = std::numeric_limits<uint32_t>::max();

  bool operator==(const Magnitudes&) const = default;

  /// All values were 0.
  bool silent() const { return largest == 0; }
};

/// The magnitudes of an 8-, 16- or 32-bit block; silent for other formats. Exact for every value: a
/// 32-bit -2147483648 counts as 2147483648.
Magnitudes measureMagnitudes(const OxAudioSample& block);

/// The same, value by value.
Magnitudes measureMagnitudesOneByOne(const OxAudioSample& block);

}  // namespace qatester
