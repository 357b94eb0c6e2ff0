#pragma once

#include <opencv2/highgui/highgui_c.h>
#include <signal.h>

#include <cstdio>
#include <ctime>
#include <initializer_list>
#include <string>

// For programs with windows, which a test tells by signals when to go on.

/// Qt and GLib are not built for the thread sanitizer: it does not see the atomics and futexes by
/// which their threads take turns, and takes what they hand over for races. Included once in a
/// program.
extern "C" const char* __tsan_default_suppressions() {
  return "race:libQt5\nrace:libglib\nrace:libdbus\nrace:libxcb\nrace:libX11\n";
}

namespace qatest {

inline void say(const std::string& line) {
  std::puts(line.c_str());
  std::fflush(stdout);
}

inline sigset_t setOf(std::initializer_list<int> signals) {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : signals) {
    sigaddset(&set, signal);
  }
  return set;
}

/// Lets SIGUSR1 and SIGTERM wait for `pumpUntil`, in this thread and those that it starts.
inline void awaitOrders() {
  const sigset_t orders = setOf({SIGUSR1, SIGTERM});
  sigprocmask(SIG_BLOCK, &orders, nullptr);
}

/// Keeps windows alive until a signal comes.
inline void pumpUntil(int signal) {
  constexpr timespec kMoment{0, 10000000};
  const sigset_t awaited = setOf({signal});
  while (sigtimedwait(&awaited, nullptr, &kMoment) != signal) {
    cvWaitKey(10);
  }
}

}  // namespace qatest
