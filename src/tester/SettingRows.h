#pragma once

#include <span>

#include "tester/QACheck.h"

namespace qatester {

// Rows that many checks have alike.

/// How many frames a check measures.
constexpr QASetting frameBudget(const char* key) {
  return {key,
          "100",
          QASetting::Kind::whole,
          1,
          QASetting::kMost,
          "frames",
          "how many frames are measured"};
}

/// How many blocks of sound a check measures.
constexpr QASetting blockBudget(const char* key, const char* defaultValue = "100") {
  return {key,
          defaultValue,
          QASetting::Kind::whole,
          1,
          QASetting::kMost,
          "blocks",
          "how many blocks of each stream are measured"};
}

/// The same of a check that compares two channels.
constexpr QASetting pairBudget(const char* key) {
  QASetting row = blockBudget(key);
  row.meaning = "how many pairs of blocks, one of each channel, are compared";
  return row;
}

/// A limit in code values or dB.
constexpr QASetting wholeLimit(const char* key, const char* defaultValue, double max,
                               const char* unit, const char* meaning) {
  return {key, defaultValue, QASetting::Kind::whole, QASetting::kLeast, max, unit, meaning};
}

/// A number from 0 on.
constexpr QASetting realLimit(const char* key, const char* defaultValue, const char* unit,
                              const char* meaning) {
  return {key, defaultValue, QASetting::Kind::real, 0.0, QASetting::kNoLimit, unit, meaning};
}

/// A count from 0 on.
constexpr QASetting countLimit(const char* key, const char* defaultValue, const char* meaning) {
  return {key, defaultValue, QASetting::Kind::whole, 0, QASetting::kMost, "", meaning};
}

/// Off at 0, on above.
constexpr QASetting onOrOff(const char* key, const char* defaultValue, const char* meaning) {
  return {key, defaultValue, QASetting::Kind::whole, 0, 1, "", meaning};
}

/// A text, or a list with commas; empty: anything will do.
constexpr QASetting demand(const char* key, const char* meaning) {
  return {key, "", QASetting::Kind::text, 0.0, 0.0, "", meaning};
}

}  // namespace qatester
