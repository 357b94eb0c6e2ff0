#include "tester/Reasons.h"

#include "media/OxAudioStream.h"
#include "media/OxVideoStream.h"
#include "media/OxWrap.h"
#include "media/SampleIntegers.h"

namespace qatester {

namespace {

std::string unsupported(const std::string& pixelFormat) {
  return "pixel format " + pixelFormat + " is not 8-bit planar 4:2:0, 4:2:2 or 4:4:4";
}

}  // namespace

std::string unopenedReason(OxWrap& wrap) {
  return unopenedReason(wrap.getOpenError());
}

std::string unopenedReason(const std::string& openError) {
  return "cannot be opened as a media file: " + openError;
}

std::string pixelFormatReason(OxVideoStream& video) {
  return unsupported(video.getPixelFormatName());
}

std::string pixelFormatReason(const OxVideoFrameYUV& picture) {
  return unsupported(OxVideoStream::getPixelFormatName(picture));
}

std::string streamSetupReason(unsigned audioStreams) {
  if (audioStreams == 0) {
    return "no audio stream";
  }
  return std::to_string(audioStreams) + " audio streams (1, 3, 4 or 8 are supported)";
}

std::string silentStreamReason(OxAudioStream& audio) {
  if (audio.packetQueue == nullptr) {
    return "there is no decoder for the audio";
  }
  if (!isIntegerFormat(audio.sampleFormat)) {
    return "samples of format " + audio.getSampleFormatName() +
           " read as silence: only 8-, 16- and 32-bit integers are measured";
  }
  return "";
}

}  // namespace qatester
