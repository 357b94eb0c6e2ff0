#include "tester/Spans.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using qatester::Measured;
using qatester::Span;
using qatester::Spans;

constexpr double kFrame = 0.04;

/// Pictures at 25 a second, a value each; which spans they make, as "first-end xcount".
std::string spansOf(const qatester::SpanRule& rule, const std::vector<double>& values) {
  Spans spans(rule);
  for (std::size_t i = 0; i < values.size(); ++i) {
    const double start = static_cast<double>(i) * kFrame;
    spans.add({start, start + kFrame, values[i], static_cast<int64_t>(i)});
  }
  std::string text;
  for (const Span& span : spans.found()) {
    text += (text.empty() ? "" : " ") + std::to_string(*span.startFrame) + "-" +
            std::to_string(*span.endFrame) + " x" + std::to_string(span.count);
  }
  return text;
}

TEST(Spans, BadPicturesThatFollowEachOtherAreOne) {
  EXPECT_EQ(spansOf({.enter = 1, .stay = 1}, {0, 1, 1, 0, 0, 1, 0}), "1-3 x2 5-6 x1");
}

TEST(Spans, BeginWithMoreThanTheyGoOnWith) {
  EXPECT_EQ(spansOf({.enter = 2, .stay = 1}, {1, 1, 2, 1, 1, 0, 1}), "2-5 x3");
}

TEST(Spans, GoOnAcrossGoodPicturesThatAreFewEnough) {
  const qatester::SpanRule rule{.mergeSeconds = 2 * kFrame, .enter = 1, .stay = 1};
  EXPECT_EQ(spansOf(rule, {1, 0, 0, 1, 0, 0, 0, 1}), "0-4 x2 7-8 x1");
}

TEST(Spans, ThatAreTooShortAreNone) {
  const qatester::SpanRule rule{.leastSeconds = 3 * kFrame, .enter = 1, .stay = 1};
  EXPECT_EQ(spansOf(rule, {1, 1, 0, 1, 1, 1, 0, 1}), "3-6 x3");
}

TEST(Spans, SayWhereTheyAreWorst) {
  Spans spans({.enter = 1, .stay = 1});
  spans.add({0.0, 0.5, 1.0, 0});
  spans.add({0.5, 1.0, 3.0, 1});
  spans.add({1.0, 1.5, 2.0, 2});
  ASSERT_EQ(spans.found().size(), 1U);
  EXPECT_EQ(spans.found()[0].worst, 3.0);
  EXPECT_EQ(spans.found()[0].worstSeconds, 0.5);
  EXPECT_EQ(spans.found()[0].worstFrame, 1);
  EXPECT_EQ(spans.found()[0].endSeconds, 1.5);
}

TEST(Spans, CountWhatHasNoTimeToWhatCameBefore) {
  Spans spans({.mergeSeconds = 1.0});
  EXPECT_TRUE(spans.add({.start = 5.0}));
  EXPECT_FALSE(spans.add({}));
  EXPECT_TRUE(spans.add({.start = 9.0}));
  ASSERT_EQ(spans.found().size(), 2U);
  EXPECT_EQ(spans.found()[0].count, 2);
  EXPECT_EQ(spans.found()[0].endSeconds, 5.0);
}

TEST(Spans, OfTimesThatGoBackAreOneWhereTheyAreClose) {
  Spans spans({.mergeSeconds = 1.0});
  EXPECT_TRUE(spans.add({.start = 5.0}));
  EXPECT_FALSE(spans.add({.start = 4.5}));
  EXPECT_TRUE(spans.add({.start = 1.0}));
  EXPECT_EQ(spans.found()[0].startSeconds, 4.5);
  EXPECT_EQ(spans.found()[0].endSeconds, 5.0);
}

TEST(Spans, BeyondTheMostCountToTheLastAndDoNotStretchIt) {
  Spans spans({.most = 1});
  EXPECT_TRUE(spans.add({.start = 1.0}));
  EXPECT_FALSE(spans.add({.start = 50.0}));
  ASSERT_EQ(spans.found().size(), 1U);
  EXPECT_EQ(spans.found()[0].count, 2);
  EXPECT_EQ(spans.found()[0].endSeconds, 1.0);
}

}  // namespace
