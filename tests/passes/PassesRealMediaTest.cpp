// The same on real files.

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>

#include "passes/Seen.h"
#include "support/MediaFolder.h"
#include "support/Sanitized.h"
#include "support/SmallBudgets.h"
#include "support/TempDir.h"

namespace qatest {
namespace {

/// A whole file is read some twenty times: of a larger one there is enough in what it begins with,
/// where its container can be read without its end.
constexpr std::uintmax_t kMostBytes = kSanitized ? 300000 : 3000000;
constexpr std::uintmax_t kStreamBytes = 300000;

void cut(const std::filesystem::path& from, const std::filesystem::path& to, std::uintmax_t bytes) {
  std::filesystem::copy_file(from, to);
  std::filesystem::resize_file(to, bytes);
}

TEST(RealFile, GivesTheSameInOnePassAsInMany) {
  const std::vector<std::string> files = mediaFilesIn(QATESTER_MEDIA_DIR);
  if (files.empty()) {
    GTEST_SKIP() << "the media folder is missing: " << QATESTER_MEDIA_DIR;
  }
  const TempDir folder;
  for (const std::string& file : files) {
    std::filesystem::path path = std::filesystem::path(QATESTER_MEDIA_DIR) / file;
    const std::uintmax_t bytes = std::filesystem::file_size(path);
    if (bytes > kMostBytes && kSanitized) {
      continue;
    }
    if (path.extension() == ".ts" && bytes > kStreamBytes) {
      cut(path, folder.path() / file, kStreamBytes);
      path = folder.path() / file;
    } else if (bytes > kMostBytes) {
      continue;
    }
    expectSamePasses(path.string(), smallBudgets(12, 1));
  }
}

}  // namespace
}  // namespace qatest
