// Blocks a second of the audio stream, against a loop that only decodes the same file.

#include "media/OxAudioStream.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

#include "media/OxWrap.h"
#include "support/BareDecoder.h"
#include "support/Clips.h"
#include "support/Paired.h"

namespace {

using qatester::bench::BareDecoder;
using qatester::bench::Yield;

class Wrapped {
 public:
  explicit Wrapped(const std::string& path) : wrap_(path, {QAPauses::untilReady, {}}) {
    wrap_.discardVideo(true);
  }

  Yield drain() {
    wrap_.startBuffering();
    OxAudioStream* audio = wrap_.getAudioStream(0);
    Yield yield;
    for (;;) {
      const OxAudioSample block = audio->getNextSample();
      if (block.numberOfSamples == 0) {
        return yield;
      }
      yield.items += 1;
      yield.bytes += static_cast<std::int64_t>(block.numberOfSamples) * block.bytesPerSample;
      wrap_.freeSample(block);
    }
  }

 private:
  OxWrap wrap_;
};

/// Leaves the samples in the decoder's own layout; counts them as the 16-bit ones that the library
/// delivers for these clips.
class Bare {
 public:
  explicit Bare(const std::string& path) : decoder_(path, AVMEDIA_TYPE_AUDIO, {}) {}

  Yield drain() {
    Yield yield;
    while (const AVFrame* block = decoder_.next()) {
      yield.items += 1;
      yield.bytes +=
          static_cast<std::int64_t>(block->nb_samples) * block->ch_layout.nb_channels * 2;
    }
    return yield;
  }

 private:
  BareDecoder decoder_;
};

void getNextSample(benchmark::State& state, const char* clip) {
  qatester::bench::runPairs<Wrapped, Bare>(state, qatester::bench::clip(clip));
}

BENCHMARK_CAPTURE(getNextSample, pcm_s16, "pcm-s16.wav")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(getNextSample, aac, "aac.m4a")->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
