#include "checks/video/GreyPicture.h"

#include <algorithm>
#include <cstring>

#include "checks/video/GreyValues.h"

namespace qatester {

namespace {

constexpr std::size_t kBytesPerPixel = 3;

/// How long OpenCV makes the rows of an image.
std::size_t imageRowBytes(std::size_t rowBytes) {
  return (rowBytes + 3) / 4 * 4;
}

/// Rows of the image that the picture's bytes make when they are copied as one run.
bool makeShearedGrey(const DecodedPicture& picture, GreyPicture& grey) {
  const ConvertedPicture converted = picture.converted();
  if (!converted.record().valid) {
    return false;
  }
  const auto columns = static_cast<std::size_t>(grey.width());
  const std::size_t rowBytes = columns * kBytesPerPixel;
  const std::size_t bytes = grey.size() * kBytesPerPixel;
  std::vector<uint8_t> last(rowBytes);
  for (int y = 0; y < grey.height(); ++y) {
    const std::size_t first =
        std::min(static_cast<std::size_t>(y) * imageRowBytes(rowBytes), bytes);
    const std::size_t there = std::min(bytes - first, rowBytes);
    const uint8_t* row = converted.record().buffer + first;
    if (there < rowBytes) {
      std::fill(std::copy_n(row, there, last.begin()), last.end(), uint8_t{0});
      row = last.data();
    }
    toGrey(row, columns, grey.row(y));
  }
  return true;
}

}  // namespace

bool makeGrey(const DecodedPicture& picture, GreyPicture& grey,
              const std::function<void(int first, int last)>& ready) {
  grey.resize(picture.width(), picture.height());
  const auto columns = static_cast<std::size_t>(grey.width());
  const std::size_t rowBytes = columns * kBytesPerPixel;
  if (imageRowBytes(rowBytes) != rowBytes) {
    if (!makeShearedGrey(picture, grey)) {
      return false;
    }
    if (ready) {
      ready(0, grey.height());
    }
    return true;
  }
  return picture.convertInSlices([&](const ConvertedRows& rows) {
    const int end = rows.first + rows.count;
    for (int y = rows.first; y < end; ++y) {
      toGrey(rows.bytes + rows.stride * (y - rows.first), columns, grey.row(y));
    }
    if (ready) {
      ready(rows.first, end);
    }
  });
}

}  // namespace qatester
