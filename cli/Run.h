#pragma once

#include "Options.h"

namespace cli {

/// Runs the checks on all files, writes table, log and report, and returns the exit code.
int run(const Options& options);

}  // namespace cli
