// The same on real files.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "passes/Seen.h"
#include "support/MediaFolder.h"
#include "support/SmallBudgets.h"

namespace qatest {
namespace {

TEST(RealFile, GivesTheSameInOnePassAsInMany) {
  const std::vector<std::string> files = mediaFilesIn(QATESTER_MEDIA_DIR);
  if (files.empty()) {
    GTEST_SKIP() << "the media folder is missing: " << QATESTER_MEDIA_DIR;
  }
  for (const std::string& file : files) {
    const std::string path = (std::filesystem::path(QATESTER_MEDIA_DIR) / file).string();
    expectSamePasses(path, smallBudgets(40, 1));
  }
}

}  // namespace
}  // namespace qatest
