#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "Client.h"
#include "support/Sanitized.h"
#include "support/SmallBudgets.h"

namespace qatest {
namespace {

using nlohmann::json;

const std::string kMedia = QATESTER_MEDIA_DIR;

/// Files are tested in parts, so that no process of a slow build has all of them.
constexpr std::size_t kParts = 4;

/// Every `kParts`th file, from `part` on.
std::vector<std::string> realFiles(std::size_t part) {
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(kMedia)) {
    if (entry.path().extension() != ".md") {
      files.push_back(entry.path().string());
    }
  }
  std::sort(files.begin(), files.end());
  std::vector<std::string> mine;
  for (std::size_t i = part; i < files.size(); i += kParts) {
    mine.push_back(files[i]);
  }
  return mine;
}

class RealMedia : public testing::TestWithParam<std::size_t> {};

TEST_P(RealMedia, EveryFileGetsASensibleReportAndTable) {
  if (!std::filesystem::is_directory(kMedia)) {
    GTEST_SKIP() << "no media folder: set QATESTER_MEDIA_DIR";
  }
  const TempDir dir;
  Arguments arguments{"--json", "-"};
  std::size_t checks = checkNames().size();
  if (kSanitized) {
    // A few pictures of each, and not the check that goes through whole files.
    writeFile(dir.file("few"), smallBudgets(8, 1));
    arguments.insert(arguments.end(),
                     {"--settings", dir.file("few"), "--checks", checksBut({"timecode"})});
    --checks;
  }
  for (const std::string& file : realFiles(GetParam())) {
    arguments.push_back(file);
    const Finished end = runClient(arguments);
    arguments.pop_back();
    EXPECT_GE(end.code, 0) << file << " " << end.err;
    EXPECT_LE(end.code, 2) << file << " " << end.err;
    const json report = onlyFile(json::parse(end.out));
    // The name, facts and verdict, one line for each check at most and four for the events of one
    // that breaks; or one line for a file that does not open.
    const bool opens = !report.contains("error");
    const std::vector<std::string> lines = linesOf(end.err);
    const auto breaking = std::count_if(
        report.at("checks").begin(), report.at("checks").end(), [](const json& check) {
          return check.at("state") == "fail" || check.at("state") == "warn";
        });
    const std::size_t most = 3 + checks + 4 * static_cast<std::size_t>(breaking);
    EXPECT_LE(lines.size(), opens ? most : 1) << end.err;
    EXPECT_EQ(lines.at(0) == file, opens) << end.err;
    EXPECT_TRUE(opens || end.code == 2) << file;
    EXPECT_EQ(report.at("checks").size(), checks) << file;
    for (const json& check : report.at("checks")) {
      const bool invalid = check.at("name") == "valid" && !check.at("result").at("valid");
      const bool needsReason = invalid || check.at("state") == "not-measured";
      EXPECT_EQ(check.contains("reason"), needsReason) << file << " " << check;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Part, RealMedia, testing::Range(std::size_t{0}, kSanitized ? 1 : kParts));

}  // namespace
}  // namespace qatest
