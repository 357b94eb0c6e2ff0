#include "checks/video/ColourMeasurement.h"

#include <algorithm>

#include "checks/video/ColourExtremes.h"

namespace qatester {

namespace {

/// The extremes of a channel by its letter; empty for a channel that the record does not have.
template <typename Level>
Extremes extremesOf(const Level& level, char channel) {
  switch (channel) {
    case 'R':
      return {level.rMax, level.rMin};
    case 'G':
      return {level.gMax, level.gMin};
    case 'B':
      return {level.bMax, level.bMin};
    default:
      if constexpr (requires { level.yMax; }) {
        return {level.yMax, level.yMin};
      }
      return {};
  }
}

template <typename Level>
bool allInside(const Level& level, const std::vector<QALimits>& limits) {
  return std::all_of(limits.begin(), limits.end(), [&](const QALimits& pair) {
    return std::all_of(pair.channels.begin(), pair.channels.end(), [&](char channel) {
      const Extremes extremes = extremesOf(level, channel);
      return !extremes.empty() && extremes.max < pair.max && extremes.min > pair.min;
    });
  });
}

}  // namespace

bool liesInside(const QA_ChromaLevel& level, const std::vector<QALimits>& limits) {
  return allInside(level, limits);
}

bool liesInside(const QA_GamutLevel& level, const std::vector<QALimits>& limits) {
  return allInside(level, limits);
}

}  // namespace qatester
