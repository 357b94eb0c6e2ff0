#include "checks/CheckList.h"

#include <algorithm>

namespace {

constexpr const QACheck* kChecks[] = {
#define QATESTER_CHECK(check) &qatester::check##Check,
#include "checks/CheckList.inc"
#undef QATESTER_CHECK
};

}  // namespace

std::span<const QACheck* const> allChecks() {
  return kChecks;
}

const QACheck* findCheck(std::string_view name) {
  const auto* found = std::find_if(std::begin(kChecks), std::end(kChecks),
                                   [&](const QACheck* check) { return name == check->name; });
  return found != std::end(kChecks) ? *found : nullptr;
}
