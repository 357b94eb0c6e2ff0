#pragma once

#include "foundation/Export.h"
#include "media/OxVideoStream.h"
#include "tester/QAResults.h"

// The colour extremes of pictures, for `QATester::checkChroma` and `QATester::checkGamut`.

/// The larger maxima and smaller minima of the two; `passed` is the first one's.
QATESTER_API QA_ChromaLevel MaxChannels(QA_ChromaLevel a, QA_ChromaLevel b);
/// Likewise.
QATESTER_API QA_GamutLevel MaxChannels(QA_GamutLevel a, QA_GamutLevel b);

/// Widens `*level` to what the pixels of columns [xStart, xEnd) and rows [yStart, yEnd) hold. The
/// rectangle must lie inside the picture. A picture with invalid pixels (see `YUVHelper`) changes
/// nothing; a null `level` returns at once.
QATESTER_API void processSubsection(OxVideoFrameYUV* frame, int xStart, int yStart, int xEnd,
                                    int yEnd, QA_ChromaLevel* level);
/// Likewise.
QATESTER_API void processSubsection(OxVideoFrameYUV* frame, int xStart, int yStart, int xEnd,
                                    int yEnd, QA_GamutLevel* level);

/// The extremes of a whole picture, measured by eight threads, with `passed` false. Empty without a
/// picture. Throws `boost::thread_resource_error` when a thread cannot be started.
QATESTER_API QA_ChromaLevel getChromaLimits(OxVideoFrameYUV& frame);
/// Likewise.
QATESTER_API QA_GamutLevel getGamutLimits(OxVideoFrameYUV& frame);
