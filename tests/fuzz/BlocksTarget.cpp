// The audio checks' measurements, kernels and plots on blocks of any length, format and layout.

#include <opencv2/core/core_c.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "checks/audio/KWeightedEnergy.h"
#include "checks/audio/KWeighting.h"
#include "checks/audio/LagSearch.h"
#include "checks/audio/Levels.h"
#include "checks/audio/Loudness.h"
#include "checks/audio/Mono.h"
#include "checks/audio/Phase.h"
#include "checks/audio/SampleMagnitudes.h"
#include "fuzz/Input.h"
#include "media/SampleIntegers.h"
#include "media/SampleValues.h"
#include "support/Values.h"
#include "tester/StreamSetup.h"
#include "visual/WaveformDisplay.h"

using namespace qatester;
using qafuzz::Input;
using qafuzz::require;
using qatest::numberOf;
using qatest::recordsOf;

namespace {

struct Format {
  int number;
  int bytes;
};

Format formatFrom(Input& input) {
  constexpr Format kFormats[] = {{AV_SAMPLE_FMT_U8, 1},  {AV_SAMPLE_FMT_S16, 2},
                                 {AV_SAMPLE_FMT_S32, 4}, {AV_SAMPLE_FMT_U8, 1},
                                 {AV_SAMPLE_FMT_S16, 2}, {AV_SAMPLE_FMT_S32, 4},
                                 {AV_SAMPLE_FMT_FLT, 4}, {AV_SAMPLE_FMT_DBL, 8},
                                 {AV_SAMPLE_FMT_S64, 8}, {AV_SAMPLE_FMT_NONE, 1}};
  return kFormats[static_cast<std::size_t>(input.within(0, 9))];
}

/// A block whose buffer ends with its last value.
AudioBlock blockFrom(Input& input, Format format, int count, int channels) {
  OxAudioSample block;
  block.sampleFormat = format.number;
  block.bytesPerSample = format.bytes;
  block.numberOfSamples = count;
  const std::vector<uint8_t> bytes = input.bytes(static_cast<std::size_t>(count * format.bytes));
  block.buffer = static_cast<uint8_t*>(std::malloc(std::max<std::size_t>(bytes.size(), 1)));
  std::copy(bytes.begin(), bytes.end(), block.buffer);
  return {block, channels};
}

/// What a measurement sees of a tester without settings.
struct Context {
  Displays displays{QADisplays::nowhere, false, "", {}};
  Settings settings{nullptr, nullptr};
  std::string name;
  QATesterOptions options;
  CheckContext context{name, nullptr, nullptr, &settings, displays, 0, options};
};

/// Gives a measurement blocks as the runner does, of all streams or of the programme.
template <typename Measurement>
QACheckOutcome feed(Measurement& measurement, Input& input, bool all = false) {
  AudioPlan plan;
  plan.streams = input.within(1, 9);
  plan.setup = streamSetupOf(static_cast<unsigned>(plan.streams));
  plan.channels = input.within(0, 10);
  plan.cycles = 8;
  const int read = hasStreamPerChannel(plan.setup) ? 2 : 1;
  const bool changes = input.flag();
  Format format = formatFrom(input);
  int channels = plan.channels;
  measurement.begin(plan);
  for (int cycle = 0; cycle < plan.cycles && !input.empty(); ++cycle) {
    for (int stream = 0; stream < (all ? plan.streams : read); ++stream) {
      if (changes && input.byte() % 4 == 1) {
        format = formatFrom(input);
        channels = input.within(0, 10);
      }
      const int count = input.byte() % 8 == 1 ? input.within(1, 1500) : input.within(1, 96);
      if (measurement.add(cycle, stream, blockFrom(input, format, count, channels)) ==
          Taken::endsCheck) {
        cycle = plan.cycles;
        break;
      }
    }
  }
  measurement.end();
  measurement.conclude();
  QACheckOutcome outcome;
  outcome.began = true;
  measurement.describe(outcome);
  return outcome;
}

void measureAllLevels(Input& input) {
  LevelsMeasurement measurement(-input.within(0, 255), -input.within(0, 10));
  const QACheckOutcome outcome = feed(measurement, input, true);
  const std::unique_ptr<QA_AudioLevels> record(measurement.verdict());
  const std::unique_ptr<QA_ChannelLevel[]> levels(record->levels);
  for (uint32_t i = 0; i < record->count; ++i) {
    require(levels[i].minLevel <= levels[i].maxLevel || std::isnan(levels[i].maxLevel),
            "the lowest level is not above the highest");
    require(!(levels[i].maxLevel > 0.0F), "no level is above full scale");
  }
  require(recordsOf(outcome, "levels").size() == record->count, "each entry is described");
}

void measure(Input& input) {
  const Context context;
  switch (input.within(0, 3)) {
    case 0:
      measureAllLevels(input);
      break;
    case 1: {
      LoudnessMeasurement measurement(context.context);
      feed(measurement, input);
      const double loudness = measurement.verdict().loudness;
      require(loudness < 30.0 || std::isnan(loudness), "nothing is much louder than full scale");
      require(!measurement.verdict().passed, "without a band nothing passes");
      break;
    }
    case 2: {
      MonoMeasurement measurement(context.context, static_cast<float>(input.number()),
                                  static_cast<float>(input.number()));
      const QACheckOutcome outcome = feed(measurement, input);
      require(numberOf(outcome, "matchingBlocks") <= 8.0, "a pair of blocks counts once");
      measurement.verdict();
      break;
    }
    default: {
      PhaseMeasurement measurement(context.context, input.within(1, 1000));
      const QACheckOutcome outcome = feed(measurement, input);
      const double lag = numberOf(outcome, "meanLag");
      require(lag >= 0.0 && lag <= 750.0, "no lag is longer than half a block");
      measurement.verdict();
    }
  }
}

void runKernels(Input& input) {
  const Format format = formatFrom(input);
  const int count = input.within(0, 150);
  const auto tolerance = static_cast<float>(input.number());
  const BestLag before{input.within(0, 4000), input.within(0, 200)};
  const AudioBlock first = blockFrom(input, format, count, 1);
  const AudioBlock second = blockFrom(input, format, count, 1);
  const OxAudioSample& a = first.samples();
  const OxAudioSample& b = second.samples();

  require(measureMagnitudes(a) == measureMagnitudesOneByOne(a), "magnitudes are those of values");
  require(countMatches(a, b, tolerance) == countMatchesOneByOne(a, b, tolerance),
          "matches are those of pairs");
  require(searchLags(a, b, before) == searchLagsOneByOne(a, b, before), "lags are those of pairs");
  for (int i = 0; i < count; ++i) {
    const double value = getAudioValue(a, i);
    require(value >= -1.0 && value <= 1.0, "no value is above full scale");
    getRealAudioValue(a, i);
  }
}

void weigh(Input& input) {
  std::vector<AudioBlock> blocks;
  std::vector<const OxAudioSample*> samples;
  const int count = input.within(0, 9);
  for (int i = 0; i < count; ++i) {
    const Format format = formatFrom(input);
    blocks.push_back(blockFrom(input, format, input.within(0, 200), 1));
  }
  for (const AudioBlock& block : blocks) {
    samples.push_back(&block.samples());
  }
  std::vector<double> energies(blocks.size());
  weighBlocks(samples.data(), count, energies.data());
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    require(energies[i] == weighOneByOne(*samples[i]), "blocks side by side weigh what each does");
    require(energies[i] == runFilter(*samples[i]), "and so does one alone");
    require(energies[i] >= 0.0 && std::isfinite(energies[i]), "energy is finite");
  }
}

void split(Input& input) {
  const int channels = input.within(0, 12);
  const AudioBlock block = blockFrom(input, formatFrom(input), input.within(0, 300), channels);
  for (int channel = -1; channel <= channels; ++channel) {
    const AudioBlock one = block.channel(channel);
    const bool exists = channel >= 0 && channel < channels;
    require(one.count() == (exists ? block.count() / channels : 0), "channels share the values");
    if (!one.empty()) {
      require(integerAt(one.samples(), 0) == integerAt(block.samples(), channel),
              "a channel begins with its first value");
    }
  }
}

void draw(Input& input) {
  const Format format = formatFrom(input);
  const int count = input.within(0, 255);
  const AudioBlock first = blockFrom(input, format, count, 1);
  const AudioBlock second = blockFrom(input, formatFrom(input), input.within(0, 255), 1);
  const UniqueCanvas one = drawSample(first.samples());
  require((one != nullptr) == (count > 0), "what has values is drawn");
  require(one == nullptr || one->width == count, "in a column each");
  drawSamples(first.samples(), second.samples());
}

void convertValues(Input& input) {
  const int value = input.value<int32_t>();
  const int byte = getUintValue(value);
  require(byte >= 0 && byte <= 255, "a byte is one");
  require(value < -127 || value > 127 || getIntValue(static_cast<unsigned char>(byte)) == value,
          "values come back");
  const auto tolerance = static_cast<float>(input.number());
  checkSingleSample(input.value<int32_t>(), input.value<int32_t>(), tolerance);
  checkSingleSample(input.value<int16_t>(), input.value<int16_t>(), tolerance);
  checkSingleSample(input.byte(), input.byte(), tolerance);
  getDynamicRange(static_cast<AVSampleFormat>(input.value<int8_t>() % 16));
  largestMatchingDifference(static_cast<float>(input.number()));
  decisiveCount({input.within(0, 255), input.within(0, 255), input.within(0, 255)});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  Input input(data, size);
  switch (input.within(0, 7)) {
    case 0:
      runKernels(input);
      break;
    case 1:
      weigh(input);
      break;
    case 2:
      split(input);
      break;
    case 3:
      draw(input);
      break;
    case 4:
      convertValues(input);
      break;
    default:
      measure(input);
  }
  return 0;
}
