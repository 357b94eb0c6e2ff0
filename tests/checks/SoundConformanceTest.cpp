// The signals of EBU Tech 3341 and 3342 whose descriptions are complete, and a second opinion.

#include <ebur128.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <numbers>
#include <string>
#include <utility>
#include <vector>

#include "support/SoundBlocks.h"
#include "support/Values.h"

namespace {

using qatest::measureSound;
using qatest::SoundStream;
using std::numbers::pi;

constexpr int kRate = 48000;
/// LU.
constexpr double kMeterTolerance = 0.1;
constexpr double kRangeTolerance = 1.0;

/// What is measured of the only programme.
struct Measured {
  double integrated;
  double range;
  double momentary;
  double shortTerm;
  double truePeak;
};

Measured measured(const SoundStream& stream) {
  const QACheckOutcome outcome = measureSound("programme-loudness", {}, {stream});
  const std::vector<QAValues> programmes = qatest::recordsOf(outcome, "programmes");
  EXPECT_EQ(programmes.size(), 1U);
  const QAValues values = programmes.empty() ? QAValues{} : programmes.front();
  return {qatest::numberOf(values, "integratedLufs"), qatest::numberOf(values, "loudnessRangeLu"),
          qatest::numberOf(values, "maxMomentaryLufs"),
          qatest::numberOf(values, "maxShortTermLufs"), qatest::numberOf(values, "truePeakDbtp")};
}

/// A stretch of a tone, or of silence far below any gate.
struct Tone {
  double seconds;
  double level = -std::numeric_limits<double>::infinity();  ///< dBFS, of its peaks
};
using Tones = std::vector<Tone>;

/// A stereo tone of 1 kHz, in phase, whose level changes.
SoundStream stereoTone(const Tones& tones) {
  struct Stretch {
    int64_t end;
    double amplitude;
  };
  std::vector<Stretch> stretches;
  double seconds = 0.0;
  for (const Tone& tone : tones) {
    seconds += tone.seconds;
    stretches.push_back({std::llround(seconds * kRate), std::pow(10.0, tone.level / 20.0)});
  }
  constexpr int kPeriod = kRate / 1000;
  std::vector<double> period;
  for (int i = 0; i < kPeriod; ++i) {
    period.push_back(std::sin(2.0 * pi * i / kPeriod));
  }
  SoundStream stream;
  stream.names = {"FL", "FR"};
  stream.samples = stretches.back().end;
  stream.value = [stretches, period, at = std::size_t{0}](int, int64_t sample) mutable {
    while (sample >= stretches[at].end) {
      ++at;
    }
    while (at > 0 && sample < stretches[at - 1].end) {
      --at;
    }
    return stretches[at].amplitude * period[static_cast<std::size_t>(sample % kPeriod)];
  };
  return stream;
}

Tones repeated(int times, const Tones& tones) {
  Tones all;
  for (int i = 0; i < times; ++i) {
    all.insert(all.end(), tones.begin(), tones.end());
  }
  return all;
}

TEST(Tech3341, ASteadyToneIsAsLoudAsItIs) {
  // Signals 1 and 2.
  for (const double level : {-23.0, -33.0}) {
    const Measured found = measured(stereoTone({{20.0, level}}));
    EXPECT_NEAR(found.momentary, level, kMeterTolerance);
    EXPECT_NEAR(found.shortTerm, level, kMeterTolerance);
    EXPECT_NEAR(found.integrated, level, kMeterTolerance);
  }
}

TEST(Tech3341, ASteadyToneOf16Or24BitsIsAsLoud) {
  SoundStream stream = stereoTone({{5.0, -23.0}});
  stream.format = AV_SAMPLE_FMT_S16;
  EXPECT_NEAR(measured(stream).integrated, -23.0, kMeterTolerance);
  stream.format = AV_SAMPLE_FMT_S32P;
  stream.bits = 24;
  EXPECT_NEAR(measured(stream).integrated, -23.0, kMeterTolerance);
}

TEST(Tech3341, QuietStretchesAreGated) {
  // Signals 3, 4 and 5.
  EXPECT_NEAR(measured(stereoTone({{10.0, -36.0}, {60.0, -23.0}, {10.0, -36.0}})).integrated, -23.0,
              kMeterTolerance);
  EXPECT_NEAR(
      measured(
          stereoTone({{10.0, -72.0}, {10.0, -36.0}, {60.0, -23.0}, {10.0, -36.0}, {10.0, -72.0}}))
          .integrated,
      -23.0, kMeterTolerance);
  EXPECT_NEAR(measured(stereoTone({{20.0, -26.0}, {20.1, -20.0}, {20.0, -26.0}})).integrated, -23.0,
              kMeterTolerance);
}

TEST(Tech3341, ChannelsAreWeighed) {
  // Signal 6; with a sixth channel as well, which does not count.
  const double levels[] = {-28.0, -28.0, -24.0, -30.0, -30.0};
  SoundStream stream;
  stream.channels = 5;
  stream.names = {"FL", "FR", "FC", "SL", "SR"};
  stream.samples = 20 * kRate;
  const auto tone = [](double level, int64_t sample) {
    return std::pow(10.0, level / 20.0) *
           std::sin(2.0 * pi * 1000.0 / kRate * static_cast<double>(sample));
  };
  stream.value = [&](int channel, int64_t sample) { return tone(levels[channel], sample); };
  EXPECT_NEAR(measured(stream).integrated, -23.0, kMeterTolerance);
  stream.channels = 6;
  stream.names = {"FL", "FR", "FC", "LFE", "SL", "SR"};
  stream.samples = 5 * kRate;
  stream.value = [&](int channel, int64_t sample) {
    return channel == 3 ? tone(-6.0, sample)
                        : tone(levels[channel - (channel > 3 ? 1 : 0)], sample);
  };
  EXPECT_NEAR(measured(stream).integrated, -23.0, kMeterTolerance);
}

TEST(Tech3341, ShortTermLoudnessIsThatOf3Seconds) {
  // Signal 9.
  EXPECT_NEAR(measured(stereoTone(repeated(5, {{1.34, -20.0}, {1.66, -30.0}}))).shortTerm, -23.0,
              kMeterTolerance);
}

TEST(Tech3341, ABurstOf3SecondsIsFoundWhereverItLies) {
  // Signals 10 and 11.
  for (int i = 0; i < 20; ++i) {
    EXPECT_NEAR(measured(stereoTone({{0.15 * i}, {3.0, -23.0}, {1.0}})).shortTerm, -23.0,
                kMeterTolerance)
        << i;
  }
  Tones bursts;
  for (int i = 0; i < 20; ++i) {
    bursts.insert(bursts.end(), {{0.15 * i}, {3.0, -38.0 + i}, {3.0 - 0.15 * i}});
  }
  EXPECT_NEAR(measured(stereoTone(bursts)).shortTerm, -19.0, kMeterTolerance);
}

TEST(Tech3341, MomentaryLoudnessIsThatOf400Milliseconds) {
  // Signal 12.
  EXPECT_NEAR(measured(stereoTone(repeated(25, {{0.18, -20.0}, {0.22, -30.0}}))).momentary, -23.0,
              kMeterTolerance);
}

TEST(Tech3341, ABurstOf400MillisecondsIsFoundWhereverItLies) {
  // Signals 13 and 14.
  for (int i = 0; i < 20; ++i) {
    EXPECT_NEAR(measured(stereoTone({{0.02 * i}, {0.4, -23.0}, {1.0}})).momentary, -23.0,
                kMeterTolerance)
        << i;
  }
  Tones bursts;
  for (int i = 0; i < 20; ++i) {
    bursts.insert(bursts.end(), {{0.02 * i}, {0.4, -38.0 + i}, {0.4 - 0.02 * i}});
  }
  EXPECT_NEAR(measured(stereoTone(bursts)).momentary, -19.0, kMeterTolerance);
}

TEST(Tech3341, TruePeaksLieBetweenSamples) {
  // Signals 15 to 19, which are relative to the rate.
  struct Signal {
    double cyclesPerSample;
    double amplitude;
    double degrees;
    double truePeak;
  };
  const Signal signals[] = {{1.0 / 4, 0.50, 0.0, -6.0},
                            {1.0 / 4, 0.50, 45.0, -6.0},
                            {1.0 / 6, 0.50, 60.0, -6.0},
                            {1.0 / 8, 0.50, 67.5, -6.0},
                            {1.0 / 4, 1.41, 45.0, 3.0}};
  for (const int rate : {44100, kRate, 96000}) {
    for (const Signal& signal : signals) {
      SoundStream stream;
      stream.sampleRate = rate;
      stream.names = {"FL", "FR"};
      stream.samples = rate;
      stream.value = [&](int, int64_t sample) {
        // A start and an end at once would ring.
        const int64_t fromEdge = std::min(sample, rate - 1 - sample);
        const double fade = std::min(1.0, static_cast<double>(fromEdge) / (0.02 * rate));
        return fade * signal.amplitude *
               std::sin(2.0 * pi * signal.cyclesPerSample * static_cast<double>(sample) +
                        signal.degrees / 180.0 * pi);
      };
      const double found = measured(stream).truePeak;
      EXPECT_LE(found, signal.truePeak + 0.2) << rate << " Hz, " << signal.degrees << " degrees";
      EXPECT_GE(found, signal.truePeak - 0.4) << rate << " Hz, " << signal.degrees << " degrees";
    }
  }
}

TEST(Tech3342, TheRangeIsThatOfTheLoudness) {
  // Signals 1 to 4.
  const std::pair<Tones, double> signals[] = {
      {{{20.0, -20.0}, {20.0, -30.0}}, 10.0},
      {{{20.0, -20.0}, {20.0, -15.0}}, 5.0},
      {{{20.0, -40.0}, {20.0, -20.0}}, 20.0},
      {{{20.0, -50.0}, {20.0, -35.0}, {20.0, -20.0}, {20.0, -35.0}, {20.0, -50.0}}, 15.0}};
  for (const auto& [tones, range] : signals) {
    EXPECT_NEAR(measured(stereoTone(tones)).range, range, kRangeTolerance);
  }
}

// libebur128

/// The same for the same arguments, from -1 to 1.
double noiseAt(int channel, int64_t sample) {
  auto x = static_cast<uint64_t>(sample) * 0x9E3779B97F4A7C15U +
           static_cast<uint64_t>(channel + 1) * 0xD1B54A32D192ED03U;
  x = (x ^ (x >> 30U)) * 0xBF58476D1CE4E5B9U;
  x = (x ^ (x >> 27U)) * 0x94D049BB133111EBU;
  return static_cast<double>(x >> 11U) * 0x1p-52 - 1.0;
}

double secondOpinion(const SoundStream& stream) {
  struct Destroy {
    void operator()(ebur128_state* state) const { ebur128_destroy(&state); }
  };
  const std::unique_ptr<ebur128_state, Destroy> meter(
      ebur128_init(static_cast<unsigned>(stream.channels),
                   static_cast<unsigned long>(stream.sampleRate), EBUR128_MODE_I));
  std::vector<float> samples;
  for (int64_t i = 0; i < stream.samples; ++i) {
    for (int channel = 0; channel < stream.channels; ++channel) {
      samples.push_back(static_cast<float>(stream.value(channel, i)));
    }
  }
  EXPECT_EQ(ebur128_add_frames_float(meter.get(), samples.data(),
                                     static_cast<std::size_t>(stream.samples)),
            EBUR128_SUCCESS);
  double loudness = 0.0;
  EXPECT_EQ(ebur128_loudness_global(meter.get(), &loudness), EBUR128_SUCCESS);
  return loudness;
}

void expectTheSameOpinion(const SoundStream& stream) {
  EXPECT_NEAR(measured(stream).integrated, secondOpinion(stream), 0.02);
}

/// Noise whose level wanders over 30 dB, otherwise in each channel.
double wandering(int channel, double seconds, int64_t sample) {
  const double level = -25.0 + 15.0 * std::sin(2.0 * pi * seconds / (5.0 + channel));
  return std::pow(10.0, level / 20.0) * noiseAt(channel, sample);
}

SoundStream wanderingNoise(const std::vector<std::string>& names, int sampleRate = kRate) {
  SoundStream stream;
  stream.channels = static_cast<int>(names.size());
  stream.names = names;
  stream.sampleRate = sampleRate;
  stream.samples = 15 * static_cast<int64_t>(sampleRate);
  stream.value = [sampleRate](int channel, int64_t sample) {
    return wandering(channel, static_cast<double>(sample) / sampleRate, sample);
  };
  return stream;
}

TEST(SecondOpinion, OfStereo) {
  expectTheSameOpinion(wanderingNoise({"FL", "FR"}));
}

TEST(SecondOpinion, OfSurroundSound) {
  expectTheSameOpinion(wanderingNoise({"FL", "FR", "FC", "LFE", "SL", "SR"}));
}

TEST(SecondOpinion, OfOneChannel) {
  expectTheSameOpinion(wanderingNoise({"FC"}));
}

TEST(SecondOpinion, OfSoundWithGaps) {
  SoundStream stream = wanderingNoise({"FL", "FR"});
  stream.value = [](int channel, int64_t sample) {
    const double seconds = static_cast<double>(sample) / kRate;
    const bool isGap = std::fmod(seconds, 1.7) > 0.9;
    return isGap ? 0.0 : wandering(channel, seconds, sample);
  };
  expectTheSameOpinion(stream);
}

TEST(SecondOpinion, OfSoundAt44100Hertz) {
  expectTheSameOpinion(wanderingNoise({"FL", "FR"}, 44100));
}

}  // namespace
