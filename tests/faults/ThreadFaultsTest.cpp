#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <boost/thread/exceptions.hpp>
#include <cerrno>
#include <filesystem>
#include <iterator>
#include <string>

#include "faults/Checks.h"
#include "support/FakeSleep.h"
#include "support/LoggedTester.h"
#include "support/TempDir.h"

namespace {

std::atomic<int> created{0};
std::atomic<int> failFrom{0};
std::atomic<int> failTo{0};

}  // namespace

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*start)(void*), void* argument) {
  using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
  static const auto create = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
  const int number = ++created;
  return number >= failFrom && number <= failTo ? EAGAIN
                                                : create(thread, attributes, start, argument);
}

namespace qatest {
namespace {

/// While one lives, the threads of these numbers (from 1, counted from here) are refused.
class RefusedThreads {
 public:
  RefusedThreads(int first, int last) {
    created = 0;
    failFrom = first;
    failTo = last;
  }
  ~RefusedThreads() { failTo = 0; }
  RefusedThreads(const RefusedThreads&) = delete;
  RefusedThreads& operator=(const RefusedThreads&) = delete;
};

std::ptrdiff_t runningThreads() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/task"),
                       std::filesystem::directory_iterator());
}

class ThreadFaults : public testing::Test {
 protected:
  TempDir dir_;
  std::string clip_ = threeSeconds(dir_);
};

TEST_F(ThreadFaults, ACheckWithoutItsReaderEndsWithNothingMeasured) {
  for (const AnyCheck& check : anyChecks()) {
    SCOPED_TRACE(check.name);
    LoggedTester tester(clip_, stored(), smallBudgets());
    {
      const RefusedThreads none(1, 1000);
      check.run(*tester.tester);
    }
    if (std::string(check.name) != "valid") {  // which reads nothing
      ASSERT_EQ(tester.outcomes.size(), 1U);
      EXPECT_FALSE(tester.outcomes[0].measured);
      EXPECT_FALSE(tester.outcomes[0].reason.empty());
    }
    tester.outcomes.clear();
    check.run(*tester.tester);
    if (std::string(check.name) != "valid") {
      ASSERT_EQ(tester.outcomes.size(), 1U);
      EXPECT_TRUE(tester.outcomes[0].measured) << "the next one has its thread";
    }
  }
}

TEST_F(ThreadFaults, WithFixedPausesItEndsAsWell) {
  // No slate: it would be waited for, as existing clients know it.
  const QuickWaits quick;
  LoggedTester tester(clip_, stored(QAPauses::fixed), smallBudgets());
  const RefusedThreads none(1, 1000);
  const QA_FrameRate rate = tester.run([](QATester& t) { return t.checkFrameRate(); });
  EXPECT_FALSE(rate.passed);
  ASSERT_EQ(tester.outcomes.size(), 1U);
  EXPECT_EQ(tester.outcomes[0].reason, "no frame could be decoded");
}

TEST_F(ThreadFaults, AThreadThatColoursCannotHaveIsToldByAnExceptionAndTheReaderIsStopped) {
  LoggedTester tester(clip_, stored(), smallBudgets());
  tester.tester->checkChroma();
  const std::ptrdiff_t threadsOfTheTest = runningThreads();
  for (const int refused : {2, 3, 9, 10}) {
    SCOPED_TRACE(refused);
    {
      const RefusedThreads one(refused, refused);
      EXPECT_THROW(tester.tester->checkChroma(), boost::thread_resource_error);
    }
    EXPECT_EQ(runningThreads(), threadsOfTheTest);
    tester.outcomes.clear();
    tester.tester->checkChroma();
    EXPECT_EQ(tester.outcomes.at(0).count, 5) << "the next check has its threads";
  }
}

}  // namespace
}  // namespace qatest
