#pragma once

#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "FileTest.h"

namespace bindings {

/// A test of one file, on a thread of its own, so that the interpreter's thread is free to look
/// after signals and to call back. What the test has to tell waits until it is fetched.
class Inspection {
 public:
  struct News {
    std::vector<QAProgress> progress = {};
    /// What went wrong beside the checks, in words.
    std::vector<std::string> troubles = {};
    bool finished = false;
  };

  /// Begins. Throws std::system_error when there can be no thread.
  Inspection(std::string file, cli::FileTest test);

  /// Stops, and waits for the end.
  ~Inspection();

  Inspection(const Inspection&) = delete;
  Inspection& operator=(const Inspection&) = delete;

  /// Waits until there is something new, at most `atMost`.
  News wait(std::chrono::milliseconds atMost);

  /// The test ends at its next frame, with what was measured so far.
  void stop() { source_.request_stop(); }

  /// The report of the file as JSON text, once it is finished. Throws what ended the test.
  std::string report();

 private:
  void run();

  cli::FileReport report_;
  cli::FileTest test_;
  std::stop_source source_;

  std::mutex mutex_;
  std::condition_variable changed_;
  News news_;

  std::string text_;
  std::exception_ptr error_;
  std::thread thread_;
};

}  // namespace bindings
