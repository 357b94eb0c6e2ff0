#pragma once

/// What `QATester::checkFrameRate` found; all zero when the check could not run.
struct QA_FrameRate {
  /// The two rates, each rounded to two decimals, are equal.
  bool passed = false;
  /// Frames per second that the stream declares, rounded to two decimals.
  float declaredFps = 0.0F;
  /// Mean over the budgeted frames of (index + 1) / time, rounded to two decimals.
  float measuredFps = 0.0F;
};
