// What drawing a display adds to decoding the picture that it shows. Nothing is opened on a screen:
// the canvas goes no further than the call that would show it.

#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "support/BareDecoder.h"
#include "support/Clips.h"
#include "support/Paired.h"
#include "visual/Visual.h"

// Takes the place of OpenCV's, for the library too.
extern "C" __attribute__((visibility("default"))) void cvShowImage(const char*,
                                                                   const void* canvas) {
  benchmark::DoNotOptimize(canvas);
}

namespace {

using qatester::bench::BareDecoder;

using Plot = void (*)(OxVideoFrameYUV& frame, const std::string& windowName);

double now() {
  return qatester::bench::readClock(CLOCK_MONOTONIC);
}

void plotPicture(Plot plot, AVFrame* picture) {
  OxVideoFrameYUV frame;
  frame.frame = picture;
  frame.width = picture->width;
  frame.height = picture->height;
  frame.valid = true;
  plot(frame, "benchmark");
}

/// Decodes a picture, then draws it; the table's time is that of drawing. "decode" is what decoding
/// a picture took in ms, "ratio" the time of drawing all pictures by that of decoding them.
void drawsDecoded(benchmark::State& state, Plot plot, const char* clip) {
  const std::string path = qatester::bench::clip(clip);
  std::unique_ptr<BareDecoder> decoder;
  double decoding = 0.0;
  double drawing = 0.0;
  for (auto _ : state) {
    if (decoder == nullptr) {
      decoder = std::make_unique<BareDecoder>(path, AVMEDIA_TYPE_VIDEO, BareDecoder::Threads{});
    }
    const double start = now();
    const AVFrame* picture = decoder->next();
    const double decoded = now();
    if (picture == nullptr) {  // the clip's end: again from its beginning
      decoder = std::make_unique<BareDecoder>(path, AVMEDIA_TYPE_VIDEO, BareDecoder::Threads{});
      picture = decoder->next();
    } else {
      decoding += decoded - start;
    }
    const double startOfDrawing = now();
    plotPicture(plot, const_cast<AVFrame*>(picture));
    const double drawn = now();
    drawing += drawn - startOfDrawing;
    state.SetIterationTime(drawn - startOfDrawing);
  }
  state.counters["decode"] = 1000.0 * decoding / static_cast<double>(state.iterations());
  state.counters["ratio"] = drawing / decoding;
}

/// The code value of a component at a place of its own grid.
using Code = std::function<uint8_t(int component, int x, int y)>;

/// A 4:2:0 picture of 1920x1080.
class Made {
 public:
  explicit Made(const Code& code) : frame_(av_frame_alloc()) {
    frame_->format = AV_PIX_FMT_YUV420P;
    frame_->width = 1920;
    frame_->height = 1080;
    for (int component = 0; component < 3; ++component) {
      const int shift = component == 0 ? 0 : 1;
      auto& plane = planes_[static_cast<std::size_t>(component)];
      for (int y = 0; y < frame_->height >> shift; ++y) {
        for (int x = 0; x < frame_->width >> shift; ++x) {
          plane.push_back(code(component, x, y));
        }
      }
      frame_->data[component] = plane.data();
      frame_->linesize[component] = frame_->width >> shift;
    }
  }
  ~Made() { av_frame_free(&frame_); }
  Made(const Made&) = delete;
  Made& operator=(const Made&) = delete;

  AVFrame* picture() const { return frame_; }

 private:
  AVFrame* frame_;
  std::array<std::vector<uint8_t>, 3> planes_;
};

/// Slow ramps, where neighbours are equal or nearly so.
uint8_t smooth(int component, int x, int y) {
  return static_cast<uint8_t>(component == 0 ? 16 + (x + y) / 14 : 64 + (x + component * y) / 16);
}

void drawsMade(benchmark::State& state, Plot plot, const Code& code) {
  const Made made(code);
  for (auto _ : state) {
    plotPicture(plot, made.picture());
  }
}

void registerFor(const std::string& display, Plot plot) {
  for (const char* clip : {"h264-576.mp4", "h264-1080.mp4"}) {
    benchmark::RegisterBenchmark((display + "/" + clip).c_str(), drawsDecoded, plot, clip)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
  }
  benchmark::RegisterBenchmark((display + "/smooth-1080").c_str(), drawsMade, plot, Code(smooth))
      ->Unit(benchmark::kMillisecond);
  // Every code value anywhere: the farthest from what caches like.
  std::mt19937 random(7);
  benchmark::RegisterBenchmark(
      (display + "/random-1080").c_str(), drawsMade, plot,
      Code([random](int, int, int) mutable { return static_cast<uint8_t>(random() >> 24); }))
      ->Unit(benchmark::kMillisecond);
}

const bool registered = [] {
  // Windows count as available.
  setenv("QT_QPA_PLATFORM", "offscreen", 1);
  registerFor("diamond", Visual::plotDiamondDisplay);
  registerFor("cie1931", Visual::plotCIE1931Display);
  registerFor("linear", Visual::plotLinearGamutDisplay);
  return true;
}();

}  // namespace
