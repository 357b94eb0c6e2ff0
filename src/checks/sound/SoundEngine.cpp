#include "checks/sound/SoundEngine.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>

#include "checks/sound/SoundKernels.h"
#include "media/PlanarSound.h"
#include "tester/CheckContext.h"
#include "tester/SharedListeners.h"

namespace qatester {

namespace {

/// Streams that begin with less between them begin together, in seconds.
constexpr double kSameTime = 0.001;
/// Streams whose places differ by no more are together, in seconds.
constexpr double kSamePlace = 0.02;
/// Time stamps that go on later by so much leave sound out, in seconds.
constexpr double kSkip = 0.1;
/// A stream may be behind the others of its programme by so much before it counts as silent.
constexpr double kMostLead = 10.0;
/// Samples of a channel that are kept before those read are let go.
constexpr std::size_t kKeptSamples = 16384;
/// What the interpolation may be off the bound that is computed for it, by rounding.
constexpr float kRounding = 1.0001F;

int cellLength(int64_t cell, int sampleRate) {
  const auto edge = [&](int64_t number) {
    return (number * sampleRate + kCellsPerSecond / 2) / kCellsPerSecond;
  };
  return static_cast<int>(edge(cell + 1) - edge(cell));
}

/// A channel's samples: those before the cell that comes next, and those that have come since.
class Samples {
 public:
  void restart(std::size_t history) {
    history_ = history;
    next_ = history;
    values_.assign(history, 0.0F);
  }
  std::size_t waiting() const { return values_.size() - next_; }
  const float* next() const { return values_.data() + next_; }

  /// Room for so many more.
  float* append(std::size_t count) {
    values_.resize(values_.size() + count);
    return values_.data() + values_.size() - count;
  }
  void drop(std::size_t count) { values_.resize(values_.size() - count); }
  void insertZeros(std::size_t count) {
    values_.insert(values_.begin() + static_cast<std::ptrdiff_t>(next_), count, 0.0F);
  }

  void advance(std::size_t count) {
    next_ += count;
    if (next_ > history_ + kKeptSamples) {
      values_.erase(values_.begin(),
                    values_.begin() + static_cast<std::ptrdiff_t>(next_ - history_));
      next_ = history_;
    }
  }

 private:
  std::size_t history_ = 0;
  std::size_t next_ = 0;
  std::vector<float> values_;
};

/// What a channel needs from cell to cell.
struct ChannelState {
  KWeighting::State weighting = {};
  float highestSoFar = 0.0F;
  float peakBefore = 0.0F;
  float bendBefore = 0.0F;
};

}  // namespace

/// The measurements, and what they need together.
class SoundEngine::Listeners : public SharedListeners<SoundMeasurement> {
 public:
  void add(SoundMeasurement& measurement) {
    SharedListeners::add(measurement);
    const SoundNeeds its = measurement.needs();
    needs_.weighting = needs_.weighting || its.weighting;
    needs_.pairs = needs_.pairs || its.pairs;
    needs_.truePeak = needs_.truePeak || its.truePeak;
    needs_.truePeakLimit = std::min(needs_.truePeakLimit, its.truePeakLimit);
  }

  const SoundNeeds& needs() const { return needs_; }

 private:
  SoundNeeds needs_;
};

/// A programme on its way from blocks to cells.
class SoundEngine::Feed {
 public:
  Feed(std::size_t number, SoundProgramme programme, const ProgrammeFacts& facts,
       Listeners& listeners, bool ownsItsStreams)
      : number_(number),
        programme_(std::move(programme)),
        listeners_(listeners),
        ownsItsStreams_(ownsItsStreams && programme_.streams.size() == 1) {
    clockStream_ = programme_.streams.empty() ? -1 : programme_.streams.front();
    for (const int stream : programme_.streams) {
      sources_.push_back({.stream = stream});
      const auto index =
          static_cast<std::size_t>(facts.audioStreams[static_cast<std::size_t>(stream)]);
      const auto& audio = facts.media.streams[index].audio;
      lossless_ = lossless_ && facts.streams[index].lossless;
      bits_ = audio.has_value() ? std::max(bits_, audio->bits) : bits_;
    }
  }

  bool takesFrom(int stream) const {
    return std::find(programme_.streams.begin(), programme_.streams.end(), stream) !=
           programme_.streams.end();
  }

  void take(const ProgrammeBlock& block) {
    if (block.samples <= 0 || block.sampleRate < kLeastSampleRate ||
        block.sampleRate > kMostSampleRate || block.layout == nullptr ||
        block.layout->channels <= 0) {
      return;
    }
    Source& source = sourceOf(block.stream);
    const bool isFirst = rate_ == 0;
    if (isFirst) {
      firstLayout_ = block.layout;
      if (ownsItsStreams_ &&
          static_cast<std::size_t>(block.layout->channels) != programme_.channels.size()) {
        programme_ = programmeOfStream(block.stream, *block.layout, programme_.language);
      }
      startSection(block);
    } else if (isChange(block)) {
      if (!ownsItsStreams_) {
        if (block.sampleRate != rate_) {
          leftOut_ += block.samples;  // no place for it among the others
          return;
        }
      } else {
        finishSection();
        programme_ = programmeOfStream(block.stream, *block.layout, programme_.language);
        firstLayout_ = block.layout;
        startSection(block);
      }
    }
    append(source, block);
    if (!aligned_) {
      const bool isTogether = std::all_of(sources_.begin(), sources_.end(),
                                          [](const Source& one) { return one.began; });
      if (!isTogether && waitingOf(source) < mostLead()) {
        return;
      }
      align();
    }
    catchUp();
    drain();
  }

  /// The sound has ended.
  void finish(bool isWhole) {
    if (rate_ > 0) {
      align();
      finishSection();
    }
    SoundEnd end;
    end.samples = done_;
    end.sampleRate = rate_;
    end.startSeconds = clock_.seconds(0);
    end.endSeconds = clock_.seconds(done_);
    end.badSamples = badSamples_;
    end.leftOut = leftOut_;
    end.isWhole = isWhole;
    listeners_.each([&](SoundMeasurement& one) { one.finish(number_, end); });
  }

 private:
  struct Source {
    int stream = 0;
    bool began = false;
    double firstSeconds = 0.0;
    /// Zeros that were put in place of samples that had not come.
    std::size_t debt = 0;
  };

  Source& sourceOf(int stream) {
    return *std::find_if(sources_.begin(), sources_.end(),
                         [&](const Source& one) { return one.stream == stream; });
  }

  std::size_t mostLead() const { return static_cast<std::size_t>(kMostLead * rate_); }

  bool isChange(const ProgrammeBlock& block) const {
    return block.sampleRate != rate_ || (ownsItsStreams_ && block.layout != firstLayout_ &&
                                         (block.layout->channels != firstLayout_->channels ||
                                          block.layout->names != firstLayout_->names));
  }

  void startSection(const ProgrammeBlock& block) {
    rate_ = block.sampleRate;
    cell_ = 0;
    weighting_.emplace(rate_);
    const std::size_t channels = programme_.channels.size();
    samples_.resize(channels);
    for (Samples& samples : samples_) {
      samples.restart(2 * static_cast<std::size_t>(rate_ / kCellsPerSecond + 1) + kKernelHistory);
    }
    states_.assign(channels, {});
    cells_.assign(channels, {});
    SoundSection section;
    section.number = number_;
    section.programme = &programme_;
    section.sampleRate = rate_;
    section.isFirst = done_ == 0;
    section.startSeconds = block.seconds.value_or(clock_.seconds(done_));
    const int whole = 8 * bytesPerSample(*block.frame);
    const int bits = bits_ > 0 ? std::min(whole, bits_) : whole;
    // Floats have as fine steps as 24 bits where they are coarsest.
    constexpr int kBitsOfFloats = 24;
    const int steps = hasIntegerSamples(*block.frame) ? bits : kBitsOfFloats;
    section.step = lossless_ ? std::ldexp(1.0F, 1 - steps) : 0.0F;
    listeners_.each([&](SoundMeasurement& one) { one.begin(section); });
  }

  void append(Source& source, const ProgrammeBlock& block) {
    const auto count = static_cast<std::size_t>(block.samples);
    if (!source.began) {
      source.began = true;
      source.firstSeconds = block.seconds.value_or(0.0);
    }
    const std::size_t skipped = place(source, block);
    for (std::size_t i = 0; i < programme_.channels.size(); ++i) {
      const SoundChannel& channel = programme_.channels[i];
      if (channel.stream != source.stream) {
        continue;
      }
      float* values = samples_[i].append(count);
      badSamples_ += writeFractions(*block.frame, channel.channel, values);
      if (skipped > 0) {
        std::copy(values + skipped, values + count, values);
        samples_[i].drop(skipped);
      }
    }
  }

  /// Brings the samples of a stream to where the block stands: with zeros before it, or by leaving
  /// out as many of its first samples as are returned.
  std::size_t place(Source& source, const ProgrammeBlock& block) {
    const auto count = static_cast<std::size_t>(block.samples);
    const int64_t at = done_ + static_cast<int64_t>(waitingOf(source));
    if (source.stream == clockStream_) {
      setClock(at, block.seconds);
      return 0;
    }
    if (!aligned_) {
      return 0;  // they are put in order together
    }
    int64_t late = -static_cast<int64_t>(source.debt);
    if (block.seconds.has_value()) {
      const double seconds = *block.seconds - clock_.seconds(at);
      if (!(std::abs(seconds) <= 2.0 * kMostLead)) {
        return 0;  // a time that nobody can mean
      }
      late = std::llround(seconds * rate_);
    }
    const auto off = static_cast<std::size_t>(std::abs(late));
    if (source.debt == 0 && off <= static_cast<std::size_t>(kSamePlace * rate_)) {
      return 0;
    }
    source.debt = 0;
    if (late > 0) {
      addZeros(source, off);
      return 0;
    }
    const std::size_t skipped = std::min(off, count);
    source.debt = off - skipped;
    return skipped;
  }

  void setClock(int64_t at, std::optional<double> seconds) {
    if (!seconds.has_value()) {
      if (at == 0) {
        clock_.add(0, 0.0, rate_);
      }
      return;
    }
    const double expected = clock_.seconds(at);
    if (at > 0 && *seconds > expected + kSkip) {
      listeners_.each([&](SoundMeasurement& one) { one.jump(number_, expected, *seconds); });
    }
    clock_.add(at, *seconds, rate_);
  }

  std::size_t waitingOf(const Source& source) const {
    for (std::size_t i = 0; i < programme_.channels.size(); ++i) {
      if (programme_.channels[i].stream == source.stream) {
        return samples_[i].waiting();
      }
    }
    return 0;
  }

  /// Streams that begin later than the first one have zeros before them.
  void align() {
    if (std::exchange(aligned_, true) || sources_.size() < 2) {
      return;
    }
    const Source* first = nullptr;
    for (const Source& source : sources_) {
      const bool isEarlier = first == nullptr || source.firstSeconds < first->firstSeconds;
      first = source.began && isEarlier ? &source : first;
    }
    if (first == nullptr) {
      return;
    }
    for (const Source& source : sources_) {
      const double late = source.began ? source.firstSeconds - first->firstSeconds : 0.0;
      if (late > kSameTime && late <= kMostLead) {
        addZeros(source, static_cast<std::size_t>(std::llround(late * rate_)), true);
      }
    }
    clockStream_ = first->stream;
    clock_ = {};
    clock_.add(0, first->firstSeconds, rate_);
  }

  void addZeros(const Source& source, std::size_t count, bool before = false) {
    for (std::size_t i = 0; i < programme_.channels.size(); ++i) {
      if (programme_.channels[i].stream != source.stream) {
        continue;
      }
      if (before) {
        samples_[i].insertZeros(count);
      } else {
        std::fill_n(samples_[i].append(count), count, 0.0F);
      }
    }
  }

  /// A stream that has nothing for long is silent meanwhile.
  void catchUp() {
    if (sources_.size() < 2) {
      return;
    }
    std::size_t most = 0;
    for (const Samples& samples : samples_) {
      most = std::max(most, samples.waiting());
    }
    if (most >= mostLead()) {
      fillUp(most);
    }
  }

  void fillUp(std::size_t most) {
    for (Source& source : sources_) {
      const std::size_t missing = most - waitingOf(source);
      source.debt += missing;
      addZeros(source, missing);
    }
  }

  std::size_t waiting() const {
    std::size_t least = std::numeric_limits<std::size_t>::max();
    for (const Samples& samples : samples_) {
      least = std::min(least, samples.waiting());
    }
    return samples_.empty() ? 0 : least;
  }

  void drain() {
    for (;;) {
      const int length = cellLength(cell_, rate_);
      if (waiting() < static_cast<std::size_t>(length) || samples_.empty()) {
        return;
      }
      measure(length, true);
      ++cell_;
    }
  }

  /// All that is left.
  void finishSection() {
    std::size_t most = 0;
    for (const Samples& samples : samples_) {
      most = std::max(most, samples.waiting());
    }
    fillUp(most);
    drain();
    const auto rest = static_cast<int>(waiting());
    if (!samples_.empty()) {
      measure(rest, false);
    }
  }

  void measure(int count, bool complete) {
    const SoundNeeds& needs = listeners_.needs();
    for (std::size_t i = 0; i < samples_.size(); ++i) {
      ChannelCell& cell = cells_[i];
      ChannelState& state = states_[i];
      cell = {.samples = samples_[i].next()};
      const LevelSums sums = measureLevels(cell.samples, count);
      cell.highest = sums.highest;
      cell.lowest = sums.lowest;
      cell.sum = sums.sum;
      cell.squares = sums.squares;
      if (needs.weighting && rate_ >= kLeastWeightedRate) {
        cell.weightedSquares = weighting_->energy(state.weighting, cell.samples, count);
      }
      if (needs.truePeak) {
        measureTruePeak(cell, state, sums, count, complete);
      }
    }
    SoundCell cell;
    cell.programme = number_;
    cell.firstSample = done_;
    cell.samples = count;
    cell.sampleRate = rate_;
    cell.complete = complete;
    cell.channels = cells_;
    cell.clock = &clock_;
    PairCell front;
    PairCell surround;
    if (needs.pairs) {
      cell.pair = measurePair(programme_.left, programme_.right, count, front);
      cell.surroundPair =
          measurePair(programme_.leftSurround, programme_.rightSurround, count, surround);
    }
    listeners_.each([&](SoundMeasurement& one) { one.take(cell); });
    done_ += count;
    for (Samples& samples : samples_) {
      samples.advance(static_cast<std::size_t>(count));
    }
  }

  /// Between the samples only where something can be larger than what is known, or than what is
  /// asked for. What would ring after an abrupt end is not in the sound.
  void measureTruePeak(ChannelCell& cell, ChannelState& state, const LevelSums& sums, int count,
                       bool complete) {
    const float peak = std::max(cell.peak(), state.peakBefore);
    const float bend = std::max(sums.bend, state.bendBefore);
    const float most = (peak + betweenPerBend() * bend) * kRounding;
    state.highestSoFar = std::max(state.highestSoFar, cell.peak());
    const bool isBound = complete && count >= kKernelHistory;
    if (!isBound || most > std::min(state.highestSoFar, listeners_.needs().truePeakLimit)) {
      cell.truePeak = std::max(cell.peak(), largestBetween(cell.samples, count));
      state.highestSoFar = std::max(state.highestSoFar, cell.truePeak);
    }
    state.peakBefore = cell.peak();
    state.bendBefore = sums.bend;
  }

  const PairCell* measurePair(int one, int other, int count, PairCell& pair) const {
    if (one < 0 || other < 0) {
      return nullptr;
    }
    const DifferenceSums sums =
        measureDifference(cells_[static_cast<std::size_t>(one)].samples,
                          cells_[static_cast<std::size_t>(other)].samples, count);
    pair.differenceSquares = sums.squares;
    pair.isEqual = sums.largest == 0.0F;
    return &pair;
  }

  std::size_t number_;
  SoundProgramme programme_;
  Listeners& listeners_;
  /// It alone takes from its only stream, so that it can change with it.
  bool ownsItsStreams_;
  bool lossless_ = true;
  int bits_ = 0;
  std::vector<Source> sources_;
  int clockStream_ = -1;  ///< by whose time stamps the programme goes
  std::shared_ptr<const SoundLayout> firstLayout_;
  bool aligned_ = false;
  int rate_ = 0;
  int64_t cell_ = 0;  ///< of the section
  int64_t done_ = 0;  ///< samples of the programme
  int64_t badSamples_ = 0;
  int64_t leftOut_ = 0;
  SoundClock clock_;
  std::optional<KWeighting> weighting_;
  std::vector<Samples> samples_;
  std::vector<ChannelState> states_;
  std::vector<ChannelCell> cells_;
};

SoundEngine::SoundEngine(std::string setting)
    : setting_(std::move(setting)), listeners_(std::make_unique<Listeners>()) {}

SoundEngine::~SoundEngine() = default;

void SoundEngine::add(ProgrammeMeasurement& measurement) {
  listeners_->add(dynamic_cast<SoundMeasurement&>(measurement));
}

std::exception_ptr SoundEngine::errorOf(const ProgrammeMeasurement& measurement) const {
  return listeners_->errorOf(measurement);
}

void SoundEngine::begin(const ProgrammeFacts& facts) {
  const SoundProgrammes found = findSoundProgrammes(facts, setting_);
  listeners_->each([&](SoundMeasurement& one) { one.start(found, facts); });
  for (std::size_t i = 0; i < found.all.size(); ++i) {
    const SoundProgramme& programme = found.all[i];
    const auto sharing = std::count_if(
        found.all.begin(), found.all.end(),
        [&](const SoundProgramme& other) { return other.streams == programme.streams; });
    feeds_.push_back(
        std::make_unique<Feed>(i, programme, facts, *listeners_, sharing == 1 && setting_.empty()));
  }
}

void SoundEngine::take(const ProgrammeBlock& block) {
  for (const auto& feed : feeds_) {
    if (feed->takesFrom(block.stream)) {
      feed->take(block);
    }
  }
}

void SoundEngine::end(const ProgrammeEnd& end) {
  for (const auto& feed : feeds_) {
    feed->finish(!end.stopped);
  }
}

}  // namespace qatester
