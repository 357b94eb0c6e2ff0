#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <new>

#include "ExitCode.h"
#include "Options.h"
#include "OutOfMemory.h"
#include "Output.h"
#include "Run.h"

namespace {

/// A standard stream that came closed must not be what the next file opened becomes: it gets a
/// placeholder that refuses to be written.
void occupyStandardStreams() {
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
    if (fcntl(fd, F_GETFD) < 0) {
      open("/dev/null", O_RDONLY);
    }
  }
}

/// A reader that has seen enough is no trouble.
bool isWritten(int error) {
  return error == 0 || error == EPIPE;
}

int answer(const cli::Reply& reply) {
  const bool written = isWritten(cli::writeAll(STDERR_FILENO, reply.err)) &&
                       isWritten(cli::writeAll(STDOUT_FILENO, reply.out));
  return written ? reply.exitCode : cli::kTrouble;
}

}  // namespace

int main(int argc, char** argv) {
  occupyStandardStreams();
  // A reader of the table that goes away is no reason to lose the report.
  signal(SIGPIPE, SIG_IGN);
  // Nor is a limit on the size of files: writing then fails, which is reported.
  signal(SIGXFSZ, SIG_IGN);
  cli::tellOfMissingMemory();
  try {
    const auto request = cli::parseCommandLine(argc, argv);
    if (const auto* reply = std::get_if<cli::Reply>(&request)) {
      return answer(*reply);
    }
    return cli::run(std::get<cli::Options>(request));
  } catch (const std::bad_alloc&) {
    std::fputs("qatester: out of memory\n", stderr);
    return cli::kTrouble;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "qatester: %s\n", error.what());
    return cli::kTrouble;
  }
}
