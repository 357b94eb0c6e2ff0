#include "OutOfMemory.h"

#include <unistd.h>

#include <array>
#include <climits>
#include <cstdlib>
#include <exception>
#include <new>

#include "ExitCode.h"
#include "Output.h"

namespace cli {

namespace {

std::array<char, PATH_MAX> leftOver = {};

[[noreturn]] void end() {
  if (const std::exception_ptr thrown = std::current_exception()) {
    try {
      std::rethrow_exception(thrown);
    } catch (const std::bad_alloc&) {
      if (leftOver[0] != '\0') {
        ::unlink(leftOver.data());
      }
      writeAll(STDERR_FILENO, "qatester: out of memory\n");
      _exit(kTrouble);
    } catch (...) {
    }
  }
  std::abort();
}

}  // namespace

void tellOfMissingMemory() {
  std::set_terminate(end);
}

void removeWithoutMemory(const std::string& fileName) {
  leftOver[fileName.copy(leftOver.data(), leftOver.size() - 1)] = '\0';
}

}  // namespace cli
