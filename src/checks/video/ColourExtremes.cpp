#include "checks/video/ColourExtremes.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>

#include "media/YUVConversion.h"

// The part in HWY_NAMESPACE is compiled once for each instruction set; the best one that the
// processor has is chosen at run time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "checks/video/ColourExtremes.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// A channel is a sum of terms that each depend on one component, and rounding and truncation keep
// order. So the smallest and largest components of a block bound its colours from both sides, and
// only where these bounds leave the extremes found so far are pixels converted. There, the largest
// and smallest luma of the pixels that share a chroma sample stand for all of them.

#ifndef QATESTER_COLOUR_EXTREMES_ONCE
#define QATESTER_COLOUR_EXTREMES_ONCE
namespace qatester {
/// Luma columns, and rows of chroma samples, of a block.
constexpr int kBlockColumns = 64;
constexpr int kBlockChromaRows = 8;
}  // namespace qatester
#endif

HWY_BEFORE_NAMESPACE();
namespace qatester {
namespace HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR

void measureBlocks(const PlanarPicture& picture, const Rectangle& rectangle,
                   ColourExtremes& extremes) {
  extremes.widen(measureColoursPixelwise(picture, rectangle));
}

#else

namespace hn = hwy::HWY_NAMESPACE;

using Bytes = hn::CappedTag<uint8_t, 32>;
using Ints = hn::Repartition<int32_t, Bytes>;
using Floats = hn::RebindToFloat<Ints>;
/// As many as there are floats in a vector, and twice as many.
using FewBytes = hn::Rebind<uint8_t, Ints>;
using Shorts = hn::Rebind<uint16_t, Ints>;
using PairedBytes = hn::Repartition<uint8_t, Shorts>;

using VBytes = hn::Vec<Bytes>;
using VFloats = hn::Vec<Floats>;

constexpr int kByteLanes = static_cast<int>(hn::MaxLanes(Bytes()));
constexpr int kFloatLanes = static_cast<int>(hn::MaxLanes(Floats()));

/// The larger, and the smaller, of each two neighbouring bytes.
template <class D, class V>
HWY_INLINE auto largerOfPairs(D pairs, V bytes) {
  const auto both = hn::BitCast(pairs, bytes);
  return hn::Max(hn::And(both, hn::Set(pairs, 0x00FF)), hn::ShiftRight<8>(both));
}
template <class D, class V>
HWY_INLINE auto smallerOfPairs(D pairs, V bytes) {
  const auto both = hn::BitCast(pairs, bytes);
  return hn::Min(hn::And(both, hn::Set(pairs, 0x00FF)), hn::ShiftRight<8>(both));
}

template <class V>
HWY_INLINE VFloats toFloats(V integers) {
  return hn::ConvertTo(Floats(), hn::PromoteTo(Ints(), integers));
}
HWY_INLINE VFloats loadFloats(const uint8_t* from) {
  return toFloats(hn::LoadU(FewBytes(), from));
}

struct ByteRange {
  VBytes max;
  VBytes min;

  static HWY_INLINE ByteRange empty() { return {hn::Zero(Bytes()), hn::Set(Bytes(), 255)}; }

  HWY_INLINE void widen(const ByteRange& by) {
    max = hn::Max(max, by.max);
    min = hn::Min(min, by.min);
  }

  HWY_INLINE void widen(const uint8_t* from) {
    const VBytes bytes = hn::LoadU(Bytes(), from);
    widen({bytes, bytes});
  }

  HWY_INLINE Extremes reduced() const {
    const hn::Repartition<uint16_t, Bytes> pairs;
    return {hn::GetLane(hn::MaxOfLanes(pairs, largerOfPairs(pairs, max))),
            hn::GetLane(hn::MinOfLanes(pairs, smallerOfPairs(pairs, min)))};
  }
};

struct FloatRange {
  VFloats max;
  VFloats min;

  static HWY_INLINE FloatRange empty() {
    constexpr float kMost = 2147483520.0F;  // as much as fits an integer
    return {hn::Set(Floats(), -kMost), hn::Set(Floats(), kMost)};
  }

  HWY_INLINE void widen(const FloatRange& by) {
    max = hn::Max(max, by.max);
    min = hn::Min(min, by.min);
  }

  HWY_INLINE Extremes reduced() const {
    return {static_cast<int>(hn::GetLane(hn::MaxOfLanes(Floats(), max))),
            static_cast<int>(hn::GetLane(hn::MinOfLanes(Floats(), min)))};
  }

  /// False only if truncated to integers no lane lies outside the extremes.
  HWY_INLINE hn::Mask<Floats> mayWiden(const Extremes& extremes) const {
    constexpr float kAlmostOne = 0.999F;
    const auto above = static_cast<float>(extremes.max) + (extremes.max >= 0 ? kAlmostOne : 0.0F);
    const auto below = static_cast<float>(extremes.min) - (extremes.min <= 0 ? kAlmostOne : 0.0F);
    return hn::Or(hn::Gt(max, hn::Set(Floats(), above)), hn::Lt(min, hn::Set(Floats(), below)));
  }
};

struct ColourRanges {
  FloatRange r;
  FloatRange g;
  FloatRange b;

  static HWY_INLINE ColourRanges empty() {
    return {FloatRange::empty(), FloatRange::empty(), FloatRange::empty()};
  }

  HWY_INLINE void widen(const ColourRanges& by) {
    r.widen(by.r);
    g.widen(by.g);
    b.widen(by.b);
  }

  HWY_INLINE bool mayWiden(const ColourExtremes& extremes) const {
    const auto outside =
        hn::Or(hn::Or(r.mayWiden(extremes.r), g.mayWiden(extremes.g)), b.mayWiden(extremes.b));
    return !hn::AllFalse(Floats(), outside);
  }
};

/// What a component is above `zero`, times `factor`.
HWY_INLINE VFloats term(VFloats component, float zero, float factor) {
  return hn::Mul(hn::Sub(component, hn::Set(Floats(), zero)), hn::Set(Floats(), factor));
}
// One step above black and neutral a term is its factor.
HWY_INLINE VFloats lumaTerm(VFloats y) {
  return term(y, 16.0F, kBt601Terms.luma[17]);
}
HWY_INLINE VFloats redOfCr(VFloats v) {
  return term(v, 128.0F, kBt601Terms.redOfCr[129]);
}
HWY_INLINE VFloats greenOfCb(VFloats u) {
  return term(u, 128.0F, kBt601Terms.greenOfCb[129]);
}
HWY_INLINE VFloats greenOfCr(VFloats v) {
  return term(v, 128.0F, kBt601Terms.greenOfCr[129]);
}
HWY_INLINE VFloats blueOfCb(VFloats u) {
  return term(u, 128.0F, kBt601Terms.blueOfCb[129]);
}

/// The ranges of the colours that components in these ranges make.
HWY_INLINE ColourRanges convert(const FloatRange& y, const FloatRange& u, const FloatRange& v) {
  const VFloats high = lumaTerm(y.max);
  const VFloats low = lumaTerm(y.min);
  return {{hn::Add(high, redOfCr(v.max)), hn::Add(low, redOfCr(v.min))},
          {hn::Add(hn::Add(high, greenOfCb(u.min)), greenOfCr(v.min)),
           hn::Add(hn::Add(low, greenOfCb(u.max)), greenOfCr(v.max))},
          {hn::Add(high, blueOfCb(u.max)), hn::Add(low, blueOfCb(u.min))}};
}

/// Whether colours made of components in these ranges may lie outside the extremes.
HWY_INLINE bool mayWiden(const ColourExtremes& extremes, const Extremes& y, const Extremes& u,
                         const Extremes& v) {
  const Bt601Terms& terms = kBt601Terms;
  const auto integer = [](float value) { return static_cast<int>(value); };
  return integer(terms.red(y.max, v.max)) > extremes.r.max ||
         integer(terms.red(y.min, v.min)) < extremes.r.min ||
         integer(terms.green(y.max, u.min, v.min)) > extremes.g.max ||
         integer(terms.green(y.min, u.max, v.max)) < extremes.g.min ||
         integer(terms.blue(y.max, u.max)) > extremes.b.max ||
         integer(terms.blue(y.min, u.min)) < extremes.b.min;
}

/// The ranges of one component in the columns of a block.
template <int kColumns>
class ColumnRanges {
 public:
  ColumnRanges() { std::fill(std::begin(vectors_), std::end(vectors_), ByteRange::empty()); }

  HWY_INLINE void widen(const uint8_t* row) {
    for (std::ptrdiff_t i = 0; i < kVectors; ++i) {
      vectors_[i].widen(row + i * kByteLanes);
    }
  }

  HWY_INLINE Extremes reduced() const {
    ByteRange all = vectors_[0];
    for (int i = 1; i < kVectors; ++i) {
      all.widen(vectors_[i]);
    }
    return all.reduced();
  }

  HWY_INLINE void store(uint8_t* max, uint8_t* min) const {
    for (std::ptrdiff_t i = 0; i < kVectors; ++i) {
      hn::StoreU(vectors_[i].max, Bytes(), max + i * kByteLanes);
      hn::StoreU(vectors_[i].min, Bytes(), min + i * kByteLanes);
    }
  }

 private:
  static constexpr int kVectors = kColumns / kByteLanes;

  ByteRange vectors_[kVectors];
};

/// Blocks of a picture whose chroma samples are shared by `kAcross` pixels of a row and by `kDown`
/// rows.
template <int kAcross, int kDown>
class Blocks {
 public:
  /// The rectangle is at least a block wide; its columns begin and end between chroma samples.
  static void measure(const PlanarPicture& picture, const Rectangle& rectangle,
                      ColourExtremes& extremes) {
    const int first = rectangle.yStart / kDown * kDown;
    for (int top = first; top < rectangle.yEnd; top += kBlockChromaRows * kDown) {
      const Blocks blocks(picture, rectangle, top);
      for (int x = rectangle.xStart; x < rectangle.xEnd; x += kBlockColumns) {
        // The last one overlaps the one before.
        blocks.measureAt(std::min(x, rectangle.xEnd - kBlockColumns), extremes);
      }
    }
  }

 private:
  static constexpr int kChromaColumns = kBlockColumns / kAcross;

  /// One row of chroma samples and the first and last of the luma rows that share it.
  struct Rows {
    const uint8_t* lumaA;
    const uint8_t* lumaB;
    const uint8_t* cb;
    const uint8_t* cr;
  };

  /// The largest and smallest components of each column.
  struct ColumnBounds {
    alignas(kBlockColumns) uint8_t yMax[kBlockColumns];
    alignas(kBlockColumns) uint8_t yMin[kBlockColumns];
    alignas(kBlockColumns) uint8_t uMax[kChromaColumns];
    alignas(kBlockColumns) uint8_t uMin[kChromaColumns];
    alignas(kBlockColumns) uint8_t vMax[kChromaColumns];
    alignas(kBlockColumns) uint8_t vMin[kChromaColumns];
  };

  /// The blocks whose rows begin at `top`. Where the rectangle ends before them its last rows are
  /// repeated: to measure a pixel twice changes nothing.
  Blocks(const PlanarPicture& picture, const Rectangle& rectangle, int top) {
    for (Rows& rows : rows_) {
      const int first = std::max(top, rectangle.yStart);
      const int last = std::min(top + kDown, rectangle.yEnd) - 1;
      rows = {picture.lumaRow(first), picture.lumaRow(last), picture.chromaRow(1, first),
              picture.chromaRow(2, first)};
      if (top + kDown < rectangle.yEnd) {
        top += kDown;
      }
    }
  }

  HWY_INLINE void measureAt(int x, ColourExtremes& extremes) const {
    ColumnRanges<kBlockColumns> y;
    ColumnRanges<kChromaColumns> u;
    ColumnRanges<kChromaColumns> v;
    HWY_UNROLL(8)
    for (const Rows& rows : rows_) {
      y.widen(rows.lumaA + x);
      if constexpr (kDown > 1) {
        y.widen(rows.lumaB + x);
      }
      u.widen(rows.cb + x / kAcross);
      v.widen(rows.cr + x / kAcross);
    }
    const Extremes luma = y.reduced();
    extremes.y.widen(luma);
    if (mayWiden(extremes, luma, u.reduced(), v.reduced())) {
      ColumnBounds bounds;
      y.store(bounds.yMax, bounds.yMin);
      u.store(bounds.uMax, bounds.uMin);
      v.store(bounds.vMax, bounds.vMin);
      convertAt(x, bounds, extremes);
    }
  }

  /// Converts those columns, a vector of chroma samples at a time, that may widen the extremes.
  HWY_NOINLINE void convertAt(int x, const ColumnBounds& bounds, ColourExtremes& extremes) const {
    ColourRanges ranges = ColourRanges::empty();
    bool converted = false;
    for (int i = 0; i < kChromaColumns; i += kFloatLanes) {
      const FloatRange y = lumaRange(bounds.yMax + i * kAcross, bounds.yMin + i * kAcross);
      const FloatRange u{loadFloats(bounds.uMax + i), loadFloats(bounds.uMin + i)};
      const FloatRange v{loadFloats(bounds.vMax + i), loadFloats(bounds.vMin + i)};
      if (convert(y, u, v).mayWiden(extremes)) {
        converted = true;
        for (const Rows& rows : rows_) {
          ranges.widen(convertRow(rows, x + i * kAcross));
        }
      }
    }
    if (converted) {
      extremes.r.widen(ranges.r.reduced());
      extremes.g.widen(ranges.g.reduced());
      extremes.b.widen(ranges.b.reduced());
    }
  }

  static HWY_INLINE ColourRanges convertRow(const Rows& rows, int x) {
    const VFloats u = loadFloats(rows.cb + x / kAcross);
    const VFloats v = loadFloats(rows.cr + x / kAcross);
    return convert(lumaRange(rows.lumaA + x, (kDown > 1 ? rows.lumaB : rows.lumaA) + x), {u, u},
                   {v, v});
  }

  /// The range of luma that each of a vector of chroma samples is shared by, in rows of which,
  /// without horizontal sharing, the first has the larger values.
  static HWY_INLINE FloatRange lumaRange(const uint8_t* a, const uint8_t* b) {
    if constexpr (kAcross == 1) {
      return {loadFloats(a), loadFloats(b)};
    } else {
      const PairedBytes bytes;
      const Shorts pairs;
      const auto bytesA = hn::LoadU(bytes, a);
      const auto bytesB = hn::LoadU(bytes, b);
      return {toFloats(largerOfPairs(pairs, hn::Max(bytesA, bytesB))),
              toFloats(smallerOfPairs(pairs, hn::Min(bytesA, bytesB)))};
    }
  }

  std::array<Rows, kBlockChromaRows> rows_;
};

void measureBlocks(const PlanarPicture& picture, const Rectangle& rectangle,
                   ColourExtremes& extremes) {
  if (picture.chromaShiftX == 0) {
    Blocks<1, 1>::measure(picture, rectangle, extremes);
  } else if (picture.chromaShiftY == 0) {
    Blocks<2, 1>::measure(picture, rectangle, extremes);
  } else {
    Blocks<2, 2>::measure(picture, rectangle, extremes);
  }
}

#endif  // HWY_TARGET == HWY_SCALAR

}  // namespace HWY_NAMESPACE
}  // namespace qatester
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qatester {

HWY_EXPORT(measureBlocks);

ColourExtremes measureColours(const PlanarPicture& picture, const Rectangle& rectangle) {
  // Columns whose neighbour with the same chroma sample lies outside go by themselves.
  const int across = 1 << picture.chromaShiftX;
  Rectangle inner = rectangle;
  inner.xStart += rectangle.xStart % across;
  inner.xEnd -= rectangle.xEnd % across;
  if (rectangle.empty() || inner.xEnd - inner.xStart < kBlockColumns) {
    return measureColoursPixelwise(picture, rectangle);
  }
  Rectangle left = rectangle;
  left.xEnd = inner.xStart;
  Rectangle right = rectangle;
  right.xStart = inner.xEnd;
  ColourExtremes extremes = measureColoursPixelwise(picture, left);
  extremes.widen(measureColoursPixelwise(picture, right));
  HWY_DYNAMIC_DISPATCH(measureBlocks)(picture, inner, extremes);
  return extremes;
}

ColourExtremes measureColoursPixelwise(const PlanarPicture& picture, const Rectangle& rectangle) {
  ColourExtremes extremes;
  if (rectangle.empty()) {
    return extremes;
  }
  for (int row = rectangle.yStart; row < rectangle.yEnd; ++row) {
    const uint8_t* luma = picture.lumaRow(row);
    const uint8_t* cb = picture.chromaRow(1, row);
    const uint8_t* cr = picture.chromaRow(2, row);
    for (int x = rectangle.xStart; x < rectangle.xEnd; ++x) {
      const int y = luma[x];
      const int u = cb[x >> picture.chromaShiftX];
      const int v = cr[x >> picture.chromaShiftX];
      const int r = static_cast<int>(kBt601Terms.red(y, v));
      const int g = static_cast<int>(kBt601Terms.green(y, u, v));
      const int b = static_cast<int>(kBt601Terms.blue(y, u));
      extremes.widen({{r, r}, {g, g}, {b, b}, {y, y}});
    }
  }
  return extremes;
}

}  // namespace qatester

#endif  // HWY_ONCE
