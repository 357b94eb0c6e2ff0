#include "visual/Chromaticity.h"

#include <gtest/gtest.h>

#include <array>
#include <numeric>

#include "support/Sanitized.h"
#include "visual/ReferenceDisplays.h"

namespace {

using qatester::ChromaticityPoints;
using qatester::PixelSpan;

constexpr std::size_t kCodes = 256;

/// What a locator should give, by the plain rules.
struct Expected {
  uint32_t place;
  uint32_t colour;
};

Expected expectedOf(std::size_t y, std::size_t u, std::size_t v) {
  const auto [place, colour] = qatest::referenceCIE1931Point(
      static_cast<float>(y), static_cast<float>(u), static_cast<float>(v));
  const bool inside = 0 <= place.x && place.x < 256 && 0 <= place.y && place.y < 256;
  return {static_cast<uint32_t>(inside ? place.y * 256 + place.x : 256 * 256),
          static_cast<uint32_t>(1 << 24 | colour.red << 16 | colour.green << 8 | colour.blue)};
}

/// The fast sums give another last bit now and then: there is no colour for which that shows.
TEST(Chromaticity, EveryFormLocatesEveryColourAsTheRulesSay) {
  const auto locators = qatester::chromaticityLocators();
  ASSERT_FALSE(locators.empty());
  std::array<uint8_t, kCodes> lumas;
  std::iota(lumas.begin(), lumas.end(), uint8_t{0});
  std::array<uint8_t, kCodes> cbs;
  std::array<uint8_t, kCodes> crs;
  const PixelSpan span{lumas.data(), cbs.data(), crs.data(), 0, static_cast<int>(kCodes)};
  ChromaticityPoints points;
  for (std::size_t u = 0; u < kCodes; ++u) {
    for (std::size_t v = qatest::kSanitized ? u % 16 : 0; v < kCodes;
         v += qatest::kSanitized ? 16 : 1) {
      cbs.fill(static_cast<uint8_t>(u));
      crs.fill(static_cast<uint8_t>(v));
      std::array<Expected, kCodes> expected;
      for (std::size_t y = 0; y < kCodes; ++y) {
        expected[y] = expectedOf(y, u, v);
      }
      for (std::size_t form = 0; form < locators.size(); ++form) {
        locators[form](span, points);
        for (std::size_t y = 0; y < kCodes; ++y) {
          if (points.place[y] != expected[y].place || points.colour[y] != expected[y].colour) {
            FAIL() << "form " << form << ", colour " << y << ", " << u << ", " << v;
          }
        }
      }
    }
  }
}

TEST(Chromaticity, SpansMayBeOfAnyLength) {
  std::array<uint8_t, PixelSpan::kLongest> codes;
  std::iota(codes.begin(), codes.end(), uint8_t{0});
  for (const qatester::LocateChromaticities locate : qatester::chromaticityLocators()) {
    for (const int count : {1, 2, 3, 7, 8, 9, 15, 31, 100, 511, 512}) {
      ChromaticityPoints points;
      points.place.fill(12345678);
      points.colour.fill(12345678);
      locate({codes.data(), codes.data(), codes.data(), 0, count}, points);
      for (std::size_t i = 0; i < codes.size(); ++i) {
        const bool located = i < static_cast<std::size_t>(count);
        const Expected expected =
            located ? expectedOf(codes[i], codes[i], codes[i]) : Expected{12345678, 12345678};
        ASSERT_EQ(points.place[i], expected.place) << i << " of " << count;
        ASSERT_EQ(points.colour[i], expected.colour) << i << " of " << count;
      }
    }
  }
}

}  // namespace
