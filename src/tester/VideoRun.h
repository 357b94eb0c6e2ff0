#pragma once

#include <optional>
#include <vector>

#include "media/DecodedPicture.h"
#include "tester/CheckRun.h"
#include "tester/Taken.h"

class OxVideoStream;

namespace qatester {

/// The frames of a slate of whole seconds: a product in single precision, truncated.
int slateFrames(int slateSeconds, float fps);

/// `budget`, or what is available after the slate less one second's worth of frames if that is
/// exceeded; possibly 0 or less.
int boundBudget(int budget, float fps, double durationSeconds, int slateFrames);

/// What distinguishes one video check from the others before it measures anything.
struct VideoCheckProfile {
  /// A budget of null: the number of frames is what `bound` makes of 0.
  CheckProfile check;

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
  /// It only counts the pictures, unless they are displayed: to be converted is all that it asks of
  /// one, and that goes by its format and size.
  bool countsOnly = false;
  /// The number of frames that will be asked for.
  int (*bound)(int budget, float fps, double durationSeconds, int slateFrames) = boundBudget;
  /// Logged when there is no bounding the budget, which then stays as it is; null: what `bound`
  /// throws ends the check.
  const char* boundFailure = nullptr;
};

/// What a video check measures. Takes pictures from wherever they come.
class VideoMeasurement {
 public:
  virtual ~VideoMeasurement() = default;

  /// Called once, before the first picture, with the stream's declared frames per second and the
  /// number of pictures that will be asked for (0 or less: none).
  virtual void begin(float fps, int budget) = 0;

  /// Measures the picture of this index. Its planes are valid during the call.
  virtual Taken add(int index, const DecodedPicture& picture) = 0;

  /// The figures that it has of single pictures, for a series; none: there is no series.
  virtual std::vector<QASeriesColumn> columns() const { return {}; }
  /// Those of the picture that was measured last; empty: it has none.
  virtual std::vector<double> figures() const { return {}; }

  /// Adds values, limits and the like to an outcome, whose counts are there already; for one that
  /// did not begin the values of an empty record.
  virtual void describe(QACheckOutcome& outcome) const = 0;
};

/// One run of a video check. It sees a reading of the file from its first picture on.
class VideoRun : public CheckRun {
 public:
  VideoRun(const CheckContext& context, const VideoCheckProfile& profile,
           VideoMeasurement& measurement);

  VideoRun* asVideo() override { return this; }
  const VideoCheckProfile& profile() const { return profile_; }

  void begin() override;

  /// Starts buffering unless the file is refused at once. The run has then ended, or wants pictures
  /// from the first one on.
  void open(OxWrap& wrap, Buffering& buffering);

  /// It looks at no picture: neither measures it nor displays it.
  bool onlyCounts() const;

  /// How many pictures it would only count, from now on; empty where it looks at them.
  std::optional<int> leftToCount() const;

  /// Whether another picture is wanted. A run that wants none is to be finished.
  bool wantsMore();

  /// Takes the next picture; null: none came. True when the reading should pause before it tries
  /// again.
  bool offer(const DecodedPicture* picture);

  /// Says the closing lines and makes the outcome.
  void finish(Buffering& buffering) { CheckRun::finish(buffering); }

  double share() const override;

 protected:
  void describe() override;
  std::string reasonForNothing() const override;

 private:
  enum class Phase { slate, measuring, satisfied };

  void readBudget();
  void startMeasuring();
  void boundTheBudget();
  bool offerToSlate(const DecodedPicture* picture);
  bool offerToMeasurement(const DecodedPicture* picture);
  void note(Taken taken, const DecodedPicture& picture);

  const VideoCheckProfile& profile_;
  VideoMeasurement& measurement_;
  OxVideoStream* video_ = nullptr;
  Phase phase_ = Phase::slate;
  float fps_ = 0.0F;
  int slate_ = 0;  ///< frames
  int slateLeft_ = 0;
  int index_ = 0;
  int misses_ = 0;
  bool endedInSlate_ = false;
  SeriesOutput figures_;
};

/// A run with its measurement.
template <typename Measurement>
using VideoCheck = CheckOf<VideoRun, VideoCheckProfile, Measurement>;

/// Opens the file and runs the check on it: open, buffer, detect, skip the slate, bound the budget,
/// loop with progress, stop, close the displays. Logs every status line and tells the listener and
/// the outcome sink.
///
/// Returns whether the measurement was begun; a check that could not run returns its zeroed record.
bool runVideoCheck(const CheckContext& context, const VideoCheckProfile& profile,
                   VideoMeasurement& measurement);

}  // namespace qatester
