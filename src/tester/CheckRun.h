#pragma once

#include <exception>
#include <memory>
#include <string>
#include <utility>

#include "tester/CheckContext.h"
#include "tester/QACheckOutcome.h"
#include "tester/SeriesOutput.h"

class OxWrap;

namespace qatester {

class AudioRun;
class ProgrammeRun;
class VideoRun;

/// What all checks have in common before they measure anything.
struct CheckProfile {
  using Slot = void (QAListener::*)(float);

  /// In the list of checks, such as "chroma".
  const char* name;
  /// The prefix of every status line, such as "QAChroma".
  const char* tag;
  /// How many frames or blocks are to be measured; null: no setting says so.
  const QASetting* budget = nullptr;
  /// Where percents go; null: nowhere.
  Slot progress = nullptr;

  // Required deviations of single checks.

  /// What the first line says.
  const char* beginning = "Beginning Test.";
  /// The prefix of the line "Stopping Test..."; null: the tag.
  const char* stopTag = nullptr;
  /// "Buffering..." and "Stopping Test..." are logged.
  bool logsBuffering = true;
  /// All display windows are closed at the end.
  bool closesWindows = true;
  /// What the last line says; null: there is none.
  const char* complete = "Test Complete.";
};

/// Starts and stops the buffering of a reading that feeds runs.
class Buffering {
 public:
  virtual ~Buffering() = default;
  virtual void start() = 0;
  virtual void stop() = 0;
};

/// One run of one check on one file. A reading opens the file and feeds it: `VideoRun` takes
/// pictures, `AudioRun` blocks of sound. The run knows what it wants, says its status lines, tells
/// the listener, and ends with an outcome.
class CheckRun {
 public:
  CheckRun(const CheckContext& context, const CheckProfile& profile);
  virtual ~CheckRun() = default;
  CheckRun(const CheckRun&) = delete;
  CheckRun& operator=(const CheckRun&) = delete;

  /// The run as what it is; null otherwise. A run that is neither answers by itself, see `answer`.
  virtual VideoRun* asVideo() { return nullptr; }
  virtual AudioRun* asAudio() { return nullptr; }
  virtual ProgrammeRun* asProgramme() { return nullptr; }

  /// Says the first line and reads the budget. Once, before the file is opened.
  virtual void begin();

  /// Whether somebody takes what a classic check measures of single frames or blocks. Who feeds the
  /// run then says of which file they are before it does so, and when the stream that is read
  /// starts.
  bool wantsSeries() const { return context_.classicSeries != nullptr; }
  void setSeries(const ProgrammeFacts& facts, double startSeconds);

  /// Does all that the check does, for one that takes neither pictures nor sound. `wrap` is null
  /// when it needs no file.
  virtual void answer(OxWrap* wrap, Buffering& buffering);
  virtual bool needsFile() const { return true; }

  /// The run has its outcome: it was refused, has finished, or was lost.
  bool hasEnded() const { return ended_; }
  /// The share of what it wants that it has, 0 to 1.
  virtual double share() const { return hasEnded() ? 1.0 : 0.0; }

  const QACheckOutcome& outcome() const { return outcome_; }
  QACheckOutcome& outcome() { return outcome_; }

  /// Ends the run without a result, before it began or because of an exception (null: none).
  void lose(const std::string& reason, std::exception_ptr error);

  /// Closes the displays of a run that ends in an exception, if it was measuring.
  void closeAfterException() const;

 protected:
  /// The file could not be opened at all.
  void refuseUnopened(OxWrap& wrap);
  /// Ends the run before it measures. `ofFile`: the reason holds whatever the check.
  void refuse(const std::string& reason, bool ofFile = true);

  /// From here on the result is that of a measurement.
  void beginMeasuring() { outcome_.began = true; }
  /// The frame or block of this index, below the budget, has been measured: sends the percent if it
  /// has changed. 0 and 100 are never sent.
  void advance(int index, int budget);

  /// The closing steps of a run that measured: says so, stops buffering, closes the displays, and
  /// ends the run.
  void finish(Buffering& buffering);

  /// Adds values, limits and the like to the outcome, and says what it comes to.
  virtual void describe() = 0;
  /// Makes the result of what was measured, when buffering has stopped.
  virtual void conclude() {}
  /// Why nothing was measured, when nothing else says why.
  virtual std::string reasonForNothing() const { return "nothing was measured"; }
  /// Whether there is something to say of the file.
  virtual bool hasAnswer() const { return outcome_.measured; }
  /// Ends the run with the outcome that there is.
  void end();

  void log(const std::string& text) const { context_.log(line(text)); }
  void message(const std::string& text) { messageWhole(line(text)); }
  void messageWhole(const std::string& text);
  void failure();
  std::string line(const std::string& text) const;

  const CheckContext& context_;
  const CheckProfile& check_;
  QACheckOutcome outcome_;
  int budget_ = 0;
  SeriesMaker series_;
  double startSeconds_ = 0.0;  ///< of the stream that is read; only where there are series

 private:
  void settleState();

  bool ended_ = false;
  int lastPercent_ = 0;
};

/// The record of a check: its measurement's verdict or, of one that did not begin, `notRun`, which
/// is empty unless the measurement says otherwise.
template <typename Measurement>
auto recordOf(Measurement& measurement, bool began) {
  if (began) {
    return measurement.verdict();
  }
  if constexpr (requires { Measurement::notRun(); }) {
    return Measurement::notRun();
  } else {
    return decltype(measurement.verdict()){};
  }
}

/// Comes before a run among the bases of a class, so that the run can refer to it.
template <typename Measurement>
struct OwnedMeasurement {
  Measurement measurement;
};

/// A run with its measurement.
template <typename Run, typename Profile, typename Measurement>
class CheckOf final : private OwnedMeasurement<Measurement>, public Run {
 public:
  template <typename... Arguments>
  CheckOf(const CheckContext& context, const Profile& profile, Arguments&&... arguments)
      : OwnedMeasurement<Measurement>{Measurement(std::forward<Arguments>(arguments)...)},
        Run(context, profile, this->measurement) {}

  auto record() { return recordOf(this->measurement, this->outcome().began); }
};

/// What a check that judges came to, if it came to its end.
constexpr QAState judged(bool passed) {
  return passed ? QAState::pass : QAState::fail;
}

/// A function that makes runs of one class, as rows of the list have it.
template <auto kMake>
std::unique_ptr<CheckRun> makeRun(const CheckContext& context) {
  return kMake(context);
}

}  // namespace qatester
