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

}  // namespace qatester
