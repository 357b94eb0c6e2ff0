#pragma once

#include <array>
#include <string>

extern "C" {
#include <libavutil/frame.h>
}

namespace qatester {

/// Where a component of a picture lies.
struct ComponentPlace {
  int plane = 0;
  int offset = 0;  ///< bytes from the start of a row to its first sample
  int step = 0;    ///< bytes from a sample to the next
  int shift = 0;   ///< bits below its lowest one
};

/// How the samples of a pixel format lie.
struct PixelLayout {
  enum class Kind {
    unreadable,  ///< no whole samples of 8 to 16 bits at regular places
    grey,        ///< luma alone
    difference,  ///< luma, Cb, Cr
    rgb,         ///< red, green, blue
  };
  Kind kind = Kind::unreadable;
  std::string name;        ///< in FFmpeg's words, such as "yuv422p10le"
  int bits = 0;            ///< of a sample
  bool twoBytes = false;   ///< samples are read as numbers of 16 bits
  bool bigEndian = false;  ///< those
  bool fullRange = false;  ///< the format itself says so ("yuvj420p")
  int chromaShiftX = 0;    ///< a luma column shifted to the right is its chroma sample's
  int chromaShiftY = 0;
  std::array<ComponentPlace, 3> components = {};
};

PixelLayout pixelLayout(int format);

/// In FFmpeg's words, such as "bt709"; "unknown" for what FFmpeg does not know.
std::string matrixName(AVColorSpace matrix);

}  // namespace qatester
