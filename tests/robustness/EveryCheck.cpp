#include "robustness/EveryCheck.h"

#include <exception>
#include <filesystem>
#include <iterator>

#include "support/CheckNames.h"
#include "support/Outcomes.h"
#include "support/WaitUntil.h"
#include "tester/QATester.h"

namespace qatest {

namespace {

namespace fs = std::filesystem;

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
  OpenThings now = openThings();
  waitUntil([&] {
    now = openThings();
    return now.descriptors <= allowed.descriptors && now.threads <= allowed.threads;
  });
  return now;
}

}  // namespace qatest
