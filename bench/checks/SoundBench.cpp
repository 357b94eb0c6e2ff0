// What all checks of sound together do with a minute of stereo that is decoded already, beside
// libebur128 with integrated loudness, range and true peak. `per_hour` is the CPU time for an hour.

#include <benchmark/benchmark.h>
#include <ebur128.h>

#include <cmath>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "foundation/Settings.h"
#include "tester/CheckContext.h"
#include "tester/ProgrammeRun.h"
#include "tester/QACheck.h"
#include "visual/Displays.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace {

using namespace qatester;

constexpr int kRate = 48000;
constexpr int kSeconds = 60;
constexpr int kBlock = 1024;

/// Chords with beats and some noise, as loud as music is.
float sampleOf(int channel, int64_t i, std::mt19937& random) {
  const double t = static_cast<double>(i) / kRate;
  const double beat = std::exp(-4.0 * std::fmod(t, 0.5));
  const double noise = static_cast<double>(random()) / 4294967296.0 - 0.5;
  const double tones =
      std::sin(2.0 * M_PI * (220.0 + channel) * t) + std::sin(2.0 * M_PI * 331.0 * t);
  return static_cast<float>(0.2 * beat * tones + 0.1 * noise * beat + 0.01 * noise);
}

std::vector<std::shared_ptr<const AVFrame>> makeBlocks(int channels) {
  std::mt19937 random(1);
  std::vector<std::shared_ptr<const AVFrame>> blocks;
  for (int64_t at = 0; at + kBlock <= int64_t{kRate} * kSeconds; at += kBlock) {
    std::shared_ptr<AVFrame> frame(av_frame_alloc(), [](AVFrame* one) { av_frame_free(&one); });
    frame->format = AV_SAMPLE_FMT_FLTP;
    frame->nb_samples = kBlock;
    frame->sample_rate = kRate;
    frame->ch_layout.nb_channels = channels;
    if (av_frame_get_buffer(frame.get(), 0) < 0) {
      return {};
    }
    for (int channel = 0; channel < channels; ++channel) {
      auto* to = reinterpret_cast<float*>(frame->extended_data[channel]);
      for (int i = 0; i < kBlock; ++i) {
        to[i] = sampleOf(channel, at + i, random);
      }
    }
    blocks.push_back(frame);
  }
  return blocks;
}

void report(benchmark::State& state) {
  using benchmark::Counter;
  state.counters["per_hour"] =
      Counter(kSeconds / 3600.0, Counter::kIsIterationInvariantRate | Counter::kInvert);
}

std::vector<std::string> namesOf(int channels) {
  return channels == 2 ? std::vector<std::string>{"FL", "FR"}
                       : std::vector<std::string>{"FL", "FR", "FC", "LFE", "SL", "SR"};
}

void allChecksOfSound(benchmark::State& state) {
  const auto channels = static_cast<int>(state.range(0));
  const auto blocks = makeBlocks(channels);
  ProgrammeFacts facts;
  QAStreamFacts stream;
  stream.kind = "audio";
  stream.audio = QAAudioFacts{.sampleRate = kRate,
                              .channels = channels,
                              .layoutDeclared = true,
                              .channelNames = namesOf(channels)};
  facts.media.streams.push_back(stream);
  facts.streams.emplace_back();
  facts.audioStreams.push_back(0);
  const std::string fileName;
  Settings settings(nullptr, nullptr);
  Displays displays(QADisplays::nowhere, false, "", {});
  const QATesterOptions options;
  const CheckContext context{fileName, nullptr, nullptr, &settings, displays, 0, options};
  const auto layout = std::make_shared<const SoundLayout>(SoundLayout{channels, namesOf(channels)});
  for (auto _ : state) {
    std::vector<std::unique_ptr<CheckRun>> runs;
    std::unique_ptr<SharedConsumer> engine;
    for (const QACheck* check : allChecks()) {
      if (check->family == QAFamily::programme && check->needs == QANeeds::sound) {
        runs.push_back(check->make(context));
        ProgrammeMeasurement& measurement = runs.back()->asProgramme()->consumer();
        engine = engine != nullptr ? std::move(engine) : measurement.sharedBy()(context);
        engine->add(measurement);
        runs.back()->asProgramme()->open(facts);
      }
    }
    engine->begin(facts);
    ProgrammeBlock block;
    block.samples = kBlock;
    block.sampleRate = kRate;
    block.layout = layout;
    for (const auto& frame : blocks) {
      block.frame = frame;
      block.seconds = static_cast<double>(block.firstSample) / kRate;
      engine->take(block);
      block.firstSample += kBlock;
    }
    ProgrammeEnd end;
    end.readCleanly = true;
    engine->end(end);
    for (const auto& run : runs) {
      run->asProgramme()->finish(end);
      benchmark::DoNotOptimize(run->outcome().broken);
    }
  }
  report(state);
}
BENCHMARK(allChecksOfSound)->Arg(2)->Arg(6)->Unit(benchmark::kMillisecond);

void libebur128(benchmark::State& state) {
  const auto channels = static_cast<unsigned>(state.range(0));
  const auto blocks = makeBlocks(static_cast<int>(channels));
  std::vector<float> interleaved(std::size_t{kBlock} * channels);
  for (auto _ : state) {
    ebur128_state* meter =
        ebur128_init(channels, kRate, EBUR128_MODE_I | EBUR128_MODE_LRA | EBUR128_MODE_TRUE_PEAK);
    for (const auto& frame : blocks) {
      for (unsigned channel = 0; channel < channels; ++channel) {
        const auto* from = reinterpret_cast<const float*>(frame->extended_data[channel]);
        for (std::size_t i = 0; i < kBlock; ++i) {
          interleaved[i * channels + channel] = from[i];
        }
      }
      ebur128_add_frames_float(meter, interleaved.data(), kBlock);
    }
    double loudness = 0.0;
    ebur128_loudness_global(meter, &loudness);
    benchmark::DoNotOptimize(loudness);
    ebur128_destroy(&meter);
  }
  report(state);
}
BENCHMARK(libebur128)->Arg(2)->Arg(6)->Unit(benchmark::kMillisecond);

}  // namespace
