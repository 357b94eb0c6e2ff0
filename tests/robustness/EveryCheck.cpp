#include "robustness/EveryCheck.h"

#include <chrono>
#include <exception>
#include <filesystem>
#include <iterator>
#include <thread>

#include "support/CheckNames.h"
#include "support/Outcomes.h"
#include "tester/QATester.h"

namespace qatest {

namespace {

namespace fs = std::filesystem;

constexpr std::chrono::seconds kLongestGoing{10};

long entriesOf(const char* folder) {
  return static_cast<long>(std::distance(fs::directory_iterator(folder), {}));
}

}  // namespace

const std::vector<NamedRun>& everyRun() {
  static const std::vector<NamedRun> runs = [] {
    std::vector<NamedRun> all;
    for (const std::string& name : checkNames()) {
      all.push_back({name, {name}});
    }
    all.push_back({"all", checkNames()});
    return all;
  }();
  return runs;
}

std::string resultOf(QATester& tester, const NamedRun& run) {
  std::string text;
  for (const QACheckOutcome& outcome : tester.runChecks(run.checks)) {
    if (outcome.error != nullptr) {
      std::rethrow_exception(outcome.error);
    }
    text += textOf(outcome);
  }
  return text;
}

OpenThings openThings() {
  return {entriesOf("/proc/self/fd"), entriesOf("/proc/self/task")};
}

OpenThings settledThings(const OpenThings& allowed) {
  const auto deadline = std::chrono::steady_clock::now() + kLongestGoing;
  OpenThings now = openThings();
  while ((now.descriptors > allowed.descriptors || now.threads > allowed.threads) &&
         std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    now = openThings();
  }
  return now;
}

}  // namespace qatest
