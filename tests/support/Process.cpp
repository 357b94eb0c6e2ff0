#include "support/Process.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <stdexcept>

namespace qatest {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

/// After so long, what has not come will not come any more, on however busy a machine.
constexpr seconds kLongestWait{240};
constexpr milliseconds kBetweenSignals{500};

/// The two ends of what connects an output with the test; -1: there is none.
struct Ends {
  int ours = -1;
  int theirs = -1;
};

Ends makePipe() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    throw std::runtime_error("no pipe");
  }
  return {ends[0], ends[1]};
}

Ends makeTerminal() {
  Ends ends;
  winsize size{};
  size.ws_row = 40;
  size.ws_col = 100;
  termios modes{};
  if (openpty(&ends.ours, &ends.theirs, nullptr, nullptr, &size) != 0 ||
      tcgetattr(ends.theirs, &modes) != 0) {
    throw std::runtime_error("no terminal");
  }
  modes.c_oflag &= ~static_cast<tcflag_t>(OPOST);
  tcsetattr(ends.theirs, TCSANOW, &modes);
  fcntl(ends.ours, F_SETFD, FD_CLOEXEC);
  fcntl(ends.theirs, F_SETFD, FD_CLOEXEC);
  return ends;
}

Ends connect(Sink sink) {
  if (sink == Sink::closed) {
    return {};
  }
  if (sink == Sink::terminal) {
    return makeTerminal();
  }
  Ends ends = makePipe();
  if (sink == Sink::gone) {
    close(ends.ours);
    ends.ours = -1;
  }
  return ends;
}

void attach(int fd, int target) {
  if (fd >= 0) {
    dup2(fd, target);
  } else {
    close(target);
  }
}

/// Root without these is refused like anybody else.
void dropOverrides() {
  prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE);
  prctl(PR_CAPBSET_DROP, CAP_DAC_READ_SEARCH);
}

[[noreturn]] void become(const Command& command, int out, int err) {
  attach(out, STDOUT_FILENO);
  attach(err, STDERR_FILENO);
  signal(SIGINT, command.ignoreInterrupt ? SIG_IGN : SIG_DFL);
  signal(SIGPIPE, SIG_DFL);
  for (const auto& [name, value] : command.environment) {
    if (value.empty()) {
      unsetenv(name.c_str());
    } else {
      setenv(name.c_str(), value.c_str(), 1);
    }
  }
  if (command.obeyPermissions) {
    dropOverrides();
  }
  std::vector<char*> arguments{const_cast<char*>(command.program.c_str())};
  for (const std::string& argument : command.arguments) {
    arguments.push_back(const_cast<char*>(argument.c_str()));
  }
  arguments.push_back(nullptr);
  execv(arguments[0], arguments.data());
  _exit(127);
}

void closeIfOpen(int& fd) {
  if (fd >= 0) {
    close(fd);
    fd = -1;
  }
}

}  // namespace

Process::Process(const Command& command) {
  Ends out = connect(command.out);
  Ends err = connect(command.err);
  pid_ = fork();
  if (pid_ < 0) {
    throw std::runtime_error("no process");
  }
  if (pid_ == 0) {
    become(command, out.theirs, err.theirs);
  }
  closeIfOpen(out.theirs);
  closeIfOpen(err.theirs);
  err_.fd = err.ours;
  (command.out == Sink::unread ? unread_ : out_.fd) = out.ours;
}

Process::~Process() {
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  closeIfOpen(out_.fd);
  closeIfOpen(err_.fd);
  closeIfOpen(unread_);
}

void Process::signal(int number) const {
  kill(pid_, number);
}

void Process::read(milliseconds time) {
  pollfd ready[] = {{out_.fd, POLLIN, 0}, {err_.fd, POLLIN, 0}};
  Channel* channels[] = {&out_, &err_};
  poll(ready, 2, static_cast<int>(time.count()));
  for (int i = 0; i < 2; ++i) {
    if (ready[i].revents == 0) {
      continue;
    }
    char bytes[4096];
    const ssize_t count = ::read(ready[i].fd, bytes, sizeof bytes);
    if (count > 0) {
      channels[i]->text.append(bytes, static_cast<std::size_t>(count));
    } else if (count == 0 || errno != EINTR) {  // a terminal that is left gives EIO
      closeIfOpen(channels[i]->fd);
    }
  }
}

bool Process::waitFor(const std::string& text) {
  const auto deadline = Clock::now() + kLongestWait;
  while ((out_.text + err_.text).find(text) == std::string::npos) {
    if (!isOpen() || Clock::now() > deadline) {
      return false;
    }
    read(milliseconds(100));
  }
  return true;
}

void Process::fillUnread() const {
  // A pipe's end that reads can be opened once more to write.
  const std::string end = "/proc/self/fd/" + std::to_string(unread_);
  const int writable = open(end.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
  while (write(writable, "x", 1) == 1) {
  }
  close(writable);
}

Finished Process::waitSending(int signal) {
  const auto deadline = Clock::now() + kLongestWait;
  auto nextSignal = Clock::now();
  int status = 0;
  bool ended = false;
  while (isOpen() || !ended) {
    if (Clock::now() > deadline) {
      kill(pid_, SIGKILL);
    }
    if (signal != 0 && !ended && Clock::now() >= nextSignal) {
      kill(pid_, signal);
      nextSignal = Clock::now() + kBetweenSignals;
    }
    read(milliseconds(20));
    ended = ended || waitpid(pid_, &status, WNOHANG) == pid_;
  }
  pid_ = -1;
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), out_.text, err_.text};
}

}  // namespace qatest
