#include "support/FakeSleep.h"

#include <dlfcn.h>
#include <pthread.h>
#include <sys/time.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <mutex>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

struct Pause {
  unsigned seconds;
  std::thread::id thread;
};

constexpr unsigned kStartPause = 500;
constexpr std::chrono::milliseconds kShort{2};
constexpr std::chrono::seconds kLongestStart{2};
constexpr long kQuickMicroseconds = 990000;

std::mutex mutex;
std::vector<Pause> recorded;
std::atomic<long> microsecondsBack{0};
std::atomic<bool> startsAreShort{false};
std::atomic<unsigned> heldSeconds{0};
std::atomic<bool> waitsAreEndless{false};

/// How many pauses other threads than the caller have made.
std::size_t pausesOfOthers() {
  const std::lock_guard<std::mutex> lock(mutex);
  return static_cast<std::size_t>(
      std::count_if(recorded.begin(), recorded.end(),
                    [](const Pause& p) { return p.thread != std::this_thread::get_id(); }));
}

template <typename Keep>
std::vector<unsigned> select(Keep keep) {
  const std::lock_guard<std::mutex> lock(mutex);
  std::vector<unsigned> seconds;
  for (const Pause& pause : recorded) {
    if (keep(pause.thread)) {
      seconds.push_back(pause.seconds);
    }
  }
  return seconds;
}

}  // namespace

// The library's call finds this one first: a program's symbols come before those of its libraries.
extern "C" unsigned sleep(unsigned seconds) {
  {
    const std::lock_guard<std::mutex> lock(mutex);
    recorded.push_back({seconds, std::this_thread::get_id()});
    if (std::getenv("QATESTER_TELL_PAUSES") != nullptr) {
      std::fprintf(stderr, "pause of %u\n", seconds);
    }
  }
  const std::size_t before = pausesOfOthers();
  const auto deadline = Clock::now() + kLongestStart;
  const auto starting = [&] {
    return seconds == kStartPause && !startsAreShort && pausesOfOthers() == before &&
           Clock::now() < deadline;
  };
  do {
    std::this_thread::sleep_for(kShort);
  } while (starting() || (seconds != 0 && seconds == heldSeconds));
  return 0;
}

// Boost builds the deadlines of its timed waits from it.
extern "C" int gettimeofday(timeval* now, void*) noexcept {
  timespec time{};
  clock_gettime(CLOCK_REALTIME, &time);
  const long microseconds = time.tv_nsec / 1000 - microsecondsBack;
  now->tv_sec = microseconds < 0 ? time.tv_sec - 1 : time.tv_sec;
  now->tv_usec = microseconds < 0 ? microseconds + 1000000 : microseconds;
  return 0;
}

// The two calls under the timed waits of Boost and of the standard library. The thread sanitizer
// must see them itself: without, it takes the mutex for locked twice. Waits then end by their time.
#if !defined(__SANITIZE_THREAD__)
extern "C" int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                      const timespec* until) {
  // An older function has the same name.
  static const auto real = reinterpret_cast<decltype(&pthread_cond_timedwait)>(
      dlvsym(RTLD_NEXT, "pthread_cond_timedwait", "GLIBC_2.3.2"));
  return waitsAreEndless ? pthread_cond_wait(condition, mutex) : real(condition, mutex, until);
}

extern "C" int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                      clockid_t clock, const timespec* until) {
  static const auto real = reinterpret_cast<decltype(&pthread_cond_clockwait)>(
      dlsym(RTLD_NEXT, "pthread_cond_clockwait"));
  return waitsAreEndless ? pthread_cond_wait(condition, mutex)
                         : real(condition, mutex, clock, until);
}
#endif

namespace qatest {

void clearPauses() {
  const std::lock_guard<std::mutex> lock(mutex);
  recorded.clear();
}

std::vector<unsigned> callerPauses() {
  return select([](std::thread::id id) { return id == std::this_thread::get_id(); });
}

std::vector<unsigned> readerPauses() {
  return select([](std::thread::id id) { return id != std::this_thread::get_id(); });
}

QuickWaits::QuickWaits() {
  microsecondsBack = kQuickMicroseconds;
}

QuickWaits::~QuickWaits() {
  microsecondsBack = 0;
}

EndlessWaits::EndlessWaits() {
  waitsAreEndless = true;
}

EndlessWaits::~EndlessWaits() {
  waitsAreEndless = false;
}

TrueWaits::TrueWaits() : before_(microsecondsBack.exchange(0)) {}

TrueWaits::~TrueWaits() {
  microsecondsBack = before_;
}

ShortStarts::ShortStarts() {
  startsAreShort = true;
}

ShortStarts::~ShortStarts() {
  startsAreShort = false;
}

HeldPauses::HeldPauses(unsigned seconds) {
  heldSeconds = seconds;
}

HeldPauses::~HeldPauses() {
  heldSeconds = 0;
}

}  // namespace qatest
