#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>

#include "Client.h"

namespace qatest {
namespace {

using nlohmann::json;

/// Something that is no media file.
struct BadInput {
  const char* name;
  /// Makes it in the folder and returns its path.
  std::string (*make)(const TempDir& dir);
  /// What the line on standard error says after the name.
  const char* reason;
};

std::string makeText(const TempDir& dir) {
  writeFile(dir.file("text.mp4"), "This is no film, whatever its name says.\n");
  return dir.file("text.mp4");
}

std::string makeHeadlessMp4(const TempDir& dir) {
  // The index of an mp4 is written last: without its end there is nothing to go by.
  const std::string whole = makeClip(dir, "whole.mp4", {{h264WithBFrames()}, {audio("aac")}});
  return truncatedCopy(dir, "cut.mp4", whole, readFile(whole).size() / 2);
}

std::string makeUnreadable(const TempDir& dir) {
  const std::string clip = goodClip(dir);
  std::filesystem::permissions(clip, std::filesystem::perms::none);
  return clip;
}

std::string makePipe(const TempDir& dir) {
  mkfifo(dir.file("pipe.mov").c_str(), 0666);
  return dir.file("pipe.mov");
}

std::string makeSocket(const TempDir& dir) {
  const std::string path = dir.file("socket.mov");
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  EXPECT_EQ(bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  close(fd);
  return path;
}

constexpr const char* kInvalid =
    "cannot be opened as a media file: Invalid data found when processing input";

const BadInput kOpenable[] = {
    {"Missing", [](const TempDir& dir) { return dir.file("none.mov"); },
     "No such file or directory"},
    {"InAMissingFolder", [](const TempDir& dir) { return dir.file("none/a.mov"); },
     "No such file or directory"},
    {"BehindAFile", [](const TempDir& dir) { return makeText(dir) + "/a.mov"; }, "Not a directory"},
    {"Directory", [](const TempDir& dir) { return dir.path().string(); }, "is a directory"},
    {"Empty",
     [](const TempDir& dir) {
       writeFile(dir.file("empty.mov"), "");
       return dir.file("empty.mov");
     },
     "is empty"},
    {"TextNamedMp4", makeText, kInvalid},
    {"Mp4WithoutIndex", makeHeadlessMp4, kInvalid},
    {"WithoutPermission", makeUnreadable, "Permission denied"},
};

const BadInput kSpecial[] = {
    {"Pipe", makePipe, "is not a regular file"},
    {"Device", [](const TempDir&) { return std::string("/dev/zero"); }, "is not a regular file"},
    {"Socket", makeSocket, "is not a regular file"},
    {"StandardInput", [](const TempDir&) { return std::string("-"); },
     "standard input cannot be tested, only files"},
};

Finished runOn(const std::string& path, const Arguments& options = {}) {
  Arguments arguments = options;
  arguments.push_back(path);
  Command command = client(arguments);
  command.obeyPermissions = true;
  return run(command);
}

class BadInputs : public testing::TestWithParam<BadInput> {};

TEST_P(BadInputs, GetOneLineWithNameAndReasonAndNoTable) {
  const TempDir dir;
  const std::string path = GetParam().make(dir);
  const Finished end = runOn(path);
  EXPECT_EQ(end.err, "qatester: " + path + ": " + GetParam().reason + "\n");
  EXPECT_EQ(end.out, "");
  EXPECT_EQ(end.code, 2);
}

TEST_P(BadInputs, AreErrorsInTheReport) {
  const TempDir dir;
  const std::string path = GetParam().make(dir);
  const json file = onlyFile(json::parse(runOn(path, {"--json", "-"}).out));
  EXPECT_EQ(file.at("file"), path);
  EXPECT_EQ(file.at("error"), GetParam().reason);
  std::vector<std::string> names;
  for (const json& check : file.at("checks")) {
    names.push_back(check.at("name"));
    EXPECT_EQ(check.at("state"), "not-measured") << check;
    EXPECT_EQ(check.at("reason"), GetParam().reason) << check;
    EXPECT_EQ(check.at("messages"), json::array()) << check;
  }
  EXPECT_EQ(names, checkNames());
}

std::string nameOf(const testing::TestParamInfo<BadInput>& tested) {
  return tested.param.name;
}

INSTANTIATE_TEST_SUITE_P(Openable, BadInputs, testing::ValuesIn(kOpenable), nameOf);
INSTANTIATE_TEST_SUITE_P(Special, BadInputs, testing::ValuesIn(kSpecial), nameOf);

class OpenableInputs : public testing::TestWithParam<BadInput> {};

TEST_P(OpenableInputs, LeaveTheLibrarysWordsInTheLog) {
  const TempDir dir;
  const TempDir logs;
  const std::string path = GetParam().make(dir);
  runOn(path, {"--log", logs.file("qa.log")});
  const std::string log = readFile(logs.file("qa.log"));
  EXPECT_NE(log.find("] QATester can't open the file '" + path + ".\n"), std::string::npos) << log;
  EXPECT_NE(log.find("] QAFramerate: Failed to load file...\n"), std::string::npos) << log;
}

TEST_P(OpenableInputs, KeepTheRecordsOfChecksThatCouldNotRun) {
  const TempDir dir;
  const std::string path = GetParam().make(dir);
  const json checks =
      onlyFile(json::parse(runOn(path, {"--json", "-", "--checks", "valid,frame-rate"}).out))
          .at("checks");
  EXPECT_EQ(checks.at(0).at("result"), (json{{"valid", false}}));
  const json expected{{"passed", false}, {"declaredFps", 0.0}, {"measuredFps", 0.0}};
  EXPECT_EQ(fieldsLike(expected, checks.at(1).at("result")), expected);
}

INSTANTIATE_TEST_SUITE_P(Openable, OpenableInputs, testing::ValuesIn(kOpenable), nameOf);

TEST(BadInput, OfSeveralFilesIsNamedInTheSummaryToo) {
  const TempDir dir;
  const std::string good = goodClip(dir);
  const std::string text = makeText(dir);
  const Finished end = runClient({"--checks", "valid", text, good, dir.file("none.mov")});
  EXPECT_EQ(end.err, "qatester: " + text + ": " + kInvalid + "\nqatester: " + dir.file("none.mov") +
                         ": No such file or directory\n");
  EXPECT_EQ(end.out, good +
                         "\n  verdict: pass\n  valid  pass\n\n"
                         "3 files: 1 passed, 2 could not be read or measured\n"
                         "  not-measured  text.mp4\n"
                         "  not-measured  none.mov\n");
  EXPECT_EQ(end.code, 2);
}

TEST(BadInput, AFileCutInItsMiddleIsMeasuredAsFarAsItGoes) {
  const TempDir dir;
  const json file = onlyFile(reportOf({"--checks", "frame-rate", cutClip(dir)}));
  EXPECT_FALSE(file.contains("error"));
  const json check = file.at("checks").at(0);
  EXPECT_EQ(check.at("state"), "fail");
  EXPECT_FALSE(check.at("progress").empty());
  EXPECT_LT(check.at("progress").back(), 99);
}

}  // namespace
}  // namespace qatest
