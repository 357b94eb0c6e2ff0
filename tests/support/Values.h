#pragma once

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

#include "tester/QACheckOutcome.h"

/// What outcomes hold, for tests that look values up or compare them.
namespace qatest {

/// Null when there is none of this key.
inline const QAValue* findValue(const QAValues& values, const std::string& key) {
  for (const QAValue& one : values) {
    if (one.key == key) {
      return &one;
    }
  }
  return nullptr;
}

/// A flag counts as 0 or 1; not a number when there is no number of this key.
inline double numberOf(const QAValues& values, const std::string& key) {
  const QAValue* found = findValue(values, key);
  if (found != nullptr) {
    if (const auto* number = std::get_if<double>(&found->value)) {
      return *number;
    }
    if (const auto* whole = std::get_if<int64_t>(&found->value)) {
      return static_cast<double>(*whole);
    }
    if (const auto* flag = std::get_if<bool>(&found->value)) {
      return *flag ? 1.0 : 0.0;
    }
  }
  return std::nan("");
}

inline double numberOf(const QACheckOutcome& outcome, const std::string& key) {
  return numberOf(outcome.values, key);
}

/// The numbers of a list; empty when there is no list of this key.
inline std::vector<double> numbersOf(const QACheckOutcome& outcome, const std::string& key) {
  const QAValue* found = findValue(outcome.values, key);
  const auto* numbers =
      found != nullptr ? std::get_if<std::vector<double>>(&found->value) : nullptr;
  return numbers != nullptr ? *numbers : std::vector<double>{};
}

/// The records of a list; empty when there is no list of this key.
inline std::vector<QAValues> recordsOf(const QACheckOutcome& outcome, const std::string& key) {
  const QAValue* found = findValue(outcome.values, key);
  const auto* records =
      found != nullptr ? std::get_if<std::vector<QAValues>>(&found->value) : nullptr;
  return records != nullptr ? *records : std::vector<QAValues>{};
}

/// All digits of a number: equal texts are equal numbers.
inline std::string exactly(double number) {
  char text[64];
  std::snprintf(text, sizeof text, "%a", number);
  return text;
}

/// Everything in them, one `key=value unit` after the other.
inline std::string textOf(const QAValues& values) {
  std::string text;
  for (const QAValue& one : values) {
    text += one.key + "=";
    std::visit(
        [&](const auto& value) {
          using Value = std::decay_t<decltype(value)>;
          if constexpr (std::is_same_v<Value, std::string>) {
            text += "\"" + value + "\"";
          } else if constexpr (std::is_same_v<Value, std::vector<double>>) {
            for (const double number : value) {
              text += exactly(number) + ",";
            }
          } else if constexpr (std::is_same_v<Value, std::vector<int64_t>>) {
            for (const int64_t number : value) {
              text += std::to_string(number) + ",";
            }
          } else if constexpr (std::is_same_v<Value, std::vector<QAValues>>) {
            for (const QAValues& record : value) {
              text += "{" + textOf(record) + "}";
            }
          } else if constexpr (std::is_same_v<Value, double>) {
            text += exactly(value);
          } else if constexpr (!std::is_same_v<Value, QANothing>) {
            text += std::to_string(value);
          }
        },
        one.value);
    text += one.unit.empty() ? "; " : " " + one.unit + "; ";
  }
  return text;
}

}  // namespace qatest
