#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>

#if defined(__has_feature)  // clang; g++ defines the macro itself
#if __has_feature(address_sanitizer)
#define __SANITIZE_ADDRESS__ 1
#endif
#endif
#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/asan_interface.h>
#define POISON_PADDING(first, bytes) ASAN_POISON_MEMORY_REGION(first, bytes)
#define UNPOISON_PADDING(first, bytes) ASAN_UNPOISON_MEMORY_REGION(first, bytes)
#else
#define POISON_PADDING(first, bytes) static_cast<void>(0)
#define UNPOISON_PADDING(first, bytes) static_cast<void>(0)
#endif

namespace qatest {

/// The bytes of a plane, and after them the padding that FFmpeg's scaler may read. Under the
/// address sanitizer nobody else may: what is compiled with it is caught there.
class PaddedBytes {
 private:
  struct Free {
    std::size_t count;

    void operator()(uint8_t* bytes) const {
      UNPOISON_PADDING(bytes + count, kPadding);
      delete[] bytes;
    }
  };

 public:
  static constexpr std::size_t kPadding = 32;

  PaddedBytes() = default;
  PaddedBytes(std::size_t count, uint8_t value)
      : bytes_(new uint8_t[count + kPadding], Free{count}) {
    std::fill_n(bytes_.get(), count + kPadding, value);
    POISON_PADDING(bytes_.get() + count, kPadding);
  }

  uint8_t* data() const { return bytes_.get(); }

 private:
  std::unique_ptr<uint8_t, Free> bytes_;
};

}  // namespace qatest
