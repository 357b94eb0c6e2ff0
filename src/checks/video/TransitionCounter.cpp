#include "checks/video/TransitionCounter.h"

#include <algorithm>
#include <cstdlib>

namespace qatester {

int levelOf(float relation) {
  return static_cast<int>(std::clamp(relation * 255.0F, 0.0F, 254.0F));
}

bool TransitionCounter::add(int level) {
  lastJump_ = std::abs(level - previousLevel_.value_or(level));
  previousLevel_ = level;
  const auto jump = static_cast<float>(lastJump_ / 255.0);
  if (inTransition_) {
    inTransition_ = !(halfChange_ > jump);
    return false;
  }
  inTransition_ = jump > percentChange_;
  transitions_ += inTransition_ ? 1 : 0;
  return inTransition_;
}

}  // namespace qatester
