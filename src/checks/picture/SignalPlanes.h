#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "checks/picture/SignalRangeKernels.h"
#include "media/FFmpegPixels.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace qatester {

/// What the codes of a picture stand for.
struct SignalCoding {
  SignalRules rules;
  std::string matrix;  ///< "BT.709"; "RGB" and "grey" where there is none
  bool matrixFlagged = false;
  bool fullRange = false;
  bool rangeFlagged = false;
  /// The nominal range, in steps as signals are counted.
  int black = 0;
  int white = 0;

  double percentOf(int steps) const { return 100.0 * (steps - black) / (white - black); }
};

/// The coding of a picture as it is flagged or, where it is not, as its size and format suggest.
/// False when its matrix is none that signals can be computed with; `reason` then says so.
bool findCoding(const AVFrame& frame, const PixelLayout& layout, SignalCoding& coding,
                std::string& reason);

/// Reads pictures of all formats that `pixelLayout` can read, and keeps memory from one to the
/// next.
class SignalPlanes {
 public:
  /// The planes of a picture whose samples lie in the order of the machine and without others
  /// between them, otherwise copies of them. They are good until the next call. The layout is that
  /// of the picture's format; the picture has planes and a size.
  SignalPicture read(const AVFrame& frame, const PixelLayout& layout);

 private:
  std::array<std::vector<uint8_t>, 3> copies_;
};

}  // namespace qatester
