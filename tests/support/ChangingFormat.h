#pragma once

#include <string>

#include "support/Clips.h"
#include "support/TempDir.h"

namespace qatest {

constexpr int kReadableFrames = 50;
constexpr int kUnreadableFrames = 50;

/// A transport stream at 25 frames a second that is 8-bit 4:2:0 for 50 frames and then 10-bit for
/// 50 frames, in which no picture is delayed by the decoder.
inline std::string clipWithChangingFormat(const TempDir& dir, const std::string& name) {
  const auto part = [&dir](AVPixelFormat format, int frames, int firstFrame) {
    VideoSpec video = h264WithBFrames(frames);
    video.bFrames = 0;
    video.pixelFormat = format;
    video.pixel = [firstFrame](int component, int x, int y, int frame) {
      return clipPixel(component, x, y, firstFrame + frame);
    };
    video.edit = [firstFrame](AVPacket& packet, int) {
      packet.pts += firstFrame;
      packet.dts += firstFrame;
    };
    return readFile(makeClip(dir, "part.ts", {.video = {video}}));
  };
  writeFile(dir.file(name), part(AV_PIX_FMT_YUV420P, kReadableFrames, 0) +
                                part(AV_PIX_FMT_YUV420P10, kUnreadableFrames, kReadableFrames));
  std::filesystem::remove(dir.file("part.ts"));
  return dir.file(name);
}

}  // namespace qatest
