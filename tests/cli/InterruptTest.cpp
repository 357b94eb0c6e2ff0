#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "Client.h"

namespace qatest {
namespace {

using nlohmann::json;

/// Long enough for a later signal to count as a second one.
constexpr std::chrono::milliseconds kLater{600};

class Interrupted : public testing::Test {
 protected:
  /// A run that sits in a pause of 500 s.
  Command pausing(const Arguments& more = {}) const {
    Arguments arguments{"--pauses", "fixed", "--json", report_, "--log", log_};
    arguments.insert(arguments.end(), more.begin(), more.end());
    arguments.push_back(clip_);
    return client(arguments);
  }

  /// Waits until a run has begun with its first file.
  void waitForTheFirstFile() const {
    while (!std::filesystem::exists(log_) ||
           readFile(log_).find("Verbose file:") == std::string::npos) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
  }

  json written() const { return json::parse(readFile(report_)); }

  TempDir clips_;
  std::string clip_ = goodClip(clips_);
  std::string log_ = clips_.file("qa.log");
  TempDir dir_;
  std::string report_ = dir_.file("report.json");
};

TEST_F(Interrupted, ByCtrlCItWritesWhatThereIsAndExitsWith130) {
  Process process(pausing({"--junit", dir_.file("report.xml"), "--csv", dir_.file("files.csv"),
                           "--checks", "frame-rate,valid,drop-no-drop"}));
  waitForTheFirstFile();
  process.signal(SIGINT);  // the pause lasts longer than `wait` does
  const Finished end = process.wait();
  EXPECT_EQ(end.code, 130);
  EXPECT_EQ(end.err, "qatester: stopped\n");
  EXPECT_EQ(tableByCheck(end.out).size(), 3U) << end.out;
  const json checks = onlyFile(written()).at("checks");
  ASSERT_EQ(checks.size(), 3U);
  for (const json& check : checks) {
    EXPECT_EQ(check.at("state"), "not-measured");
    EXPECT_EQ(check.at("reason").get<std::string>().rfind("stopped before ", 0), 0U);
  }
  EXPECT_EQ(filesIn(dir_), (std::vector<std::string>{"files.csv", "report.json", "report.xml"}));
  EXPECT_NE(readFile(dir_.file("report.xml")).find("tests=\"3\" failures=\"0\" errors=\"3\""),
            std::string::npos);
  EXPECT_NE(readFile(dir_.file("files.csv")).find("frame-rate: stopped before "),
            std::string::npos);
}

TEST_F(Interrupted, ByATerminationRequestItExitsWith143) {
  Process process(pausing());
  waitForTheFirstFile();
  process.signal(SIGTERM);
  EXPECT_EQ(process.wait().code, 143);
  EXPECT_EQ(written().at("files").size(), 1U);
}

TEST_F(Interrupted, ByAHangUpItExitsWith129) {
  Process process(pausing());
  waitForTheFirstFile();
  process.signal(SIGHUP);
  EXPECT_EQ(process.wait().code, 129);
  EXPECT_EQ(written().at("files").size(), 1U);
}

TEST_F(Interrupted, TheFilesNotBegunAreCounted) {
  Process process(pausing({goodClip(clips_, "first.mkv"), goodClip(clips_, "second.mkv")}));
  waitForTheFirstFile();
  process.signal(SIGINT);
  EXPECT_EQ(process.wait().err, "qatester: stopped; files not begun: 2\n");
  EXPECT_EQ(written().at("files").size(), 1U);
}

TEST_F(Interrupted, WhatWasMeasuredIsKept) {
  // After the frames that are there, this run waits minutes for those that are not.
  Command command = quickClient(
      {"--pauses", "fixed", "--json", report_, "-v", "--checks", "frame-rate", cutClip(clips_)});
  command.environment = {{"QATESTER_TELL_PAUSES", "1"}};
  Process process(command);
  ASSERT_TRUE(process.waitFor("QAFramerate: Starting Checks."));
  ASSERT_TRUE(process.waitFor("pause of 10\n"));
  process.signal(SIGINT);
  const Finished end = process.wait();
  EXPECT_EQ(end.code, 130);
  EXPECT_NE(tableByCheck(end.out)
                .at("frame-rate")
                .find("frames came; stopped before the check was complete"),
            std::string::npos)
      << end.out;
  const json check = onlyCheck(written());
  EXPECT_EQ(check.at("state"), "not-measured");
  EXPECT_EQ(check.at("reason"), "stopped before the check was complete");
  EXPECT_EQ(check.at("result").at("declaredFps"), 25.0);
  EXPECT_GT(check.at("result").at("measuredFps").get<double>(), 0.0);
  EXPECT_FALSE(check.at("progress").empty());
}

TEST_F(Interrupted, ASignalSentTwiceAtOnceIsOne) {
  Process process(pausing());
  waitForTheFirstFile();
  process.signal(SIGINT);
  process.signal(SIGTERM);
  const Finished end = process.wait();
  EXPECT_TRUE(end.code == 130 || end.code == 143) << end.code;
  EXPECT_EQ(written().at("files").size(), 1U);
}

TEST_F(Interrupted, ASecondSignalEndsAtOnceAndLeavesNothing) {
  // More table than a pipe holds that nobody reads: the run cannot go on to its report.
  std::filesystem::path deep = clips_.path();
  for (int i = 0; i < 10; ++i) {
    deep /= std::string(250, 'x');
  }
  std::filesystem::create_directories(deep);
  std::filesystem::rename(clip_, deep / "a.mkv");
  Arguments arguments{"-v",
                      "--json",
                      report_,
                      "--csv",
                      dir_.file("files.csv"),
                      "--checks",
                      "valid",
                      dir_.file("missing")};
  arguments.insert(arguments.end(), 40, deep / "a.mkv");
  Command command = client(arguments);
  command.out = Sink::unread;
  Process process(command);
  process.fillUnread();
  // A file that is begun gets its lines in the table.
  ASSERT_TRUE(process.waitFor("a.mkv"));
  process.signal(SIGTERM);
  std::this_thread::sleep_for(kLater);
  EXPECT_EQ(filesIn(dir_).size(), 2U);  // the temporary names of the reports
  // Again and again: on a busy machine both may be taken at the same time, and count as one.
  EXPECT_EQ(process.waitSending(SIGINT).code, 143);
  EXPECT_TRUE(filesIn(dir_).empty());
}

TEST_F(Interrupted, ASignalThatWasIgnoredStaysIgnored) {
  Command command = pausing();
  command.ignoreInterrupt = true;
  Process process(command);
  waitForTheFirstFile();
  process.signal(SIGINT);
  std::this_thread::sleep_for(kLater);
  process.signal(SIGTERM);
  EXPECT_EQ(process.wait().code, 143);
}

}  // namespace
}  // namespace qatest
