// Decodes the first pictures of a file and does nothing with them: what a program that measures
// them is compared with. Prints nothing.
//
// usage: bench_bare_decode FILE PICTURES SLICE-THREADS

#include <cstdio>
#include <cstdlib>
#include <exception>

#include "support/BareDecoder.h"

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: %s FILE PICTURES SLICE-THREADS\n", argv[0]);
    return 2;
  }
  try {
    qatester::bench::BareDecoder decoder(argv[1], AVMEDIA_TYPE_VIDEO,
                                         {FF_THREAD_SLICE, std::atoi(argv[3])});
    for (int left = std::atoi(argv[2]); left > 0; --left) {
      if (decoder.next() == nullptr) {
        std::fprintf(stderr, "%s: %d pictures too few\n", argv[1], left);
        return 1;
      }
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", argv[1], error.what());
    return 1;
  }
  return 0;
}
