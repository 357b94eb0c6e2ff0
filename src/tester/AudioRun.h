#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "media/AudioBlock.h"
#include "tester/CheckRun.h"
#include "tester/QAEnums.h"
#include "tester/Taken.h"

class OxAudioStream;

namespace qatester {

/// What distinguishes one audio check from the others before it measures anything.
struct AudioCheckProfile {
  CheckProfile check;

  // Required deviations of single checks.

  enum class Streams {
    all,
    programme,  ///< the first two of four or eight, otherwise the first alone
  };
  Streams streams = Streams::programme;

  /// When a file whose number of streams is unsupported is turned away.
  enum class Refusal { never, beforeBuffering, afterBuffering };
  Refusal refusal = Refusal::beforeBuffering;

  /// What cuts the budget down to the sound after the slate.
  enum class Bound {
    none,
    instants,  ///< its length in instants, as if a block were no longer than one
    blocks,    ///< its length in blocks as long as the slate's last, whose values count as instants
  };
  Bound bound = Bound::none;

  /// The log's words for a missing stream; the listener always hears "No Audio Stream.".
  const char* noStream = "No audio stream.";
  /// Logged before buffering where there are three streams; null for nothing.
  const char* threeStreamsWarning = nullptr;
  /// Logged between the slate and "Starting Checks."; null for nothing.
  const char* preparing = nullptr;
  /// Leading blocks whose first value is silent are left out after the slate.
  bool skipsSilence = false;
  /// A std::exception ends the measuring, or the conclusion, and is logged instead of passed on.
  bool logsExceptions = false;
};

/// What is measured, and of what.
struct AudioPlan {
  QA_StreamSetup setup = QA_STREAM_SETUP_UNSUPPORTED;
  int streams = 0;   ///< audio streams of the file
  int channels = 0;  ///< of its first stream
  int cycles = 0;    ///< how many blocks of each stream read will be asked for; 0 or less: none
};

/// What an audio check measures of single blocks: a series of one of its streams or of all
/// together.
struct BlockSeries {
  std::string part = {};  ///< as `QASeries::part`
  std::vector<QASeriesColumn> columns = {};
};

/// The figures of the blocks of a cycle.
struct BlockFigures {
  std::size_t series = 0;  ///< which of the check's
  int cycle = 0;
  std::vector<double> values = {};
};

/// What an audio check measures. Takes blocks from wherever they come.
class AudioMeasurement {
 public:
  virtual ~AudioMeasurement() = default;

  /// Called once, before the first block.
  virtual void begin(const AudioPlan& plan) = 0;

  /// Measures one block of a stream (counted from 0), which holds at least one value. The streams
  /// that are read come in turn, one block each a cycle.
  virtual Taken add(int cycle, int stream, const AudioBlock& block) = 0;

  /// Called once, after the last block.
  virtual void end() {}

  /// Called once, when buffering has stopped: makes the result of what was measured.
  virtual void conclude() {}

  /// Called once, after `begin`, where somebody takes figures of single blocks.
  virtual std::vector<BlockSeries> beginSeries() { return {}; }
  /// Those since the last call, cycle by cycle.
  virtual std::vector<BlockFigures> takeFigures() { return {}; }

  /// Adds values, limits and the like to an outcome, whose counts are there already; for one that
  /// did not begin the values of an empty record.
  virtual void describe(QACheckOutcome& outcome) const = 0;
};

/// One run of an audio check. It sees the streams that it wants from their first blocks on.
class AudioRun : public CheckRun {
 public:
  AudioRun(const CheckContext& context, const AudioCheckProfile& profile,
           AudioMeasurement& measurement);

  AudioRun* asAudio() override { return this; }

  void begin() override;

  /// The audio streams of an opened file, counted from 0, that the check reads.
  std::vector<int> streamsOf(OxWrap& wrap) const;

  /// Starts buffering unless the file is refused at once. The run has then ended, or wants blocks
  /// from the first ones on.
  void open(OxWrap& wrap, Buffering& buffering);

  /// The number, among its streams, of the one whose next block is wanted; empty when none is: the
  /// run is then to be finished.
  std::optional<std::size_t> wanted();

  /// Takes that block. `take` gives it, or throws what kept it from coming.
  void offer(const std::function<AudioBlock()>& take);

  /// Says the closing lines and makes the outcome.
  void finish(Buffering& buffering) { CheckRun::finish(buffering); }

  double share() const override;

 protected:
  void describe() override;
  void conclude() override;
  std::string reasonForNothing() const override;

 private:
  enum class Phase { slate, silence, measuring, satisfied };

  bool acceptsSetup();
  void count(const AudioBlock& block);
  void startSlate();
  void offerToSlate(const AudioBlock& block);
  void startSilence();
  void offerToSilence(const AudioBlock& block);
  void startMeasuring();
  void offerToMeasurement(const std::function<AudioBlock()>& take);
  void measure(const AudioBlock& block);
  void stopMeasuring();
  void startSeries();
  void giveFigures();
  double secondsTaken() const;
  std::string silentStreamReasons() const;
  bool guarded(const std::function<void()>& step);

  const AudioCheckProfile& profile_;
  AudioMeasurement& measurement_;
  AudioPlan plan_;
  std::vector<OxAudioStream*> streams_;
  Phase phase_ = Phase::slate;
  /// Whose block comes next.
  std::size_t next_ = 0;
  int64_t slate_ = 0;      ///< instants
  int64_t slateLeft_ = 0;  ///< instants, as the values of all channels are counted
  int64_t total_ = 0;      ///< instants
  int lastValues_ = 0;     ///< of the last block of the slate
  bool anyInCycle_ = false;
  bool measuredInCycle_ = false;
  int cycle_ = 0;
  /// Taken from the first stream.
  int64_t instants_ = 0;
  double declaredSeconds_ = 0.0;
  bool blocksEnded_ = false;
  /// Why nothing comes after what was skipped.
  std::optional<std::string> nothingLeft_;
  std::vector<SeriesOutput> figures_;
  /// When the cycles begin whose figures may still come.
  std::deque<std::pair<int, double>> begun_;
};

/// A run with its measurement.
template <typename Measurement>
using AudioCheck = CheckOf<AudioRun, AudioCheckProfile, Measurement>;

/// Opens the file and runs the check on it: open, buffer, classify, skip the slate, bound the
/// budget, loop with progress, stop, close the displays. Logs every status line and tells the
/// listener and the outcome sink.
///
/// Returns whether the measurement was begun; a check that could not run returns its empty result.
bool runAudioCheck(const CheckContext& context, const AudioCheckProfile& profile,
                   AudioMeasurement& measurement);

}  // namespace qatester
