#pragma once

#include <gtest/gtest.h>
#include <hwy/targets.h>

#include <cstdint>

namespace qatest {

/// Lets vector code run with one of this processor's instruction sets only.
class InstructionSet {
 public:
  explicit InstructionSet(int64_t target) {
    hwy::SetSupportedTargetsForTest(target);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
  }
  ~InstructionSet() {
    hwy::SetSupportedTargetsForTest(0);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
  }
  InstructionSet(const InstructionSet&) = delete;
  InstructionSet& operator=(const InstructionSet&) = delete;
};

/// Runs `test` with each instruction set that this processor has and the library was built for.
template <typename Test>
void withEachInstructionSet(Test test) {
  for (const int64_t target : hwy::SupportedAndGeneratedTargets()) {
    SCOPED_TRACE(hwy::TargetName(target));
    const InstructionSet only(target);
    test();
  }
}

}  // namespace qatest
