#pragma once

#include <string>
#include <vector>

/// Takes the place of POSIX `sleep` in a test program: every pause is recorded, and made short.
///
/// A start pause (500) lasts until some other thread has made a pause (the reader has filled a
/// queue or reached the end of the file), as the real one practically always does, or two seconds.
/// Every other pause lasts a few milliseconds. With QATESTER_TELL_PAUSES in the environment each is
/// written to standard error, for a test that waits for one of another process.
namespace qatest {

/// Forgets what was recorded so far.
void clearPauses();

/// The pauses of the calling thread since the last clear, in order.
std::vector<unsigned> callerPauses();

/// The pauses of all other threads since the last clear, in order.
std::vector<unsigned> readerPauses();

/// While one lives, the blocking get of a packet queue gives up after about 20 ms instead of 2 s,
/// and a wrapper's destructor waits 1 s less. Use it only where nothing is on its way.
class QuickWaits {
 public:
  QuickWaits();
  ~QuickWaits();
  QuickWaits(const QuickWaits&) = delete;
  QuickWaits& operator=(const QuickWaits&) = delete;
};

/// While one lives, a timed wait for a condition does not end by its time: what waits for nothing
/// hangs, and a test need not look at a clock. Only one at a time.
class EndlessWaits {
 public:
  EndlessWaits();
  ~EndlessWaits();
  EndlessWaits(const EndlessWaits&) = delete;
  EndlessWaits& operator=(const EndlessWaits&) = delete;
};

/// While one lives, there are no quick waits, even if a `QuickWaits` lives longer.
class TrueWaits {
 public:
  TrueWaits();
  ~TrueWaits();
  TrueWaits(const TrueWaits&) = delete;
  TrueWaits& operator=(const TrueWaits&) = delete;

 private:
  long before_;
};

/// While one lives, a pause of 500 is as short as any other: for tests in which no thread reads.
class ShortStarts {
 public:
  ShortStarts();
  ~ShortStarts();
  ShortStarts(const ShortStarts&) = delete;
  ShortStarts& operator=(const ShortStarts&) = delete;
};

/// While one lives, every pause of `seconds` lasts. Only one at a time.
class HeldPauses {
 public:
  explicit HeldPauses(unsigned seconds);
  ~HeldPauses();
  HeldPauses(const HeldPauses&) = delete;
  HeldPauses& operator=(const HeldPauses&) = delete;
};

}  // namespace qatest
