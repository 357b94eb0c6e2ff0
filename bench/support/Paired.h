#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

namespace qatester::bench {

/// What one run produced.
struct Yield {
  std::int64_t items = 0;
  std::int64_t bytes = 0;

  bool operator==(const Yield&) const = default;
};

/// What one run took.
struct Cost {
  double wall = 0.0;  ///< seconds
  double cpu = 0.0;   ///< seconds, of all threads
};

inline double readClock(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

inline double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// Runs `Ours` and `Bare` in turn, so that a machine whose speed drifts slows both. Each is made
/// anew for a run (`Make`), outside the timing, and then drained once; both must yield the same.
///
/// The rates of the table are ours, by wall time; "bare" is the other's rate; "wall" and "cpu" are
/// the medians over the pairs of our time by the other's.
template <typename Ours, typename Bare, typename... Arguments>
void runPairs(benchmark::State& state, const Arguments&... arguments) {
  const auto run = [&]<typename Contender>(Cost& cost) {
    Contender contender(arguments...);
    const double wall = readClock(CLOCK_MONOTONIC);
    const double cpu = readClock(CLOCK_PROCESS_CPUTIME_ID);
    const Yield yield = contender.drain();
    cost = {readClock(CLOCK_MONOTONIC) - wall, readClock(CLOCK_PROCESS_CPUTIME_ID) - cpu};
    return yield;
  };
  Yield total;
  double bareSeconds = 0.0;
  std::vector<double> wallRatios;
  std::vector<double> cpuRatios;
  bool bareFirst = false;
  for (auto _ : state) {
    Cost ours;
    Cost bare;
    Yield bareYield;
    if (bareFirst) {
      bareYield = run.template operator()<Bare>(bare);
    }
    const Yield yield = run.template operator()<Ours>(ours);
    if (!bareFirst) {
      bareYield = run.template operator()<Bare>(bare);
    }
    bareFirst = !bareFirst;
    if (yield.items == 0 || yield != bareYield) {
      state.SkipWithError("the two did not decode the same");
      return;
    }
    total.items += yield.items;
    total.bytes += yield.bytes;
    bareSeconds += bare.wall;
    wallRatios.push_back(ours.wall / bare.wall);
    cpuRatios.push_back(ours.cpu / bare.cpu);
    state.SetIterationTime(ours.wall);
  }
  state.SetItemsProcessed(total.items);
  state.SetBytesProcessed(total.bytes);
  state.counters["bare"] = static_cast<double>(total.items) / bareSeconds;
  state.counters["wall"] = median(wallRatios);
  state.counters["cpu"] = median(cpuRatios);
}

}  // namespace qatester::bench
