#pragma once

#include <string>

namespace cli {

/// From here on, memory that runs out where nothing may be thrown (libraries promise that of
/// functions which allocate) ends the process with a message and the exit code of an error, not as
/// a crash.
void tellOfMissingMemory();

/// Names a file that must not be left behind then; empty: none.
void removeWithoutMemory(const std::string& fileName);

}  // namespace cli
