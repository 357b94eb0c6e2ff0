#include "foundation/Pause.h"

#include <unistd.h>

#include <chrono>

namespace qatester {

void Readiness::notify() {
  // Taking the lock orders the notification after a predicate that is being evaluated right now.
  { std::lock_guard<std::mutex> lock(mutex_); }
  changed_.notify_all();
}

void Readiness::waitFor(unsigned seconds, const std::function<bool()>& reached) {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait_for(lock, std::chrono::seconds(seconds), reached);
}

void pause(unsigned seconds, const PauseEnd* end) {
  if (end == nullptr) {
    ::sleep(seconds);
    return;
  }
  end->readiness.waitFor(seconds, end->reached);
}

}  // namespace qatester
