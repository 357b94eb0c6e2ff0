#pragma once

#include <cstdlib>
#include <functional>
#include <memory>

#include "media/OxVideoStream.h"

namespace qatester {

struct FreeBuffer {
  void operator()(uint8_t* buffer) const { std::free(buffer); }
};

/// A converted picture that owns its bytes.
class ConvertedPicture {
 public:
  /// Takes the record and its buffer over.
  explicit ConvertedPicture(const OxVideoFrameRGB& record)
      : record_(record), buffer_(record.buffer) {}

  const OxVideoFrameRGB& record() const { return record_; }

 private:
  OxVideoFrameRGB record_;
  std::unique_ptr<uint8_t, FreeBuffer> buffer_;
};

/// A picture as a measurement gets it: in the decoder's own planes, and converted if it asks for
/// that. Neither the picture nor the stream that it came from is owned.
class DecodedPicture {
 public:
  DecodedPicture(OxVideoStream& stream, OxVideoFrameYUV& yuv) : stream_(stream), yuv_(yuv) {}

  OxVideoFrameYUV& yuv() const { return yuv_; }
  int width() const { return yuv_.width; }
  int height() const { return yuv_.height; }

  /// The whole picture; its record is invalid if there is no converting it.
  ConvertedPicture converted() const;

  /// The same a few rows at a time, see `OxVideoStream::convertInSlices`.
  bool convertInSlices(const std::function<void(const ConvertedRows& rows)>& take) const {
    return stream_.convertInSlices(yuv_, take);
  }

 private:
  OxVideoStream& stream_;
  OxVideoFrameYUV& yuv_;
};

}  // namespace qatester
