#pragma once

#include <string>
#include <vector>

class QATester;

namespace qatest {

struct NamedCheck {
  const char* name;
  /// Runs the check; its result, all digits of it, as text.
  std::string (*run)(QATester& tester);
};

/// The fourteen checks of a tester, `isValidFile` among them.
const std::vector<NamedCheck>& everyCheck();

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
