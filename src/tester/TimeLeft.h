#pragma once

#include <optional>

namespace qatester {

/// What is left of a run that has done `share` (0 to 1) of its work in `elapsed` seconds, in
/// seconds. Empty while that says too little.
inline std::optional<double> secondsLeft(double elapsed, double share) {
  constexpr double kLeastSeconds = 2.0;
  constexpr double kLeastShare = 0.01;
  if (elapsed < kLeastSeconds || share < kLeastShare || share > 1.0) {
    return std::nullopt;
  }
  return elapsed * (1.0 - share) / share;
}

}  // namespace qatester
