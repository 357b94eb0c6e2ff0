// The same on real files.

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>

#include "passes/Seen.h"
#include "support/MediaFolder.h"
#include "support/Sanitized.h"
#include "support/SmallBudgets.h"

namespace qatest {
namespace {

/// Larger files take minutes under a sanitizer.
constexpr std::uintmax_t kSmallBytes = 300000;

TEST(RealFile, GivesTheSameInOnePassAsInMany) {
  const std::vector<std::string> files = mediaFilesIn(QATESTER_MEDIA_DIR);
  if (files.empty()) {
    GTEST_SKIP() << "the media folder is missing: " << QATESTER_MEDIA_DIR;
  }
  for (const std::string& file : files) {
    const std::filesystem::path path = std::filesystem::path(QATESTER_MEDIA_DIR) / file;
    if (!kSanitized || std::filesystem::file_size(path) < kSmallBytes) {
      expectSamePasses(path.string(), smallBudgets(40, 1));
    }
  }
}

}  // namespace
}  // namespace qatest
