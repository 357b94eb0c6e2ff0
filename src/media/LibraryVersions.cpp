#include "media/LibraryVersions.h"

#include "media/FFmpeg.h"

namespace qatester {

std::string ffmpegVersions() {
  std::string lines;
  for (const ffmpeg::LibraryVersion& library : ffmpeg::libraryVersions()) {
    lines += library.library + " " + library.version + "\n";
  }
  return lines;
}

}  // namespace qatester
