#pragma once

#include <string>

#include "visual/Canvas.h"
#include "visual/QADisplays.h"

namespace qatester {

/// A canvas of 8-bit blue, green, red as a small picture: what is at most 512 wide is PNG, without
/// loss; wider ones are JPEG, and made at most 640 wide. Throws `std::runtime_error` with the
/// reason where there can be none, and `std::bad_alloc`.
QADisplayPicture smallPicture(const std::string& display, int index, const IplImage& canvas);

}  // namespace qatester
