#pragma once

#include <vector>

#include "FileReport.h"

namespace cli {

constexpr int kNothingFailed = 0;
constexpr int kCheckFailed = 1;
constexpr int kTrouble = 2;

/// How much of an outcome makes the process end with something other than 0.
struct Demands {
  /// The checks were asked for by name: each one must be measured.
  bool named = false;
  /// Warnings count as failures.
  bool warningsFail = false;
};

/// Whether a check could not be measured that should have been: one that was asked for by name, or
/// one that judges and whose subject is there.
bool isMissed(const QACheckOutcome& outcome, bool named);

/// Whether an outcome of the file makes the exit code `kTrouble`: the check is missed, was ended by
/// an error, or could not measure where no other one could.
bool isTrouble(const QACheckOutcome& outcome, const FileReport& file, bool named);

/// Whether the file cannot be read, nothing of it was measured, a check was ended by an error, or
/// one is missed.
bool isInTrouble(const FileReport& file, bool named);

/// What the process says at its end. `otherTrouble`: beside the files, such as a report that could
/// not be written. `signal`: the one that ended the run, or 0.
int exitCode(const std::vector<FileReport>& files, const Demands& demands, bool otherTrouble,
             int signal);

/// As shells give it for a process that a signal ended.
int exitCodeOfSignal(int signal);

}  // namespace cli
