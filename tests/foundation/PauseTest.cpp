#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "foundation/Pause.h"
#include "support/FakeSleep.h"

namespace {

using Clock = std::chrono::steady_clock;

TEST(Pause, IsAPlainCallOfSleepWithItsCount) {
  qatest::clearPauses();
  qatester::pause(10);
  qatester::pause(1000);
  EXPECT_EQ(qatest::callerPauses(), (std::vector<unsigned>{10, 1000}));
}

TEST(Pause, UntilReadyEndsWhenWhatItWaitsForHappens) {
  qatest::clearPauses();
  qatester::Readiness readiness;
  std::atomic<bool> happened{false};
  std::thread other([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    happened = true;
    readiness.notify();
  });
  const qatester::PauseEnd end{readiness, [&] { return happened.load(); }};
  const qatest::EndlessWaits noneRunsOut;
  qatester::pause(500, &end);
  EXPECT_TRUE(happened);
  EXPECT_TRUE(qatest::callerPauses().empty()) << "sleep is not called";
  other.join();
}

TEST(Pause, UntilReadyEndsAtOnceWhenItHasHappenedAlready) {
  qatester::Readiness readiness;
  const qatester::PauseEnd end{readiness, [] { return true; }};
  const qatest::EndlessWaits noneIsMade;
  qatester::pause(500, &end);
}

TEST(Pause, UntilReadyEndsAfterItsCountAtTheLatest) {
  qatester::Readiness readiness;
  const qatester::PauseEnd end{readiness, [] { return false; }};
  const auto start = Clock::now();
  qatester::pause(1, &end);
  EXPECT_GE(Clock::now() - start, std::chrono::seconds(1));
}

}  // namespace
