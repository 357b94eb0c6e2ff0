#include "checks/picture/FieldPatterns.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

namespace {

using namespace qatester;

/// Fields by the instant at which each was recorded.
struct Fields {
  int top;
  int bottom;
};

/// What is measured of a picture after another, if all moves evenly: a field fits its neighbour
/// the worse the longer the time between them.
FieldEvidence evidenceOf(const Fields& before, const Fields& now) {
  const auto worse = [](int mixed, int own) {
    const int difference = std::abs(mixed) - std::abs(own);
    return static_cast<float>(difference);
  };
  const float top = worse(now.top - before.bottom, now.top - now.bottom);
  const float bottom = worse(now.bottom - before.top, now.bottom - now.top);
  const float most = std::max({std::abs(top), std::abs(bottom), 1e-6F});
  const auto change = [](int one, int other) { return static_cast<float>(std::abs(one - other)); };
  const float topChange = change(now.top, before.top);
  const float bottomChange = change(now.bottom, before.bottom);
  const float mostChange = std::max(topChange, bottomChange);
  FieldEvidence evidence;
  const bool moves = top != 0.0F || bottom != 0.0F;
  evidence.numbers.active = moves ? 20.0F : 0.0F;
  evidence.numbers.topQuality = top / most;
  evidence.numbers.bottomQuality = bottom / most;
  evidence.numbers.topRatio = mostChange > 0.0F ? topChange / mostChange : 1.0F;
  evidence.numbers.bottomRatio = mostChange > 0.0F ? bottomChange / mostChange : 1.0F;
  return evidence;
}

std::vector<FieldEvidence> evidenceOf(const std::vector<Fields>& pictures) {
  std::vector<FieldEvidence> all;
  for (std::size_t i = 0; i < pictures.size(); ++i) {
    all.push_back(evidenceOf(pictures[i > 0 ? i - 1 : 0], pictures[i]));
    all.back().isNew = i == 0;
  }
  return all;
}

std::vector<Fields> progressive(int count, int start = 0) {
  std::vector<Fields> pictures;
  for (int i = 0; i < count; ++i) {
    pictures.push_back({start + 2 * i, start + 2 * i});
  }
  return pictures;
}

std::vector<Fields> interlaced(int count, bool isTopFirst, int start = 0) {
  std::vector<Fields> pictures;
  for (int i = 0; i < count; ++i) {
    const int first = start + 2 * i;
    pictures.push_back(isTopFirst ? Fields{first, first + 1} : Fields{first + 1, first});
  }
  return pictures;
}

/// Film of which each picture lasts so many fields, by turns, from a picture of the turn on.
std::vector<Fields> film(int count, const std::vector<int>& turns, bool isTopFirst,
                         std::size_t skippedFields = 0) {
  std::vector<int> fields;
  for (int picture = 0; static_cast<int>(fields.size()) < 2 * count + 20; ++picture) {
    const int lasts = turns[static_cast<std::size_t>(picture) % turns.size()];
    fields.insert(fields.end(), static_cast<std::size_t>(lasts), 10 * picture);
  }
  std::vector<Fields> pictures;
  for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
    const int first = fields[skippedFields + 2 * i];
    const int second = fields[skippedFields + 2 * i + 1];
    pictures.push_back(isTopFirst ? Fields{first, second} : Fields{second, first});
  }
  return pictures;
}

std::vector<Fields> operator+(std::vector<Fields> one, const std::vector<Fields>& other) {
  one.insert(one.end(), other.begin(), other.end());
  return one;
}

TEST(FieldRuns, OfPicturesThatAreWholeAreProgressive) {
  const auto runs = findFieldRuns(evidenceOf(progressive(100)), 25.0);
  ASSERT_EQ(runs.size(), 1U);
  EXPECT_EQ(runs[0].pattern, FieldPattern::progressive);
  EXPECT_EQ(runs[0].first, 0);
  EXPECT_EQ(runs[0].end, 100);
}

TEST(FieldRuns, SayWhichFieldIsTheEarlier) {
  for (const bool isTopFirst : {true, false}) {
    const auto runs = findFieldRuns(evidenceOf(interlaced(100, isTopFirst)), 25.0);
    ASSERT_EQ(runs.size(), 1U);
    EXPECT_EQ(runs[0].pattern, FieldPattern::interlaced);
    EXPECT_EQ(runs[0].isTopFirst, isTopFirst);
  }
}

TEST(FieldRuns, FindFilmInEveryPhaseAndEitherOrder) {
  for (const bool isTopFirst : {true, false}) {
    std::vector<int> phases;
    for (const std::size_t pictures : {0U, 1U, 2U, 3U, 4U}) {
      const auto runs =
          findFieldRuns(evidenceOf(film(150, {2, 3}, isTopFirst, 2 * pictures)), 29.97);
      ASSERT_EQ(runs.size(), 1U) << pictures;
      EXPECT_EQ(runs[0].pattern, FieldPattern::film23) << pictures;
      EXPECT_EQ(runs[0].isTopFirst, isTopFirst) << pictures;
      phases.push_back(runs[0].phase);
    }
    // A picture later, the pattern stands a place further.
    for (std::size_t i = 1; i < phases.size(); ++i) {
      EXPECT_EQ(phases[i], (phases[i - 1] + 1) % 5);
    }
  }
}

TEST(FieldRuns, TellOtherPullDownsApart) {
  const auto patternOf = [](const std::vector<int>& turns, std::size_t skipped = 0) {
    const auto runs = findFieldRuns(evidenceOf(film(200, turns, true, skipped)), 25.0);
    return runs.size() == 1 ? runs[0].pattern : FieldPattern::undetermined;
  };
  EXPECT_EQ(patternOf({2, 3, 3, 2}), FieldPattern::film2332);
  EXPECT_EQ(patternOf({2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 3}), FieldPattern::film24In25);
  EXPECT_EQ(patternOf({2}, 1), FieldPattern::shifted);
  EXPECT_EQ(patternOf({2}), FieldPattern::progressive);
}

TEST(FieldRuns, EndWhereTheCadenceBreaks) {
  std::vector<Fields> pictures = film(150, {2, 3}, true);
  pictures.erase(pictures.begin() + 63);
  const auto runs = findFieldRuns(evidenceOf(pictures), 29.97);
  ASSERT_EQ(runs.size(), 2U);
  EXPECT_EQ(runs[1].pattern, FieldPattern::film23);
  EXPECT_NE(runs[0].phase, runs[1].phase);
  EXPECT_NEAR(static_cast<double>(runs[1].first), 63.0, 1.0);
}

TEST(FieldRuns, ChangeWithTheMaterial) {
  const auto runs = findFieldRuns(evidenceOf(progressive(60) + interlaced(60, true, 1000)), 25.0);
  ASSERT_EQ(runs.size(), 2U);
  EXPECT_EQ(runs[0].pattern, FieldPattern::progressive);
  EXPECT_EQ(runs[1].pattern, FieldPattern::interlaced);
  EXPECT_NEAR(static_cast<double>(runs[1].first), 60.0, 1.0);
}

TEST(FieldRuns, OfAStillAreUndetermined) {
  const std::vector<Fields> still(50, Fields{0, 0});
  const auto runs = findFieldRuns(evidenceOf(progressive(50) + still), 25.0);
  ASSERT_EQ(runs.size(), 2U);
  EXPECT_EQ(runs[0].pattern, FieldPattern::progressive);
  EXPECT_EQ(runs[1].pattern, FieldPattern::undetermined);
  EXPECT_EQ(runs[1].end, 100);
  EXPECT_EQ(runs[1].weight, 0.0F);
}

TEST(FieldRuns, CoverAllPicturesWithoutAGap) {
  EXPECT_TRUE(findFieldRuns({}, 25.0).empty());
  const auto runs =
      findFieldRuns(evidenceOf(film(40, {2, 3}, false) + std::vector<Fields>(40, Fields{900, 900}) +
                               interlaced(40, true, 2000)),
                    29.97);
  int64_t next = 0;
  for (const FieldRun& run : runs) {
    EXPECT_EQ(run.first, next);
    EXPECT_GT(run.end, run.first);
    next = run.end;
  }
  EXPECT_EQ(next, 120);
}

}  // namespace
