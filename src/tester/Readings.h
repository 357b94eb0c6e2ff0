#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tester/AudioRun.h"
#include "tester/CheckRun.h"
#include "tester/VideoRun.h"

namespace qatester {

/// What another reading of the whole file has counted of the pictures of a stream: all of them came
/// without a complaint, and have one format and one size.
struct CountedPictures {
  int stream = -1;  ///< index in the container
  int64_t pictures = 0;
  int format = -1;
  int width = 0;
  int height = 0;
};

/// Waits for that count; empty when it cannot be relied on.
using CountPictures = std::function<std::optional<CountedPictures>()>;

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
/// decoded. Returns when the last run has ended. Audio runs are not for it. When no run is left but
/// those that count the pictures, what `count` says may spare the rest of the file.
void readPictures(const CheckContext& context, const std::vector<CheckRun*>& runs, Steps& steps,
                  const CountPictures& count = nullptr);

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
