#include "media/FFmpegPixels.h"

#include <cstddef>
#include <cstdint>

#include "media/FFmpeg.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace qatester {

namespace {

constexpr uint64_t kUnreadable = AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_BITSTREAM |
                                 AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_FLOAT |
                                 AV_PIX_FMT_FLAG_BAYER;

constexpr int kFewestBits = 8;
constexpr int kMostBits = 16;

/// Samples at irregular places, and signals that are no R'G'B' at all.
bool isOdd(int format) {
  return format == AV_PIX_FMT_UYYVYY411 || format == AV_PIX_FMT_XYZ12LE ||
         format == AV_PIX_FMT_XYZ12BE;
}

bool isFullRange(int format) {
  switch (format) {
    case AV_PIX_FMT_YUVJ411P:
    case AV_PIX_FMT_YUVJ420P:
    case AV_PIX_FMT_YUVJ422P:
    case AV_PIX_FMT_YUVJ440P:
    case AV_PIX_FMT_YUVJ444P:
      return true;
    default:
      return false;
  }
}

}  // namespace

PixelLayout pixelLayout(int format) {
  PixelLayout layout;
  layout.name = ffmpeg::pixelFormatName(format);
  const AVPixFmtDescriptor* known = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(format));
  if (known == nullptr || (known->flags & kUnreadable) != 0 || isOdd(format)) {
    return layout;
  }
  const bool hasColour = known->nb_components >= 3;
  layout.bits = known->comp[0].depth;
  if (layout.bits < kFewestBits || layout.bits > kMostBits) {
    return layout;
  }
  for (std::size_t i = 0; i < (hasColour ? 3U : 1U); ++i) {
    const AVComponentDescriptor& component = known->comp[i];
    if (component.depth != layout.bits) {
      return layout;
    }
    layout.components[i] = {component.plane, component.offset, component.step, component.shift};
    layout.twoBytes = layout.twoBytes || component.depth + component.shift > 8;
  }
  layout.bigEndian = (known->flags & AV_PIX_FMT_FLAG_BE) != 0;
  layout.fullRange = isFullRange(format);
  layout.chromaShiftX = known->log2_chroma_w;
  layout.chromaShiftY = known->log2_chroma_h;
  layout.kind = !hasColour                                  ? PixelLayout::Kind::grey
                : (known->flags & AV_PIX_FMT_FLAG_RGB) != 0 ? PixelLayout::Kind::rgb
                                                            : PixelLayout::Kind::difference;
  return layout;
}

std::string matrixName(AVColorSpace matrix) {
  const char* name = av_color_space_name(matrix);
  return name != nullptr ? name : "unknown";
}

}  // namespace qatester
