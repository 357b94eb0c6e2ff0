// What the timecode check shows, and where.

#include <gtest/gtest.h>
#include <opencv2/imgproc/imgproc_c.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "support/Clips.h"
#include "support/FakeSleep.h"
#include "support/LoggedTester.h"
#include "visual/OpenCVDouble.h"
#include "visual/PngFile.h"
#include "visual/ReferenceDisplays.h"

extern "C" {
#include <libavutil/frame.h>
#include <libswscale/swscale.h>
}

namespace {

using namespace qatest;

constexpr int kFrames = 3;

/// A clip at 25 frames a second of which the check shows the first `frames`.
VideoSpec clipOfShown(int frames = kFrames) {
  return ffv1(frames + 25);
}

/// A frame of a clip, converted by the scaler itself, in one run of bytes.
Pixels expectedPicture(const VideoSpec& video, int index) {
  AVFrame* frame = av_frame_alloc();
  frame->format = video.pixelFormat;
  frame->width = video.width;
  frame->height = video.height;
  av_frame_get_buffer(frame, 0);
  for (int plane = 0; plane < 3; ++plane) {
    const int shift = plane == 0 ? 0 : 1;
    for (int y = 0; y < (video.height + shift) >> shift; ++y) {
      for (int x = 0; x < (video.width + shift) >> shift; ++x) {
        frame->data[plane][y * frame->linesize[plane] + x] = clipPixel(plane, x, y, index);
      }
    }
  }
  // The scaler writes past the width.
  const int stride = 3 * video.width + 64;
  std::vector<uint8_t> rows(static_cast<std::size_t>(stride * video.height));
  SwsContext* scaler =
      sws_getContext(video.width, video.height, video.pixelFormat, video.width, video.height,
                     AV_PIX_FMT_BGR24, SWS_BICUBIC, nullptr, nullptr, nullptr);
  uint8_t* planes[4] = {rows.data(), nullptr, nullptr, nullptr};
  const int strides[4] = {stride, 0, 0, 0};
  sws_scale(scaler, frame->data, frame->linesize, 0, video.height, planes, strides);
  sws_freeContext(scaler);
  av_frame_free(&frame);
  std::vector<uint8_t> packed;
  for (int y = 0; y < video.height; ++y) {
    const auto row = rows.begin() + y * stride;
    packed.insert(packed.end(), row, row + 3 * video.width);
  }
  return referenceImageData(video.width, video.height, packed);
}

/// The texts of a frame, written by OpenCV.
Pixels expectedTexts(const char* dropFrame, const char* nonDropFrame, const char* number) {
  const UniqueImage canvas = plainCanvas(150, 80);
  CvFont font;
  cvInitFont(&font, CV_FONT_HERSHEY_SIMPLEX, 0.4, 0.4, 0.0, 1, CV_AA);
  cvPutText(canvas.get(), dropFrame, cvPoint(20, 20), &font, cvScalar(0, 255, 0, 0));
  cvPutText(canvas.get(), nonDropFrame, cvPoint(20, 40), &font, cvScalar(0, 0, 255, 0));
  cvPutText(canvas.get(), number, cvPoint(20, 60), &font, cvScalar(255, 255, 255, 0));
  return pixelsOf(*canvas);
}

/// Those of the first frames: the drop-frame number of frame 1 is 0.
std::vector<Pixels> firstTexts() {
  return {expectedTexts("00:00:00;00", "00:00:00:00", "0"),
          expectedTexts("00:00:00;00", "00:00:00:01", "1"),
          expectedTexts("00:00:00;02", "00:00:00:02", "2")};
}

class TimecodeWindows : public testing::Test {
 protected:
  TimecodeWindows() { clearOpenCV(); }

  /// Runs the check on a clip, and expects that it went through.
  void runOn(const VideoSpec& video, const QATesterOptions& options = {},
             const std::string& settings = "") {
    QATesterOptions ready = options;
    ready.pauses = QAPauses::untilReady;
    ready.lookup = QALookup::stored;
    ready.displayFolder = pictures_;
    LoggedTester tester(makeClip(folder_, "clip.mkv", {.video = {video}}), ready, settings);
    clearPauses();
    EXPECT_TRUE(tester.run([](QATester& t) { return t.checkTimecode(); }));
    EXPECT_EQ(callerPauses(), std::vector<unsigned>());
    count_ = tester.outcomes.at(0).count;
    logged_ = tester.logged();
  }

  /// Where displays go, with visualisations on or off.
  void runAt(QADisplays displays, const std::string& settings = "") {
    QATesterOptions options;
    options.displays = displays;
    runOn(clipOfShown(), options, settings);
  }

  static void expectNothingShown() {
    EXPECT_EQ(windowsShown(), std::vector<std::string>());
    EXPECT_EQ(openCVCalls().waits, std::vector<int>());
  }

  std::vector<std::string> pictureFiles() const {
    std::vector<std::string> names;
    if (std::filesystem::exists(pictures_)) {
      for (const auto& entry : std::filesystem::directory_iterator(pictures_)) {
        names.push_back(entry.path().filename());
      }
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  TempDir folder_;
  std::string pictures_ = folder_.file("pictures");
  int count_ = 0;
  std::string logged_;
};

const std::vector<std::string> kBothOfThreeFrames{
    "Timecode Video", "Timecodes", "Timecode Video", "Timecodes", "Timecode Video", "Timecodes"};

TEST_F(TimecodeWindows, AreShownAndRepaintedWithEachFrameAndClosedAtTheEnd) {
  const WindowSystem system(WindowSystem::State::available);
  runOn(clipOfShown());
  EXPECT_EQ(count_, kFrames);
  EXPECT_EQ(windowsShown(), kBothOfThreeFrames);
  EXPECT_EQ(openCVCalls().waits, std::vector<int>(kFrames, 1));
  EXPECT_EQ(openCVCalls().windowsDestroyed, 1);
  EXPECT_EQ(openCVCalls().imagesReleased, openCVCalls().imagesMade);
}

TEST_F(TimecodeWindows, AreShownWhetherOrNotVisualisationsAreOn) {
  const WindowSystem system(WindowSystem::State::available);
  for (const char* settings : {"QATesterVisual=0\n", "QATesterVisual=1\n"}) {
    clearOpenCV();
    runAt(QADisplays::asSet, settings);
    EXPECT_EQ(windowsShown(), kBothOfThreeFrames) << settings;
    EXPECT_EQ(openCVCalls().waits, std::vector<int>(kFrames, 1)) << settings;
  }
  clearOpenCV();
  runAt(QADisplays::windows, "QATesterVisual=0\n");
  EXPECT_EQ(windowsShown(), kBothOfThreeFrames);
}

TEST_F(TimecodeWindows, HoldTheFramesFromTheFirstOnAndTheirTimecodes) {
  const WindowSystem system(WindowSystem::State::available);
  runOn(clipOfShown());
  const std::vector<Pixels> texts = firstTexts();
  ASSERT_EQ(openCVCalls().shown.size(), 2U * kFrames);
  for (std::size_t i = 0; i < kFrames; ++i) {
    const Pixels& picture = openCVCalls().shown[2 * i].canvas;
    EXPECT_EQ(difference(picture, expectedPicture(clipOfShown(), static_cast<int>(i))), "") << i;
    EXPECT_EQ(difference(openCVCalls().shown[2 * i + 1].canvas, texts[i]), "") << i;
  }
}

TEST_F(TimecodeWindows, CountByTheNominalRate) {
  const WindowSystem system(WindowSystem::State::available);
  VideoSpec video = ffv1(62, AV_PIX_FMT_YUV420P, {30000, 1001});
  video.width = 16;
  video.height = 16;
  runOn(video);
  ASSERT_GT(count_, 30);
  EXPECT_EQ(difference(openCVCalls().shown[2 * 29 + 1].canvas,
                       expectedTexts("00:00:00;29", "00:00:00:29", "29")),
            "");
  EXPECT_EQ(difference(openCVCalls().shown[2 * 30 + 1].canvas,
                       expectedTexts("00:00:01;00", "00:00:01:00", "30")),
            "");
}

TEST_F(TimecodeWindows, ShowAShearedPictureWhereItsRowsAreNoMultipleOfFourBytes) {
  const WindowSystem system(WindowSystem::State::available);
  for (const int width : {62, 66, 33}) {
    SCOPED_TRACE(width);
    clearOpenCV();
    VideoSpec video = clipOfShown(1);
    video.width = width;
    runOn(video);
    ASSERT_EQ(openCVCalls().shown.size(), 2U);
    const Pixels& picture = openCVCalls().shown[0].canvas;
    EXPECT_EQ(difference(picture, expectedPicture(video, 0)), "");
    EXPECT_EQ(picture.at(width - 1, video.height - 1), kBlack)
        << "the run of bytes ends before the last row of the canvas does";
  }
}

TEST_F(TimecodeWindows, AreNotShownWithoutAWindowSystem) {
  for (const auto state : {WindowSystem::State::missing, WindowSystem::State::dead}) {
    const WindowSystem system(state);
    for (const QADisplays displays : {QADisplays::asSet, QADisplays::windows}) {
      clearOpenCV();
      runAt(displays, "QATesterVisual=1\n");
      expectNothingShown();
      EXPECT_EQ(openCVCalls().imagesMade, 0) << "nor drawn";
      EXPECT_EQ(count_, kFrames);
    }
  }
}

TEST_F(TimecodeWindows, AreNotShownWhereDisplaysGoNowhere) {
  const WindowSystem system(WindowSystem::State::available);
  runAt(QADisplays::nowhere, "QATesterVisual=1\n");
  expectNothingShown();
  EXPECT_EQ(openCVCalls().imagesMade, 0);
  EXPECT_EQ(openCVCalls().windowsDestroyed, 0);
  EXPECT_EQ(pictureFiles(), std::vector<std::string>());
  EXPECT_EQ(count_, kFrames);
}

TEST_F(TimecodeWindows, ThatCannotBeShownDoNotDisturbTheCheck) {
  const WindowSystem system(WindowSystem::State::available);
  letShowingThrow();
  runOn(clipOfShown());
  EXPECT_EQ(count_, kFrames);
  EXPECT_EQ(windowsShown(), kBothOfThreeFrames);
  EXPECT_EQ(openCVCalls().imagesReleased, openCVCalls().imagesMade);
}

TEST_F(TimecodeWindows, OfAPictureThatThrowAreFollowedByALongPauseUnlessUntilReady) {
  const WindowSystem system(WindowSystem::State::available);
  for (const QAPauses pauses : {QAPauses::fixed, QAPauses::untilReady}) {
    letShowingThrow();
    LoggedTester tester(makeClip(folder_, "clip.mkv", {.video = {clipOfShown()}}), stored(pauses));
    clearPauses();
    EXPECT_TRUE(tester.run([](QATester& t) { return t.checkTimecode(); }));
    // One for each picture, none for its texts.
    EXPECT_EQ(callerPauses(), pauses == QAPauses::fixed
                                  ? (std::vector<unsigned>{500, 1000, 1000, 1000, 100})
                                  : std::vector<unsigned>());
  }
}

TEST_F(TimecodeWindows, OfAFileOfLessThanASecondAreNone) {
  const WindowSystem system(WindowSystem::State::available);
  runOn(ffv1(20));
  expectNothingShown();
  EXPECT_EQ(openCVCalls().windowsDestroyed, 1) << "all windows are closed at the end all the same";
}

TEST_F(TimecodeWindows, BecomePictureFilesIfAskedFor) {
  const WindowSystem system(WindowSystem::State::available);
  runAt(QADisplays::pictures);
  expectNothingShown();
  EXPECT_EQ(openCVCalls().windowsDestroyed, 0);
  EXPECT_EQ(pictureFiles(),
            (std::vector<std::string>{"Timecode-Video-00000.png", "Timecode-Video-00001.png",
                                      "Timecode-Video-00002.png", "Timecodes-00000.png",
                                      "Timecodes-00001.png", "Timecodes-00002.png"}));
  EXPECT_EQ(difference(readPng(pictures_ + "/Timecodes-00002.png"), firstTexts()[2]), "");
  EXPECT_EQ(difference(readPng(pictures_ + "/Timecode-Video-00002.png"),
                       expectedPicture(clipOfShown(), 2)),
            "");
}

TEST_F(TimecodeWindows, PictureFilesThatCannotBeWrittenAreToldOfOnce) {
  writeFile(folder_.file("pictures"), "a file, no folder");
  runAt(QADisplays::pictures);
  EXPECT_EQ(count_, kFrames);
  const std::size_t first = logged_.find(pictures_);
  EXPECT_NE(first, std::string::npos);
  EXPECT_EQ(logged_.find(pictures_ + "/Timecode", first + 1), std::string::npos) << logged_;
}

}  // namespace
