#pragma once

#include "foundation/Export.h"
#include "visual/Visual.h"

// What `QATester::checkTearing` sees in a picture. Images are OpenCV's with 8-bit channels; pixel
// (x, y) is byte x of row y, whatever the number of channels. Null, or an image of another depth,
// gives 0 or null. Images that are returned are new, the caller's to release (`cvReleaseImage`).

/// The percentage of pixels with a value of 11 or more, rounded down.
QATESTER_API int percentWhite(IplImage* img);

/// One channel: the absolute difference of each pixel and the one below it. The last row is 0.
QATESTER_API IplImage* verticalDifferencing(IplImage* grey);

/// One channel: 255 where the pixel is 17 or more, 0 elsewhere and in the first and last ten
/// columns. That is a sum of twenty weighted taps which all read the pixel in the middle: clients
/// rely on the result.
QATESTER_API IplImage* horizontalBarring(IplImage* img);

/// Three channels: the same for the pixels but those in the first and last ten rows, written to
/// byte x of the row, so that the left third of the picture holds it. Clients rely on that.
QATESTER_API IplImage* verticalBarring(IplImage* img);

/// Paints the pixels of a blue-green-red picture red where the mask is more than 10, as far as both
/// reach, and shows it in the window "Overlay Tearing" if windows can be opened.
QATESTER_API void showOnOriginal(IplImage* frameImage, IplImage* mask);
