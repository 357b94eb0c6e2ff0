#pragma once

#include "media/OxVideoStream.h"
#include "media/OxWrap.h"

namespace qatester {

/// When a file starts, in seconds of its own clock; 0 for one that did not open or does not say.
double startSeconds(const OxWrap& wrap);

/// The length that an opened file declares, in seconds; 0 when it does not.
double declaredSeconds(const OxWrap& wrap);

/// When a picture of a stream is presented, in seconds of the file's own clock; by its decoding time
/// where it has no other.
double presentationSeconds(const OxVideoFrameYUV& picture, const OxVideoStream& video);

}  // namespace qatester
