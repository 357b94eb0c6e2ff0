#pragma once

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "media/GreyPicture.h"
#include "media/OxVideoStream.h"
#include "media/PictureConverter.h"

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

/// Makes what measurements ask of pictures, and keeps its memory from one picture to the next. Used
/// by one thread.
class PictureMaker {
 public:
  PictureConverter& converter() { return converter_; }

  /// A grey picture that nobody else holds, with pixels of any value.
  std::shared_ptr<GreyPicture> blankGrey();

 private:
  PictureConverter converter_;
  std::vector<std::shared_ptr<GreyPicture>> greys_;
};

/// A picture as measurements get it: in the decoder's own planes, and converted or grey if they ask
/// for that, which is made once for all who ask. Neither the picture nor the maker is owned.
class DecodedPicture {
 public:
  /// `number` counts the pictures of the reading from 0, `seconds` is the time of presentation from
  /// the start of the file.
  DecodedPicture(PictureMaker& maker, OxVideoFrameYUV& yuv, int64_t number = 0,
                 double seconds = 0.0)
      : maker_(maker), yuv_(yuv), number_(number), seconds_(seconds) {}

  OxVideoFrameYUV& yuv() const { return yuv_; }
  int width() const { return yuv_.width; }
  int height() const { return yuv_.height; }
  int64_t number() const { return number_; }
  double seconds() const { return seconds_; }

  /// Whether it can be converted.
  bool isConvertible() const;

  /// The whole picture in blue, green, red; its record is invalid if it cannot be converted.
  const ConvertedPicture& converted() const;

  /// The picture in grey; null if it cannot be converted. `ready` (may be empty) is called with
  /// rows as they are there, from top to bottom, all at once when the picture has been made before.
  std::shared_ptr<const GreyPicture> grey(const GreyRowsReady& ready = {}) const;

 private:
  PictureMaker& maker_;
  OxVideoFrameYUV& yuv_;
  int64_t number_;
  double seconds_;
  mutable std::optional<ConvertedPicture> converted_;
  mutable bool greyTried_ = false;
  mutable std::shared_ptr<const GreyPicture> grey_;
};

}  // namespace qatester
