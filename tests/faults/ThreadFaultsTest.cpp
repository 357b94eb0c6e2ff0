#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <boost/thread/exceptions.hpp>
#include <cerrno>
#include <exception>
#include <filesystem>
#include <iterator>
#include <string>
#include <vector>

#include "faults/ThreeSeconds.h"
#include "support/CheckNames.h"
#include "support/FakeSleep.h"
#include "support/LoggedTester.h"
#include "support/Outcomes.h"
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
  std::vector<std::string> readers;
  for (const QACheck* check : allChecks()) {
    const bool reads = check->needs == QANeeds::pictures || check->needs == QANeeds::sound;
    if (check->family == QAFamily::classic && reads) {
      readers.emplace_back(check->name);
    }
  }
  std::vector<std::vector<std::string>> runs = {readers};
  for (const std::string& name : readers) {
    runs.push_back({name});
  }
  for (const std::vector<std::string>& names : runs) {
    LoggedTester tester(clip_, stored(), smallBudgets());
    {
      const RefusedThreads none(1, 1000);
      tester.tester->runChecks(names);
    }
    for (const QACheckOutcome& outcome : tester.outcomes) {
      EXPECT_FALSE(outcome.measured) << outcome.name;
      EXPECT_FALSE(outcome.reason.empty()) << outcome.name;
    }
    tester.outcomes.clear();
    tester.tester->runChecks(names);
    ASSERT_EQ(tester.outcomes.size(), names.size());
    for (const QACheckOutcome& outcome : tester.outcomes) {
      EXPECT_TRUE(outcome.measured) << outcome.name << ": the next run has its thread";
    }
  }
}

TEST_F(ThreadFaults, ProgrammeChecksDoWithoutThreads) {
  LoggedTester tester(clip_, stored());
  const std::vector<std::string> names = {"frame-timing", "length", "decoding"};
  const std::vector<QACheckOutcome> whole = tester.tester->runChecks(names);
  const RefusedThreads none(1, 1000);
  const std::vector<QACheckOutcome> alone = tester.tester->runChecks(names);
  for (std::size_t i = 0; i < names.size(); ++i) {
    EXPECT_TRUE(alone[i].measured);
    EXPECT_EQ(alone[i].summary, whole[i].summary);
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

TEST_F(ThreadFaults, ChecksOfColoursThatCannotHaveAThreadEndAloneInARunOfAll) {
  LoggedTester tester(clip_, stored(), smallBudgets());
  const std::vector<QACheckOutcome> whole = tester.tester->runChecks(classicCheckNames());
  const std::ptrdiff_t threadsOfTheTest = runningThreads();
  std::vector<QACheckOutcome> cut;
  {
    // The first is the reader's; then eight for each picture, chroma's before gamut's.
    const RefusedThreads one(2, 2);
    cut = tester.tester->runChecks(classicCheckNames());
  }
  EXPECT_EQ(runningThreads(), threadsOfTheTest);
  ASSERT_EQ(cut.size(), whole.size());
  for (std::size_t i = 0; i < cut.size(); ++i) {
    if (cut[i].name == "chroma") {
      EXPECT_THROW(std::rethrow_exception(cut[i].error), boost::thread_resource_error);
      EXPECT_EQ(cut[i].state, QAState::notMeasured);
      EXPECT_NE(cut[i].reason, "");
    } else {
      EXPECT_EQ(textOf(cut[i]), textOf(whole[i]));
      EXPECT_EQ(cut[i].error, nullptr) << cut[i].name;
    }
  }
}

}  // namespace
}  // namespace qatest
