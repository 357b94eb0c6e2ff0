#pragma once

#include <utility>

#include "media/OxVideoStream.h"
#include "visual/Canvases.h"

/// The displays drawn in the plainest way: pixel after pixel, rule after rule, byte after byte.
namespace qatest {

Pixels referenceDiamond(OxVideoFrameYUV frame);
Pixels referenceCIE1931(OxVideoFrameYUV frame);
Pixels referenceLinearGamut(OxVideoFrameYUV frame);
Pixels referenceColourSpace(std::pair<int, int> red, std::pair<int, int> green,
                            std::pair<int, int> blue, int level);

/// Where the chromaticity display has a colour, and its bytes; `place` is outside of 256 x 256 when
/// it is left out.
struct ReferencePoint {
  Place place;
  Bgr colour;
};
ReferencePoint referenceCIE1931Point(float y, float u, float v);

}  // namespace qatest
