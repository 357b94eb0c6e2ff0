// Shows a display with OpenCV's own windows, for a test that looks at the screen: a window needs a
// process that nothing else happens in.
//
// usage: visual_windows DISPLAY...
//
// Shows what is named ("diamond", "CIE1931", "linear", "colourSpace", "imageData", "Mono Check",
// "Phase Check"), writes "shown", closes the windows when it gets SIGUSR1, writes "closed", and
// ends after SIGTERM. With no window system it goes through it all without waiting for a signal.

#include <opencv2/highgui/highgui_c.h>
#include <signal.h>

#include <cstdio>
#include <ctime>
#include <initializer_list>
#include <map>
#include <string>

#include "support/FakeSleep.h"
#include "visual/Blocks.h"
#include "visual/Displays.h"
#include "visual/Pictures.h"
#include "visual/Visual.h"
#include "visual/WindowSystem.h"

/// Qt and GLib are not built for the thread sanitizer: it does not see the atomics and futexes by
/// which their threads take turns, and takes what they hand over for races. The program itself has
/// one thread.
extern "C" const char* __tsan_default_suppressions() {
  return "race:libQt5\nrace:libglib\nrace:libdbus\nrace:libxcb\nrace:libX11\n";
}

namespace {

void showChannels(const std::string& title) {
  const qatest::SharedChannels channels;
  qatest::Block first(channels.first);
  qatest::Block second(channels.second);
  OxAudioSample firstRecord = first.record();
  OxAudioSample secondRecord = second.record();
  Visual::plotSamples(firstRecord, secondRecord, title);
}

void showImageData(const std::string& title) {
  std::vector<uint8_t> bytes = qatest::sharedImageData();
  OxVideoFrameRGB frame{bytes.data(), qatest::kImageDataWidth, qatest::kImageDataHeight, true, 0.0};
  Visual::plotImageData(frame, title);
}

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
  } else if (display == "imageData") {
    showImageData(display);
  } else if (display == "Mono Check" || display == "Phase Check") {
    showChannels(display);
  } else {
    Visual::plotImageColourSpace({100, 30}, {200, 50}, {150, 100}, 64, display);
  }
}

void say(const std::string& line) {
  std::puts(line.c_str());
  std::fflush(stdout);
}

sigset_t setOf(std::initializer_list<int> signals) {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : signals) {
    sigaddset(&set, signal);
  }
  return set;
}

/// Keeps windows alive until a signal comes, which is blocked.
void pumpUntil(int signal) {
  constexpr timespec kMoment{0, 10000000};
  const sigset_t awaited = setOf({signal});
  while (sigtimedwait(&awaited, nullptr, &kMoment) != signal) {
    cvWaitKey(10);
  }
}

}  // namespace

int main(int count, char** arguments) {
  const sigset_t orders = setOf({SIGUSR1, SIGTERM});
  sigprocmask(SIG_BLOCK, &orders, nullptr);
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
    pumpUntil(SIGUSR1);
  }
  displays.close();
  say("closed");
  if (windows) {
    pumpUntil(SIGTERM);
  }
  say("pauses: " + std::to_string(qatest::callerPauses().size()));
  return 0;
}
