#include "tester/QAVerdict.h"

#include <gtest/gtest.h>

namespace {

QAState verdictOf(const std::vector<QAState>& states) {
  std::vector<QACheckOutcome> outcomes;
  for (const QAState state : states) {
    outcomes.emplace_back().state = state;
  }
  return getVerdict(outcomes);
}

TEST(Verdict, IsTheWorstOfAllChecks) {
  EXPECT_EQ(verdictOf({QAState::pass, QAState::fail, QAState::warn}), QAState::fail);
  EXPECT_EQ(verdictOf({QAState::pass, QAState::warn, QAState::info}), QAState::warn);
  EXPECT_EQ(verdictOf({QAState::pass, QAState::info}), QAState::pass);
}

TEST(Verdict, IsNotHarmedByAnInfoOrByWhatCouldNotBeMeasured) {
  EXPECT_EQ(verdictOf({QAState::info}), QAState::pass);
  EXPECT_EQ(verdictOf({QAState::notMeasured, QAState::pass}), QAState::pass);
}

TEST(Verdict, IsNoneWhereNothingWasMeasured) {
  EXPECT_EQ(verdictOf({}), QAState::notMeasured);
  EXPECT_EQ(verdictOf({QAState::notMeasured, QAState::notMeasured}), QAState::notMeasured);
}

}  // namespace
