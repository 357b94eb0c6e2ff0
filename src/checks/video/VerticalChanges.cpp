#include "checks/video/VerticalChanges.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>

#include "foundation/Conversions.h"

// The part in HWY_NAMESPACE is compiled once for each instruction set; the best one that the
// processor has is chosen at run time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "checks/video/VerticalChanges.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace qatester {
namespace HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR

int64_t replaceGradientIn(const uint8_t* upper, const uint8_t* lower, std::size_t count,
                          uint8_t* gradient) {
  return replaceGradientOneByOne(upper, lower, count, gradient);
}

#else

namespace hn = hwy::HWY_NAMESPACE;

template <class V>
HWY_INLINE V distance(V a, V b) {
  return hn::Or(hn::SaturatedSub(a, b), hn::SaturatedSub(b, a));
}

int64_t replaceGradientIn(const uint8_t* upper, const uint8_t* lower, std::size_t count,
                          uint8_t* gradient) {
  const hn::ScalableTag<uint8_t> bytes;
  const std::size_t step = hn::Lanes(bytes);
  const auto weakest = hn::Set(bytes, kBarValue - 1);
  std::size_t strong = 0;
  std::size_t i = 0;
  for (; i + step <= count; i += step) {
    const auto now = distance(hn::LoadU(bytes, upper + i), hn::LoadU(bytes, lower + i));
    const auto change = distance(now, hn::LoadU(bytes, gradient + i));
    hn::StoreU(now, bytes, gradient + i);
    const auto weak = hn::Eq(hn::SaturatedSub(change, weakest), hn::Zero(bytes));
    strong += step - hn::CountTrue(bytes, weak);
  }
  return static_cast<int64_t>(strong) +
         replaceGradientOneByOne(upper + i, lower + i, count - i, gradient + i);
}

#endif  // HWY_TARGET == HWY_SCALAR

}  // namespace HWY_NAMESPACE
}  // namespace qatester
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qatester {

HWY_EXPORT(replaceGradientIn);

namespace {

bool isStrong(const uint8_t* upper, const uint8_t* lower, const uint8_t* before) {
  return std::abs(std::abs(*upper - *lower) - *before) >= kBarValue;
}

}  // namespace

int64_t replaceGradient(const uint8_t* upper, const uint8_t* lower, std::size_t count,
                        uint8_t* gradient) {
  return HWY_DYNAMIC_DISPATCH(replaceGradientIn)(upper, lower, count, gradient);
}

int64_t replaceGradientOneByOne(const uint8_t* upper, const uint8_t* lower, std::size_t count,
                                uint8_t* gradient) {
  int64_t strong = 0;
  for (std::size_t i = 0; i < count; ++i) {
    strong += isStrong(upper + i, lower + i, gradient + i) ? 1 : 0;
    gradient[i] = static_cast<uint8_t>(std::abs(upper[i] - lower[i]));
  }
  return strong;
}

int64_t changeGradient(const uint8_t* grey, int rows, int width, uint8_t* gradient) {
  // All rows in one run; what lies in the margins is counted apart, before it is overwritten.
  int64_t inMargins = 0;
  for (int y = 0; y < rows; ++y) {
    const std::ptrdiff_t row = static_cast<std::ptrdiff_t>(width) * y;
    const auto count = [&](int first, int last) {
      for (std::ptrdiff_t i = row + first; i < row + last; ++i) {
        inMargins += isStrong(grey + i, grey + i + width, gradient + i) ? 1 : 0;
      }
    };
    const int left = std::min(kBarMargin, width);
    count(0, left);
    count(std::max(left, width - kBarMargin), width);
  }
  const auto pixels = static_cast<std::size_t>(std::max(rows, 0)) * static_cast<std::size_t>(width);
  return replaceGradient(grey, grey + width, pixels, gradient) - inMargins;
}

int percentOfPixels(int64_t count, int width, int height) {
  const float share = static_cast<float>(count) / static_cast<float>(int64_t{width} * height);
  return truncateTo<int>(share * 100.0);
}

}  // namespace qatester

#endif  // HWY_ONCE
