#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "media/OxVideoStream.h"
#include "support/PaddedBytes.h"

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/pixfmt.h>
}

namespace qatest {

/// How the rows of a picture lie in memory.
struct Layout {
  int padding = 0;        ///< bytes between the end of a row and the start of the next
  bool bottomUp = false;  ///< strides are negative
};

/// A picture made by hand, in 8-bit planar 4:2:0, 4:2:2 or 4:4:4. Padding and what lies around the
/// planes holds `kAround`, which no picture under test may show.
class Picture {
 public:
  static constexpr uint8_t kAround = 0xEE;

  Picture(AVPixelFormat format, int width, int height, Layout layout = {})
      : frame_(av_frame_alloc()),
        shiftX_(format == AV_PIX_FMT_YUV444P ? 0 : 1),
        shiftY_(format == AV_PIX_FMT_YUV420P ? 1 : 0),
        width_(width),
        height_(height) {
    frame_->format = format;
    frame_->width = width;
    frame_->height = height;
    for (int plane = 0; plane < 3; ++plane) {
      const int rows = rowsOf(plane);
      const int stride = columnsOf(plane) + layout.padding;
      planes_[plane] =
          PaddedBytes(static_cast<std::size_t>(stride) * static_cast<std::size_t>(rows), kAround);
      uint8_t* first = planes_[plane].data();
      frame_->data[plane] = layout.bottomUp ? first + stride * (rows - 1) : first;
      frame_->linesize[plane] = layout.bottomUp ? -stride : stride;
    }
  }

  int width() const { return width_; }
  int height() const { return height_; }
  int columnsOf(int plane) const { return plane == 0 ? width_ : (width_ + shiftX_) >> shiftX_; }
  int rowsOf(int plane) const { return plane == 0 ? height_ : (height_ + shiftY_) >> shiftY_; }

  /// In the plane's own grid.
  uint8_t& at(int plane, int x, int y) {
    return frame_->data[plane][static_cast<std::ptrdiff_t>(y) * frame_->linesize[plane] + x];
  }

  /// Fills each plane with `value(plane, x, y)`.
  template <typename Value>
  Picture& fill(Value value) {
    for (int plane = 0; plane < 3; ++plane) {
      for (int y = 0; y < rowsOf(plane); ++y) {
        for (int x = 0; x < columnsOf(plane); ++x) {
          at(plane, x, y) = static_cast<uint8_t>(value(plane, x, y));
        }
      }
    }
    return *this;
  }

  /// The same colour everywhere.
  Picture& fill(int y, int u, int v) {
    return fill([=](int plane, int, int) { return plane == 0 ? y : plane == 1 ? u : v; });
  }

  AVFrame& frame() { return *frame_; }

  /// As a stream hands it out. The picture stays this object's.
  OxVideoFrameYUV record() {
    OxVideoFrameYUV record;
    record.frame = frame_.get();
    record.width = width_;
    record.height = height_;
    record.valid = true;
    return record;
  }

 private:
  struct Free {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  };

  std::unique_ptr<AVFrame, Free> frame_;
  PaddedBytes planes_[3];
  int shiftX_;
  int shiftY_;
  int width_;
  int height_;
};

}  // namespace qatest
