#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "visual/Visual.h"

namespace qatester {

/// The name of the picture file of a display: "Diamond Display" with index 42 gives
/// "Diamond-Display-00042.png".
std::string pictureFileName(const std::string& display, int index);

/// The bytes of a PNG file of a canvas of 8-bit blue, green, red; empty, with `problem` set, when
/// there is none.
std::vector<uint8_t> encodePng(const IplImage& canvas, std::string& problem);

/// Writes a canvas of 8-bit blue, green, red as a PNG file, making its folder when there is none.
/// What was there is replaced at once: nobody sees half a picture. Gives what went wrong, in words;
/// empty when nothing did. Nothing is left behind then.
std::string writePicture(const std::string& path, const IplImage& canvas);

}  // namespace qatester
