#include "support/Clips.h"
#include "support/Sanitized.h"

#include <gtest/gtest.h>

namespace {

using namespace qatest;

class ClipMaker : public testing::TestWithParam<ClipKind> {};

TEST_P(ClipMaker, TheSameSpecGivesTheSameBytes) {
  const auto& [name, spec] = GetParam();
  const TempDir first;
  const TempDir second;
  const std::string bytes = readFile(makeClip(first, name, spec));
  EXPECT_GT(bytes.size(), 10000U);
  EXPECT_TRUE(bytes == readFile(makeClip(second, name, spec)));
}

INSTANTIATE_TEST_SUITE_P(, ClipMaker, testing::ValuesIn(clipKinds(kSanitized)));

TEST(Quantize, RoundsHalfToEvenAndClips) {
  EXPECT_EQ(quantize(0.5 / 32768.0, 16), 0);
  EXPECT_EQ(quantize(1.5 / 32768.0, 16), 2);
  EXPECT_EQ(quantize(1.0, 16), 32767);
  EXPECT_EQ(quantize(-1.5, 16), -32768);
  EXPECT_EQ(quantize(1.0, 32), 2147483647);
}

}  // namespace
