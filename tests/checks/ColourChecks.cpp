#include "checks/ColourChecks.h"

#include <algorithm>

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace qatest {

std::vector<int> extremesOf(const QA_ChromaLevel& level) {
  return {level.rMax, level.rMin, level.gMax, level.gMin,
          level.bMax, level.bMin, level.yMax, level.yMin};
}

std::vector<int> extremesOf(const QA_GamutLevel& level) {
  return {level.rMax, level.rMin, level.gMax, level.gMin, level.bMax, level.bMin};
}

Converted convert(const Colour& colour) {
  const float kb = 0.114F;
  const float kr = 0.299F;
  const float kg = (1.0F - kb) - kr;
  const float lumaRange = 1.1643835F;
  const float chromaRange = 2.2767856F;
  const float luma = static_cast<float>(colour.y - 16) * lumaRange;
  const auto cb = static_cast<float>(colour.u - 128);
  const auto cr = static_cast<float>(colour.v - 128);
  const float r = luma + (1.0F - kr) * chromaRange * cr;
  const float g = luma + (-kb * (1.0F - kb) * chromaRange / kg) * cb +
                  (-kr * (1.0F - kr) * chromaRange / kg) * cr;
  const float b = luma + (1.0F - kb) * chromaRange * cb;
  return {colour.y, static_cast<int>(r), static_cast<int>(g), static_cast<int>(b)};
}

void Expected::add(const Colour& colour) {
  const Converted pixel = convert(colour);
  seen_.rMax = std::max(seen_.rMax, pixel.r);
  seen_.rMin = std::min(seen_.rMin, pixel.r);
  seen_.gMax = std::max(seen_.gMax, pixel.g);
  seen_.gMin = std::min(seen_.gMin, pixel.g);
  seen_.bMax = std::max(seen_.bMax, pixel.b);
  seen_.bMin = std::min(seen_.bMin, pixel.b);
  seen_.yMax = std::max(seen_.yMax, pixel.y);
  seen_.yMin = std::min(seen_.yMin, pixel.y);
}

Expected expectedOf(const VideoSpec& video, int first, int count) {
  const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(video.pixelFormat);
  Expected expected;
  for (int frame = first; frame < first + count; ++frame) {
    for (int y = 0; y < video.height; ++y) {
      for (int x = 0; x < video.width; ++x) {
        const int chromaX = x >> format->log2_chroma_w;
        const int chromaY = y >> format->log2_chroma_h;
        expected.add({video.pixel(0, x, y, frame), video.pixel(1, chromaX, chromaY, frame),
                      video.pixel(2, chromaX, chromaY, frame)});
      }
    }
  }
  return expected;
}

VideoSpec plain(const Colour& colour, int frames) {
  VideoSpec video = ffv1(frames);
  video.pixel = [colour](int component, int, int, int) {
    return static_cast<uint8_t>(component == 0 ? colour.y : component == 1 ? colour.u : colour.v);
  };
  return video;
}

}  // namespace qatest
