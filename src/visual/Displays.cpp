#include "visual/Displays.h"

#include <opencv2/highgui/highgui_c.h>

#include <exception>
#include <filesystem>
#include <new>
#include <utility>

#include "foundation/Pause.h"
#include "visual/PictureFile.h"
#include "visual/SmallPicture.h"
#include "visual/WindowSystem.h"

namespace qatester {

Displays::Displays(QADisplays where, bool on, std::string folder,
                   std::function<void(const std::string& problem)> complain, QAPauses pauses,
                   QADisplayPictureSink sink)
    : where_(where),
      on_(on),
      folder_(std::move(folder)),
      complain_(std::move(complain)),
      pauses_(pauses),
      sink_(std::move(sink)) {}

bool Displays::goToWindows() const {
  return where_ == QADisplays::asSet || where_ == QADisplays::windows;
}

bool Displays::wanted() {
  return on_ && (possible() || isHandedOut());
}

bool Displays::possible() {
  return goToWindows() ? windowSystemAvailable() : writesFiles();
}

bool Displays::tryToShow(const std::string& name, int index, const IplImage* canvas) {
  if (canvas != nullptr && sink_ != nullptr && on_) {
    keep(name, index, *canvas);
  }
  return showNow(name, index, canvas);
}

bool Displays::showNow(const std::string& name, int index, const IplImage* canvas) {
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

void Displays::showEvent(const std::string& name, int index, const IplImage* canvas) {
  if (canvas != nullptr && sink_ != nullptr && on_) {
    handOut(name, index, *canvas);
  }
  showNow(name, index, canvas);
}

void Displays::keep(const std::string& name, int index, const IplImage& canvas) {
  Shown& shown = last_[name];
  shown.index = index;
  if (shown.canvas == nullptr || shown.canvas->width != canvas.width ||
      shown.canvas->height != canvas.height) {
    shown.canvas = tryToMakeCanvas(canvas.width, canvas.height);
  }
  if (shown.canvas != nullptr) {
    cvCopy(&canvas, shown.canvas.get());
  }
}

void Displays::handOut(const std::string& name, int index, const IplImage& canvas) {
  QADisplayPicture picture;
  try {
    picture = smallPicture(name, index, canvas);
  } catch (const std::exception& exception) {
    giveUp("cannot make a picture of \"" + name + "\": " + exception.what());
    return;
  }
  sink_(std::move(picture));
}

void Displays::handOut() {
  for (const auto& [name, shown] : std::exchange(last_, {})) {
    if (shown.canvas != nullptr) {
      handOut(name, shown.index, *shown.canvas);
    }
  }
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
