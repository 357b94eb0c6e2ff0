#include "foundation/Logger.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include "support/Console.h"
#include "support/TempDir.h"

namespace {

using qatest::consoleOutputOf;
using qatest::readFile;
using qatest::TempDir;
using qatest::withoutTimes;
using qatest::writeFile;

TEST(Logger, WritesTheSameStampedLineToConsoleAndFile) {
  const TempDir folder;
  const std::string name = folder.file("report.log");
  Logger logger(name.c_str());
  const std::string console = consoleOutputOf([&] { logger.Log("QAChroma: Beginning Test."); });
  EXPECT_EQ(withoutTimes(console), "[T] QAChroma: Beginning Test.\n");
  EXPECT_EQ(readFile(name), console);
}

TEST(Logger, TimeStampIsTheLocalTimeInTenCharacters) {
  Logger logger("");
  const std::time_t before = std::time(nullptr);
  const std::string stamp = logger.GetTimeStamp();
  const std::time_t after = std::time(nullptr);
  std::vector<std::string> possible;
  for (std::time_t time = before; time <= after; ++time) {
    std::tm local{};
    localtime_r(&time, &local);
    char text[16];
    ASSERT_EQ(std::strftime(text, sizeof text, "[%H:%M:%S]", &local), 10U);
    possible.emplace_back(text);
  }
  EXPECT_NE(std::find(possible.begin(), possible.end(), stamp), possible.end()) << stamp;
}

TEST(Logger, FollowsTheTimeZone) {
  Logger logger("");
  const char* zones[] = {"UTC0", "IST-5:30"};
  std::vector<int> minutes;
  for (const char* zone : zones) {
    setenv("TZ", zone, 1);
    tzset();
    int h = 0;
    int m = 0;
    int s = 0;
    ASSERT_EQ(std::sscanf(logger.GetTimeStamp().c_str(), "[%d:%d:%d]", &h, &m, &s), 3);
    minutes.push_back(h * 60 + m);
  }
  unsetenv("TZ");
  tzset();
  const int ahead = (minutes[1] - minutes[0] + 24 * 60) % (24 * 60);
  EXPECT_GE(ahead, 330);
  EXPECT_LE(ahead, 331);  // a minute may pass between the two
}

TEST(Logger, EmptyMessageIsDropped) {
  const TempDir folder;
  const std::string name = folder.file("report.log");
  Logger logger(name.c_str());
  EXPECT_EQ(consoleOutputOf([&] {
              logger.Log("");
              logger.Log(nullptr);
            }),
            "");
  EXPECT_FALSE(std::filesystem::exists(name));
}

TEST(Logger, InternalLogWritesAnEmptyMessageToo) {
  Logger logger("");
  EXPECT_EQ(withoutTimes(consoleOutputOf([&] { logger.InternalLog(""); })), "[T] \n");
}

TEST(Logger, MessageIsWrittenUnchanged) {
  const TempDir folder;
  const std::string name = folder.file("report.log");
  Logger logger(name.c_str());
  logger.SetOutput(true, false);
  logger.Log("\n\t\t--- %s %d ---\t100 %");
  EXPECT_EQ(withoutTimes(readFile(name)), "[T] \n\t\t--- %s %d ---\t100 %\n");
}

TEST(Logger, ConstructionNeitherCreatesNorEmptiesTheFile) {
  const TempDir folder;
  const std::string present = folder.file("present.log");
  const std::string missing = folder.file("missing.log");
  writeFile(present, "kept\n");
  const Logger onPresent(present.c_str());
  const Logger onMissing(missing.c_str());
  EXPECT_EQ(readFile(present), "kept\n");
  EXPECT_FALSE(std::filesystem::exists(missing));
}

TEST(Logger, TwoLoggersAfterEachOtherAppendToOneFile) {
  const TempDir folder;
  const std::string name = folder.file("report.log");
  {
    Logger first(name.c_str());
    first.SetOutput(true, false);
    first.Log("one");
    first.Log("two");
  }
  Logger second(name.c_str());
  second.SetOutput(true, false);
  second.Log("three");
  EXPECT_EQ(withoutTimes(readFile(name)), "[T] one\n[T] two\n[T] three\n");
}

TEST(Logger, FileIsClosedAfterEveryLine) {
  const TempDir folder;
  const std::string name = folder.file("report.log");
  const std::string moved = folder.file("moved.log");
  Logger logger(name.c_str());
  logger.SetOutput(true, false);
  logger.Log("one");
  std::filesystem::rename(name, moved);
  logger.Log("two");
  EXPECT_EQ(withoutTimes(readFile(moved)), "[T] one\n");
  EXPECT_EQ(withoutTimes(readFile(name)), "[T] two\n");
}

struct OutputCase {
  bool toFile;
  bool toConsole;
};

class LoggerOutput : public testing::TestWithParam<OutputCase> {};

TEST_P(LoggerOutput, FirstSwitchIsTheFileAndSecondTheConsole) {
  const TempDir folder;
  const std::string name = folder.file("report.log");
  Logger logger(name.c_str());
  logger.SetOutput(GetParam().toFile, GetParam().toConsole);
  const std::string console = consoleOutputOf([&] { logger.Log("text"); });
  EXPECT_EQ(withoutTimes(console), GetParam().toConsole ? "[T] text\n" : "");
  EXPECT_EQ(std::filesystem::exists(name), GetParam().toFile);
}

INSTANTIATE_TEST_SUITE_P(AllSwitches, LoggerOutput,
                         testing::Values(OutputCase{false, false}, OutputCase{false, true},
                                         OutputCase{true, false}, OutputCase{true, true}));

TEST(Logger, EmptyFileNameWritesNoFileAndReportsNoError) {
  for (const char* name : {"", static_cast<const char*>(nullptr)}) {
    Logger logger(name);
    EXPECT_EQ(withoutTimes(consoleOutputOf([&] { logger.Log("text"); })), "[T] text\n");
  }
}

TEST(Logger, UnopenableFileIsReportedForEachMessageEvenWithTheConsoleOff) {
  const TempDir folder;
  const std::string name = folder.file("missing/report.log");
  Logger logger(name.c_str());
  logger.SetOutput(true, false);
  const std::string console = consoleOutputOf([&] {
    logger.Log("one");
    logger.Log("two");
  });
  EXPECT_EQ(withoutTimes(console),
            "[T] Error: Unable to open log file.\n[T] Error: Unable to open log file.\n");
}

TEST(Logger, ALineThatADiskHasNoRoomForIsReported) {
  Logger logger("/dev/full");
  logger.SetOutput(true, false);
  EXPECT_EQ(withoutTimes(consoleOutputOf([&] { logger.Log("one"); })),
            "[T] Error: Unable to write to log file.\n");
}

TEST(Logger, NextMessageTriesTheFileAgain) {
  const TempDir folder;
  const std::string name = folder.file("later/report.log");
  Logger logger(name.c_str());
  logger.SetOutput(true, false);
  consoleOutputOf([&] { logger.Log("lost"); });
  std::filesystem::create_directory(folder.path() / "later");
  EXPECT_EQ(consoleOutputOf([&] { logger.Log("kept"); }), "");
  EXPECT_EQ(withoutTimes(readFile(name)), "[T] kept\n");
}

TEST(Logger, SaveToFileAppendsTheLineAsItStands) {
  const TempDir folder;
  const std::string name = folder.file("report.log");
  Logger logger(name.c_str());
  logger.SaveToFile("no newline");
  logger.SaveToFile(", appended");
  EXPECT_EQ(readFile(name), "no newline, appended");
}

TEST(Logger, SetLogFileReplacesTheName) {
  const TempDir folder;
  const std::string first = folder.file("first.log");
  const std::string second = folder.file("second.log");
  Logger logger(first.c_str());
  logger.SetOutput(true, false);
  logger.SetLogFile(second.c_str());
  logger.Log("text");
  logger.SetLogFile(nullptr);
  logger.Log("nowhere");
  EXPECT_FALSE(std::filesystem::exists(first));
  EXPECT_EQ(withoutTimes(readFile(second)), "[T] text\n");
}

TEST(Logger, EmptyLogLeavesTheFilePresentAndEmpty) {
  const TempDir folder;
  const std::string name = folder.file("report.log");
  writeFile(name, "old lines\n");
  Logger logger(name.c_str());
  logger.EmptyLog();
  ASSERT_TRUE(std::filesystem::exists(name));
  EXPECT_EQ(std::filesystem::file_size(name), 0U);
}

TEST(Logger, EmptyLogIsSilentWhenTheFileCannotBeOpened) {
  const TempDir folder;
  Logger onMissingFolder(folder.file("missing/report.log").c_str());
  Logger unnamed("");
  EXPECT_EQ(consoleOutputOf([&] {
              onMissingFolder.EmptyLog();
              unnamed.EmptyLog();
            }),
            "");
}

TEST(Logger, ConsoleSinkTakesThePlaceOfStandardOutput) {
  const TempDir folder;
  Logger logger(folder.file("missing/report.log").c_str());
  std::string taken;
  logger.SetConsole([&](const std::string& line) { taken += line; });
  EXPECT_EQ(consoleOutputOf([&] { logger.Log("text"); }), "");
  EXPECT_EQ(withoutTimes(taken), "[T] text\n[T] Error: Unable to open log file.\n");
  logger.SetConsole({});
  logger.SetOutput(false, true);
  EXPECT_EQ(withoutTimes(consoleOutputOf([&] { logger.Log("back"); })), "[T] back\n");
}

}  // namespace
