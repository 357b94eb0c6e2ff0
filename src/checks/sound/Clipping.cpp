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

/// Finds runs of values at full scale.
class FullScaleRuns {
 public:
  void restart(float step) {
    step_ = step;
    top_ = 1.0F - step;
    bottom_ = -1.0F + step;  // one step above the lowest value counts as well
    length_ = 0;
  }

  template <typename Found>
  void take(const SoundCell& cell, const ChannelCell& channel, const Found& found) {
    if (length_ == 0 && channel.highest < top_ && channel.lowest > bottom_) {
      return;
    }
    const float* samples = channel.samples;
    for (int i = 0; i < cell.samples; ++i) {
      const int side = samples[i] >= top_ ? 1 : samples[i] <= bottom_ ? -1 : 0;
      if (length_ > 0 && side == side_) {
        ++length_;
        continue;
      }
      if (length_ >= kLeastRun && (goesDown(before_) || goesDown(samples[i]))) {
        const int64_t end = cell.firstSample + i;
        found(Cut{end - length_, end, length_, 1.0F});
      }
      side_ = side;
      length_ = side != 0 ? 1 : 0;
      before_ = samples[i - 1];
    }
  }

 private:
  bool goesDown(float neighbour) const {
    return static_cast<float>(side_) * neighbour <= top_ - kLeastSteps * step_;
  }

  float step_ = 0.0F;
  float top_ = 1.0F;
  float bottom_ = -1.0F;
  int side_ = 0;
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
      scan(cell, channel);
    }
    const auto window = static_cast<int64_t>(kWindowSeconds * cell.sampleRate);
    if (cell.firstSample + cell.samples - windowStart_ >= window || !cell.complete) {
      if (tops_ >= kLeastTops && largest_ < 1.0F - step_) {
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

  void scan(const SoundCell& cell, const ChannelCell& channel) {
    for (int i = 0; i < cell.samples; ++i) {
      const float value = sign_ * channel.samples[i];
      if (value < largest_) {
        if (length_ >= kLeastRun && (goesDown(before_) || goesDown(value))) {
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

  bool goesDown(float neighbour) const {
    return neighbour <= largest_ - kLeastSteps * step_ &&
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
      if (!channel.isExact) {
        countOvers(cell, its, channel);
        continue;
      }
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
    for (const auto& entry : channels_.entries()) {
      const Channel& channel = entry.value;
      overs += channel.overs;
      highest = std::max(highest, channel.highest);
      const std::string name = prefixOf(entry.programme) + entry.channel.name;
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
    outcome.summary = words.empty() ? "none" : words;
  }

 private:
  struct Channel {
    bool isExact = false;  ///< integers as they were recorded
    bool isFine = false;   ///< of more than 8 bits
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
    for (std::size_t i = 0; i < section.steps.size(); ++i) {
      Channel& channel = channels_.at(section.number, i).value;
      const float step = section.steps[i];
      channel.isExact = step > 0.0F;
      channel.isFine = channel.isExact && step < kCoarsest;
      channel.runs.restart(step);
      channel.upper.restart(1.0F, step);
      channel.lower.restart(-1.0F, step);
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
