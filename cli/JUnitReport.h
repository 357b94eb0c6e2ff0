#pragma once

#include <string>
#include <vector>

#include "ExitCode.h"
#include "FileReport.h"

namespace cli {

/// A report in the dialect of JUnit's XML that servers of continuous integration read: a suite a
/// file, a case a check. A case is a failure or an error where it makes the exit code 1 or 2.
std::string junitText(const std::vector<FileReport>& files, const Demands& demands);

}  // namespace cli
