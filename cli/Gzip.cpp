#include "Gzip.h"

#include <zlib.h>

#include <array>
#include <cstddef>
#include <new>
#include <utility>

namespace cli {

Gzip::Gzip() : stream_(std::make_unique<z_stream>()) {
  constexpr int kGzip = 16;
  constexpr int kMemory = 8;
  if (deflateInit2(stream_.get(), Z_DEFAULT_COMPRESSION, Z_DEFLATED, MAX_WBITS + kGzip, kMemory,
                   Z_DEFAULT_STRATEGY) != Z_OK) {
    throw std::bad_alloc();
  }
}

Gzip::~Gzip() {
  deflateEnd(stream_.get());
}

void Gzip::add(std::string_view text) {
  constexpr std::size_t kMost = 1 << 30;  // of a count of 32 bits
  while (!text.empty()) {
    const std::string_view next = text.substr(0, kMost);
    stream_->next_in = reinterpret_cast<Bytef*>(const_cast<char*>(next.data()));
    stream_->avail_in = static_cast<uInt>(next.size());
    text.remove_prefix(next.size());
    deflateAll(Z_NO_FLUSH);
  }
}

std::string Gzip::finish() {
  deflateAll(Z_FINISH);
  return std::move(result_);
}

/// Until it has no more to say.
void Gzip::deflateAll(int flush) {
  std::array<char, std::size_t{1} << 16> part;
  do {
    stream_->next_out = reinterpret_cast<Bytef*>(part.data());
    stream_->avail_out = static_cast<uInt>(part.size());
    deflate(stream_.get(), flush);
    result_.append(part.data(), part.size() - stream_->avail_out);
  } while (stream_->avail_out == 0);
}

}  // namespace cli
