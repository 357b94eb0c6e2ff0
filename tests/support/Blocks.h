#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "media/OxAudioStream.h"

extern "C" {
#include <libavutil/samplefmt.h>
}

namespace qatest {

template <typename T>
constexpr int formatOf() {
  return sizeof(T) == 1 ? AV_SAMPLE_FMT_U8 : sizeof(T) == 2 ? AV_SAMPLE_FMT_S16 : AV_SAMPLE_FMT_S32;
}

/// A block that borrows these values, which must outlive it.
template <typename T>
OxAudioSample blockOf(std::vector<T>& values, int format = formatOf<T>()) {
  OxAudioSample block;
  block.buffer = reinterpret_cast<uint8_t*>(values.data());
  block.sampleFormat = format;
  block.bytesPerSample = static_cast<int>(sizeof(T));
  block.numberOfSamples = static_cast<int>(values.size());
  return block;
}

/// A block with a buffer of its own, as a stream gives it. Behind the last value the buffer ends,
/// so that the address sanitizer sees whoever reads on.
template <typename T>
OxAudioSample ownBlock(std::vector<T> values, int format = formatOf<T>()) {
  OxAudioSample block = blockOf(values, format);
  const std::size_t bytes = values.size() * sizeof(T);
  block.buffer = static_cast<uint8_t*>(std::malloc(bytes));
  std::memcpy(block.buffer, values.data(), bytes);
  return block;
}

}  // namespace qatest
