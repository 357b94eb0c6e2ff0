// The displays in windows of a real window system, and without any.

#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <thread>

#include "support/Process.h"
#include "visual/Blocks.h"
#include "visual/Pictures.h"
#include "visual/ReferenceDisplays.h"
#include "visual/Xvfb.h"

namespace {

using qatest::Pixels;
using qatest::Process;

constexpr std::chrono::seconds kLongestWait{60};

/// An empty value removes a variable.
qatest::Command windowsProgram(const std::vector<std::string>& displays,
                               const std::string& display) {
  qatest::Command command;
  command.program = QATESTER_WINDOWS_PROGRAM;
  command.arguments = displays;
  command.environment = {{"DISPLAY", display}, {"QT_QPA_PLATFORM", ""}};
  return command;
}

/// Whether the canvas is on the screen with its upper left corner there.
bool isAt(const Pixels& screen, const Pixels& canvas, int left, int top) {
  for (int y = 0; y < canvas.height; ++y) {
    const auto row = canvas.bytes.begin() + 3 * y * canvas.width;
    if (!std::equal(row, row + 3 * canvas.width,
                    screen.bytes.begin() + 3 * ((top + y) * screen.width + left))) {
      return false;
    }
  }
  return true;
}

/// Whether the canvas is anywhere on the screen, pixel by pixel.
bool isOnScreen(const Pixels& screen, const Pixels& canvas) {
  // Most of the screen is black: a place where the canvas is not is soon found out by what is not.
  const auto lit = std::find_if(canvas.bytes.begin(), canvas.bytes.end(),
                                [](uint8_t byte) { return byte != 0; });
  const auto first = static_cast<int>(lit - canvas.bytes.begin()) / 3;
  const int x = first % canvas.width;
  const int y = first / canvas.width;
  const qatest::Bgr colour = canvas.at(x, y);
  for (int top = 0; top + canvas.height <= screen.height; ++top) {
    for (int left = 0; left + canvas.width <= screen.width; ++left) {
      if (screen.at(left + x, top + y) == colour && isAt(screen, canvas, left, top)) {
        return true;
      }
    }
  }
  return false;
}

bool becomesTrue(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + kLongestWait;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  return true;
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
  EXPECT_TRUE(becomesTrue([&] { return isOnScreen(server.screen(), canvas); }));
  program.signal(SIGUSR1);
  ASSERT_TRUE(program.waitFor("closed\n"));
  EXPECT_TRUE(becomesTrue([&] { return !isOnScreen(server.screen(), canvas); }));
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
