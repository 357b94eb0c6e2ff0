#pragma once

#include <vector>

#include "Report.h"

namespace cli {

constexpr int kNothingFailed = 0;
constexpr int kCheckFailed = 1;
constexpr int kTrouble = 2;

/// Whether the file is not what it should be.
bool hasFailure(const FileReport& file);

/// Whether the file cannot be read, nothing of it was measured, a check was ended by an error, or,
/// where the checks were asked for by name (`named`), one of them could not be measured.
bool isInTrouble(const FileReport& file, bool named);

/// What the process says at its end. `otherTrouble`: beside the files, such as a report that could
/// not be written. `signal`: the one that ended the run, or 0.
int exitCode(const std::vector<FileReport>& files, bool named, bool otherTrouble, int signal);

/// As shells give it for a process that a signal ended.
int exitCodeOfSignal(int signal);

}  // namespace cli
