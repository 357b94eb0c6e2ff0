#include "visual/OpenCVDouble.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <stdexcept>

namespace {

qatest::OpenCVCalls calls;
bool showingThrows = false;
int makingThrows = 0;
int makingGivesNull = 0;

template <typename Function>
Function next(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

/// One test's troubles are none of the next one's.
class ClearingListener : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo&) override { qatest::clearOpenCV(); }
};

const bool kListens = [] {
  testing::UnitTest::GetInstance()->listeners().Append(new ClearingListener);
  return true;
}();

}  // namespace

extern "C" {

void cvShowImage(const char* name, const CvArr* image) {
  calls.shown.push_back({name, qatest::pixelsOf(*static_cast<const IplImage*>(image))});
  if (showingThrows) {
    throw std::runtime_error("no window");
  }
}

int cvWaitKey(int delay) {
  calls.waits.push_back(delay);
  return -1;
}

void cvDestroyAllWindows() {
  ++calls.windowsDestroyed;
}

IplImage* cvCreateImage(CvSize size, int depth, int channels) {
  if (makingThrows > 0) {
    --makingThrows;
    throw std::bad_alloc();
  }
  if (makingGivesNull > 0) {
    --makingGivesNull;
    return nullptr;
  }
  static const auto create = next<IplImage* (*)(CvSize, int, int)>("cvCreateImage");
  IplImage* image = create(size, depth, channels);
  std::fill_n(image->imageData, image->imageSize, '\xA5');  // memory that has been used before
  ++calls.imagesMade;
  return image;
}

void cvReleaseImage(IplImage** image) {
  static const auto release = next<void (*)(IplImage**)>("cvReleaseImage");
  release(image);
  ++calls.imagesReleased;
}

}  // extern "C"

namespace qatest {

const OpenCVCalls& openCVCalls() {
  return calls;
}

std::vector<std::string> windowsShown() {
  std::vector<std::string> names;
  for (const Shown& shown : calls.shown) {
    names.push_back(shown.window);
  }
  return names;
}

void clearOpenCV() {
  calls = {};
  showingThrows = false;
  makingThrows = 0;
  makingGivesNull = 0;
}

void letShowingThrow() {
  showingThrows = true;
}

void failToMakeImages(int throwing, int givingNull) {
  makingThrows = throwing;
  makingGivesNull = givingNull;
}

WindowSystem::WindowSystem(State state) {
  unsetenv("DISPLAY");
  unsetenv("QT_QPA_PLATFORM");
  if (state == State::available) {
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
  } else if (state == State::dead) {
    // Empty is as good as unset, and nobody answers there.
    setenv("QT_QPA_PLATFORM", "", 1);
    setenv("DISPLAY", ":4095", 1);
  }
}

WindowSystem::~WindowSystem() {
  unsetenv("DISPLAY");
  unsetenv("QT_QPA_PLATFORM");
}

}  // namespace qatest
