#include "tester/AudioRun.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "foundation/Conversions.h"
#include "media/FileClock.h"
#include "media/OxWrap.h"
#include "media/SampleIntegers.h"
#include "media/SampleValues.h"
#include "tester/Reasons.h"
#include "tester/StreamSetup.h"

namespace qatester {

namespace {

using Bound = AudioCheckProfile::Bound;
using Refusal = AudioCheckProfile::Refusal;
using Streams = AudioCheckProfile::Streams;

/// Channels of all streams together, far more than any file has: no decoder opens with more than
/// 512, and a file of a few bytes may claim hundreds of millions.
constexpr int64_t kMostChannels = 1000000;

/// What a record can have entries for.
int believable(int channels, int streams) {
  return int64_t{channels} * streams > kMostChannels ? 0 : std::max(0, channels);
}

/// Sound that ends this much before the container says is still all of it: packets and rounding.
constexpr double kEndToleranceSeconds = 1.0;
constexpr double kEndToleranceShare = 0.02;

}  // namespace

AudioRun::AudioRun(const CheckContext& context, const AudioCheckProfile& profile,
                   AudioMeasurement& measurement)
    : CheckRun(context, profile.check), profile_(profile), measurement_(measurement) {}

void AudioRun::begin() {
  CheckRun::begin();
  plan_.cycles = context_.whole(*check_.budget);
}

std::vector<int> AudioRun::streamsOf(OxWrap& wrap) const {
  const int all = static_cast<int>(wrap.getNumberOfAudioStreams());
  const int pair = hasStreamPerChannel(streamSetupOf(wrap.getNumberOfAudioStreams())) ? 2 : 1;
  std::vector<int> streams(
      static_cast<std::size_t>(profile_.streams == Streams::all ? all : std::min(pair, all)));
  for (std::size_t i = 0; i < streams.size(); ++i) {
    streams[i] = static_cast<int>(i);
  }
  return streams;
}

void AudioRun::open(OxWrap& wrap, Buffering& buffering) {
  if (wrap.formatContext == nullptr) {
    refuseUnopened(wrap);
    return;
  }
  outcome_.opened = true;
  plan_.streams = static_cast<int>(wrap.getNumberOfAudioStreams());
  plan_.setup = streamSetupOf(wrap.getNumberOfAudioStreams());
  if (profile_.refusal == Refusal::beforeBuffering && !acceptsSetup()) {
    return;
  }
  if (check_.logsBuffering) {
    log("Buffering...");
  }
  declaredSeconds_ = declaredSeconds(wrap);
  for (const int stream : streamsOf(wrap)) {
    streams_.push_back(wrap.getAudioStream(static_cast<unsigned short>(stream)));
  }
  buffering.start();
  if (streams_.empty()) {
    log(profile_.noStream);
    message("No Audio Stream.");
    outcome_.subjectAbsent = true;
    refuse(streamSetupReason(0));
    return;
  }
  if (profile_.refusal == Refusal::afterBuffering && !acceptsSetup()) {
    return;
  }
  plan_.channels = believable(streams_.front()->getNumberOfChannels(), plan_.streams);
  startSlate();
}

bool AudioRun::acceptsSetup() {
  if (plan_.setup == QA_STREAM_SETUP_UNSUPPORTED) {
    log("Unsupported stream layout, bailing out.");
    message("Unsupported stream setup");
    refuse(streamSetupReason(static_cast<unsigned>(plan_.streams)));
    return false;
  }
  log(std::string("Audio Setup is ") + streamSetupText(plan_.setup));
  if (plan_.setup == QA_STREAM_SETUP_THREE_STEREO && profile_.threeStreamsWarning != nullptr) {
    log(profile_.threeStreamsWarning);
  }
  return true;
}

void AudioRun::startSlate() {
  log("Dumping slate...");
  const int64_t rate = streams_.front()->sampleRate;
  total_ = streams_.front()->durationSeconds * rate;
  slate_ = context_.slateSeconds * rate;
  slateLeft_ = slate_;
  if (total_ <= slate_) {
    startMeasuring();
  } else if (slateLeft_ <= 0) {
    startSilence();
  }
}

std::optional<std::size_t> AudioRun::wanted() {
  // A stop is seen between cycles.
  if (next_ == 0 && context_.stopped()) {
    if (phase_ == Phase::slate || phase_ == Phase::silence) {
      startMeasuring();
    }
    if (phase_ == Phase::measuring) {
      stopMeasuring();
      giveFigures();
    }
  }
  return phase_ == Phase::satisfied ? std::nullopt : std::optional(next_);
}

void AudioRun::offer(const std::function<AudioBlock()>& take) {
  switch (phase_) {
    case Phase::slate:
      offerToSlate(take());
      break;
    case Phase::silence:
      offerToSilence(take());
      break;
    default:
      offerToMeasurement(take);
  }
}

void AudioRun::count(const AudioBlock& block) {
  if (next_ == 0) {
    instants_ += block.count() / std::max(1, block.channels());
  }
}

/// A block of each stream at a time is dropped until the last stream's values, of all its channels,
/// make up the slate. With fixed pauses there is no giving up.
void AudioRun::offerToSlate(const AudioBlock& block) {
  count(block);
  lastValues_ = block.count();
  next_ = (next_ + 1) % streams_.size();
  if (next_ != 0) {
    return;
  }
  slateLeft_ -= lastValues_;
  if (lastValues_ == 0 && context_.untilReady()) {
    nothingLeft_ =
        "the sound ends within the slate of " + std::to_string(context_.slateSeconds) + " s";
    startMeasuring();
  } else if (slateLeft_ <= 0) {
    startSilence();
  }
}

void AudioRun::startSilence() {
  if (profile_.skipsSilence) {
    phase_ = Phase::silence;
    anyInCycle_ = false;
  } else {
    startMeasuring();
  }
}

/// Blocks up to and including the first whose first value is not silent are dropped. With fixed
/// pauses there is no giving up.
void AudioRun::offerToSilence(const AudioBlock& block) {
  count(block);
  if (getAudioValue(block.samples(), 0) != 0.0) {
    next_ = 0;
    startMeasuring();
    return;
  }
  anyInCycle_ = anyInCycle_ || !block.empty();
  next_ = (next_ + 1) % streams_.size();
  if (next_ == 0) {
    if (!anyInCycle_ && context_.untilReady()) {
      nothingLeft_ = "silent from the slate to the end";
      startMeasuring();
    }
    anyInCycle_ = false;
  }
}

void AudioRun::startMeasuring() {
  if (profile_.bound == Bound::instants) {
    plan_.cycles = clampToInt(std::min<int64_t>(plan_.cycles, total_ - slate_));
  } else if (profile_.bound == Bound::blocks && lastValues_ > 0) {
    plan_.cycles = clampToInt(std::min<int64_t>(plan_.cycles, (total_ - slate_) / lastValues_));
  }
  if (profile_.preparing != nullptr) {
    log(profile_.preparing);
  }
  log("Starting Checks.");
  measurement_.begin(plan_);
  startSeries();
  beginMeasuring();
  outcome_.startSeconds = secondsTaken();
  outcome_.budget = plan_.cycles;
  phase_ = Phase::measuring;
  if (nothingLeft_ || plan_.cycles <= 0) {
    stopMeasuring();
  }
}

void AudioRun::offerToMeasurement(const std::function<AudioBlock()>& take) {
  if (!guarded([&] { measure(take()); })) {
    stopMeasuring();
  }
  giveFigures();
}

void AudioRun::startSeries() {
  if (!series_.isWanted()) {
    return;
  }
  for (BlockSeries& its : measurement_.beginSeries()) {
    figures_.push_back(
        series_.begin(QASeries::Per::classicBlock, std::move(its.columns), std::move(its.part)));
  }
}

/// What a sink throws ends the check, whatever becomes of other exceptions.
void AudioRun::giveFigures() {
  if (figures_.empty()) {
    return;
  }
  for (const BlockFigures& its : measurement_.takeFigures()) {
    while (!begun_.empty() && begun_.front().first < its.cycle) {
      begun_.pop_front();
    }
    if (!begun_.empty()) {
      figures_[its.series].add(its.cycle, startSeconds_ + begun_.front().second, its.values);
    }
  }
}

void AudioRun::measure(const AudioBlock& block) {
  if (!figures_.empty() && next_ == 0) {
    begun_.emplace_back(cycle_, secondsTaken());
  }
  count(block);
  if (block.empty()) {
    blocksEnded_ = true;
    stopMeasuring();
    return;
  }
  const bool hasValues = isIntegerFormat(block.format());
  switch (measurement_.add(cycle_, static_cast<int>(next_), block)) {
    case Taken::measured:
      measuredInCycle_ = measuredInCycle_ || hasValues;
      outcome_.measured = outcome_.measured || hasValues;
      break;
    case Taken::endsCheck:
      stopMeasuring();
      return;
    default:
      break;
  }
  next_ = (next_ + 1) % streams_.size();
  if (next_ != 0) {
    return;
  }
  outcome_.count += measuredInCycle_ ? 1 : 0;
  measuredInCycle_ = false;
  advance(cycle_, plan_.cycles);
  if (++cycle_ >= plan_.cycles) {
    stopMeasuring();
  }
}

void AudioRun::stopMeasuring() {
  if (phase_ == Phase::satisfied) {
    return;
  }
  phase_ = Phase::satisfied;
  guarded([&] { measurement_.end(); });
  outcome_.endSeconds = secondsTaken();
  const double tolerance = std::max(kEndToleranceSeconds, kEndToleranceShare * declaredSeconds_);
  outcome_.reachedEnd =
      blocksEnded_ && declaredSeconds_ > 0.0 && outcome_.endSeconds >= declaredSeconds_ - tolerance;
  if (outcome_.reason.empty()) {
    outcome_.reason = silentStreamReasons();
  }
}

void AudioRun::conclude() {
  guarded([&] { measurement_.conclude(); });
}

void AudioRun::describe() {
  measurement_.describe(outcome_);
}

double AudioRun::secondsTaken() const {
  return static_cast<double>(instants_) / std::max(1, streams_.front()->sampleRate);
}

std::string AudioRun::silentStreamReasons() const {
  for (std::size_t stream = 0; stream < streams_.size(); ++stream) {
    const std::string reason = silentStreamReason(*streams_[stream]);
    if (!reason.empty()) {
      return "stream " + std::to_string(stream) + ": " + reason;
    }
  }
  return "";
}

std::string AudioRun::reasonForNothing() const {
  if (context_.stopped()) {
    return "stopped before the first block";
  }
  if (nothingLeft_) {
    return *nothingLeft_;
  }
  if (plan_.cycles <= 0) {
    return "too short, or of unknown duration: nothing is left to measure";
  }
  return "no block could be decoded";
}

double AudioRun::share() const {
  if (hasEnded()) {
    return 1.0;
  }
  if (streams_.empty()) {
    return 0.0;
  }
  constexpr double kSlateShare = 0.5;
  if (phase_ == Phase::slate) {
    const auto slate = static_cast<double>(std::max<int64_t>(1, slate_));
    return kSlateShare * std::clamp(1.0 - static_cast<double>(slateLeft_) / slate, 0.0, 1.0);
  }
  const double ofBudget = static_cast<double>(cycle_) / std::max(1, plan_.cycles);
  const double ofSound = declaredSeconds_ > 0.0 ? secondsTaken() / declaredSeconds_ : 0.0;
  return kSlateShare + (1.0 - kSlateShare) * std::clamp(std::max(ofBudget, ofSound), 0.0, 1.0);
}

/// Runs `step`; where the check asks for it, an exception ends the step alone and the answer is
/// false.
bool AudioRun::guarded(const std::function<void()>& step) {
  if (!profile_.logsExceptions) {
    step();
    return true;
  }
  try {
    step();
    return true;
  } catch (const std::exception& exception) {
    // The log has the base class's words, required; the reason says more.
    log(std::string("Exception ...") + std::exception().what());
    outcome_.reason = std::string("cut short by an exception: ") + exception.what();
    return false;
  }
}

}  // namespace qatester
