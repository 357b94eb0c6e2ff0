// What the audio checks do with blocks, beside the forms that say it most plainly: a logarithm a
// value for levels, a comparison a pair of values for mono, a step in double precision a pair for
// the phase, and one stage after the other for K-weighting, which libebur128 is measured beside as
// well. `per_value` is the time for one value of one channel, `per_pair` for two values compared.

#include <benchmark/benchmark.h>
#include <ebur128.h>

#include <cmath>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "checks/audio/KWeightedEnergy.h"
#include "checks/audio/LagSearch.h"
#include "checks/audio/Levels.h"
#include "checks/audio/SampleMatches.h"
#include "media/SampleValues.h"

namespace {

using benchmark::Counter;

void report(benchmark::State& state, const char* what, double count) {
  state.counters[what] = Counter(count, Counter::kIsIterationInvariantRate | Counter::kInvert);
}

/// A block of noise near full scale. Another seed gives an unrelated one.
template <typename T>
class Noise {
 public:
  explicit Noise(int64_t count, unsigned seed = 1) : values_(static_cast<std::size_t>(count)) {
    std::mt19937 random(seed);
    const double most = std::ldexp(1.0, 8 * sizeof(T) - 1) - 1.0;
    std::uniform_real_distribution<double> any(-most, most);
    for (T& value : values_) {
      value = static_cast<T>(any(random));
    }
  }

  std::vector<T>& values() { return values_; }

  OxAudioSample block() {
    OxAudioSample block;
    block.buffer = reinterpret_cast<uint8_t*>(values_.data());
    block.sampleFormat = sizeof(T) == 2 ? AV_SAMPLE_FMT_S16 : AV_SAMPLE_FMT_S32;
    block.bytesPerSample = sizeof(T);
    block.numberOfSamples = static_cast<int>(values_.size());
    return block;
  }

 private:
  std::vector<T> values_;
};

// Levels

template <typename T>
void levelsPlain(benchmark::State& state) {
  Noise<T> noise(state.range(0));
  const OxAudioSample block = noise.block();
  QA_ChannelLevel entry;
  for (auto _ : state) {
    entry.dynamicRange = getDynamicRange(static_cast<AVSampleFormat>(block.sampleFormat));
    for (int i = 0; i < block.numberOfSamples; ++i) {
      const float magnitude = getRealAudioValue(block, i);
      if (magnitude != 0.0F) {
        const float level = 20.0F * std::log10(magnitude) - entry.dynamicRange;
        entry.maxLevel = i == 0 ? level : std::max(level, entry.maxLevel);
        entry.minLevel = i == 0 ? level : std::min(level, entry.minLevel);
      }
    }
    benchmark::DoNotOptimize(entry);
  }
  report(state, "per_value", static_cast<double>(state.range(0)));
}

template <typename T>
void levels(benchmark::State& state) {
  Noise<T> noise(state.range(0));
  QA_ChannelLevel entry;
  for (auto _ : state) {
    qatester::measureLevels(noise.block(), entry);
    benchmark::DoNotOptimize(entry);
  }
  report(state, "per_value", static_cast<double>(state.range(0)));
}

BENCHMARK(levelsPlain<int16_t>)->Arg(1024);
BENCHMARK(levels<int16_t>)->Arg(1024);
BENCHMARK(levelsPlain<int32_t>)->Arg(1024);
BENCHMARK(levels<int32_t>)->Arg(1024);

// Mono: three comparisons for each value

template <typename T>
void mono(benchmark::State& state,
          qatester::Matches (*count)(const OxAudioSample&, const OxAudioSample&, float)) {
  Noise<T> first(state.range(0), 1);
  Noise<T> second(state.range(0), 2);
  for (auto _ : state) {
    benchmark::DoNotOptimize(count(first.block(), second.block(), 0.01F));
  }
  report(state, "per_value", static_cast<double>(state.range(0)));
}

void monoPlain16(benchmark::State& state) {
  mono<int16_t>(state, qatester::countMatchesOneByOne);
}
void mono16(benchmark::State& state) {
  mono<int16_t>(state, qatester::countMatches);
}
void monoPlain32(benchmark::State& state) {
  mono<int32_t>(state, qatester::countMatchesOneByOne);
}
void mono32(benchmark::State& state) {
  mono<int32_t>(state, qatester::countMatches);
}

BENCHMARK(monoPlain16)->Arg(1024);
BENCHMARK(mono16)->Arg(1024);
BENCHMARK(monoPlain32)->Arg(1024);
BENCHMARK(mono32)->Arg(1024);

// Phase: a number of values, and the lag of the second channel in samples (-1: it is another noise)

template <typename T>
double scaledDifference(T a, T b) {
  const auto difference = static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
  return std::abs(difference) * (sizeof(T) == 2 ? 3.0517578125e-5 : 4.656612873077393e-10) * 256.0;
}

template <typename T>
qatester::BestLag searchPlainly(const std::vector<T>& first, const std::vector<T>& second,
                                qatester::BestLag best) {
  const auto count = static_cast<int>(first.size());
  for (int lag = 0; lag < count / 2; ++lag) {
    const int pairs = count - lag;
    int forward = 0;
    int backward = 0;
    for (int i = 0; i < pairs; ++i) {
      forward =
          static_cast<int>(forward + scaledDifference(first.data()[i + lag], second.data()[i]));
      backward =
          static_cast<int>(backward + scaledDifference(first.data()[i], second.data()[i + lag]));
    }
    const int score = std::min(forward / pairs, backward / pairs);
    if (score < best.score) {
      best = {score, lag};
    }
    if (lag == 0) {
      best.score = count;
    }
  }
  return best;
}

template <typename T, typename Search>
void phase(benchmark::State& state, Search search) {
  const int64_t count = state.range(0);
  Noise<T> first(count, 1);
  Noise<T> second(count, 2);
  if (const int64_t lag = state.range(1); lag >= 0) {
    std::copy_n(first.values().begin(), count - lag, second.values().begin() + lag);
  }
  qatester::BestLag best;
  for (auto _ : state) {
    best = search(first, second, best);
    benchmark::DoNotOptimize(best);
  }
  double pairs = 0.0;
  for (int64_t lag = 0; lag < count / 2; ++lag) {
    pairs += 2.0 * static_cast<double>(count - lag);
  }
  report(state, "per_pair", pairs);
}

template <typename T>
void phasePlain(benchmark::State& state) {
  phase<T>(state, [](Noise<T>& first, Noise<T>& second, qatester::BestLag best) {
    return searchPlainly(first.values(), second.values(), best);
  });
}

template <typename T>
void phase(benchmark::State& state) {
  phase<T>(state, [](Noise<T>& first, Noise<T>& second, qatester::BestLag best) {
    return qatester::searchLags(first.block(), second.block(), best);
  });
}

#define PHASE_ARGUMENTS  \
  Args({1024, -1})       \
      ->Args({1152, -1}) \
      ->Args({1920, -1}) \
      ->Args({4096, -1}) \
      ->Unit(benchmark::kMicrosecond)
#define RELATED_ARGUMENTS Args({1024, 1})->Args({1024, 100})->Args({4096, 1})->Args({4096, 100})

BENCHMARK(phasePlain<int16_t>)->PHASE_ARGUMENTS;
BENCHMARK(phase<int16_t>)->PHASE_ARGUMENTS->RELATED_ARGUMENTS;
BENCHMARK(phasePlain<int32_t>)->PHASE_ARGUMENTS;
BENCHMARK(phase<int32_t>)->PHASE_ARGUMENTS->RELATED_ARGUMENTS;

// K-weighting: so many blocks of 1024 values

double weighPlainly(const OxAudioSample& block) {
  const auto count = static_cast<std::size_t>(block.numberOfSamples);
  std::vector<double> x(count);
  std::vector<double> y(count);
  std::vector<double> z(count);
  for (std::size_t i = 0; i < count; ++i) {
    x[i] = getAudioValue(block, static_cast<int>(i));
  }
  long double energy = 0.0L;
  for (std::size_t i = 2; i < count; ++i) {
    y[i] = 1.53512485958697 * x[i] - 2.69169618940638 * x[i - 1] + 1.19839281085285 * x[i - 2] +
           1.69065929318241 * y[i - 1] - 0.73248077421585 * y[i - 2];
  }
  for (std::size_t i = 2; i < count; ++i) {
    z[i] = y[i] - 2.0 * y[i - 1] + y[i - 2] + 1.99004745483398 * z[i - 1] -
           0.99007225036621 * z[i - 2];
    energy += static_cast<long double>(z[i] * z[i]);
  }
  return static_cast<double>(energy);
}

constexpr int64_t kWeighedValues = 1024;

template <typename T>
void weighPlain(benchmark::State& state) {
  Noise<T> noise(kWeighedValues);
  for (auto _ : state) {
    benchmark::DoNotOptimize(weighPlainly(noise.block()));
  }
  report(state, "per_value", kWeighedValues);
}

template <typename T>
void weigh(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  std::vector<Noise<T>> noises;
  for (unsigned i = 0; i < count; ++i) {
    noises.emplace_back(kWeighedValues, i);
  }
  std::vector<OxAudioSample> blocks;
  for (Noise<T>& noise : noises) {
    blocks.push_back(noise.block());
  }
  std::vector<const OxAudioSample*> pointers;
  for (const OxAudioSample& block : blocks) {
    pointers.push_back(&block);
  }
  std::vector<double> energies(count);
  for (auto _ : state) {
    qatester::weighBlocks(pointers.data(), static_cast<int>(count), energies.data());
    benchmark::DoNotOptimize(energies.data());
  }
  report(state, "per_value", static_cast<double>(state.range(0) * kWeighedValues));
}

int addFrames(ebur128_state* meter, const std::vector<int16_t>& values, std::size_t instants) {
  return ebur128_add_frames_short(meter, values.data(), instants);
}
int addFrames(ebur128_state* meter, const std::vector<int32_t>& values, std::size_t instants) {
  return ebur128_add_frames_int(meter, values.data(), instants);
}

/// Stereo; `mode` as libebur128 names it.
template <typename T, int mode>
void libebur128(benchmark::State& state) {
  Noise<T> noise(2 * kWeighedValues);
  ebur128_state* meter = ebur128_init(2, 48000, mode);
  for (auto _ : state) {
    benchmark::DoNotOptimize(addFrames(meter, noise.values(), kWeighedValues));
  }
  ebur128_destroy(&meter);
  report(state, "per_value", 2 * kWeighedValues);
}

BENCHMARK(weighPlain<int16_t>);
BENCHMARK(weigh<int16_t>)->Arg(1)->Arg(2)->Arg(8);
BENCHMARK(libebur128<int16_t, EBUR128_MODE_I>);
BENCHMARK(libebur128<int16_t, EBUR128_MODE_M>);
BENCHMARK(weighPlain<int32_t>);
BENCHMARK(weigh<int32_t>)->Arg(1)->Arg(2)->Arg(8);
BENCHMARK(libebur128<int32_t, EBUR128_MODE_I>);

}  // namespace
