// The displays in windows of a real window system, and without any.

#include <gtest/gtest.h>
#include <signal.h>

#include "support/Process.h"
#include "visual/Blocks.h"
#include "visual/Pictures.h"
#include "visual/ReferenceDisplays.h"
#include "visual/Xvfb.h"

namespace {

using qatest::isOnScreen;
using qatest::Pixels;
using qatest::Process;

/// An empty value removes a variable.
qatest::Command windowsProgram(const std::vector<std::string>& displays,
                               const std::string& display) {
  qatest::Command command;
  command.program = QATESTER_WINDOWS_PROGRAM;
  command.arguments = displays;
  command.environment = {{"DISPLAY", display}, {"QT_QPA_PLATFORM", ""}};
  return command;
}

struct Display {
  const char* name;
  Pixels (*reference)();

  /// Names the tests that have it as their parameter.
  friend std::ostream& operator<<(std::ostream& out, const Display& display) {
    return out << display.name;
  }
};

template <Pixels (*reference)(OxVideoFrameYUV)>
Pixels ofSharedPicture() {
  return reference(qatest::sharedPicture().record());
}

Pixels colourSpace() {
  return qatest::referenceColourSpace({100, 30}, {200, 50}, {150, 100}, 64);
}

Pixels imageData() {
  return qatest::referenceImageData(qatest::kImageDataWidth, qatest::kImageDataHeight,
                                    qatest::sharedImageData());
}

Pixels channels() {
  const qatest::SharedChannels shared;
  return qatest::referenceSamples(1024, qatest::referenceRows(shared.first),
                                  qatest::referenceRows(shared.second));
}

class WindowsTest : public testing::TestWithParam<Display> {};

INSTANTIATE_TEST_SUITE_P(
    Displays, WindowsTest,
    testing::Values(Display{"diamond", ofSharedPicture<qatest::referenceDiamond>},
                    Display{"CIE1931", ofSharedPicture<qatest::referenceCIE1931>},
                    Display{"linear", ofSharedPicture<qatest::referenceLinearGamut>},
                    Display{"colourSpace", colourSpace}, Display{"imageData", imageData},
                    Display{"Mono Check", channels}, Display{"Phase Check", channels}),
    [](const auto& info) {
      std::string name = info.param.name;
      std::erase(name, ' ');
      return name;
    });

TEST_P(WindowsTest, AppearsOnTheScreenAndGoes) {
  ASSERT_TRUE(qatest::Xvfb::isInstalled()) << "Xvfb is missing: scripts/install-deps test";
  const qatest::Xvfb server;
  const Pixels canvas = GetParam().reference();
  ASSERT_FALSE(isOnScreen(server.screen(), canvas));
  qatest::Command command = windowsProgram({GetParam().name}, server.display());
  // Fontconfig and Qt keep what they have allocated until the process ends, and beyond; and
  // libxkbcommon copies counted texts with strndup, which need not have an end.
  command.environment["ASAN_OPTIONS"] = "detect_leaks=0:strict_string_checks=0";
  Process program(command);
  ASSERT_TRUE(program.waitFor("shown\n"));
  EXPECT_TRUE(qatest::awaitScreen([&] { return isOnScreen(server.screen(), canvas); }));
  program.signal(SIGUSR1);
  ASSERT_TRUE(program.waitFor("closed\n"));
  EXPECT_TRUE(qatest::awaitScreen([&] { return !isOnScreen(server.screen(), canvas); }));
  program.signal(SIGTERM);
  const qatest::Finished finished = program.wait();
  EXPECT_EQ(finished.code, 0) << finished.err;
  EXPECT_EQ(finished.out, "windows\nwanted\nshown\nclosed\npauses: 0\n");
}

/// A first window would end the process.
TEST(WithoutAWindowSystem, NothingIsShownAndTheProcessGoesOn) {
  const std::vector<std::string> all{"diamond",   "CIE1931",    "linear",     "colourSpace",
                                     "imageData", "Mono Check", "Phase Check"};
  for (const char* display : {"", ":4095"}) {
    const qatest::Finished finished = Process(windowsProgram(all, display)).wait();
    EXPECT_EQ(finished.code, 0) << finished.err;
    EXPECT_EQ(finished.out, "no windows\nnot wanted\nshown\nclosed\npauses: 0\n");
  }
}

}  // namespace
