#include "Interrupt.h"

#include <dirent.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <memory>

#include "ExitCode.h"
#include "ReportFile.h"

namespace cli {

namespace {

constexpr int kStopSignals[] = {SIGINT, SIGTERM, SIGHUP};
/// Ends a sleep of whoever receives it.
constexpr int kWakeSignal = SIGUSR1;
/// Tells the watching thread that it is no longer needed.
constexpr int kDoneSignal = SIGUSR2;
/// Whoever passes signals on may send one twice: only one that comes later is a second one.
constexpr std::chrono::milliseconds kSameSignal{300};
constexpr timespec kBetweenWakes{0, 20'000'000};

bool isIgnored(int signal) {
  struct sigaction action {};
  return sigaction(signal, nullptr, &action) == 0 && (action.sa_flags & SA_SIGINFO) == 0 &&
         action.sa_handler == SIG_IGN;
}

/// Interrupts the sleeps of all other threads, also of those that a library made.
void wakeOthers() {
  const std::unique_ptr<DIR, int (*)(DIR*)> tasks(opendir("/proc/self/task"), closedir);
  if (tasks == nullptr) {
    return;
  }
  const pid_t self = gettid();
  while (const dirent* entry = readdir(tasks.get())) {
    const auto thread = static_cast<pid_t>(std::atoi(entry->d_name));
    if (thread > 0 && thread != self) {
      syscall(SYS_tgkill, getpid(), thread, kWakeSignal);
    }
  }
}

}  // namespace

Interrupt::Interrupt() {
  struct sigaction wake {};
  wake.sa_handler = [](int) {};
  // Reads and writes go on; sleeps end all the same.
  wake.sa_flags = SA_RESTART;
  sigaction(kWakeSignal, &wake, nullptr);

  sigemptyset(&signals_);
  sigaddset(&signals_, kDoneSignal);
  for (const int signal : kStopSignals) {
    if (!isIgnored(signal)) {
      sigaddset(&signals_, signal);
    }
  }
  pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
  watcher_ = std::thread([this] { watch(); });
}

Interrupt::~Interrupt() {
  done_ = true;
  pthread_kill(watcher_.native_handle(), kDoneSignal);
  watcher_.join();
}

void Interrupt::watch() {
  while (!done_) {
    // Once stopping, wake again and again: who is woken may go to sleep once more before it sees
    // that it is to end.
    const bool stopping = signal_ != 0;
    const int signal = stopping ? sigtimedwait(&signals_, nullptr, &kBetweenWakes)
                                : sigwaitinfo(&signals_, nullptr);
    if (signal > 0 && signal != kDoneSignal) {
      take(signal);
    }
    if (signal_ != 0 && !done_) {
      wakeOthers();
    }
  }
}

void Interrupt::take(int signal) {
  const auto now = std::chrono::steady_clock::now();
  if (signal_ == 0) {
    signal_ = signal;
    firstSignal_ = now;
    source_.request_stop();
    return;
  }
  if (now - firstSignal_ < kSameSignal) {
    return;
  }
  exitWithoutTemporaries(exitCodeOfSignal(signal_));
}

}  // namespace cli
