#include "checks/picture/LumaKernels.h"

#include <algorithm>
#include <array>
#include <cstdlib>

// The part in HWY_NAMESPACE is compiled once for each instruction set; the best one that the
// processor has is chosen at run time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "checks/picture/LumaKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#ifndef QATESTER_LUMA_KERNELS
#define QATESTER_LUMA_KERNELS
namespace qatester {

/// How far ahead memory is asked for, and how much comes at a time.
constexpr std::ptrdiff_t kBytesAhead = 256;
constexpr int kLineBytes = 64;

/// The rows of a block: of the picture from the row above the first to the row below the last, and
/// of the picture before.
struct BlockRows {
  static constexpr int kNeighbours = kBlockHeight + 2;

  const uint8_t* now[kNeighbours] = {};
  const uint8_t* before[kBlockHeight] = {};
  int count = 0;

  BlockRows(const LumaRows& picture, const LumaRows& previous, int first)
      : count(std::min(kBlockHeight, picture.height - first)) {
    const int last = picture.height - 1;
    for (int i = 0; i < count + 2; ++i) {
      const int y = first + i - 1;
      const int mirrored = y < 0 ? 1 : y > last ? last - 1 : y;
      now[i] = picture.row(std::clamp(mirrored, 0, last));
    }
    for (int i = 0; i < count; ++i) {
      before[i] = previous.row(first + i);
    }
  }
};

/// Rows whose sums are taken together: those of their columns fit in 16 bits.
constexpr std::size_t kLinesAtOnce = 8;
using LineRows = std::array<const uint8_t*, kLinesAtOnce>;

/// Adds to the sums of some rows, and to those of the columns from `first` on.
inline void addLinesPlainly(const LineRows& rows, std::size_t count, std::size_t first,
                            std::size_t width, uint32_t* sums, uint32_t* columns) {
  for (std::size_t i = 0; i < count; ++i) {
    for (std::size_t x = first; x < width; ++x) {
      sums[i] += rows[i][x];
      columns[x] += rows[i][x];
    }
  }
}

}  // namespace qatester
#endif

HWY_BEFORE_NAMESPACE();
namespace qatester {
namespace HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR

void sumWideBlocks(const BlockRows&, int, BlockSums*) {}
int64_t countUpToOf(const uint8_t* pixels, std::size_t count, uint8_t limit) {
  return std::count_if(pixels, pixels + count, [&](uint8_t pixel) { return pixel <= limit; });
}
void addLinesTo(const LineRows& rows, std::size_t width, uint32_t* sums, uint32_t* columns) {
  addLinesPlainly(rows, kLinesAtOnce, 0, width, sums, columns);
}
constexpr bool kHasVectors = false;

#else

namespace hn = hwy::HWY_NAMESPACE;

using Bytes = hn::CappedTag<uint8_t, kBlockWidth>;
constexpr auto kLanes = static_cast<std::ptrdiff_t>(hn::MaxLanes(Bytes()));
constexpr std::ptrdiff_t kVectors = kBlockWidth / kLanes;
constexpr bool kHasVectors = true;

template <class V>
HWY_INLINE auto sumsOfDifferences(V one, V other) {
  return hn::SumsOf8(hn::Sub(hn::Max(one, other), hn::Min(one, other)));
}

/// `columns` blocks side by side, all of the full width.
void sumWideBlocks(const BlockRows& rows, int columns, BlockSums* sums) {
  const Bytes bytes;
  using V = hn::Vec<Bytes>;
  using Sums = decltype(hn::SumsOf8(hn::Zero(bytes)));
  const hn::Repartition<uint64_t, Bytes> wide;
  constexpr std::size_t kWide = kBlockWidth / 8;
  for (int column = 0; column < columns; ++column) {
    const std::ptrdiff_t x = static_cast<std::ptrdiff_t>(column) * kBlockWidth;
    if (x % kLineBytes == 0) {
      // Rows of a block are too far from each other for the processor to see what comes next.
      for (int i = 0; i < rows.count; ++i) {
        __builtin_prefetch(rows.now[i + 2] + x + kBytesAhead);
        __builtin_prefetch(rows.before[i] + x + kBytesAhead);
      }
    }
    alignas(64) uint64_t all[kWide];
    alignas(64) uint64_t each[6][kWide];
    for (std::ptrdiff_t k = 0; k < kVectors; ++k) {
      const std::ptrdiff_t at = x + k * kLanes;
      Sums values = hn::Zero(wide);
      Sums change[2] = {hn::Zero(wide), hn::Zero(wide)};
      Sums comb[2] = {hn::Zero(wide), hn::Zero(wide)};
      Sums mixed[2] = {hn::Zero(wide), hn::Zero(wide)};
      V above = hn::LoadU(bytes, rows.now[0] + at);
      V middle = hn::LoadU(bytes, rows.now[1] + at);
      const auto addRow = [&](int i, int parity) {
        const V below = hn::LoadU(bytes, rows.now[i + 2] + at);
        const V previous = hn::LoadU(bytes, rows.before[i] + at);
        const V mean = hn::AverageRound(above, below);
        values = hn::Add(values, hn::SumsOf8(middle));
        change[parity] = hn::Add(change[parity], sumsOfDifferences(middle, previous));
        comb[parity] = hn::Add(comb[parity], sumsOfDifferences(mean, middle));
        mixed[parity] = hn::Add(mixed[parity], sumsOfDifferences(mean, previous));
        above = middle;
        middle = below;
      };
      int i = 0;
      for (; i + 2 <= rows.count; i += 2) {
        addRow(i, 0);
        addRow(i + 1, 1);
      }
      if (i < rows.count) {
        addRow(i, 0);
      }
      const std::ptrdiff_t place = k * kLanes / 8;
      hn::StoreU(values, wide, all + place);
      for (std::size_t parity = 0; parity < 2; ++parity) {
        hn::StoreU(change[parity], wide, each[parity] + place);
        hn::StoreU(comb[parity], wide, each[2 + parity] + place);
        hn::StoreU(mixed[parity], wide, each[4 + parity] + place);
      }
    }
    const auto total = [&](std::size_t which) {
      return static_cast<uint32_t>(each[which][0] + each[which][1] + each[which][2] +
                                   each[which][3]);
    };
    sums[column] = {.left = static_cast<uint32_t>(all[0] + all[1]),
                    .right = static_cast<uint32_t>(all[2] + all[3]),
                    .evenChange = total(0),
                    .oddChange = total(1),
                    .evenComb = total(2),
                    .oddComb = total(3),
                    .evenMixed = total(4),
                    .oddMixed = total(5)};
  }
}

int64_t countUpToOf(const uint8_t* pixels, std::size_t count, uint8_t limit) {
  const hn::ScalableTag<uint8_t> bytes;
  const std::size_t step = hn::Lanes(bytes);
  const auto most = hn::Set(bytes, limit);
  int64_t found = 0;
  std::size_t i = 0;
  for (; i + step <= count; i += step) {
    const auto excess = hn::SaturatedSub(hn::LoadU(bytes, pixels + i), most);
    found += static_cast<int64_t>(hn::CountTrue(bytes, hn::Eq(excess, hn::Zero(bytes))));
  }
  for (; i < count; ++i) {
    found += pixels[i] <= limit ? 1 : 0;
  }
  return found;
}

void addLinesTo(const LineRows& rows, std::size_t width, uint32_t* sums, uint32_t* columns) {
  const hn::CappedTag<uint16_t, 16> words;
  const hn::Rebind<uint8_t, decltype(words)> half;
  const hn::Repartition<uint8_t, decltype(words)> bytes;
  const hn::Repartition<uint32_t, decltype(words)> pairs;
  const hn::Repartition<uint64_t, decltype(words)> wide;
  const std::size_t step = hn::Lanes(words);
  const std::size_t part = hn::Lanes(pairs);
  using Sums = hn::Vec<decltype(wide)>;
  Sums each[kLinesAtOnce];
  for (Sums& sum : each) {
    sum = hn::Zero(wide);
  }
  std::size_t x = 0;
  for (; x + 2 * step <= width; x += 2 * step) {
    auto left = hn::Zero(words);
    auto right = hn::Zero(words);
    for (std::size_t i = 0; i < kLinesAtOnce; ++i) {
      const uint8_t* at = rows[i] + x;
      each[i] = hn::Add(each[i], hn::SumsOf8(hn::LoadU(bytes, at)));
      left = hn::Add(left, hn::PromoteTo(words, hn::LoadU(half, at)));
      right = hn::Add(right, hn::PromoteTo(words, hn::LoadU(half, at + step)));
    }
    alignas(64) uint16_t both[2 * hn::MaxLanes(words)];
    hn::Store(left, words, both);
    hn::Store(right, words, both + step);
    const hn::Rebind<uint16_t, decltype(pairs)> some;
    for (std::size_t k = 0; k < 2 * step; k += part) {
      const auto more = hn::PromoteTo(pairs, hn::LoadU(some, both + k));
      hn::StoreU(hn::Add(hn::LoadU(pairs, columns + x + k), more), pairs, columns + x + k);
    }
  }
  for (std::size_t i = 0; i < kLinesAtOnce; ++i) {
    sums[i] += static_cast<uint32_t>(hn::GetLane(hn::SumOfLanes(wide, each[i])));
  }
  addLinesPlainly(rows, kLinesAtOnce, x, width, sums, columns);
}

#endif  // HWY_TARGET == HWY_SCALAR

/// The same from a column of pixels on, for the blocks that are left.
void sumNarrowBlocks(const BlockRows& rows, int firstColumn, int width, BlockSums* sums) {
  for (int first = firstColumn; first < width; first += kBlockWidth, ++sums) {
    *sums = {};
    const int end = std::min(first + kBlockWidth, width);
    for (int i = 0; i < rows.count; ++i) {
      uint32_t change = 0;
      uint32_t comb = 0;
      uint32_t mixed = 0;
      for (int x = first; x < end; ++x) {
        const int middle = rows.now[i + 1][x];
        const int before = rows.before[i][x];
        const int mean = (rows.now[i][x] + rows.now[i + 2][x] + 1) >> 1;
        (x < first + kBlockWidth / 2 ? sums->left : sums->right) += static_cast<uint32_t>(middle);
        change += static_cast<uint32_t>(std::abs(middle - before));
        comb += static_cast<uint32_t>(std::abs(mean - middle));
        mixed += static_cast<uint32_t>(std::abs(mean - before));
      }
      const bool isEven = i % 2 == 0;
      (isEven ? sums->evenChange : sums->oddChange) += change;
      (isEven ? sums->evenComb : sums->oddComb) += comb;
      (isEven ? sums->evenMixed : sums->oddMixed) += mixed;
    }
  }
}

void sumBlocksOf(const LumaRows& now, const LumaRows& before, BlockSums* sums) {
  const int columns = blockColumns(now.width);
  const int wide = kHasVectors ? now.width / kBlockWidth : 0;
  for (int first = 0; first < now.height; first += kBlockHeight) {
    const BlockRows rows(now, before, first);
    sumWideBlocks(rows, wide, sums);
    sumNarrowBlocks(rows, wide * kBlockWidth, now.width, sums + wide);
    sums += columns;
  }
}

}  // namespace HWY_NAMESPACE
}  // namespace qatester
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qatester {

HWY_EXPORT(sumBlocksOf);
HWY_EXPORT(countUpToOf);
HWY_EXPORT(addLinesTo);

namespace {

std::size_t blocksOf(const LumaRows& picture) {
  return static_cast<std::size_t>(blockColumns(picture.width)) *
         static_cast<std::size_t>(blockRows(picture.height));
}

}  // namespace

void sumBlocks(const LumaRows& now, const LumaRows& before, std::vector<BlockSums>& sums) {
  sums.resize(blocksOf(now));
  HWY_DYNAMIC_DISPATCH(sumBlocksOf)(now, before, sums.data());
}

void sumBlocksPlainly(const LumaRows& now, const LumaRows& before, std::vector<BlockSums>& sums) {
  sums.assign(blocksOf(now), BlockSums());
  const int last = now.height - 1;
  for (int y = 0; y <= last; ++y) {
    const uint8_t* above = now.row(y > 0 ? y - 1 : std::min(1, last));
    const uint8_t* below = now.row(y < last ? y + 1 : std::max(last - 1, 0));
    for (int x = 0; x < now.width; ++x) {
      const int middle = now.row(y)[x];
      const int previous = before.row(y)[x];
      const int mean = (above[x] + below[x] + 1) / 2;
      BlockSums& block = sums[static_cast<std::size_t>(y / kBlockHeight * blockColumns(now.width) +
                                                       x / kBlockWidth)];
      const auto add = [](uint32_t& sum, int value) { sum += static_cast<uint32_t>(value); };
      add(x % kBlockWidth < kBlockWidth / 2 ? block.left : block.right, middle);
      const bool isEven = y % 2 == 0;
      add(isEven ? block.evenChange : block.oddChange, std::abs(middle - previous));
      add(isEven ? block.evenComb : block.oddComb, std::abs(mean - middle));
      add(isEven ? block.evenMixed : block.oddMixed, std::abs(mean - previous));
    }
  }
}

int64_t countUpTo(const LumaRows& picture, uint8_t limit) {
  int64_t found = 0;
  for (int y = 0; y < picture.height; ++y) {
    found += HWY_DYNAMIC_DISPATCH(countUpToOf)(picture.row(y),
                                               static_cast<std::size_t>(picture.width), limit);
  }
  return found;
}

void sumLines(const LumaRows& picture, LineSums& sums) {
  sums.rows.assign(static_cast<std::size_t>(picture.height), 0);
  sums.columns.assign(static_cast<std::size_t>(picture.width), 0);
  const auto width = static_cast<std::size_t>(picture.width);
  const auto height = static_cast<std::size_t>(picture.height);
  for (std::size_t y = 0; y < height; y += kLinesAtOnce) {
    const std::size_t count = std::min(kLinesAtOnce, height - y);
    LineRows rows{};
    for (std::size_t i = 0; i < count; ++i) {
      rows[i] = picture.row(static_cast<int>(y + i));
    }
    if (count == kLinesAtOnce) {
      HWY_DYNAMIC_DISPATCH(addLinesTo)(rows, width, &sums.rows[y], sums.columns.data());
    } else {
      addLinesPlainly(rows, count, 0, width, &sums.rows[y], sums.columns.data());
    }
  }
}

}  // namespace qatester

#endif  // HWY_ONCE
