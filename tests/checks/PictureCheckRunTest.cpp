// What holds for the pulldown, the tearing and the transition check alike, beside the steps that
// all video checks share: these are proved in tester/VideoCheckRunTest.cpp.

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <utility>

#include "checks/PictureChecks.h"
#include "support/ChangingFormat.h"
#include "support/FakeSleep.h"

namespace {

using namespace qatest;

using Pauses = std::vector<unsigned>;

void forEachCheck(const std::function<void(const PictureCheck& check)>& test) {
  for (const PictureCheck& check : pictureChecks()) {
    SCOPED_TRACE(check.tag);
    test(check);
  }
}

std::string line(const PictureCheck& check, const std::string& text) {
  return check.tag + (": " + text) + "\n";
}

std::string wholeLog(const PictureCheck& check, const std::string& pixelFormat) {
  return line(check, "Beginning Test.") + line(check, "Buffering...") +
         line(check, "Detected " + pixelFormat) + line(check, "Dumping slate...") +
         line(check, "Starting Checks.") + line(check, "Stopping Test...") +
         (check.logsCompletion ? line(check, "Test Complete.") : "");
}

/// Noise of 48 x 16 pixels.
VideoSpec noise(int frames, AVRational rate = {25, 1},
                AVPixelFormat pixelFormat = AV_PIX_FMT_YUV420P) {
  VideoSpec video = ffv1(frames, pixelFormat, rate);
  video.width = 48;
  video.height = 16;
  video.pixel = noisePixel;
  return video;
}

/// What the check should give of a clip.
std::vector<double> expectedOf(const PictureCheck& check, const Footage& footage, int budget) {
  const std::string tag = check.tag;
  if (tag == "QAPulldown") {
    return numbersOf(expectedPulldown(footage, budget).record);
  }
  if (tag == "QATearing") {
    return {expectedTearing(footage, budget).passed ? 1.0 : 0.0};
  }
  return {static_cast<double>(expectedTransitions(footage, budget).count)};
}

TEST(PictureCheckRun, PlainConstructorMeasuresAHundredPicturesBehindFiveSecondsWithFixedPauses) {
  const TempDir folder;
  const std::string file =
      makeClip(folder, "clip.nut", {.video = {noise(140, {5, 1}, AV_PIX_FMT_YUV422P)}});
  const Footage footage = footageOf(file, 5, 100);
  ASSERT_EQ(footage.pictures.size(), 100U);
  EXPECT_EQ(footage.pictures[0].time, 5.0);
  forEachCheck([&](const PictureCheck& check) {
    LoggedTester tester(file, {}, quick(check, 1));  // settings that are not looked up
    clearPauses();
    EXPECT_EQ(run(check, tester), expectedOf(check, footage, 100));
    EXPECT_EQ(callerPauses(), (Pauses{500, 100}));
    EXPECT_EQ(tester.logged(), wholeLog(check, "YUV422P pixel format."));
    EXPECT_EQ(tester.listener.progress[check.slot], percentsOf(100, check.progressStep));
    EXPECT_EQ(tester.listener.progress.size(), 1U);
    EXPECT_TRUE(tester.listener.messages.empty());
    EXPECT_EQ(tester.listener.failures, 0);
    ASSERT_EQ(tester.outcomes.size(), 1U);
    const QACheckOutcome& outcome = tester.outcomes[0];
    EXPECT_EQ(outcome.tag, check.tag);
    EXPECT_TRUE(outcome.opened);
    EXPECT_TRUE(outcome.measured);
    EXPECT_FALSE(outcome.stopped);
    EXPECT_EQ(outcome.reason, "");
    EXPECT_EQ(outcome.budget, 100);
    EXPECT_EQ(outcome.count, 100);
  });
}

TEST(PictureCheckRun, ProgressOfAHundredIsTruncatedInSinglePrecision) {
  // 53 / 100 and 59 / 100 in single precision are a little too small: 52 and 58 come again.
  std::vector<float> eachPicture;
  for (int i = 1; i < 100; ++i) {
    if (i != 53 && i != 59) {
      eachPicture.push_back(static_cast<float>(i));
    }
  }
  EXPECT_EQ(percentsOf(100), eachPicture);
  EXPECT_EQ(percentsOf(100, 5), (std::vector<float>{4,  9,  14, 19, 24, 29, 34, 39, 44, 49,
                                                    54, 58, 64, 69, 74, 79, 84, 89, 94, 99}));
}

TEST(PictureCheckRun, OnlyPicturesBehindTheSlateAndInTheBudgetCount) {
  const TempDir folder;
  const std::string file = makeClip(folder, "clip.nut", {.video = {noise(100)}});
  for (const int slateSeconds : {0, 1, 2}) {
    const Footage footage = footageOf(file, slateSeconds, 100);
    // A slate of 0 s drops one picture all the same.
    EXPECT_EQ(footage.pictures.at(0).time, slateSeconds == 0 ? 1 / 25.0 : slateSeconds);
    expectTheDefinitionToHold(file, 10, slateSeconds);
  }
}

TEST(PictureCheckRun, BudgetBelowOneBecomesOne) {
  const TempDir folder;
  const std::string file = makeClip(folder, "clip.nut", {.video = {noise(60)}});
  forEachCheck([&](const PictureCheck& check) {
    for (const char* budget : {"1", "0"}) {
      SCOPED_TRACE(budget);
      LoggedTester tester(
          file, stored(),
          std::string("QATesterSlateSeconds=0\n") + check.budgetKey + "=" + budget + "\n");
      const std::vector<double> nothingFound =
          check.tag == std::string("QATearing") ? std::vector<double>{1.0} : check.nothingMeasured;
      EXPECT_EQ(run(check, tester), nothingFound);
      EXPECT_EQ(tester.outcomes.at(0).budget, 1);
      EXPECT_EQ(tester.outcomes.at(0).count, 1);
      EXPECT_TRUE(tester.listener.progress.empty());
    }
  });
}

TEST(PictureCheckRun, BudgetOfOneCheckIsNotThatOfAnother) {
  const TempDir folder;
  const std::string file = makeClip(folder, "clip.nut", {.video = {noise(60)}});
  LoggedTester tester(file, stored(),
                      "QATesterSlateSeconds=0\nPullDownFrameChecks=6\nTearingFrameChecks=7\n"
                      "TransitionFrameChecks=8\n");
  forEachCheck([&](const PictureCheck& check) { run(check, tester); });
  EXPECT_EQ(tester.outcomes.at(0).count, 6);
  EXPECT_EQ(tester.outcomes.at(1).count, 7);
  EXPECT_EQ(tester.outcomes.at(2).count, 8);
}

TEST(PictureCheckRun, NothingLeftToMeasureGivesTheResultOfNoPictures) {
  const char* const tooShort = "too short, or of unknown duration: no frames are left to measure";
  struct {
    const char* why;
    int frames;
    int slateSeconds;
    const char* reason;
  } const cases[] = {
      {"a second's worth is left", 50, 1, tooShort},
      {"ends within the slate", 50, 5, "the file ends within the slate of 5 s"},
  };
  const TempDir folder;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    const std::string file = makeClip(folder, "clip.mkv", {.video = {noise(c.frames)}});
    forEachCheck([&](const PictureCheck& check) {
      LoggedTester tester(file, stored(), quick(check, 100, c.slateSeconds));
      EXPECT_EQ(run(check, tester), check.nothingMeasured);
      EXPECT_EQ(tester.logged(), wholeLog(check, "YUV420P pixel format."));
      EXPECT_FALSE(tester.outcomes.at(0).measured);
      EXPECT_LE(tester.outcomes.at(0).budget, 0);
      EXPECT_EQ(tester.outcomes.at(0).reason, c.reason);
      EXPECT_TRUE(tester.listener.progress.empty());
    });
  }
}

TEST(PictureCheckRun, ThatCannotRunReturnsItsResultForThat) {
  const TempDir folder;
  struct {
    const char* name;
    std::string file;
    std::string firstLine;
    std::string lastLine;
    bool tellsMessage;
    int failures;
    const char* reason;
  } const cases[] = {
      {"missing file", folder.file("none.mov"), "", "Failed to load file...", false, 0, nullptr},
      {"no video", makeClip(folder, "clip.wav", {.audio = audioStreams(1)}), "Buffering...",
       "No video stream.", true, 0, "no video stream"},
      {"10 bits", makeClip(folder, "deep.mov", {.video = {proRes(5)}}), "Buffering...",
       "Detected Other", false, 1,
       "pixel format yuv422p10le is not 8-bit planar 4:2:0, 4:2:2 or 4:4:4"},
      {"full range", makeClip(folder, "full.mov", {.video = {mjpeg(5)}}), "Buffering...",
       "Detected Other", false, 1,
       "pixel format yuvj420p is not 8-bit planar 4:2:0, 4:2:2 or 4:4:4"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    forEachCheck([&](const PictureCheck& check) {
      LoggedTester tester(c.file);
      clearPauses();
      EXPECT_EQ(run(check, tester), check.couldNotRun);
      EXPECT_EQ(tester.logged(), line(check, "Beginning Test.") +
                                     (c.firstLine.empty() ? "" : line(check, c.firstLine)) +
                                     line(check, c.lastLine));
      EXPECT_EQ(tester.listener.messages,
                c.tellsMessage ? std::vector{check.tag + std::string(": No video stream.")}
                               : std::vector<std::string>());
      EXPECT_EQ(tester.listener.failures, c.failures);
      EXPECT_TRUE(tester.listener.progress.empty());
      EXPECT_EQ(callerPauses(), c.firstLine.empty() ? Pauses{} : Pauses{500});
      const QACheckOutcome& outcome = tester.outcomes.at(0);
      EXPECT_EQ(outcome.opened, !c.firstLine.empty());
      EXPECT_FALSE(outcome.measured);
      if (c.reason != nullptr) {
        EXPECT_EQ(outcome.reason, c.reason);
      } else {
        EXPECT_NE(outcome.reason, "");
      }
    });
  }
}

/// Of decoders that delay no, one and two pictures.
const std::vector<VideoSpec>& codecs() {
  static const std::vector<VideoSpec> specs = {noise(45), mpeg2WithBFrames(45),
                                               h264WithBFrames(45)};
  return specs;
}

TEST(PictureCheckRun, EveryLayoutAndSizeHoldsToTheDefinition) {
  const TempDir folder;
  for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV444P}) {
    // Rows of 62, 63 and 65 pixels are no multiple of four bytes.
    for (const auto& [width, height] : {std::pair{62, 46}, std::pair{63, 47}, std::pair{65, 49},
                                        std::pair{64, 33}, std::pair{84, 25}, std::pair{22, 100},
                                        std::pair{21, 3}, std::pair{1, 1}, std::pair{3, 2}}) {
      SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height));
      VideoSpec video = noise(38, {25, 1}, format);
      video.encoder = "rawvideo";
      video.width = width;
      video.height = height;
      expectTheDefinitionToHold(makeClip(folder, "clip.nut", {.video = {video}}), 12);
    }
  }
}

TEST(PictureCheckRun, OtherCodecsHoldToTheDefinition) {
  const TempDir folder;
  for (const VideoSpec& video : codecs()) {
    expectTheDefinitionToHold(makeClip(folder, video.encoder + ".mkv", {.video = {video}}), 12);
  }
}

TEST(PictureCheckRun, PicturesOfAnotherPixelFormatAreConvertedAndMeasured) {
  // Only the stream's format at the start decides; what cannot be read by planes still converts.
  const TempDir folder;
  const std::string file = clipWithChangingFormat(folder, "clip.ts");
  expectTheDefinitionToHold(file, kReadableFrames + 10);
  forEachCheck([&](const PictureCheck& check) {
    LoggedTester tester(file, stored(), quick(check, kReadableFrames + 10));
    run(check, tester);
    EXPECT_EQ(tester.outcomes.at(0).count, kReadableFrames + 10);
    EXPECT_EQ(tester.outcomes.at(0).reason, "");
    EXPECT_EQ(tester.listener.failures, 0);
  });
}

TEST(PictureCheckRun, EndOfTheDataEndsTheLoopAndTheBudgetStays) {
  const TempDir folder;
  VideoSpec video = noise(100);
  video.encoder = "rawvideo";
  const std::string whole = makeClip(folder, "whole.mkv", {.video = {video}});
  const std::string cut = truncatedCopy(folder, "cut.mkv", whole, readFile(whole).size() * 3 / 10);
  const Footage footage = footageOf(cut, 0, 100);
  const int there = static_cast<int>(footage.pictures.size());
  EXPECT_NEAR(there, 29, 2);
  forEachCheck([&](const PictureCheck& check) {
    LoggedTester tester(cut, stored(), quick(check, 60));
    EXPECT_EQ(run(check, tester), expectedOf(check, footage, 60));
    EXPECT_EQ(tester.outcomes.at(0).budget, 60);
    EXPECT_EQ(tester.outcomes.at(0).count, there);
    EXPECT_EQ(tester.logged(), wholeLog(check, "YUV420P pixel format."));
    // The last percent is that of the last picture reported.
    const int last = there / check.progressStep * check.progressStep - 1;
    EXPECT_EQ(tester.listener.progress[check.slot].back(),
              std::trunc(static_cast<float>(last) / 60.0F * 100.0F));
  });
}

TEST(PictureCheckRun, MayRunMoreThanOnceAndInAnyOrder) {
  const TempDir folder;
  const std::string file = makeClip(folder, "clip.nut", {.video = {noise(60)}});
  const Footage footage = footageOf(file, 0, 15);
  LoggedTester tester(file, stored(), quickPictures(15));
  for (const int number : {2, 0, 1, 0, 2, 1}) {
    const PictureCheck& check = pictureChecks()[static_cast<std::size_t>(number)];
    EXPECT_EQ(run(check, tester), expectedOf(check, footage, 15)) << check.tag;
  }
}

}  // namespace
