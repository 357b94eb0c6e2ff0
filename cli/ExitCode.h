#pragma once

#include <vector>

#include "Report.h"

namespace cli {

constexpr int kNothingFailed = 0;
constexpr int kCheckFailed = 1;
constexpr int kTrouble = 2;

/// What the process says at its end. `outputFailed`: a table, log or report could not be written.
/// `signal`: the one that ended the run, or 0.
int exitCode(const std::vector<FileReport>& files, bool outputFailed, int signal);

/// As shells give it for a process that a signal ended.
int exitCodeOfSignal(int signal);

}  // namespace cli
