#include "visual/WindowSystem.h"

#include <dlfcn.h>
#include <opencv2/highgui/highgui_c.h>

#include <cstdlib>
#include <mutex>
#include <optional>

namespace qatester {

namespace {

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

/// The X library is looked up when it is needed: a machine without windows need not have it.
bool xServerAnswers() {
  void* library = dlopen("libX11.so.6", RTLD_LAZY | RTLD_LOCAL);
  if (library == nullptr) {
    return false;
  }
  using Open = void* (*)(const char*);
  using Close = int (*)(void*);
  const auto open = reinterpret_cast<Open>(dlsym(library, "XOpenDisplay"));
  const auto close = reinterpret_cast<Close>(dlsym(library, "XCloseDisplay"));
  void* display = open != nullptr && close != nullptr ? open(nullptr) : nullptr;
  if (display != nullptr) {
    close(display);
  }
  dlclose(library);
  return display != nullptr;
}

}  // namespace

bool windowSystemAvailable() {
  static std::mutex mutex;
  static bool found = false;
  static std::optional<std::string> deadDisplay;

  const std::lock_guard<std::mutex> lock(mutex);
  if (found || !environment("QT_QPA_PLATFORM").empty()) {
    return true;
  }
  const std::string display = environment("DISPLAY");
  if (deadDisplay != display) {
    found = xServerAnswers();
    deadDisplay = display;
  }
  return found;
}

bool showInWindow(const std::string& name, const IplImage& canvas) {
  try {
    cvShowImage(name.c_str(), &canvas);
    return true;
  } catch (...) {  // a display measures nothing: a check goes on without it
    return false;
  }
}

}  // namespace qatester
