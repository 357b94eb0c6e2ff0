#include "media/ReleasePicture.h"

#include "media/FFmpeg.h"

namespace qatester {

void releasePicture(const OxVideoFrameYUV& picture) {
  const ffmpeg::UniqueRecord<AVFrame> record(picture.frame);
}

}  // namespace qatester
