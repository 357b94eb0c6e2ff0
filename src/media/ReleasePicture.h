#pragma once

#include "media/OxVideoStream.h"

namespace qatester {

/// Releases a picture record as its receiver must; harmless without one.
void releasePicture(const OxVideoFrameYUV& picture);

/// Releases a picture record at the end of a scope.
class PictureGuard {
 public:
  explicit PictureGuard(const OxVideoFrameYUV& picture) : picture_(picture) {}
  ~PictureGuard() { releasePicture(picture_); }
  PictureGuard(const PictureGuard&) = delete;
  PictureGuard& operator=(const PictureGuard&) = delete;

 private:
  const OxVideoFrameYUV& picture_;
};

}  // namespace qatester
