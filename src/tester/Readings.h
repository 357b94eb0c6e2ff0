#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tester/AudioRun.h"
#include "tester/CheckRun.h"
#include "tester/VideoRun.h"

namespace qatester {

/// Runs the steps of checks that a reading feeds.
class Steps {
 public:
  virtual ~Steps() = default;

  /// Does one step of a run. What the step throws leaves this call, unless it says otherwise.
  virtual void take(CheckRun& run, const std::function<void()>& step);

  /// The run has its outcome.
  virtual void ended(CheckRun&) {}
};

/// Reads a file once and feeds all of `runs`, which have begun: a check that needs the container
/// alone answers first, then picture k is offered to every video check before packet k + 1 is
/// decoded. Returns when the last run has ended. Audio runs are not for it.
void readPictures(const CheckContext& context, const std::vector<CheckRun*>& runs, Steps& steps);

/// The same for audio runs that read the same streams: each block is decoded when the first of them
/// asks for it, and kept until the last of them has had it. All of them ask for the streams in
/// turn, so that a block or two of each stream are kept. A run that reads other streams is left
/// alone, and has not ended.
void readSound(const CheckContext& context, const std::vector<AudioRun*>& runs, Steps& steps);

/// Opens the file for one run of a classic check, which has begun, and feeds it to its end.
void readForOne(const CheckContext& context, CheckRun& run, Steps& steps);

/// Begins a run, reads the file for it alone and reports its outcome. What the run throws leaves
/// this call.
void readAlone(const CheckContext& context, CheckRun& run);

/// Runs a check alone and gives its record.
template <typename Make>
auto runAlone(const CheckContext& context, Make make) {
  const auto run = make(context);
  readAlone(context, *run);
  return run->record();
}

}  // namespace qatester
