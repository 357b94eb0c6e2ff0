#include "checks/picture/ActiveArea.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>

namespace qatester {

namespace {

/// A picture whose darkest line is lighter has no bars, in 8-bit luma codes.
constexpr double kLightestBar = 44.0;
/// A line this much lighter than the darkest is content; a picture has a line that is lighter
/// still.
constexpr double kContent = 3.0;
constexpr double kClearContent = 8.0;
constexpr double kTooBlack = 0.85;

/// Dark lines that make a bar, at least, and as a share of the size.
constexpr int kLeastBar = 4;
constexpr double kLeastBarShare = 0.015;

/// One picture of so many of a shot may have less content at an edge.
constexpr std::size_t kFewOf = 5;
/// Cells of a bar that are alike: the others hold a logo. Fewer are where the others hold
/// subtitles, which are light and leave both ends of the bar free.
constexpr double kAlikeCells = 0.88;
constexpr double kAlike = 1.5;
constexpr double kAlikeWithText = 0.55;
constexpr double kFreeEnd = 0.06;

/// Areas are the same within this much, and within this share of the size.
constexpr int kSamePixels = 4;
constexpr double kSameShare = 0.01;

int tolerance(int size) {
  return std::max(kSamePixels, static_cast<int>(std::lround(kSameShare * size)));
}

/// How many lines at the beginning are no content, from the middle outward.
template <typename IsContent>
int marginBefore(int size, const IsContent& isContent) {
  const int least =
      std::max(kLeastBar, static_cast<int>(std::ceil(kLeastBarShare * static_cast<double>(size))));
  int dark = 0;
  for (int i = size / 2; i >= 0; --i) {
    dark = isContent(i) ? 0 : dark + 1;
    if (dark >= least && i + dark <= size / 3) {
      return i + dark;
    }
  }
  // A bar at the edge may be thinner than a gap between content and subtitles.
  return dark >= kLeastBar && dark <= size / 3 ? dark : 0;
}

struct Bars {
  int before;
  int after;
};

template <typename IsContent>
Bars barsOf(int size, const IsContent& isContent) {
  return {marginBefore(size, isContent),
          marginBefore(size, [&](int i) { return isContent(size - 1 - i); })};
}

/// A part of a picture, each edge as a share of its size.
struct Part {
  double left;
  double top;
  double right;
  double bottom;
};

/// The cells of a part of a thumb are those of a bar. A part smaller than a cell says nothing
/// against it.
bool isEven(const Thumb& thumb, const Part& part) {
  struct Cell {
    uint8_t value;
    double across;  ///< 0 at the left, 1 at the right
  };
  std::vector<Cell> cells;
  const auto inside = [](double share, int count) {
    return static_cast<int>(std::floor(share * count + 1e-6));
  };
  const auto from = [](double share, int count) {
    return static_cast<int>(std::ceil(share * count - 1e-6));
  };
  for (int row = from(part.top, thumb.rows); row < inside(part.bottom, thumb.rows); ++row) {
    for (int column = from(part.left, thumb.columns); column < inside(part.right, thumb.columns);
         ++column) {
      cells.push_back({thumb.at(column, row), (column + 0.5) / thumb.columns});
    }
  }
  if (cells.empty()) {
    return true;
  }
  const auto middle = cells.begin() + static_cast<std::ptrdiff_t>(cells.size() / 2);
  std::nth_element(cells.begin(), middle, cells.end(),
                   [](const Cell& one, const Cell& other) { return one.value < other.value; });
  const double median = middle->value;
  std::size_t alike = 0;
  bool isText = true;
  for (const Cell& cell : cells) {
    const double off = static_cast<double>(cell.value) - median;
    if (std::abs(off) <= kAlike) {
      ++alike;
    } else {
      isText = isText && off > 0.0 && cell.across > kFreeEnd && cell.across < 1.0 - kFreeEnd;
    }
  }
  return static_cast<double>(alike) >=
         (isText ? kAlikeWithText : kAlikeCells) * static_cast<double>(cells.size());
}

/// What few samples fall below.
int usual(const std::vector<AreaSample>& samples, int Margins::*edge) {
  std::vector<int> values;
  values.reserve(samples.size());
  for (const AreaSample& sample : samples) {
    values.push_back(sample.margins.*edge);
  }
  const auto place = values.begin() + static_cast<std::ptrdiff_t>((values.size() - 1) / kFewOf);
  std::nth_element(values.begin(), place, values.end());
  return *place;
}

bool isMore(int one, int other, int size) {
  return one > other + tolerance(size);
}

/// Of an area against another of the same size: content where that has bars.
bool hasMoreContent(const Margins& one, const Margins& other, int width, int height) {
  return isMore(other.left, one.left, width) || isMore(other.right, one.right, width) ||
         isMore(other.top, one.top, height) || isMore(other.bottom, one.bottom, height);
}

}  // namespace

std::optional<Margins> marginsOf(const LineSums& lines, double blackShare) {
  const auto height = static_cast<int>(lines.rows.size());
  const auto width = static_cast<int>(lines.columns.size());
  if (blackShare > kTooBlack) {
    return std::nullopt;
  }
  const auto row = [&](int y) {
    return static_cast<double>(lines.rows[static_cast<std::size_t>(y)]) / width;
  };
  const auto column = [&](int x) {
    return static_cast<double>(lines.columns[static_cast<std::size_t>(x)]) / height;
  };
  double darkest = 255.0;
  double lightest = 0.0;
  for (int y = 0; y < height; ++y) {
    darkest = std::min(darkest, row(y));
    lightest = std::max(lightest, row(y));
  }
  for (int x = 0; x < width; ++x) {
    darkest = std::min(darkest, column(x));
  }
  if (darkest > kLightestBar) {
    return Margins{};
  }
  if (lightest < darkest + kClearContent) {
    return std::nullopt;
  }
  const Bars rows = barsOf(height, [&](int y) { return row(y) >= darkest + kContent; });
  // Bars above and below make columns darker.
  const double share = static_cast<double>(height - rows.before - rows.after) / height;
  const Bars columns =
      barsOf(width, [&](int x) { return column(x) >= darkest + kContent * share; });
  return Margins{
      .left = columns.before, .top = rows.before, .right = columns.after, .bottom = rows.after};
}

std::optional<Margins> marginsOfShot(const std::vector<AreaSample>& samples, int width,
                                     int height) {
  if (samples.empty()) {
    return std::nullopt;
  }
  Margins margins{.left = usual(samples, &Margins::left),
                  .top = usual(samples, &Margins::top),
                  .right = usual(samples, &Margins::right),
                  .bottom = usual(samples, &Margins::bottom)};
  const auto isBar = [&](const Part& part) {
    const auto even = std::count_if(samples.begin(), samples.end(), [&](const AreaSample& sample) {
      return isEven(sample.thumb, part);
    });
    return 2 * even >= static_cast<std::ptrdiff_t>(samples.size());
  };
  const double left = static_cast<double>(margins.left) / width;
  const double right = 1.0 - static_cast<double>(margins.right) / width;
  const double top = static_cast<double>(margins.top) / height;
  const double bottom = 1.0 - static_cast<double>(margins.bottom) / height;
  margins.top = isBar({0.0, 0.0, 1.0, top}) ? margins.top : 0;
  margins.bottom = isBar({0.0, bottom, 1.0, 1.0}) ? margins.bottom : 0;
  margins.left = isBar({0.0, top, left, bottom}) ? margins.left : 0;
  margins.right = isBar({right, top, 1.0, bottom}) ? margins.right : 0;
  return margins;
}

void ActiveAreas::add(int64_t first, int64_t end, int width, int height,
                      const std::optional<Margins>& margins) {
  const bool isOfSize =
      !areas_.empty() && areas_.back().width == width && areas_.back().height == height;
  if (!isOfSize) {
    smaller_.reset();
    areas_.push_back({.first = first,
                      .end = end,
                      .width = width,
                      .height = height,
                      .margins = margins.value_or(Margins{})});
    isKnown_ = margins.has_value();
    return;
  }
  ActiveArea& last = areas_.back();
  last.end = end;
  if (!margins.has_value()) {
    return;
  }
  if (!isKnown_) {
    last.margins = *margins;
    isKnown_ = true;
    return;
  }
  if (hasMoreContent(*margins, last.margins, width, height)) {
    smaller_.reset();
    last.end = first;
    areas_.push_back({first, end, width, height, *margins});
    return;
  }
  if (!hasMoreContent(last.margins, *margins, width, height)) {
    smaller_.reset();
    return;
  }
  if (!smaller_.has_value() || hasMoreContent(*margins, smaller_->margins, width, height)) {
    const int64_t since = smaller_.has_value() ? smaller_->first : first;
    smaller_ = {since, end, width, height, *margins};
  }
  smaller_->end = end;
  if (smaller_->end - smaller_->first >= darkLimit_) {
    last.end = smaller_->first;
    areas_.push_back(*smaller_);
    smaller_.reset();
  }
}

}  // namespace qatester
