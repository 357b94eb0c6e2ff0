#include "checks/video/GreyPicture.h"

#include <algorithm>

#include "checks/video/GreyValues.h"

namespace qatester {

namespace {

constexpr std::size_t kBytesPerPixel = 3;

/// How long OpenCV makes the rows of an image.
std::size_t imageRowBytes(std::size_t rowBytes) {
  return (rowBytes + 3) / 4 * 4;
}

/// Rows of the image that the picture's bytes make when they are copied as one run.
bool makeShearedRows(const DecodedPicture& picture, std::size_t columns, uint8_t* grey) {
  const ConvertedPicture converted = picture.converted();
  if (!converted.record().valid) {
    return false;
  }
  const std::size_t rowBytes = columns * kBytesPerPixel;
  const auto height = static_cast<std::size_t>(picture.height());
  const std::size_t bytes = rowBytes * height;
  std::vector<uint8_t> last(rowBytes);
  for (std::size_t y = 0; y < height; ++y) {
    const std::size_t first = std::min(y * imageRowBytes(rowBytes), bytes);
    const std::size_t there = std::min(bytes - first, rowBytes);
    const uint8_t* row = converted.record().buffer + first;
    if (there < rowBytes) {
      std::fill(std::copy_n(row, there, last.begin()), last.end(), uint8_t{0});
      row = last.data();
    }
    toGrey(row, columns, grey + y * columns);
  }
  return true;
}

}  // namespace

bool makeGreyRows(const DecodedPicture& picture,
                  const std::function<uint8_t*(int first, int count)>& target,
                  const std::function<void(int first, int count)>& ready) {
  const auto columns = static_cast<std::size_t>(picture.width());
  const std::size_t rowBytes = columns * kBytesPerPixel;
  if (imageRowBytes(rowBytes) != rowBytes) {
    if (!makeShearedRows(picture, columns, target(0, picture.height()))) {
      return false;
    }
    ready(0, picture.height());
    return true;
  }
  return picture.convertInSlices([&](const ConvertedRows& rows) {
    uint8_t* grey = target(rows.first, rows.count);
    for (int y = 0; y < rows.count; ++y) {
      toGrey(rows.bytes + rows.stride * y, columns, grey + columns * static_cast<std::size_t>(y));
    }
    ready(rows.first, rows.count);
  });
}

bool makeGrey(const DecodedPicture& picture, GreyPicture& grey,
              const std::function<void(int first, int count)>& ready) {
  grey.resize(picture.width(), picture.height());
  return makeGreyRows(
      picture, [&](int first, int) { return grey.row(first); },
      [&](int first, int count) {
        if (ready) {
          ready(first, count);
        }
      });
}

}  // namespace qatester
