#pragma once

#include <memory>
#include <string>
#include <string_view>

struct z_stream_s;

namespace cli {

/// Compresses a text as gzip does, part by part: what is kept is the compressed text alone. The
/// same text gives the same bytes, whatever its parts. Throws std::bad_alloc.
class Gzip {
 public:
  Gzip();
  ~Gzip();
  Gzip(const Gzip&) = delete;
  Gzip& operator=(const Gzip&) = delete;

  void add(std::string_view text);

  /// All of it, once.
  std::string finish();

 private:
  void deflateAll(int flush);

  std::unique_ptr<z_stream_s> stream_;
  std::string result_;
};

}  // namespace cli
