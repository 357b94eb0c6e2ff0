#pragma once

#include <cmath>
#include <optional>
#include <variant>
#include <vector>

#include "fuzz/Input.h"
#include "tester/QACheck.h"

namespace qafuzz {

/// A number that JSON can hold, or a lasting silence.
inline void requireNumber(const std::optional<double>& value, const char* what) {
  require(!value.has_value() || !std::isnan(*value), what);
}

inline void requireValues(const QAValues& values) {
  for (const QAValue& value : values) {
    if (const auto* number = std::get_if<double>(&value.value)) {
      require(std::isfinite(*number), "results are numbers");
    } else if (const auto* records = std::get_if<std::vector<QAValues>>(&value.value)) {
      for (const QAValues& record : *records) {
        requireValues(record);
      }
    }
  }
}

inline void requireOutcome(const QACheckOutcome& outcome) {
  require(outcome.state != QAState::notMeasured || !outcome.reason.empty(),
          "what is not measured has a reason");
  if (outcome.state == QAState::notMeasured) {
    return;
  }
  require(!outcome.summary.empty(), "what is measured is summed up");
  requireValues(outcome.values);
  for (const QAEvent& event : outcome.events) {
    require(!event.what.empty(), "events have words");
    requireNumber(event.value, "events have numbers");
    // A moment has no end, and what is wrong with the whole file has no time.
    require(std::isfinite(event.startSeconds.value_or(0.0)) &&
                std::isfinite(event.endSeconds.value_or(0.0)) &&
                (event.startSeconds.has_value() || !event.endSeconds.has_value()),
            "times of events are numbers");
  }
}

}  // namespace qafuzz
