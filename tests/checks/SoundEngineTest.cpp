#include "checks/sound/SoundEngine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numbers>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "checks/sound/SoundKernels.h"
#include "support/Outcomes.h"
#include "support/SoundBlocks.h"
#include "support/Values.h"

namespace {

using qatest::giveSound;
using qatest::SoundStream;
using qatester::SoundEngine;

/// All that a measurement is called with.
class CellRecorder final : public qatester::SoundMeasurement {
 public:
  struct Channel {
    std::vector<float> samples;
    std::vector<float> before;  ///< as many as the two cells before have
    qatester::ChannelCell cell;
  };
  struct Cell {
    std::size_t programme;
    int64_t firstSample;
    int samples;
    bool complete;
    double startSeconds;
    double endSeconds;
    std::vector<Channel> channels;
    std::optional<qatester::PairCell> pair;
    std::optional<qatester::PairCell> surroundPair;
  };
  struct Section {
    std::string layout;
    int sampleRate;
    float step = 0.0F;
    std::size_t cellsBefore;
  };

  explicit CellRecorder(qatester::SoundNeeds needs = {}) : needs_(needs) {}

  qatester::SoundNeeds needs() const override { return needs_; }
  void describe(QACheckOutcome&) const override {}

  using SoundMeasurement::programmes;
  using SoundMeasurement::take;
  void take(const qatester::SoundCell& cell) override {
    if (throwsAt == static_cast<int>(cells.size())) {
      throw std::runtime_error("on purpose");
    }
    Cell made{cell.programme,
              cell.firstSample,
              cell.samples,
              cell.complete,
              cell.startSeconds(),
              cell.endSeconds(),
              {},
              {},
              {}};
    std::ptrdiff_t before = 0;
    for (std::size_t i = cells.size(); i > 0 && i + 2 > cells.size(); --i) {
      before += cells[i - 1].samples;
    }
    for (const qatester::ChannelCell& channel : cell.channels) {
      made.channels.push_back({{channel.samples, channel.samples + cell.samples},
                               {channel.samples - before, channel.samples},
                               channel});
    }
    if (cell.pair != nullptr) {
      made.pair = *cell.pair;
    }
    if (cell.surroundPair != nullptr) {
      made.surroundPair = *cell.surroundPair;
    }
    cells.push_back(std::move(made));
  }

  std::vector<Cell> cells;
  std::vector<Section> sections;
  std::vector<qatester::SoundEnd> ended;
  int throwsAt = -1;

 private:
  void change(const qatester::SoundSection& section) override {
    sections.push_back({section.programme->layout, section.sampleRate, section.step, cells.size()});
  }
  void endOf(std::size_t, const qatester::SoundEnd& end) override { ended.push_back(end); }

  qatester::SoundNeeds needs_;
};

CellRecorder record(const std::vector<SoundStream>& streams, qatester::SoundNeeds needs = {},
                    const std::string& setting = "", bool stopped = false) {
  CellRecorder recorder(needs);
  SoundEngine engine(setting);
  engine.add(recorder);
  giveSound(engine, streams, stopped);
  return recorder;
}

/// A saw whose every sample tells which one it is.
float sawAt(int channel, int64_t sample) {
  return static_cast<float>(sample % 4096 - 2048 + channel) / 4096.0F;
}

SoundStream saw(int64_t samples, int channels = 2) {
  SoundStream stream;
  stream.channels = channels;
  stream.samples = samples;
  stream.value = sawAt;
  return stream;
}

/// All samples of a channel of a programme, cell after cell.
std::vector<float> allOf(const CellRecorder& recorder, std::size_t programme, std::size_t channel) {
  std::vector<float> all;
  for (const CellRecorder::Cell& cell : recorder.cells) {
    if (cell.programme == programme) {
      const std::vector<float>& samples = cell.channels[channel].samples;
      all.insert(all.end(), samples.begin(), samples.end());
    }
  }
  return all;
}

using Lengths = std::vector<int>;

Lengths lengthsOf(const CellRecorder& recorder) {
  Lengths lengths;
  for (const CellRecorder::Cell& cell : recorder.cells) {
    lengths.push_back(cell.samples);
  }
  return lengths;
}

TEST(SoundEngine, CellsEndAtWholeHundredthsOfASecond) {
  SoundStream stream = saw(1000);
  stream.sampleRate = 22050;
  const CellRecorder recorder = record({stream});
  // Hundredths end at 220.5, 441, 661.5 and 882 samples.
  EXPECT_EQ(lengthsOf(recorder), (Lengths{221, 220, 221, 220, 118}));
  int64_t first = 0;
  for (const CellRecorder::Cell& cell : recorder.cells) {
    EXPECT_EQ(cell.firstSample, first);
    EXPECT_EQ(cell.complete, cell.samples != 118);
    EXPECT_NEAR(cell.startSeconds, static_cast<double>(first) / 22050.0, 1e-12);
    first += cell.samples;
    EXPECT_NEAR(cell.endSeconds, static_cast<double>(first) / 22050.0, 1e-12);
  }
}

TEST(SoundEngine, CellsHoldEverySampleAndThoseOfTwoCellsBefore) {
  for (const int blockSize : {1, 100, 480, 1024, 100000}) {
    SoundStream stream = saw(blockSize == 1 ? 2000 : 60001, 3);
    stream.blockSize = blockSize;
    stream.names = {"FL", "FR", "FC"};
    const CellRecorder recorder = record({stream});
    ASSERT_EQ(recorder.ended.size(), 1U);
    EXPECT_EQ(recorder.ended[0].samples, stream.samples);
    for (int channel = 0; channel < 3; ++channel) {
      const std::vector<float> all = allOf(recorder, 0, static_cast<std::size_t>(channel));
      ASSERT_EQ(static_cast<int64_t>(all.size()), stream.samples);
      for (std::size_t i = 0; i < all.size(); ++i) {
        ASSERT_EQ(all[i], sawAt(channel, static_cast<int64_t>(i)));
      }
    }
    for (const CellRecorder::Cell& cell : recorder.cells) {
      const std::vector<float>& before = cell.channels[1].before;
      for (std::size_t i = 0; i < before.size(); ++i) {
        const auto back = static_cast<int64_t>(before.size() - i);
        ASSERT_EQ(before[i], sawAt(1, cell.firstSample - back)) << blockSize;
      }
    }
  }
}

TEST(SoundEngine, CellsSumUpTheirSamples) {
  const CellRecorder recorder = record({saw(960)}, {.pairs = true});
  const CellRecorder::Cell& cell = recorder.cells[1];
  double sum = 0.0;
  double squares = 0.0;
  for (const float sample : cell.channels[0].samples) {
    sum += static_cast<double>(sample);
    squares += static_cast<double>(sample) * static_cast<double>(sample);
  }
  const qatester::ChannelCell& channel = cell.channels[0].cell;
  EXPECT_NEAR(channel.sum, sum, 1e-4);
  EXPECT_NEAR(channel.squares, squares, 1e-4);
  EXPECT_EQ(channel.highest, 0.0F) << "it rises from -0.38 to -0.27";
  EXPECT_EQ(channel.lowest, sawAt(0, 480));
  EXPECT_EQ(channel.peak(), -sawAt(0, 480));
  // Left and right are one step apart in each of 480 samples.
  ASSERT_TRUE(cell.pair.has_value());
  EXPECT_NEAR(cell.pair->differenceSquares, 480 * std::pow(1.0 / 4096, 2), 1e-9);
  EXPECT_FALSE(cell.pair->isEqual);
  EXPECT_FALSE(cell.surroundPair.has_value());
}

TEST(SoundEngine, MeasuresOnlyWhatIsAskedFor) {
  const CellRecorder plain = record({saw(960, 6)});
  EXPECT_EQ(plain.cells[1].channels[0].cell.weightedSquares, 0.0);
  EXPECT_EQ(plain.cells[1].channels[0].cell.truePeak, 0.0F);
  EXPECT_FALSE(plain.cells[1].pair.has_value());
  const CellRecorder full =
      record({saw(960, 6)}, {.weighting = true, .pairs = true, .truePeak = true});
  EXPECT_GT(full.cells[1].channels[0].cell.weightedSquares, 0.0);
  EXPECT_GT(full.cells[0].channels[0].cell.truePeak, 0.0F);
  EXPECT_TRUE(full.cells[1].pair.has_value());
  EXPECT_TRUE(full.cells[1].surroundPair.has_value());
}

TEST(SoundEngine, PairsAreEqualWhereTheyAreToTheLastBit) {
  SoundStream stream = saw(960, 6);
  stream.value = [](int channel, int64_t sample) {
    return channel == 5 && sample == 700 ? -0.5 : sawAt(0, sample);
  };
  const CellRecorder recorder = record({stream}, {.pairs = true});
  EXPECT_TRUE(recorder.cells[1].pair->isEqual);
  EXPECT_TRUE(recorder.cells[0].surroundPair->isEqual);
  EXPECT_FALSE(recorder.cells[1].surroundPair->isEqual);
}

/// Of the samples and of all that is between them, with silence around.
double largestOf(const SoundStream& stream, int channel) {
  constexpr int kAround = 24;
  std::vector<float> padded(kAround, 0.0F);
  float largest = 0.0F;
  for (int64_t i = 0; i < stream.samples; ++i) {
    padded.push_back(static_cast<float>(stream.value(channel, i)));
    largest = std::max(largest, std::abs(padded.back()));
  }
  padded.insert(padded.end(), kAround, 0.0F);
  largest = std::max(largest, qatester::largestBetween(padded.data() + kAround,
                                                       static_cast<int>(stream.samples) + kAround));
  return static_cast<double>(largest);
}

float truePeakOf(const CellRecorder& recorder) {
  float found = 0.0F;
  for (const CellRecorder::Cell& cell : recorder.cells) {
    found = std::max({found, cell.channels[0].cell.truePeak, cell.channels[0].cell.peak()});
  }
  return found;
}

TEST(SoundEngine, AShortTruePeakAboutTheEndOfACellIsNotPassedOver) {
  // Samples of at most 0.71 with a peak near 1 between them, after a slow peak of nearly as much.
  for (int place = -40; place <= 40; ++place) {
    SoundStream stream = saw(3 * 480, 1);
    stream.value = [&](int, int64_t sample) {
      const int64_t at = sample - 960 - place;
      if (sample < 480) {
        return 0.97 * std::sin(std::numbers::pi * static_cast<double>(sample) / 480.0);
      }
      return at >= 0 && at < 8 ? std::sin(std::numbers::pi * (0.5 * static_cast<double>(at) + 0.25))
                               : 0.0;
    };
    const double expected = largestOf(stream, 0);
    EXPECT_GT(expected, 0.98);
    EXPECT_EQ(static_cast<double>(truePeakOf(record({stream}, {.truePeak = true}))), expected)
        << place;
  }
}

TEST(SoundEngine, NoTruePeakIsPassedOver) {
  std::mt19937 random(1);
  std::uniform_real_distribution<double> any(-1.0, 1.0);
  for (int round = 0; round < 60; ++round) {
    // Noise with few sharp bends, of a level that wanders, then clicks anywhere.
    const double slowness = 0.02 + 0.3 * (round % 4);
    const double wander = 0.5 + 0.5 * any(random);
    std::vector<double> values(static_cast<std::size_t>(random() % 9000));
    double value = 0.0;
    for (std::size_t i = 0; i < values.size(); ++i) {
      value += slowness * (any(random) - value);
      values[i] = value * (1.0 + wander * std::sin(static_cast<double>(i) / 700.0));
    }
    for (int click = 0; click < round % 3 && !values.empty(); ++click) {
      values[random() % values.size()] += 0.3 * any(random);
    }
    SoundStream stream = saw(static_cast<int64_t>(values.size()), 1);
    stream.value = [&](int, int64_t sample) { return values[static_cast<std::size_t>(sample)]; };
    const double expected = largestOf(stream, 0);
    for (const float limit : {1e9F, 0.1F, 0.0F}) {
      const CellRecorder recorder = record({stream}, {.truePeak = true, .truePeakLimit = limit});
      EXPECT_EQ(static_cast<double>(truePeakOf(recorder)), expected)
          << round << ", limit " << limit;
    }
  }
}

TEST(SoundEngine, EveryCellAboveTheLimitIsKnown) {
  // Peaks between the samples of a tone at a quarter of the rate, far below an earlier one.
  SoundStream stream = saw(4800, 1);
  stream.value = [](int, int64_t sample) {
    return (sample < 480 ? 0.9 : 0.5) *
           std::sin(std::numbers::pi * (0.5 * static_cast<double>(sample) + 0.25));
  };
  const CellRecorder known = record({stream}, {.truePeak = true, .truePeakLimit = 0.45F});
  for (std::size_t i = 2; i < 10; ++i) {
    EXPECT_NEAR(known.cells[i].channels[0].cell.truePeak, 0.5F, 0.005F) << i;
  }
}

TEST(SoundEngine, BlocksOfAnySizeGiveTheSame) {
  std::vector<std::string> texts;
  for (const int blockSize : {1000, 1, 7, 480, 44100}) {
    SoundStream stream = saw(30000);
    stream.sampleRate = 44100;
    stream.blockSize = blockSize;
    texts.push_back(qatest::textOf(qatest::measureSound("programme-loudness", {}, {stream})));
  }
  for (const std::string& text : texts) {
    EXPECT_EQ(text, texts.front());
  }
}

TEST(SoundEngine, StepsAreThoseOfIntegersAsRecorded) {
  const auto stepOf = [](AVSampleFormat format, int bits, bool lossless) {
    SoundStream stream = saw(480);
    stream.format = format;
    stream.bits = bits;
    stream.lossless = lossless;
    return record({stream}).sections.at(0).step;
  };
  EXPECT_EQ(stepOf(AV_SAMPLE_FMT_U8, 8, true), 0x1p-7F);
  EXPECT_EQ(stepOf(AV_SAMPLE_FMT_S16, 16, true), 0x1p-15F);
  EXPECT_EQ(stepOf(AV_SAMPLE_FMT_S16P, 0, true), 0x1p-15F);
  EXPECT_EQ(stepOf(AV_SAMPLE_FMT_S32, 24, true), 0x1p-23F);
  EXPECT_EQ(stepOf(AV_SAMPLE_FMT_S16P, 16, false), 0.0F) << "coded lossily";
  EXPECT_EQ(stepOf(AV_SAMPLE_FMT_FLT, 32, true), 0x1p-23F);
}

// Times

TEST(SoundEngine, TimesBeginWithTheFirstBlock) {
  SoundStream stream = saw(4800);
  stream.startSeconds = 3.5;
  const CellRecorder recorder = record({stream});
  EXPECT_NEAR(recorder.cells.front().startSeconds, 3.5, 1e-12);
  EXPECT_NEAR(recorder.ended.front().startSeconds, 3.5, 1e-12);
  EXPECT_NEAR(recorder.ended.front().endSeconds, 3.6, 1e-12);
  stream.hasTimes = false;
  EXPECT_NEAR(record({stream}).cells.front().startSeconds, 0.0, 1e-12);
}

TEST(SoundEngine, TimesAfterAGapAreLater) {
  SoundStream stream = saw(9600);
  stream.changes = {{.atSample = 4800, .gapSeconds = 2.0}};
  const CellRecorder recorder = record({stream});
  EXPECT_NEAR(recorder.cells[9].startSeconds, 0.09, 1e-9);
  EXPECT_NEAR(recorder.cells[10].startSeconds, 2.10, 1e-9);
  EXPECT_EQ(recorder.cells[10].firstSample, 4800) << "cells go on as the samples do";
  // What a container rounds is no gap.
  stream.changes = {{.atSample = 4800, .gapSeconds = 0.0009}};
  EXPECT_NEAR(record({stream}).cells[10].startSeconds, 0.10, 1e-9);
}

// Changes in mid-stream

TEST(SoundEngine, AnotherRateBeginsASection) {
  SoundStream stream = saw(4900 + 4410);
  stream.names = {"FL", "FR"};
  stream.changes = {{.atSample = 4900, .sampleRate = 44100}};
  const CellRecorder recorder = record({stream});
  ASSERT_EQ(recorder.sections.size(), 2U);
  EXPECT_EQ(recorder.sections[0].sampleRate, 48000);
  EXPECT_EQ(recorder.sections[1].sampleRate, 44100);
  EXPECT_EQ(recorder.sections[1].cellsBefore, 11U);
  EXPECT_EQ(recorder.cells[10].samples, 100);
  EXPECT_FALSE(recorder.cells[10].complete);
  EXPECT_EQ(recorder.cells[11].samples, 441);
  EXPECT_EQ(recorder.cells[11].firstSample, 4900);
  EXPECT_NEAR(recorder.cells[11].startSeconds, 4900.0 / 48000.0, 1e-9);
  EXPECT_NEAR(recorder.ended.at(0).endSeconds, 4900.0 / 48000.0 + 0.1, 1e-9);
  EXPECT_EQ(recorder.ended.at(0).samples, 4900 + 4410);
}

TEST(SoundEngine, OtherChannelsBeginASection) {
  SoundStream stream = saw(9600);
  stream.names = {"FL", "FR"};
  stream.changes = {{.atSample = 4800,
                     .channels = 6,
                     .names = std::vector<std::string>{"FL", "FR", "FC", "LFE", "SL", "SR"}}};
  const CellRecorder recorder = record({stream});
  ASSERT_EQ(recorder.sections.size(), 2U);
  EXPECT_EQ(recorder.sections[0].layout, "stereo");
  EXPECT_EQ(recorder.sections[1].layout, "5.1");
  EXPECT_EQ(recorder.cells.front().channels.size(), 2U);
  EXPECT_EQ(recorder.cells.back().channels.size(), 6U);
}

TEST(SoundEngine, AStreamWithMoreChannelsThanDeclaredHasThoseOfItsBlocks) {
  SoundStream stream = saw(4800);
  stream.changes = {{.atSample = 0, .channels = 6}};
  const CellRecorder recorder = record({stream});
  ASSERT_EQ(recorder.sections.size(), 1U);
  EXPECT_EQ(recorder.sections[0].layout, "5.1");
}

// Several streams

TEST(SoundEngine, TracksThatBeginLaterHaveZerosBeforeThem) {
  SoundStream early = saw(48000, 1);
  SoundStream late = saw(48000 - 4800, 1);
  early.value = late.value = [](int, int64_t) { return 0.5; };
  late.startSeconds = 0.1;
  for (const bool isLeftLate : {false, true}) {
    const CellRecorder recorder = record({isLeftLate ? late : early, isLeftLate ? early : late});
    ASSERT_EQ(recorder.ended.size(), 1U);
    EXPECT_EQ(recorder.ended[0].samples, 48000);
    const std::vector<float> samples = allOf(recorder, 0, isLeftLate ? 0 : 1);
    EXPECT_EQ(std::count(samples.begin(), samples.begin() + 4800, 0.0F), 4800);
    EXPECT_EQ(std::count(samples.begin() + 4800, samples.end(), 0.5F), 48000 - 4800);
    EXPECT_NEAR(recorder.cells.front().startSeconds, 0.0, 1e-9);
  }
}

TEST(SoundEngine, ATrackThatEndsEarlyIsSilentFromThereOn) {
  SoundStream whole = saw(20 * 48000, 1);
  SoundStream part = saw(2 * 48000 + 7, 1);
  whole.value = part.value = [](int, int64_t) { return 0.5; };
  const CellRecorder recorder = record({whole, part});
  ASSERT_EQ(recorder.ended.size(), 1U);
  EXPECT_EQ(recorder.ended[0].samples, whole.samples);
  const std::vector<float> samples = allOf(recorder, 0, 1);
  EXPECT_EQ(std::count(samples.begin(), samples.end(), 0.5F), part.samples);
  EXPECT_EQ(std::count(samples.begin(), samples.begin() + part.samples, 0.5F), part.samples);
}

TEST(SoundEngine, ATrackWithoutSoundIsSilent) {
  for (const int64_t seconds : {2, 25}) {
    SoundStream sound = saw(seconds * 48000, 1);
    SoundStream none = saw(0, 1);
    const CellRecorder recorder = record({none, sound});
    ASSERT_EQ(recorder.ended.size(), 1U);
    EXPECT_EQ(recorder.ended[0].samples, sound.samples);
    const std::vector<float> samples = allOf(recorder, 0, 1);
    EXPECT_EQ(samples[1000], sawAt(0, 1000));
    EXPECT_NEAR(recorder.ended[0].endSeconds, static_cast<double>(seconds), 1e-9);
  }
}

TEST(SoundEngine, TracksOfAnotherRateHaveNoPlaceBesideTheFirst) {
  SoundStream first = saw(48000, 1);
  SoundStream other = saw(44100, 1);
  other.sampleRate = 44100;
  const CellRecorder recorder = record({first, other}, {}, "1+2");
  ASSERT_EQ(recorder.ended.size(), 1U);
  EXPECT_EQ(recorder.ended[0].samples, 48000);
  EXPECT_EQ(allOf(recorder, 0, 0)[1234], sawAt(0, 1234));
  EXPECT_EQ(allOf(recorder, 0, 1), std::vector<float>(48000, 0.0F));
}

TEST(SoundEngine, PartsOfAStreamAreProgrammesOfTheirOwn) {
  const CellRecorder recorder = record({saw(960, 4)});
  ASSERT_EQ(recorder.programmes().size(), 2U);
  EXPECT_EQ(allOf(recorder, 0, 1)[7], sawAt(1, 7));
  EXPECT_EQ(allOf(recorder, 1, 0)[7], sawAt(2, 7));
  EXPECT_EQ(allOf(recorder, 1, 1)[7], sawAt(3, 7));
}

// Ends

TEST(SoundEngine, WhatIsNoSoundIsCountedAndSilent) {
  SoundStream stream = saw(960);
  stream.value = [](int channel, int64_t sample) {
    return channel == 1 && sample % 100 == 99 ? std::numeric_limits<double>::quiet_NaN() : 0.5;
  };
  const CellRecorder recorder = record({stream});
  EXPECT_EQ(recorder.ended.at(0).badSamples, 9);
  EXPECT_EQ(allOf(recorder, 0, 1)[99], 0.0F);
  EXPECT_EQ(allOf(recorder, 0, 0)[99], 0.5F);
}

TEST(SoundEngine, SaysWhetherTheReadingWasStopped) {
  EXPECT_TRUE(record({saw(960)}).ended.at(0).isWhole);
  EXPECT_FALSE(record({saw(960)}, {}, "", true).ended.at(0).isWhole);
}

TEST(SoundEngine, WithoutBlocksThereIsNoResult) {
  EXPECT_EQ(record({saw(0)}).whyNothing(), "no sound could be decoded");
  EXPECT_EQ(record({saw(1)}).whyNothing(), "");
  EXPECT_EQ(record({saw(960)}, {}, "7").whyNothing(), "Programmes: 7: there is no audio stream 7");
}

TEST(SoundEngine, WhatAMeasurementThrowsEndsThatOneAlone) {
  CellRecorder failing;
  CellRecorder other;
  failing.throwsAt = 3;
  SoundEngine engine("");
  engine.add(failing);
  engine.add(other);
  giveSound(engine, {saw(4800)});
  EXPECT_EQ(failing.cells.size(), 3U);
  EXPECT_GE(other.cells.size(), 10U);
  EXPECT_TRUE(failing.ended.empty());
  EXPECT_EQ(other.ended.size(), 1U);
  EXPECT_EQ(engine.errorOf(other), nullptr);
  ASSERT_NE(engine.errorOf(failing), nullptr);
  EXPECT_THROW(std::rethrow_exception(engine.errorOf(failing)), std::runtime_error);
}

TEST(SoundEngine, ThrowsWhenNoMeasurementIsLeft) {
  CellRecorder failing;
  failing.throwsAt = 3;
  SoundEngine engine("");
  engine.add(failing);
  EXPECT_THROW(giveSound(engine, {saw(4800)}), std::runtime_error);
}

}  // namespace
