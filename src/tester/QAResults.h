#pragma once

#include <cstdint>
#include <limits>

/// What `QATester::checkFrameRate` found; all zero when the check could not run.
struct QA_FrameRate {
  /// The two rates, each rounded to two decimals, are equal.
  bool passed = false;
  /// Frames per second that the stream declares, rounded to two decimals.
  float declaredFps = 0.0F;
  /// Mean over the budgeted frames of (index + 1) / time, rounded to two decimals.
  float measuredFps = 0.0F;
};

/// What `QATester::checkChroma` found: the extremes of all pixels of all measured frames. R, G and
/// B are BT.601 studio-range values, unclamped; Y is luma as stored. A record that saw no pixel has
/// its maxima at INT_MIN and its minima at INT_MAX.
struct QA_ChromaLevel {
  /// Every extreme lies strictly inside its limits.
  bool passed = false;
  int32_t rMax = std::numeric_limits<int32_t>::min();
  int32_t rMin = std::numeric_limits<int32_t>::max();
  int32_t gMax = std::numeric_limits<int32_t>::min();
  int32_t gMin = std::numeric_limits<int32_t>::max();
  int32_t bMax = std::numeric_limits<int32_t>::min();
  int32_t bMin = std::numeric_limits<int32_t>::max();
  int32_t yMax = std::numeric_limits<int32_t>::min();
  int32_t yMin = std::numeric_limits<int32_t>::max();
};

/// What `QATester::checkGamut` found: as `QA_ChromaLevel`, without luma.
struct QA_GamutLevel {
  bool passed = false;
  int32_t rMax = std::numeric_limits<int32_t>::min();
  int32_t rMin = std::numeric_limits<int32_t>::max();
  int32_t gMax = std::numeric_limits<int32_t>::min();
  int32_t gMin = std::numeric_limits<int32_t>::max();
  int32_t bMax = std::numeric_limits<int32_t>::min();
  int32_t bMin = std::numeric_limits<int32_t>::max();
};
