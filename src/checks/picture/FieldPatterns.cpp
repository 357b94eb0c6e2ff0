#include "checks/picture/FieldPatterns.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <cmath>
#include <utility>

namespace qatester {

namespace {

/// What a picture of a pattern looks like: change of the top and of the bottom field, and how they
/// fit the other fields of the picture before (`FieldNumbers`).
struct Template {
  float topRatio;
  float bottomRatio;
  float topQuality;
  float bottomQuality;
};

/// A field that is repeated changes by what coding makes of it.
constexpr float kRepeated = 0.15F;
constexpr Template kWhole{1.0F, 1.0F, 1.0F, 1.0F};
constexpr Template kFields{1.0F, 1.0F, 0.0F, 1.0F};
constexpr Template kSplit{1.0F, 1.0F, -1.0F, 0.75F};
constexpr Template kTopAgain{kRepeated, 1.0F, -1.0F, 0.0F};
constexpr Template kBottomAgain{1.0F, kRepeated, 0.0F, 1.0F};

constexpr float kRatioDeviation = 0.25F;
constexpr float kQualityDeviation = 0.35F;
/// An equal field is certain, a quality is a guess where there is aliasing.
constexpr float kMostOfRatio = 6.0F;
constexpr float kMostOfQuality = 4.0F;
/// What a change of pattern or phase costs, and what it does at a cut.
constexpr float kChangeCost = 32.0F;
constexpr float kCutCost = 8.0F;

constexpr float kFullyActive = 12.0F;
constexpr float kLeastActive = 3.0F;
constexpr float kFullQuality = 0.25F;
/// A picture of less weight says nothing.
constexpr float kLeastWeight = 0.25F;
/// What the weights of a run must add to, and what share of its length.
constexpr float kLeastSum = 2.5F;
constexpr float kLeastShare = 0.12F;

struct State {
  Template looks;
  std::size_t before;  ///< the state that the pattern comes from
  FieldPattern pattern;
  bool isTopFirst;
  int position;
  int length;  ///< of the pattern
};

constexpr Template mirrored(const Template& its) {
  return {its.bottomRatio, its.topRatio, its.bottomQuality, its.topQuality};
}

std::vector<Template> picturesOf(FieldPattern pattern) {
  switch (pattern) {
    case FieldPattern::interlaced:
      return {kFields};
    case FieldPattern::shifted:
      return {kSplit};
    case FieldPattern::film23:
      return {kWhole, kWhole, kTopAgain, kSplit, kBottomAgain};
    case FieldPattern::film2332:
      return {kWhole, kWhole, kTopAgain, kBottomAgain, kWhole};
    case FieldPattern::film24In25: {
      std::vector<Template> all(12, kWhole);
      all.push_back(kTopAgain);
      all.insert(all.end(), 11, kSplit);
      all.push_back(kBottomAgain);
      return all;
    }
    case FieldPattern::undetermined:
    case FieldPattern::progressive:
      break;
  }
  return {kWhole};
}

constexpr std::size_t kStates = 1 + 2 * (1 + 1 + 5 + 5 + 25);

std::vector<State> makeStates() {
  std::vector<State> states;
  const auto add = [&](FieldPattern pattern, bool isTopFirst) {
    const std::vector<Template> pictures = picturesOf(pattern);
    const std::size_t first = states.size();
    for (std::size_t i = 0; i < pictures.size(); ++i) {
      states.push_back({.looks = isTopFirst ? pictures[i] : mirrored(pictures[i]),
                        .before = first + (i + pictures.size() - 1) % pictures.size(),
                        .pattern = pattern,
                        .isTopFirst = isTopFirst,
                        .position = static_cast<int>(i),
                        .length = static_cast<int>(pictures.size())});
    }
  };
  add(FieldPattern::progressive, true);
  for (const FieldPattern pattern :
       {FieldPattern::interlaced, FieldPattern::shifted, FieldPattern::film23,
        FieldPattern::film2332, FieldPattern::film24In25}) {
    add(pattern, true);
    add(pattern, false);
  }
  return states;
}

const std::vector<State>& allStates() {
  static const std::vector<State> states = makeStates();
  return states;
}

/// The larger of two magnitudes becomes 1.
std::pair<float, float> scaled(float one, float other) {
  const float most = std::max(std::abs(one), std::abs(other));
  return most > 0.0F ? std::pair(one / most, other / most) : std::pair(one, other);
}

/// How little a picture looks like one of a state; 0 where it says nothing.
class Looks {
 public:
  explicit Looks(const FieldEvidence& evidence)
      : weight_(weightOf(evidence)),
        ratios_(scaled(evidence.numbers.topRatio, evidence.numbers.bottomRatio)),
        qualities_(scaled(evidence.numbers.topQuality, evidence.numbers.bottomQuality)) {}

  float unlike(const Template& its) const {
    const auto distance = [](std::pair<float, float> found, float one, float other,
                             float deviation) {
      const float first = found.first - one;
      const float second = found.second - other;
      return (first * first + second * second) / (2.0F * deviation * deviation);
    };
    return weight_ * (std::min(kMostOfRatio,
                               distance(ratios_, its.topRatio, its.bottomRatio, kRatioDeviation)) +
                      std::min(kMostOfQuality, distance(qualities_, its.topQuality,
                                                        its.bottomQuality, kQualityDeviation)));
  }

 private:
  float weight_;
  std::pair<float, float> ratios_;
  std::pair<float, float> qualities_;
};

/// How a picture is reached: from the state before in its pattern, or from the best of all.
struct Step {
  std::bitset<kStates> isChange;
  uint8_t best = 0;
};

std::vector<uint8_t> likeliestStates(const std::vector<FieldEvidence>& pictures) {
  const std::vector<State>& states = allStates();
  std::vector<float> costs(states.size(), 0.0F);
  std::vector<float> next(states.size());
  std::vector<Step> steps(pictures.size());
  for (std::size_t n = 0; n < pictures.size(); ++n) {
    const Looks looks(pictures[n]);
    const auto best = std::min_element(costs.begin(), costs.end());
    // Only differences matter, and sums that grow lose them.
    const float least = *best;
    steps[n].best = static_cast<uint8_t>(best - costs.begin());
    const float change = pictures[n].isNew ? kCutCost : kChangeCost;
    for (std::size_t s = 0; s < states.size(); ++s) {
      const float stay = costs[states[s].before] - least + looks.unlike(states[s].looks);
      // The two pictures across a change fit no state.
      const bool isChange = n > 0 && change < stay;
      steps[n].isChange[s] = isChange;
      next[s] = isChange ? change : stay;
    }
    costs.swap(next);
  }
  std::vector<uint8_t> path(pictures.size());
  auto state =
      static_cast<std::size_t>(std::min_element(costs.begin(), costs.end()) - costs.begin());
  for (std::size_t n = pictures.size(); n-- > 0;) {
    path[n] = static_cast<uint8_t>(state);
    state = steps[n].isChange[state] ? steps[n].best : states[state].before;
  }
  return path;
}

bool isTheSame(const FieldRun& one, const FieldRun& other) {
  return one.pattern == other.pattern && one.isTopFirst == other.isTopFirst &&
         one.phase == other.phase;
}

/// Adds a run, or makes the last one longer.
void append(std::vector<FieldRun>& runs, const FieldRun& run) {
  if (!runs.empty() && isTheSame(runs.back(), run)) {
    runs.back().end = run.end;
  } else {
    runs.push_back(run);
  }
}

FieldRun undetermined(int64_t first, int64_t end) {
  return {.first = first, .end = end};
}

/// A run without the stretches of it in which nothing says anything for long.
void appendWithoutSilence(std::vector<FieldRun>& runs, const FieldRun& run,
                          const std::vector<float>& weights, int64_t longest) {
  const auto isSilent = [&](int64_t n) {
    return weights[static_cast<std::size_t>(n)] < kLeastWeight;
  };
  const auto appendPart = [&](int64_t first, int64_t end) {
    float sum = 0.0F;
    for (int64_t n = first; n < end; ++n) {
      sum += weights[static_cast<std::size_t>(n)];
    }
    const bool saysEnough =
        sum >= std::max(kLeastSum, kLeastShare * static_cast<float>(end - first));
    FieldRun part = run;
    part.first = first;
    part.end = end;
    append(runs, saysEnough ? part : undetermined(first, end));
  };
  int64_t begin = run.first;
  for (int64_t n = run.first; n < run.end;) {
    int64_t end = n;
    while (end < run.end && isSilent(end)) {
      ++end;
    }
    if (end - n >= longest) {
      if (n > begin) {
        appendPart(begin, n);
      }
      append(runs, undetermined(n, end));
      begin = end;
    }
    n = std::max(end, n + 1);
  }
  if (begin < run.end) {
    appendPart(begin, run.end);
  }
}

void addShares(FieldRun& run, const std::vector<FieldEvidence>& pictures,
               const std::vector<float>& weights) {
  float sum = 0.0F;
  for (int64_t n = run.first; n < run.end; ++n) {
    const float weight = weights[static_cast<std::size_t>(n)];
    const FieldNumbers& numbers = pictures[static_cast<std::size_t>(n)].numbers;
    sum += weight;
    run.progressiveVotes += weight * numbers.progressiveVotes;
    run.topVotes += weight * numbers.topVotes;
    run.bottomVotes += weight * numbers.bottomVotes;
  }
  run.weight = sum / static_cast<float>(run.length());
  if (sum > 0.0F) {
    run.progressiveVotes /= sum;
    run.topVotes /= sum;
    run.bottomVotes /= sum;
  }
}

}  // namespace

float weightOf(const FieldEvidence& evidence) {
  const FieldNumbers& its = evidence.numbers;
  if (evidence.isNew || its.active < kLeastActive) {
    return 0.0F;
  }
  const float quality = std::max(std::abs(its.topQuality), std::abs(its.bottomQuality));
  return std::min(1.0F, its.active / kFullyActive) * std::min(1.0F, quality / kFullQuality);
}

int lengthOf(FieldPattern pattern) {
  return static_cast<int>(picturesOf(pattern).size());
}

std::vector<FieldRun> findFieldRuns(const std::vector<FieldEvidence>& pictures, double perSecond) {
  std::vector<float> weights;
  weights.reserve(pictures.size());
  for (const FieldEvidence& picture : pictures) {
    weights.push_back(weightOf(picture));
  }
  const std::vector<uint8_t> path = likeliestStates(pictures);
  std::vector<FieldRun> patterns;
  for (std::size_t n = 0; n < path.size(); ++n) {
    const State& state = allStates()[path[n]];
    const auto number = static_cast<int64_t>(n);
    const int length = state.length;
    FieldRun run{.first = number,
                 .end = number + 1,
                 .pattern = state.pattern,
                 .isTopFirst = state.isTopFirst,
                 .phase = static_cast<int>((state.position - number % length + length) % length)};
    append(patterns, run);
  }
  const auto second = std::max<int64_t>(std::llround(perSecond), 2);
  std::vector<FieldRun> runs;
  for (const FieldRun& run : patterns) {
    appendWithoutSilence(runs, run, weights, second);
  }
  for (FieldRun& run : runs) {
    addShares(run, pictures, weights);
  }
  return runs;
}

}  // namespace qatester
