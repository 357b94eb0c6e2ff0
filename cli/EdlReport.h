#pragma once

#include <string>

#include "FileReport.h"

namespace cli {

/// Why there can be no edit decision list of a file; empty where there can.
std::string whyNoEdl(const FileReport& file);

/// What checks point at in one file, as an edit decision list after CMX 3600 whose locators editing
/// systems read as markers. There must be nothing against it (`whyNoEdl`).
///
/// A frame at which something begins is an event of one frame, with a locator for each finding:
/// red for what fails, yellow for what warns, cyan for the rest. A list has 999 events: the gravest
/// findings are kept, in turn from each check, and the end says how many are left out.
std::string edlText(const FileReport& file);

}  // namespace cli
