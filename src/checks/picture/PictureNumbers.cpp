#include "checks/picture/PictureNumbers.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <optional>

namespace qatester {

namespace {

/// Quarters of a level that the change of a block is counted in.
constexpr int kQuarters = 4;
constexpr int kChangeBins = 256 * kQuarters;

/// What a block must differ by for its fields to count: two levels, and more in noise.
constexpr float kLeastDifference = 2.0F;
constexpr float kMostNoise = 4.0F;

/// A field whose quality exceeds it fits the other field of the picture before worse; below the
/// other, either fits.
constexpr float kOtherwise = 0.9F;
constexpr float kEither = 0.4F;
constexpr float kClearly = 0.5F;

/// How far a thumb is moved against another, in cells.
constexpr int kMostShift = 3;
/// Cells up to it are black borders.
constexpr uint8_t kBorder = 24;
/// Cells that differ less are flat, in levels of standard deviation.
constexpr double kFlatDeviation = 2.0;

struct BlockSize {
  int columns;
  int evenRows;
  int oddRows;

  float area() const { return static_cast<float>(columns * (evenRows + oddRows)); }
};

/// Calls with each block and its size.
template <typename Call>
void eachBlock(const std::vector<BlockSums>& blocks, int width, int height, const Call& call) {
  std::size_t at = 0;
  for (int y = 0; y < height; y += kBlockHeight) {
    const int rows = std::min(kBlockHeight, height - y);
    for (int x = 0; x < width; x += kBlockWidth) {
      const BlockSize size{std::min(kBlockWidth, width - x), (rows + 1) / 2, rows / 2};
      call(blocks[at++], size);
    }
  }
}

FieldNumbers reduceFields(const std::vector<BlockSums>& blocks, int width, int height,
                          float threshold) {
  FieldNumbers sums;
  eachBlock(blocks, width, height, [&](const BlockSums& block, const BlockSize& size) {
    if (size.oddRows == 0) {
      return;
    }
    const auto even = static_cast<float>(size.columns * size.evenRows);
    const auto odd = static_cast<float>(size.columns * size.oddRows);
    // The top field of this picture between the rows of the bottom field before.
    const float top =
        (static_cast<float>(block.oddMixed) - static_cast<float>(block.oddComb)) / odd;
    const float bottom =
        (static_cast<float>(block.evenMixed) - static_cast<float>(block.evenComb)) / even;
    const float most = std::max(std::abs(top), std::abs(bottom));
    if (most <= threshold) {
      return;
    }
    const float topQuality = top / most;
    const float bottomQuality = bottom / most;
    const float topChange = static_cast<float>(block.evenChange) / even;
    const float bottomChange = static_cast<float>(block.oddChange) / odd;
    const float change = std::max(topChange, bottomChange);
    sums.active += 1.0F;
    sums.topQuality += topQuality;
    sums.bottomQuality += bottomQuality;
    sums.topRatio += change > 0.0F ? topChange / change : 1.0F;
    sums.bottomRatio += change > 0.0F ? bottomChange / change : 1.0F;
    sums.progressiveVotes += topQuality > kClearly && bottomQuality > kClearly ? 1.0F : 0.0F;
    sums.topVotes += bottomQuality > kOtherwise && std::abs(topQuality) < kEither ? 1.0F : 0.0F;
    sums.bottomVotes += topQuality > kOtherwise && std::abs(bottomQuality) < kEither ? 1.0F : 0.0F;
  });
  if (sums.active > 0.0F) {
    for (float* sum : {&sums.topQuality, &sums.bottomQuality, &sums.topRatio, &sums.bottomRatio,
                       &sums.progressiveVotes, &sums.topVotes, &sums.bottomVotes}) {
      *sum /= sums.active;
    }
  }
  return sums;
}

/// The cells of a thumb that are not its black borders; half open.
struct Box {
  int left = 0;
  int right = 0;
  int top = 0;
  int bottom = 0;

  bool isEmpty() const { return left >= right || top >= bottom; }
};

void widen(const Thumb& thumb, Box& box) {
  for (int row = 0; row < thumb.rows; ++row) {
    const uint8_t* cells = &thumb.cells[thumb.index(0, row)];
    int first = 0;
    while (first < thumb.columns && cells[first] <= kBorder) {
      ++first;
    }
    if (first == thumb.columns) {
      continue;
    }
    int last = thumb.columns - 1;
    while (cells[last] <= kBorder) {
      --last;
    }
    box.left = std::min(box.left, first);
    box.right = std::max(box.right, last + 1);
    box.top = std::min(box.top, row);
    box.bottom = std::max(box.bottom, row + 1);
  }
}

Box emptyBoxOf(const Thumb& thumb) {
  return {.left = thumb.columns, .right = 0, .top = thumb.rows, .bottom = 0};
}

/// Of cells in a row, which are far too few for 32 bits.
struct RowSums {
  int32_t one = 0;
  int32_t other = 0;
  int32_t squaresOne = 0;
  int32_t squaresOther = 0;
  int32_t products = 0;
  int32_t differences = 0;

  void add(int32_t a, int32_t b) {
    one += a;
    other += b;
    squaresOne += a * a;
    squaresOther += b * b;
    products += a * b;
    differences += std::abs(a - b);
  }
};

}  // namespace

PictureNumbers reduceBlocks(const std::vector<BlockSums>& blocks, int width, int height) {
  PictureNumbers numbers;
  uint64_t luma = 0;
  uint64_t change = 0;
  std::array<int, kChangeBins> histogram{};
  eachBlock(blocks, width, height, [&](const BlockSums& block, const BlockSize& size) {
    luma += block.left + block.right;
    const uint32_t its = block.evenChange + block.oddChange;
    change += its;
    const float mean = static_cast<float>(its) / size.area();
    numbers.change.largest = std::max(numbers.change.largest, mean);
    const auto bin = static_cast<std::size_t>(mean * static_cast<float>(kQuarters));
    histogram[std::min(bin, histogram.size() - 1)] += 1;
  });
  const double pixels = static_cast<double>(width) * height;
  numbers.lumaSum = luma;
  numbers.changeSum = change;
  numbers.meanLuma = static_cast<float>(static_cast<double>(luma) / pixels);
  numbers.change.mean = static_cast<float>(static_cast<double>(change) / pixels);
  int below = 0;
  for (std::size_t bin = 0; bin < histogram.size(); ++bin) {
    below += histogram[bin];
    if (4 * static_cast<std::size_t>(below) > blocks.size()) {
      numbers.change.quarter = static_cast<float>(bin) / static_cast<float>(kQuarters);
      break;
    }
  }
  numbers.fields =
      reduceFields(blocks, width, height,
                   kLeastDifference + std::min(numbers.change.quarter / 2.0F, kMostNoise));
  return numbers;
}

Thumb thumbOf(const std::vector<BlockSums>& blocks, int width, int height) {
  constexpr int kCell = kBlockHeight;
  const int columns = std::max(width / kCell, 1);
  const int rows = std::max(height / kCell, 1);
  const int pool = (rows + kMostThumbRows - 1) / kMostThumbRows;
  Thumb thumb{
      .columns = std::max(columns / pool, 1), .rows = std::max(rows / pool, 1), .cells = {}};
  const auto stride = static_cast<std::size_t>(blockColumns(width));
  for (int row = 0; row < thumb.rows; ++row) {
    for (int column = 0; column < thumb.columns; ++column) {
      uint64_t sum = 0;
      uint64_t pixels = 0;
      for (int y = row * pool; y < std::min((row + 1) * pool, blockRows(height)); ++y) {
        for (int x = column * pool; x < std::min((column + 1) * pool, columns); ++x) {
          const BlockSums& block =
              blocks[static_cast<std::size_t>(y) * stride + static_cast<std::size_t>(x / 2)];
          sum += x % 2 == 0 ? block.left : block.right;
          pixels += static_cast<uint64_t>(std::min(kCell, width - x * kCell)) *
                    static_cast<uint64_t>(std::min(kCell, height - y * kCell));
        }
      }
      thumb.cells.push_back(static_cast<uint8_t>(sum / std::max<uint64_t>(pixels, 1)));
    }
  }
  return thumb;
}

float distanceOf(const Thumb& one, const Thumb& other) {
  int sum = 0;
  for (std::size_t i = 0; i < one.cells.size(); ++i) {
    sum += std::abs(one.cells[i] - other.cells[i]);
  }
  return static_cast<float>(sum) / static_cast<float>(one.cells.size());
}

int largestDifferenceOf(const Thumb& one, const Thumb& other) {
  int most = 0;
  for (std::size_t i = 0; i < one.cells.size(); ++i) {
    most = std::max(most, std::abs(one.cells[i] - other.cells[i]));
  }
  return most;
}

Likeness compareShifted(const Thumb& one, const Thumb& other) {
  Box box = emptyBoxOf(one);
  widen(one, box);
  widen(other, box);
  if (box.isEmpty()) {
    return {};
  }
  double best = -1.0;
  double least = 255.0;
  for (int shiftY = -kMostShift; shiftY <= kMostShift; ++shiftY) {
    for (int shiftX = -kMostShift; shiftX <= kMostShift; ++shiftX) {
      const int left = std::max(box.left, box.left + shiftX);
      const int right = std::min(box.right, box.right + shiftX);
      const int top = std::max(box.top, box.top + shiftY);
      const int bottom = std::min(box.bottom, box.bottom + shiftY);
      if (left >= right || top >= bottom) {
        continue;
      }
      int64_t sumOne = 0;
      int64_t sumOther = 0;
      int64_t squaresOne = 0;
      int64_t squaresOther = 0;
      int64_t products = 0;
      int64_t differences = 0;
      for (int row = top; row < bottom; ++row) {
        const uint8_t* a = &one.cells[one.index(left, row)];
        const uint8_t* b = &other.cells[other.index(left - shiftX, row - shiftY)];
        RowSums sums;
        for (int i = 0; i < right - left; ++i) {
          sums.add(a[i], b[i]);
        }
        sumOne += sums.one;
        sumOther += sums.other;
        squaresOne += sums.squaresOne;
        squaresOther += sums.squaresOther;
        products += sums.products;
        differences += sums.differences;
      }
      const auto count = static_cast<double>((right - left) * (bottom - top));
      const auto number = [](int64_t value) { return static_cast<double>(value); };
      const double varianceOne = count * number(squaresOne) - number(sumOne) * number(sumOne);
      const double varianceOther =
          count * number(squaresOther) - number(sumOther) * number(sumOther);
      const double covariance = count * number(products) - number(sumOne) * number(sumOther);
      const double both = std::sqrt(varianceOne * varianceOther);
      best = std::max(best, both > 0.0 ? covariance / both : 0.0);
      least = std::min(least, number(differences) / count);
    }
  }
  return {.unlike = static_cast<float>(1.0 - best), .distance = static_cast<float>(least)};
}

bool isFlat(const Thumb& thumb) {
  Box box = emptyBoxOf(thumb);
  widen(thumb, box);
  // What lies half on a border is neither.
  if (box.right - box.left > 2 && box.bottom - box.top > 2) {
    ++box.left;
    --box.right;
    ++box.top;
    --box.bottom;
  }
  if (box.isEmpty()) {
    return true;
  }
  double sum = 0.0;
  double squares = 0.0;
  for (int row = box.top; row < box.bottom; ++row) {
    for (int column = box.left; column < box.right; ++column) {
      const double value = thumb.at(column, row);
      sum += value;
      squares += value * value;
    }
  }
  const double count = (box.right - box.left) * (box.bottom - box.top);
  const double variance = squares / count - sum / count * (sum / count);
  return variance < kFlatDeviation * kFlatDeviation;
}

}  // namespace qatester
