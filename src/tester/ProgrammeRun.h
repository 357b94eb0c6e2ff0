#pragma once

#include <atomic>
#include <string>

#include "media/Programme.h"
#include "tester/CheckRun.h"

namespace qatester {

/// What a programme check measures, and what its numbers come to.
class ProgrammeMeasurement : public ProgrammeConsumer {
 public:
  /// Whether the file has what the check looks at; `reason` says so in words where it has not.
  /// Asked once, before `begin`.
  virtual bool hasSubject(const ProgrammeFacts& facts, std::string& reason) const = 0;

  /// Adds values, limits, events and a summary to an outcome, and whether a limit is `broken`. A
  /// check that judges nothing of this file says so with `QAState::info`. Times of events are
  /// seconds and frames: timecodes are added to them later.
  virtual void describe(QACheckOutcome& outcome) const = 0;
};

/// One run of a programme check. What the measurement takes comes on threads of the reading; all
/// else is on the tester's thread.
class ProgrammeRun : public CheckRun {
 public:
  ProgrammeRun(const CheckContext& context, const CheckProfile& profile,
               ProgrammeMeasurement& measurement);

  ProgrammeRun* asProgramme() override { return this; }

  /// The file did not open.
  void refuseFile(const std::string& reason);

  /// The file is open. The run ends at once when what it looks at is not there.
  void open(const ProgrammeFacts& facts);

  ProgrammeConsumer& consumer() { return measurement_; }

  /// The reading has ended.
  void finish(const ProgrammeEnd& end);

  /// 0 to 1, of the reading; from any thread.
  void setShare(double share) { share_ = share; }
  double share() const override { return hasEnded() ? 1.0 : share_.load(); }

 protected:
  void describe() override;
  std::string reasonForNothing() const override;

 private:
  void addTimecodes();
  void keepTheWorst();

  ProgrammeMeasurement& measurement_;
  const ProgrammeFacts* facts_ = nullptr;
  std::atomic<double> share_{0.0};
};

/// A run with its measurement.
template <typename Measurement>
using ProgrammeCheck = CheckOf<ProgrammeRun, CheckProfile, Measurement>;

/// How many events of a check are kept, of the settings of the tester.
int eventsPerCheck(const CheckContext& context);

}  // namespace qatester
