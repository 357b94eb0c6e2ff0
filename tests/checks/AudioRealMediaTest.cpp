// The audio checks on real files, against what is worked out value by value.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "checks/AudioChecks.h"

namespace {

using namespace qatest;

TEST(AudioRealMedia, DefinitionHoldsForEveryFile) {
  const std::filesystem::path folder = QATESTER_MEDIA_DIR;
  if (!std::filesystem::is_directory(folder)) {
    GTEST_SKIP() << "no media folder: set QATESTER_MEDIA_DIR";
  }
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() != ".md") {
      expectTheDefinitionToHold(entry.path().string());
    }
  }
}

TEST(AudioRealMedia, StereoOf24BitsIsMeasuredByEveryCheck) {
  const std::filesystem::path folder = QATESTER_MEDIA_DIR;
  if (!std::filesystem::is_directory(folder)) {
    GTEST_SKIP() << "no media folder: set QATESTER_MEDIA_DIR";
  }
  LoggedTester tester((folder / "imf_pcm_s24_stereo_10s.mxf").string(), untilReady());
  for (const AudioCheck& check : audioChecks()) {
    run(check, tester);
    EXPECT_TRUE(tester.outcomes.back().measured) << check.tag;
  }
}

}  // namespace
