#pragma once

#include <string>

class OxAudioStream;
class OxVideoStream;
class OxWrap;
struct OxVideoFrameYUV;

namespace qatester {

/// Why a file that did not open could not be tested.
std::string unopenedReason(OxWrap& wrap);
std::string unopenedReason(const std::string& openError);

/// Why pictures of this stream's, or of this picture's, pixel format could not be tested.
std::string pixelFormatReason(OxVideoStream& video);
std::string pixelFormatReason(const OxVideoFrameYUV& picture);

/// Why a file with this number of audio streams could not be tested.
std::string streamSetupReason(unsigned audioStreams);

/// Why nothing could be heard on this stream; empty when there is no such reason.
std::string silentStreamReason(OxAudioStream& audio);

}  // namespace qatester
