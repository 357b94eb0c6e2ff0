#pragma once

#include <optional>

namespace qatester {

/// The level of a picture: 255 times its relation to its neighbours, from 0 to 254, truncated.
int levelOf(float relation);

/// Counts abrupt changes of the level from picture to picture. A change counts once; it is over
/// when the level moves by less than half of what begins one.
class TransitionCounter {
 public:
  /// `percentChange` is the share of 255 that the level must move by more than.
  explicit TransitionCounter(float percentChange)
      : percentChange_(percentChange), halfChange_(static_cast<float>(percentChange * 0.5)) {}

  /// Takes the level of the next picture; the first one begins no change. Returns whether a change
  /// has begun.
  bool add(int level);

  int transitions() const { return transitions_; }

  /// By how much the last level differed from the one before.
  int lastJump() const { return lastJump_; }

 private:
  float percentChange_;
  float halfChange_;
  std::optional<int> previousLevel_;
  bool inTransition_ = false;
  int lastJump_ = 0;
  int transitions_ = 0;
};

}  // namespace qatester
