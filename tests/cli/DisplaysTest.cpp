#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "Client.h"

namespace qatest {
namespace {

namespace fs = std::filesystem;

constexpr const char* kSkipped = "qatester: no window system is available: displays are skipped\n";

std::vector<std::string> sortedNames(const fs::path& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

class Displays : public testing::Test {
 protected:
  Displays() {
    writeFile(settings_,
              "QATesterSlateSeconds=0\nChromaFrameChecks=2\nGamutFrameChecks=2\n"
              "MonoFrameChecks=2\nPhaseFrameChecks=2\n");
  }

  Arguments with(Arguments more) const {
    more.insert(more.begin(), {"--checks", "chroma,gamut,mono,phase", "--settings", settings_});
    return more;
  }

  /// A run on a machine without windows.
  static Finished runBlind(const Arguments& arguments) {
    Command command = client(arguments);
    command.environment = {{"DISPLAY", ""}, {"QT_QPA_PLATFORM", ""}};
    return run(command);
  }

  TempDir dir_;
  std::string settings_ = dir_.file("qa.settings");
  std::string clip_ = goodClip(dir_, "a.mkv");
  std::string shots_ = dir_.file("made/shots");
  const std::vector<std::string> names_{"CIE1931-Display-00000.png", "CIE1931-Display-00001.png",
                                        "Diamond-Display-00000.png", "Diamond-Display-00001.png",
                                        "Mono-Check-00000.png",      "Mono-Check-00001.png",
                                        "Phase-Check-00000.png",     "Phase-Check-00001.png",
                                        "YCbCr-Display-00000.png",   "YCbCr-Display-00001.png"};
};

TEST_F(Displays, OfOneFileLieInTheFolderWhichIsMade) {
  const Finished plain = runClient(with({clip_}));
  const Finished end = runClient(with({"--displays", shots_, clip_}));
  EXPECT_EQ(sortedNames(shots_), names_);
  EXPECT_EQ(end.out, plain.out);
  EXPECT_EQ(end.err, "");
  EXPECT_EQ(end.code, plain.code);
}

TEST_F(Displays, OfSeveralFilesLieInAFolderEach) {
  fs::create_directory(dir_.file("other"));
  const std::string sameName = goodClip(dir_, "other/a.mkv");
  const Finished end =
      runClient(with({"--displays", shots_, clip_, dir_.file("missing.mkv"), sameName}));
  EXPECT_EQ(sortedNames(shots_), (std::vector<std::string>{"1-a.mkv", "3-a.mkv"}));
  EXPECT_EQ(sortedNames(shots_ + "/1-a.mkv"), names_);
  EXPECT_EQ(sortedNames(shots_ + "/3-a.mkv"), names_);
  EXPECT_EQ(end.err, "qatester: " + dir_.file("missing.mkv") + ": No such file or directory\n");
}

TEST_F(Displays, NeedNoSettingsFile) {
  const std::string clip = makeClip(dir_, "long.mkv", {{ffv1(200)}, {}});
  const Finished end = runClient({"--checks", "chroma", "--displays", shots_, clip});
  // 200 frames less the slate's 125 and a second's 25.
  EXPECT_EQ(sortedNames(shots_).size(), 50U);
  EXPECT_EQ(sortedNames(shots_).front(), "Diamond-Display-00000.png");
  EXPECT_EQ(sortedNames(shots_).back(), "Diamond-Display-00049.png");
  EXPECT_EQ(end.err, "");
}

TEST_F(Displays, OfTearingAndTransitionsShowWhatWasCompared) {
  writeFile(settings_,
            "QATesterSlateSeconds=0\nTearingFrameChecks=2\nTransitionFrameChecks=2\n"
            "FieldFrameChecks=2\nPullDownFrameChecks=5\n");
  const Finished end = runClient({"--checks", "field-dominance,pulldown,tearing,transitions",
                                  "--settings", settings_, "--displays", shots_, clip_});
  // The first frame has none before it. Field dominance and pulldown have no displays.
  EXPECT_EQ(sortedNames(shots_),
            (std::vector<std::string>{"Overlay-Tearing-00001.png",
                                      "Percent-of-Tearing-and-Differencing-00001.png",
                                      "Video-Change-00000.png", "Video-Change-00001.png"}));
  EXPECT_EQ(end.err, "");
}

TEST_F(Displays, OfTheTimecodeCheckAreTwoForEachFrameOfTheFile) {
  const std::string clip = makeClip(dir_, "short.mkv", {{ffv1(28)}, {}});
  const Finished end = runClient({"--checks", "timecode", "--displays", shots_, clip});
  // 28 frames less a second's 25, whatever the slate.
  EXPECT_EQ(sortedNames(shots_),
            (std::vector<std::string>{"Timecode-Video-00000.png", "Timecode-Video-00001.png",
                                      "Timecode-Video-00002.png", "Timecodes-00000.png",
                                      "Timecodes-00001.png", "Timecodes-00002.png"}));
  EXPECT_EQ(end.err, "");
}

TEST_F(Displays, OfTheTimecodeCheckGoToNoWindowThatNobodyAskedFor) {
  // A window that is opened with an unknown platform ends the process.
  const auto runWith = [&](Arguments more) {
    more.insert(more.end(), {"--checks", "timecode", clip_});
    Command command = client(more);
    command.environment = {{"QT_QPA_PLATFORM", "none-of-this-name"}};
    return run(command);
  };
  EXPECT_EQ(runWith({}).code, 0);
  EXPECT_EQ(runWith({"--settings", settings_}).code, 0);
  EXPECT_LT(runWith({"--visual"}).code, 0);
  writeFile(settings_, "QATesterVisual=1\n");
  EXPECT_LT(runWith({"--settings", settings_}).code, 0);
  EXPECT_EQ(runWith({"--settings", settings_, "--lookup", "defaults"}).code, 0);
}

TEST_F(Displays, OfAnEarlierRunAreReplaced) {
  fs::create_directories(shots_);
  writeFile(shots_ + "/" + names_[0], "old");
  runClient(with({"--displays", shots_, clip_}));
  EXPECT_EQ(sortedNames(shots_), names_);
  EXPECT_EQ(readFile(shots_ + "/" + names_[0]).substr(1, 3), "PNG");
}

TEST_F(Displays, WithoutAnOptionThereAreNone) {
  const std::vector<std::string> before = filesIn(dir_);
  EXPECT_EQ(runBlind(with({clip_})).err, "");
  EXPECT_EQ(filesIn(dir_), before);
}

struct BadFolder {
  const char* name;
  /// Behind the test's own folder.
  const char* folder;
  const char* reason;
};

TEST_F(Displays, AFolderThatCannotBeIsToldBeforeTheWork) {
  writeFile(dir_.file("file"), "content");
  fs::create_directory(dir_.file("locked"));
  fs::permissions(dir_.file("locked"), fs::perms::owner_read | fs::perms::owner_exec);
  fs::create_symlink("nowhere/else", dir_.file("dangling"));
  const BadFolder cases[] = {
      {"a file", "file", "Not a directory"},
      {"below a file", "file/shots", "Not a directory"},
      {"may not be made", "locked/shots", "Permission denied"},
      {"may not be written to", "locked", "Permission denied"},
      {"leads nowhere", "dangling", "Not a directory"},
  };
  for (const BadFolder& c : cases) {
    Command command = client(with({"--displays", dir_.file(c.folder), clip_}));
    command.obeyPermissions = true;
    const Finished end = run(command);
    EXPECT_EQ(end.err,
              "qatester: cannot write displays to " + dir_.file(c.folder) + ": " + c.reason + "\n")
        << c.name;
    EXPECT_EQ(end.out, "") << c.name;
    EXPECT_EQ(end.code, 2) << c.name;
  }
  EXPECT_EQ(readFile(dir_.file("file")), "content");
  fs::permissions(dir_.file("locked"), fs::perms::owner_all);
  EXPECT_TRUE(sortedNames(dir_.file("locked")).empty());
}

TEST_F(Displays, APictureThatCannotBeWrittenIsToldOnceAndExitsWith2) {
  const Finished plain = runClient(with({clip_}));
  const std::string obstacle = shots_ + "/Diamond-Display-00000.png";
  for (const char* console : {"", "QATesterConsoleOutput=0\n"}) {
    writeFile(settings_, readFile(settings_) + console);
    fs::create_directories(obstacle);
    const Finished end = runClient(with({"--displays", shots_, clip_}));
    EXPECT_EQ(end.err, "qatester: displays: cannot write the picture \"" + obstacle +
                           "\": Is a directory\n");
    EXPECT_EQ(end.out, plain.out);
    EXPECT_EQ(end.code, 2);
  }
}

TEST_F(Displays, TroubleWithPicturesIsAmongVerboseLines) {
  fs::create_directories(shots_ + "/Diamond-Display-00000.png");
  const Finished end = runClient(with({"-v", "--displays", shots_, clip_}));
  EXPECT_NE(end.err.find("] displays: cannot write the picture "), std::string::npos) << end.err;
  EXPECT_EQ(end.err.find("qatester: "), std::string::npos) << end.err;
  EXPECT_EQ(end.code, 2);
}

TEST_F(Displays, InWindowsAreSkippedWithOneLineWhereThereAreNone) {
  const Finished plain = runBlind(with({clip_, clip_}));
  const Finished end = runBlind(with({"--visual", clip_, clip_}));
  EXPECT_EQ(end.err, kSkipped);
  EXPECT_EQ(end.out, plain.out);
  EXPECT_EQ(end.code, plain.code);
  const Finished verbose = runBlind(with({"-v", "--visual", clip_}));
  EXPECT_NE(verbose.err.find(kSkipped), std::string::npos) << verbose.err;
}

TEST_F(Displays, ThatTheSettingsAskForAreSkippedWithTheSameLine) {
  writeFile(settings_, readFile(settings_) + "QATesterVisual=1\n");
  EXPECT_EQ(runBlind(with({clip_})).err, kSkipped);
  EXPECT_EQ(runBlind(with({"--lookup", "defaults", clip_})).err.find("window"), std::string::npos);
  EXPECT_EQ(runBlind(with({"--displays", shots_, clip_})).err, "");
  EXPECT_EQ(sortedNames(shots_), names_);
}

TEST_F(Displays, InWindowsLeaveTheOutcomeAsItIs) {
  const Finished plain = runClient(with({clip_}));
  Command command = client(with({"--visual", clip_}));
  command.environment = {{"QT_QPA_PLATFORM", "offscreen"}};
  const Finished end = run(command);
  EXPECT_EQ(end.err.find("skipped"), std::string::npos) << end.err;
  EXPECT_EQ(end.out, plain.out);
  EXPECT_EQ(end.code, plain.code);
}

}  // namespace
}  // namespace qatest
