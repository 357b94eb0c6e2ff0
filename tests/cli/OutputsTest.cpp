#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "Client.h"
#include "tester/QACheck.h"

namespace qatest {
namespace {

using nlohmann::json;
namespace fs = std::filesystem;

constexpr const char* kOldReport = "an older report";

Finished runObedient(const Arguments& arguments) {
  Command command = client(arguments);
  command.obeyPermissions = true;
  return run(command);
}

/// An output that cannot be: nothing is run, nothing is printed but one line.
void expectRefusal(const Arguments& arguments, const std::string& line) {
  const Finished end = runObedient(arguments);
  EXPECT_EQ(end.err, "qatester: " + line + "\n");
  EXPECT_EQ(end.out, "");
  EXPECT_EQ(end.code, 2);
}

class Outputs : public testing::Test {
 protected:
  json written(const std::string& name) const { return json::parse(readFile(dir_.file(name))); }

  TempDir clips_;
  std::string clip_ = goodClip(clips_);
  TempDir dir_;
};

TEST_F(Outputs, AnUnwritableReportIsToldBeforeTheWork) {
  const std::string missing = dir_.file("none/report.json");
  expectRefusal({"--json", missing, clip_},
                "cannot write the report " + missing + ": No such file or directory");
  const std::string folder = dir_.path().string();
  expectRefusal({"--json", folder, clip_},
                "cannot write the report " + folder + ": Is a directory");
  EXPECT_TRUE(filesIn(dir_).empty());
}

TEST_F(Outputs, AReportInAFolderWithoutPermissionIsToldBeforeTheWork) {
  fs::permissions(dir_.path(), fs::perms::owner_read | fs::perms::owner_exec);
  const std::string report = dir_.file("report.json");
  expectRefusal({"--json", report, clip_},
                "cannot write the report " + report + ": Permission denied");
  fs::permissions(dir_.path(), fs::perms::owner_all);
}

TEST_F(Outputs, AReportThatMayNotBeReplacedStays) {
  const std::string report = dir_.file("report.json");
  writeFile(report, kOldReport);
  fs::permissions(report, fs::perms::owner_read);
  expectRefusal({"--json", report, clip_},
                "cannot write the report " + report + ": Permission denied");
  EXPECT_EQ(readFile(report), kOldReport);
}

TEST_F(Outputs, AnUnwritableLogIsToldBeforeTheWork) {
  const std::string missing = dir_.file("none/qa.log");
  expectRefusal({"--log", missing, clip_},
                "cannot write the log " + missing + ": No such file or directory");
  const std::string folder = dir_.path().string();
  expectRefusal({"--log", folder, clip_}, "cannot write the log " + folder + ": Is a directory");
  EXPECT_TRUE(filesIn(dir_).empty());
}

TEST_F(Outputs, ARunThatDoesNotBeginLeavesTheOldReportAndNothingElse) {
  const std::string report = dir_.file("report.json");
  writeFile(report, kOldReport);
  EXPECT_EQ(runClient({"--json", report, "--log", dir_.file("none/qa.log"), clip_}).code, 2);
  EXPECT_EQ(readFile(report), kOldReport);
  EXPECT_EQ(filesIn(dir_), std::vector<std::string>{"report.json"});
}

TEST_F(Outputs, AReportReplacesAnOlderOne) {
  const std::string report = dir_.file("report.json");
  writeFile(report, kOldReport);
  EXPECT_EQ(runClient({"--json", report, clip_}).code, 0);
  EXPECT_EQ(onlyFile(written("report.json")).at("file"), clip_);
}

TEST_F(Outputs, AReportGoesThroughALink) {
  writeFile(dir_.file("real.json"), kOldReport);
  fs::create_symlink("real.json", dir_.file("link.json"));
  EXPECT_EQ(runClient({"--json", dir_.file("link.json"), clip_}).code, 0);
  EXPECT_TRUE(fs::is_symlink(dir_.file("link.json")));
  EXPECT_EQ(onlyFile(written("real.json")).at("file"), clip_);
}

TEST_F(Outputs, AReportInTheCurrentFolderNeedsNoPath) {
  const fs::path before = fs::current_path();
  fs::current_path(dir_.path());
  EXPECT_EQ(runClient({"--json", "report.json", clip_}).code, 0);
  fs::current_path(before);
  EXPECT_EQ(filesIn(dir_), std::vector<std::string>{"report.json"});
}

TEST_F(Outputs, AReportHasTheModeThatOtherFilesGet) {
  const mode_t before = umask(027);
  runClient({"--json", dir_.file("report.json"), clip_});
  umask(before);
  struct stat status {};
  ASSERT_EQ(stat(dir_.file("report.json").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0640U);
}

TEST_F(Outputs, AFullDiskIsTold) {
  const Finished end = runClient({"--json", "/dev/full", clip_});
  EXPECT_EQ(end.err, "qatester: cannot write the report /dev/full: No space left on device\n");
  EXPECT_EQ(end.out, runClient({clip_}).out);
  EXPECT_EQ(end.code, 2);
}

TEST_F(Outputs, ADeviceIsWrittenAndStaysOne) {
  EXPECT_EQ(runClient({"--json", "/dev/null", clip_}).code, 0);
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST_F(Outputs, APipeIsWritten) {
  const std::string pipe = dir_.file("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK);
  const Finished end = runClient({"--json", pipe, clip_});
  std::string text(1 << 16, '\0');
  const ssize_t count = read(reader, text.data(), text.size());
  close(reader);
  ASSERT_GT(count, 0);
  text.resize(static_cast<std::size_t>(count));
  EXPECT_EQ(onlyFile(json::parse(text)).at("file"), clip_);
  EXPECT_TRUE(fs::is_fifo(pipe));
  EXPECT_EQ(end.code, 0);
}

TEST_F(Outputs, StandardOutputByItsDeviceNameIsStandardOutput) {
  const Finished end = runClient({"-q", "--json", "/dev/stdout", clip_});
  EXPECT_EQ(onlyFile(json::parse(end.out)).at("file"), clip_);
}

TEST_F(Outputs, AnInputIsNeverWrittenTo) {
  const std::string content = readFile(clip_);
  expectRefusal({"--json", clip_, clip_}, clip_ + " cannot be both read and written");
  expectRefusal({"--log", clip_, clip_}, clip_ + " cannot be both read and written");
  EXPECT_EQ(readFile(clip_), content);
  const std::string settings = dir_.file("qa.settings");
  writeFile(settings, "a=b\n");
  expectRefusal({"--settings", settings, "--log", settings, clip_},
                settings + " cannot be both read and written");
  EXPECT_EQ(readFile(settings), "a=b\n");
}

/// The options of all reports, with names in a folder, for a run of one file.
Arguments allReports(const TempDir& dir) {
  return {"--json",       dir.file("report.json"),   "--junit",  dir.file("report.xml"),
          "--csv",        dir.file("files.csv"),     "--edl",    dir.file("marks.edl"),
          "--csv-events", dir.file("events.csv"),    "--series", dir.file("series.csv.gz"),
          "--qctools",    dir.file("qctools.xml.gz")};
}

const std::vector<std::string> kAllReports = {"events.csv",     "files.csv",   "marks.edl",
                                              "qctools.xml.gz", "report.json", "report.xml",
                                              "series.csv.gz"};

TEST_F(Outputs, AllReportsOfARunAreWritten) {
  Arguments arguments = allReports(dir_);
  arguments.insert(arguments.end(), {"--profile", "general", clip_});
  const Finished end = runClient(arguments);
  EXPECT_EQ(end.err, "");
  EXPECT_EQ(end.code, 0);
  EXPECT_EQ(filesIn(dir_), kAllReports);
  const json file = onlyFile(written("report.json"));
  std::size_t events = 0;
  for (const json& check : file.at("checks")) {
    events += check.at("events").size();
    for (const std::string key : findCheck(check.at("name").get<std::string>())->figures) {
      const std::size_t dot = key.find('.');
      const json value = check.at("result").at(key.substr(0, dot));
      EXPECT_TRUE(dot == key.npos ? value.is_number() || value.is_null()
                                  : value.at(0).contains(key.substr(dot + 1)))
          << "what a row names is there: " << key;
    }
  }
  EXPECT_EQ(linesOf(readFile(dir_.file("events.csv"))).size(), 1 + events);
  const std::vector<std::string> lines = linesOf(readFile(dir_.file("files.csv")));
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[1].rfind(clip_ + "," + file.at("verdict").get<std::string>() + ",general,", 0),
            0U);
  EXPECT_EQ(readFile(dir_.file("marks.edl")).rfind("TITLE: good.mkv\r\n", 0), 0U);
  EXPECT_NE(readFile(dir_.file("report.xml"))
                .find("<testsuite name=\"" + clip_ + "\" tests=\"" +
                      std::to_string(file.at("checks").size())),
            std::string::npos);
}

TEST_F(Outputs, AReportThatCannotBeWrittenCostsNoOther) {
  fs::create_directory(dir_.file("closed"));
  fs::permissions(dir_.file("closed"), fs::perms::owner_read | fs::perms::owner_exec);
  const std::string missing = dir_.file("none/report.xml");
  const std::string closed = dir_.file("closed/files.csv");
  const Finished end = runObedient({"--json", dir_.file("report.json"), "--junit", missing, "--csv",
                                    closed, "--csv-events", "/dev/full", "--edl",
                                    dir_.file("marks.edl"), "--checks", "streams", clip_});
  EXPECT_EQ(linesOf(end.err),
            (std::vector<std::string>{
                "qatester: cannot write the report " + missing + ": No such file or directory",
                "qatester: cannot write the report " + closed + ": Permission denied",
                "qatester: cannot write the report /dev/full: No space left on device"}));
  EXPECT_EQ(end.code, 2);
  EXPECT_NE(end.out, "");
  EXPECT_EQ(filesIn(dir_), (std::vector<std::string>{"closed", "marks.edl", "report.json"}));
  EXPECT_EQ(onlyCheck(written("report.json")).at("state"), "pass");
}

TEST_F(Outputs, WhereNoReportCanBeWrittenNothingIsRun) {
  const Finished end = runClient({"--junit", dir_.file("none/a.xml"), "--csv",
                                  dir_.file("none/a.csv"), "--edl", clip_ + "/", clip_});
  EXPECT_EQ(linesOf(end.err),
            (std::vector<std::string>{
                "qatester: cannot write the report " + dir_.file("none/a.xml") +
                    ": No such file or directory",
                "qatester: cannot write the report " + dir_.file("none/a.csv") +
                    ": No such file or directory",
                "qatester: cannot write the report " + clip_ + "/: Not a directory"}));
  EXPECT_EQ(end.out, "");
  EXPECT_EQ(end.code, 2);
}

TEST_F(Outputs, NoTwoAreOneFile) {
  const fs::path before = fs::current_path();
  fs::current_path(dir_.path());
  expectRefusal({"--json", "a", "--csv", "./a", clip_},
                "./a cannot be written by both --json and --csv");
  writeFile("log", "before\n");
  fs::create_symlink("log", "link");
  expectRefusal({"--log", "log", "--edl", dir_.file("link"), clip_},
                dir_.file("link") + " cannot be written by both --log and --edl");
  expectRefusal({"--junit", "1-good.mkv.edl", "--edl", "./", clip_},
                "./1-good.mkv.edl cannot be written by both --junit and --edl");
  fs::current_path(before);
  EXPECT_EQ(readFile(dir_.file("log")), "before\n");
  EXPECT_EQ(
      runClient({"--json", "/dev/null", "--csv", "/dev/null", "--checks", "valid", clip_}).code, 0);
}

TEST_F(Outputs, AnyReportMayGoToStandardOutput) {
  for (const auto& [option, start] :
       {std::pair("--junit", "<?xml version=\"1.0\""), std::pair("--csv", "file,verdict,profile,"),
        std::pair("--csv-events", "file,check,state,"),
        std::pair("--edl", "TITLE: good.mkv\r\n")}) {
    const Finished end = runClient({option, "-", "--checks", "streams", clip_});
    EXPECT_EQ(end.out.rfind(start, 0), 0U) << end.out;
    EXPECT_NE(end.err.find("  streams  pass"), std::string::npos) << "the table goes there";
    EXPECT_EQ(end.code, 0);
  }
}

TEST_F(Outputs, ListsOfSeveralFilesGoToAFolder) {
  const std::string sound = soundClip(clips_);
  const std::string marks = dir_.file("marks");
  const Finished end = runClient({"-q", "--csv", dir_.file("files.csv"), "--edl", marks, "--checks",
                                  "streams", sound, clip_, clips_.file("none")});
  EXPECT_EQ(
      linesOf(end.err),
      (std::vector<std::string>{"qatester: cannot write the report " + marks +
                                    "/1-sound.wav.edl: " + sound + ": no video stream",
                                "qatester: " + clips_.file("none") + ": No such file or directory",
                                "qatester: cannot write the report " + marks + "/3-none.edl: " +
                                    clips_.file("none") + ": it could not be read"}));
  EXPECT_EQ(end.code, 2);
  EXPECT_EQ(linesOf(readFile(dir_.file("files.csv"))).size(), 4U);
  EXPECT_EQ(std::distance(fs::directory_iterator(marks), {}), 1);
  EXPECT_EQ(readFile(marks + "/2-good.mkv.edl").rfind("TITLE: good.mkv\r\n", 0), 0U);
}

TEST_F(Outputs, ListsInAFolderReplaceNoInput) {
  const std::string input = dir_.file("1-good.mkv.edl");
  fs::copy_file(clip_, input);
  const std::string content = readFile(input);
  expectRefusal({"--edl", dir_.path().string(), "--checks", "streams", clip_, input},
                input + " cannot be both read and written");
  EXPECT_EQ(readFile(input), content);
}

TEST_F(Outputs, TheLogHasAHeaderPerFileAndGrows) {
  const std::string log = dir_.file("qa.log");
  const std::string second = goodClip(clips_, "second.mkv");
  writeFile(log, "before\n");
  EXPECT_EQ(runClient({"--log", log, "--checks", "frame-rate", clip_, second}).code, 0);
  const std::string text = readFile(log);
  EXPECT_EQ(text.rfind("before\n", 0), 0U);
  const std::size_t first = text.find("Testing File:\t" + clip_ + "\n");
  const std::size_t other = text.find("Testing File:\t" + second + "\n");
  ASSERT_NE(first, std::string::npos);
  ASSERT_NE(other, std::string::npos);
  EXPECT_LT(first, text.find("QAFramerate: Test Complete.\n"));
  EXPECT_LT(text.find("QAFramerate: Test Complete.\n"), other);
}

TEST_F(Outputs, ALogThatIsTakenAwayIsToldOnce) {
  fs::create_directory(dir_.file("logs"));
  Process process(client(
      {"--pauses", "fixed", "--log", dir_.file("logs/qa.log"), "--checks", "frame-rate", clip_}));
  while (readFile(dir_.file("logs/qa.log")).find("Buffering...") == std::string::npos) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  fs::remove_all(dir_.file("logs"));
  process.signal(SIGINT);
  EXPECT_EQ(process.wait().err, "qatester: Error: Unable to open log file.\nqatester: stopped\n");
}

TEST_F(Outputs, ATableThatCannotBeWrittenIsToldAndCostsNothingElse) {
  Command command = client({"--json", dir_.file("report.json"), clip_});
  command.out = Sink::closed;
  const Finished end = run(command);
  EXPECT_EQ(end.code, 2);
  EXPECT_EQ(end.err.rfind("qatester: cannot write to standard output: ", 0), 0U) << end.err;
  EXPECT_EQ(onlyFile(written("report.json")).at("checks").size(), checkNames().size());
  EXPECT_EQ(filesIn(dir_), std::vector<std::string>{"report.json"});
}

TEST_F(Outputs, AReaderOfTheTableThatHasSeenEnoughIsNoTrouble) {
  const std::string bad = fastClip(clips_);
  Command command = client({"--json", dir_.file("report.json"), "--log", dir_.file("qa.log"),
                            "--checks", "frame-rate", clip_, bad});
  command.out = Sink::gone;
  const Finished end = run(command);
  EXPECT_EQ(end.err, "");
  EXPECT_EQ(end.code, 1) << "as the second file fails";
  EXPECT_EQ(written("report.json").at("files").size(), 2U);
  EXPECT_NE(readFile(dir_.file("qa.log")).find("Testing File:\t" + bad + "\n"), std::string::npos);
}

TEST_F(Outputs, AReaderOfTheTableOnStandardErrorMayGoToo) {
  Command command = client({"--json", "-", "--checks", "frame-rate", clip_});
  command.err = Sink::gone;
  const Finished end = run(command);
  EXPECT_EQ(onlyCheck(json::parse(end.out)).at("state"), "pass");
  EXPECT_EQ(end.code, 0);
}

TEST_F(Outputs, AProgressBarEndsWithTheReaderOfTheTable) {
  Command command = client({"--checks", "frame-rate", clip_, clip_});
  command.out = Sink::gone;
  command.err = Sink::terminal;
  command.environment = {{"TERM", "xterm"}};
  EXPECT_EQ(run(command).err.find("2/2"), std::string::npos);
}

TEST_F(Outputs, AReaderOfTheHelpThatHasSeenEnoughIsNoTrouble) {
  for (const char* option : {"--help", "--list-checks", "--list-settings", "--version"}) {
    Command command = client({option});
    command.out = Sink::gone;
    const Finished end = run(command);
    EXPECT_EQ(end.err, "");
    EXPECT_EQ(end.code, 0) << option;
  }
}

TEST_F(Outputs, AReportOnAClosedStandardOutputIsTold) {
  Command command = client({"-q", "--json", "-", clip_});
  command.out = Sink::gone;
  const Finished end = run(command);
  EXPECT_EQ(end.code, 2);
  EXPECT_EQ(linesOf(end.err).size(), 1U) << end.err;
}

TEST_F(Outputs, AClosedStandardErrorHarmsNothing) {
  Command command = client({"--json", dir_.file("report.json"), clip_, dir_.file("missing")});
  command.err = Sink::closed;
  EXPECT_EQ(run(command).code, 2);
  EXPECT_EQ(written("report.json").at("files").size(), 2U);
}

TEST_F(Outputs, ATableLostWithStandardErrorExitsWith2) {
  Command command = client({"--json", "-", clip_});
  command.err = Sink::closed;
  const Finished end = run(command);
  EXPECT_EQ(onlyFile(json::parse(end.out)).at("file"), clip_);
  EXPECT_EQ(end.code, 2);
}

TEST_F(Outputs, NothingButTheTableIsOnStandardOutput) {
  const Finished end = runClient({"--log", dir_.file("qa.log"), clip_});
  EXPECT_EQ(end.out.find("QA"), std::string::npos) << end.out;
  EXPECT_EQ(end.out, runClient({clip_}).out);
}

}  // namespace
}  // namespace qatest
