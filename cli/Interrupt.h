#pragma once

#include <signal.h>

#include <atomic>
#include <chrono>
#include <stop_token>
#include <thread>

namespace cli {

/// Turns Ctrl-C, a termination request and a hang-up into a request to stop. The first one asks the
/// running check to end and wakes whoever sleeps; a second one ends the process at once.
///
/// Make it before any other thread: threads made later inherit that the signals are blocked, so
/// that only the thread in here takes them. A signal that the process was started to ignore stays
/// ignored.
class Interrupt {
 public:
  Interrupt();
  ~Interrupt();

  Interrupt(const Interrupt&) = delete;
  Interrupt& operator=(const Interrupt&) = delete;

  std::stop_token token() const { return source_.get_token(); }

  /// The signal that asked to stop, or 0.
  int signal() const { return signal_; }

 private:
  void watch();
  void take(int signal);

  sigset_t signals_;
  std::stop_source source_;
  std::atomic<int> signal_{0};
  /// The watching thread's own.
  std::chrono::steady_clock::time_point firstSignal_{};
  std::atomic<bool> done_{false};
  std::thread watcher_;
};

}  // namespace cli
