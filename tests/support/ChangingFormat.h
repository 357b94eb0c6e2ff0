#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "support/Clips.h"
#include "support/TempDir.h"

namespace qatest {

struct FormatPart {
  AVPixelFormat format;
  int frames;
};

/// A transport stream at 25 frames a second whose pixel format changes from part to part. With
/// `bFrames` the decoder delays pictures, so that those of a part come when it is in the next.
inline std::string clipOfFormats(const TempDir& dir, const std::string& name,
                                 const std::vector<FormatPart>& parts, int bFrames = 0) {
  std::string stream;
  int first = 0;
  for (const FormatPart& part : parts) {
    VideoSpec video = h264WithBFrames(part.frames);
    video.bFrames = bFrames;
    video.pixelFormat = part.format;
    video.pixel = [first](int component, int x, int y, int frame) {
      return clipPixel(component, x, y, first + frame);
    };
    video.edit = [first](AVPacket& packet, int) {
      packet.pts += first;
      packet.dts += first;
    };
    stream += readFile(makeClip(dir, "part.ts", {.video = {video}}));
    first += part.frames;
  }
  std::filesystem::remove(dir.file("part.ts"));
  writeFile(dir.file(name), stream);
  return dir.file(name);
}

constexpr int kReadableFrames = 50;

/// 8-bit 4:2:0 for `kReadableFrames` frames, then 10-bit for as many.
inline std::string clipWithChangingFormat(const TempDir& dir, const std::string& name) {
  return clipOfFormats(
      dir, name, {{AV_PIX_FMT_YUV420P, kReadableFrames}, {AV_PIX_FMT_YUV420P10, kReadableFrames}});
}

}  // namespace qatest
