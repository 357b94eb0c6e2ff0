#pragma once

#include <sys/types.h>

#include <functional>
#include <string>

#include "support/TempDir.h"
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

/// Waits until a condition is true; false when it has not become so for long.
bool becomesTrue(const std::function<bool()>& condition);

}  // namespace qatest
