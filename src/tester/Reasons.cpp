#include "tester/Reasons.h"

#include "media/OxVideoStream.h"
#include "media/OxWrap.h"

namespace qatester {

std::string unopenedReason(OxWrap& wrap) {
  return "cannot be opened as a media file: " + wrap.getOpenError();
}

std::string pixelFormatReason(OxVideoStream& video) {
  return "pixel format " + video.getPixelFormatName() +
         " is not 8-bit planar 4:2:0, 4:2:2 or 4:4:4";
}

}  // namespace qatester
