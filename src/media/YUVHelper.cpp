#include "media/YUVHelper.h"

#include <cmath>
#include <cstddef>
#include <cstdio>

#include "media/YUVConversion.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace {

/// How many luma pixels share a chroma sample, as a factor from luma to chroma coordinates.
struct ChromaScale {
  float x;
  float y;
};

uint8_t sample(const AVFrame& picture, int plane, int x, int y) {
  return picture.data[plane][static_cast<std::ptrdiff_t>(y) * picture.linesize[plane] + x];
}

int scaled(int coordinate, float scale) {
  return static_cast<int>(std::floor(static_cast<float>(coordinate) * scale));
}

YUVPixel read(const OxVideoFrameYUV& frame, int x, int y, ChromaScale chroma) {
  YUVPixel pixel;
  if (!frame.valid || frame.frame == nullptr) {
    return pixel;
  }
  const AVFrame& picture = *frame.frame;
  if (picture.data[0] == nullptr || picture.data[1] == nullptr || picture.data[2] == nullptr) {
    return pixel;
  }
  pixel.y = sample(picture, 0, x, y);
  const int chromaX = chroma.x < 1.0F ? scaled(x, chroma.x) : x;
  const int chromaY = chroma.y < 1.0F ? scaled(y, chroma.y) : y;
  pixel.u = sample(picture, 1, chromaX, chromaY);
  pixel.v = sample(picture, 2, chromaX, chromaY);
  pixel.valid = true;
  return pixel;
}

}  // namespace

YUVPixel YUVHelper::getYUVPixelFromFrame(OxVideoFrameYUV& frame, int x, int y) {
  switch (frame.frame != nullptr ? frame.frame->format : AV_PIX_FMT_NONE) {
    case AV_PIX_FMT_YUV420P:
      return getYUV420PixelFromFrame(frame, x, y);
    case AV_PIX_FMT_YUV422P:
      return getYUV422PixelFromFrame(frame, x, y);
    case AV_PIX_FMT_YUV444P:
      return getYUV444PixelFromFrame(frame, x, y);
    default:
      if (frame.frame != nullptr) {
        std::puts(
            "YUVHelper::getYUVPixelFromFrame - specified pixel format not supported, expected "
            "(444, 422, 420).");
      }
      return {};
  }
}

YUVPixel YUVHelper::getYUV420PixelFromFrame(OxVideoFrameYUV& frame, int x, int y) {
  return read(frame, x, y, {0.5F, 0.5F});
}

YUVPixel YUVHelper::getYUV422PixelFromFrame(OxVideoFrameYUV& frame, int x, int y) {
  return read(frame, x, y, {0.5F, 1.0F});
}

YUVPixel YUVHelper::getYUV444PixelFromFrame(OxVideoFrameYUV& frame, int x, int y) {
  return read(frame, x, y, {1.0F, 1.0F});
}

RgbPixel YUVHelper::YUVtoRGB(YUVPixel pixel, float kb, float kr) {
  if (!pixel.valid) {
    return {};
  }
  const qatester::YUVConversion conversion(kb, kr);
  const float luma = qatester::YUVConversion::luma(pixel.y);
  return {static_cast<int>(luma + conversion.redOfCr(pixel.v)),
          static_cast<int>(luma + conversion.greenOfCb(pixel.u) + conversion.greenOfCr(pixel.v)),
          static_cast<int>(luma + conversion.blueOfCb(pixel.u)), true};
}

RgbPixel YUVHelper::YUVtoRGB601(YUVPixel pixel) {
  return YUVtoRGB(pixel, qatester::kBt601Kb, qatester::kBt601Kr);
}

RgbPixel YUVHelper::YUVtoRGB709(YUVPixel pixel) {
  return YUVtoRGB(pixel, 0.0722F, 0.2126F);
}
