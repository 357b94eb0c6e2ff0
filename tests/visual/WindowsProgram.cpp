// Shows a display with OpenCV's own windows, for a test that looks at the screen: a window needs a
// process that nothing else happens in.
//
// usage: visual_windows DISPLAY...
//
// Shows what is named ("diamond", "CIE1931", "linear", "colourSpace"), writes "shown", closes
// the windows when it gets SIGUSR1, writes "closed", and ends after SIGTERM. With no window system
// it goes through it all without waiting for a signal.

#include <opencv2/highgui/highgui_c.h>
#include <signal.h>

#include <cstdio>
#include <map>
#include <string>

#include "support/FakeSleep.h"
#include "visual/Displays.h"
#include "visual/Pictures.h"
#include "visual/Visual.h"
#include "visual/WindowSystem.h"

/// Fontconfig and Qt keep what they have allocated until the process ends, and beyond.
extern "C" int __lsan_is_turned_off() {
  return 1;
}

namespace {

volatile sig_atomic_t closeWindows = 0;
volatile sig_atomic_t end = 0;

void show(const std::string& display) {
  qatest::Picture picture = qatest::sharedPicture();
  OxVideoFrameYUV frame = picture.record();
  const std::map<std::string, void (*)(OxVideoFrameYUV&, const std::string&)> frameDisplays{
      {"diamond", Visual::plotDiamondDisplay},
      {"CIE1931", Visual::plotCIE1931Display},
      {"linear", Visual::plotLinearGamutDisplay},
  };
  if (const auto found = frameDisplays.find(display); found != frameDisplays.end()) {
    found->second(frame, display);
  } else {
    Visual::plotImageColourSpace({100, 30}, {200, 50}, {150, 100}, 64, display);
  }
}

void say(const std::string& line) {
  std::puts(line.c_str());
  std::fflush(stdout);
}

void pumpUntil(const volatile sig_atomic_t& signalled) {
  while (!signalled) {
    cvWaitKey(10);
  }
}

}  // namespace

int main(int count, char** arguments) {
  signal(SIGUSR1, [](int) { closeWindows = 1; });
  signal(SIGTERM, [](int) { end = 1; });
  const bool windows = qatester::windowSystemAvailable();
  say(windows ? "windows" : "no windows");
  qatester::Displays displays(QADisplays::windows, true, "", {});
  say(displays.wanted() ? "wanted" : "not wanted");
  for (int i = 1; i < count; ++i) {
    show(arguments[i]);
  }
  displays.repaint();
  say("shown");
  if (windows) {
    pumpUntil(closeWindows);
  }
  displays.close();
  say("closed");
  if (windows) {
    pumpUntil(end);
  }
  say("pauses: " + std::to_string(qatest::callerPauses().size()));
  return 0;
}
