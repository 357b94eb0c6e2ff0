// Pulldown, tearing and transitions of real files, against what is worked out pixel by pixel.

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "checks/PictureChecks.h"
#include "support/MediaFolder.h"
#include "support/Sanitized.h"

namespace {

using namespace qatest;

const std::filesystem::path kFolder = QATESTER_MEDIA_DIR;

/// Not the defaults: most of the files are short, and each pixel is worked out by itself.
constexpr int kBudget = 5;

std::vector<std::string> mediaFiles() {
  return qatest::mediaFilesIn(kFolder);
}

TEST(PictureRealMediaFolder, HoldsPicturesToMeasure) {
  if (mediaFiles().empty()) {
    GTEST_SKIP() << "no media folder: set QATESTER_MEDIA_DIR";
  }
  LoggedTester tester((kFolder / "bikes_25p_420_motion.mp4").string(), stored(),
                      quickPictures(kBudget));
  for (const PictureCheck& check : pictureChecks()) {
    run(check, tester);
    EXPECT_TRUE(tester.outcomes.back().measured) << check.tag;
    EXPECT_EQ(tester.outcomes.back().count, kBudget) << check.tag;
  }
}

/// A cut 1.2 s after the start.
TEST(PictureRealMediaFolder, CutIsFoundWhereItIs) {
  const std::filesystem::path file = kFolder / "scene_cuts_25p_444.mp4";
  if (!std::filesystem::exists(file)) {
    GTEST_SKIP() << "no media folder: set QATESTER_MEDIA_DIR";
  }
  LoggedTester tester(file.string(), stored(),
                      "QATesterSlateSeconds=1\nTransitionFrameChecks=15\n");
  EXPECT_EQ(checkTransitions(tester), 1);
  const std::vector<double> seconds = numbersOf(tester.outcomes.at(0), "transitionSeconds");
  ASSERT_EQ(seconds.size(), 1U);
  EXPECT_NEAR(seconds[0], 1.2, 0.1);  // by the decoding time stamp
}

class PictureRealMedia : public testing::TestWithParam<std::string> {};

TEST_P(PictureRealMedia, GivesWhatEveryPixelAddsUpTo) {
  expectTheDefinitionToHold((kFolder / GetParam()).string(), kBudget);
}

INSTANTIATE_TEST_SUITE_P(
    , PictureRealMedia, testing::ValuesIn(qatest::someOf(mediaFiles())), [](const auto& tested) {
      std::string name = tested.param;
      std::replace_if(
          name.begin(), name.end(),
          [](char c) { return std::isalnum(static_cast<unsigned char>(c)) == 0; }, '_');
      return name;
    });
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(PictureRealMedia);

}  // namespace
