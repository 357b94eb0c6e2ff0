#include "tester/AudioCheck.h"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "checks/audio/SampleIntegers.h"
#include "checks/audio/SampleValues.h"
#include "foundation/Conversions.h"
#include "media/OxWrap.h"
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

/// One run of an audio check.
class AudioRun {
 public:
  AudioRun(const CheckContext& context, const AudioCheckProfile& profile,
           AudioMeasurement& measurement)
      : context_(context), profile_(profile), measurement_(measurement) {
    outcome_.check = profile.tag;
  }

  bool run() {
    log("Beginning Test.");
    plan_.cycles = std::max(1, context_.intSetting(profile_.budgetKey, profile_.budgetDefault));
    OxWrap wrap(context_.fileName, {context_.options.pauses, context_.options.stop});
    const bool ran = runOn(wrap);
    outcome_.stopped = context_.stopped();
    measurement_.describe(outcome_);
    context_.finished(outcome_);
    return ran;
  }

 private:
  bool runOn(OxWrap& wrap) {
    if (wrap.formatContext == nullptr) {
      log("Failed to load file...");
      outcome_.reason = unopenedReason(wrap);
      return false;
    }
    outcome_.opened = true;
    wrap.discardVideo(true);
    plan_.streams = static_cast<int>(wrap.getNumberOfAudioStreams());
    plan_.setup = streamSetupOf(wrap.getNumberOfAudioStreams());
    if (profile_.refusal == Refusal::beforeBuffering && !acceptsSetup()) {
      return false;
    }
    if (profile_.logsBuffering) {
      log("Buffering...");
    }
    startBuffering(wrap);
    if (wrap.getAudioStream(0) == nullptr) {
      log(profile_.noStream);
      message("No Audio Stream.");
      outcome_.reason = streamSetupReason(0);
      return false;
    }
    if (profile_.refusal == Refusal::afterBuffering && !acceptsSetup()) {
      return false;
    }
    plan_.channels = believable(streams_.front()->getNumberOfChannels(), plan_.streams);
    skipSlate();
    try {
      measure();
    } catch (...) {
      closeWindows();
      throw;
    }
    if (profile_.logsBuffering) {
      log("Stopping Test...");
    }
    wrap.stopBuffering();
    closeWindows();
    guarded([&] { measurement_.conclude(); });
    log(profile_.complete);
    return true;
  }

  void closeWindows() const {
    if (profile_.closesWindows) {
      context_.displays.close();
    }
  }

  bool acceptsSetup() {
    if (plan_.setup == QA_STREAM_SETUP_UNSUPPORTED) {
      log("Unsupported stream layout, bailing out.");
      message("Unsupported stream setup");
      outcome_.reason = streamSetupReason(static_cast<unsigned>(plan_.streams));
      return false;
    }
    log(std::string("Audio Setup is ") + streamSetupText(plan_.setup));
    if (plan_.setup == QA_STREAM_SETUP_THREE_STEREO && profile_.threeStreamsWarning != nullptr) {
      log(profile_.threeStreamsWarning);
    }
    return true;
  }

  void startBuffering(OxWrap& wrap) {
    const int programme = std::min(hasStreamPerChannel(plan_.setup) ? 2 : 1, plan_.streams);
    const int count = profile_.streams == Streams::all ? plan_.streams : programme;
    std::vector<int> indices;
    for (int i = 0; i < count; ++i) {
      streams_.push_back(wrap.getAudioStream(static_cast<unsigned short>(i)));
      indices.push_back(streams_.back()->streamIndex);
    }
    if (context_.options.pauses == QAPauses::untilReady) {
      // Queues that nobody drains would fill up and hold back the blocks that are wanted.
      wrap.bufferOnly(indices);
    }
    wrap.startBuffering();
  }

  AudioBlock take(std::size_t stream) {
    OxAudioStream& source = *streams_[stream];
    const OxAudioSample samples = source.getNextSample();
    AudioBlock block(samples, source.getNumberOfChannels());
    if (stream == 0) {
      instants_ += block.count() / std::max(1, block.channels());
    }
    return block;
  }

  void skipSlate() {
    log("Dumping slate...");
    const int64_t rate = streams_.front()->sampleRate;
    const int64_t total = streams_.front()->durationSeconds * rate;
    const int64_t slate = context_.slateSeconds * rate;
    const int values = total > slate ? dropSlate(slate) : 0;
    if (total > slate && profile_.skipsSilence && !ended_) {
      dropSilence();
    }
    if (profile_.bound == Bound::instants) {
      plan_.cycles = clampToInt(std::min<int64_t>(plan_.cycles, total - slate));
    } else if (profile_.bound == Bound::blocks && values > 0) {
      plan_.cycles = clampToInt(std::min<int64_t>(plan_.cycles, (total - slate) / values));
    }
  }

  /// Drops a block of each stream at a time until the last stream's values, of all its channels,
  /// make up the slate. Returns the values of the last block dropped. With fixed pauses there is no
  /// giving up.
  int dropSlate(int64_t slate) {
    int values = 0;
    while (slate > 0 && !context_.stopped()) {
      for (std::size_t stream = 0; stream < streams_.size(); ++stream) {
        values = take(stream).count();
      }
      slate -= values;
      if (values == 0 && context_.options.pauses == QAPauses::untilReady) {
        ended_ =
            "the sound ends within the slate of " + std::to_string(context_.slateSeconds) + " s";
        break;
      }
    }
    return values;
  }

  /// Drops blocks up to and including the first whose first value is not silent. With fixed pauses
  /// there is no giving up.
  void dropSilence() {
    while (!context_.stopped()) {
      bool any = false;
      for (std::size_t stream = 0; stream < streams_.size(); ++stream) {
        const AudioBlock block = take(stream);
        if (getAudioValue(block.samples(), 0) != 0.0) {
          return;
        }
        any = any || !block.empty();
      }
      if (!any && context_.options.pauses == QAPauses::untilReady) {
        ended_ = "silent from the slate to the end";
        return;
      }
    }
  }

  void measure() {
    if (profile_.preparing != nullptr) {
      log(profile_.preparing);
    }
    log("Starting Checks.");
    measurement_.begin(plan_);
    outcome_.startSeconds = secondsTaken();
    if (!ended_) {
      guarded([&] { measureCycles(); });
    }
    measurement_.end();
    outcome_.endSeconds = secondsTaken();
    outcome_.budget = plan_.cycles;
    if (outcome_.reason.empty()) {
      outcome_.reason = silentStreamReasons();
    }
    if (!outcome_.measured && outcome_.reason.empty()) {
      outcome_.reason = reasonForNothing();
    }
  }

  void measureCycles() {
    Progress progress(context_.listener, profile_.progress, plan_.cycles);
    for (int cycle = 0; cycle < plan_.cycles && !context_.stopped(); ++cycle) {
      bool measured = false;
      for (std::size_t stream = 0; stream < streams_.size(); ++stream) {
        AudioBlock block = take(stream);
        if (block.empty()) {
          return;
        }
        const bool heard = isIntegerFormat(block.format());
        switch (measurement_.add(cycle, static_cast<int>(stream), std::move(block))) {
          case Heard::measured:
            measured = measured || heard;
            outcome_.measured = outcome_.measured || heard;
            break;
          case Heard::endsCheck:
            return;
          default:
            break;
        }
      }
      outcome_.count += measured ? 1 : 0;
      progress.measured(cycle);
    }
  }

  double secondsTaken() const {
    return static_cast<double>(instants_) / std::max(1, streams_.front()->sampleRate);
  }

  std::string silentStreamReasons() const {
    for (std::size_t stream = 0; stream < streams_.size(); ++stream) {
      const std::string reason = silentStreamReason(*streams_[stream]);
      if (!reason.empty()) {
        return "stream " + std::to_string(stream) + ": " + reason;
      }
    }
    return "";
  }

  std::string reasonForNothing() const {
    if (context_.stopped()) {
      return "stopped before the first block";
    }
    if (ended_) {
      return *ended_;
    }
    if (plan_.cycles <= 0) {
      return "too short, or of unknown duration: nothing is left to measure";
    }
    return "no block could be decoded";
  }

  /// Runs `step`; where the check asks for it, an exception ends the step alone.
  void guarded(const std::function<void()>& step) {
    if (!profile_.logsExceptions) {
      step();
      return;
    }
    try {
      step();
    } catch (const std::exception& exception) {
      // The log has the base class's words, required; the reason says more.
      log(std::string("Exception ...") + std::exception().what());
      outcome_.reason = std::string("cut short by an exception: ") + exception.what();
    }
  }

  void log(const std::string& text) const { context_.log(line(text)); }
  void message(const std::string& text) const { context_.message(line(text)); }
  std::string line(const std::string& text) const {
    return profile_.tag + std::string(": ") + text;
  }

  const CheckContext& context_;
  const AudioCheckProfile& profile_;
  AudioMeasurement& measurement_;
  QACheckOutcome outcome_;
  AudioPlan plan_;
  std::vector<OxAudioStream*> streams_;
  /// Taken from the first stream.
  int64_t instants_ = 0;
  /// Why there is nothing behind what was skipped.
  std::optional<std::string> ended_;
};

}  // namespace

bool runAudioCheck(const CheckContext& context, const AudioCheckProfile& profile,
                   AudioMeasurement& measurement) {
  return AudioRun(context, profile, measurement).run();
}

}  // namespace qatester
