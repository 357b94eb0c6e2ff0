#pragma once

#include "visual/Canvas.h"

namespace qatester {

/// A plot with a column for each frame. It takes memory only when something is plotted; where there
/// is none, or no canvas of that size, nothing is.
class FramePlot {
 public:
  FramePlot() = default;
  FramePlot(int columns, int rows) : columns_(columns), rows_(rows) {}

  /// Sets the red or the green of a point to 255, and leaves its other colours. What lies outside
  /// is left out.
  void markRed(int column, int row);
  void markGreen(int column, int row);

  /// Null when there is none.
  const IplImage* canvas();

 private:
  void mark(int column, int row, int byte);

  int columns_ = 0;
  int rows_ = 0;
  bool tried_ = false;
  UniqueCanvas canvas_;
};

}  // namespace qatester
