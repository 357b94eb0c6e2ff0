#pragma once

#include <string>
#include <vector>

#include "ExitCode.h"
#include "FileReport.h"

namespace cli {

// Tables for spreadsheets: a header, then a line each. Values are separated by commas, and quoted
// as RFC 4180 says; lines end with "\n", and there is none within a value. A text that a
// spreadsheet would take for a formula has an apostrophe before it.

/// A text as a value of a table.
std::string csvCell(const std::string& text);

/// A line a file: what it is, its verdict, the state of each check, and the figures that the rows
/// of the checks name.
std::string csvText(const std::vector<FileReport>& files, const Demands& demands);

/// A line an event, of all files and checks.
std::string csvEventsText(const std::vector<FileReport>& files);

}  // namespace cli
