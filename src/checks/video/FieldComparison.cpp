#include "checks/video/FieldComparison.h"

// The part in HWY_NAMESPACE is compiled once for each instruction set; the best one that the
// processor has is chosen at run time.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "checks/video/FieldComparison.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace qatester {
namespace HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR

std::size_t brighterOf(const uint8_t* a, const uint8_t* b, std::size_t count) {
  return countBrighterOneByOne(a, b, count);
}

#else

namespace hn = hwy::HWY_NAMESPACE;

std::size_t brighterOf(const uint8_t* a, const uint8_t* b, std::size_t count) {
  const hn::ScalableTag<uint8_t> bytes;
  const std::size_t step = hn::Lanes(bytes);
  std::size_t brighter = 0;
  std::size_t i = 0;
  for (; i + step <= count; i += step) {
    const auto excess = hn::SaturatedSub(hn::LoadU(bytes, a + i), hn::LoadU(bytes, b + i));
    brighter += step - hn::CountTrue(bytes, hn::Eq(excess, hn::Zero(bytes)));
  }
  return brighter + countBrighterOneByOne(a + i, b + i, count - i);
}

#endif  // HWY_TARGET == HWY_SCALAR

}  // namespace HWY_NAMESPACE
}  // namespace qatester
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qatester {

HWY_EXPORT(brighterOf);

std::size_t countBrighter(const uint8_t* a, const uint8_t* b, std::size_t count) {
  return HWY_DYNAMIC_DISPATCH(brighterOf)(a, b, count);
}

std::size_t countBrighterOneByOne(const uint8_t* a, const uint8_t* b, std::size_t count) {
  std::size_t brighter = 0;
  for (std::size_t i = 0; i < count; ++i) {
    brighter += a[i] > b[i] ? 1 : 0;
  }
  return brighter;
}

}  // namespace qatester

#endif  // HWY_ONCE
