#pragma once

#include <string>

class OxVideoStream;
class OxWrap;

namespace qatester {

/// Why a file that did not open could not be tested.
std::string unopenedReason(OxWrap& wrap);

/// Why pictures of this stream's pixel format could not be tested.
std::string pixelFormatReason(OxVideoStream& video);

}  // namespace qatester
