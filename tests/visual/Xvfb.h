#pragma once

#include <sys/types.h>

#include <string>

#include "support/TempDir.h"
#include "support/WaitUntil.h"
#include "visual/Canvases.h"

namespace qatest {

/// An X server without a screen, which keeps its picture in a file. It ends with the object.
class Xvfb {
 public:
  static bool isInstalled();

  /// Throws std::runtime_error when it does not start.
  Xvfb();
  ~Xvfb();
  Xvfb(const Xvfb&) = delete;
  Xvfb& operator=(const Xvfb&) = delete;

  /// What DISPLAY has to be.
  const std::string& display() const { return display_; }

  /// What is on the screen now.
  Pixels screen() const;

 private:
  TempDir folder_;
  pid_t pid_ = -1;
  std::string display_;
};

/// Whether the canvas is anywhere on the screen, pixel by pixel.
bool isOnScreen(const Pixels& screen, const Pixels& canvas);

/// Waits until a condition on a screen holds. To look at a screen takes long: between two looks it
/// leaves the processor to those who draw.
template <typename Condition>
bool awaitScreen(Condition condition) {
  return waitUntil(condition, std::chrono::milliseconds(50));
}

}  // namespace qatest
