#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>

#include "media/Programme.h"

namespace qatester {

/// Says which pictures are damaged, one after the other. Where most packets are flagged and all
/// that comes of them decodes, a transport stream's packets are counted wrongly, and nothing is
/// damaged.
class DamagedPictures {
 public:
  /// Of the next picture, by its `Damage`.
  bool isDamaged(unsigned damage) {
    const unsigned others = damage & ~static_cast<unsigned>(kFromBadPacket);
    flagged_ = flagged_ << 1U | ((damage & kFromBadPacket) != 0 ? 1U : 0U);
    damaged_ = damaged_ << 1U | (others != 0 ? 1U : 0U);
    seen_ = std::min(seen_ + 1, kLooksBack);
    if (damage == kNoDamage) {
      return false;
    }
    const int flagged = std::popcount(flagged_);
    return damaged_ != 0 || flagged < kLeastFlagged || 2 * flagged <= seen_;
  }

 private:
  static constexpr int kLooksBack = 32;
  static constexpr int kLeastFlagged = 8;

  /// Of the last pictures, a bit each.
  uint32_t flagged_ = 0;
  uint32_t damaged_ = 0;
  int seen_ = 0;
};

}  // namespace qatester
