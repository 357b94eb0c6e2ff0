#include "tester/QAVerdict.h"

#include <algorithm>
#include <cmath>

QAState getVerdict(const std::vector<QACheckOutcome>& outcomes) {
  const auto any = [&](QAState state) {
    return std::any_of(outcomes.begin(), outcomes.end(),
                       [&](const QACheckOutcome& outcome) { return outcome.state == state; });
  };
  for (const QAState worse : {QAState::fail, QAState::warn}) {
    if (any(worse)) {
      return worse;
    }
  }
  return any(QAState::pass) || any(QAState::info) ? QAState::pass : QAState::notMeasured;
}

double getEventWeight(const QAEvent& event) {
  if (event.value.has_value()) {
    return std::abs(*event.value - event.limit.value_or(0.0));
  }
  return event.endSeconds.value_or(0.0) - event.startSeconds.value_or(0.0);
}
