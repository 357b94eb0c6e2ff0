// What the checks of sound find in streams that are made block by block: no file, no decoder.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <random>

#include "support/SoundBlocks.h"
#include "support/Values.h"

namespace {

using namespace qatest;

constexpr int kRate = 48000;

double sine(double hertz, int64_t sample, double rate = kRate) {
  return std::sin(2.0 * std::numbers::pi * hertz * static_cast<double>(sample) / rate);
}

/// Sound that neither repeats nor correlates between channels.
class Noise {
 public:
  explicit Noise(int64_t samples, double amplitude = 0.25) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> any(-amplitude, amplitude);
    for (std::vector<double>& channel : values_) {
      channel.resize(static_cast<std::size_t>(samples));
      for (double& value : channel) {
        value = any(random);
      }
    }
  }
  double operator()(int channel, int64_t sample) const {
    return values_[static_cast<std::size_t>(channel) % 2][static_cast<std::size_t>(sample)];
  }

 private:
  std::vector<double> values_[2];
};

SoundStream stereo(double seconds, std::function<double(int, int64_t)> value) {
  SoundStream stream;
  stream.value = std::move(value);
  stream.samples = static_cast<int64_t>(std::llround(seconds * kRate));
  stream.names = {"FL", "FR"};
  return stream;
}

/// Integers of 16 bits as they were recorded.
SoundStream pcm16(double seconds, std::function<double(int, int64_t)> value) {
  SoundStream stream = stereo(seconds, std::move(value));
  stream.format = AV_SAMPLE_FMT_S16;
  stream.bits = 16;
  return stream;
}

/// The records of a list of them.
const std::vector<QAValues>& rowsOf(const QAValues& values, const std::string& key) {
  return std::get<std::vector<QAValues>>(findValue(values, key)->value);
}

bool isWithin(int64_t sample, int64_t from, int64_t to) {
  return sample >= from && sample < to;
}

void expectSpan(const QAEvent& event, int64_t from, int64_t to, double start = 0.0) {
  EXPECT_NEAR(*event.startSeconds, start + static_cast<double>(from) / kRate, 1e-9);
  EXPECT_NEAR(*event.endSeconds, start + static_cast<double>(to) / kRate, 1e-9);
}

// Silence

TEST(Silence, BeginsAfterTheLastLoudSampleAndEndsWithTheFirst) {
  const Noise noise(20 * kRate);
  const int64_t from = 12 * kRate + 123;
  const int64_t to = 15 * kRate + 77;
  const QACheckOutcome outcome =
      measureSound("silence", {}, {stereo(20, [&](int channel, int64_t i) {
                     if (i == from - 1 || i == to) {
                       return channel == 0 ? 0.5 : 0.0;
                     }
                     return isWithin(i, from, to) ? 0.0009 : noise(channel, i);
                   })});
  ASSERT_EQ(outcome.events.size(), 1U);
  expectSpan(outcome.events[0], from, to);
  EXPECT_NEAR(*outcome.events[0].value, 20.0 * std::log10(0.0009), 1e-3);
  EXPECT_EQ(outcome.events[0].what, "silence");
  EXPECT_TRUE(outcome.broken);
}

TEST(Silence, ShorterThanTheLimitIsAPause) {
  const Noise noise(20 * kRate);
  const auto pause = [&](double seconds) {
    const auto length = static_cast<int64_t>(seconds * kRate);
    return measureSound("silence", {}, {stereo(20, [&](int channel, int64_t i) {
                          return isWithin(i, 9 * kRate, 9 * kRate + length) ? 0.0
                                                                            : noise(channel, i);
                        })});
  };
  EXPECT_TRUE(pause(1.99).events.empty());
  EXPECT_EQ(pause(2.0).events.size(), 1U);
}

TEST(Silence, AtTheEdgesBreaksNothingUntilItIsTooLong) {
  const Noise noise(40 * kRate);
  const auto edges = [&](double head, double tail) {
    return measureSound("silence", {}, {stereo(40, [&](int channel, int64_t i) {
                          const bool sounds = isWithin(i, std::llround(head * kRate),
                                                       std::llround((40 - tail) * kRate));
                          return sounds ? noise(channel, i) : 0.0;
                        })});
  };
  const QACheckOutcome both = edges(9.0, 8.0);
  ASSERT_EQ(both.events.size(), 2U);
  EXPECT_FALSE(both.broken);
  EXPECT_EQ(both.events[0].what, "digital silence at the start");
  EXPECT_EQ(both.events[1].what, "digital silence at the end");
  EXPECT_TRUE(edges(10.5, 0.0).broken);
  EXPECT_TRUE(edges(0.0, 10.5).broken);
}

TEST(Silence, OfTheChannelForLowFrequenciesIsNotAsked) {
  SoundStream stream =
      stereo(8, [](int channel, int64_t i) { return channel == 3 ? sine(50, i) : 0.0; });
  stream.channels = 6;
  stream.names = {"FL", "FR", "FC", "LFE", "SL", "SR"};
  const QACheckOutcome outcome = measureSound("silence", {}, {stream});
  ASSERT_EQ(outcome.events.size(), 1U);
  EXPECT_EQ(outcome.events[0].what, "silent throughout");
  EXPECT_TRUE(outcome.broken);
}

TEST(Silence, OfOneOfSeveralProgrammesIsAnUnusedTrack) {
  const Noise noise(8 * kRate);
  const SoundStream sounds = stereo(8, [&](int channel, int64_t i) { return noise(channel, i); });
  const SoundStream silent = stereo(8, [](int, int64_t) { return 0.0; });
  const QACheckOutcome outcome = measureSound("silence", {}, {sounds, silent});
  ASSERT_EQ(outcome.events.size(), 1U);
  EXPECT_FALSE(outcome.broken);
  EXPECT_EQ(outcome.events[0].stream, 1);
}

// Channels

TEST(Channels, ASilentOneIsAFindingAndAnUnusedSurroundIsNot) {
  const Noise noise(8 * kRate);
  const auto withSilent = [&](int silent) {
    SoundStream stream = stereo(
        8, [&](int channel, int64_t i) { return channel == silent ? 0.0 : noise(channel, i); });
    stream.channels = 6;
    stream.names = {"FL", "FR", "FC", "LFE", "SL", "SR"};
    return measureSound("channels", {}, {stream});
  };
  const QACheckOutcome centre = withSilent(2);
  EXPECT_TRUE(centre.broken);
  EXPECT_EQ(centre.events.front().channelName, "C");
  EXPECT_EQ(centre.events.front().channel, 2);
  for (const int extra : {3, 4, 5}) {
    const QACheckOutcome outcome = withSilent(extra);
    EXPECT_FALSE(outcome.broken) << extra;
    ASSERT_FALSE(outcome.events.empty());
    EXPECT_EQ(outcome.events.front().channel, extra);
  }
}

TEST(Channels, OneSideIsLostWhileTheOtherGoesOn) {
  const Noise noise(20 * kRate);
  const int64_t from = 6 * kRate + 11;
  const auto lost = [&](int64_t length) {
    return measureSound(
        "channels", {}, {stereo(20, [&](int channel, int64_t i) {
          return channel == 1 && isWithin(i, from, from + length)
                     ? 0.0
                     : (i == from - 1 || i == from + length ? 0.2 : noise(channel, i));
        })});
  };
  const QACheckOutcome outcome = lost(6 * kRate);
  ASSERT_EQ(outcome.events.size(), 1U);
  expectSpan(outcome.events[0], from, from + 6 * kRate);
  EXPECT_EQ(outcome.events[0].what, "R is lost");
  // Uniform between -0.25 and 0.25.
  EXPECT_NEAR(*outcome.events[0].value, 20.0 * std::log10(0.25 / std::sqrt(3.0)), 0.1);
  EXPECT_TRUE(outcome.broken);
  EXPECT_TRUE(lost(4 * kRate).events.empty());
}

TEST(Channels, SoundThatStartsLateLosesNothingBefore) {
  const Noise noise(20 * kRate);
  SoundStream stream = stereo(14, [&](int channel, int64_t i) {
    return channel == 0 && i < kRate / 50 ? 0.0 : noise(channel, i);
  });
  stream.startSeconds = 6.0;
  EXPECT_TRUE(measureSound("channels", {}, {stream}).events.empty());
}

TEST(Channels, IdenticalOnesAreSaidAndNotJudged) {
  const Noise noise(8 * kRate);
  const QACheckOutcome same =
      measureSound("channels", {}, {stereo(8, [&](int, int64_t i) { return noise(0, i); })});
  EXPECT_FALSE(same.broken);
  ASSERT_EQ(same.events.size(), 1U);
  EXPECT_EQ(same.events[0].what, "left and right are identical");
  // A difference 54 dB below their sum.
  const QACheckOutcome nearly =
      measureSound("channels", {}, {stereo(8, [&](int channel, int64_t i) {
                     return noise(0, i) + (channel == 0 ? 0.004 : 0.0) * noise(1, i);
                   })});
  ASSERT_EQ(nearly.events.size(), 1U);
  EXPECT_EQ(nearly.events[0].what, "left and right are nearly identical");
}

TEST(Channels, TracksOfAnAssumedPairThatShareNothingLookUnrelated) {
  const Noise noise(8 * kRate);
  SoundStream left = stereo(8, [&](int, int64_t i) { return noise(0, i); });
  left.channels = 1;
  left.names = {};
  SoundStream right = left;
  right.value = [&](int, int64_t i) { return noise(1, i); };
  const QACheckOutcome outcome = measureSound("channels", {}, {left, right});
  ASSERT_EQ(outcome.events.size(), 1U);
  EXPECT_EQ(outcome.events[0].what, "track 1 and track 2 look unrelated");
  EXPECT_FALSE(outcome.broken);
}

TEST(Channels, WithoutASampleAreAFinding) {
  const SoundStream none = stereo(0, [](int, int64_t) { return 0.0; });
  const QACheckOutcome outcome = measureSound("channels", {}, {none});
  EXPECT_TRUE(outcome.broken);
  ASSERT_EQ(outcome.events.size(), 1U);
  EXPECT_EQ(outcome.events[0].what, "no sample at all");
}

// Clipping

/// A sine that is cut off at a level of full scale.
SoundStream cut(double gain, double level, double hertz = 440.0) {
  return pcm16(20,
               [=](int, int64_t i) { return std::clamp(gain * sine(hertz, i), -level, level); });
}

TEST(Clipping, AtFullScaleIsFoundAndItsLongestRunCounted) {
  // Of 100 samples three at a time at the top, twice.
  const QACheckOutcome outcome = measureSound(
      "clipping", {}, {pcm16(12, [](int channel, int64_t i) {
        const bool isCut = channel == 0 && (isWithin(i, 5 * kRate, 5 * kRate + 3) ||
                                            isWithin(i, 5 * kRate + 50, 5 * kRate + 57));
        return isCut ? 1.0 : 0.5 * sine(440, i);
      })});
  ASSERT_EQ(outcome.events.size(), 1U);
  expectSpan(outcome.events[0], 5 * kRate, 5 * kRate + 57);
  EXPECT_EQ(outcome.events[0].value, 10.0);
  EXPECT_EQ(outcome.events[0].what, "L clips: 2 runs, longest 7 samples");
  EXPECT_EQ(numberOf(outcome.values, "longestRun"), 7);
}

TEST(Clipping, ASlowSineAtFullScaleIsWhole) {
  EXPECT_FALSE(measureSound("clipping", {}, {cut(1.0, 1.0, 50.0)}).broken);
}

TEST(Clipping, TwoValuesInARowAreNone) {
  const QACheckOutcome outcome =
      measureSound("clipping", {}, {pcm16(12, [](int, int64_t i) {
                     return isWithin(i, kRate, kRate + 2) ? 1.0 : 0.5 * sine(440, i);
                   })});
  EXPECT_FALSE(outcome.broken);
}

TEST(Clipping, BelowFullScaleShowsByFlatTops) {
  const QACheckOutcome outcome = measureSound("clipping", {}, {cut(1.5, 0.89)});
  ASSERT_FALSE(outcome.events.empty());
  EXPECT_EQ(outcome.events[0].unit, "dBFS");
  EXPECT_NEAR(*outcome.events[0].value, 20.0 * std::log10(0.89), 0.001);
  EXPECT_FALSE(measureSound("clipping", {}, {cut(0.89, 1.0)}).broken) << "the same level, whole";
}

TEST(Clipping, OfCoarseSamplesIsNotLookedFor) {
  SoundStream stream = cut(2.0, 1.0);
  stream.format = AV_SAMPLE_FMT_U8;
  stream.bits = 8;
  EXPECT_FALSE(measureSound("clipping", {}, {stream}).broken);
}

TEST(Clipping, LossySoundBeyondFullScaleIsCountedAndSaid) {
  SoundStream stream = stereo(4, [](int channel, int64_t i) {
    return channel == 1 && isWithin(i, 100, 105) ? 2.0 : 0.1 * sine(440, i);
  });
  stream.lossless = false;
  const QACheckOutcome outcome = measureSound("clipping", {}, {stream});
  EXPECT_FALSE(outcome.broken);
  EXPECT_EQ(numberOf(outcome.values, "overs"), 5);
  EXPECT_NEAR(numberOf(outcome.values, "highestOverDbfs"), 20.0 * std::log10(2.0), 1e-6);
  stream.value = [](int, int64_t i) { return 0.1 * sine(440, i); };
  EXPECT_EQ(measureSound("clipping", {}, {stream}).summary,
            "no sample above full scale; runs show in PCM only");
}

TEST(Clipping, OfFloatsThatWereNeverCodedIsFound) {
  const QACheckOutcome outcome = measureSound(
      "clipping", {},
      {stereo(12, [](int, int64_t i) { return std::clamp(2.0 * sine(440, i), -1.0, 1.0); })});
  EXPECT_TRUE(outcome.broken);
}

TEST(Clipping, OfSixteenBitsIsFoundInTwentyFour) {
  SoundStream stream = stereo(12, [](int, int64_t i) {
    // Positive tops only; whole steps of 16 bits.
    const double value = isWithin(i, kRate, kRate + 5) ? 32767.0 : std::round(16000 * sine(440, i));
    return value / 32768.0;
  });
  stream.format = AV_SAMPLE_FMT_S32;
  stream.bits = 24;
  const QACheckOutcome clipped = measureSound("clipping", {}, {stream});
  ASSERT_EQ(clipped.events.size(), 2U) << "left and right";
  EXPECT_EQ(clipped.events[0].value, 5.0);
  // A slow sine that goes down by one step of 16 bits at a time.
  stream.value = [](int, int64_t i) { return std::round(32767.0 * sine(50, i)) / 32768.0; };
  EXPECT_FALSE(measureSound("clipping", {}, {stream}).broken);
}

TEST(Clipping, UntilTheLastSampleIsFound) {
  const QACheckOutcome outcome = measureSound(
      "clipping", {},
      {pcm16(12.003, [](int, int64_t i) { return i >= 12 * kRate ? 1.0 : 0.5 * sine(440, i); })});
  ASSERT_EQ(outcome.events.size(), 2U);
  EXPECT_EQ(outcome.events[0].value, 144.0);
}

// Polarity

TEST(Polarity, OneSideInvertedForAWhileIsFoundWhereItIs) {
  const Noise noise(30 * kRate);
  const int64_t from = 10 * kRate;
  const int64_t to = 14 * kRate;
  const QACheckOutcome outcome =
      measureSound("polarity", {}, {stereo(30, [&](int channel, int64_t i) {
                     return channel == 1 && isWithin(i, from, to) ? -noise(0, i) : noise(0, i);
                   })});
  ASSERT_EQ(outcome.events.size(), 1U);
  EXPECT_NEAR(*outcome.events[0].startSeconds, 10.0, 0.0101);
  EXPECT_NEAR(*outcome.events[0].endSeconds, 14.0, 0.0101);
  EXPECT_LT(*outcome.events[0].value, -0.9);
}

TEST(Polarity, AShortStretchIsNone) {
  const Noise noise(30 * kRate);
  const QACheckOutcome outcome =
      measureSound("polarity", {}, {stereo(30, [&](int channel, int64_t i) {
                     const bool inverted = channel == 1 && isWithin(i, 10 * kRate, 11 * kRate);
                     return inverted ? -noise(0, i) : noise(0, i);
                   })});
  EXPECT_TRUE(outcome.events.empty());
}

TEST(Polarity, OfTheWholeProgrammeIsJudgedFromTenSecondsOn) {
  const Noise noise(12 * kRate);
  const auto inverted = [&](double seconds) {
    // r = -0.5: half of the energy of one side is its own.
    return measureSound("polarity", {}, {stereo(seconds, [&](int channel, int64_t i) {
                          return channel == 0 ? noise(0, i)
                                              : -0.5 * noise(0, i) + 0.866 * noise(1, i);
                        })});
  };
  const QACheckOutcome outcome = inverted(12.0);
  ASSERT_EQ(outcome.events.size(), 1U);
  EXPECT_NEAR(*outcome.events[0].value, -0.5, 0.01);
  EXPECT_TRUE(inverted(9.0).events.empty());
}

TEST(Polarity, QuietSidesSayNothing) {
  // -66 dBFS.
  const QACheckOutcome outcome =
      measureSound("polarity", {}, {stereo(9, [](int channel, int64_t i) {
                     return (channel == 0 ? 0.0007 : -0.0007) * sine(440, i);
                   })});
  EXPECT_TRUE(outcome.events.empty());
}

TEST(Polarity, OfMonoHasNoSubject) {
  SoundStream mono = stereo(4, [](int, int64_t i) { return 0.5 * sine(440, i); });
  mono.channels = 1;
  mono.names = {"FC"};
  const QACheckOutcome outcome = measureSound("polarity", {}, {mono});
  EXPECT_EQ(outcome.state, QAState::notMeasured);
  EXPECT_TRUE(outcome.subjectAbsent);
}

// Dropouts

SoundStream withZeros(const Noise& noise, int64_t from, int64_t length, int channels = 2) {
  return stereo(12, [&noise, from, length, channels](int channel, int64_t i) {
    if (i == from - 1 || i == from + length) {
      return 0.1;
    }
    return channel < channels && isWithin(i, from, from + length) ? 0.0 : noise(channel, i);
  });
}

TEST(Dropouts, AreFoundToTheSampleWhereverTheyLieInACell) {
  const Noise noise(12 * kRate);
  for (const int64_t from : {5 * kRate, 5 * kRate + 1, 5 * kRate + 470, 5 * kRate + 479}) {
    for (const int64_t length : {48, 96, 480, 960, 24000}) {
      const QACheckOutcome outcome = measureSound("dropouts", {}, {withZeros(noise, from, length)});
      ASSERT_EQ(outcome.events.size(), 1U) << from << " " << length;
      expectSpan(outcome.events[0], from, from + length);
      EXPECT_EQ(outcome.events[0].what, "L+R drops out");
    }
  }
}

TEST(Dropouts, OfOneChannelAreItsOwn) {
  const Noise noise(12 * kRate);
  const QACheckOutcome outcome = measureSound("dropouts", {}, {withZeros(noise, kRate, 480, 1)});
  ASSERT_EQ(outcome.events.size(), 1U);
  EXPECT_EQ(outcome.events[0].channelName, "L");
}

TEST(Dropouts, OfOneSideLastUntilTheChannelCountsAsLost) {
  const Noise noise(12 * kRate);
  EXPECT_EQ(measureSound("dropouts", {}, {withZeros(noise, kRate, 3 * kRate, 1)}).events.size(),
            1U);
  EXPECT_TRUE(measureSound("dropouts", {}, {withZeros(noise, kRate, 6 * kRate, 1)}).events.empty());
}

TEST(Dropouts, ShorterThanAMillisecondOrFromTwoSecondsOnAreNone) {
  const Noise noise(12 * kRate);
  EXPECT_TRUE(measureSound("dropouts", {}, {withZeros(noise, kRate, 47)}).events.empty());
  EXPECT_TRUE(measureSound("dropouts", {}, {withZeros(noise, kRate, 2 * kRate)}).events.empty());
}

TEST(Dropouts, AtTheStartAndTheEndAreNone) {
  const Noise noise(12 * kRate);
  const QACheckOutcome outcome =
      measureSound("dropouts", {}, {stereo(12, [&](int channel, int64_t i) {
                     return isWithin(i, 480, 12 * kRate - 480) ? noise(channel, i) : 0.0;
                   })});
  EXPECT_TRUE(outcome.events.empty());
}

TEST(Dropouts, SoundThatFadesOutAndInIsNone) {
  const Noise noise(12 * kRate);
  const double fade = 0.03 * kRate;
  const QACheckOutcome outcome = measureSound(
      "dropouts", {}, {stereo(12, [&](int channel, int64_t i) {
        const double away = std::abs(static_cast<double>(i) - 6.0 * kRate) - 0.05 * kRate;
        return std::clamp(away / fade, 0.0, 1.0) * noise(channel, i);
      })});
  EXPECT_TRUE(outcome.events.empty());
}

TEST(Dropouts, ToneThatIsSwitchedWhereItGoesThroughZeroIsNone) {
  // Line-up: 1 kHz whose left side stops for a quarter of a second.
  const QACheckOutcome outcome =
      measureSound("dropouts", {}, {stereo(12, [](int channel, int64_t i) {
                     const bool stops = channel == 0 && isWithin(i, 3 * kRate, 3 * kRate + 12000);
                     return stops ? 0.0 : 0.126 * sine(1000, i);
                   })});
  EXPECT_TRUE(outcome.events.empty());
}

TEST(Dropouts, OfAQuietPassageRoundedToZeroAreNone) {
  // An RMS of 0.115: 15 steps of 8 bits.
  const Noise noise(12 * kRate, 0.2);
  SoundStream stream = withZeros(noise, kRate, 480);
  stream.format = AV_SAMPLE_FMT_U8;
  stream.bits = 8;
  EXPECT_TRUE(measureSound("dropouts", {}, {stream}).events.empty());
  stream.format = AV_SAMPLE_FMT_S16;
  stream.bits = 16;
  EXPECT_EQ(measureSound("dropouts", {}, {stream}).events.size(), 1U);
}

// Levels and peaks

TEST(SampleLevels, AreThoseOfEachChannel) {
  const QACheckOutcome outcome =
      measureSound("sample-levels", {}, {stereo(12, [](int channel, int64_t i) {
                     return channel == 0 ? 0.5 * sine(480, i) : 0.25 * sine(480, i) + 0.02;
                   })});
  const auto& rows = rowsOf(outcome.values, "channels");
  ASSERT_EQ(rows.size(), 2U);
  // 480 Hz has a sample at its top.
  EXPECT_NEAR(numberOf(rows[0], "peakDbfs"), 20.0 * std::log10(0.5), 1e-4);
  EXPECT_NEAR(numberOf(rows[0], "rmsDbfs"), 20.0 * std::log10(0.5 / std::numbers::sqrt2), 1e-4);
  EXPECT_NEAR(numberOf(rows[1], "dcPercent"), 2.0, 1e-3);
  ASSERT_EQ(outcome.events.size(), 1U);
  EXPECT_EQ(outcome.events[0].channelName, "R");
  EXPECT_TRUE(outcome.broken);
}

TEST(TruePeak, BetweenTheSamplesIsFound) {
  // A quarter of the rate, its tops half way between samples: sqrt(2) above all samples.
  const auto tone = [](double amplitude) {
    return stereo(3, [amplitude](int, int64_t i) {
      return amplitude * std::sin(std::numbers::pi * (static_cast<double>(i) / 2.0 + 0.25));
    });
  };
  const QACheckOutcome loud = measureSound("true-peak", {}, {tone(1.0)});
  EXPECT_NEAR(numberOf(loud.values, "maxTruePeakDbtp"), 0.0, 0.12);
  EXPECT_TRUE(loud.broken);
  EXPECT_FALSE(measureSound("true-peak", {}, {tone(0.85)}).broken);
}

TEST(TruePeak, PeaksLessThanASecondApartAreOneEvent) {
  const QACheckOutcome outcome = measureSound(
      "true-peak", {}, {stereo(10, [](int channel, int64_t i) {
        const bool peaks = channel == 0 && (i == kRate || i == kRate + 40000 || i == 5 * kRate);
        return peaks ? 0.95 : 0.0;
      })});
  EXPECT_EQ(outcome.events.size(), 2U);
}

// Loudness

TEST(ProgrammeLoudness, OfAToneIsThatOfTheText) {
  // 997 Hz at full scale in one channel is -3.01 LUFS; here -20 dBFS in both.
  const QACheckOutcome outcome =
      measureSound("programme-loudness", {{"LoudnessTarget", "-20"}, {"LoudnessTolerance", "0.1"}},
                   {stereo(10, [](int, int64_t i) { return 0.1 * sine(997, i); })});
  const auto& rows = rowsOf(outcome.values, "programmes");
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_NEAR(numberOf(rows[0], "integratedLufs"), -20.0, 0.02);
  EXPECT_FALSE(outcome.broken);
}

TEST(ProgrammeLoudness, OfAMonoProgrammeIsJudgedAsMeasuredUnlessASettingSaysOtherwise) {
  SoundStream mono = stereo(10, [](int, int64_t i) { return 0.1 * sine(997, i); });
  mono.channels = 1;
  mono.names = {"FC"};
  const CheckSettings at23{{"LoudnessTarget", "-23"}, {"LoudnessTolerance", "0.1"}};
  EXPECT_FALSE(measureSound("programme-loudness", at23, {mono}).broken);
  CheckSettings dual = at23;
  dual.emplace_back("DualMono", "1");
  EXPECT_TRUE(measureSound("programme-loudness", dual, {mono}).broken);
  dual[0].second = "-20";
  EXPECT_FALSE(measureSound("programme-loudness", dual, {mono}).broken);
}

TEST(ProgrammeLoudness, OfNothingAndOfSilenceIsNotMeasured) {
  const QACheckOutcome brief = measureSound(
      "programme-loudness", {}, {stereo(0.3, [](int, int64_t i) { return sine(997, i); })});
  EXPECT_EQ(brief.state, QAState::notMeasured);
  EXPECT_EQ(brief.reason, "shorter than the 400 ms that loudness is measured over");
  const QACheckOutcome silent =
      measureSound("programme-loudness", {}, {stereo(5, [](int, int64_t) { return 0.0; })});
  EXPECT_EQ(silent.state, QAState::notMeasured);
  EXPECT_EQ(silent.reason, "silent: nothing is above -70 LUFS");
}

// What all of them share

TEST(SoundTimes, FollowTheTimeStampsOverAGap) {
  const Noise noise(20 * kRate);
  SoundStream stream = withZeros(noise, 8 * kRate, 480);
  stream.startSeconds = 1.5;
  stream.changes = {{.atSample = 4 * kRate, .gapSeconds = 2.25}};
  const QACheckOutcome outcome = measureSound("dropouts", {}, {stream});
  ASSERT_EQ(outcome.events.size(), 2U);
  EXPECT_EQ(outcome.events[0].what, "no samples: time stamps go on later");
  EXPECT_NEAR(*outcome.events[0].startSeconds, 5.5, 1e-9);
  EXPECT_NEAR(*outcome.events[0].endSeconds, 7.75, 1e-9);
  expectSpan(outcome.events[1], 8 * kRate, 8 * kRate + 480, 1.5 + 2.25);
}

TEST(SoundTimes, CountFromZeroWithoutTimeStamps) {
  const Noise noise(20 * kRate);
  SoundStream stream = withZeros(noise, 8 * kRate, 480);
  stream.hasTimes = false;
  const QACheckOutcome outcome = measureSound("dropouts", {}, {stream});
  ASSERT_EQ(outcome.events.size(), 1U);
  expectSpan(outcome.events[0], 8 * kRate, 8 * kRate + 480);
}

TEST(SoundBlocks, OfAnySizeGiveTheSame) {
  const Noise noise(12 * kRate);
  SoundStream stream = withZeros(noise, 3 * kRate, 480);
  std::optional<QACheckOutcome> first;
  for (const int size : {1, 479, 480, 1152, 100000}) {
    stream.samples = size == 1 ? 4 * kRate : 12 * kRate;
    stream.blockSize = size;
    const QACheckOutcome outcome = measureSound("dropouts", {}, {stream});
    ASSERT_EQ(outcome.events.size(), 1U) << size;
    expectSpan(outcome.events[0], 3 * kRate, 3 * kRate + 480);
  }
  stream.samples = 12 * kRate;
  for (const int size : {333, 4800}) {
    stream.blockSize = size;
    const QACheckOutcome outcome = measureSound("programme-loudness", {}, {stream});
    if (!first) {
      first = outcome;
    }
    EXPECT_EQ(outcome.summary, first->summary);
  }
}

TEST(SoundChanges, OfLayoutAndRateInMidStreamAreMeasuredThrough) {
  // Stereo, then 5.1 with a silent centre, at another rate: 997 Hz all along.
  SoundStream stream = stereo(20, [](int channel, int64_t i) {
    const bool later = i >= 10 * kRate;
    if (later && channel > 1) {
      return 0.0;
    }
    return 0.1 * (later ? sine(997, i - 10 * kRate, 44100.0) : sine(997, i));
  });
  stream.samples = 10 * kRate + 10 * 44100;
  stream.changes = {{.atSample = 10 * kRate,
                     .sampleRate = 44100,
                     .channels = 6,
                     .names = std::vector<std::string>{"FL", "FR", "FC", "LFE", "SL", "SR"}}};
  const QACheckOutcome outcome = measureSound("programme-loudness", {}, {stream});
  const auto& rows = rowsOf(outcome.values, "programmes");
  EXPECT_NEAR(numberOf(rows.at(0), "integratedLufs"), -20.0, 0.05);
  const QACheckOutcome channels = measureSound("channels", {}, {stream});
  const auto changed =
      std::find_if(channels.events.begin(), channels.events.end(),
                   [](const QAEvent& event) { return event.what == "changes to 5.1, 44100 Hz"; });
  ASSERT_NE(changed, channels.events.end());
  EXPECT_NEAR(*changed->startSeconds, 10.0, 1e-9);
  EXPECT_FALSE(changed->breaks);
  for (const QAEvent& event : channels.events) {
    if (event.channel.has_value()) {
      EXPECT_NEAR(*event.startSeconds, 10.0, 1e-6) << event.what << ": not there before";
    }
  }
}

TEST(SoundSamples, WithoutAValueAreTakenAsZeroAndSaid) {
  const QACheckOutcome outcome =
      measureSound("programme-loudness", {}, {stereo(10, [](int channel, int64_t i) {
                     if (channel == 0 && isWithin(i, 1000, 1003)) {
                       return i == 1000   ? std::numeric_limits<double>::quiet_NaN()
                              : i == 1001 ? std::numeric_limits<double>::infinity()
                                          : 1e30;
                     }
                     return 0.1 * sine(997, i);
                   })});
  EXPECT_NE(outcome.summary.find("3 samples without a value"), std::string::npos)
      << outcome.summary;
  EXPECT_EQ(outcome.summary.find("-20"), 0U) << outcome.summary;
}

TEST(SoundChanges, FromAPairToOneChannelLeaveNoTracks) {
  SoundStream stream = stereo(4, [](int, int64_t i) { return 0.1 * sine(997, i); });
  stream.names = {};
  const auto tracksOf = [&] {
    const QACheckOutcome outcome = measureSound("programme-loudness", {}, {stream});
    return findValue(rowsOf(outcome.values, "programmes").at(0), "tracks") != nullptr;
  };
  EXPECT_TRUE(tracksOf());
  stream.changes = {{.atSample = 2 * kRate, .channels = 1}};
  EXPECT_FALSE(tracksOf());
}

TEST(SoundRates, ThatNoSoundHasAreNotMeasured) {
  SoundStream stream = stereo(1, [](int, int64_t i) { return sine(997, i); });
  stream.sampleRate = 2000000000;
  stream.samples = 20000;
  EXPECT_EQ(measureSound("silence", {}, {stream}).reason, "no sound could be decoded");
  stream.sampleRate = 99;
  EXPECT_EQ(measureSound("silence", {}, {stream}).reason, "no sound could be decoded");
  stream.sampleRate = 100;
  EXPECT_EQ(measureSound("silence", {}, {stream}).reason, "");
  stream.sampleRate = 2000;
  EXPECT_EQ(measureSound("programme-loudness", {}, {stream}).reason,
            "2000 Hz: K-weighting cannot be computed below 4000 Hz");
}

TEST(SoundStreams, ThatStartLaterAreHeardWhereTheyStand) {
  // Two tracks of one programme: the second starts half a second later.
  const Noise noise(12 * kRate);
  SoundStream left = stereo(12, [&](int, int64_t i) { return noise(0, i); });
  left.channels = 1;
  left.names = {};
  SoundStream right = left;
  right.samples -= kRate / 2;
  right.startSeconds = 0.5;
  right.value = [&](int, int64_t i) { return noise(0, i + kRate / 2); };
  const QACheckOutcome outcome = measureSound("polarity", {}, {left, right});
  EXPECT_GT(numberOf(outcome.values, "correlation"), 0.95);
}

TEST(SoundStreams, ThatStartLongAfterTheOthersAreHeard) {
  const Noise noise(40 * kRate);
  SoundStream left = stereo(40, [&](int, int64_t i) { return noise(0, i); });
  left.channels = 1;
  left.names = {};
  for (const bool leftIsLate : {false, true}) {
    SoundStream late = left;
    late.startSeconds = 15.0;
    late.samples = 25 * kRate;
    late.value = [&](int, int64_t i) { return noise(0, i + 15 * kRate); };
    const std::vector<SoundStream> both =
        leftIsLate ? std::vector<SoundStream>{late, left} : std::vector<SoundStream>{left, late};
    const QACheckOutcome outcome = measureSound("channels", {{"Programmes", "1+2"}}, both);
    ASSERT_EQ(outcome.events.size(), 1U);
    EXPECT_EQ(outcome.events[0].stream, leftIsLate ? 0 : 1);
    EXPECT_NEAR(*outcome.events[0].startSeconds, 0.0, 1e-9);
    EXPECT_NEAR(*outcome.events[0].endSeconds, 15.0, 0.021);
    // Energy of the half that both have, and none of the other.
    const auto& rows = rowsOf(outcome.values, "programmes");
    EXPECT_NEAR(numberOf(rows.at(0), "correlation"), std::sqrt(25.0 / 40.0), 0.01);
  }
}

TEST(SoundStreams, ThatEndEarlyOrNeverComeAreSilentMeanwhile) {
  const Noise noise(30 * kRate);
  SoundStream left = stereo(30, [&](int, int64_t i) { return noise(0, i); });
  left.channels = 1;
  left.names = {};
  SoundStream right = left;
  for (const int64_t samples : {int64_t{0}, int64_t{5} * kRate}) {
    right.samples = samples;
    const QACheckOutcome outcome = measureSound("channels", {}, {left, right});
    ASSERT_FALSE(outcome.events.empty());
    EXPECT_EQ(outcome.events[0].stream, 1);
    EXPECT_NEAR(*outcome.events[0].startSeconds, static_cast<double>(samples) / kRate, 0.02);
  }
}

TEST(SoundProgrammesSetting, ThatNamesNoStreamIsAReason) {
  const SoundStream stream = stereo(4, [](int, int64_t i) { return sine(997, i); });
  const QACheckOutcome outcome = measureSound("silence", {{"Programmes", "1+7"}}, {stream});
  EXPECT_EQ(outcome.state, QAState::notMeasured);
  EXPECT_EQ(outcome.reason, "Programmes: 1+7: there is no audio stream 7");
}

TEST(SoundOfAStoppedReading, IsNotMeasured) {
  const SoundStream stream = stereo(4, [](int, int64_t i) { return sine(997, i); });
  const QACheckOutcome outcome = measureSound("silence", {}, {stream}, true);
  EXPECT_EQ(outcome.state, QAState::notMeasured);
  EXPECT_EQ(outcome.reason, "stopped before the end of the file");
}

TEST(SoundOfOneSample, IsMeasured) {
  SoundStream stream = stereo(1, [](int, int64_t) { return 0.5; });
  stream.samples = 1;
  for (const QACheck* check : allChecks()) {
    if (check->family == QAFamily::programme && check->needs == QANeeds::sound) {
      EXPECT_NO_THROW(measureSound(check->name, {}, {stream})) << check->name;
    }
  }
}

}  // namespace
