// Pictures a second of the video stream, against a loop that only decodes the same file with the
// same thread settings; and the same with the conversion to BGR.

#include "media/OxVideoStream.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "media/OxWrap.h"
#include "support/BareDecoder.h"
#include "support/Clips.h"
#include "support/Paired.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/mem.h>
#include <libswscale/swscale.h>
}

namespace {

using qatester::bench::BareDecoder;
using qatester::bench::Yield;

std::int64_t pictureBytes(int width, int height, int format) {
  return av_image_get_buffer_size(static_cast<AVPixelFormat>(format), width, height, 1);
}

/// The library's own way: a thread reads, the caller decodes.
class Wrapped {
 public:
  explicit Wrapped(const std::string& path) : wrap_(path, {QAPauses::untilReady, {}}) {
    wrap_.discardAudio(true);
  }

  /// Takes every picture; `release` frees one and says its pixel format.
  template <typename Picture, typename Release>
  Yield drainWith(Picture (OxVideoStream::*next)(), Release release) {
    wrap_.startBuffering();
    OxVideoStream& video = *wrap_.getVideoStream();
    Yield yield;
    for (;;) {
      const Picture picture = (video.*next)();
      if (!picture.valid) {
        return yield;
      }
      yield.items += 1;
      yield.bytes += pictureBytes(picture.width, picture.height, release(picture));
    }
  }

 private:
  OxWrap wrap_;
};

class WrappedYuv : Wrapped {
 public:
  using Wrapped::Wrapped;

  Yield drain() {
    return drainWith(&OxVideoStream::getNextYUVFrame, [](const OxVideoFrameYUV& picture) {
      const int format = picture.frame->format;
      av_free(picture.frame);
      return format;
    });
  }
};

class WrappedRgb : Wrapped {
 public:
  using Wrapped::Wrapped;

  Yield drain() {
    return drainWith(&OxVideoStream::getNextRGBFrame, [](const OxVideoFrameRGB& picture) {
      std::free(picture.buffer);
      return static_cast<int>(AV_PIX_FMT_BGR24);
    });
  }
};

/// The thread settings that the library chose for this file.
BareDecoder::Threads threadsOf(const std::string& path) {
  OxWrap wrap(path);
  OxVideoStream* video = wrap.getVideoStream();
  if (video == nullptr || video->codecContext == nullptr) {
    throw std::runtime_error("no video in " + path);
  }
  return {video->codecContext->thread_type, video->codecContext->thread_count};
}

class BareYuv {
 public:
  explicit BareYuv(const std::string& path) : decoder_(path, AVMEDIA_TYPE_VIDEO, threadsOf(path)) {}

  Yield drain() {
    Yield yield;
    while (const AVFrame* picture = decoder_.next()) {
      yield.items += 1;
      yield.bytes += pictureBytes(picture->width, picture->height, picture->format);
    }
    return yield;
  }

 private:
  BareDecoder decoder_;
};

/// Converts every picture into the same aligned rows.
class BareRgb {
 public:
  explicit BareRgb(const std::string& path) : decoder_(path, AVMEDIA_TYPE_VIDEO, threadsOf(path)) {
    const AVCodecContext& context = decoder_.context();
    scaler_ =
        sws_getContext(context.width, context.height, context.pix_fmt, context.width,
                       context.height, AV_PIX_FMT_BGR24, SWS_BICUBIC, nullptr, nullptr, nullptr);
    if (scaler_ == nullptr ||
        av_image_alloc(rows_, strides_, context.width, context.height, AV_PIX_FMT_BGR24, 64) < 0) {
      throw std::runtime_error("cannot make the scaler");
    }
  }
  ~BareRgb() {
    sws_freeContext(scaler_);
    av_freep(&rows_[0]);
  }
  BareRgb(const BareRgb&) = delete;
  BareRgb& operator=(const BareRgb&) = delete;

  Yield drain() {
    Yield yield;
    while (const AVFrame* picture = decoder_.next()) {
      sws_scale(scaler_, picture->data, picture->linesize, 0, picture->height, rows_, strides_);
      yield.items += 1;
      yield.bytes += pictureBytes(picture->width, picture->height, AV_PIX_FMT_BGR24);
    }
    return yield;
  }

 private:
  BareDecoder decoder_;
  SwsContext* scaler_ = nullptr;
  uint8_t* rows_[4] = {};
  int strides_[4] = {};
};

template <typename Ours, typename Bare>
void decodes(benchmark::State& state, const char* clip) {
  qatester::bench::runPairs<Ours, Bare>(state, qatester::bench::clip(clip));
}

/// Registers one comparison for every clip.
template <typename Ours, typename Bare>
bool registerFor(const std::string& operation) {
  for (const char* clip :
       {"h264-576.mp4", "mpeg2-576.mov", "dv-576.dv", "h264-1080.mp4", "mpeg2-1080.mov"}) {
    benchmark::RegisterBenchmark((operation + "/" + clip).c_str(), decodes<Ours, Bare>, clip)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
  }
  return true;
}

const bool registered = registerFor<WrappedYuv, BareYuv>("getNextYUVFrame") &&
                        registerFor<WrappedRgb, BareRgb>("getNextRGBFrame");

}  // namespace
