// What plotting two channels of a block takes. Nothing is opened on a screen: the canvas goes no
// further than the call that would show it.

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <numbers>
#include <string>
#include <vector>

#include "visual/Visual.h"

// Takes the place of OpenCV's, for the library too.
extern "C" __attribute__((visibility("default"))) void cvShowImage(const char*,
                                                                   const void* canvas) {
  benchmark::DoNotOptimize(canvas);
}

namespace {

/// A sine of 1 kHz at 48 kHz, near full scale.
class Channel {
 public:
  Channel(int values, double phase) {
    for (int i = 0; i < values; ++i) {
      const double angle = 2.0 * std::numbers::pi * i / 48.0 + phase;
      values_.push_back(static_cast<int16_t>(30000.0 * std::sin(angle)));
    }
  }

  OxAudioSample record() {
    return {reinterpret_cast<uint8_t*>(values_.data()), 1, 2, static_cast<int>(values_.size())};
  }

 private:
  std::vector<int16_t> values_;
};

/// Blocks of AAC, of MPEG audio layer II, and of FLAC.
void plotsTwoChannels(benchmark::State& state) {
  // Windows count as available.
  setenv("QT_QPA_PLATFORM", "offscreen", 1);
  const auto columns = static_cast<int>(state.range(0));
  Channel left(columns, 0.0);
  Channel right(columns, 1.0);
  OxAudioSample first = left.record();
  OxAudioSample second = right.record();
  const std::string title = "benchmark";
  for (auto _ : state) {
    Visual::plotSamples(first, second, title);
  }
  state.SetItemsProcessed(state.iterations() * columns);
}
BENCHMARK(plotsTwoChannels)->Arg(1024)->Arg(1152)->Arg(4096)->Unit(benchmark::kMillisecond);

}  // namespace
