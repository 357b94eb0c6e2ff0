#pragma once

#include <algorithm>
#include <exception>
#include <vector>

#include "tester/ProgrammeRun.h"

namespace qatester {

/// The measurements that a shared consumer hands things to. What one of them throws ends that one
/// alone.
template <typename Measurement>
class SharedListeners {
 public:
  void add(Measurement& measurement) { all_.push_back({&measurement, nullptr}); }

  /// What ended a measurement early; null when nothing did.
  std::exception_ptr errorOf(const ProgrammeMeasurement& measurement) const {
    const auto found = std::find_if(all_.begin(), all_.end(), [&](const Listener& listener) {
      return listener.measurement == &measurement;
    });
    return found != all_.end() ? found->error : nullptr;
  }

  /// Calls those that are still there. Throws when none is left.
  template <typename Call>
  void each(const Call& call) {
    std::exception_ptr last;
    bool isAnyLeft = false;
    for (Listener& listener : all_) {
      if (listener.error != nullptr) {
        continue;
      }
      try {
        call(*listener.measurement);
        isAnyLeft = true;
      } catch (...) {
        listener.error = last = std::current_exception();
      }
    }
    if (!isAnyLeft && last != nullptr) {
      std::rethrow_exception(last);
    }
  }

 private:
  struct Listener {
    Measurement* measurement;
    std::exception_ptr error;
  };
  std::vector<Listener> all_;
};

}  // namespace qatester
