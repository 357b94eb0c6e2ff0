// Shows a display with OpenCV's own windows, for a test that looks at the screen: a window needs a
// process that nothing else happens in.
//
// usage: visual_windows DISPLAY...
//
// Shows what is named ("diamond", "CIE1931", "linear", "colourSpace", "imageData", "Mono Check",
// "Phase Check"), writes "shown", closes the windows when it gets SIGUSR1, writes "closed", and
// ends after SIGTERM. With no window system it goes through it all without waiting for a signal.

#include <signal.h>

#include <map>
#include <string>

#include "support/FakeSleep.h"
#include "visual/Blocks.h"
#include "visual/Displays.h"
#include "visual/Orders.h"
#include "visual/Pictures.h"
#include "visual/Visual.h"
#include "visual/WindowSystem.h"

namespace {

using qatest::pumpUntil;
using qatest::say;

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

}  // namespace

int main(int count, char** arguments) {
  qatest::awaitOrders();
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
