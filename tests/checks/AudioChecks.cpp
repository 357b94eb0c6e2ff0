#include "checks/AudioChecks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "media/OxWrap.h"

extern "C" {
#include <libavutil/samplefmt.h>
}

namespace qatest {

namespace {

std::vector<double> levelsAsNumbers(QATester& tester) {
  const LevelsRecord record(tester.checkAudioLevels());
  std::vector<double> numbers;
  for (uint32_t i = 0; record != nullptr && i < record->count; ++i) {
    const QA_ChannelLevel& level = record->levels[i];
    const double passed = level.passed ? 1.0 : 0.0;
    numbers.insert(numbers.end(), {level.dynamicRange, level.maxLevel, level.minLevel, passed});
  }
  return numbers;
}

std::vector<double> loudnessAsNumbers(QATester& tester) {
  const QA_Loudness result = tester.checkITUR1770Loudness();
  return {result.loudness, result.passed ? 1.0 : 0.0};
}

std::vector<double> monoAsNumbers(QATester& tester) {
  return {tester.checkMono() ? 1.0 : 0.0};
}

std::vector<double> phaseAsNumbers(QATester& tester) {
  return {tester.checkAudioPhase() ? 1.0 : 0.0};
}

// Values, by format.

template <typename T>
void appendValues(std::vector<int32_t>& values, const OxAudioSample& sample) {
  for (int i = 0; i < sample.numberOfSamples; ++i) {
    T value{};
    std::memcpy(&value, sample.buffer + static_cast<std::size_t>(i) * sizeof value, sizeof value);
    values.push_back(value);
  }
}

SoundBlock blockOf(const OxAudioSample& sample, int channels) {
  SoundBlock block{sample.sampleFormat, channels, {}};
  switch (sample.sampleFormat) {
    case AV_SAMPLE_FMT_U8:
      appendValues<uint8_t>(block.values, sample);
      break;
    case AV_SAMPLE_FMT_S16:
      appendValues<int16_t>(block.values, sample);
      break;
    case AV_SAMPLE_FMT_S32:
      appendValues<int32_t>(block.values, sample);
      break;
    default:
      block.values.assign(static_cast<std::size_t>(sample.numberOfSamples), 0);
  }
  return block;
}

int countOf(const SoundBlock& block) {
  return static_cast<int>(block.values.size());
}

int32_t valueOf(const SoundBlock& block, int index) {
  const int32_t stored = block.values[static_cast<std::size_t>(index)];
  return block.format == AV_SAMPLE_FMT_U8 && stored >= 128 ? stored - 255 : stored;
}

/// As a fraction of full scale, in single precision.
double fractionOf(const SoundBlock& block, int index) {
  const auto value = static_cast<float>(valueOf(block, index));
  switch (block.format) {
    case AV_SAMPLE_FMT_U8:
      return value * 0.0078125F;
    case AV_SAMPLE_FMT_S16:
      return value * 3.0517578e-5F;
    case AV_SAMPLE_FMT_S32:
      return value * 4.656613e-10F;
    default:
      return 0.0;
  }
}

float dynamicRangeOf(int format) {
  switch (format) {
    case AV_SAMPLE_FMT_U8:
      return 43.9052F;
    case AV_SAMPLE_FMT_S16:
      return 98.0906F;
    case AV_SAMPLE_FMT_S32:
      return 194.4202F;
    default:
      return 0.0F;
  }
}

/// Empty where there is no such channel.
SoundBlock channelOf(const SoundBlock& block, int channel) {
  SoundBlock result{block.format, 1, {}};
  const int instants = channel < block.channels ? countOf(block) / block.channels : 0;
  for (int i = 0; i < instants; ++i) {
    const int index = i * block.channels + channel;
    result.values.push_back(block.values[static_cast<std::size_t>(index)]);
  }
  return result;
}

/// Takes the blocks of a sound's streams one by one.
class Reader {
 public:
  explicit Reader(const Sound& sound) : sound_(sound), next_(sound.size(), 0) {}

  /// An empty one at the end of the stream.
  SoundBlock take(std::size_t stream) {
    const std::vector<SoundBlock>& blocks = sound_[stream].blocks;
    return next_[stream] < blocks.size() ? blocks[next_[stream]++] : SoundBlock{};
  }

  /// Drops a block of each of the first `streams` at a time. Returns the count of the last one; 0
  /// when there was none to drop, also because the sound ended.
  int dropSlate(std::size_t streams, int64_t slate) {
    int last = 0;
    while (slate > 0) {
      for (std::size_t stream = 0; stream < streams; ++stream) {
        last = countOf(take(stream));
      }
      if (last == 0) {
        ended_ = true;
        return 0;
      }
      slate -= last;
    }
    return last;
  }

  /// Drops blocks of the first `streams` up to the first whose first value is not silent.
  void dropSilence(std::size_t streams) {
    for (;;) {
      bool any = false;
      for (std::size_t stream = 0; stream < streams; ++stream) {
        const SoundBlock block = take(stream);
        if (!block.values.empty() && fractionOf(block, 0) != 0.0) {
          return;
        }
        any = any || !block.values.empty();
      }
      if (!any) {
        ended_ = true;
        return;
      }
    }
  }

  /// Nothing is left behind what was dropped.
  bool ended() const { return ended_; }

 private:
  const Sound& sound_;
  std::vector<std::size_t> next_;
  bool ended_ = false;
};

int64_t totalOf(const Sound& sound) {
  return static_cast<int64_t>(sound[0].seconds) * sound[0].rate;
}

int64_t slateOf(const Sound& sound, const Terms& terms) {
  return static_cast<int64_t>(terms.slateSeconds) * sound[0].rate;
}

bool isSupported(const Sound& sound) {
  return sound.size() == 1 || sound.size() == 3 || sound.size() == 4 || sound.size() == 8;
}

bool hasStreamsOfOneChannel(const Sound& sound) {
  return sound.size() == 4 || sound.size() == 8;
}

void measureLevels(const SoundBlock& block, QA_ChannelLevel& entry) {
  entry.dynamicRange = dynamicRangeOf(block.format);
  for (int i = 0; i < countOf(block); ++i) {
    const int32_t value = valueOf(block, i);
    if (value == 0) {
      continue;
    }
    // The smallest 32-bit value has no magnitude in 32 bits, so it has no level.
    const bool fits = value != std::numeric_limits<int32_t>::min();
    const auto magnitude = static_cast<float>(fits ? std::abs(value) : value);
    const float level = 20.0F * std::log10(magnitude) - entry.dynamicRange;
    entry.maxLevel = i == 0 ? level : std::fmax(level, entry.maxLevel);
    entry.minLevel = i == 0 ? level : std::fmin(level, entry.minLevel);
  }
}

/// The sum of the squares of what both filters leave.
double filtered(const SoundBlock& block) {
  const auto count = static_cast<std::size_t>(countOf(block));
  // The two places in front are the rest from which the filters start.
  std::vector<double> x(count + 2, 0.0);
  std::vector<double> y(count + 2, 0.0);
  std::vector<double> z(count + 2, 0.0);
  long double sum = 0.0L;
  for (std::size_t i = 2; i < count + 2; ++i) {
    x[i] = fractionOf(block, static_cast<int>(i - 2));
    y[i] = 1.53512485958697 * x[i] + -2.69169618940638 * x[i - 1] + 1.19839281085285 * x[i - 2] -
           -1.69065929318241 * y[i - 1] - 0.73248077421585 * y[i - 2];
    z[i] = y[i] - 2.0 * y[i - 1] + y[i - 2] - -1.99004745483398 * z[i - 1] -
           0.99007225036621 * z[i - 2];
    const double square = z[i] * z[i];
    sum += static_cast<long double>(square);
  }
  return static_cast<double>(sum);
}

/// Calls `compare` for each pair of blocks with as many values; returns how many there were.
template <typename Compare>
int comparePairs(const Sound& sound, Reader& reader, int64_t cycles, Compare compare) {
  int compared = 0;
  for (int64_t cycle = 0; cycle < cycles && !reader.ended(); ++cycle) {
    const SoundBlock block = reader.take(0);
    const bool two = hasStreamsOfOneChannel(sound);
    const SoundBlock first = two ? block : channelOf(block, 0);
    const SoundBlock second = two ? reader.take(1) : channelOf(block, 1);
    if (first.values.empty() || second.values.empty()) {
      break;
    }
    if (first.values.size() == second.values.size()) {
      compare(first, second);
      ++compared;
    }
  }
  return compared;
}

bool match(int32_t a, int32_t b, float values, float tolerance) {
  if (a == 0 && b == 0) {
    return true;
  }
  const float width = values * tolerance;
  return static_cast<float>(a) > static_cast<float>(b) - width &&
         static_cast<float>(b) + width > static_cast<float>(a);
}

/// How many values of `second` match that of `first` so many instants later.
int64_t matchesAt(const SoundBlock& first, const SoundBlock& second, int later, float tolerance) {
  int64_t matches = 0;
  for (int i = 1; i <= countOf(first) - 2; ++i) {
    const int32_t a = first.values[static_cast<std::size_t>(i + later)];
    const int32_t b = second.values[static_cast<std::size_t>(i)];
    switch (first.format) {
      case AV_SAMPLE_FMT_U8:
        matches += match(a, b, 256.0F, 0.0F) ? 1 : 0;
        break;
      case AV_SAMPLE_FMT_S16:
        matches += match(a, b, 65536.0F, tolerance) ? 1 : 0;
        break;
      case AV_SAMPLE_FMT_S32:
        matches += match(a, b, 4294967296.0F, tolerance) ? 1 : 0;
        break;
      default:
        break;
    }
  }
  return matches;
}

/// `sum` with the difference between two values added.
int addDifference(int format, int sum, int32_t a, int32_t b) {
  // In 32 bits, which wrap.
  const auto difference = static_cast<int32_t>(static_cast<int64_t>(a) - b);
  const double magnitude = difference == std::numeric_limits<int32_t>::min()
                               ? static_cast<double>(difference)
                               : std::abs(difference);
  switch (format) {
    case AV_SAMPLE_FMT_U8:
      return sum + std::abs(a - b);
    case AV_SAMPLE_FMT_S16:
      return static_cast<int>(sum + magnitude * 3.0517578125e-5 * 256.0);
    case AV_SAMPLE_FMT_S32:
      return static_cast<int>(sum + magnitude * 4.656612873077393e-10 * 256.0);
    default:
      return sum;
  }
}

}  // namespace

LevelsRecord checkLevels(LoggedTester& tester) {
  return tester.run([](QATester& t) { return LevelsRecord(t.checkAudioLevels()); });
}

QA_Loudness checkLoudness(LoggedTester& tester) {
  return tester.run([](QATester& t) { return t.checkITUR1770Loudness(); });
}

bool checkMono(LoggedTester& tester) {
  return tester.run([](QATester& t) { return t.checkMono(); });
}

bool checkPhase(LoggedTester& tester) {
  return tester.run([](QATester& t) { return t.checkAudioPhase(); });
}

const std::vector<AudioCheck>& audioChecks() {
  static const std::vector<AudioCheck> checks = {
      {"QALevels", "levels", "LevelFrameChecks", levelsAsNumbers, {}},
      {"QALoudness", "loudness", "LoudnessFrameChecks", loudnessAsNumbers, {0.0, 0.0}},
      {"QAMono", "mono", "MonoFrameChecks", monoAsNumbers, {0.0}},
      {"QAPhase", "phase", "PhaseFrameChecks", phaseAsNumbers, {0.0}},
  };
  return checks;
}

std::vector<double> run(const AudioCheck& check, LoggedTester& tester) {
  return tester.run([&check](QATester& t) { return check.run(t); });
}

std::string quick(const AudioCheck& check, int budget, int slateSeconds) {
  return std::string(check.budgetKey) + "=" + std::to_string(budget) +
         "\nQATesterSlateSeconds=" + std::to_string(slateSeconds) + "\n";
}

std::vector<float> percentsOf(int budget) {
  std::vector<float> percents;
  float last = 0.0F;
  for (int i = 0; i < budget; ++i) {
    const float percent = std::trunc(static_cast<float>(i) / static_cast<float>(budget) * 100.0F);
    if (percent != last) {
      percents.push_back(percent);
      last = percent;
    }
  }
  return percents;
}

SampleFunction bytes(CodeFunction byte) {
  return codes(
      [byte = std::move(byte)](int channel, int64_t index) { return byte(channel, index) - 128; },
      8);
}

int64_t noise(int seed, int64_t index, int bits) {
  uint64_t word = static_cast<uint64_t>(index) * 0x9E3779B97F4A7C15U +
                  static_cast<uint64_t>(seed) * 0xD1B54A32D192ED03U;
  word = (word ^ (word >> 30)) * 0xBF58476D1CE4E5B9U;
  word = (word ^ (word >> 27)) * 0x94D049BB133111EBU;
  word ^= word >> 31;
  return static_cast<int64_t>(word >> (64 - bits)) - (int64_t{1} << (bits - 1));
}

PacketEdit cutLaterPackets(int instants, int bytes) {
  return [=](AVPacket& packet, int index) {
    if (index > 0) {
      av_shrink_packet(&packet, instants * bytes);
    }
  };
}

Sound soundOf(const std::string& file) {
  Sound sound;
  const OxWrapOptions untilReadyOptions{QAPauses::untilReady, {}};
  const unsigned streams = OxWrap(file, untilReadyOptions).getNumberOfAudioStreams();
  for (unsigned i = 0; i < streams; ++i) {
    OxWrap wrap(file, untilReadyOptions);
    OxAudioStream& source = *wrap.getAudioStream(static_cast<unsigned short>(i));
    SoundStream stream{source.getNumberOfChannels(), source.sampleRate, source.durationSeconds, {}};
    wrap.bufferOnly({source.streamIndex});
    wrap.startBuffering();
    for (;;) {
      const OxAudioSample sample = source.getNextSample();
      if (sample.numberOfSamples <= 0) {
        break;
      }
      stream.blocks.push_back(blockOf(sample, source.getNumberOfChannels()));
      wrap.freeSample(sample);
    }
    wrap.stopBuffering();
    sound.push_back(std::move(stream));
  }
  return sound;
}

std::vector<QA_ChannelLevel> expectedLevels(const Sound& sound, const Terms& terms) {
  std::vector<QA_ChannelLevel> entries;
  if (sound.empty()) {
    return entries;
  }
  const auto channels = static_cast<std::size_t>(sound[0].channels);
  entries.resize(sound.size() * channels);
  for (std::size_t i = 0; i < entries.size(); ++i) {
    entries[i].audioStreamNumber = static_cast<uint32_t>(i / channels);
    entries[i].channelNumber = static_cast<uint32_t>(i % channels);
  }
  Reader reader(sound);
  if (totalOf(sound) > slateOf(sound, terms)) {
    reader.dropSlate(sound.size(), slateOf(sound, terms));
  }
  const int64_t cycles = std::min<int64_t>(terms.cycles, totalOf(sound) - slateOf(sound, terms));
  bool stop = reader.ended();
  for (int64_t cycle = 0; cycle < cycles && !stop; ++cycle) {
    for (std::size_t stream = 0; stream < sound.size() && !stop; ++stream) {
      const SoundBlock block = reader.take(stream);
      if (block.values.empty()) {
        stop = true;
      } else if (block.channels < 2) {
        measureLevels(block, entries[stream]);
      } else {
        for (int channel = 0; channel < block.channels; ++channel) {
          const std::size_t entry = stream * channels + static_cast<std::size_t>(channel);
          if (entry < entries.size()) {
            measureLevels(channelOf(block, channel), entries[entry]);
          }
        }
      }
    }
  }
  for (QA_ChannelLevel& entry : entries) {
    entry.passed = 0.0F > entry.maxLevel && entry.maxLevel > -100.0F;
  }
  return entries;
}

double expectedLoudness(const Sound& sound, const Terms& terms) {
  if (!isSupported(sound)) {
    return 0.0;
  }
  const bool two = hasStreamsOfOneChannel(sound);
  const std::size_t streams = two ? 2 : 1;
  Reader reader(sound);
  if (totalOf(sound) > slateOf(sound, terms)) {
    reader.dropSlate(streams, slateOf(sound, terms));
    if (!reader.ended()) {
      reader.dropSilence(streams);
    }
  }
  // Left and right, which have the same weight.
  std::array<std::vector<double>, 2> energies;
  std::array<int, 2> counts{};
  bool stop = reader.ended();
  for (int cycle = 0; cycle < terms.cycles && !stop; ++cycle) {
    for (std::size_t stream = 0; stream < streams && !stop; ++stream) {
      const SoundBlock block = reader.take(stream);
      stop = block.values.empty();
      for (std::size_t position = 0; position < 2 && !stop; ++position) {
        if (two && position != stream) {
          continue;
        }
        const SoundBlock one = two ? block : channelOf(block, static_cast<int>(position));
        energies[position].push_back(filtered(one));
        counts[position] += countOf(one);
      }
    }
  }
  double sum = 0.0;
  for (std::size_t position = 0; position < 2; ++position) {
    double energy = 0.0;
    for (const double one : energies[position]) {
      energy =
          static_cast<double>(static_cast<long double>(energy) + static_cast<long double>(one));
    }
    if (energy > 0.0) {
      sum += energy / counts[position];
    }
  }
  return 10.0 * std::log10(sum) - 0.691;
}

ExpectedMono expectedMono(const Sound& sound, const Terms& terms, float tolerance,
                          float threshold) {
  ExpectedMono expected;
  if (!isSupported(sound)) {
    return expected;
  }
  Reader reader(sound);
  const int64_t total = totalOf(sound);
  const int64_t slate = slateOf(sound, terms);
  int64_t cycles = terms.cycles;
  if (total > slate) {
    const int last = reader.dropSlate(hasStreamsOfOneChannel(sound) ? 2 : 1, slate);
    if (last > 0) {
      cycles = std::min(cycles, (total - slate) / last);
    }
  }
  const auto compare = [&](const SoundBlock& first, const SoundBlock& second) {
    const int64_t previous = matchesAt(first, second, -1, tolerance);
    const int64_t same = matchesAt(first, second, 0, tolerance);
    const int64_t next = matchesAt(first, second, 1, tolerance);
    int64_t best = previous;
    if (same > previous) {
      best = same >= next ? same : next;
    }
    if (static_cast<float>(best) >= static_cast<float>(countOf(first)) * threshold) {
      ++expected.matching;
    }
  };
  expected.compared = comparePairs(sound, reader, cycles, compare);
  expected.passed =
      threshold > static_cast<float>(expected.matching) / static_cast<float>(expected.compared);
  return expected;
}

ExpectedPhase expectedPhase(const Sound& sound, const Terms& terms, int threshold) {
  ExpectedPhase expected;
  if (!isSupported(sound)) {
    return expected;
  }
  Reader reader(sound);
  const int64_t total = totalOf(sound);
  const int64_t slate = slateOf(sound, terms);
  if (total > slate) {
    reader.dropSlate(hasStreamsOfOneChannel(sound) ? 2 : 1, slate);
  }
  int64_t bestScore = 0;
  int bestLag = 0;
  int sum = 0;
  const auto compare = [&](const SoundBlock& first, const SoundBlock& second) {
    const int count = countOf(first);
    for (int lag = 0; lag < count / 2; ++lag) {
      const int pairs = count - lag;
      int forward = 0;
      int backward = 0;
      for (int i = 0; i < pairs; ++i) {
        forward = addDifference(first.format, forward, valueOf(first, i + lag), valueOf(second, i));
        backward =
            addDifference(first.format, backward, valueOf(first, i), valueOf(second, i + lag));
      }
      const int64_t score = std::min(forward / pairs, backward / pairs);
      if (score < bestScore) {
        bestScore = score;
        bestLag = lag;
      }
      if (lag == 0) {
        bestScore = count;
      }
    }
    sum += bestLag;
  };
  expected.compared =
      comparePairs(sound, reader, std::min<int64_t>(terms.cycles, total - slate), compare);
  expected.meanLag = static_cast<float>(sum) / static_cast<float>(expected.compared);
  expected.passed = static_cast<float>(threshold) > expected.meanLag;
  return expected;
}

float levelOf(int64_t magnitude, float dynamicRange) {
  return 20.0F * std::log10(static_cast<float>(magnitude)) - dynamicRange;
}

void expectSameLevels(const QA_AudioLevels& record, const std::vector<QA_ChannelLevel>& expected) {
  ASSERT_EQ(record.count, expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const QA_ChannelLevel& level = record.levels[i];
    EXPECT_EQ(level.dynamicRange, expected[i].dynamicRange) << i;
    EXPECT_EQ(level.maxLevel, expected[i].maxLevel) << i;
    EXPECT_EQ(level.minLevel, expected[i].minLevel) << i;
    EXPECT_EQ(level.audioStreamNumber, expected[i].audioStreamNumber) << i;
    EXPECT_EQ(level.channelNumber, expected[i].channelNumber) << i;
    EXPECT_EQ(level.passed, expected[i].passed) << i;
  }
}

void expectTheDefinitionToHold(const std::string& file) {
  SCOPED_TRACE(file);
  const Sound sound = soundOf(file);
  LoggedTester tester(file, stored(),
                      "QATesterSlateSeconds=1\nLevelFrameChecks=10\nLoudnessFrameChecks=3\n"
                      "MonoFrameChecks=10\nPhaseFrameChecks=3\n");
  const LevelsRecord record = checkLevels(tester);
  ASSERT_EQ(record == nullptr, sound.empty());
  if (record != nullptr) {
    expectSameLevels(*record, expectedLevels(sound, {.cycles = 10, .slateSeconds = 1}));
  }
  EXPECT_EQ(checkLoudness(tester).loudness,
            expectedLoudness(sound, {.cycles = 3, .slateSeconds = 1}));
  const ExpectedMono mono = expectedMono(sound, {.cycles = 10, .slateSeconds = 1});
  EXPECT_EQ(checkMono(tester), mono.passed);
  const ExpectedPhase phase = expectedPhase(sound, {.cycles = 3, .slateSeconds = 1});
  EXPECT_EQ(checkPhase(tester), phase.passed);
  if (mono.compared > 0) {
    EXPECT_EQ(numberOf(tester.outcomes.at(2), "matchingBlocks"), mono.matching);
  }
  if (phase.compared > 0) {
    EXPECT_EQ(numberOf(tester.outcomes.at(3), "meanLag"), static_cast<double>(phase.meanLag));
  }
}

}  // namespace qatest
