#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "checks/CheckList.h"
#include "checks/sound/SoundMeasurement.h"
#include "tester/SettingRows.h"
#include "tester/Words.h"

namespace qatester {

namespace {

constexpr QASetting kSettings[] = {
    {"SilenceLevel", "-60.0", QASetting::Kind::real, -200.0, 0.0, "dBFS",
     "sample magnitude up to which sound is silence"},
    {"SilenceSeconds", "2.0", QASetting::Kind::real, 0.1, QASetting::kNoLimit, "s",
     "silence that is shorter is a pause"},
    {"SilenceEdgeSeconds", "10.0", QASetting::Kind::real, 0.0, QASetting::kNoLimit, "s",
     "silence up to so long at the start or the end breaks nothing"},
};

constexpr CheckProfile kProfile{.name = "silence", .tag = "QASilence"};
constexpr const char* kFigures[] = {"longestSeconds"};

struct SilenceDemands {
  double level = -60.0;
  double seconds = 2.0;
  double edgeSeconds = 10.0;
};

class SilenceMeasurement final : public SoundMeasurement {
 public:
  explicit SilenceMeasurement(const SilenceDemands& demands)
      : demands_(demands), level_(static_cast<float>(amplitudeOf(demands.level))) {}

  using SoundMeasurement::take;
  void take(const SoundCell& cell) override {
    State& state = states_[cell.programme];
    const std::vector<SoundChannel>& channels = programmes()[cell.programme].channels;
    if (cell.samples == 0) {
      return;
    }
    float peak = 0.0F;
    for (std::size_t i = 0; i < cell.channels.size(); ++i) {
      peak = isHeard(channels[i]) ? std::max(peak, cell.channels[i].peak()) : peak;
    }
    if (peak <= level_) {
      if (!state.quiet) {
        state.quiet = true;
        state.peak = state.tailPeak;
        state.startSeconds = cell.seconds(state.afterLoud);
      }
      state.peak = std::max(state.peak, peak);
      return;
    }
    int first = cell.samples;
    int last = -1;
    for (std::size_t i = 0; i < cell.channels.size(); ++i) {
      if (isHeard(channels[i])) {
        widen(cell.channels[i].samples, cell.samples, first, last);
      }
    }
    if (state.quiet) {
      state.peak = std::max(state.peak, peakOf(cell, channels, 0, first));
      close(cell.programme, cell.seconds(cell.firstSample + first), false);
    }
    state.afterLoud = cell.firstSample + last + 1;
    state.tailPeak = peakOf(cell, channels, last + 1, cell.samples);
    state.everLoud = true;
  }

  void describe(QACheckOutcome& outcome) const override {
    const auto isSilent = [&](std::size_t i) {
      return !states_[i].everLoud && ends()[i].samples > 0;
    };
    std::size_t silent = 0;
    std::size_t heard = 0;
    for (std::size_t i = 0; i < states_.size(); ++i) {
      silent += isSilent(i) ? 1U : 0U;
      heard += ends()[i].samples > 0 && !isSilent(i) ? 1U : 0U;
    }
    double longest = 0.0;
    for (std::size_t i = 0; i < states_.size(); ++i) {
      for (QAEvent event : states_[i].events) {
        const double length = *event.endSeconds - *event.startSeconds;
        if (isSilent(i)) {
          event.what =
              prefixOf(i) + (heard > 0 ? "silent throughout: unused" : "silent throughout");
          event.breaks = heard == 0;
        }
        longest = event.breaks ? std::max(longest, length) : longest;
        outcome.broken = outcome.broken || event.breaks;
        outcome.events.push_back(std::move(event));
      }
    }
    const auto breaking = std::count_if(outcome.events.begin(), outcome.events.end(),
                                        [](const QAEvent& event) { return event.breaks; });
    outcome.values = {{"spans", static_cast<int64_t>(outcome.events.size()), ""},
                      {"longestSeconds", longest, "s"},
                      {"silentProgrammes", static_cast<int64_t>(silent), ""}};
    outcome.limits = {{.of = "longestSeconds", .max = demands_.seconds, .unit = "s"}};
    if (heard == 0) {
      outcome.summary = "all sound is silent";
    } else if (breaking > 0) {
      outcome.summary = counted(static_cast<double>(breaking), "span") + " of silence, longest " +
                        quantity(longest, kSeconds);
    } else if (outcome.events.size() > silent) {
      outcome.summary = "none but at the edges";
    } else {
      outcome.summary = "none of " + plain(demands_.seconds) + " s";
    }
    if (silent > 0 && heard > 0) {
      outcome.summary += ", " + counted(static_cast<double>(silent), "programme") + " unused";
    }
  }

 private:
  struct State {
    bool quiet = false;
    bool everLoud = false;
    int64_t afterLoud = 0;  ///< the sample after the last loud one
    float tailPeak = 0.0F;  ///< of the samples since
    float peak = 0.0F;      ///< of the silence that has begun
    double startSeconds = 0.0;
    std::vector<QAEvent> events;
  };

  static bool isHeard(const SoundChannel& channel) { return !channel.isLowFrequency(); }

  /// The first and the last loud sample.
  void widen(const float* samples, int count, int& first, int& last) const {
    int from = 0;
    while (from < first && std::abs(samples[from]) <= level_) {
      ++from;
    }
    first = from;
    int to = count - 1;
    while (to > last && std::abs(samples[to]) <= level_) {
      --to;
    }
    last = to;
  }

  static float peakOf(const SoundCell& cell, const std::vector<SoundChannel>& channels, int from,
                      int to) {
    float peak = 0.0F;
    for (std::size_t i = 0; i < cell.channels.size(); ++i) {
      for (int k = from; isHeard(channels[i]) && k < to; ++k) {
        peak = std::max(peak, std::abs(cell.channels[i].samples[k]));
      }
    }
    return peak;
  }

  void close(std::size_t number, double seconds, bool isFileEnd) {
    State& state = states_[number];
    state.quiet = false;
    const double length = seconds - state.startSeconds;
    const bool isLong = length + kRounding >= demands_.seconds;
    if (!isLong || state.events.size() >= kMostSoundSpans) {
      return;
    }
    const bool isHead = state.afterLoud == 0;
    const bool isEdge = (isHead || isFileEnd) && length <= demands_.edgeSeconds;
    QAEvent event = eventAt(programmes()[number], state.startSeconds, seconds);
    const double peak = static_cast<double>(state.peak);
    if (peak > 0.0) {
      event.value = decibelsOf(peak);
      event.unit = "dBFS";
      event.limit = demands_.level;
    }
    event.what = prefixOf(number) + (peak > 0.0 ? "silence" : "digital silence") +
                 (isHead      ? " at the start"
                  : isFileEnd ? " at the end"
                              : "");
    event.breaks = !isEdge;
    state.events.push_back(std::move(event));
  }

  void beginSound(const ProgrammeFacts&) override { states_.resize(programmes().size()); }

  void endOf(std::size_t number, const SoundEnd& its) override {
    if (states_[number].quiet && its.isWhole) {
      close(number, its.endSeconds, true);
    }
  }

  static constexpr double kRounding = 1e-6;

  SilenceDemands demands_;
  float level_;
  std::vector<State> states_;
};

std::unique_ptr<ProgrammeCheck<SilenceMeasurement>> make(const CheckContext& context) {
  const auto real = [&](std::size_t row) { return numberSetting(context, kSettings[row]); };
  return std::make_unique<ProgrammeCheck<SilenceMeasurement>>(
      context, kProfile,
      SilenceDemands{.level = real(0), .seconds = real(1), .edgeSeconds = real(2)});
}

}  // namespace

constinit const QACheck silenceCheck{
    .name = kProfile.name,
    .tag = kProfile.tag,
    .family = QAFamily::programme,
    .question = "Is a programme silent for long, in all its channels?",
    .needs = QANeeds::sound,
    .saysSomething = true,
    .severity = QASeverity::warn,
    .settings = kSettings,
    .displays = {},
    .figures = kFigures,
    .make = makeRun<make>,
};

}  // namespace qatester
