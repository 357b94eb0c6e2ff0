#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size);

namespace qafuzz {

/// Ends the program when something that holds for every input does not.
inline void require(bool holds, const char* what) {
  if (!holds) {
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
  }
}

/// Reads typed values off the bytes of an input. Behind its end everything is 0 and empty.
class Input {
 public:
  Input(const uint8_t* data, std::size_t size) : at_(data), left_(size) {}

  std::size_t left() const { return left_; }
  bool empty() const { return left_ == 0; }

  /// The next bytes as they lie in memory.
  template <typename T>
  T value() {
    T result{};
    const std::size_t there = std::min(sizeof result, left_);
    if (there > 0) {
      std::memcpy(&result, at_, there);
    }
    skip(there);
    return result;
  }

  uint8_t byte() { return value<uint8_t>(); }
  bool flag() { return (byte() & 1U) != 0; }

  /// From `low` to `high`, both included; a range of up to 256 values takes one byte.
  int within(int low, int high) {
    const int64_t range = int64_t{high} - low + 1;
    const uint32_t bits = range <= 256 ? byte() : value<uint32_t>();
    return static_cast<int>(low + bits % range);
  }

  /// Half of them special: bounds, infinities, what is not a number.
  double number() {
    static constexpr double kSpecial[] = {
        0.0,   -0.0,   1.0,    -1.0,  0.5,          23.976,       25.0,          29.97,
        59.94, 1e-300, -1e300, 1e300, 2147483647.0, 2147483648.0, -2147483649.0, 9.3e18};
    const uint8_t kind = byte();
    if (kind < 16) {
      return kSpecial[kind];
    }
    switch (kind % 4) {
      case 0:
        return value<double>();
      case 1:
        return static_cast<double>(value<float>());
      case 2:
        return static_cast<double>(value<int16_t>()) / 100.0;
      default:
        return kind < 128   ? kInfinity
               : kind < 192 ? -kInfinity
                            : std::numeric_limits<double>::quiet_NaN();
    }
  }

  std::string text(std::size_t longest) {
    const std::size_t count = std::min({left_, longest, std::size_t{byte()}});
    const std::size_t there = std::min(count, left_);
    std::string result(reinterpret_cast<const char*>(at_), there);
    skip(there);
    return result;
  }

  /// `count` bytes, repeated from the start of what is left when that is less.
  std::vector<uint8_t> bytes(std::size_t count) {
    std::vector<uint8_t> result(count);
    for (std::size_t i = 0; i < count && left_ > 0; ++i) {
      result[i] = static_cast<uint8_t>(at_[i % left_] + i / left_);
    }
    skip(std::min(count, left_));
    return result;
  }

 private:
  static constexpr double kInfinity = std::numeric_limits<double>::infinity();

  void skip(std::size_t count) {
    at_ += count;
    left_ -= count;
  }

  const uint8_t* at_;
  std::size_t left_;
};

}  // namespace qafuzz
