#pragma once

#include "media/DecodedPicture.h"
#include "tester/CheckContext.h"

namespace qatester {

/// The frames of a slate of whole seconds: a product in single precision, truncated.
int slateFrames(int slateSeconds, float fps);

/// `budget`, or what is available after the slate less one second's worth of frames if that is
/// exceeded; possibly 0 or less.
int boundBudget(int budget, float fps, double durationSeconds, int slateFrames);

/// What distinguishes one video check from the others before it measures anything.
struct VideoCheckProfile {
  /// The prefix of every status line, such as "QAChroma".
  const char* tag;
  /// Null: there is none, the number of frames is what `bound` makes of 0.
  const char* budgetKey;
  Progress::Slot progress;
  /// In frames, as text.
  const char* budgetDefault = "100";

  // Required deviations of single checks.

  /// The check leaves the leader at the start of the file out.
  bool skipsSlate = true;
  /// The budget is read, and "Starting Checks." logged, after the pixel format and before the
  /// budget is bounded. Otherwise it is read before the file is opened and the line follows the
  /// bounding.
  bool startsBeforeBudget = false;
  /// Audio packets are dropped rather than buffered.
  bool discardsAudio = true;
  /// The listener hears of a missing video stream with a full stop, as the log does.
  bool messageEndsWithFullStop = true;
  /// All display windows are closed at the end.
  bool closesWindows = true;
  /// The number of frames that will be asked for.
  int (*bound)(int budget, float fps, double durationSeconds, int slateFrames) = boundBudget;
  /// Logged when there is no bounding the budget, which then stays as it is; null: what `bound`
  /// throws ends the check.
  const char* boundFailure = nullptr;
  /// What the first line says.
  const char* beginning = "Beginning Test.";
  /// The prefix of the line "Stopping Test..."; null: the tag.
  const char* stopTag = nullptr;
  /// "Test Complete." is logged at the end.
  bool logsCompletion = true;
};

/// What became of a picture that a measurement was given.
enum class Added {
  measured,
  gathered,            ///< it waits for more of them: no progress, and misses are counted on
  unconvertible,       ///< as if none had come
  unreadable,          ///< its pixel format is none that can be measured: the next one may be
  unreadableEndsCheck  ///< the same, and no further picture is wanted
};

/// What a video check measures. Takes pictures from wherever they come.
class VideoMeasurement {
 public:
  virtual ~VideoMeasurement() = default;

  /// Called once, before the first picture, with the stream's declared frames per second and the
  /// number of pictures that will be asked for (0 or less: none).
  virtual void begin(float fps, int budget) = 0;

  /// Measures the picture of this index. Its planes are valid during the call.
  virtual Added add(int index, const DecodedPicture& picture) = 0;

  /// Adds limits, figures and the like, for the outcome sink.
  virtual void describe(QACheckOutcome&) const {}
};

/// The steps that all video checks share: open, buffer, detect, skip the slate, bound the budget,
/// loop with progress, stop, close the displays. Logs every status line and tells the listener and
/// the outcome sink.
///
/// Returns whether the measurement was begun; a check that could not run returns its zeroed record.
bool runVideoCheck(const CheckContext& context, const VideoCheckProfile& profile,
                   VideoMeasurement& measurement);

}  // namespace qatester
