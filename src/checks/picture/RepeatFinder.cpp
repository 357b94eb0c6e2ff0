#include "checks/picture/RepeatFinder.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <optional>

namespace qatester {

namespace {

/// Pictures on either side that say how much moves.
constexpr int64_t kNeighbours = 8;
/// Something moves where three quarters of them change less than the largest of these.
constexpr float kLeastMotion = 4.0F;
/// What a repeated picture changes by, in the block that changes most: levels, and against motion.
constexpr float kMostChange = 6.0F;
constexpr float kOfStrongMotion = 0.1F;
constexpr float kOfMotion = 0.3F;
constexpr float kOfMeanMotion = 0.55F;
/// Against the pictures that move on either side, which are near.
constexpr float kOfSides = 0.4F;
constexpr int64_t kSideDistance = 5;
constexpr int64_t kLongestQuiet = 4;
/// What moves less on one of them comes to rest.
constexpr float kLeastSide = 3.0F;
/// Several quiet pictures are a pause of the motion, unless nothing of them is new: levels, and
/// against motion.
constexpr float kNothingNew = 0.5F;
constexpr float kNothingOfMotion = 0.1F;
/// What is new in a single one is little against motion, or even: noise.
constexpr float kLittleOfMotion = 0.2F;
constexpr float kEven = 2.5F;
/// What changes less than twice as much, so near, is motion of the same kind: a camera held by hand
/// pauses now and then.
constexpr float kStandsOut = 2.0F;
constexpr int64_t kNear = 5;

/// Repeats that make a pattern, and how many distances in turn.
constexpr std::size_t kLeastRepeats = 4;
constexpr std::size_t kLeastTurns = 6;
/// One distance of so many may be longer.
constexpr std::size_t kOneOf = 8;

float threeQuarters(std::vector<float>& values) {
  const std::size_t place = values.size() * 3 / 4;
  const auto at = values.begin() + static_cast<std::ptrdiff_t>(std::min(place, values.size() - 1));
  std::nth_element(values.begin(), at, values.end());
  return *at;
}

/// What moves around a picture.
struct Motion {
  float largest = 0.0F;
  float mean = 0.0F;
};

class RepeatFinder {
 public:
  explicit RepeatFinder(const std::vector<RepeatEvidence>& pictures) : pictures_(pictures) {}

  bool isRepeated(int64_t number) {
    const RepeatEvidence& its = at(number);
    if (number == 0 || its.kind != PictureKind::goesOn || its.isFlat) {
      return false;
    }
    const float largest = its.change.largest;
    // Most pictures move: they need no more.
    if (largest > 2.0F * kMostChange) {
      return false;
    }
    const std::optional<Motion> motion = motionAround(number);
    if (!motion.has_value() || motion->largest < kLeastMotion ||
        largest > kOfMotion * motion->largest ||
        largest > std::max(kMostChange, kOfStrongMotion * motion->largest) ||
        its.change.mean > kOfMeanMotion * motion->mean) {
      return false;
    }
    const float moves = std::max(largest, kOfMotion * motion->largest);
    const Side before = side(number, -1, moves);
    const Side after = side(number, 1, moves);
    if (!before.isThere || !after.isThere || (before.isCut && after.isCut)) {
      return false;
    }
    const int64_t quiet = before.distance + after.distance - 1;
    if (quiet > kLongestQuiet || ((before.isCut || after.isCut) && quiet > 1)) {
      return false;
    }
    if (quiet > 1 && its.change.mean > std::max(kNothingNew, kNothingOfMotion * motion->mean)) {
      return false;
    }
    if (its.change.mean > kLittleOfMotion * motion->mean && largest > kEven * its.change.mean) {
      return false;
    }
    const auto isBeside = [&](const Side& one) {
      return one.isCut || (one.largest >= kLeastSide && largest <= kOfSides * one.largest);
    };
    return isBeside(before) && isBeside(after);
  }

  /// Whether no picture near it changes nearly as little, others that may be repeated aside.
  bool standsOut(int64_t number, const std::vector<int64_t>& candidates) const {
    const float most = kStandsOut * at(number).change.mean;
    for (const int64_t step : {-1, 1}) {
      for (int64_t n = number + step; isInside(n) && std::abs(n - number) <= kNear; n += step) {
        if (at(n).kind != PictureKind::goesOn) {
          break;
        }
        if (at(n).change.mean < most &&
            !std::binary_search(candidates.begin(), candidates.end(), n)) {
          return false;
        }
      }
    }
    return true;
  }

 private:
  /// The nearest picture that moves.
  struct Side {
    bool isThere = false;
    bool isCut = false;
    float largest = 0.0F;
    int64_t distance = 0;
  };

  const RepeatEvidence& at(int64_t number) const {
    return pictures_[static_cast<std::size_t>(number)];
  }
  bool isInside(int64_t number) const {
    return number > 0 && number < static_cast<int64_t>(pictures_.size());
  }

  std::optional<Motion> motionAround(int64_t number) {
    largest_.clear();
    mean_.clear();
    const auto addUntilCut = [&](int64_t step) {
      for (int64_t n = number + step; isInside(n) && std::abs(n - number) <= kNeighbours;
           n += step) {
        if (at(n).kind != PictureKind::goesOn) {
          return;
        }
        largest_.push_back(at(n).change.largest);
        mean_.push_back(at(n).change.mean);
      }
    };
    addUntilCut(-1);
    addUntilCut(1);
    if (largest_.empty()) {
      return std::nullopt;
    }
    return Motion{threeQuarters(largest_), threeQuarters(mean_)};
  }

  Side side(int64_t number, int64_t step, float moves) const {
    for (int64_t distance = 1; distance <= kSideDistance; ++distance) {
      const int64_t n = number + step * distance;
      if (!isInside(n)) {
        return {};
      }
      const RepeatEvidence& its = at(n);
      if (its.kind != PictureKind::goesOn) {
        return {.isThere = true, .isCut = true, .largest = 0.0F, .distance = distance};
      }
      if (its.change.largest > moves) {
        return {
            .isThere = true, .isCut = false, .largest = its.change.largest, .distance = distance};
      }
    }
    return {};
  }

  const std::vector<RepeatEvidence>& pictures_;
  std::vector<float> largest_;
  std::vector<float> mean_;
};

/// How many repeats from one on are `least` or one more apart.
std::size_t regularFrom(const std::vector<int64_t>& repeated, std::size_t from, int64_t least) {
  std::size_t longer = 0;
  std::size_t last = from;
  for (std::size_t i = from + 1; i < repeated.size(); ++i) {
    const int64_t distance = repeated[i] - repeated[i - 1];
    if (distance == least || distance == least + 1) {
      last = i;
      continue;
    }
    ++longer;
    if (distance < least || distance > 2 * least + 3 || longer * kOneOf > i - from) {
      break;
    }
  }
  return last - from + 1;
}

/// How many from one on are two distances apart, strictly in turn.
std::size_t inTurnFrom(const std::vector<int64_t>& repeated, std::size_t from) {
  std::size_t i = from + 3;
  while (i < repeated.size() &&
         repeated[i] - repeated[i - 1] == repeated[i - 2] - repeated[i - 3]) {
    ++i;
  }
  const std::size_t count = std::min(i, repeated.size()) - from;
  return count > kLeastTurns ? count : 1;
}

}  // namespace

std::vector<int64_t> findRepeatedPictures(const std::vector<RepeatEvidence>& pictures) {
  RepeatFinder finder(pictures);
  std::vector<int64_t> candidates;
  for (int64_t n = 0; n < static_cast<int64_t>(pictures.size()); ++n) {
    if (finder.isRepeated(n)) {
      candidates.push_back(n);
    }
  }
  std::vector<int64_t> repeated;
  std::ranges::copy_if(candidates, std::back_inserter(repeated),
                       [&](int64_t n) { return finder.standsOut(n, candidates); });
  return repeated;
}

std::vector<Repeats> joinRepeats(const std::vector<int64_t>& repeated) {
  std::vector<Repeats> all;
  for (std::size_t i = 0; i < repeated.size();) {
    std::size_t count = 1;
    if (i + 1 < repeated.size()) {
      const int64_t distance = repeated[i + 1] - repeated[i];
      count = std::max({regularFrom(repeated, i, distance),
                        distance > 1 ? regularFrom(repeated, i, distance - 1) : 1,
                        inTurnFrom(repeated, i)});
      count = count >= kLeastRepeats ? count : 1;
    }
    all.push_back({.first = repeated[i],
                   .end = repeated[i + count - 1] + 1,
                   .count = static_cast<int64_t>(count)});
    i += count;
  }
  return all;
}

}  // namespace qatester
