#include "media/DecodedPicture.h"

#include <algorithm>

namespace qatester {

std::shared_ptr<GreyPicture> PictureMaker::blankGrey() {
  const auto found = std::find_if(greys_.begin(), greys_.end(),
                                  [](const auto& picture) { return picture.use_count() == 1; });
  return found != greys_.end() ? *found : greys_.emplace_back(std::make_shared<GreyPicture>());
}

bool DecodedPicture::isConvertible() const {
  return maker_.converter().canConvert(yuv_);
}

const ConvertedPicture& DecodedPicture::converted() const {
  if (!converted_) {
    converted_.emplace(maker_.converter().whole(yuv_));
  }
  return *converted_;
}

std::shared_ptr<const GreyPicture> DecodedPicture::grey(const GreyRowsReady& ready) const {
  if (greyTried_) {
    if (grey_ != nullptr && ready) {
      ready(*grey_, 0, grey_->height());
    }
    return grey_;
  }
  const std::shared_ptr<GreyPicture> made = maker_.blankGrey();
  if (makeGrey(maker_.converter(), yuv_, *made, ready)) {
    grey_ = made;
  }
  greyTried_ = true;  // not of one that an exception kept from being made: others may ask again
  return grey_;
}

}  // namespace qatester
