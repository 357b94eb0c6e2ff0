#include "OutOfMemory.h"

#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <new>

#include "ExitCode.h"
#include "Output.h"
#include "ReportFile.h"

namespace cli {

namespace {

[[noreturn]] void end() {
  if (const std::exception_ptr thrown = std::current_exception()) {
    try {
      std::rethrow_exception(thrown);
    } catch (const std::bad_alloc&) {
      writeAll(STDERR_FILENO, "qatester: out of memory\n");
      exitWithoutTemporaries(kTrouble);
    } catch (...) {
    }
  }
  std::abort();
}

}  // namespace

void tellOfMissingMemory() {
  std::set_terminate(end);
}

}  // namespace cli
