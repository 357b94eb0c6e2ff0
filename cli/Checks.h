#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tester/QACheckOutcome.h"

class QATester;

namespace cli {

/// Keeps its keys in the order in which they are written.
using Json = nlohmann::ordered_json;

enum class State {
  pass,
  fail,
  info,         ///< measures without judging
  notMeasured,  ///< could not run, or was stopped before its end
};

/// The state as tables and reports spell it.
const char* stateText(State state);

/// The listener's progress slots.
enum class Slot {
  none,
  loudness,
  phase,
  levels,
  mono,
  frameRate,
  fieldDominance,
  pullDown,
  spare,
  chroma,
  gamut,
  tearing,
  timecode,
};

/// What a check found.
struct Findings {
  State state = State::notMeasured;
  /// The result record, field by field.
  Json result;
  /// The same for a person, with units; may be empty.
  std::string figures;
  /// Why the state is what it is; always there with `notMeasured`.
  std::string reason;
};

/// One check that the client knows.
struct Check {
  const char* name;
  const char* help;
  Slot progress;
  /// Its outcome says something about the file, so that a run of it is not for nothing.
  bool measures;
  /// The record of a check that could not run.
  Json (*zeroResult)();
  /// Runs the check. `outcome` is what the tester's outcome sink writes to.
  Findings (*run)(QATester& tester, const QACheckOutcome& outcome);
};

/// All checks, in the order in which they run by default.
const std::vector<Check>& allChecks();

/// Null when there is none of that name.
const Check* findCheck(const std::string& name);

}  // namespace cli
