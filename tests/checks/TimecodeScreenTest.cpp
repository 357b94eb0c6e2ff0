// The timecode check in windows of a real window system, which nobody has asked for.

#include <gtest/gtest.h>
#include <opencv2/imgproc/imgproc_c.h>
#include <signal.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "media/OxWrap.h"
#include "support/Clips.h"
#include "support/Process.h"
#include "visual/Canvases.h"
#include "visual/ReferenceDisplays.h"
#include "visual/Xvfb.h"

extern "C" {
#include <libavutil/mem.h>
}

namespace {

using qatest::isOnScreen;
using qatest::Pixels;

constexpr int kWidth = 256;
constexpr int kHeight = 320;
/// Above it the window with the timecodes lies over the one with the frame.
constexpr int kFirstSeenRow = 240;

/// The lower part of a frame as the library's stream converts it.
Pixels pictureOf(const std::string& file, int index) {
  OxWrap wrap(file, {QAPauses::untilReady, {}});
  wrap.discardAudio(true);
  wrap.startBuffering();
  OxVideoStream* video = wrap.getVideoStream();
  for (int i = 0; i < index; ++i) {
    av_free(video->getNextYUVFrame().frame);
  }
  const OxVideoFrameRGB frame = video->getNextRGBFrame();
  const std::vector<uint8_t> bytes(frame.buffer + 3 * kWidth * kFirstSeenRow,
                                   frame.buffer + 3 * kWidth * kHeight);
  std::free(frame.buffer);
  return qatest::referenceImageData(kWidth, kHeight - kFirstSeenRow, bytes);
}

Pixels textsOf(const char* dropFrame, const char* nonDropFrame, const char* number) {
  const qatest::UniqueImage canvas = qatest::plainCanvas(150, 80);
  CvFont font;
  cvInitFont(&font, CV_FONT_HERSHEY_SIMPLEX, 0.4, 0.4, 0.0, 1, CV_AA);
  cvPutText(canvas.get(), dropFrame, cvPoint(20, 20), &font, cvScalar(0, 255, 0, 0));
  cvPutText(canvas.get(), nonDropFrame, cvPoint(20, 40), &font, cvScalar(0, 0, 255, 0));
  cvPutText(canvas.get(), number, cvPoint(20, 60), &font, cvScalar(255, 255, 255, 0));
  return qatest::pixelsOf(*canvas);
}

TEST(TimecodeScreen, HasTheFrameAndItsTimecodesWhileTheCheckRuns) {
  ASSERT_TRUE(qatest::Xvfb::isInstalled()) << "Xvfb is missing: scripts/install-deps test";
  const qatest::TempDir folder;
  // Four frames before the last second's; the second one is the first to make progress.
  qatest::VideoSpec video = qatest::ffv1(29);
  video.width = kWidth;
  video.height = kHeight;
  const std::string file = makeClip(folder, "clip.mkv", {.video = {video}});
  const Pixels picture = pictureOf(file, 1);
  const Pixels texts = textsOf("00:00:00;00", "00:00:00:01", "1");

  const qatest::Xvfb server;
  qatest::Command command;
  command.program = QATESTER_WINDOWS_PROGRAM;
  command.arguments = {file};
  command.environment = {{"DISPLAY", server.display()},
                         {"QT_QPA_PLATFORM", ""},
                         // As for the windows of the other displays.
                         {"ASAN_OPTIONS", "detect_leaks=0:strict_string_checks=0"}};
  qatest::Process program(command);
  ASSERT_TRUE(program.waitFor("shown\n"));
  EXPECT_TRUE(qatest::awaitScreen([&] { return isOnScreen(server.screen(), picture); }));
  EXPECT_TRUE(qatest::awaitScreen([&] { return isOnScreen(server.screen(), texts); }));
  program.signal(SIGUSR1);
  ASSERT_TRUE(program.waitFor("closed\n"));
  EXPECT_TRUE(qatest::awaitScreen([&] { return !isOnScreen(server.screen(), texts); }));
  program.signal(SIGTERM);
  const qatest::Finished finished = program.wait();
  EXPECT_EQ(finished.code, 0) << finished.err;
  EXPECT_EQ(finished.out, "shown\nclosed\ncompleted\n");
}

}  // namespace
