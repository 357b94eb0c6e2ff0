#pragma once

#include "media/OxAudioStream.h"
#include "media/OxVideoStream.h"
#include "visual/Canvas.h"

namespace qatester {

// The plots of `Visual` on canvases of their own. Null when there is nothing to show.

/// One waveform.
UniqueCanvas drawSample(const OxAudioSample& block, CanvasMaker make = makeCanvas);

/// Two waveforms with a legend.
UniqueCanvas drawSamples(const OxAudioSample& first, const OxAudioSample& second,
                         CanvasMaker make = makeCanvas);

/// A converted picture.
UniqueCanvas drawImageData(const OxVideoFrameRGB& frame, CanvasMaker make = makeCanvas);

/// See `Visual::plotPoint`.
void drawPoint(IplImage& canvas, int x, int y, Colour colour);

}  // namespace qatester
