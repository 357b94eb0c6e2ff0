#include "media/PictureConverter.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace qatester {

namespace {

constexpr int kBgrBytes = 3;
/// Of a slice: what is converted of 1920 columns fits in a processor's first cache or its second.
constexpr int kSliceRows = 16;

std::size_t packedRowBytes(const AVFrame& picture) {
  return static_cast<std::size_t>(picture.width) * kBgrBytes;
}

/// The stride of rows that the scaler's vector code may write past a picture's width in.
std::size_t roomyStride(const AVFrame& picture) {
  return ((packedRowBytes(picture) + 15) / 16 + 4) * 16;
}

/// Whether the planes show where rows of the picture begin: for other formats this is not known.
bool isSliceable(const AVFrame& picture) {
  return picture.format == AV_PIX_FMT_YUV420P || picture.format == AV_PIX_FMT_YUV422P ||
         picture.format == AV_PIX_FMT_YUV444P;
}

/// Converts rows, of which `first` is a multiple of 2, to `rows`. Returns how many rows it wrote:
/// a scaler that looks at neighbouring rows writes fewer at first.
int convertSlice(SwsContext* scaler, const AVFrame& picture, int first, int count, uint8_t* rows,
                 std::size_t stride) {
  const std::ptrdiff_t chromaFirst = picture.format == AV_PIX_FMT_YUV420P ? first / 2 : first;
  const uint8_t* source[4] = {picture.data[0] + first * std::ptrdiff_t{picture.linesize[0]},
                              picture.data[1] + chromaFirst * picture.linesize[1],
                              picture.data[2] + chromaFirst * picture.linesize[2], nullptr};
  // The scaler counts rows from the top of the picture, which is not there.
  const auto top = reinterpret_cast<uintptr_t>(rows) - static_cast<std::size_t>(first) * stride;
  // NOLINTNEXTLINE(performance-no-int-to-ptr): a pointer outside of the rows may not be computed.
  auto* target = reinterpret_cast<uint8_t*>(top);
  return ffmpeg::scaleRows(scaler, source, picture.linesize, first, count, target,
                           static_cast<int>(stride));
}

}  // namespace

PictureConverter::PictureConverter() = default;
PictureConverter::~PictureConverter() = default;

SwsContext* PictureConverter::prepareScaler(int width, int height, int format) {
  const Shape wanted{width, height, format};
  if (scaler_ == nullptr || shape_ != wanted) {
    scaler_ = ffmpeg::makeScaler(width, height, format);
    shape_ = wanted;
  }
  return scaler_.get();
}

const AVFrame* PictureConverter::prepare(const OxVideoFrameYUV& picture) {
  if (!picture.valid || picture.frame == nullptr) {
    return nullptr;
  }
  const AVFrame& frame = *picture.frame;
  const bool ready =
      ffmpeg::hasPlanes(frame) && prepareScaler(frame.width, frame.height, frame.format) != nullptr;
  return ready ? &frame : nullptr;
}

uint8_t* PictureConverter::rowsOf(std::size_t bytes) {
  rows_.resize(bytes);
  return rows_.data();
}

bool PictureConverter::convertAtOnce(const AVFrame& picture, uint8_t* target, std::size_t stride) {
  return ffmpeg::scaleRows(scaler_.get(), picture.data, picture.linesize, 0, picture.height, target,
                           static_cast<int>(stride)) == picture.height;
}

bool PictureConverter::canConvert(const OxVideoFrameYUV& picture) {
  if (!picture.valid || picture.frame == nullptr || !ffmpeg::hasPlanes(*picture.frame)) {
    return false;
  }
  const Shape shape{picture.frame->width, picture.frame->height, picture.frame->format};
  auto known = convertible_.find(shape);
  if (known == convertible_.end()) {
    const bool converted = inSlices(picture, [](const ConvertedRows&) {});
    known = convertible_.emplace(shape, converted).first;
  }
  return known->second;
}

bool PictureConverter::inSlices(const OxVideoFrameYUV& picture,
                                const std::function<void(const ConvertedRows& rows)>& take) {
  const AVFrame* frame = prepare(picture);
  if (frame == nullptr) {
    return false;
  }
  const std::size_t stride = roomyStride(*frame);
  const auto give = [&](int first, int count) {
    take({rows_.data(), static_cast<int64_t>(stride), first, count});
  };
  if (isSliceable(*frame)) {
    uint8_t* rows = rowsOf(stride * kSliceRows);
    int done = 0;
    while (done < frame->height) {
      const int count = std::min(kSliceRows, frame->height - done);
      if (convertSlice(scaler_.get(), *frame, done, count, rows, stride) != count) {
        break;
      }
      give(done, count);
      done += count;
    }
    if (done > 0) {
      return done == frame->height;
    }
  }
  uint8_t* rows = rowsOf(stride * static_cast<std::size_t>(frame->height));
  if (!convertAtOnce(*frame, rows, stride)) {
    return false;
  }
  give(0, frame->height);
  return true;
}

OxVideoFrameRGB PictureConverter::whole(const OxVideoFrameYUV& picture) {
  const AVFrame* frame = prepare(picture);
  if (frame == nullptr) {
    return {};
  }
  const std::size_t rowBytes = packedRowBytes(*frame);
  const auto height = static_cast<std::size_t>(frame->height);
  std::unique_ptr<uint8_t, decltype(&std::free)> packed(
      static_cast<uint8_t*>(std::malloc(rowBytes * height)), &std::free);
  if (packed == nullptr) {
    return {};
  }
  // The scaler's vector code leaves the end of a row unwritten, or writes past it, unless the width
  // is a multiple of 16: such pictures take the way over wider rows.
  if (frame->width % 16 == 0) {
    if (!convertAtOnce(*frame, packed.get(), rowBytes)) {
      return {};
    }
  } else {
    const std::size_t stride = roomyStride(*frame);
    const uint8_t* rows = rowsOf(stride * height);
    if (!convertAtOnce(*frame, rows_.data(), stride)) {
      return {};
    }
    for (std::size_t row = 0; row < height; ++row) {
      std::memcpy(packed.get() + row * rowBytes, rows + row * stride, rowBytes);
    }
  }
  return {packed.release(), frame->width, frame->height, true, picture.time};
}

}  // namespace qatester
