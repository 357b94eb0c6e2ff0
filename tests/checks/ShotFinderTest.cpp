#include "checks/picture/ShotFinder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <vector>

namespace {

using namespace qatester;

constexpr int kColumns = 40;
constexpr int kRows = 24;

/// Scenery that differs from shot to shot and moves by cells a picture.
double sceneryAt(int shot, double x, double y) {
  return 110.0 + 50.0 * std::sin(0.31 * x + 1.7 * shot + 0.9 * std::sin(0.23 * y * (shot + 1))) +
         40.0 * std::cos(0.37 * y + 2.9 * shot + 0.013 * shot * x);
}

using Scenery = std::function<double(int x, int y)>;

Thumb thumbOf(const Scenery& scenery) {
  Thumb thumb{.columns = kColumns, .rows = kRows, .cells = {}};
  for (int y = 0; y < kRows; ++y) {
    for (int x = 0; x < kColumns; ++x) {
      thumb.cells.push_back(static_cast<uint8_t>(std::clamp(scenery(x, y), 0.0, 255.0)));
    }
  }
  return thumb;
}

Scenery shot(int number, double moved = 0.0) {
  return [=](int x, int y) { return sceneryAt(number, x + moved, y); };
}

struct Found {
  std::vector<int64_t> cuts;
  std::vector<int64_t> flashes;
  std::vector<GradualChange> changes;
};

/// Of pictures made one by one.
Found found(int64_t count, const std::function<Scenery(int64_t number)>& picture) {
  ShotFinder finder;
  Found all;
  int64_t decided = 0;
  const auto take = [&] {
    for (const PictureDecision& decision : finder.takeDecisions()) {
      EXPECT_EQ(decision.number, decided++);
      if (decision.kind == PictureKind::cut) {
        all.cuts.push_back(decision.number);
      } else if (decision.kind == PictureKind::flash) {
        all.flashes.push_back(decision.number);
      }
    }
  };
  Thumb before;
  for (int64_t number = 0; number < count; ++number) {
    const Thumb thumb = thumbOf(picture(number));
    finder.add(thumb, {}, number > 0 ? distanceOf(before, thumb) : 0.0F);
    before = thumb;
    take();
  }
  finder.finish();
  take();
  EXPECT_EQ(decided, count);
  all.changes = finder.gradualChanges();
  return all;
}

TEST(Shots, BeginWhereThePictureIsAnother) {
  const Found result = found(90, [](int64_t number) {
    return shot(number < 30 ? 0 : number < 61 ? 1 : 2, 0.1 * static_cast<double>(number));
  });
  EXPECT_EQ(result.cuts, (std::vector<int64_t>{30, 61}));
  EXPECT_TRUE(result.flashes.empty());
  EXPECT_TRUE(result.changes.empty());
}

TEST(Shots, GoOnThroughPans) {
  for (const double cells : {0.2, 1.0, 2.5}) {
    const Found result =
        found(60, [&](int64_t number) { return shot(3, cells * static_cast<double>(number)); });
    EXPECT_TRUE(result.cuts.empty()) << cells;
    EXPECT_TRUE(result.flashes.empty()) << cells;
  }
}

TEST(Shots, GoOnAfterAFlash) {
  const Found result = found(50, [](int64_t number) -> Scenery {
    const bool isFlash = number == 20 || number == 21;
    return [=](int x, int y) {
      return sceneryAt(1, x + 0.05 * static_cast<double>(number), y) + (isFlash ? 110.0 : 0.0);
    };
  });
  EXPECT_TRUE(result.cuts.empty());
  EXPECT_EQ(result.flashes, (std::vector<int64_t>{20, 21}));
}

TEST(Shots, GoOnAfterAForeignPicture) {
  const Found result = found(50, [](int64_t number) { return shot(number == 25 ? 5 : 1, 0.0); });
  EXPECT_TRUE(result.cuts.empty());
  EXPECT_EQ(result.flashes, (std::vector<int64_t>{25}));
}

TEST(Shots, BeginAfterBlackAndEndBeforeIt) {
  const Found result = found(90, [](int64_t number) -> Scenery {
    if (number < 30 || number >= 60) {
      return [](int, int) { return 16.0; };
    }
    return shot(2, 0.1 * static_cast<double>(number));
  });
  EXPECT_EQ(result.cuts, (std::vector<int64_t>{30, 60}));
}

TEST(Shots, AreJoinedByDissolvesThatAreNoCuts) {
  constexpr int64_t kFirst = 40;
  constexpr int64_t kLength = 16;
  const Found result = found(100, [&](int64_t number) -> Scenery {
    const double part = std::clamp(static_cast<double>(number - kFirst) / kLength, 0.0, 1.0);
    return
        [=](int x, int y) { return (1.0 - part) * sceneryAt(1, x, y) + part * sceneryAt(4, x, y); };
  });
  EXPECT_TRUE(result.cuts.empty());
  ASSERT_EQ(result.changes.size(), 1U);
  EXPECT_EQ(result.changes[0].kind, GradualChange::Kind::dissolve);
  EXPECT_NEAR(static_cast<double>(result.changes[0].first), kFirst, 2.0);
  EXPECT_NEAR(static_cast<double>(result.changes[0].last), kFirst + kLength, 2.0);
}

TEST(Shots, GoOnThroughSlowChangesThatWaver) {
  // Slow, and wavering about the line, so that it moves on for a few pictures at a time.
  const Found result = found(140, [&](int64_t number) -> Scenery {
    const double line = std::clamp(static_cast<double>(number - 40) / 60.0, 0.0, 1.0);
    const double wave = 0.06 * std::sin(2.0 * static_cast<double>(number));
    const double part = line > 0.0 && line < 1.0 ? line + wave : line;
    return
        [=](int x, int y) { return (1.0 - part) * sceneryAt(1, x, y) + part * sceneryAt(4, x, y); };
  });
  EXPECT_TRUE(result.changes.empty());
}

TEST(Shots, EndAndBeginWithFades) {
  const Found result = found(140, [](int64_t number) -> Scenery {
    const auto n = static_cast<double>(number);
    const double out = std::clamp((60.0 - n) / 20.0, 0.0, 1.0);
    const double in = std::clamp((n - 80.0) / 12.0, 0.0, 1.0);
    return [=](int x, int y) {
      return 16.0 + out * (sceneryAt(1, x, y) - 16.0) + in * (sceneryAt(2, x, y) - 16.0);
    };
  });
  EXPECT_TRUE(result.cuts.empty());
  ASSERT_EQ(result.changes.size(), 2U);
  EXPECT_EQ(result.changes[0].kind, GradualChange::Kind::fadeOut);
  EXPECT_NEAR(static_cast<double>(result.changes[0].first), 40.0, 2.0);
  EXPECT_NEAR(static_cast<double>(result.changes[0].last), 60.0, 2.0);
  EXPECT_EQ(result.changes[1].kind, GradualChange::Kind::fadeIn);
  EXPECT_NEAR(static_cast<double>(result.changes[1].first), 80.0, 2.0);
  EXPECT_NEAR(static_cast<double>(result.changes[1].last), 92.0, 2.0);
}

TEST(Shots, EndWithAFadeWhileTheyMove) {
  const Found result = found(100, [](int64_t number) -> Scenery {
    const auto n = static_cast<double>(number);
    const double out = std::clamp((80.0 - n) / 25.0, 0.0, 1.0);
    return [=](int x, int y) { return 16.0 + out * (sceneryAt(1, x + 0.2 * n, y) - 16.0); };
  });
  ASSERT_EQ(result.changes.size(), 1U);
  EXPECT_EQ(result.changes[0].kind, GradualChange::Kind::fadeOut);
}

TEST(Shots, GoOnWhereAMotionLastsToTheEnd) {
  const Found result = found(60, [](int64_t number) {
    return shot(number < 58 ? 1 : number == 58 ? 2 : 5);
  });
  EXPECT_EQ(std::count(result.cuts.begin(), result.cuts.end(), 58), 0);
}

TEST(Shots, BeginInAPictureOfBothFields) {
  const Found result = found(60, [](int64_t number) -> Scenery {
    const double part = number < 30 ? 0.0 : number == 30 ? 0.5 : 1.0;
    return
        [=](int x, int y) { return (1.0 - part) * sceneryAt(1, x, y) + part * sceneryAt(4, x, y); };
  });
  EXPECT_EQ(result.cuts, std::vector<int64_t>{30});
}

TEST(Shots, GoOnWhereTheHorizonRisesAtTheEnd) {
  for (const int rows : {1, 2, 3}) {
    const Found result = found(60, [&](int64_t number) -> Scenery {
      const int risen = static_cast<int>(std::max<int64_t>(number - 57, 0)) * rows;
      return [=](int x, int y) {
        const double sky = 170.0 + 1.5 * (y - 0.4 * static_cast<double>(number));
        return y >= kRows - risen ? 40.0 : sky + 0.05 * sceneryAt(1, x, y);
      };
    });
    EXPECT_TRUE(result.cuts.empty()) << rows;
  }
}

TEST(Shots, BeginWithColourWhereLumaIsTheSame) {
  ShotFinder finder;
  const Thumb thumb = thumbOf(shot(1));
  std::vector<int64_t> cuts;
  for (int64_t number = 0; number < 40; ++number) {
    ChromaGrid chroma;
    chroma.isThere = true;
    chroma.blue.fill(number < 20 ? 110 : 150);
    chroma.red.fill(number < 20 ? 140 : 120);
    finder.add(thumb, chroma, 0.0F);
  }
  finder.finish();
  for (const PictureDecision& decision : finder.takeDecisions()) {
    if (decision.kind == PictureKind::cut) {
      cuts.push_back(decision.number);
    }
  }
  EXPECT_EQ(cuts, std::vector<int64_t>{20});
}

TEST(Shots, BeginWithAnotherSize) {
  ShotFinder finder;
  for (int64_t number = 0; number < 20; ++number) {
    Thumb thumb = thumbOf(shot(1));
    if (number >= 10) {
      thumb.columns = kColumns / 2;
      thumb.cells.resize(thumb.cells.size() / 2);
    }
    finder.add(thumb, {}, 0.0F);
  }
  finder.finish();
  const std::vector<PictureDecision> decisions = finder.takeDecisions();
  ASSERT_EQ(decisions.size(), 20U);
  for (const PictureDecision& decision : decisions) {
    EXPECT_EQ(decision.kind == PictureKind::cut, decision.number == 10) << decision.number;
  }
}

TEST(Shots, OfNoPictureAreNone) {
  ShotFinder finder;
  finder.finish();
  EXPECT_TRUE(finder.takeDecisions().empty());
  EXPECT_TRUE(finder.gradualChanges().empty());
}

}  // namespace
