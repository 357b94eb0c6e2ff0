#include "visual/Displays.h"

#include <opencv2/highgui/highgui_c.h>

#include <filesystem>
#include <utility>

#include "foundation/Pause.h"
#include "visual/PictureFile.h"
#include "visual/WindowSystem.h"

namespace qatester {

Displays::Displays(QADisplays where, bool on, std::string folder,
                   std::function<void(const std::string& problem)> complain, QAPauses pauses)
    : where_(where),
      on_(on),
      folder_(std::move(folder)),
      complain_(std::move(complain)),
      pauses_(pauses) {}

bool Displays::goToWindows() const {
  return where_ == QADisplays::asSet || where_ == QADisplays::windows;
}

bool Displays::wanted() {
  return on_ && possible();
}

bool Displays::possible() {
  return goToWindows() ? windowSystemAvailable() : where_ == QADisplays::pictures && !failed_;
}

/// False when the window cannot be shown.
bool Displays::tryToShow(const std::string& name, int index, const IplImage* canvas) {
  if (canvas == nullptr || !possible()) {
    return true;
  }
  if (goToWindows()) {
    shown_ = true;
    return showInWindow(name, *canvas);
  }
  const auto path = std::filesystem::path(folder_) / pictureFileName(name, index);
  const std::string problem = writePicture(path.string(), *canvas);
  if (!problem.empty()) {
    giveUp(problem);
  }
  return true;
}

void Displays::giveUp(const std::string& problem) {
  if (!std::exchange(failed_, true) && complain_) {
    complain_(problem);
  }
}

void Displays::show(const std::string& name, int index, const IplImage* canvas) {
  tryToShow(name, index, canvas);
}

void Displays::showOrPause(const std::string& name, int index, const IplImage* canvas) {
  if (!tryToShow(name, index, canvas) && pauses_ == QAPauses::fixed) {
    pause(kFailedWindowPauseSeconds);
  }
}

void Displays::repaint() {
  if (goToWindows() && (shown_ || wanted())) {
    cvWaitKey(1);
  }
}

void Displays::close() {
  if (goToWindows() && !sharesWindows_) {
    cvDestroyAllWindows();
    shown_ = false;
  }
}

}  // namespace qatester
