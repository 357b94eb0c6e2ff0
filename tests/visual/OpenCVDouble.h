#pragma once

#include <string>
#include <vector>

#include "visual/Canvases.h"

/// Takes the place of those functions of OpenCV that show something, so that nothing appears on a
/// screen, and watches over those that make and release images. New images hold leftovers.
namespace qatest {

struct Shown {
  std::string window;
  Pixels canvas;
};

/// What was asked of OpenCV since the last `clearOpenCV`, or since the test began.
struct OpenCVCalls {
  std::vector<Shown> shown;
  std::vector<int> waits;    ///< arguments of `cvWaitKey`
  int windowsDestroyed = 0;  ///< calls of `cvDestroyAllWindows`
  int imagesMade = 0;
  int imagesReleased = 0;
};
const OpenCVCalls& openCVCalls();

/// The windows of what was shown, in order.
std::vector<std::string> windowsShown();

/// Forgets all calls and troubles.
void clearOpenCV();

// Troubles, which last until the next `clearOpenCV` or test.

void letShowingThrow();

/// The next images are not made: that many calls throw, then as many give null.
void failToMakeImages(int throwing, int givingNull = 0);

/// While one lives, the environment says that windows can (or cannot) be shown.
class WindowSystem {
 public:
  enum class State { available, missing, dead };

  explicit WindowSystem(State state);
  ~WindowSystem();
  WindowSystem(const WindowSystem&) = delete;
  WindowSystem& operator=(const WindowSystem&) = delete;
};

}  // namespace qatest
