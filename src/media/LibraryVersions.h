#pragma once

#include <string>

namespace qatester {

/// The versions of FFmpeg's libraries found at run time, one a line.
std::string ffmpegVersions();

}  // namespace qatester
