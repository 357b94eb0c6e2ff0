// The colour extremes of pictures that a decoder has just left behind: by the definition, pixel by
// pixel; as the checks measure them, with one thread and with eight; and, for what there is to win,
// the reading of the planes alone and the starting of eight threads that do nothing.

#include "checks/video/ColourLevels.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <boost/thread/thread.hpp>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "media/YUVHelper.h"
#include "support/BareDecoder.h"
#include "support/Clips.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace {

using qatester::bench::BareDecoder;

struct FreeFrame {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};

/// The first pictures of a clip, more of them than a cache of the second level holds.
class Pictures {
 public:
  explicit Pictures(const std::string& name) {
    BareDecoder decoder(qatester::bench::clip(name), AVMEDIA_TYPE_VIDEO, {});
    while (frames_.size() < 10) {
      frames_.emplace_back(av_frame_clone(decoder.next()));
    }
  }

  /// In turn.
  OxVideoFrameYUV next() {
    at_ = (at_ + 1) % frames_.size();
    OxVideoFrameYUV record;
    record.frame = frames_[at_].get();
    record.width = record.frame->width;
    record.height = record.frame->height;
    record.valid = true;
    return record;
  }

 private:
  std::vector<std::unique_ptr<AVFrame, FreeFrame>> frames_;
  std::size_t at_ = 0;
};

void byDefinition(OxVideoFrameYUV& frame) {
  QA_ChromaLevel level;
  for (int y = 0; y < frame.height; ++y) {
    for (int x = 0; x < frame.width; ++x) {
      const YUVPixel yuv = YUVHelper::getYUVPixelFromFrame(frame, x, y);
      const RgbPixel rgb = YUVHelper::YUVtoRGB601(yuv);
      level.rMax = std::max(level.rMax, rgb.r);
      level.gMax = std::max(level.gMax, rgb.g);
      level.bMax = std::max(level.bMax, rgb.b);
      level.yMax = std::max(level.yMax, yuv.y);
      level.yMin = std::min(level.yMin, yuv.y);
      level.rMin = std::min(level.rMin, rgb.r);
      level.gMin = std::min(level.gMin, rgb.g);
      level.bMin = std::min(level.bMin, rgb.b);
    }
  }
  benchmark::DoNotOptimize(level);
}

void oneThread(OxVideoFrameYUV& frame) {
  QA_ChromaLevel level;
  processSubsection(&frame, 0, 0, frame.width, frame.height, &level);
  benchmark::DoNotOptimize(level);
}

void eightThreads(OxVideoFrameYUV& frame) {
  benchmark::DoNotOptimize(getChromaLimits(frame));
}

void emptyThreads(OxVideoFrameYUV&) {
  std::array<boost::thread, 8> threads;
  for (boost::thread& thread : threads) {
    thread = boost::thread([] {});
  }
  for (boost::thread& thread : threads) {
    thread.join();
  }
}

void readPlanes(OxVideoFrameYUV& frame) {
  const AVPixFmtDescriptor& format =
      *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.frame->format));
  uint64_t sum = 0;
  for (int plane = 0; plane < 3; ++plane) {
    const int width = plane == 0 ? frame.width : frame.width >> format.log2_chroma_w;
    const int height = plane == 0 ? frame.height : frame.height >> format.log2_chroma_h;
    for (int y = 0; y < height; ++y) {
      const uint8_t* row = frame.frame->data[plane] + y * frame.frame->linesize[plane];
      for (int x = 0; x + 8 <= width; x += 8) {
        uint64_t word = 0;
        std::memcpy(&word, row + x, sizeof word);
        sum += word;
      }
    }
  }
  benchmark::DoNotOptimize(sum);
}

void run(benchmark::State& state, const std::string& name, void (*measure)(OxVideoFrameYUV&)) {
  Pictures pictures(name);
  double pixels = 0.0;
  for (auto _ : state) {
    OxVideoFrameYUV frame = pictures.next();
    measure(frame);
    pixels += static_cast<double>(frame.width) * frame.height;
  }
  state.counters["s/px"] =
      benchmark::Counter(pixels, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

const bool kRegistered = [] {
  const std::pair<const char*, void (*)(OxVideoFrameYUV&)> measures[] = {
      {"definition", byDefinition},
      {"one_thread", oneThread},
      {"eight_threads", eightThreads},
      {"empty_threads", emptyThreads},
      {"read_planes", readPlanes}};
  for (const char* clip : {"h264-576.mp4", "mpeg2-576.mov", "h264-444-576.mp4", "h264-1080.mp4",
                           "mpeg2-1080.mov", "h264-444-1080.mp4"}) {
    for (const auto& [name, measure] : measures) {
      benchmark::RegisterBenchmark(
          (std::string(clip) + "/" + name).c_str(),
          [clip, measure = measure](benchmark::State& state) { run(state, clip, measure); })
          ->Unit(benchmark::kMillisecond)
          ->UseRealTime()
          ->MeasureProcessCPUTime();
    }
  }
  return true;
}();

}  // namespace
