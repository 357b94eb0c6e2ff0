#pragma once

#include <string>

#include "visual/Visual.h"

namespace qatester {

/// How long whoever must pause does so when a window cannot be shown.
inline constexpr unsigned kFailedWindowPauseSeconds = 1000;

/// Whether windows can be opened: without an X server OpenCV's first window would end the process.
/// Yes if the environment's QT_QPA_PLATFORM chooses what windows are made with, or if the X server
/// answers. The answer is remembered, "no" until DISPLAY changes, so this may be asked for every
/// picture. Thread-safe.
bool windowSystemAvailable();

/// Shows a canvas in the window of this name, which is opened when there is none. Windows must be
/// available. False when it cannot be shown.
bool showInWindow(const std::string& name, const IplImage& canvas);

}  // namespace qatester
