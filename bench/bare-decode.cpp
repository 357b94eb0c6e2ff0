// Decodes the first pictures, or all the sound, of a file, converts as many of the last of these
// pictures as are asked for to packed blue, green, red, and does nothing with them: what a program
// that measures them is compared with. Prints nothing.
//
// usage: bench_bare_decode FILE video|audio FRAMES|all SLICE-THREADS [CONVERTED]

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

#include "support/BareDecoder.h"

int main(int argc, char** argv) {
  if (argc != 5 && argc != 6) {
    std::fprintf(stderr, "usage: %s FILE video|audio FRAMES|all SLICE-THREADS [CONVERTED]\n",
                 argv[0]);
    return 2;
  }
  try {
    const auto kind = std::strcmp(argv[2], "audio") == 0 ? AVMEDIA_TYPE_AUDIO : AVMEDIA_TYPE_VIDEO;
    qatester::bench::BareDecoder decoder(argv[1], kind, {FF_THREAD_SLICE, std::atoi(argv[4])});
    if (std::strcmp(argv[3], "all") == 0) {
      while (decoder.next() != nullptr) {
      }
      return 0;
    }
    qatester::bench::BareConverter converter;
    const int converted = argc == 6 ? std::atoi(argv[5]) : 0;
    for (int left = std::atoi(argv[3]); left > 0; --left) {
      const AVFrame* frame = decoder.next();
      if (frame == nullptr) {
        std::fprintf(stderr, "%s: %d frames too few\n", argv[1], left);
        return 1;
      }
      if (left <= converted) {
        converter.convert(*frame);
      }
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", argv[1], error.what());
    return 1;
  }
  return 0;
}
