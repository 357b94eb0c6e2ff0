#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "Output.h"

namespace cli {

/// A time in hours, minutes and seconds, such as "0:07" or "1:02:07".
std::string timeText(double seconds);

/// One line at the foot of a terminal that shows how far a run is, redrawn in place a few times a
/// second at most. Draws nothing when it is off or the output is no terminal.
class ProgressBar {
 public:
  ProgressBar(Output& output, bool on);
  ~ProgressBar();

  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  void update(const std::string& label, int percent, std::optional<double> secondsLeft);

  /// Wipes the line, so that others can write. The next update draws it again.
  void clear();

  /// Wipes the line for good.
  void switchOff();

 private:
  void draw(const std::string& label, int percent, std::optional<double> secondsLeft);

  Output& output_;
  bool on_;
  bool drawn_ = false;
  std::chrono::steady_clock::time_point nextDraw_{};
};

}  // namespace cli
