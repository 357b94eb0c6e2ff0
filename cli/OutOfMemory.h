#pragma once

namespace cli {

/// From here on, memory that runs out where nothing may be thrown (libraries promise that of
/// functions which allocate) ends the process with a message and the exit code of an error, not as
/// a crash. No temporary file of a report is left behind.
void tellOfMissingMemory();

}  // namespace cli
