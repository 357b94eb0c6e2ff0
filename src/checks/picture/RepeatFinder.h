#pragma once

#include <cstdint>
#include <vector>

#include "checks/picture/PictureNumbers.h"
#include "checks/picture/ShotFinder.h"

namespace qatester {

/// What is looked at to find pictures that are shown again.
struct RepeatEvidence {
  ChangeNumbers change;
  PictureKind kind = PictureKind::goesOn;
  bool isFlat = false;
};

/// Pictures that are shown again, one or many at regular distances.
struct Repeats {
  int64_t first = 0;  ///< the first picture that is its predecessor
  int64_t end = 0;    ///< after the last one
  int64_t count = 0;

  bool isRegular() const { return count > 1; }
  /// Of the pictures, those that are new: 0 to 1.
  double newShare() const {
    return 1.0 - static_cast<double>(count) / static_cast<double>(end - first);
  }
};

/// Single pictures that are shown again while something moves, in order.
std::vector<int64_t> findRepeatedPictures(const std::vector<RepeatEvidence>& pictures);

/// Joins those at regular distances.
std::vector<Repeats> joinRepeats(const std::vector<int64_t>& repeated);

}  // namespace qatester
