#pragma once

#include <condition_variable>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <thread>
#include <vector>

#include "media/ProgrammeReader.h"
#include "tester/ProgrammeRun.h"
#include "tester/QAVerdict.h"
#include "tester/Readings.h"

namespace qatester {

/// Reads a whole file once for all programme checks, beside what the calling thread does meanwhile.
class ProgrammeReading {
 public:
  /// The runs have begun.
  ProgrammeReading(const CheckContext& context, std::vector<ProgrammeRun*> runs);

  /// Gives up a reading that is not finished.
  ~ProgrammeReading();
  ProgrammeReading(const ProgrammeReading&) = delete;
  ProgrammeReading& operator=(const ProgrammeReading&) = delete;

  /// Opens the file and begins to read it, on a thread of its own if there can be one.
  void start(Steps& steps);

  /// Waits for the end of the reading and finishes the runs.
  void finish(Steps& steps);

  /// Waits for the end of the reading. How many pictures there are, where that can be relied on.
  std::optional<CountedPictures> countPictures(Steps& steps);

  const QAFileFacts& facts() const { return facts_; }

 private:
  class Tally;

  void seat(ProgrammeMeasurement& measurement);
  std::exception_ptr errorOf(const ProgrammeMeasurement& measurement) const;
  void read() noexcept;
  void wait(Steps& steps);
  void settleFacts();

  const CheckContext& context_;
  std::vector<ProgrammeRun*> runs_;
  std::stop_source stop_;
  std::map<MakeShared, std::unique_ptr<SharedConsumer>> shared_;  ///< outlive the reader
  std::optional<ProgrammeReader> reader_;
  std::unique_ptr<Tally> tally_;
  QAFileFacts facts_;

  std::mutex mutex_;
  std::condition_variable changed_;
  // Under the lock.
  bool done_ = false;
  int percent_ = 0;

  // The thread's own until it is done.
  ProgrammeEnd end_;
  std::exception_ptr error_;
  std::thread thread_;
};

}  // namespace qatester
