#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "media/YUVHelper.h"
#include "support/Picture.h"

namespace qatest {

/// A 4:4:4 picture of one row, with these code values.
Picture rowOf(std::initializer_list<YUVPixel> pixels);

/// The code values of a picture.
enum class Content {
  anything,  ///< each of them from 0 to 255
  legal,     ///< neutral to vivid colours whose R, G and B are from 0 to 255
  limits,    ///< black, white, primaries and their like, each exactly on, inside and outside limits
};

/// Fills the picture, the same way for the same seed.
Picture& fillWith(Picture& picture, Content content, unsigned seed);

/// A picture that windows show in tests of several processes.
Picture sharedPicture();

/// The same for a converted one. Its rows are not a multiple of four bytes.
inline constexpr int kImageDataWidth = 131;
inline constexpr int kImageDataHeight = 77;
std::vector<uint8_t> sharedImageData();

/// Pictures of odd and of even sizes, wider than what is converted at a time and tiny, in every
/// format, with padded rows and from the bottom up, of every content.
struct NamedPicture {
  std::string name;
  Picture picture;
};
std::vector<NamedPicture> manyPictures();

}  // namespace qatest
