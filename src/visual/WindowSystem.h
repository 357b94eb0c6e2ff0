#pragma once

namespace qatester {

/// Whether windows can be opened: OpenCV's first window would otherwise end the process.
bool windowSystemAvailable();

}  // namespace qatester
