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

TEST(EventWeight, IsHowFarBeyondTheLimitOrHowLong) {
  QAEvent event;
  EXPECT_EQ(getEventWeight(event), 0.0);
  event.startSeconds = 1.0;
  event.endSeconds = 3.5;
  EXPECT_EQ(getEventWeight(event), 2.5);
  event.value = -25.0;
  EXPECT_EQ(getEventWeight(event), 25.0);
  event.limit = -23.5;
  EXPECT_EQ(getEventWeight(event), 1.5);
}

}  // namespace
