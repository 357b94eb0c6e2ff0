#include "checks/picture/SignalRangeKernels.h"

#include <bit>
#include <cstring>
#include <iterator>
#include <type_traits>

// The part in HWY_NAMESPACE is compiled once for each instruction set; the best one that the
// processor has is chosen at run time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "checks/picture/SignalRangeKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// Signals are sums of terms that each depend on one component, and rounding keeps order. So the
// smallest and largest components of a block bound its signals from both sides: only where these
// bounds are outside, or leave the extremes found so far, are pixels computed.

#ifndef QATESTER_SIGNAL_RANGE_ONCE
#define QATESTER_SIGNAL_RANGE_ONCE
namespace qatester {

/// Of plane 0. The columns are those of a word of the map.
constexpr int kBlockColumns = OutsideMap::kBits;
constexpr int kBlockRows = 8;
/// How far ahead memory is asked for, and how much comes at a time.
constexpr std::size_t kBytesAhead = 256;
constexpr std::size_t kLineBytes = 64;
constexpr int kNeutral = 1 << (kSignalBits - 1);

/// What a code is in steps.
inline int stepsOf(int code, int bits) {
  const int most = (1 << bits) - 1;
  const int known = std::min(code, most);
  return bits <= kSignalBits ? known << (kSignalBits - bits) : known >> (bits - kSignalBits);
}

inline int timesFraction(int value, int fraction) {
  return (value * fraction + (1 << 14)) >> 15;
}

/// What chroma, less neutral, adds to luma, or takes from it.
inline int redTerm(const SignalRules& rules, int cr) {
  return cr + timesFraction(cr, rules.redOfCr);
}
inline int greenTerm(const SignalRules& rules, int cb, int cr) {
  return timesFraction(cb, rules.greenLessCb) + timesFraction(cr, rules.greenLessCr);
}
inline int blueTerm(const SignalRules& rules, int cb) {
  return cb + timesFraction(cb, rules.blueOfCb);
}

/// A block's samples: its own place in the picture, or a copy of what the picture has of it.
struct SignalBlock {
  std::array<const uint8_t*, 3> planes{};
  std::array<std::ptrdiff_t, 3> strides{};
  int rows = 0;
  int columns = 0;  ///< that are in the picture
};

inline const uint8_t* rowOf(const SignalBlock& block, std::size_t plane, int row) {
  return block.planes[plane] + block.strides[plane] * row;
}

/// Copies of blocks that the right edge of a picture cuts; their last columns are repeated.
class EdgeBlock {
 public:
  SignalBlock copied(const SignalPicture& picture, const SignalBlock& block);

 private:
  static constexpr int kRowBytes = kBlockColumns * 2;

  alignas(64) uint8_t bytes_[3][kBlockRows][kRowBytes];
};

/// Of chroma samples, for columns and rows of plane 0; at least one.
inline int chromaCount(int count, int shift) {
  return (count + (1 << shift) - 1) >> shift;
}

}  // namespace qatester
#endif

HWY_BEFORE_NAMESPACE();
namespace qatester {
namespace HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR

bool markBlocks(const SignalPicture& picture, const SignalRules& rules, SignalExtremes& extremes,
                OutsideMap& map) {
  return markOutsidePixelwise(picture, rules, extremes, map);
}

#else

namespace hn = hwy::HWY_NAMESPACE;

using Steps = hn::CappedTag<int16_t, 32>;
using Codes = hn::RebindToUnsigned<Steps>;
using Pairs = hn::Repartition<uint32_t, Steps>;
using VSteps = hn::Vec<Steps>;
constexpr auto kLanes = static_cast<int>(hn::MaxLanes(Steps()));

struct StepRange {
  int min;
  int max;
};

/// The smallest and largest samples of some columns of a block.
template <class T, int kColumns>
HWY_INLINE StepRange codesOf(const SignalBlock& block, std::size_t plane, int rows) {
  const hn::CappedTag<T, 32> d;
  constexpr auto kWidth = static_cast<int>(hn::MaxLanes(hn::CappedTag<T, 32>()));
  constexpr int kVectors = kColumns / kWidth;
  const auto load = [&](int row, int i) HWY_ATTR {
    return hn::LoadU(d, reinterpret_cast<const T*>(rowOf(block, plane, row)) + i * kWidth);
  };
  auto min = load(0, 0);
  auto max = min;
  for (int row = 0; row < rows; ++row) {
    // Of blocks to come: rows of a block are too far from each other for the processor to see.
    for (std::size_t line = 0; line < kColumns * sizeof(T); line += kLineBytes) {
      __builtin_prefetch(rowOf(block, plane, row) + kBytesAhead + line);
    }
    for (int i = 0; i < kVectors; ++i) {
      const auto codes = load(row, i);
      min = hn::Min(min, codes);
      max = hn::Max(max, codes);
    }
  }
  const hn::Repartition<uint16_t, decltype(d)> words;
  auto least = hn::BitCast(words, min);
  auto most = hn::BitCast(words, max);
  if constexpr (sizeof(T) == 1) {
    const auto low = hn::Set(words, 0x00FF);
    least = hn::Min(hn::And(least, low), hn::ShiftRight<8>(least));
    most = hn::Max(hn::And(most, low), hn::ShiftRight<8>(most));
  }
  return {hn::GetLane(hn::MinOfLanes(words, least)), hn::GetLane(hn::MaxOfLanes(words, most))};
}

/// Turns codes into steps.
template <class T>
class ToSteps {
 public:
  explicit ToSteps(int bits)
      : left_(std::max(kSignalBits - bits, 0)),
        right_(std::max(bits - kSignalBits, 0)),
        most_(static_cast<uint16_t>((1 << bits) - 1)) {}

  HWY_INLINE VSteps operator()(hn::Vec<Codes> codes) const {
    if constexpr (sizeof(T) == 1) {
      return hn::BitCast(Steps(), hn::ShiftLeft<kSignalBits - 8>(codes));
    } else {
      const auto known = hn::Min(codes, hn::Set(Codes(), most_));
      return hn::BitCast(Steps(), hn::ShiftRightSame(hn::ShiftLeftSame(known, left_), right_));
    }
  }

 private:
  int left_;
  int right_;
  uint16_t most_;
};

template <class T>
HWY_INLINE hn::Vec<Codes> loadCodes(const T* from) {
  if constexpr (sizeof(T) == 1) {
    return hn::PromoteTo(Codes(), hn::LoadU(hn::Rebind<uint8_t, Codes>(), from));
  } else {
    return hn::LoadU(Codes(), from);
  }
}

/// Each of half as many twice.
template <class T>
HWY_INLINE hn::Vec<Codes> loadCodesTwice(const T* from) {
  const auto once = hn::PromoteTo(Pairs(), hn::LoadU(hn::Rebind<T, Pairs>(), from));
  return hn::BitCast(Codes(), hn::Or(once, hn::ShiftLeft<16>(once)));
}

/// The lanes' extremes of each signal in a block.
struct LaneExtremes {
  VSteps min[kSignals];
  VSteps max[kSignals];

  HWY_INLINE LaneExtremes() {
    for (std::size_t i = 0; i < kSignals; ++i) {
      min[i] = hn::Set(Steps(), std::numeric_limits<int16_t>::max());
      max[i] = hn::Set(Steps(), std::numeric_limits<int16_t>::min());
    }
  }

  HWY_INLINE void widen(Signal signal, VSteps value) {
    min[signal] = hn::Min(min[signal], value);
    max[signal] = hn::Max(max[signal], value);
  }

  HWY_INLINE void addTo(SignalExtremes& extremes, Signal signal) const {
    const Steps d;
    const auto known = [](int value) {
      return static_cast<int16_t>(std::clamp<int>(value, std::numeric_limits<int16_t>::min(),
                                                  std::numeric_limits<int16_t>::max()));
    };
    const auto wider = hn::Or(hn::Lt(min[signal], hn::Set(d, known(extremes.min[signal]))),
                              hn::Gt(max[signal], hn::Set(d, known(extremes.max[signal]))));
    if (hn::AllFalse(d, wider)) {
      return;
    }
    alignas(64) int16_t least[kLanes];
    alignas(64) int16_t most[kLanes];
    hn::Store(min[signal], d, least);
    hn::Store(max[signal], d, most);
    extremes.widen(signal, *std::min_element(least, least + kLanes),
                   *std::max_element(most, most + kLanes));
  }
};

template <class T>
class SignalBlocks {
 public:
  SignalBlocks(const SignalPicture& picture, const SignalRules& rules, SignalExtremes& extremes)
      : picture_(picture), rules_(rules), extremes_(extremes), toSteps_(picture.bits) {
    std::fill(std::begin(lowest_), std::end(lowest_), rules.low);
    std::fill(std::begin(highest_), std::end(highest_), rules.high);
  }

  bool mark(OutsideMap& map) {
    bool any = false;
    EdgeBlock edge;
    for (int top = 0; top < picture_.height; top += kBlockRows) {
      for (int left = 0; left < picture_.width; left += kBlockColumns) {
        SignalBlock block = blockAt(left, top);
        if (block.columns < kBlockColumns) {
          block = edge.copied(picture_, block);
        }
        const SignalExtremes bounds = boundsOf(block);
        const int word = left / kBlockColumns;
        if (mayWiden(bounds)) {
          any = markBlock<true>(block, map, word, top) || any;
        } else if (mayBeOutside(bounds)) {
          any = markBlock<false>(block, map, word, top) || any;
        }
      }
    }
    return any;
  }

 private:
  SignalBlock blockAt(int left, int top) const {
    SignalBlock block;
    block.rows = std::min(kBlockRows, picture_.height - top);
    block.columns = std::min(kBlockColumns, picture_.width - left);
    const auto columnBytes = static_cast<std::ptrdiff_t>(sizeof(T));
    const std::size_t planes = picture_.kind == SignalPicture::Kind::grey ? 1 : 3;
    for (std::size_t plane = 0; plane < planes; ++plane) {
      const int shiftX = plane > 0 ? picture_.chromaShiftX : 0;
      const int shiftY = plane > 0 ? picture_.chromaShiftY : 0;
      block.strides[plane] = picture_.strides[plane];
      block.planes[plane] = picture_.planes[plane] + picture_.strides[plane] * (top >> shiftY) +
                            columnBytes * (left >> shiftX);
    }
    return block;
  }

  int steps(int code) const { return stepsOf(code, picture_.bits); }

  StepRange stepRange(const StepRange& codes) const { return {steps(codes.min), steps(codes.max)}; }

  /// What no signal of a block's pixels leaves.
  HWY_INLINE SignalExtremes boundsOf(const SignalBlock& block) const {
    const auto whole = [&](std::size_t plane) HWY_ATTR {
      return stepRange(codesOf<T, kBlockColumns>(block, plane, block.rows));
    };
    SignalExtremes bounds;
    const auto set = [&](Signal signal, int min, int max) { bounds.widen(signal, min, max); };
    const StepRange first = whole(0);
    if (picture_.kind == SignalPicture::Kind::rgb) {
      const StepRange green = whole(1);
      const StepRange blue = whole(2);
      set(kRedSignal, first.min, first.max);
      set(kGreenSignal, green.min, green.max);
      set(kBlueSignal, blue.min, blue.max);
      return bounds;
    }
    set(kLumaSignal, first.min, first.max);
    StepRange cb{0, 0};
    StepRange cr{0, 0};
    if (picture_.kind == SignalPicture::Kind::difference) {
      const int rows = chromaCount(block.rows, picture_.chromaShiftY);
      cb = stepRange(chromaCodes(block, 1, rows));
      cr = stepRange(chromaCodes(block, 2, rows));
      cb = {cb.min - kNeutral, cb.max - kNeutral};
      cr = {cr.min - kNeutral, cr.max - kNeutral};
    }
    set(kRedSignal, first.min + redTerm(rules_, cr.min), first.max + redTerm(rules_, cr.max));
    set(kGreenSignal, first.min - greenTerm(rules_, cb.max, cr.max),
        first.max - greenTerm(rules_, cb.min, cr.min));
    set(kBlueSignal, first.min + blueTerm(rules_, cb.min), first.max + blueTerm(rules_, cb.max));
    return bounds;
  }

  /// False only if no pixel of a block is outside.
  bool mayBeOutside(const SignalExtremes& bounds) const {
    return *std::min_element(bounds.min.begin(), bounds.min.end()) < rules_.low ||
           *std::max_element(bounds.max.begin(), bounds.max.end()) > rules_.high;
  }

  /// False only if no pixel of a block widens the extremes.
  bool mayWiden(const SignalExtremes& bounds) const {
    bool may = false;
    for (std::size_t signal = 0; signal < kSignals; ++signal) {
      may = may || bounds.min[signal] < extremes_.min[signal] ||
            bounds.max[signal] > extremes_.max[signal];
    }
    return may;
  }

  HWY_INLINE StepRange chromaCodes(const SignalBlock& block, std::size_t plane, int rows) const {
    return picture_.chromaShiftX == 0 ? codesOf<T, kBlockColumns>(block, plane, rows)
                                      : codesOf<T, kBlockColumns / 2>(block, plane, rows);
  }

  /// Computes all pixels of a block.
  template <bool kWidens>
  HWY_NOINLINE bool markBlock(const SignalBlock& block, OutsideMap& map, int word, int top) {
    const uint64_t inPicture =
        block.columns == kBlockColumns ? ~uint64_t{0} : (uint64_t{1} << block.columns) - 1;
    const bool isRgb = picture_.kind == SignalPicture::Kind::rgb;
    const bool hasChroma = picture_.kind == SignalPicture::Kind::difference;
    LaneExtremes lanes;
    uint64_t any = 0;
    int chromaRow = -1;
    for (int row = 0; row < block.rows; ++row) {
      if (hasChroma && row >> picture_.chromaShiftY != chromaRow) {
        chromaRow = row >> picture_.chromaShiftY;
        if constexpr (kWidens) {
          computeTerms(block, chromaRow);
        } else {
          computeLimits(block, chromaRow);
        }
      }
      const uint64_t marked = isRgb     ? markRow<false, kWidens>(block, row, lanes)
                              : kWidens ? markRow<true, kWidens>(block, row, lanes)
                                        : markRowByLuma(block, row);
      const uint64_t outside = inPicture & marked;
      map.row(top + row)[word] = outside;
      any |= outside;
    }
    if constexpr (kWidens) {
      for (const Signal signal : {kRedSignal, kGreenSignal, kBlueSignal}) {
        lanes.addTo(extremes_, signal);
      }
      if (!isRgb) {
        lanes.addTo(extremes_, kLumaSignal);
      }
    }
    return any != 0;
  }

  /// What chroma adds to luma, or takes from it.
  struct Terms {
    VSteps red;
    VSteps greenLess;
    VSteps blue;
  };

  HWY_INLINE Terms termsOf(hn::Vec<Codes> cbCodes, hn::Vec<Codes> crCodes) const {
    const Steps d;
    const ToSteps<T> toSteps = toSteps_;
    const VSteps neutral = hn::Set(d, kNeutral);
    const VSteps cb = hn::Sub(toSteps(cbCodes), neutral);
    const VSteps cr = hn::Sub(toSteps(crCodes), neutral);
    const auto times = [&](VSteps value, int16_t fraction)
                           HWY_ATTR { return hn::MulFixedPoint15(value, hn::Set(d, fraction)); };
    return {hn::Add(cr, times(cr, rules_.redOfCr)),
            hn::Add(times(cb, rules_.greenLessCb), times(cr, rules_.greenLessCr)),
            hn::Add(cb, times(cb, rules_.blueOfCb))};
  }

  HWY_INLINE void computeTerms(const SignalBlock& block, int chromaRow) {
    const Steps d;
    const auto* cbRow = reinterpret_cast<const T*>(rowOf(block, 1, chromaRow));
    const auto* crRow = reinterpret_cast<const T*>(rowOf(block, 2, chromaRow));
    const bool shared = picture_.chromaShiftX != 0;
    for (int x = 0; x < kBlockColumns; x += kLanes) {
      const Terms terms = termsOf(loadChroma(cbRow, x, shared), loadChroma(crRow, x, shared));
      hn::Store(terms.red, d, red_ + x);
      hn::Store(terms.greenLess, d, greenLess_ + x);
      hn::Store(terms.blue, d, blue_ + x);
    }
  }

  /// The lowest and highest luma with which no signal of a pixel is outside.
  HWY_INLINE void computeLimits(const SignalBlock& block, int chromaRow) {
    const Steps d;
    const auto* cbRow = reinterpret_cast<const T*>(rowOf(block, 1, chromaRow));
    const auto* crRow = reinterpret_cast<const T*>(rowOf(block, 2, chromaRow));
    const VSteps zero = hn::Zero(d);
    const bool shared = picture_.chromaShiftX != 0;
    const int samples = kBlockColumns >> picture_.chromaShiftX;
    alignas(64) int16_t lowest[kBlockColumns];
    alignas(64) int16_t highest[kBlockColumns];
    for (int x = 0; x < samples; x += kLanes) {
      const Terms terms = termsOf(loadCodes(cbRow + x), loadCodes(crRow + x));
      const VSteps green = hn::Sub(zero, terms.greenLess);
      const VSteps least = hn::Min(hn::Min(terms.red, green), hn::Min(terms.blue, zero));
      const VSteps most = hn::Max(hn::Max(terms.red, green), hn::Max(terms.blue, zero));
      hn::Store(hn::Sub(hn::Set(d, rules_.low), least), d, (shared ? lowest : lowest_) + x);
      hn::Store(hn::Sub(hn::Set(d, rules_.high), most), d, (shared ? highest : highest_) + x);
    }
    for (int x = 0; shared && x < kBlockColumns; x += kLanes) {
      hn::Store(loadTwice(lowest + x / 2), d, lowest_ + x);
      hn::Store(loadTwice(highest + x / 2), d, highest_ + x);
    }
  }

  static HWY_INLINE VSteps loadTwice(const int16_t* from) {
    return hn::BitCast(Steps(), loadCodesTwice(reinterpret_cast<const uint16_t*>(from)));
  }

  static HWY_INLINE hn::Vec<Codes> loadChroma(const T* row, int column, bool shared) {
    return shared ? loadCodesTwice(row + column / 2) : loadCodes(row + column);
  }

  /// `kWidens`: the extremes of what it computes are wanted.
  template <bool kHasLuma, bool kWidens>
  HWY_INLINE uint64_t markRow(const SignalBlock& block, int row, LaneExtremes& lanes) const {
    const Steps d;
    const auto* first = reinterpret_cast<const T*>(rowOf(block, 0, row));
    const ToSteps<T> toSteps = toSteps_;
    const VSteps low = hn::Set(d, rules_.low);
    const VSteps high = hn::Set(d, rules_.high);
    uint8_t bits[sizeof(uint64_t) + 8] = {};
    for (int x = 0; x < kBlockColumns; x += kLanes) {
      const VSteps value = toSteps(loadCodes(first + x));
      VSteps red = value;
      VSteps green;
      VSteps blue;
      if constexpr (kHasLuma) {
        red = hn::Add(value, hn::Load(d, red_ + x));
        green = hn::Sub(value, hn::Load(d, greenLess_ + x));
        blue = hn::Add(value, hn::Load(d, blue_ + x));
      } else {
        green = toSteps(loadCodes(reinterpret_cast<const T*>(rowOf(block, 1, row)) + x));
        blue = toSteps(loadCodes(reinterpret_cast<const T*>(rowOf(block, 2, row)) + x));
      }
      if constexpr (kWidens) {
        lanes.widen(kRedSignal, red);
        lanes.widen(kGreenSignal, green);
        lanes.widen(kBlueSignal, blue);
        lanes.widen(kLumaSignal, value);
      }
      // Of an RGB picture the first signal is red.
      const VSteps least = hn::Min(hn::Min(red, green), hn::Min(blue, value));
      const VSteps most = hn::Max(hn::Max(red, green), hn::Max(blue, value));
      const auto outside = hn::Or(hn::Lt(least, low), hn::Gt(most, high));
      hn::StoreMaskBits(d, outside, bits + x / 8);
    }
    uint64_t word = 0;
    std::memcpy(&word, bits, sizeof word);
    return word;
  }

  /// The same as `markRow` by the limits of luma alone.
  HWY_INLINE uint64_t markRowByLuma(const SignalBlock& block, int row) const {
    const Steps d;
    const auto* first = reinterpret_cast<const T*>(rowOf(block, 0, row));
    const ToSteps<T> toSteps = toSteps_;
    uint8_t bits[sizeof(uint64_t) + 8] = {};
    for (int x = 0; x < kBlockColumns; x += kLanes) {
      const VSteps value = toSteps(loadCodes(first + x));
      const auto outside =
          hn::Or(hn::Lt(value, hn::Load(d, lowest_ + x)), hn::Gt(value, hn::Load(d, highest_ + x)));
      hn::StoreMaskBits(d, outside, bits + x / 8);
    }
    uint64_t word = 0;
    std::memcpy(&word, bits, sizeof word);
    return word;
  }

  const SignalPicture& picture_;
  const SignalRules& rules_;
  SignalExtremes& extremes_;
  ToSteps<T> toSteps_;
  /// Of the chroma row that was computed last; of a grey picture, 0.
  alignas(64) int16_t red_[kBlockColumns] = {};
  alignas(64) int16_t greenLess_[kBlockColumns] = {};
  alignas(64) int16_t blue_[kBlockColumns] = {};
  /// Of the chroma row whose limits were computed last; of a grey picture, those of luma.
  alignas(64) int16_t lowest_[kBlockColumns];
  alignas(64) int16_t highest_[kBlockColumns];
};

bool markBlocks(const SignalPicture& picture, const SignalRules& rules, SignalExtremes& extremes,
                OutsideMap& map) {
  return picture.twoBytes ? SignalBlocks<uint16_t>(picture, rules, extremes).mark(map)
                          : SignalBlocks<uint8_t>(picture, rules, extremes).mark(map);
}

#endif  // HWY_TARGET == HWY_SCALAR

/// Counts words at a time: the instruction for it is in some of the instruction sets.
int64_t countWords(const OutsideMap& map) {
  const std::ptrdiff_t words = map.wordsOfRow();
  const std::vector<uint64_t> nothing(static_cast<std::size_t>(words), 0);
  int64_t count = 0;
  for (int y = 0; y < map.height(); ++y) {
    const uint64_t* above = y > 0 ? map.row(y - 1) : nothing.data();
    const uint64_t* row = map.row(y);
    const uint64_t* below = y + 1 < map.height() ? map.row(y + 1) : nothing.data();
    uint64_t carried = 0;  // of the word before: its last pixel is in a square with the next one
    for (std::ptrdiff_t i = 0; i < words; ++i) {
      if (row[i] == 0) {
        carried = 0;
        continue;
      }
      // Pixels that are marked together with their neighbour above or below.
      const auto standing = [&](const uint64_t* other, std::ptrdiff_t at) {
        return at < words ? row[at] & other[at] : uint64_t{0};
      };
      uint64_t inSquares = carried;
      carried = 0;
      for (const uint64_t* other : {above, below}) {
        const uint64_t here = standing(other, i);
        const uint64_t left = here & (here >> 1 | standing(other, i + 1) << 63);
        inSquares |= left | left << 1;
        carried |= left >> 63;
      }
      count += std::popcount(inSquares);
    }
  }
  return count;
}

}  // namespace HWY_NAMESPACE
}  // namespace qatester
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qatester {

HWY_EXPORT(markBlocks);
HWY_EXPORT(countWords);

void OutsideMap::reset(int width, int height) {
  width_ = width;
  height_ = height;
  wordsOfRow_ = (width + kBits - 1) / kBits;
  words_.assign(static_cast<std::size_t>(wordsOfRow_) * static_cast<std::size_t>(height), 0);
}

bool OutsideMap::at(int x, int y) const {
  return x >= 0 && y >= 0 && x < width_ && y < height_ &&
         (row(y)[x / kBits] >> (x % kBits) & 1U) != 0;
}

SignalBlock EdgeBlock::copied(const SignalPicture& picture, const SignalBlock& block) {
  const std::size_t bytes = picture.twoBytes ? 2 : 1;
  SignalBlock copy = block;
  const std::size_t planes = picture.kind == SignalPicture::Kind::grey ? 1 : 3;
  for (std::size_t plane = 0; plane < planes; ++plane) {
    const int shiftX = plane > 0 ? picture.chromaShiftX : 0;
    const int shiftY = plane > 0 ? picture.chromaShiftY : 0;
    const auto there = static_cast<std::size_t>(chromaCount(block.columns, shiftX));
    const auto all = static_cast<std::size_t>(kBlockColumns >> shiftX);
    for (int row = 0; row < chromaCount(block.rows, shiftY); ++row) {
      uint8_t* to = bytes_[plane][row];
      std::memcpy(to, rowOf(block, plane, row), there * bytes);
      for (std::size_t x = there; x < all; ++x) {
        std::memcpy(to + x * bytes, to + (there - 1) * bytes, bytes);
      }
    }
    copy.planes[plane] = bytes_[plane][0];
    copy.strides[plane] = kRowBytes;
  }
  return copy;
}

bool markOutside(const SignalPicture& picture, const SignalRules& rules, SignalExtremes& extremes,
                 OutsideMap& map) {
  return HWY_DYNAMIC_DISPATCH(markBlocks)(picture, rules, extremes, map);
}

bool markOutsidePixelwise(const SignalPicture& picture, const SignalRules& rules,
                          SignalExtremes& extremes, OutsideMap& map) {
  const auto sampleAt = [&](std::size_t plane, int x, int y) {
    const int shiftX = plane > 0 ? picture.chromaShiftX : 0;
    const int shiftY = plane > 0 ? picture.chromaShiftY : 0;
    const uint8_t* row = picture.planes[plane] + picture.strides[plane] * (y >> shiftY);
    const std::ptrdiff_t column = x >> shiftX;
    uint16_t code = row[picture.twoBytes ? 2 * column : column];
    if (picture.twoBytes) {
      std::memcpy(&code, row + 2 * column, sizeof code);
    }
    return stepsOf(code, picture.bits);
  };
  bool any = false;
  for (int y = 0; y < picture.height; ++y) {
    for (int x = 0; x < picture.width; ++x) {
      std::array<int, kSignals> values{};
      values.fill(sampleAt(0, x, y));
      if (picture.kind == SignalPicture::Kind::rgb) {
        values[kGreenSignal] = sampleAt(1, x, y);
        values[kBlueSignal] = sampleAt(2, x, y);
      } else if (picture.kind == SignalPicture::Kind::difference) {
        const int cb = sampleAt(1, x, y) - kNeutral;
        const int cr = sampleAt(2, x, y) - kNeutral;
        values[kRedSignal] += redTerm(rules, cr);
        values[kGreenSignal] -= greenTerm(rules, cb, cr);
        values[kBlueSignal] += blueTerm(rules, cb);
      }
      const bool hasLuma = picture.kind != SignalPicture::Kind::rgb;
      bool outside = false;
      for (const Signal signal : {kRedSignal, kGreenSignal, kBlueSignal, kLumaSignal}) {
        if (signal != kLumaSignal || hasLuma) {
          extremes.widen(signal, values[signal], values[signal]);
          outside = outside || values[signal] < rules.low || values[signal] > rules.high;
        }
      }
      if (outside) {
        map.set(x, y);
        any = true;
      }
    }
  }
  return any;
}

int64_t countInSquares(const OutsideMap& map) {
  return HWY_DYNAMIC_DISPATCH(countWords)(map);
}

bool isInSquare(const OutsideMap& map, int x, int y) {
  for (const int left : {x - 1, x}) {
    for (const int top : {y - 1, y}) {
      if (map.at(left, top) && map.at(left + 1, top) && map.at(left, top + 1) &&
          map.at(left + 1, top + 1)) {
        return true;
      }
    }
  }
  return false;
}

int64_t countInSquaresPixelwise(const OutsideMap& map) {
  int64_t count = 0;
  for (int y = 0; y < map.height(); ++y) {
    for (int x = 0; x < map.width(); ++x) {
      count += isInSquare(map, x, y) ? 1 : 0;
    }
  }
  return count;
}

}  // namespace qatester

#endif  // HWY_ONCE
