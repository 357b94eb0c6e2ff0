#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "checks/picture/PictureNumbers.h"

namespace qatester {

/// How the fields of pictures that follow each other come from what was recorded.
enum class FieldPattern : uint8_t {
  undetermined,  ///< too little moves
  progressive,
  interlaced,  ///< every field is of another instant
  shifted,     ///< progressive, the fields of two pictures paired
  film23,      ///< 2:3 pull-down: 24 in 30
  film2332,    ///< 2:3:3:2
  film24In25,  ///< a field more every twelve pictures
};

/// What the pixels say of a picture and the one before.
struct FieldEvidence {
  FieldNumbers numbers;
  /// The first picture, a cut or a flash: the two have nothing in common.
  bool isNew = false;
};

/// Pictures of one pattern and one phase.
struct FieldRun {
  int64_t first = 0;
  int64_t end = 0;  ///< exclusive
  FieldPattern pattern = FieldPattern::undetermined;
  /// Which field is the earlier; of no meaning for progressive and undetermined pictures.
  bool isTopFirst = true;
  /// Picture i stands at place (i + phase) of the pattern.
  int phase = 0;
  /// How much the pictures say, 0 to 1 each: their mean.
  float weight = 0.0F;
  /// Of the blocks that move, weighted alike: 0 to 1.
  float progressiveVotes = 0.0F;
  float topVotes = 0.0F;
  float bottomVotes = 0.0F;

  int64_t length() const { return end - first; }
};

/// The most likely runs of all pictures, in order and without a gap. `perSecond` is the rate of the
/// pictures: a second in which nothing says anything is undetermined.
std::vector<FieldRun> findFieldRuns(const std::vector<FieldEvidence>& pictures, double perSecond);

/// How much a picture says, 0 to 1.
float weightOf(const FieldEvidence& evidence);

/// How many pictures the pattern takes to come round.
int lengthOf(FieldPattern pattern);

}  // namespace qatester
