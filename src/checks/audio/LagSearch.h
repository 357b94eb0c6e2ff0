#pragma once

#include <cstdint>

#include "media/OxAudioStream.h"

namespace qatester {

/// Where a block left the search for the lag between two channels.
struct BestLag {
  /// The mean difference that a further lag must beat.
  int64_t score = 0;
  int lag = 0;  ///< in samples

  bool operator==(const BestLag&) const = default;
};

/// Searches lags from 0 to half a block for the one with the smallest mean difference between two
/// channels, either of which may lag. Both blocks have the first one's format and count. Starts
/// from what the block before left: lag 0 counts only when it beats that, then gives way to any
/// other whose mean difference is below the number of values; without any, the lag stays what it
/// was. Required as it is.
BestLag searchLags(const OxAudioSample& first, const OxAudioSample& second, BestLag before);

/// The same, pair by pair and in double precision.
BestLag searchLagsOneByOne(const OxAudioSample& first, const OxAudioSample& second, BestLag before);

}  // namespace qatester
