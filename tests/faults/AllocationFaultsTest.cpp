#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <latch>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "faults/FailingAllocations.h"
#include "faults/ThreeSeconds.h"
#include "support/CheckNames.h"
#include "support/TempDir.h"
#include "tester/QATester.h"

// Every allocation of a check fails once, FFmpeg's, OpenCV's and the standard library's among them:
// the check must return or throw what the standard library throws, nothing may be left behind, and
// the next check must be what it always is.

namespace qatest {
namespace {

constexpr uint64_t kBeginning = 100;
constexpr uint64_t kSamplesBehind = 30;
constexpr unsigned kSecondsForOne = 60;

/// What a run came to, if nothing failed.
struct Answer {
  bool measured = false;
  int count = 0;
  bool operator==(const Answer&) const = default;
};
using Answers = std::vector<Answer>;

/// What is run: checks by their names, or a member.
struct Way {
  std::string name;
  std::function<void(QATester&)> run;
  bool draws = false;
  /// Whether each of its first allocations fails: until the file is open all ways make the same.
  bool fromTheBeginning = false;
};

class Subject {
 public:
  Subject(const Way& way, std::string clip, const TempDir& dir, bool drawn)
      : way_(way), clip_(std::move(clip)), settings_(dir.file("settings")) {
    writeFile(settings_, smallBudgets(drawn ? 2 : 5));
    options_.pauses = QAPauses::untilReady;
    options_.lookup = QALookup::stored;
    options_.displays = drawn ? QADisplays::pictures : QADisplays::nowhere;
    options_.displayFolder = dir.file("shots");
    options_.console = [](const std::string&) {};
    options_.outcome = [this](const QACheckOutcome& outcome) {
      answers_.push_back({outcome.measured, outcome.count});
    };
  }

  /// Throws what the run throws.
  Answers run() {
    answers_.clear();
    QATester tester(clip_.c_str(), nullptr, settings_.c_str(), nullptr, options_);
    way_.run(tester);
    return answers_;
  }

 private:
  const Way& way_;
  const std::string clip_;
  const std::string settings_;
  QATesterOptions options_;
  Answers answers_;
};

/// Runs with the fault; returns what is wrong, or nothing.
std::string troubleOf(Subject& subject, uint64_t nth, AllocationFault fault) {
  std::string trouble;
  startFollowing();
  startFailing(nth, fault);
  try {
    subject.run();
  } catch (const std::exception&) {
    // Out of memory, in the words of whoever ran out of it.
  } catch (...) {
    trouble = "threw something that is no exception\n";
  }
  stopFailing();
  for (const std::string& block : stopFollowing()) {
    // OpenCV 4.6 loses the header of an image that it has no memory for.
    if (block.find("cvCreateImageHeader < cvCreateImage ") == std::string::npos) {
      trouble += "left: " + block + "\n";
    }
  }
  return trouble;
}

/// The system keeps the stacks of ended threads for the next ones, up to 40 MiB of them, each with
/// memory that counts as left when a stack is made anew. Makes as many, of this size, as a run may
/// ever need at a time.
void makeStacks() {
  constexpr std::size_t kStackBytes = std::size_t{1} << 20U;
  constexpr std::ptrdiff_t kStacks = 32;
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, kStackBytes);
  pthread_setattr_default_np(&attributes);
  pthread_attr_destroy(&attributes);
  std::latch together(kStacks);
  std::vector<std::jthread> threads;
  for (std::ptrdiff_t i = 0; i < kStacks; ++i) {
    threads.emplace_back([&] { together.arrive_and_wait(); });
  }
}

/// A crash ends the child: where it was is in memory that both processes see.
struct Position {
  uint64_t nth;
  uint64_t all;
};

/// Of the first `kBeginning` allocations every `step`th, where that is not 0, and samples of those
/// behind them.
int faultsOneByOne(Subject& subject, uint64_t step, Position& at) {
  // FFmpeg 5.1 closes an input twice, and crashes, when it has opened it and cannot copy the list
  // of protocols that it was opened with.
  spareSize(sizeof "file");
  makeStacks();
  const Answers expected = subject.run();
  startFailing(0, AllocationFault::once);
  subject.run();
  at.all = stopFailing();
  if (!troubleOf(subject, 0, AllocationFault::once).empty()) {
    std::fprintf(stderr, "without a fault: %s",
                 troubleOf(subject, 0, AllocationFault::once).c_str());
    return EXIT_FAILURE;
  }

  // With this in the environment, every one: too many for each run of the tests.
  const bool every = std::getenv("QATESTER_EVERY_ALLOCATION") != nullptr;
  std::set<uint64_t> points;
  const uint64_t beginning = step == 0 ? 0 : std::min(kBeginning, at.all);
  for (uint64_t n = 1; n <= (every ? at.all : beginning); n += every ? 1 : step) {
    points.insert(n);
  }
  for (uint64_t i = 1; i <= kSamplesBehind && at.all > beginning; ++i) {
    points.insert(beginning + (at.all - beginning) * i / kSamplesBehind);
  }
  int result = EXIT_SUCCESS;
  for (const uint64_t nth : points) {
    at.nth = nth;
    alarm(kSecondsForOne);
    for (const AllocationFault fault : {AllocationFault::once, AllocationFault::burst}) {
      if (fault == AllocationFault::burst && nth % 8 != 0) {
        continue;
      }
      const std::string trouble = troubleOf(subject, nth, fault);
      if (!trouble.empty()) {
        result = EXIT_FAILURE;
        std::fprintf(stderr, "allocation %lu%s: %s", static_cast<unsigned long>(nth),
                     fault == AllocationFault::once ? "" : " and 31 behind it", trouble.c_str());
      }
    }
  }
  alarm(0);
  if (!(subject.run() == expected)) {
    std::fprintf(stderr, "afterwards the check is not what it was\n");
    result = EXIT_FAILURE;
  }
  return result;
}

void expectNoTrouble(Subject& subject, uint64_t step) {
  auto* at = static_cast<Position*>(
      mmap(nullptr, sizeof(Position), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  ASSERT_NE(at, MAP_FAILED);
  const pid_t child = fork();
  if (child == 0) {
    _exit(faultsOneByOne(subject, step, *at));
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_FALSE(WIFSIGNALED(status))
      << strsignal(WTERMSIG(status)) << " at allocation " << at->nth << " of " << at->all;
  EXPECT_EQ(WEXITSTATUS(status), EXIT_SUCCESS);
  EXPECT_GE(at->all, uint64_t{100}) << "the check allocates more than that";
  munmap(at, sizeof(Position));
}

Way checks(const std::string& name, const std::vector<std::string>& names, bool draws) {
  return {name, [names](QATester& tester) { tester.runChecks(names); }, draws};
}

/// Every check that opens the file, all at once, and a member with a record of its own.
std::vector<Way> ways() {
  std::vector<Way> all;
  for (const QACheck* check : allChecks()) {
    if (check->needs != QANeeds::nothing) {
      all.push_back(checks(asIdentifier(check->name), {check->name}, !check->displays.empty()));
    }
  }
  all.front().fromTheBeginning = true;
  all.push_back(checks("allAtOnce", checkNames(), true));
  all.back().fromTheBeginning = true;
  all.push_back({"levelsMember", [](QATester& tester) {
                   const std::unique_ptr<QA_AudioLevels> record(tester.checkAudioLevels());
                   if (record != nullptr) {
                     delete[] record->levels;
                   }
                 }});
  all.back().fromTheBeginning = true;
  return all;
}

struct Case {
  Way way;
  bool drawn = false;
};

std::vector<Case> cases() {
  std::vector<Case> all;
  for (const Way& way : ways()) {
    all.push_back({way, false});
    if (way.draws) {
      all.push_back({way, true});
    }
  }
  return all;
}

void PrintTo(const Case& c, std::ostream* out) {
  *out << c.way.name << (c.drawn ? "Drawn" : "");
}

class AllocationFaults : public testing::TestWithParam<Case> {};

TEST_P(AllocationFaults, NeitherCrashNorLeakNorHang) {
  const TempDir dir;
  const std::string clip = threeSeconds(dir);
  Subject subject(GetParam().way, clip, dir, GetParam().drawn);
  // With displays a check begins as it does without.
  const uint64_t step = GetParam().way.fromTheBeginning ? 1 : 7;
  expectNoTrouble(subject, GetParam().drawn ? 0 : step);
}

INSTANTIATE_TEST_SUITE_P(Checks, AllocationFaults, testing::ValuesIn(cases()),
                         testing::PrintToStringParamName());

}  // namespace
}  // namespace qatest
