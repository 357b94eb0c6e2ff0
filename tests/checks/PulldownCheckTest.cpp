// What only the pulldown check does; the rest is in PictureCheckRunTest.cpp.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <fstream>
#include <thread>
#include <utility>

#include "checks/PictureChecks.h"
#include "support/FakeSleep.h"
#include "support/WaitUntil.h"

namespace {

using namespace qatest;

constexpr int kWidth = 48;
constexpr int kHeight = 8;

/// Which content a field of a group of five has: different numbers are different contents.
struct Group {
  std::array<int, 5> tops;
  std::array<int, 5> bottoms;
};

// A picture of film is in one field of the second and of the fourth frame only ("AA BB BC CD DD").
const Group kTelecine{{0, 1, 1, 2, 3}, {0, 1, 2, 3, 3}};
const Group kDifferent{{0, 1, 2, 3, 4}, {0, 1, 2, 3, 4}};
const Group kStill{{0, 0, 0, 0, 0}, {0, 0, 0, 0, 0}};
/// 2:3 in another phase.
const Group kNeither{{0, 0, 1, 2, 3}, {0, 1, 2, 2, 3}};

/// A clip of one frame, which the slate drops, and these groups. Each content is white where the
/// next one is black.
VideoSpec clipOf(const std::vector<Group>& groups, int frames) {
  return blackAndWhite(frames, kWidth, kHeight, [groups](int x, int y, int frame) {
    if (frame == 0 || static_cast<std::size_t>(frame - 1) / 5 >= groups.size()) {
      return false;
    }
    const auto index = static_cast<std::size_t>(frame - 1);
    const Group& group = groups[index / 5];
    const int content = y % 2 == 0 ? group.tops[index % 5] : group.bottoms[index % 5];
    return x / 4 % 3 == content % 3;
  });
}

class PulldownCheck : public testing::Test {
 protected:
  /// Runs the check on the frames behind the first one. The clip goes on for two seconds, so that
  /// the budget is not bounded.
  QA_PullDown measure(VideoSpec video, int budget, QATesterOptions options = stored()) {
    video.frames = budget + 50;
    LoggedTester tester(makeClip(folder, "clip.nut", {.video = {video}}), std::move(options),
                        quick(check, budget));
    const QA_PullDown record = checkPulldown(tester);
    outcome = tester.outcomes.at(0);
    progress = tester.listener.progress["pulldown"];
    return record;
  }

  QA_PullDown measureGroups(const std::vector<Group>& groups, int budget) {
    return measure(clipOf(groups, 0), budget);
  }

  void expectFigures(int groups, int groups23, int groups22) const {
    EXPECT_EQ(numberOf(outcome, "groups"), groups);
    EXPECT_EQ(numberOf(outcome, "groups23"), groups23);
    EXPECT_EQ(numberOf(outcome, "groups22"), groups22);
  }

  const PictureCheck& check = pictureChecks()[0];
  TempDir folder;
  QACheckOutcome outcome;
  std::vector<float> progress;
};

void expectRecord(const QA_PullDown& record, int second, float confidence, bool detected) {
  EXPECT_EQ(record.cadenceFirst, 2);
  EXPECT_EQ(record.cadenceSecond, second);
  EXPECT_EQ(record.confidence, confidence);
  EXPECT_FALSE(std::signbit(record.confidence));  // reports would read "-0"
  EXPECT_EQ(record.detected, detected);
}

TEST_F(PulldownCheck, StillPictureIsTwoThree) {
  expectRecord(measureGroups(std::vector<Group>(20, kStill), 100), 3, 1.0F, true);
  expectFigures(20, 20, 0);
}

TEST_F(PulldownCheck, PicturesThatAllDifferAreTwoTwo) {
  expectRecord(measureGroups(std::vector<Group>(20, kDifferent), 100), 2, 1.0F, true);
  expectFigures(20, 0, 20);
}

TEST_F(PulldownCheck, ProgressiveMotionIsTwoTwo) {
  // A white bar that moves by a pixel a frame: one column of 48 gets darker, which is over 1 %.
  const VideoSpec video = blackAndWhite(
      0, kWidth, kHeight, [](int x, int, int frame) { return (x + frame) % kWidth < 10; });
  expectRecord(measure(video, 20), 2, 1.0F, true);
}

TEST_F(PulldownCheck, TelecineIsSeenInOneOfItsFivePhases) {
  // Top fields repeat between the second and third frame of a cycle, bottom fields between the
  // fourth and fifth. Any other start of the groups moves them, or leaves one between two groups.
  for (int phase = 0; phase < 5; ++phase) {
    SCOPED_TRACE(phase);
    const VideoSpec video = blackAndWhite(0, kWidth, kHeight, [phase](int x, int y, int frame) {
      const int index = frame - 1 + phase;
      const int inCycle = ((index % 5) + 5) % 5;
      const auto place = static_cast<std::size_t>(inCycle);
      const int film = (y % 2 == 0 ? kTelecine.tops : kTelecine.bottoms)[place] + index / 5 * 4;
      return x / 4 % 3 == film % 3;
    });
    const QA_PullDown record = measure(video, 20);
    if (phase == 0) {
      expectRecord(record, 3, 1.0F, true);
      expectFigures(4, 4, 0);
    } else {
      expectRecord(record, 3, 0.0F, false);
      expectFigures(4, 0, 0);
    }
  }
}

TEST_F(PulldownCheck, TelecineWithTheBottomFieldRepeatedFirstIsNotSeen) {
  const Group swapped{kTelecine.bottoms, kTelecine.tops};
  expectRecord(measureGroups(std::vector<Group>(2, swapped), 10), 3, 0.0F, false);
  expectFigures(2, 0, 0);
}

/// A group in which exactly these fields come again in the next picture: bit k for the top field
/// of picture k, bit 4 + k for its bottom field.
Group groupThatRepeats(unsigned fields) {
  Group group{};
  for (std::size_t k = 0; k < 4; ++k) {
    group.tops[k + 1] = group.tops[k] + ((fields >> k & 1U) != 0 ? 0 : 1);
    group.bottoms[k + 1] = group.bottoms[k] + ((fields >> (4 + k) & 1U) != 0 ? 0 : 1);
  }
  return group;
}

TEST_F(PulldownCheck, GroupIsTwoThreeByTwoFieldsAndTwoTwoWhenNoneRepeats) {
  constexpr unsigned kTop1 = 1U << 1U;
  constexpr unsigned kBottom3 = 1U << 7U;
  std::vector<Group> all;
  int groups23 = 0;
  for (unsigned fields = 0; fields < 256; ++fields) {
    all.push_back(groupThatRepeats(fields));
    groups23 += (fields & kTop1) != 0 && (fields & kBottom3) != 0 ? 1 : 0;
  }
  ASSERT_EQ(groups23, 64);
  measureGroups(all, 5 * 256);
  expectFigures(256, 64, 1);
}

TEST_F(PulldownCheck, AnySingleRepeatedFieldIsNeitherCadence) {
  for (unsigned field = 0; field < 8; ++field) {
    measureGroups({groupThatRepeats(1U << field)}, 5);
    expectFigures(1, 0, 0);
  }
  measureGroups({groupThatRepeats(0)}, 5);
  expectFigures(1, 0, 1);
  measureGroups({kTelecine}, 5);
  expectFigures(1, 1, 0);
}

TEST_F(PulldownCheck, GroupsAreDisjoint) {
  // Across the border of two groups everything repeats; inside them nothing does.
  const Group second{{4, 5, 6, 7, 8}, {4, 5, 6, 7, 8}};
  expectRecord(measureGroups({kDifferent, second}, 10), 2, 1.0F, true);
}

std::vector<Group> mixed(int first, const Group& one, int second, const Group& other) {
  std::vector<Group> groups(static_cast<std::size_t>(first), one);
  groups.insert(groups.end(), static_cast<std::size_t>(second), other);
  return groups;
}

TEST_F(PulldownCheck, TwelveOfTwentyGroupsAreDetected) {
  // 0.6 in single precision is 0.60000002, and more than 0.6.
  expectRecord(measureGroups(mixed(12, kTelecine, 8, kNeither), 100), 3, 0.6F, true);
  expectRecord(measureGroups(mixed(8, kTelecine, 12, kDifferent), 100), 2, 0.6F, true);
}

TEST_F(PulldownCheck, ElevenOfTwentyGroupsAreNotDetected) {
  expectRecord(measureGroups(mixed(11, kTelecine, 9, kNeither), 100), 3, 0.55F, false);
  expectRecord(measureGroups(mixed(9, kTelecine, 11, kDifferent), 100), 2, 0.55F, false);
}

TEST_F(PulldownCheck, TieIsTwoThree) {
  expectRecord(measureGroups(mixed(2, kTelecine, 2, kDifferent), 20), 3, 0.5F, false);
  expectFigures(4, 2, 2);
}

TEST_F(PulldownCheck, BudgetBelowFiveComparesNothing) {
  for (int budget = 1; budget < 5; ++budget) {
    SCOPED_TRACE(budget);
    expectRecord(measureGroups({kDifferent}, budget), 3, 0.0F, false);
    expectFigures(0, 0, 0);
    EXPECT_EQ(progress, std::vector<float>());
    EXPECT_FALSE(outcome.measured);
    EXPECT_EQ(outcome.count, budget);
    EXPECT_EQ(outcome.reason, "only " + std::to_string(budget) +
                                  (budget == 1 ? " frame" : " frames") + ": a group has five");
  }
}

TEST_F(PulldownCheck, ConfidenceIsOfTheBudgetAlsoWhereItIsNoMultipleOfFive) {
  expectRecord(measureGroups({kStill}, 7), 3, static_cast<float>(1 / (7 / 5.0)), true);
  expectFigures(1, 1, 0);
  EXPECT_EQ(outcome.count, 7);
  expectRecord(measureGroups({kDifferent}, 9), 2, static_cast<float>(1 / (9 / 5.0)), false);
  expectFigures(1, 0, 1);
}

TEST_F(PulldownCheck, ReportsProgressWithEachFifthPictureOnly) {
  measureGroups({kStill}, 24);
  // Of pictures 4, 9, 14 and 19 of 24.
  EXPECT_EQ(progress, (std::vector<float>{16, 37, 58, 79}));
}

TEST_F(PulldownCheck, FieldsThatOnlyGetBrighterAreTheSame) {
  // From the first picture of each group to its last.
  const VideoSpec growing = blackAndWhite(
      0, kWidth, kHeight, [](int x, int, int frame) { return x < 4 * ((frame + 4) % 5) + 4; });
  const VideoSpec shrinking = blackAndWhite(
      0, kWidth, kHeight, [](int x, int, int frame) { return x >= 4 * ((frame + 4) % 5) + 4; });
  expectRecord(measure(growing, 10), 3, 1.0F, true);
  expectFigures(2, 2, 0);
  expectRecord(measure(shrinking, 10), 2, 1.0F, true);
  expectFigures(2, 0, 2);
}

TEST_F(PulldownCheck, OnePercentOfBrighterPixelsMakesFieldsDifferent) {
  // Fields of 80 x 10: 8 pixels are 1 %, and 1 - 0.01 in single precision is exactly 0.99.
  for (const int darkened : {7, 8}) {
    // Each field has a hole that moves: as many pixels get darker as get brighter.
    const VideoSpec video = blackAndWhite(0, 80, 20, [darkened](int x, int y, int frame) {
      const int first = 8 * frame % 80;
      return y / 2 != 3 || x < first || x >= first + darkened;
    });
    expectRecord(measure(video, 10), darkened == 8 ? 2 : 3, 1.0F, true);
  }
}

TEST_F(PulldownCheck, LastRowOfAnOddHeightIsLeftOut) {
  VideoSpec video = blackAndWhite(
      0, kWidth, 9, [](int x, int y, int frame) { return y == 8 && x / 4 % 3 == frame % 3; });
  video.pixelFormat = AV_PIX_FMT_YUV444P;
  expectRecord(measure(video, 10), 3, 1.0F, true);
  expectFigures(2, 2, 0);
}

TEST_F(PulldownCheck, PicturesOfDifferentSizesAreNotTheSame) {
  // The size changes between the second and third picture of the second group of stills.
  const auto still = [](int, int, int, int) { return uint8_t{128}; };
  const std::string file =
      clipOfSizes(folder, "clip.ts", {{64, 1 + 5 + 2, still}, {80, 60, still}});
  LoggedTester tester(file, stored(), quick(check, 15));
  expectRecord(checkPulldown(tester), 3, static_cast<float>(2 / 3.0), true);
  outcome = tester.outcomes.at(0);
  expectFigures(3, 2, 0);
  expectTheDefinitionToHold(file, 15);
}

TEST_F(PulldownCheck, HoldsToTheDefinitionOnFieldsThatFFmpegMakes) {
  for (const char* filter : {"telecine=first_field=top", "telecine=first_field=bottom",
                             "tinterlace=interleave_top", "interlace"}) {
    SCOPED_TRACE(filter);
    const std::string source =
        "testsrc2=size=64x48:rate=24000/1001:duration=3," + std::string(filter) + ",format=yuv422p";
    expectTheDefinitionToHold(filteredClip(folder, "clip.mkv", {"-f", "lavfi", "-i", source}), 15);
  }
}

std::ptrdiff_t tensIn(const std::vector<unsigned>& pauses) {
  return std::count(pauses.begin(), pauses.end(), 10U);
}

class CountingListener : public RecordingListener {
 public:
  std::atomic<int> heard = 0;

 private:
  void onPercent(float) override { ++heard; }
};

TEST_F(PulldownCheck, PictureThatWaitsForItsGroupDoesNotEndARowOfMisses) {
  // Through a pipe, which holds a picture back: the misses on either side of it, which is only
  // gathered, make up the 101.
  constexpr int kFrames = 64;
  constexpr int kBudget = 60;
  constexpr int kGroups = 11;
  constexpr int kHeldBack = 1 + 5 * kGroups + 1;  // behind the slate, the groups and one more
  constexpr std::size_t kLuma = 320 * 240;
  VideoSpec video = ffv1(kFrames);
  video.encoder = "rawvideo";
  video.width = 320;   // 57 pictures are more than a queue takes, so no reading is under way when
  video.height = 240;  // the check asks for the file's facts
  video.pixel = [](int component, int, int, int frame) {
    return static_cast<uint8_t>(component == 0 ? 20 + frame : 128);
  };
  const std::string bytes = readFile(makeClip(folder, "whole.mkv", {.video = {video}}));
  const auto endOf = [&](int frame) {
    return bytes.find(std::string(kLuma, static_cast<char>(20 + frame))) + kLuma * 3 / 2;
  };
  const std::size_t firstEnd = endOf(kHeldBack - 1);
  const std::size_t secondEnd = endOf(kHeldBack);
  writeFile(folder.file("settings"), quick(check, kBudget));
  const std::string pipe = folder.file("pipe.mkv");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  CountingListener listener;
  QATesterOptions options;
  options.lookup = QALookup::stored;
  options.console = [](const std::string&) {};
  options.outcome = [&](const QACheckOutcome& o) { outcome = o; };
  const QuickWaits quickWaits;
  clearPauses();
  std::jthread writer([&] {
    std::ofstream out(pipe, std::ios::binary);
    out << bytes.substr(0, firstEnd) << std::flush;
    waitUntil([&] { return listener.heard == kGroups; });
    const std::ptrdiff_t before = tensIn(readerPauses());  // the reader's, of a full queue
    waitUntil([&] { return tensIn(readerPauses()) >= before + 60; });
    out << bytes.substr(firstEnd, secondEnd - firstEnd) << std::flush;
    waitUntil([&] { return tensIn(readerPauses()) >= before + 95; });
  });
  QATester tester(pipe.c_str(), &listener, folder.file("settings").c_str(), "", options);
  const QA_PullDown record = tester.checkFramePullDown();
  writer.join();
  // 160, if the picture ended the row. Some may be those of a reader that was slow before.
  EXPECT_GE(tensIn(callerPauses()), 100);
  EXPECT_LT(tensIn(callerPauses()), 130);
  EXPECT_EQ(outcome.count, kHeldBack);
  EXPECT_EQ(outcome.budget, kBudget);
  // Fields that get brighter are the same; the budget is the divisor.
  expectFigures(kGroups, kGroups, 0);
  expectRecord(record, 3, static_cast<float>(kGroups / (kBudget / 5.0)), true);
}

}  // namespace
