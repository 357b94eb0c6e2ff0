#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "checks/CheckList.h"
#include "checks/sound/SoundMeasurement.h"
#include "tester/Spans.h"
#include "tester/Words.h"

namespace qatester {

namespace {

constexpr CheckProfile kProfile{.name = "clipping", .tag = "QAClipping"};

/// So many equal values in a row are cut off.
constexpr int kLeastRun = 3;
/// Beside them the sound goes down by so many steps: a slow sine stays at the top for longer.
constexpr float kLeastSteps = 4.0F;
/// Of coarser samples, of 8 bits and fewer, many are equal.
constexpr float kCoarsest = 1.0F / 128.0F;
/// Tops below full scale are cut when there are so many within so long, each going down by so much
/// of its height.
constexpr double kWindowSeconds = 10.0;
constexpr int kLeastTops = 5;
constexpr float kLeastShare = 0.005F;
/// Runs that are further apart are events of their own.
constexpr SpanRule kSpans{.mergeSeconds = 1.0, .most = kMostSoundSpans};

/// A stretch of cut values.
struct Cut {
  int64_t start = 0;
  int64_t end = 0;
  int64_t values = 0;
  float level = 0.0F;  ///< of flat tops
};

/// Steps of samples of 16, 20 and 24 bits.
constexpr float kStep16 = 0x1p-15F;
constexpr float kStep20 = 0x1p-19F;

/// The step of the samples of a cell: those of 16 bits may come in more.
float stepOf(const SoundCell& cell, const ChannelCell& channel, float step) {
  const auto fits = [&](float coarse) {
    return std::all_of(channel.samples, channel.samples + cell.samples, [&](float value) {
      const float scaled = value / coarse;
      return scaled == std::nearbyint(scaled);
    });
  };
  for (const float coarse : {kStep16, kStep20}) {
    if (step < coarse && fits(coarse)) {
      return coarse;
    }
  }
  return step;
}

/// Finds runs of one value at full scale. That is the top code, or that of 16 bits where samples
/// have more, and below zero the lowest code or the one above it.
class FullScaleRuns {
 public:
  void restart(float step) {
    step_ = step;
    top_ = 1.0F - std::max(step, kStep16);
    length_ = 0;
  }

  template <typename Found>
  void take(const SoundCell& cell, const ChannelCell& channel, const Found& found) {
    const bool isLast = !cell.complete;
    if (length_ == 0 && channel.highest < top_ && channel.lowest > -top_) {
      return;
    }
    const float step = stepOf(cell, channel, step_);
    const float* samples = channel.samples;
    for (int i = 0; i < cell.samples; ++i) {
      const float value = samples[i];
      const bool isTop = std::abs(value) >= top_;
      // The lowest code and the one above it count as one value.
      const bool goesOn = length_ > 0 && isTop && (value > 0.0F) == (value_ > 0.0F) &&
                          std::abs(value - value_) <= (value > 0.0F ? 0.0F : step);
      if (goesOn) {
        ++length_;
        continue;
      }
      close(cell.firstSample + i, goesDown(value, step), step, found);
      value_ = value;
      length_ = isTop ? 1 : 0;
      before_ = samples[i - 1];
    }
    if (isLast) {
      close(cell.firstSample + cell.samples, false, step, found);
      length_ = 0;
    }
  }

 private:
  bool goesDown(float neighbour, float step) const {
    const float beside = value_ > 0.0F ? neighbour : -neighbour;
    return beside <= std::abs(value_) - kLeastSteps * step;
  }

  template <typename Found>
  void close(int64_t end, bool downAfter, float step, const Found& found) {
    if (length_ >= kLeastRun && (downAfter || goesDown(before_, step))) {
      found(Cut{end - length_, end, length_, 1.0F});
    }
  }

  float step_ = 0.0F;
  float top_ = 1.0F;
  float value_ = 0.0F;  ///< of the run
  int64_t length_ = 0;
  float before_ = 0.0F;
};

/// Finds tops that are cut off below full scale: the largest value of some seconds, again and again
/// for several samples.
class FlatTops {
 public:
  void restart(float sign, float step) {
    sign_ = sign;
    step_ = step;
    startWindow();
    length_ = 0;
  }

  /// Whether a window is complete with this cell, and what it has.
  template <typename Found>
  void take(const SoundCell& cell, const ChannelCell& channel, const Found& found) {
    if (!hasBegun_) {
      hasBegun_ = true;
      windowStart_ = cell.firstSample;
    }
    const float most = sign_ > 0.0F ? channel.highest : -channel.lowest;
    if (most >= largest_ || length_ > 0) {
      scan(cell, channel, stepOf(cell, channel, step_));
    }
    const auto window = static_cast<int64_t>(kWindowSeconds * cell.sampleRate);
    if (cell.firstSample + cell.samples - windowStart_ >= window || !cell.complete) {
      if (tops_ >= kLeastTops && largest_ < 1.0F - std::max(step_, kStep16)) {
        found(Cut{first_, last_, tops_, largest_});
      }
      startWindow();
    }
  }

 private:
  void startWindow() {
    hasBegun_ = false;
    largest_ = kLeastSteps * step_;
    tops_ = 0;
    length_ = 0;
  }

  void scan(const SoundCell& cell, const ChannelCell& channel, float step) {
    for (int i = 0; i < cell.samples; ++i) {
      const float value = sign_ * channel.samples[i];
      if (value < largest_) {
        if (length_ >= kLeastRun && (goesDown(before_, step) || goesDown(value, step))) {
          const int64_t end = cell.firstSample + i;
          first_ = tops_ == 0 ? end - length_ : first_;
          last_ = end;
          ++tops_;
        }
        length_ = 0;
        continue;
      }
      if (value > largest_) {
        largest_ = value;
        tops_ = 0;
        length_ = 0;
      }
      if (length_ == 0) {
        before_ = sign_ * channel.samples[i - 1];
      }
      ++length_;
    }
  }

  bool goesDown(float neighbour, float step) const {
    return neighbour <= largest_ - kLeastSteps * step &&
           neighbour < largest_ * (1.0F - kLeastShare);
  }

  float sign_ = 1.0F;
  float step_ = 0.0F;
  bool hasBegun_ = false;
  int64_t windowStart_ = 0;
  float largest_ = 0.0F;
  int64_t tops_ = 0;
  int64_t first_ = 0;
  int64_t last_ = 0;
  int64_t length_ = 0;
  float before_ = 0.0F;
};

/// Spans of cuts, with what each of them has in all.
class CutSpans {
 public:
  struct Totals {
    int64_t values = 0;
    int64_t cuts = 0;
    int64_t longest = 0;
    float level = 0.0F;
  };

  void add(const SoundCell& cell, const Cut& cut) {
    const bool begins = spans_.add({.start = cell.seconds(cut.start),
                                    .end = cell.seconds(cut.end),
                                    .value = static_cast<double>(cut.values)});
    if (begins || totals_.empty()) {
      totals_.emplace_back();
    }
    Totals& totals = totals_.back();
    totals.values += cut.values;
    ++totals.cuts;
    totals.longest = std::max(totals.longest, cut.values);
    totals.level = std::max(totals.level, cut.level);
  }

  const std::vector<Span>& spans() const { return spans_.begun(); }
  const Totals& totals(std::size_t span) const { return totals_[span]; }

 private:
  Spans spans_{kSpans};
  std::vector<Totals> totals_;
};

class ClippingMeasurement final : public SoundMeasurement {
 public:
  using SoundMeasurement::take;
  void take(const SoundCell& cell) override {
    for (std::size_t i = 0; i < cell.channels.size(); ++i) {
      const ChannelCell& its = cell.channels[i];
      Channel& channel = channels_.at(cell.programme, i).value;
      countOvers(cell, its, channel);
      if (!channel.isFine) {
        continue;
      }
      channel.runs.take(cell, its, [&](const Cut& cut) { channel.fullScale.add(cell, cut); });
      const auto addTops = [&](const Cut& cut) { channel.flat.add(cell, cut); };
      channel.upper.take(cell, its, addTops);
      channel.lower.take(cell, its, addTops);
    }
  }

  void describe(QACheckOutcome& outcome) const override {
    int64_t runs = 0;
    int64_t longest = 0;
    int64_t tops = 0;
    int64_t overs = 0;
    float highest = 0.0F;
    for (const auto* each : channels_.sorted()) {
      const auto& entry = *each;
      const Channel& channel = entry.value;
      overs += channel.overs;
      highest = std::max(highest, channel.highest);
      const std::string name = prefixOf(entry.programme) + entry.channel.label();
      for (std::size_t i = 0; i < channel.fullScale.spans().size(); ++i) {
        const CutSpans::Totals& totals = channel.fullScale.totals(i);
        QAEvent event = eventOf(entry.channel, channel.fullScale.spans()[i]);
        event.value = static_cast<double>(totals.values);
        event.unit = "samples";
        event.what = name + " clips: " + counted(static_cast<double>(totals.cuts), "run") +
                     ", longest " + counted(static_cast<double>(totals.longest), "sample");
        runs += totals.cuts;
        longest = std::max(longest, totals.longest);
        outcome.events.push_back(std::move(event));
      }
      for (std::size_t i = 0; i < channel.flat.spans().size(); ++i) {
        const CutSpans::Totals& totals = channel.flat.totals(i);
        QAEvent event = eventOf(entry.channel, channel.flat.spans()[i]);
        event.value = decibelsOf(static_cast<double>(totals.level));
        event.unit = "dBFS";
        event.what = name + " has " + counted(static_cast<double>(totals.values), "flat top");
        tops += totals.values;
        outcome.events.push_back(std::move(event));
      }
    }
    outcome.broken = !outcome.events.empty();
    outcome.values = {{"runs", runs, ""},
                      {"longestRun", longest, "samples"},
                      {"flatTops", tops, ""},
                      {"overs", overs, "samples"},
                      {"highestOverDbfs", QANothing(), "dBFS"}};
    if (overs > 0) {
      outcome.values.back().value = decibelsOf(static_cast<double>(highest));
    }
    std::string words;
    if (runs > 0) {
      words = counted(static_cast<double>(runs), "run") + " at full scale, longest " +
              counted(static_cast<double>(longest), "sample");
    }
    if (tops > 0) {
      addWords(words, ", ", counted(static_cast<double>(tops), "flat top"));
    }
    if (overs > 0) {
      addWords(words, ", ",
               counted(static_cast<double>(overs), "sample") + " above full scale, up to " +
                   quantity(decibelsOf(static_cast<double>(highest)), {" dBFS", 2}));
    }
    if (words.empty()) {
      const auto& all = channels_.entries();
      const bool isLookedFor =
          std::any_of(all.begin(), all.end(), [](const auto& entry) { return entry.value.isFine; });
      words = isLookedFor ? "none" : "no sample above full scale; runs show in PCM only";
    }
    outcome.summary = words;
  }

 private:
  struct Channel {
    bool isFine = false;  ///< as recorded, of more than 8 bits
    FullScaleRuns runs;
    FlatTops upper;
    FlatTops lower;
    CutSpans fullScale;
    CutSpans flat;
    int64_t overs = 0;
    float highest = 0.0F;
  };

  static QAEvent eventOf(const SoundChannel& channel, const Span& span) {
    return eventAt(channel, *span.startSeconds, *span.endSeconds);
  }

  static void countOvers(const SoundCell& cell, const ChannelCell& its, Channel& channel) {
    if (its.peak() <= 1.0F) {
      return;
    }
    channel.highest = std::max(channel.highest, its.peak());
    channel.overs += std::count_if(its.samples, its.samples + cell.samples,
                                   [](float value) { return std::abs(value) > 1.0F; });
  }

  void change(const SoundSection& section) override {
    channels_.change(section);
    for (std::size_t i = 0; i < section.programme->channels.size(); ++i) {
      Channel& channel = channels_.at(section.number, i).value;
      channel.isFine = section.step > 0.0F && section.step < kCoarsest;
      channel.runs.restart(section.step);
      channel.upper.restart(1.0F, section.step);
      channel.lower.restart(-1.0F, section.step);
    }
  }

  PerChannel<Channel> channels_;
};

std::unique_ptr<ProgrammeCheck<ClippingMeasurement>> make(const CheckContext& context) {
  return std::make_unique<ProgrammeCheck<ClippingMeasurement>>(context, kProfile);
}

}  // namespace

constinit const QACheck clippingCheck{
    .name = kProfile.name,
    .tag = kProfile.tag,
    .family = QAFamily::programme,
    .question = "Is the sound cut off, at full scale or below it?",
    .needs = QANeeds::sound,
    .saysSomething = true,
    .severity = QASeverity::warn,
    .settings = {},
    .displays = {},
    .make = makeRun<make>,
};

}  // namespace qatester
