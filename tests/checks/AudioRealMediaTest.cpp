// The audio checks on real files, against what is worked out value by value.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "checks/AudioChecks.h"
#include "support/MediaFolder.h"
#include "support/Sanitized.h"

namespace {

using namespace qatest;

TEST(AudioRealMedia, DefinitionHoldsForEveryFile) {
  const std::filesystem::path folder = QATESTER_MEDIA_DIR;
  if (!std::filesystem::is_directory(folder)) {
    GTEST_SKIP() << "no media folder: set QATESTER_MEDIA_DIR";
  }
  for (const std::string& file : someOf(mediaFilesIn(folder))) {
    expectTheDefinitionToHold((folder / file).string());
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
