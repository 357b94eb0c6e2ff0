#pragma once

#include <cstdint>
#include <optional>

#include "media/OxAudioStream.h"

namespace qatester {

/// How many samples of a second channel match a first channel's sample before, at and after the
/// same instant.
struct Matches {
  int64_t previous = 0;
  int64_t same = 0;
  int64_t next = 0;

  bool operator==(const Matches&) const = default;
};

/// Counts over all instants but the first and the last; see `checkSingleSample`. Both blocks have
/// the first one's format and count; of formats other than 8-, 16- and 32-bit nothing matches.
Matches countMatches(const OxAudioSample& first, const OxAudioSample& second, float tolerance);

/// The same, pair by pair.
Matches countMatchesOneByOne(const OxAudioSample& first, const OxAudioSample& second,
                             float tolerance);

/// The largest difference at which two 16-bit samples match within a width in code values, where
/// that is the same for all samples; nothing where rounding may make it differ.
std::optional<int> largestMatchingDifference(float width);

}  // namespace qatester
