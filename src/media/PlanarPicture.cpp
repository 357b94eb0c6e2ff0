#include "media/PlanarPicture.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace qatester {

std::optional<PlanarPicture> planarPicture(const OxVideoFrameYUV& frame) {
  if (!frame.valid || frame.frame == nullptr) {
    return std::nullopt;
  }
  PlanarPicture picture;
  picture.width = frame.width;
  picture.height = frame.height;
  switch (frame.frame->format) {
    case AV_PIX_FMT_YUV420P:
      picture.chromaShiftX = 1;
      picture.chromaShiftY = 1;
      break;
    case AV_PIX_FMT_YUV422P:
      picture.chromaShiftX = 1;
      break;
    case AV_PIX_FMT_YUV444P:
      break;
    default:
      return std::nullopt;
  }
  for (std::size_t plane = 0; plane < picture.planes.size(); ++plane) {
    if (frame.frame->data[plane] == nullptr) {
      return std::nullopt;
    }
    picture.planes[plane] = frame.frame->data[plane];
    picture.strides[plane] = frame.frame->linesize[plane];
  }
  return picture;
}

}  // namespace qatester
