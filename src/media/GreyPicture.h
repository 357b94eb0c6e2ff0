#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "media/OxVideoStream.h"

namespace qatester {

/// An 8-bit grey picture without gaps between its rows. Its memory is kept from one picture to the
/// next.
class GreyPicture {
 public:
  /// Pixels have any value afterwards.
  void resize(int width, int height) {
    width_ = width;
    height_ = height;
    pixels_.resize(size());
  }

  int width() const { return width_; }
  int height() const { return height_; }
  /// In pixels.
  std::size_t size() const {
    return static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_);
  }
  bool hasSizeOf(const GreyPicture& other) const {
    return width_ == other.width_ && height_ == other.height_;
  }

  uint8_t* row(int y) { return pixels_.data() + offset(y); }
  const uint8_t* row(int y) const { return pixels_.data() + offset(y); }

 private:
  std::ptrdiff_t offset(int y) const { return static_cast<std::ptrdiff_t>(width_) * y; }

  int width_ = 0;
  int height_ = 0;
  std::vector<uint8_t> pixels_;
};

/// Told that `count` rows from `first` on of a grey picture are there.
using GreyRowsReady = std::function<void(const GreyPicture& grey, int first, int count)>;

/// Makes a picture of a stream grey, some rows at a time from top to bottom. `ready` (may be empty)
/// is told of them. False when there is no converting the picture; some rows may have been told
/// then.
///
/// A picture whose rows are no multiple of four bytes comes out sheared, as its bytes do when they
/// are copied as one run to an OpenCV image, whose rows are: clients know the results. What the
/// picture has no bytes for is 0.
bool makeGrey(OxVideoStream& stream, OxVideoFrameYUV& yuv, GreyPicture& grey,
              const GreyRowsReady& ready = {});

}  // namespace qatester
