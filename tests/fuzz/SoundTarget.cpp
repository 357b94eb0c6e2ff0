// All checks of sound of a file together, on streams whose blocks have any length, format, rate,
// layout and time, and change in mid-stream.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "checks/sound/SoundKernels.h"
#include "foundation/Settings.h"
#include "fuzz/Input.h"
#include "fuzz/Outcome.h"
#include "media/Programme.h"
#include "tester/CheckContext.h"
#include "tester/ProgrammeRun.h"
#include "tester/QACheck.h"
#include "visual/Displays.h"

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/samplefmt.h>
}

using namespace qatester;
using qafuzz::Input;
using qafuzz::require;
using qafuzz::requireOutcome;

namespace {

constexpr int kMostSamples = 60000;
constexpr const char* kPlaces[] = {"FL", "FR", "FC", "LFE", "SL", "SR", "BL", "BR", "DL", "X"};
constexpr int kRates[] = {48000, 44100, 8000, 96000, 22050, 3000, 1, 192000, 2000000000, 0, -1};

std::shared_ptr<const SoundLayout> layoutFrom(Input& input) {
  SoundLayout layout;
  layout.channels = input.within(0, 9);
  if (input.flag()) {
    for (int i = 0; i < layout.channels; ++i) {
      layout.names.emplace_back(kPlaces[static_cast<std::size_t>(input.within(0, 9))]);
    }
  }
  return std::make_shared<const SoundLayout>(std::move(layout));
}

int rateFrom(Input& input) {
  return kRates[static_cast<std::size_t>(input.within(0, 10))];
}

/// What a stream is until it changes.
struct Stream {
  std::shared_ptr<const SoundLayout> layout;
  int rate = 0;
  int format = 0;
  int64_t next = 0;
};

Stream streamFrom(Input& input) {
  Stream stream;
  stream.layout = layoutFrom(input);
  stream.rate = rateFrom(input);
  stream.format = input.within(0, AV_SAMPLE_FMT_NB - 1);
  return stream;
}

/// Samples that repeat the bytes of the input: runs, steps and numbers that are none come of it.
std::shared_ptr<const AVFrame> frameFrom(Input& input, const Stream& stream, int samples) {
  std::shared_ptr<AVFrame> frame(av_frame_alloc(), [](AVFrame* one) { av_frame_free(&one); });
  if (frame == nullptr) {
    return nullptr;
  }
  frame->format = stream.format;
  frame->nb_samples = samples;
  frame->sample_rate = stream.rate;
  frame->ch_layout.nb_channels = stream.layout->channels;
  if (samples <= 0 || stream.layout->channels <= 0 || av_frame_get_buffer(frame.get(), 0) < 0) {
    return nullptr;
  }
  const bool planar = av_sample_fmt_is_planar(static_cast<AVSampleFormat>(stream.format)) != 0;
  const int planes = planar ? stream.layout->channels : 1;
  const std::vector<uint8_t> pattern = input.bytes(static_cast<std::size_t>(input.within(0, 64)));
  const auto bytes = static_cast<std::size_t>(samples) *
                     static_cast<std::size_t>(
                         av_get_bytes_per_sample(static_cast<AVSampleFormat>(stream.format))) *
                     static_cast<std::size_t>(planar ? 1 : stream.layout->channels);
  for (int plane = 0; plane < planes; ++plane) {
    for (std::size_t i = 0; i < bytes; ++i) {
      frame->extended_data[plane][i] = pattern.empty() ? 0 : pattern[i % pattern.size()];
    }
  }
  return frame;
}

ProgrammeFacts factsFrom(Input& input, const std::vector<Stream>& streams) {
  ProgrammeFacts facts;
  for (const Stream& stream : streams) {
    QAStreamFacts made;
    made.index = static_cast<int>(facts.streams.size());
    made.kind = "audio";
    made.language = input.text(3);
    made.title = input.text(8);
    QAAudioFacts audio;
    audio.sampleRate = stream.rate;
    audio.channels = input.flag() ? stream.layout->channels : input.within(0, 70);
    audio.channelNames = stream.layout->names;
    audio.layoutDeclared = !audio.channelNames.empty();
    audio.bits = input.within(0, 33);
    made.audio = audio;
    facts.media.streams.push_back(made);
    facts.audioStreams.push_back(made.index);
    ProgrammeStream programme;
    programme.lossless = input.flag();
    facts.streams.push_back(programme);
  }
  return facts;
}

void measure(Input& input) {
  std::vector<Stream> streams;
  const int count = input.within(1, 4);
  for (int i = 0; i < count; ++i) {
    streams.push_back(streamFrom(input));
  }
  const ProgrammeFacts facts = factsFrom(input, streams);
  const std::string fileName;
  Settings settings(nullptr, nullptr);
  if (input.flag()) {
    settings.SetOverrides({{"Programmes", input.text(20)}});
  }
  Displays displays(QADisplays::nowhere, false, "", {});
  const QATesterOptions options;
  const CheckContext context{fileName, nullptr, nullptr, &settings, displays, 0, options};

  std::vector<std::unique_ptr<CheckRun>> runs;
  std::unique_ptr<SharedConsumer> engine;
  for (const QACheck* check : allChecks()) {
    if (check->family != QAFamily::programme || check->needs != QANeeds::sound) {
      continue;
    }
    runs.push_back(check->make(context));
    ProgrammeRun& run = *runs.back()->asProgramme();
    run.begin();
    run.open(facts);
    if (engine == nullptr) {
      engine = run.consumer().sharedBy()(context);
    }
    engine->add(run.consumer());
  }
  engine->begin(facts);
  int left = kMostSamples;
  while (!input.empty() && left > 0) {
    const int number = input.within(0, count - 1);
    Stream& stream = streams[static_cast<std::size_t>(number)];
    if (input.byte() % 16 == 1) {
      const int64_t next = stream.next;
      stream = streamFrom(input);
      stream.next = next;
    }
    const int samples = std::min(left, input.flag() ? input.within(0, 9000) : input.within(1, 200));
    ProgrammeBlock block;
    block.stream = number;
    block.firstSample = stream.next;
    block.samples = samples;
    block.sampleRate = stream.rate;
    block.layout = stream.layout;
    block.frame = frameFrom(input, stream, samples);
    if (block.frame == nullptr) {
      block.samples = 0;
      left -= 1;
    }
    if (input.flag()) {
      block.seconds = static_cast<double>(stream.next) / std::max(stream.rate, 1);
      if (input.byte() % 8 == 1) {
        const double off = input.number();
        block.seconds = std::isfinite(off) ? off : 0.0;
      }
    }
    stream.next += block.samples;
    left -= block.samples;
    engine->take(block);
  }
  ProgrammeEnd end;
  end.stopped = input.flag();
  engine->end(end);
  for (const auto& run : runs) {
    ProgrammeRun& one = *run->asProgramme();
    require(engine->errorOf(one.consumer()) == nullptr, "no measurement gives up");
    one.finish(end);
    requireOutcome(one.outcome());
  }
}

void runKernels(Input& input) {
  const int count = input.within(0, 300);
  std::vector<float> one(static_cast<std::size_t>(count + kKernelHistory));
  std::vector<float> other(one.size());
  for (std::size_t i = 0; i < one.size(); ++i) {
    const float value = static_cast<float>(input.value<int16_t>()) / 32768.0F;
    one[i] = value;
    other[i] = input.flag() ? value : -value;
  }
  const float* from = one.data() + kKernelHistory;
  const LevelSums levels = measureLevels(from, count);
  const LevelSums expected = measureLevelsOneByOne(from, count);
  require(levels.highest == expected.highest && levels.lowest == expected.lowest &&
              levels.bend == expected.bend && levels.sum == expected.sum &&
              levels.squares == expected.squares,
          "levels are those of values");
  const float* beside = other.data() + kKernelHistory;
  const DifferenceSums difference = measureDifference(from, beside, count);
  const DifferenceSums expectedDifference = measureDifferenceOneByOne(from, beside, count);
  require(difference.largest == expectedDifference.largest &&
              difference.squares == expectedDifference.squares,
          "differences are those of values");
  require(largestBetween(from, count) == largestBetweenOneByOne(from, count),
          "peaks between values are those one by one");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  Input input(data, size);
  if (input.within(0, 7) == 0) {
    runKernels(input);
  } else {
    measure(input);
  }
  return 0;
}
