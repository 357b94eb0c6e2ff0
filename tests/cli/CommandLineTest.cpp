#include <gtest/gtest.h>

#include <filesystem>

#include "Client.h"
#include "tester/QACheck.h"

namespace qatest {
namespace {

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

struct Misuse {
  const char* name;
  Arguments arguments;
  std::vector<std::string> told;
};

/// The unknown name, and all that are known.
std::vector<std::string> unknownHue() {
  std::vector<std::string> told = checkNames();
  told.push_back("'hue'");
  return told;
}

class UsageError : public testing::TestWithParam<Misuse> {};

TEST_P(UsageError, IsToldAndExitsWith2) {
  const Finished end = runClient(GetParam().arguments);
  EXPECT_EQ(end.code, 2);
  EXPECT_EQ(end.out, "");
  const std::vector<std::string> lines = linesOf(end.err);
  ASSERT_EQ(lines.size(), 2U) << end.err;
  EXPECT_EQ(lines[0].rfind("qatester: ", 0), 0U);
  EXPECT_EQ(lines[1], "Try 'qatester --help' for more information.");
  for (const std::string& part : GetParam().told) {
    EXPECT_TRUE(contains(lines[0], part)) << lines[0];
  }
}

INSTANTIATE_TEST_SUITE_P(
    CommandLine, UsageError,
    testing::Values(
        Misuse{"NoFile", {}, {"no file given"}},
        Misuse{"OptionsButNoFile", {"--checks", "valid"}, {"no file given"}},
        Misuse{"UnknownOption", {"--frobnicate", "a.mov"}, {"--frobnicate"}},
        Misuse{"UnknownCheck", {"--checks", "valid,hue", "a.mov"}, unknownHue()},
        Misuse{"EmptyCheckInTheList", {"--checks", "valid,,frame-rate", "a.mov"}, {"unknown"}},
        Misuse{"EmptyList", {"--checks", "", "a.mov"}, {"--checks"}},
        Misuse{"CheckNamedTwice", {"--checks", "valid,valid", "a.mov"}, {"'valid'", "twice"}},
        Misuse{"UnknownPauses", {"--pauses", "none", "a.mov"}, {"--pauses", "fixed", "ready"}},
        Misuse{"UnknownLookup", {"--lookup", "all", "a.mov"}, {"--lookup", "stored", "defaults"}},
        Misuse{"UnknownPasses", {"--passes", "two", "a.mov"}, {"--passes", "one", "each"}},
        Misuse{"UnknownTable", {"--table", "long", "a.mov"}, {"--table", "full", "short"}},
        Misuse{"NegativeThreads", {"--threads", "-1", "a.mov"}, {"--threads"}},
        Misuse{"ThreadsThatAreNoNumber", {"--threads", "all", "a.mov"}, {"--threads"}},
        Misuse{"UnknownProfile",
               {"--profile", "none.settings", "a.mov"},
               {"'none.settings'", "general, archive, atsc-a85, broadcast-hd, classic",
                "No such file"}},
        Misuse{"AFolderAsProfile", {"--profile", "/", "a.mov"}, {"'/'", "is a directory"}},
        Misuse{"EmptyProfile", {"--profile", "", "a.mov"}, {"--profile"}},
        Misuse{"UnknownProfileToShow", {"--show-profile", "none"}, {"'none'", "general, archive"}},
        Misuse{"SettingWithoutSign", {"--set", "GamutMax", "a.mov"}, {"--set", "no '='"}},
        Misuse{"SettingOfNoKey",
               {"--set", "GamutMaxx=9", "a.mov"},
               {"--set: 'GamutMaxx' is no key, perhaps GamutMax"}},
        Misuse{"SettingOutOfRange",
               {"--set", "GamutMax=9", "--set", "TearingFrameChecks=0", "a.mov"},
               {"--set: TearingFrameChecks: '0' is out of range (at least 1)"}},
        Misuse{"SettingOfNoSeverity",
               {"--set", "Severity.gamut=loud", "a.mov"},
               {"--set: Severity.gamut: 'loud' is no severity (off, info, warn, fail)"}},
        Misuse{"SettingWithoutValue", {"--set", "GamutMax=", "a.mov"}, {"GamutMax: no value"}},
        Misuse{"MissingValue", {"a.mov", "--json"}, {"--json"}},
        Misuse{"EmptyReportName", {"--json", "", "a.mov"}, {"--json", "empty file name"}},
        Misuse{"TwoReportsOnStandardOutput",
               {"--csv", "-", "--json", "/dev/stdout", "a.mov"},
               {"--json and --csv cannot both be standard output"}},
        Misuse{"OneListOfSeveralFiles",
               {"--edl", "a.edl", "a.mov", "b.mov"},
               {"--edl a.edl: it is of one file; of several it must be a folder"}},
        Misuse{"ListsOfSeveralFilesOnStandardOutput",
               {"--edl", "-", "a.mov", "b.mov"},
               {"--edl -: it is of one file"}},
        Misuse{"EmptyLogName", {"--log", "", "a.mov"}, {"--log", "empty file name"}},
        Misuse{"EmptyFolderName", {"--displays", "", "a.mov"}, {"--displays", "empty file name"}},
        Misuse{"WindowsAndPictures",
               {"--visual", "--displays", "shots", "a.mov"},
               {"--visual and --displays exclude each other"}},
        Misuse{"EmptySettingsName", {"--settings", "", "a.mov"}, {"--settings", "empty"}}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST(CommandLine, HelpTellsOptionsExitCodesAndAnExample) {
  const Finished end = runClient({"--help"});
  EXPECT_EQ(end.code, 0);
  EXPECT_EQ(end.err, "");
  for (const char* part : {"Usage: qatester [options] FILE...\n",
                           "--checks LIST",
                           "--settings FILE",
                           "--log FILE",
                           "--json FILE",
                           "--junit FILE",
                           "--csv FILE",
                           "--csv-events FILE",
                           "--edl FILE",
                           "--pauses fixed|ready",
                           "--passes each|one",
                           "--list-settings",
                           "--list-profiles",
                           "--show-profile NAME",
                           "--profile NAME",
                           "--set KEY=VALUE",
                           "--threads N",
                           "--warnings-fail",
                           "--table full|short",
                           "--lookup defaults|stored",
                           "--visual",
                           "--displays DIR",
                           "--list-checks",
                           "--version",
                           "--help",
                           "-q",
                           "-v",
                           "Exit code:\n  0 ",
                           "\n  1 ",
                           "\n  2 ",
                           "\n  130 ",
                           "Example:\n  qatester --profile"}) {
    EXPECT_TRUE(contains(end.out, part)) << part;
  }
}

TEST(CommandLine, HelpFitsAScreen) {
  const std::vector<std::string> lines = linesOf(runClient({"--help"}).out);
  EXPECT_LE(lines.size(), 48U);
  for (const std::string& line : lines) {
    EXPECT_LE(line.size(), 80U) << line;
  }
}

TEST(CommandLine, ListsTheChecks) {
  const Finished end = runClient({"--list-checks"});
  EXPECT_EQ(end.code, 0);
  const std::vector<std::string> lines = linesOf(end.out);
  ASSERT_EQ(lines.size(), allChecks().size());
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const QACheck& check = *allChecks()[i];
    EXPECT_EQ(lines[i].rfind(check.name + std::string("  "), 0), 0U) << lines[i];
    EXPECT_TRUE(contains(lines[i], getFamilyText(check.family))) << lines[i];
    EXPECT_TRUE(contains(lines[i], check.question)) << lines[i];
  }
}

TEST(CommandLine, TellsVersions) {
  const Finished end = runClient({"--version"});
  EXPECT_EQ(end.code, 0);
  const std::vector<std::string> lines = linesOf(end.out);
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines[0], std::string("qatester ") + QATESTER_EXPECTED_VERSION);
  for (const char* library : {"FFmpeg ", "libavformat ", "libavcodec ", "libavutil ", "libswscale ",
                              "Boost ", "nlohmann-json ", "pugixml 1.", "CLI11 "}) {
    EXPECT_TRUE(contains(end.out, std::string("\n") + library)) << library;
  }
}

TEST(CommandLine, ListMayHoldBlanks) {
  const TempDir dir;
  EXPECT_EQ(runClient({"--checks", "frame-rate, valid", goodClip(dir)}).code, 0);
}

TEST(CommandLine, OptionsMayFollowFiles) {
  const TempDir dir;
  const std::string clip = goodClip(dir);
  EXPECT_EQ(runClient({clip, "--checks", "valid"}).out,
            clip + "\n  verdict: pass\n  valid  pass\n");
}

TEST(CommandLine, NamesMayLookLikeOptionsOrLists) {
  const TempDir dir;
  const std::string clip = goodClip(dir);
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(dir.path());
  for (const char* name : {"-v", "[a,b]", "http:x.mkv", "--"}) {
    std::filesystem::copy_file(clip, dir.file(name));
    const Finished end = runClient({"--checks", "valid,frame-rate", "--", name});
    EXPECT_EQ(end.code, 0) << name << end.out << end.err;
  }
  std::filesystem::current_path(before);
}

TEST(CommandLine, StoredSettingsCountAndDefaultsDoNot) {
  const TempDir dir;
  const std::string clip = fastClip(dir);
  const std::string settings = dir.file("qa.settings");
  writeFile(settings, "# fewer frames\nFrameRateFrameChecks = 10\n");
  const Arguments common{"--checks", "frame-rate", "--settings", settings};
  const auto checkWith = [&](const Arguments& more) {
    Arguments all = common;
    all.insert(all.end(), more.begin(), more.end());
    return onlyCheck(reportOf(all));
  };
  const nlohmann::json ten = checkWith({clip});
  EXPECT_EQ(ten.at("progress"), nlohmann::json(percents(10, 10)));
  EXPECT_EQ(ten.at("result").at("measuredFps").get<float>(), fastClipRate(10));
  EXPECT_EQ(checkWith({"--lookup", "stored", clip}).at("result"), ten.at("result"));
  const nlohmann::json byDefault = checkWith({"--lookup", "defaults", clip});
  EXPECT_EQ(byDefault.at("progress"), nlohmann::json(percents(kFastClipBudget, kFastClipBudget)));
}

TEST(CommandLine, SettingsThatCannotBeReadEndTheRunBeforeItBegins) {
  const TempDir dir;
  const std::string clip = goodClip(dir);
  const Finished missing = runClient({"--settings", dir.file("none"), clip});
  EXPECT_EQ(missing.code, 2);
  EXPECT_EQ(missing.out, "");
  EXPECT_EQ(missing.err, "qatester: cannot read the settings " + dir.file("none") +
                             ": No such file or directory\n");
  const Finished folder = runClient({"--settings", dir.path().string(), clip});
  EXPECT_EQ(folder.code, 2);
  EXPECT_EQ(folder.err,
            "qatester: cannot read the settings " + dir.path().string() + ": is a directory\n");
}

TEST(CommandLine, AnEmptySettingsFileIsFine) {
  const TempDir dir;
  writeFile(dir.file("empty"), "");
  EXPECT_EQ(runClient({"--settings", dir.file("empty"), goodClip(dir)}).code, 0);
}

TEST(CommandLine, VerboseShowsTheLogOnStandardError) {
  const TempDir dir;
  const std::string clip = goodClip(dir);
  const Finished end = runClient({"-v", "--checks", "frame-rate", clip});
  EXPECT_TRUE(contains(end.err, "] QAFramerate: Beginning Test.\n")) << end.err;
  EXPECT_TRUE(contains(end.err, "] Testing File:\t" + clip + "\n"));
  EXPECT_EQ(linesOf(withoutHeads(end.out)).size(), 2U) << end.out;
}

}  // namespace
}  // namespace qatest
