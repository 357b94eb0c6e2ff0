#include "visual/Displays.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

#include "support/FakeSleep.h"
#include "support/TempDir.h"
#include "visual/OpenCVDouble.h"
#include "visual/PictureFile.h"
#include "visual/PngFile.h"

namespace {

namespace fs = std::filesystem;

using qatest::openCVCalls;
using qatest::pixelsOf;
using qatest::plainCanvas;
using qatest::UniqueImage;
using qatest::WindowSystem;
using qatester::Displays;

/// A canvas with padding between rows, whose every byte is different from its neighbours.
UniqueImage patternedCanvas(int width = 105, int height = 26) {
  UniqueImage canvas = plainCanvas(width, height);
  for (int i = 0; i < canvas->imageSize; ++i) {
    canvas->imageData[i] = static_cast<char>(i * 37 + i / 256);
  }
  return canvas;
}

std::vector<std::string> namesIn(const fs::path& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) {
    names.push_back(entry.path().filename());
  }
  std::sort(names.begin(), names.end());
  return names;
}

class DisplaysTest : public testing::Test {
 protected:
  DisplaysTest() {
    qatest::clearOpenCV();
    qatest::clearPauses();
  }

  Displays make(QADisplays where, bool on = true, const std::string& folder = "") {
    return Displays(where, on, folder,
                    [this](const std::string& problem) { problems_.push_back(problem); });
  }

  static void expectNoWindowFunctionCalled() {
    EXPECT_TRUE(openCVCalls().shown.empty());
    EXPECT_TRUE(openCVCalls().waits.empty());
    EXPECT_EQ(openCVCalls().windowsDestroyed, 0);
  }

  UniqueImage canvas_ = patternedCanvas();
  std::vector<std::string> problems_;
};

// Windows.

TEST_F(DisplaysTest, AsSetMeansWindowsIfTheSwitchIsOn) {
  const WindowSystem windows(WindowSystem::State::available);
  EXPECT_TRUE(make(QADisplays::asSet, true).wanted());
  EXPECT_FALSE(make(QADisplays::asSet, false).wanted());
  EXPECT_TRUE(make(QADisplays::asSet, false).possible());
  EXPECT_TRUE(make(QADisplays::windows).wanted());
}

TEST_F(DisplaysTest, WindowsAreShownRepaintedAndClosed) {
  const WindowSystem windows(WindowSystem::State::available);
  for (const QADisplays where : {QADisplays::asSet, QADisplays::windows}) {
    qatest::clearOpenCV();
    Displays displays = make(where);
    displays.show("Diamond Display", 42, canvas_.get());
    ASSERT_EQ(openCVCalls().shown.size(), 1U);
    EXPECT_EQ(openCVCalls().shown[0].window, "Diamond Display");
    EXPECT_EQ(difference(openCVCalls().shown[0].canvas, pixelsOf(*canvas_)), "");
    displays.repaint();
    EXPECT_EQ(openCVCalls().waits, std::vector<int>{1});
    EXPECT_EQ(openCVCalls().windowsDestroyed, 0);
    displays.close();
    EXPECT_EQ(openCVCalls().windowsDestroyed, 1);
  }
  EXPECT_TRUE(problems_.empty());
}

TEST_F(DisplaysTest, WhatIsShownWhateverTheSwitchSaysIsRepaintedToo) {
  const WindowSystem windows(WindowSystem::State::available);
  Displays displays = make(QADisplays::asSet, false);
  displays.repaint();
  EXPECT_TRUE(openCVCalls().waits.empty()) << "no window to repaint";
  displays.show("Timecodes", 0, canvas_.get());
  displays.repaint();
  EXPECT_EQ(openCVCalls().shown.size(), 1U);
  EXPECT_EQ(openCVCalls().waits, std::vector<int>{1});
  displays.close();
  displays.repaint();
  EXPECT_EQ(openCVCalls().waits.size(), 1U) << "they are closed";
}

TEST_F(DisplaysTest, WithoutACanvasNothingIsShown) {
  const WindowSystem windows(WindowSystem::State::available);
  const qatest::TempDir folder;
  make(QADisplays::windows).show("Diamond Display", 0, nullptr);
  make(QADisplays::pictures, true, folder.path()).show("Diamond Display", 0, nullptr);
  EXPECT_TRUE(openCVCalls().shown.empty());
  EXPECT_TRUE(namesIn(folder.path()).empty());
}

TEST_F(DisplaysTest, AWindowThatCannotBeShownIsPassedOver) {
  const WindowSystem windows(WindowSystem::State::available);
  qatest::letShowingThrow();
  Displays displays = make(QADisplays::windows);
  EXPECT_NO_THROW(displays.show("Diamond Display", 0, canvas_.get()));
  EXPECT_TRUE(displays.wanted());
  EXPECT_TRUE(problems_.empty());
  EXPECT_TRUE(qatest::callerPauses().empty());
}

TEST_F(DisplaysTest, WithoutAWindowSystemNothingIsShown) {
  for (const auto state : {WindowSystem::State::missing, WindowSystem::State::dead}) {
    const WindowSystem windows(state);
    qatest::clearOpenCV();
    Displays displays = make(QADisplays::windows);
    EXPECT_FALSE(displays.wanted());
    EXPECT_FALSE(displays.possible());
    displays.show("Diamond Display", 0, canvas_.get());
    displays.repaint();
    expectNoWindowFunctionCalled();
    displays.close();
    EXPECT_EQ(openCVCalls().windowsDestroyed, 1) << "harmless, and a client may have made some";
  }
  EXPECT_TRUE(qatest::callerPauses().empty());
}

TEST_F(DisplaysTest, AWindowSystemThatAppearsIsFound) {
  Displays displays = make(QADisplays::windows);
  {
    const WindowSystem none(WindowSystem::State::dead);
    EXPECT_FALSE(displays.wanted());
  }
  const WindowSystem windows(WindowSystem::State::available);
  EXPECT_TRUE(displays.wanted());
}

TEST_F(DisplaysTest, NowhereNothingIsDrawnOrShown) {
  const WindowSystem windows(WindowSystem::State::available);
  Displays displays = make(QADisplays::nowhere);
  EXPECT_FALSE(displays.wanted());
  EXPECT_FALSE(displays.possible());
  displays.show("Diamond Display", 0, canvas_.get());
  displays.repaint();
  displays.close();
  expectNoWindowFunctionCalled();
}

// Picture files.

TEST_F(DisplaysTest, PicturesAreWrittenPixelByPixel) {
  const WindowSystem windows(WindowSystem::State::available);
  const qatest::TempDir folder;
  Displays displays = make(QADisplays::pictures, true, folder.path());
  EXPECT_TRUE(displays.wanted());
  displays.show("Diamond Display", 42, canvas_.get());
  displays.repaint();
  displays.close();
  EXPECT_EQ(namesIn(folder.path()), std::vector<std::string>{"Diamond-Display-00042.png"});
  EXPECT_EQ(
      difference(qatest::readPng(folder.file("Diamond-Display-00042.png")), pixelsOf(*canvas_)),
      "");
  expectNoWindowFunctionCalled();
  EXPECT_TRUE(problems_.empty());
}

TEST_F(DisplaysTest, PicturesNeedNoWindowSystem) {
  const WindowSystem none(WindowSystem::State::missing);
  const qatest::TempDir folder;
  make(QADisplays::pictures, true, folder.path()).show("Diamond Display", 0, canvas_.get());
  EXPECT_EQ(namesIn(folder.path()).size(), 1U);
}

TEST_F(DisplaysTest, TheFolderIsMadeWithTheFirstPicture) {
  const qatest::TempDir parent;
  const fs::path folder = parent.path() / "run 7" / "displays";
  Displays displays = make(QADisplays::pictures, true, folder);
  EXPECT_TRUE(displays.wanted());
  EXPECT_TRUE(namesIn(parent.path()).empty()) << "not before there is a picture";
  displays.show("Diamond Display", 0, canvas_.get());
  displays.show("Diamond Display", 1, canvas_.get());
  EXPECT_EQ(namesIn(folder),
            (std::vector<std::string>{"Diamond-Display-00000.png", "Diamond-Display-00001.png"}));
}

TEST_F(DisplaysTest, WithoutAFolderPicturesGoToTheCurrentOne) {
  const qatest::TempDir folder;
  const fs::path before = fs::current_path();
  fs::current_path(folder.path());
  make(QADisplays::pictures).show("Diamond Display", 0, canvas_.get());
  fs::current_path(before);
  EXPECT_EQ(namesIn(folder.path()).size(), 1U);
  EXPECT_TRUE(problems_.empty());
}

TEST_F(DisplaysTest, APictureReplacesTheOneThatWasThere) {
  const qatest::TempDir folder;
  const std::string file = folder.file("Diamond-Display-00000.png");
  qatest::writeFile(file, std::string(1000000, 'x'));
  Displays displays = make(QADisplays::pictures, true, folder.path());
  displays.show("Diamond Display", 0, canvas_.get());
  EXPECT_EQ(difference(qatest::readPng(file), pixelsOf(*canvas_)), "");
  displays.show("Diamond Display", 0, plainCanvas(3, 2, 9).get());
  EXPECT_EQ(difference(qatest::readPng(file), pixelsOf(*plainCanvas(3, 2, 9))), "");
  EXPECT_EQ(namesIn(folder.path()).size(), 1U);
}

TEST_F(DisplaysTest, APictureIsNeverHalfThere) {
  // Whoever has the old file open goes on reading the old picture.
  const qatest::TempDir folder;
  const std::string file = folder.file("Diamond-Display-00000.png");
  Displays displays = make(QADisplays::pictures, true, folder.path());
  displays.show("Diamond Display", 0, canvas_.get());
  const std::string old = qatest::readFile(file);
  std::ifstream reader(file, std::ios::binary);
  displays.show("Diamond Display", 0, plainCanvas(3, 2, 9).get());
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), old);
}

TEST_F(DisplaysTest, PicturesAreReadableAsTheirCreatorWantsItsFilesToBe) {
  const qatest::TempDir folder;
  const mode_t before = umask(027);
  make(QADisplays::pictures, true, folder.path()).show("Diamond Display", 0, canvas_.get());
  umask(before);
  EXPECT_EQ(fs::status(folder.file("Diamond-Display-00000.png")).permissions(),
            static_cast<fs::perms>(0640));
}

TEST_F(DisplaysTest, AFolderThatCannotBeMadeIsToldOnce) {
  const qatest::TempDir folder;
  qatest::writeFile(folder.file("file"), "");
  Displays displays = make(QADisplays::pictures, true, folder.file("file"));
  displays.show("Diamond Display", 7, canvas_.get());
  EXPECT_EQ(problems_,
            std::vector<std::string>{
                "cannot write the picture \"" + folder.file("file") +
                "/Diamond-Display-00007.png\": cannot make its folder: Not a directory"});
  EXPECT_FALSE(displays.wanted());
  EXPECT_FALSE(displays.possible());
  displays.show("Diamond Display", 8, canvas_.get());
  EXPECT_EQ(problems_.size(), 1U);
}

TEST_F(DisplaysTest, APictureThatCannotBePutInPlaceIsToldAndLeavesNothing) {
  const qatest::TempDir folder;
  fs::create_directory(folder.file("Diamond-Display-00000.png"));
  Displays displays = make(QADisplays::pictures, true, folder.path());
  displays.show("Diamond Display", 0, canvas_.get());
  EXPECT_EQ(problems_, std::vector<std::string>{"cannot write the picture \"" +
                                                folder.file("Diamond-Display-00000.png") +
                                                "\": Is a directory"});
  EXPECT_FALSE(displays.wanted());
  EXPECT_EQ(namesIn(folder.path()).size(), 1U);
}

TEST_F(DisplaysTest, APictureForWhichThereIsNoRoomIsToldAndLeavesNothing) {
  const qatest::TempDir folder;
  Displays displays = make(QADisplays::pictures, true, folder.path());
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const auto handler = signal(SIGXFSZ, SIG_IGN);
  const rlimit small{100, before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  displays.show("Diamond Display", 0, canvas_.get());
  setrlimit(RLIMIT_FSIZE, &before);
  signal(SIGXFSZ, handler);
  EXPECT_EQ(problems_, std::vector<std::string>{"cannot write the picture \"" +
                                                folder.file("Diamond-Display-00000.png") +
                                                "\": File too large"});
  EXPECT_TRUE(namesIn(folder.path()).empty());
}

TEST_F(DisplaysTest, ACanvasWithoutPixelsIsToldOfToo) {
  const qatest::TempDir folder;
  make(QADisplays::pictures, true, folder.path())
      .show("Diamond Display", 0, plainCanvas(0, 3).get());
  EXPECT_EQ(problems_.size(), 1U);
  EXPECT_TRUE(namesIn(folder.path()).empty());
}

TEST_F(DisplaysTest, ThereNeedBeNobodyToTell) {
  const qatest::TempDir folder;
  qatest::writeFile(folder.file("file"), "");
  Displays displays(QADisplays::pictures, true, folder.file("file"), {});
  displays.show("Diamond Display", 0, canvas_.get());
  EXPECT_FALSE(displays.wanted());
}

TEST(PictureFileName, HasHyphensForBlanksAndFiveDigitsOrMore) {
  using qatester::pictureFileName;
  EXPECT_EQ(pictureFileName("CIE1931 Display", 0), "CIE1931-Display-00000.png");
  EXPECT_EQ(pictureFileName("Mono Check", 99999), "Mono-Check-99999.png");
  EXPECT_EQ(pictureFileName("Mono Check", 123456), "Mono-Check-123456.png");
  EXPECT_EQ(pictureFileName("Percent of Tearing", std::numeric_limits<int>::max()),
            "Percent-of-Tearing-2147483647.png");
}

TEST(PictureFileName, StaysInItsFolder) {
  EXPECT_EQ(qatester::pictureFileName("../a/b", 1), "..-a-b-00001.png");
}

}  // namespace
