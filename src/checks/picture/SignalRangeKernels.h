#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace qatester {

// Signals are counted in steps of 1/64 of an 8-bit code, whatever the depth of the samples: deeper
// ones than of 14 bits are cut, codes beyond the depth are its highest.
inline constexpr int kSignalBits = 14;

enum Signal : std::size_t { kRedSignal, kGreenSignal, kBlueSignal, kLumaSignal, kSignals };

/// The planes of a picture. Belongs to whoever the picture belongs to.
struct SignalPicture {
  enum class Kind {
    grey,        ///< luma in plane 0; R', G' and B' are the same
    difference,  ///< luma, Cb, Cr
    rgb,         ///< red, green, blue
  };
  Kind kind = Kind::grey;
  std::array<const uint8_t*, 3> planes{};
  std::array<std::ptrdiff_t, 3> strides{};  ///< bytes from a row to the next; may be negative
  int width = 0;                            ///< of plane 0
  int height = 0;
  int bits = 8;           ///< of a sample, 8 to 16
  bool twoBytes = false;  ///< of a sample, in the machine's order
  int chromaShiftX =
      0;  ///< 0 or 1: a column of plane 0 shifted to the right is its chroma sample's
  int chromaShiftY = 0;  ///< the same of rows, 0 to 3
};

/// What is computed of a picture, and compared with what.
struct SignalRules {
  // What Cb and Cr add to luma, in 1/32768 of their distance from neutral. Red and blue get that
  // distance itself as well. Each product is rounded to the nearest step, halves upwards.
  int16_t redOfCr = 0;
  int16_t greenLessCb = 0;
  int16_t greenLessCr = 0;
  int16_t blueOfCb = 0;
  /// The lowest and highest values that are inside.
  int16_t low = 0;
  int16_t high = std::numeric_limits<int16_t>::max();
};

/// The extremes of each signal; empty as constructed. An RGB picture has no luma.
struct SignalExtremes {
  std::array<int, kSignals> min;
  std::array<int, kSignals> max;

  SignalExtremes() {
    min.fill(std::numeric_limits<int>::max());
    max.fill(std::numeric_limits<int>::min());
  }
  bool operator==(const SignalExtremes&) const = default;

  bool empty(Signal signal) const { return min[signal] > max[signal]; }
  void widen(Signal signal, int low, int high) {
    min[signal] = std::min(min[signal], low);
    max[signal] = std::max(max[signal], high);
  }
};

/// A bit for each pixel of a picture, the first of a row in the lowest bit of its first word.
class OutsideMap {
 public:
  static constexpr int kBits = 64;

  /// All inside.
  void reset(int width, int height);

  int width() const { return width_; }
  int height() const { return height_; }
  std::ptrdiff_t wordsOfRow() const { return wordsOfRow_; }
  uint64_t* row(int y) { return words_.data() + wordsOfRow_ * y; }
  const uint64_t* row(int y) const { return words_.data() + wordsOfRow_ * y; }
  /// False beyond the picture.
  bool at(int x, int y) const;
  void set(int x, int y) { row(y)[x / kBits] |= uint64_t{1} << (x % kBits); }

  bool operator==(const OutsideMap&) const = default;

 private:
  int width_ = 0;
  int height_ = 0;
  std::ptrdiff_t wordsOfRow_ = 0;
  std::vector<uint64_t> words_;
};

/// Marks the pixels of which any signal is outside in a map of the picture's size, all inside
/// before, and widens the extremes by the picture. Returns whether a pixel is outside.
bool markOutside(const SignalPicture& picture, const SignalRules& rules, SignalExtremes& extremes,
                 OutsideMap& map);

/// The same, pixel by pixel.
bool markOutsidePixelwise(const SignalPicture& picture, const SignalRules& rules,
                          SignalExtremes& extremes, OutsideMap& map);

/// How many pixels belong to a square of 2 by 2 pixels that are all marked.
int64_t countInSquares(const OutsideMap& map);

/// The same, pixel by pixel.
int64_t countInSquaresPixelwise(const OutsideMap& map);

/// Whether such a square has this pixel.
bool isInSquare(const OutsideMap& map, int x, int y);

}  // namespace qatester
