#include "media/GreyPicture.h"

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "media/GreyValues.h"

namespace qatester {

namespace {

constexpr std::size_t kBytesPerPixel = 3;

/// How long OpenCV makes the rows of an image.
std::size_t imageRowBytes(std::size_t rowBytes) {
  return (rowBytes + 3) / 4 * 4;
}

/// Rows of the image that the picture's bytes make when they are copied as one run.
bool makeShearedRows(OxVideoStream& stream, OxVideoFrameYUV& yuv, std::size_t columns,
                     uint8_t* grey) {
  const std::unique_ptr<OxVideoFrameRGB> record(stream.getRGBFromYUV(&yuv));
  const std::unique_ptr<uint8_t, decltype(&std::free)> buffer(record->buffer, &std::free);
  if (!record->valid) {
    return false;
  }
  const std::size_t rowBytes = columns * kBytesPerPixel;
  const auto height = static_cast<std::size_t>(yuv.height);
  const std::size_t bytes = rowBytes * height;
  std::vector<uint8_t> last(rowBytes);
  for (std::size_t y = 0; y < height; ++y) {
    const std::size_t first = std::min(y * imageRowBytes(rowBytes), bytes);
    const std::size_t there = std::min(bytes - first, rowBytes);
    const uint8_t* row = buffer.get() + first;
    if (there < rowBytes) {
      std::fill(std::copy_n(row, there, last.begin()), last.end(), uint8_t{0});
      row = last.data();
    }
    toGrey(row, columns, grey + y * columns);
  }
  return true;
}

}  // namespace

bool makeGrey(OxVideoStream& stream, OxVideoFrameYUV& yuv, GreyPicture& grey,
              const GreyRowsReady& ready) {
  grey.resize(yuv.width, yuv.height);
  const auto tell = [&](int first, int count) {
    if (ready) {
      ready(grey, first, count);
    }
  };
  const auto columns = static_cast<std::size_t>(yuv.width);
  const std::size_t rowBytes = columns * kBytesPerPixel;
  if (imageRowBytes(rowBytes) != rowBytes) {
    if (!makeShearedRows(stream, yuv, columns, grey.row(0))) {
      return false;
    }
    tell(0, yuv.height);
    return true;
  }
  return stream.convertInSlices(yuv, [&](const ConvertedRows& rows) {
    for (int y = 0; y < rows.count; ++y) {
      toGrey(rows.bytes + rows.stride * y, columns, grey.row(rows.first + y));
    }
    tell(rows.first, rows.count);
  });
}

}  // namespace qatester
