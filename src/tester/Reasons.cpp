#include "tester/Reasons.h"

#include "media/OxVideoStream.h"
#include "media/OxWrap.h"

namespace qatester {

namespace {

std::string unsupported(const std::string& pixelFormat) {
  return "pixel format " + pixelFormat + " is not 8-bit planar 4:2:0, 4:2:2 or 4:4:4";
}

}  // namespace

std::string unopenedReason(OxWrap& wrap) {
  return "cannot be opened as a media file: " + wrap.getOpenError();
}

std::string pixelFormatReason(OxVideoStream& video) {
  return unsupported(video.getPixelFormatName());
}

std::string pixelFormatReason(const OxVideoFrameYUV& picture) {
  return unsupported(OxVideoStream::getPixelFormatName(picture));
}

}  // namespace qatester
