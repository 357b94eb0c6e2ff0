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

constexpr CheckProfile kProfile{.name = "dropouts", .tag = "QADropouts"};
constexpr const char* kFigures[] = {"dropouts"};

constexpr double kLeastSeconds = 0.001;
/// From here on it is silence, if all channels have it, or else a channel that is lost.
constexpr double kMostSeconds = 2.0;
constexpr double kMostSecondsOfSome = 5.0;
/// Sound on either side is measured over so long.
constexpr double kSideSeconds = 0.01;
/// Of integer samples, in steps: below, silence is what rounding makes of a quiet passage.
constexpr float kLeastSteps = 32.0F;
/// How far the sound breaks off on one side at least, of the RMS there.
constexpr float kAbruptBreak = 0.1F;
/// The values beside the zeros, of the RMS on their side: sound that fades has small ones.
constexpr float kLeastEdge = 0.01F;

/// Zeros in the middle of sound.
struct Dropout {
  int64_t start = 0;
  int64_t end = 0;
  double startSeconds = 0.0;
  double endSeconds = 0.0;
};

/// Looks for zeros in the samples of one channel.
class ZeroRuns {
 public:
  void restart(int sampleRate, float step) {
    const double rate = sampleRate;
    least_ = std::max(1, static_cast<int>(std::ceil(kLeastSeconds * rate)));
    most_ = static_cast<int64_t>(kMostSecondsOfSome * rate);
    side_ = std::max(1, static_cast<int>(kSideSeconds * rate));
    const auto active = static_cast<float>(amplitudeOf(kActiveRms));
    loudEnough_ = std::max(active, kLeastSteps * step);
    isOpen_ = false;
    waiting_.clear();
  }

  template <typename Found>
  void take(const SoundCell& cell, const ChannelCell& channel, const Found& found) {
    for (After& after : waiting_) {
      after.add(channel.samples, 0, cell.samples);
    }
    settle(found);
    const float* samples = channel.samples;
    int at = 0;
    if (isOpen_) {
      at = channel.peak() == 0.0F ? cell.samples : firstSound(samples, 0, cell.samples);
      if (at == cell.samples) {
        return;
      }
      close(cell, samples, at);
    }
    // Of as many zeros as make a dropout at least one is looked at.
    for (int i = roundUp(at); i < cell.samples; i = roundUp(i + 1)) {
      if (samples[i] != 0.0F) {
        continue;
      }
      open(cell, samples, i);
      i = firstSound(samples, i, cell.samples);
      if (i == cell.samples) {
        return;
      }
      close(cell, samples, i);
    }
    settle(found);
  }

 private:
  /// Zeros whose other side is still to come.
  struct After {
    Dropout dropout;
    float before = 0.0F;      ///< the RMS before them
    float edgeBefore = 0.0F;  ///< the last value before them, of it
    float breakBefore = 0.0F;
    float first = 0.0F;  ///< the sample after them, and the next one
    float second = 0.0F;
    double squares = 0.0;
    int missing = 0;
    int side = 0;

    void add(const float* samples, int from, int to) {
      const int end = std::min(to, from + missing);
      for (int i = from; i < end; ++i) {
        const int number = side - missing + i - from;
        first = number == 0 ? samples[i] : first;
        second = number == 1 ? samples[i] : second;
        squares += static_cast<double>(samples[i]) * static_cast<double>(samples[i]);
      }
      missing -= std::max(end - from, 0);
    }
  };

  /// How far the sound breaks off at a sample beside zeros, of which `next` is further away. Where
  /// it goes through zero by itself, as a tone does that is switched there, it does not.
  static float breakAt(float beside, float next) {
    return std::min(std::abs(beside), std::abs(2.0F * beside - next));
  }

  int roundUp(int index) const { return (index + least_ - 1) / least_ * least_; }

  static int firstSound(const float* samples, int from, int count) {
    while (from < count && samples[from] == 0.0F) {
      ++from;
    }
    return from;
  }

  void open(const SoundCell& cell, const float* samples, int at) {
    int first = at;
    // The zeros before the cell, if there are any, are too few to have been seen.
    while (first > -least_ && samples[first - 1] == 0.0F) {
      --first;
    }
    double squares = 0.0;
    for (int i = first - side_; i < first; ++i) {
      squares += static_cast<double>(samples[i]) * static_cast<double>(samples[i]);
    }
    isOpen_ = true;
    start_ = cell.firstSample + first;
    before_ = static_cast<float>(std::sqrt(squares / side_));
    edgeBefore_ = before_ > 0.0F ? std::abs(samples[first - 1]) / before_ : 0.0F;
    breakBefore_ =
        before_ > 0.0F ? breakAt(samples[first - 1], samples[first - 2]) / before_ : 0.0F;
  }

  void close(const SoundCell& cell, const float* samples, int end) {
    isOpen_ = false;
    const int64_t length = cell.firstSample + end - start_;
    if (length < least_ || length >= most_ || before_ <= loudEnough_ || edgeBefore_ < kLeastEdge) {
      return;
    }
    After after;
    after.dropout.start = start_;
    after.dropout.end = cell.firstSample + end;
    after.dropout.startSeconds = cell.seconds(start_);
    after.dropout.endSeconds = cell.seconds(after.dropout.end);
    after.before = before_;
    after.edgeBefore = edgeBefore_;
    after.breakBefore = breakBefore_;
    after.missing = after.side = side_;
    after.add(samples, end, cell.samples);
    waiting_.push_back(after);
  }

  template <typename Found>
  void settle(const Found& found) {
    while (!waiting_.empty() && waiting_.front().missing == 0) {
      const After& after = waiting_.front();
      const auto rms = static_cast<float>(std::sqrt(after.squares / after.side));
      if (rms > loudEnough_) {
        const float edge = std::abs(after.first) / rms;
        const float breakAfter = breakAt(after.first, after.second) / rms;
        const bool isAbrupt = std::max(breakAfter, after.breakBefore) >= kAbruptBreak &&
                              std::min(edge, after.edgeBefore) >= kLeastEdge;
        if (isAbrupt) {
          found(after.dropout);
        }
      }
      waiting_.erase(waiting_.begin());
    }
  }

  int least_ = 1;
  int64_t most_ = 0;
  int side_ = 1;
  float loudEnough_ = 0.0F;
  bool isOpen_ = false;
  int64_t start_ = 0;
  float before_ = 0.0F;
  float edgeBefore_ = 0.0F;
  float breakBefore_ = 0.0F;
  std::vector<After> waiting_;
};

class DropoutMeasurement final : public SoundMeasurement {
 public:
  using SoundMeasurement::take;
  void take(const SoundCell& cell) override {
    for (std::size_t i = 0; i < cell.channels.size(); ++i) {
      ZeroRuns& runs = channels_.at(cell.programme, i).value;
      runs.take(cell, cell.channels[i],
                [&](const Dropout& dropout) { add(cell.programme, i, dropout); });
    }
  }

  void describe(QACheckOutcome& outcome) const override {
    double longest = 0.0;
    for (std::size_t i = 0; i < found_.size(); ++i) {
      for (const Joined& one : found_[i]) {
        const Dropout& dropout = one.dropout;
        if (one.channels.size() == programmes()[i].channels.size() &&
            dropout.endSeconds - dropout.startSeconds >= kMostSeconds) {
          continue;
        }
        QAEvent event =
            one.channels.size() == 1
                ? eventAt(one.channels.front(), dropout.startSeconds, dropout.endSeconds)
                : eventAt(programmes()[i], dropout.startSeconds, dropout.endSeconds);
        event.value = dropout.endSeconds - dropout.startSeconds;
        event.unit.assign(1, 's');
        event.what = prefixOf(i);
        for (std::size_t k = 0; k < one.channels.size(); ++k) {
          event.what += k > 0 ? "+" : "";
          event.what += one.channels[k].label();
        }
        event.what += " drops out";
        longest = std::max(longest, *event.value);
        outcome.events.push_back(std::move(event));
      }
    }
    for (const QAEvent& event : skips_) {
      longest = std::max(longest, *event.value);
      outcome.events.push_back(event);
    }
    outcome.broken = !outcome.events.empty();
    const auto count = static_cast<double>(outcome.events.size());
    outcome.values = {{"dropouts", static_cast<int64_t>(outcome.events.size()), ""},
                      {"longestSeconds", longest, "s"}};
    if (outcome.broken) {
      addWords(outcome.summary, "", counted(count, "dropout"));
      addWords(outcome.summary, ", longest ", quantity(1000.0 * longest, {" ms", 1}));
    } else {
      addWords(outcome.summary, "", "none");
    }
  }

 private:
  /// Channels of a programme that drop out together.
  struct Joined {
    Dropout dropout;
    std::vector<SoundChannel> channels;
  };

  void beginSound(const ProgrammeFacts&) override { found_.resize(programmes().size()); }

  void skip(std::size_t programme, double startSeconds, double endSeconds) override {
    if (skips_.size() >= kMostSoundSpans) {
      return;
    }
    QAEvent event = eventAt(programmes()[programme], startSeconds, endSeconds);
    event.value = endSeconds - startSeconds;
    event.unit.assign(1, 's');
    event.what = prefixOf(programme);
    event.what += "no samples: time stamps go on later";
    skips_.push_back(std::move(event));
  }

  void change(const SoundSection& section) override {
    channels_.change(section);
    for (std::size_t i = 0; i < section.programme->channels.size(); ++i) {
      channels_.at(section.number, i).value.restart(section.sampleRate, section.step);
    }
  }

  void add(std::size_t programme, std::size_t channel, const Dropout& dropout) {
    std::vector<Joined>& all = found_[programme];
    const SoundChannel& its = programmes()[programme].channels[channel];
    constexpr std::size_t kLookedAt = 64;
    for (std::size_t i = all.size(); i > 0 && i + kLookedAt > all.size(); --i) {
      Joined& one = all[i - 1];
      if (one.dropout.start == dropout.start && one.dropout.end == dropout.end) {
        one.channels.push_back(its);
        return;
      }
    }
    if (all.size() < kMostSoundSpans) {
      all.push_back({dropout, {its}});
    }
  }

  PerChannel<ZeroRuns> channels_;
  std::vector<std::vector<Joined>> found_;
  std::vector<QAEvent> skips_;
};

std::unique_ptr<ProgrammeCheck<DropoutMeasurement>> make(const CheckContext& context) {
  return std::make_unique<ProgrammeCheck<DropoutMeasurement>>(context, kProfile);
}

}  // namespace

constinit const QACheck dropoutsCheck{
    .name = kProfile.name,
    .tag = kProfile.tag,
    .family = QAFamily::programme,
    .question = "Does the sound drop out to zeros for a moment?",
    .needs = QANeeds::sound,
    .saysSomething = true,
    .severity = QASeverity::warn,
    .settings = {},
    .displays = {},
    .figures = kFigures,
    .make = makeRun<make>,
};

}  // namespace qatester
