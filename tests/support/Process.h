#pragma once

#include <sys/types.h>

#include <chrono>
#include <map>
#include <string>
#include <vector>

namespace qatest {

/// Where an output of a process goes.
enum class Sink {
  pipe,      ///< to the test
  unread,    ///< to a pipe that the test leaves full
  terminal,  ///< to the test, through a terminal of 100 columns
  closed,    ///< nowhere: the process starts without that descriptor
  gone,      ///< to a pipe whose reader is gone
};

struct Command {
  std::string program;
  std::vector<std::string> arguments;
  Sink out = Sink::pipe;
  Sink err = Sink::pipe;
  /// Added to the environment; an empty value removes the variable.
  std::map<std::string, std::string> environment = {};
  /// File permissions count, also for root.
  bool obeyPermissions = false;
  /// Started as a shell starts what it puts into the background: Ctrl-C is ignored.
  bool ignoreInterrupt = false;
};

struct Finished {
  /// The exit code, or minus the number of the signal that killed the process.
  int code = 0;
  std::string out;
  std::string err;
};

/// A running process; killed when the object goes while it still runs.
class Process {
 public:
  explicit Process(const Command& command);
  ~Process();

  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  void signal(int number) const;

  /// Reads on until both outputs together hold `text`; false when the process ends before, or after
  /// four minutes.
  bool waitFor(const std::string& text);

  /// Leaves no room for another byte in a pipe that the test does not read.
  void fillUnread() const;

  /// Waits for the end. A process that takes over four minutes is killed.
  Finished wait() { return waitSending(0); }

  /// Waits for the end, and sends a signal twice a second until it has come. 0: none.
  Finished waitSending(int signal);

  pid_t pid() const { return pid_; }

 private:
  struct Channel {
    int fd = -1;
    std::string text;
  };

  bool isOpen() const { return out_.fd >= 0 || err_.fd >= 0; }
  /// Waits for something to read, at most for `time`.
  void read(std::chrono::milliseconds time);

  pid_t pid_ = -1;
  Channel out_;
  Channel err_;
  int unread_ = -1;
};

}  // namespace qatest
