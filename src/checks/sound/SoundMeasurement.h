#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <tuple>
#include <vector>

#include "checks/sound/SoundProgrammes.h"
#include "tester/ProgrammeRun.h"

namespace qatester {

// The sound of a file in cells of 10 ms, which all checks of sound look at together.

/// A channel that never exceeds it is silent; one whose RMS exceeds the other is active. dBFS.
inline constexpr double kSilentPeak = -60.0;
inline constexpr double kActiveRms = -50.0;

/// Spans of one channel that are kept apart.
inline constexpr std::size_t kMostSoundSpans = 100000;

/// Rates beyond and below are no sound's: below, cells would have no sample. Hz.
inline constexpr int kMostSampleRate = 1536000;
inline constexpr int kLeastSampleRate = 100;
/// Below, K-weighting cannot be computed.
inline constexpr int kLeastWeightedRate = 4000;

/// Cells in a second.
inline constexpr int kCellsPerSecond = 100;

/// What the samples of a channel come to in a cell.
struct ChannelCell {
  /// The cell's samples, full scale being 1. Those of the two cells before stand before them; zeros
  /// before the programme's first.
  const float* samples = nullptr;
  float highest = 0.0F;
  float lowest = 0.0F;
  double sum = 0.0;
  double squares = 0.0;
  /// Of the K-weighted samples; 0 unless it is asked for.
  double weightedSquares = 0.0;
  /// The largest magnitude between the samples, at 8 times their rate, of the cell less its last 12
  /// samples and more the 12 before it; 0 unless it is asked for, and where it cannot exceed what
  /// is asked for.
  float truePeak = 0.0F;

  float peak() const { return highest > -lowest ? highest : -lowest; }
};

/// Of left and right, or of a surround pair.
struct PairCell {
  double differenceSquares = 0.0;
  bool isEqual = true;  ///< bit by bit, but for the sign of zeros

  /// The sum of the products of the two.
  static double products(const ChannelCell& one, const ChannelCell& other, const PairCell& pair) {
    return (one.squares + other.squares - pair.differenceSquares) / 2.0;
  }
};

/// Turns samples into seconds from the file's start.
class SoundClock {
 public:
  /// A sample has this time. Kept where it is off the count.
  void add(int64_t sample, double seconds, int sampleRate);
  double seconds(int64_t sample) const;

 private:
  struct Anchor {
    int64_t sample;
    double seconds;
    int sampleRate;
  };
  std::vector<Anchor> anchors_;
};

/// Ten milliseconds of a programme.
struct SoundCell {
  std::size_t programme = 0;
  int64_t firstSample = 0;  ///< of the programme, whatever changes in it
  int samples = 0;
  int sampleRate = 0;
  bool complete = true;  ///< false of a last one that is shorter
  std::span<const ChannelCell> channels;
  /// Left and right, and the surround pair; null where there is none.
  const PairCell* pair = nullptr;
  const PairCell* surroundPair = nullptr;
  const SoundClock* clock = nullptr;

  double seconds(int64_t sample) const { return clock->seconds(sample); }
  double startSeconds() const { return seconds(firstSample); }
  double endSeconds() const { return seconds(firstSample + samples); }
};

/// What a programme is from its first cell on, or from where its channels or its rate change.
struct SoundSection {
  std::size_t number = 0;  ///< of the programme
  const SoundProgramme* programme = nullptr;
  int sampleRate = 0;
  double startSeconds = 0.0;
  bool isFirst = true;
  /// From one sample value to the next, full scale being 1; 0: the samples are not those that were
  /// recorded, as after lossy coding.
  float step = 0.0F;
};

/// What is known of a programme at its end.
struct SoundEnd {
  int64_t samples = 0;
  int sampleRate = 0;
  double startSeconds = 0.0;
  double endSeconds = 0.0;
  int64_t badSamples = 0;  ///< no numbers, infinite, or beyond reason
  /// Of another rate than the others of its programme.
  int64_t leftOut = 0;
  bool isWhole = true;  ///< the reading was not stopped
};

struct SoundNeeds {
  bool weighting = false;
  bool pairs = false;
  bool truePeak = false;
  /// True peaks above it are needed cell by cell; of lower ones only the highest. Full scale is 1.
  float truePeakLimit = 1e9F;
};

/// A check that looks at all sound of a file. Of each programme: `change`, then its cells in order,
/// then `endOf`.
class SoundMeasurement : public ProgrammeMeasurement {
 public:
  bool hasSubject(const ProgrammeFacts& facts, std::string& reason) const override;
  ProgrammeWants wants() const final { return {.sound = true}; }
  MakeShared sharedBy() const final;
  std::string whyNothing() const override;

  // What the engine calls.
  void start(const SoundProgrammes& programmes, const ProgrammeFacts& facts);
  void begin(const SoundSection& section);
  virtual void take(const SoundCell& cell) = 0;
  void jump(std::size_t programme, double startSeconds, double endSeconds);
  void finish(std::size_t programme, const SoundEnd& end);

  virtual SoundNeeds needs() const { return {}; }

 protected:
  using ProgrammeMeasurement::begin;
  using ProgrammeMeasurement::take;

  virtual void beginSound(const ProgrammeFacts&) {}
  /// The first section of a programme, or another one from its next cell on.
  virtual void change(const SoundSection&) {}
  /// Time stamps go on later than the samples before do: nothing is there in between.
  virtual void skip(std::size_t, double /*startSeconds*/, double /*endSeconds*/) {}
  virtual void endOf(std::size_t, const SoundEnd&) {}

  /// As they were when their last section began.
  const std::vector<SoundProgramme>& programmes() const { return programmes_; }
  /// Of each programme; empty before `endOf`.
  const std::vector<SoundEnd>& ends() const { return ends_; }
  /// What a programme is called beside others; empty when it is the only one.
  std::string nameOf(std::size_t programme) const;
  /// The same before other words.
  std::string prefixOf(std::size_t programme) const;

 private:
  std::vector<SoundProgramme> programmes_;
  std::vector<SoundEnd> ends_;
  std::string problem_;
};

/// What each channel of each programme has, whatever changes in mid-stream.
template <typename T>
class PerChannel {
 public:
  struct Entry {
    std::size_t programme = 0;
    SoundChannel channel;
    T value;
  };

  void change(const SoundSection& section) {
    places_.resize(std::max(places_.size(), section.number + 1));
    std::vector<std::size_t>& places = places_[section.number];
    places.clear();
    for (const SoundChannel& channel : section.programme->channels) {
      const auto found = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) {
        return entry.programme == section.number && entry.channel.stream == channel.stream &&
               entry.channel.channel == channel.channel;
      });
      places.push_back(static_cast<std::size_t>(found - entries_.begin()));
      if (found == entries_.end()) {
        entries_.push_back({section.number, channel, T{}});
      } else {
        found->channel = channel;
      }
    }
  }

  Entry& at(std::size_t programme, std::size_t channel) {
    return entries_[places_[programme][channel]];
  }
  /// In the order in which they came.
  const std::vector<Entry>& entries() const { return entries_; }

  /// In the order of programmes, streams and channels.
  std::vector<const Entry*> sorted() const {
    std::vector<const Entry*> all;
    for (const Entry& entry : entries_) {
      all.push_back(&entry);
    }
    std::sort(all.begin(), all.end(), [](const Entry* one, const Entry* other) {
      return std::tuple(one->programme, one->channel.stream, one->channel.channel) <
             std::tuple(other->programme, other->channel.stream, other->channel.channel);
    });
    return all;
  }

 private:
  std::vector<Entry> entries_;
  std::vector<std::vector<std::size_t>> places_;  ///< by programme and channel of its section
};

/// The setting by which programmes are put together; see `findSoundProgrammes`.
std::string programmesSetting(const CheckContext& context);

/// The streams of a programme, as a value.
std::vector<int64_t> streamsOf(const SoundProgramme& programme);

/// An event of a channel, or of a programme, with its place filled in.
QAEvent eventAt(const SoundProgramme& programme, double startSeconds, double endSeconds);
QAEvent eventAt(const SoundChannel& channel, double startSeconds, double endSeconds);

/// A level in words, such as "-3.01 dBFS"; "silent" for 0.
std::string levelWords(double amplitude, const char* unit);

/// -infinity for 0.
double decibelsOf(double amplitude);
double amplitudeOf(double decibels);

}  // namespace qatester
