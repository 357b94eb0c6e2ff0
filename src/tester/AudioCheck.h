#pragma once

#include "media/AudioBlock.h"
#include "tester/CheckContext.h"
#include "tester/QAEnums.h"

namespace qatester {

/// What distinguishes one audio check from the others before it measures anything.
struct AudioCheckProfile {
  /// The prefix of every status line, such as "QALevels".
  const char* tag;
  const char* budgetKey;
  Progress::Slot progress;
  /// In blocks, as text.
  const char* budgetDefault = "100";

  // Required deviations of single checks.

  enum class Streams {
    all,
    programme,  ///< the first two of four or eight, otherwise the first alone
  };
  Streams streams = Streams::programme;

  /// When a file whose number of streams is unsupported is turned away.
  enum class Refusal { never, beforeBuffering, afterBuffering };
  Refusal refusal = Refusal::beforeBuffering;

  /// What cuts the budget down to the sound behind the slate.
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
  /// "Buffering..." and "Stopping Test..." are logged, the former before the stream is asked for.
  bool logsBuffering = true;
  /// Leading blocks whose first value is silent are left out after the slate.
  bool skipsSilence = false;
  /// All display windows are closed at the end.
  bool closesWindows = true;
  const char* complete = "Test Complete.";
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

/// What became of a block that a measurement was given.
enum class Heard {
  measured,
  nothing,   ///< it waits for its partner, or has none
  endsCheck  ///< the same, and no further block is wanted
};

/// What an audio check measures. Takes blocks from wherever they come.
class AudioMeasurement {
 public:
  virtual ~AudioMeasurement() = default;

  /// Called once, before the first block.
  virtual void begin(const AudioPlan& plan) = 0;

  /// Measures one block of a stream (counted from 0), which holds at least one value. The streams
  /// that are read come in turn, one block each a cycle.
  virtual Heard add(int cycle, int stream, AudioBlock block) = 0;

  /// Called once, after the last block.
  virtual void end() {}

  /// Called once, when buffering has stopped: makes the result of what was measured.
  virtual void conclude() {}

  /// Adds limits, figures and the like, for the outcome sink.
  virtual void describe(QACheckOutcome& outcome) const = 0;
};

/// The steps that all audio checks share: open, buffer, classify, skip the slate, bound the budget,
/// loop with progress, stop, close the displays. Logs every status line and tells the listener and
/// the outcome sink.
///
/// Returns whether the measurement was begun; a check that could not run returns its empty result.
bool runAudioCheck(const CheckContext& context, const AudioCheckProfile& profile,
                   AudioMeasurement& measurement);

}  // namespace qatester
