#include "media/DecodedPicture.h"

namespace qatester {

ConvertedPicture DecodedPicture::converted() const {
  const std::unique_ptr<OxVideoFrameRGB> record(stream_.getRGBFromYUV(&yuv_));
  return ConvertedPicture(*record);
}

}  // namespace qatester
