#pragma once

#include "foundation/Export.h"
#include "visual/Visual.h"

/// The mean of `middle` / (`before` + `after`) over all pixels, in single precision, row by row;
/// pixels that are 0 in both `before` and `after` add nothing. About 0.5 for a still scene. All
/// three are 8-bit grey OpenCV images of one size. -1 without one of them, or when they are not.
QATESTER_API float getFrameRelationship(IplImage* middle, IplImage* before, IplImage* after);
