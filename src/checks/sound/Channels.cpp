#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
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
    {"ChannelLostSeconds", "5.0", QASetting::Kind::real, 0.1, QASetting::kNoLimit, "s",
     "one of a pair may be silent for so long while the other is not"},
    {"DualMonoDecibels", "50.0", QASetting::Kind::real, 0.0, 300.0, "dB",
     "left and right are the same when their difference lies so far below their sum"},
};

constexpr CheckProfile kProfile{.name = "channels", .tag = "QAChannels"};

/// Tracks that were taken for a pair look unrelated below this correlation.
constexpr double kUnrelated = 0.1;
/// Of a shorter programme nothing is said of left and right.
constexpr double kLeastSeconds = 1.0;

struct ChannelDemands {
  double lostSeconds = 5.0;
  double dualMonoDecibels = 50.0;
};

/// One channel of a pair that is silent while the other is not.
struct LostSide {
  bool isOpen = false;
  double startSeconds = 0.0;
  double otherSquares = 0.0;
  double samples = 0.0;
  /// After its last loud sample so far; empty: nothing has come.
  std::optional<double> afterLoud;
};

class ChannelsMeasurement final : public SoundMeasurement {
 public:
  explicit ChannelsMeasurement(const ChannelDemands& demands)
      : demands_(demands), level_(static_cast<float>(amplitudeOf(kSilentPeak))) {}

  SoundNeeds needs() const override { return {.pairs = true}; }
  /// That there is none is what it looks for.
  std::string whyNothing() const override {
    const std::string why = SoundMeasurement::whyNothing();
    return programmes().empty() ? why : "";
  }

  using SoundMeasurement::take;
  void take(const SoundCell& cell) override {
    if (cell.samples == 0) {
      return;
    }
    const SoundProgramme& programme = programmes()[cell.programme];
    for (std::size_t i = 0; i < cell.channels.size(); ++i) {
      Channel& channel = channels_.at(cell.programme, i).value;
      channel.peak = std::max(channel.peak, cell.channels[i].peak());
      channel.squares += cell.channels[i].squares;
      channel.startSeconds = channel.samples > 0.0 ? channel.startSeconds : cell.startSeconds();
      channel.samples += cell.samples;
      channel.endSeconds = cell.endSeconds();
    }
    takePair(cell, cell.pair, programme.left, programme.right, true);
    takePair(cell, cell.surroundPair, programme.leftSurround, programme.rightSurround, false);
  }

  void describe(QACheckOutcome& outcome) const override {
    std::vector<QAValues> rows;
    std::size_t heard = 0;
    for (std::size_t i = 0; i < pairs_.size(); ++i) {
      heard += isHeard(i) ? 1U : 0U;
    }
    for (std::size_t i = 0; i < pairs_.size(); ++i) {
      describe(i, heard, rows, outcome);
    }
    std::stable_sort(
        outcome.events.begin(), outcome.events.end(),
        [](const QAEvent& one, const QAEvent& other) { return one.breaks && !other.breaks; });
    outcome.broken = std::any_of(outcome.events.begin(), outcome.events.end(),
                                 [](const QAEvent& event) { return event.breaks; });
    const auto silent =
        std::count_if(channels_.entries().begin(), channels_.entries().end(),
                      [&](const auto& entry) { return entry.value.peak <= level_; });
    outcome.values = {{"channels", static_cast<int64_t>(channels_.entries().size()), ""},
                      {"silentChannels", static_cast<int64_t>(silent), ""},
                      {"programmes", std::move(rows), ""}};
    if (outcome.events.empty()) {
      outcome.summary =
          counted(static_cast<double>(channels_.entries().size()), "channel") + ", none silent";
    } else {
      outcome.summary = outcome.events.front().what;
      if (outcome.events.size() > 1) {
        outcome.summary += "; and " + std::to_string(outcome.events.size() - 1) + " more";
      }
    }
  }

 private:
  struct Channel {
    float peak = 0.0F;
    double squares = 0.0;
    double samples = 0.0;
    double startSeconds = 0.0;
    double endSeconds = 0.0;
  };
  struct Pair {
    double left = 0.0;
    double right = 0.0;
    double leftSquares = 0.0;
    double rightSquares = 0.0;
    double differenceSquares = 0.0;
    double samples = 0.0;
    bool isEqual = true;
    LostSide lost[2][2];  ///< of the front and of the surround pair: left, right
    std::vector<QAEvent> events;
    std::vector<QAEvent> changes;  ///< of layout and rate
  };

  bool isHeard(std::size_t programme) const {
    return std::any_of(channels_.entries().begin(), channels_.entries().end(),
                       [&](const auto& entry) {
                         return entry.programme == programme && entry.value.peak > level_;
                       });
  }

  void takePair(const SoundCell& cell, const PairCell* sums, int leftIndex, int rightIndex,
                bool isFront) {
    if (sums == nullptr) {
      return;
    }
    Pair& pair = pairs_[cell.programme];
    const ChannelCell& left = cell.channels[static_cast<std::size_t>(leftIndex)];
    const ChannelCell& right = cell.channels[static_cast<std::size_t>(rightIndex)];
    if (isFront) {
      pair.left += left.sum;
      pair.right += right.sum;
      pair.leftSquares += left.squares;
      pair.rightSquares += right.squares;
      pair.differenceSquares += sums->differenceSquares;
      pair.samples += cell.samples;
      pair.isEqual = pair.isEqual && sums->isEqual;
    }
    follow(cell, leftIndex, left, right, pair.lost[isFront ? 0 : 1][0]);
    follow(cell, rightIndex, right, left, pair.lost[isFront ? 0 : 1][1]);
  }

  /// Whether a side is silent goes on, begins or ends.
  void follow(const SoundCell& cell, int index, const ChannelCell& own, const ChannelCell& other,
              LostSide& side) {
    if (own.peak() <= level_) {
      if (!side.isOpen) {
        side.isOpen = true;
        side.startSeconds = side.afterLoud.value_or(cell.startSeconds());
        side.otherSquares = 0.0;
        side.samples = 0.0;
      }
      side.otherSquares += other.squares;
      side.samples += cell.samples;
      return;
    }
    if (side.isOpen) {
      int first = 0;
      while (std::abs(own.samples[first]) <= level_) {
        ++first;
      }
      close(cell.programme, index, side, cell.seconds(cell.firstSample + first));
    }
    int last = cell.samples;
    while (std::abs(own.samples[last - 1]) <= level_) {
      --last;
    }
    side.afterLoud = cell.seconds(cell.firstSample + last);
  }

  void close(std::size_t number, int index, LostSide& side, double endSeconds) {
    side.isOpen = false;
    const double rms = std::sqrt(side.otherSquares / std::max(side.samples, 1.0));
    Pair& pair = pairs_[number];
    if (endSeconds - side.startSeconds < demands_.lostSeconds || decibelsOf(rms) <= kActiveRms ||
        pair.events.size() >= kMostSoundSpans) {
      return;
    }
    const SoundChannel& channel = programmes()[number].channels[static_cast<std::size_t>(index)];
    QAEvent event = eventAt(channel, side.startSeconds, endSeconds);
    event.value = decibelsOf(rms);
    event.limit = kActiveRms;
    event.unit = "dBFS";
    event.what = prefixOf(number) + channel.label() + " is lost";
    event.breaks = !channel.isExtra;
    pair.events.push_back(std::move(event));
  }

  void describe(std::size_t i, std::size_t heard, std::vector<QAValues>& rows,
                QACheckOutcome& outcome) const {
    const SoundProgramme& programme = programmes()[i];
    const SoundEnd& end = ends()[i];
    const Pair& pair = pairs_[i];
    const auto add = [&](const std::string& what, bool breaks) {
      QAEvent event = eventAt(programme, end.startSeconds, end.endSeconds);
      event.what = prefixOf(i) + what;
      event.breaks = breaks;
      outcome.events.push_back(std::move(event));
    };
    QAValues row{{"programme", static_cast<int64_t>(i), ""},
                 {"layout", programme.layout, ""},
                 {"layoutDeclared", programme.layoutDeclared, ""},
                 {"dualMono", false, ""},
                 {"sideDecibels", QANothing(), "dB"},
                 {"correlation", QANothing(), ""},
                 {"streams", streamsOf(programme), ""}};
    if (end.samples == 0) {
      add("no sample at all", true);
    } else if (!isHeard(i) && end.endSeconds - end.startSeconds < kLeastSeconds) {
      add("silent, and too short to say more", false);
    } else if (!isHeard(i)) {
      add(heard > 0 ? "silent programme: unused" : "silent throughout", heard == 0);
    } else {
      addSilentChannels(i, outcome);
      describePair(i, pair, row, add);
    }
    outcome.events.insert(outcome.events.end(), pair.changes.begin(), pair.changes.end());
    if (end.badSamples > 0) {
      add(counted(static_cast<double>(end.badSamples), "sample") + " without a value", true);
    }
    if (end.leftOut > 0) {
      add("sound of another sample rate is left out", false);
    }
    rows.push_back(std::move(row));
  }

  void addSilentChannels(std::size_t i, QACheckOutcome& outcome) const {
    std::vector<SoundChannel> silent;
    for (const auto* each : channels_.sorted()) {
      const auto& entry = *each;
      if (entry.programme == i && entry.value.peak <= level_) {
        QAEvent event = eventAt(entry.channel, entry.value.startSeconds, entry.value.endSeconds);
        const double peak = static_cast<double>(entry.value.peak);
        event.what = prefixOf(i) + entry.channel.label() + " is silent throughout";
        if (peak > 0.0) {
          event.value = decibelsOf(peak);
          event.limit = kSilentPeak;
          event.unit = "dBFS";
        }
        event.breaks = !entry.channel.isExtra;
        silent.push_back(entry.channel);
        outcome.events.push_back(std::move(event));
      }
    }
    for (const QAEvent& event : pairs_[i].events) {
      const bool isSilent =
          std::any_of(silent.begin(), silent.end(), [&](const SoundChannel& channel) {
            return channel.stream == event.stream && channel.channel == event.channel;
          });
      if (!isSilent) {
        outcome.events.push_back(event);
      }
    }
  }

  /// Of left and right.
  float programmePeak(std::size_t i) const {
    const SoundProgramme& programme = programmes()[i];
    float peak = 0.0F;
    for (const auto& entry : channels_.entries()) {
      const bool isOfPair =
          entry.channel == programme.channels[static_cast<std::size_t>(programme.left)] ||
          entry.channel == programme.channels[static_cast<std::size_t>(programme.right)];
      peak = entry.programme == i && isOfPair ? std::max(peak, entry.value.peak) : peak;
    }
    return peak;
  }

  template <typename Add>
  void describePair(std::size_t i, const Pair& pair, QAValues& row, const Add& add) const {
    if (!(pair.samples > 0.0) || programmes()[i].left < 0 || programmes()[i].right < 0 ||
        ends()[i].endSeconds - ends()[i].startSeconds < kLeastSeconds) {
      return;
    }
    const double sum =
        2.0 * (pair.leftSquares + pair.rightSquares) - pair.differenceSquares;  // of (L+R)^2
    const double side = pair.differenceSquares > 0.0 && sum > 0.0
                            ? 10.0 * std::log10(pair.differenceSquares / sum)
                            : -std::numeric_limits<double>::infinity();
    if (std::isfinite(side)) {
      row[4].value = side;
    }
    const double leftVariance = pair.leftSquares - pair.left * pair.left / pair.samples;
    const double rightVariance = pair.rightSquares - pair.right * pair.right / pair.samples;
    std::optional<double> correlation;
    if (leftVariance * rightVariance > 0.0) {
      const double products = (pair.leftSquares + pair.rightSquares - pair.differenceSquares) / 2.0;
      correlation = std::clamp((products - pair.left * pair.right / pair.samples) /
                                   std::sqrt(leftVariance * rightVariance),
                               -1.0, 1.0);
      row[5].value = *correlation;
    }
    const bool isMono = pair.isEqual || side <= -demands_.dualMonoDecibels;
    row[3].value = isMono && programmePeak(i) > level_;
    if (isMono && programmePeak(i) > level_) {
      add(pair.isEqual ? "left and right are identical" : "left and right are nearly identical",
          false);
    }
    const double active = std::pow(amplitudeOf(kActiveRms), 2.0);
    const bool areActive =
        pair.leftSquares / pair.samples > active && pair.rightSquares / pair.samples > active;
    if (programmes()[i].isAssumedPair && areActive && correlation.has_value() &&
        std::abs(*correlation) < kUnrelated) {
      add(programmes()[i].channels[0].label() + " and " + programmes()[i].channels[1].label() +
              " look unrelated",
          false);
    }
  }

  void beginSound(const ProgrammeFacts&) override { pairs_.resize(programmes().size()); }

  void change(const SoundSection& section) override {
    channels_.change(section);
    // What was open belongs to channels that may be others now.
    for (auto& sides : pairs_[section.number].lost) {
      for (LostSide& side : sides) {
        side = {};
      }
    }
    if (!section.isFirst) {
      QAEvent event = eventAt(*section.programme, section.startSeconds, section.startSeconds);
      event.what = prefixOf(section.number) + "changes to " + section.programme->layout + ", " +
                   std::to_string(section.sampleRate) + " Hz";
      event.breaks = false;
      pairs_[section.number].changes.push_back(std::move(event));
    }
  }

  void endOf(std::size_t number, const SoundEnd& end) override {
    Pair& pair = pairs_[number];
    const SoundProgramme& programme = programmes()[number];
    const int indices[2][2] = {{programme.left, programme.right},
                               {programme.leftSurround, programme.rightSurround}};
    for (int which = 0; which < 2; ++which) {
      for (int side = 0; side < 2; ++side) {
        if (pair.lost[which][side].isOpen && indices[which][side] >= 0) {
          close(number, indices[which][side], pair.lost[which][side], end.endSeconds);
        }
      }
    }
  }

  ChannelDemands demands_;
  float level_;
  PerChannel<Channel> channels_;
  std::vector<Pair> pairs_;
};

std::unique_ptr<ProgrammeCheck<ChannelsMeasurement>> make(const CheckContext& context) {
  return std::make_unique<ProgrammeCheck<ChannelsMeasurement>>(
      context, kProfile,
      ChannelDemands{.lostSeconds = numberSetting(context, kSettings[0]),
                     .dualMonoDecibels = numberSetting(context, kSettings[1])});
}

}  // namespace

constinit const QACheck channelsCheck{
    .name = kProfile.name,
    .tag = kProfile.tag,
    .family = QAFamily::programme,
    .question = "Does every channel carry sound, and left another one than right?",
    .needs = QANeeds::sound,
    .saysSomething = true,
    .severity = QASeverity::warn,
    .settings = kSettings,
    .displays = {},
    .make = makeRun<make>,
};

}  // namespace qatester
