#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "faults/ThreeSeconds.h"
#include "support/Process.h"
#include "support/TempDir.h"

namespace qatest {
namespace {

using nlohmann::json;

Command client(std::vector<std::string> arguments) {
  return {QATESTER_CLIENT, std::move(arguments)};
}

class ClientFaults : public testing::Test {
 protected:
  ClientFaults() { writeFile(settings_, smallBudgets()); }

  TempDir clips_;
  TempDir dir_;
  std::string clip_ = threeSeconds(clips_);
  std::string settings_ = clips_.file("settings");
  std::string report_ = dir_.file("report.json");
};

TEST_F(ClientFaults, ALogOnAFullDiskIsToldOnceAndNothingElseIsLost) {
  const Finished end = Process(client({"--settings", settings_, "--log", "/dev/full", "--json",
                                       report_, "--checks", "valid,frame-rate,levels", clip_}))
                           .wait();
  EXPECT_EQ(end.code, 2);
  EXPECT_EQ(end.err, "qatester: Error: Unable to write to log file.\n");
  EXPECT_EQ(json::parse(readFile(report_)).at("files").at(0).at("checks").size(), 3U);
}

TEST_F(ClientFaults, AReportThatMayNotBecomeSoLargeLeavesTheOldOneWhole) {
  writeFile(report_, "old\n");
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit small{200, before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  Process process(
      client({"--settings", settings_, "--json", report_, "--checks", "valid,frame-rate", clip_}));
  setrlimit(RLIMIT_FSIZE, &before);
  const Finished end = process.wait();
  EXPECT_EQ(end.code, 2);
  // A build that counts coverage has more to say: it cannot write its counts either.
  EXPECT_EQ(end.err.substr(0, end.err.find('\n')),
            "qatester: cannot write the report " + report_ + ": File too large");
  EXPECT_NE(end.out.find("frame-rate"), std::string::npos) << "the table is there all the same";
  EXPECT_EQ(readFile(report_), "old\n");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir_.path()), {}), 1);
}

TEST_F(ClientFaults, KilledOutrightItLeavesTheOldReportAndWholeLinesInTheLog) {
  writeFile(report_, "old\n");
  const std::string log = dir_.file("log");
  Process process(client({"--pauses", "fixed", "-v", "--checks", "frame-rate", "--log", log,
                          "--json", report_, clip_}));
  ASSERT_TRUE(process.waitFor("QAFramerate: Buffering..."));
  process.signal(SIGKILL);
  EXPECT_EQ(process.wait().code, -SIGKILL);
  EXPECT_EQ(readFile(report_), "old\n");
  const std::string text = readFile(log);
  EXPECT_NE(text.find("] QAFramerate: Beginning Test.\n"), std::string::npos);
  EXPECT_EQ(text.back(), '\n');
}

#ifdef QATESTER_SHORT_OF_MEMORY

TEST_F(ClientFaults, ShortOfMemoryItTellsAndNeverCrashes) {
  const std::string xml = dir_.file("report.xml");
  const std::string csv = dir_.file("files.csv");
  const auto run = [&](unsigned long nth) {
    return Process(
               {QATESTER_SHORT_OF_MEMORY,
                {std::to_string(nth), "-q", "--settings", settings_, "--json", report_, "--junit",
                 xml, "--csv", csv, "--checks", "valid,frame-rate,chroma,levels", clip_}})
        .wait();
  };
  const Finished whole = run(0);
  const unsigned long all = std::stoul(whole.err);
  ASSERT_GT(all, 1000U);
  // All of them take minutes.
  const unsigned long step = std::getenv("QATESTER_EVERY_ALLOCATION") != nullptr ? 1 : all / 40;
  for (unsigned long nth = 1; nth <= all; nth += step) {
    SCOPED_TRACE(nth);
    for (const std::string& report : {report_, xml, csv}) {
      std::filesystem::remove(report);
    }
    const Finished end = run(nth);
    // 0 where only the check that would have failed was lost to FFmpeg's want of memory.
    ASSERT_TRUE(end.code >= 0 && end.code <= 2) << end.code;
    std::ptrdiff_t written = 0;
    for (const auto& [report, isWhole] :
         {std::pair(
              report_, +[](const std::string& text) { return json::accept(text); }),
          std::pair(
              xml, +[](const std::string& text) { return text.ends_with("</testsuites>\n"); }),
          std::pair(
              csv, +[](const std::string& text) {
                return std::count(text.begin(), text.end(), '\n') == 2 && text.back() == '\n';
              })}) {
      if (std::filesystem::exists(report)) {
        ++written;
        EXPECT_TRUE(isWhole(readFile(report))) << report;
      }
    }
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir_.path()), {}), written);
    if (written < 3) {
      EXPECT_EQ(end.code, 2);
      EXPECT_NE(end.err, "");
    }
  }
}

#endif

}  // namespace
}  // namespace qatest
