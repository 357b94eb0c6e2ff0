#pragma once

#include <chrono>
#include <thread>

namespace qatest {

/// Waits for what another thread or process brings about; false when it has not come after so long
/// that it will not come any more, on however busy a machine. It looks every `interval`.
template <typename Condition>
bool waitUntil(Condition condition,
               std::chrono::milliseconds interval = std::chrono::milliseconds(1)) {
  constexpr std::chrono::minutes kForGood{4};
  const auto deadline = std::chrono::steady_clock::now() + kForGood;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) {
      return false;
    }
    std::this_thread::sleep_for(interval);
  }
  return true;
}

}  // namespace qatest
