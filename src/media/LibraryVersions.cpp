#include "media/LibraryVersions.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

namespace qatester {

namespace {

std::string line(const char* library, unsigned version) {
  return std::string(library) + " " + std::to_string(AV_VERSION_MAJOR(version)) + "." +
         std::to_string(AV_VERSION_MINOR(version)) + "." +
         std::to_string(AV_VERSION_MICRO(version)) + "\n";
}

}  // namespace

std::string ffmpegVersions() {
  return std::string("FFmpeg ") + av_version_info() + "\n" +
         line("libavformat", avformat_version()) + line("libavcodec", avcodec_version()) +
         line("libavutil", avutil_version()) + line("libswscale", swscale_version());
}

}  // namespace qatester
