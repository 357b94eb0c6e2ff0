#pragma once

#include <string>
#include <vector>

class QATester;

namespace qatest {

/// One check, or all of them at once.
struct NamedRun {
  std::string name;
  std::vector<std::string> checks;
};

/// Each check alone, in their order, and then all of them at once.
const std::vector<NamedRun>& everyRun();

/// Everything that came of a run, as text; throws the first exception that ended a check, or that
/// came of telling its outcome.
std::string resultOf(QATester& tester, const NamedRun& run);

/// What is open in this process: entries of the tables of descriptors and of threads.
struct OpenThings {
  long descriptors = 0;
  long threads = 0;

  bool operator==(const OpenThings&) const = default;
};
OpenThings openThings();

/// What is open once everything on its way out has gone, so that at most `allowed` is left, or
/// will not go any more.
OpenThings settledThings(const OpenThings& allowed);

}  // namespace qatest
