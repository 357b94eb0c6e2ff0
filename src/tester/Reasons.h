#pragma once

#include <string>

class OxVideoStream;
class OxWrap;
struct OxVideoFrameYUV;

namespace qatester {

/// Why a file that did not open could not be tested.
std::string unopenedReason(OxWrap& wrap);

/// Why pictures of this stream's, or of this picture's, pixel format could not be tested.
std::string pixelFormatReason(OxVideoStream& video);
std::string pixelFormatReason(const OxVideoFrameYUV& picture);

}  // namespace qatester
