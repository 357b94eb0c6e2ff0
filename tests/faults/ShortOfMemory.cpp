// The client, whose n-th allocation fails; n is the first argument, and 0 tells how many there are.

#include <cstdio>
#include <cstdlib>

#include "faults/FailingAllocations.h"

int clientMain(int argc, char** argv);

int main(int argc, char** argv) {
  qatest::spareSize(sizeof "file");  // see AllocationFaultsTest.cpp
  const uint64_t nth = std::strtoull(argv[1], nullptr, 10);
  qatest::startFailing(nth, qatest::AllocationFault::once);
  const int code = clientMain(argc - 1, argv + 1);
  const uint64_t all = qatest::stopFailing();
  if (nth == 0) {
    std::fprintf(stderr, "%lu\n", static_cast<unsigned long>(all));
  }
  return code;
}
