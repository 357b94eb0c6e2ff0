#pragma once

#include <cstdint>
#include <exception>
#include <limits>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "foundation/Export.h"

/// What came of a check.
enum class QAState {
  notMeasured,  ///< it could not run, or was stopped before its end; the outcome's reason says why
  pass,         ///< what it measured lies inside its limits
  info,         ///< it measures without judging
  warn,         ///< a limit was broken that counts for a warning
  fail,         ///< a limit was broken that counts for a failure
};

/// The state in reports: "not-measured", "pass", "info", "warn", "fail".
QATESTER_API const char* getStateText(QAState state);

/// How much weight a finding of a check has.
enum class QASeverity {
  off,   ///< the check is not run
  info,  ///< it says what it finds, and nothing is judged by it
  warn,  ///< a broken limit is a warning
  fail,  ///< a broken limit is a failure
};

/// "off", "info", "warn" or "fail".
QATESTER_API const char* getSeverityText(QASeverity severity);

/// What a check compared its measures with. Both limits are outside: what lies between them is
/// good.
struct QALimits {
  /// What they hold for: the key of a value, such as "meanShare", or a letter for each colour
  /// channel, such as "RGB".
  std::string of = {};
  /// Minus infinity: there is none.
  double min = -std::numeric_limits<double>::infinity();
  /// Infinity: there is none.
  double max = std::numeric_limits<double>::infinity();
  /// Such as "dB"; empty for code values and counts.
  std::string unit = {};
};

/// No value.
struct QANothing {
  QANothing() = default;
  // By its own hand: a variant all of whose types the library of g++ 12 takes for "never valueless"
  // is destroyed with a wrong index when copying it throws.
  /// Never throws.
  QANothing(const QANothing&) noexcept {}
  /// Never throws.
  QANothing& operator=(const QANothing&) noexcept { return *this; }
  ~QANothing() = default;
};

struct QAValue;
/// In the order in which reports have them.
using QAValues = std::vector<QAValue>;

/// One thing that a check found.
struct QAValue {
  /// The name of the record's field, or of a figure beside it, such as "meanShare".
  std::string key;
  /// Nothing, a flag, a whole number, a number, a text, a list of numbers, of whole numbers, or of
  /// records.
  std::variant<QANothing, bool, int64_t, double, std::string, std::vector<double>,
               std::vector<int64_t>, std::vector<QAValues>>
      value;
  /// Such as "fps" or "s"; empty for flags, texts, counts and code values.
  std::string unit;
};

/// A stretch of the file that a check points at. Fields that do not apply are empty.
struct QAEvent {
  /// Seconds of presentation from the start of the file.
  std::optional<double> startSeconds = {};
  /// Where the next good picture or sample stands, in the same seconds.
  std::optional<double> endSeconds = {};
  std::optional<int64_t> startFrame = {};   ///< counted from 0
  std::optional<int64_t> endFrame = {};     ///< counted from 0, exclusive
  std::string startTimecode = {};           ///< of `startSeconds`
  std::string endTimecode = {};             ///< of `endSeconds`
  std::optional<double> worstSeconds = {};  ///< where it is worst
  std::optional<int64_t> worstFrame = {};   ///< where it is worst
  std::optional<double> value = {};         ///< what was found there
  std::optional<double> limit = {};         ///< what it was compared with
  /// Of the two above.
  std::string unit = {};
  /// A few words, such as "transition".
  std::string what = {};
  /// False: it is reported and not judged.
  bool breaks = true;
  std::optional<int> stream = {};   ///< counted from 0 among the audio streams
  std::optional<int> channel = {};  ///< counted from 0 among the channels of that stream
  /// "L", "R", "C", "LFE", "Ls", "Rs" or the number of the track, from 1; empty where it is not of
  /// one channel.
  std::string channelName = {};
  /// Numbers of the pictures that show it, counted from 0; empty where displays go nowhere.
  std::vector<int64_t> pictures = {};
};

/// How a check went: all that a report says of it.
struct QACheckOutcome {
  /// Its name in `allChecks()`, such as "frame-rate".
  std::string name;
  /// Its tag in the log, such as "QAFramerate".
  std::string tag;

  /// What came of it.
  QAState state = QAState::notMeasured;
  /// What a broken limit counts for.
  QASeverity severity = QASeverity::fail;
  /// A limit was broken, whatever the severity makes of it.
  bool broken = false;
  /// The result record, field by field under the fields' names, then figures beside it: counts,
  /// budgets and what else the check came to. Zero values, as the record has them, when the check
  /// could not run. Empty when there is no record at all.
  QAValues values;
  /// The values for a person, with units, in one line; empty when nothing was measured.
  std::string summary;
  /// Why nothing was measured, why frames that came were left out, or why the file is not valid;
  /// empty otherwise. Always there with `QAState::notMeasured`.
  std::string reason;
  /// The reason holds for the whole file, whatever the check: it did not open, say.
  bool reasonIsOfFile = false;
  /// What the check looks at is not there, such as sound: not being measured harms nothing then.
  bool subjectAbsent = false;
  /// The limits in effect; empty where a check has none.
  std::vector<QALimits> limits;
  /// In the order of time; the worst of them where there are too many.
  std::vector<QAEvent> events;
  /// How many there were in all.
  int64_t eventCount = 0;

  /// Whether the file opened as a media file.
  bool opened = false;
  /// Whether the check began to measure: it was not refused before.
  bool began = false;
  /// Whether the result rests on at least one frame or block (for `isValidFile`: on a file that
  /// opened).
  bool measured = false;
  /// A stop was asked for while the check ran: the result covers what came before.
  bool stopped = false;
  /// Of audio checks: the sound ended at the declared duration before the budget was measured, so
  /// there is no more of it. False of video checks, whose budget is bounded by the duration.
  bool reachedEnd = false;
  /// Frames or blocks that were to be measured. 0 where a check counts none.
  int budget = 0;
  /// Frames or blocks that were measured, likewise.
  int count = 0;
  /// Where the stretch of sound that was measured begins, in seconds from the start of its stream.
  double startSeconds = 0.0;
  /// Where it ends, in the same seconds.
  double endSeconds = 0.0;

  std::vector<std::string> messages;  ///< that the listener heard from this check
  int failures = 0;                   ///< how often it heard `QAListener::onFailure`
  std::vector<int> progress;          ///< the percents that it heard

  /// Seconds that the check took. In `QATester::runChecks` the time of the reading that checks
  /// share is not in it.
  double seconds = 0.0;
  /// What ended the check in `QATester::runChecks`, where it leaves the others alone; null
  /// otherwise.
  std::exception_ptr error;
};
