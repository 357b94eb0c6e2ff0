#include "media/ReleasePicture.h"

extern "C" {
#include <libavutil/mem.h>
}

namespace qatester {

void releasePicture(const OxVideoFrameYUV& picture) {
  av_free(picture.frame);
}

}  // namespace qatester
