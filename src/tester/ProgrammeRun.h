#pragma once

#include <atomic>
#include <exception>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "media/OxVideoStream.h"
#include "media/Programme.h"
#include "tester/CheckRun.h"
#include "tester/SeriesOutput.h"
#include "visual/Visual.h"

namespace qatester {

class ProgrammeMeasurement;

/// Does for several measurements what all of them need of the same pictures or blocks, and hands it
/// to them. What a measurement throws ends that one alone.
class SharedConsumer : public ProgrammeConsumer {
 public:
  /// Before the reading; the measurement is of the kind that the consumer is for, and outlives it.
  virtual void add(ProgrammeMeasurement& measurement) = 0;

  /// What ended a measurement early; null when nothing did. After the reading.
  virtual std::exception_ptr errorOf(const ProgrammeMeasurement& measurement) const = 0;
};

/// Makes it for a reading.
using MakeShared = std::unique_ptr<SharedConsumer> (*)(const CheckContext& context);

/// What a programme check measures, and what its numbers come to.
class ProgrammeMeasurement : public ProgrammeConsumer {
 public:
  /// Who takes from the reading for it; null: it does so itself. Measurements with the same maker
  /// share one.
  virtual MakeShared sharedBy() const { return nullptr; }

  /// Why there is no result although the file was read to its end, in words; empty: there is one.
  virtual std::string whyNothing() const { return ""; }
  /// What it looks at has turned out not to be there, so that nothing is missing without a result.
  virtual bool foundNoSubject() const { return false; }

  /// Whether the file has what the check looks at; `reason` says so in words where it has not.
  /// Asked once, before `begin`.
  virtual bool hasSubject(const ProgrammeFacts& facts, std::string& reason) const = 0;

  /// The title of the pictures of its events; null: there are none.
  virtual const char* display() const { return nullptr; }
  /// Which pictures show an event, by their numbers.
  virtual std::vector<int64_t> picturesOf(const QAEvent&) const { return {}; }
  /// Marks what is wrong in such a picture, on a canvas of its size. After `end`.
  virtual void mark(const ProgrammePicture&, IplImage&) {}

  /// Adds values, limits, events and a summary to an outcome, and whether a limit is `broken`. A
  /// check that judges nothing of this file says so with `QAState::info`. Times of events are
  /// seconds and frames: timecodes are added to them later.
  virtual void describe(QACheckOutcome& outcome) const = 0;

  /// Where its figures over time go; before it joins a reading.
  void setSeries(SeriesMaker series) { series_ = std::move(series); }

 protected:
  const SeriesMaker& series() const { return series_; }

 private:
  SeriesMaker series_;
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

  ProgrammeMeasurement& consumer() { return measurement_; }

  /// The reading has ended.
  void finish(const ProgrammeEnd& end);

  /// The numbers of the pictures that show the worst of its events, and gives each event its own.
  /// None where pictures go nowhere.
  std::vector<int64_t> picturesToShow();
  /// Shows one of them, as it was decoded and converted.
  void show(const ProgrammePicture& picture, const OxVideoFrameRGB& converted);

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
