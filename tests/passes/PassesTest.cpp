// Checks that share a reading say what they say with readings of their own.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "passes/Seen.h"
#include "support/Clips.h"
#include "support/Sanitized.h"
#include "support/SmallBudgets.h"
#include "support/TempDir.h"
#include "torture/OddClips.h"

namespace qatest {
namespace {

/// Every limit and threshold is another than by default.
constexpr const char* kOtherLimits =
    "ChromaRGBMin=16\nChromaRGBMax=235\nChromaYMin=16\nChromaYMax=235\nGamutMin=1\nGamutMax=254\n"
    "TearingThreshold=0.5\nTransitionPercentChange=0.01\nLevelPeakThreshold=-3\n"
    "LevelLowThreshold=-60\nLoudnessMaxThreshold=-1\nLoudnessMinThreshold=-70\n"
    "MonoSingleSampleThreshold=0.2\nMonoSimilarSampleCountThreshold=0.5\n"
    "PhaseSampleOffsetThreshold=3\n";

class Clip : public testing::TestWithParam<ClipKind> {};

TEST_P(Clip, GivesTheSameInOnePassAsInMany) {
  const TempDir folder;
  const std::string clip = makeClip(folder, GetParam().fileName, GetParam().spec);
  expectSamePasses(clip, smallBudgets(7));
  // Budgets that end at the end of the file, or in the slate.
  expectSamePasses(clip, smallBudgets(1000, 1) + kOtherLimits);
  expectSamePasses(clip, "");
}

INSTANTIATE_TEST_SUITE_P(OfEveryKind, Clip, testing::ValuesIn(clipKinds(kSanitized)),
                         [](const auto& info) { return std::to_string(info.index); });

TEST(Passes, ShareTheirDisplays) {
  const TempDir folder;
  const std::string clip =
      makeClip(folder, "clip.mkv", {{h264WithBFrames(40)}, {audio("pcm_s16le", 2, 1.6)}});
  const Seen each = runAll(clip, "QATesterVisual=1\n" + smallBudgets(6), QAPasses::each, true);
  ASSERT_GT(each.pictures.size(), 40U);
  expectSamePasses(clip, "QATesterVisual=1\n" + smallBudgets(6), true);
}

TEST(Passes, SaySoOnceWhenDisplaysCannotBeWritten) {
  const TempDir folder;
  const std::string clip = makeClip(folder, "clip.mkv", {{ffv1(40)}, {audio("pcm_s16le", 2, 1.6)}});
  const std::string notAFolder = folder.file("taken");
  writeFile(notAFolder, "a file");
  const std::string settings = "QATesterVisual=1\n" + smallBudgets(6);
  const Seen each = runAll(clip, settings, QAPasses::each, true, notAFolder);
  const Seen one = runAll(clip, settings, QAPasses::one, true, notAFolder);
  EXPECT_NE(each.log.find("displays: "), std::string::npos);
  EXPECT_EQ(one.log, each.log);
}

class OddClip : public testing::TestWithParam<std::string> {};

TEST_P(OddClip, GivesTheSameInOnePassAsInMany) {
  const TempDir folder;
  expectSamePasses(makeOddClip(folder.path().string(), GetParam()), smallBudgets(5));
}

INSTANTIATE_TEST_SUITE_P(OfEveryKind, OddClip, testing::ValuesIn(someOf(oddClipNames())),
                         [](const auto& info) { return std::to_string(info.index); });

class DamagedClip : public testing::TestWithParam<ClipKind> {};

TEST_P(DamagedClip, GivesTheSameInOnePassAsInMany) {
  const TempDir folder;
  const std::string clip = makeClip(folder, GetParam().fileName, GetParam().spec);
  const std::size_t bytes = std::filesystem::file_size(clip);
  const std::string kind = std::filesystem::path(clip).extension().string();
  for (const std::size_t interval : {5000U, 700U}) {
    expectSamePasses(damagedCopy(folder, "damaged" + kind, clip, bytes / 20, interval),
                     smallBudgets(30, 0));
  }
  expectSamePasses(truncatedCopy(folder, "cut" + kind, clip, bytes * 2 / 3), smallBudgets(30, 0));
}

INSTANTIATE_TEST_SUITE_P(OfEveryKind, DamagedClip, testing::ValuesIn(clipKinds(kSanitized)),
                         [](const auto& info) { return std::to_string(info.index); });

}  // namespace
}  // namespace qatest
