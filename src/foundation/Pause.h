#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>

namespace qatester {

/// Tells waiting threads that something they may wait for has changed. Thread-safe.
class Readiness {
 public:
  /// Wakes every thread inside `waitFor`. What changed must have been written (atomically, or under
  /// `mutex()`) before the call.
  void notify();

  /// Returns when `reached` yields true, or after `seconds`. `reached` is called with the lock
  /// held.
  void waitFor(unsigned seconds, const std::function<bool()>& reached);

  /// The lock under which predicates run, for changes that must not interleave with them.
  std::mutex& mutex() { return mutex_; }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
};

/// What ends an until-ready pause early.
struct PauseEnd {
  Readiness& readiness;
  std::function<bool()> reached;
};

/// Makes every pause of the library. Without `end` it is a plain call of `::sleep(seconds)`, which
/// a program can interpose by defining a `sleep` of its own.
void pause(unsigned seconds, const PauseEnd* end = nullptr);

}  // namespace qatester
