// What holds for the pulldown, the tearing and the transition check alike.

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <stop_token>
#include <thread>
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

TEST(PictureCheckRun, PixelFormatsThatCanBeMeasuredAreTheThreePlanarOnes) {
  const TempDir folder;
  const std::pair<AVPixelFormat, const char*> formats[] = {
      {AV_PIX_FMT_YUV420P, "YUV420P pixel format."},
      {AV_PIX_FMT_YUV422P, "YUV422P pixel format."},
      {AV_PIX_FMT_YUV444P, "YUV444P pixel format."}};
  for (const auto& [format, name] : formats) {
    const std::string file = makeClip(folder, "clip.nut", {.video = {noise(60, {25, 1}, format)}});
    forEachCheck([&](const PictureCheck& check) {
      LoggedTester tester(file, stored(), quick(check, 10));
      run(check, tester);
      EXPECT_EQ(tester.logged(), wholeLog(check, name));
      EXPECT_EQ(tester.outcomes.at(0).count, 10);
    });
  }
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
    for (const char* budget : {"1", "0", "-5", "many"}) {
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

TEST(PictureCheckRun, BudgetIsBoundedByDurationAndRate) {
  const TempDir folder;
  for (const AVRational rate :
       {AVRational{24000, 1001}, AVRational{24, 1}, AVRational{25, 1}, AVRational{30000, 1001},
        AVRational{30, 1}, AVRational{50, 1}, AVRational{60000, 1001}, AVRational{60, 1}}) {
    // The sound makes the file 4.5 s long, the pictures end half a second before.
    const double fps = static_cast<double>(rate.num) / rate.den;
    VideoSpec video = noise(static_cast<int>(4 * fps), rate);
    video.width = video.height = 16;
    AudioSpec sound = audio("pcm_s16le", 1, 4.5);
    sound.rate = 8000;
    const std::string file = makeClip(folder, "clip.mkv", {.video = {video}, .audio = {sound}});
    const int slate = static_cast<int>(fps);
    // Other checks: the frames of 4.5 s, less the slate, less a second's worth of whole frames.
    const int budget = static_cast<int>(4.5 * fps) - slate - static_cast<int>(fps);
    // Tearing: those of 4 s, and exactly the frames of a second.
    const int tearingBudget =
        static_cast<int>(static_cast<int>(4 * static_cast<float>(fps)) - slate - fps);
    EXPECT_LT(tearingBudget, budget);
    forEachCheck([&](const PictureCheck& check) {
      SCOPED_TRACE(fps);
      LoggedTester tester(file, stored(), quick(check, 1000, 1));
      run(check, tester);
      const int expected = check.tag == std::string("QATearing") ? tearingBudget : budget;
      EXPECT_EQ(tester.outcomes.at(0).budget, expected);
      EXPECT_EQ(tester.outcomes.at(0).count, expected);
      EXPECT_EQ(tester.listener.progress[check.slot], percentsOf(expected, check.progressStep));
    });
  }
}

TEST(PictureCheckRun, NothingLeftToMeasureGivesTheResultOfNoPictures) {
  const char* const tooShort = "too short, or of unknown duration: no frames are left to measure";
  struct {
    const char* why;
    int frames;
    int slateSeconds;
    bool live;
    const char* reason;
  } const cases[] = {
      {"a second's worth is left", 50, 1, false, tooShort},
      {"less than a second", 20, 0, false, tooShort},
      {"ends within the slate", 50, 5, false, "the file ends within the slate of 5 s"},
      {"unknown duration", 60, 1, true, tooShort},
  };
  const TempDir folder;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    ClipSpec spec{.video = {noise(c.frames)}};
    if (c.live) {
      spec = withoutDuration(spec);
    }
    const std::string file = makeClip(folder, "clip.mkv", spec);
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

TEST(PictureCheckRun, FixedAndUntilReadyPausesGiveTheSame) {
  const TempDir folder;
  for (const VideoSpec& video : codecs()) {
    SCOPED_TRACE(video.encoder);
    const std::string file =
        makeClip(folder, "clip.mkv", {.video = {video}, .audio = audioStreams(2)});
    forEachCheck([&](const PictureCheck& check) {
      LoggedTester fixed(file, stored(QAPauses::fixed), quick(check, 11));
      LoggedTester ready(file, stored(QAPauses::untilReady), quick(check, 11));
      EXPECT_EQ(run(check, fixed), run(check, ready));
      EXPECT_EQ(fixed.logged(), ready.logged());
      EXPECT_EQ(fixed.listener.progress, ready.listener.progress);
      EXPECT_EQ(fixed.listener.messages, ready.listener.messages);
      EXPECT_EQ(fixed.listener.failures, ready.listener.failures);
      EXPECT_EQ(fixed.outcomes.at(0).count, 11);
      EXPECT_EQ(ready.outcomes.at(0).count, 11);
    });
  }
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

/// Asks for a stop when it hears of progress.
class StoppingListener : public RecordingListener {
 public:
  explicit StoppingListener(std::stop_source& stop) : stop_(stop) {}

 private:
  void onPercent(float) override { stop_.request_stop(); }

  std::stop_source& stop_;
};

TEST(PictureCheckRun, StopEndsTheLoopWithWhatWasMeasured) {
  const TempDir folder;
  const std::string file = makeClip(folder, "clip.nut", {.video = {noise(60)}});
  writeFile(folder.file("settings"), quickPictures(20));
  forEachCheck([&](const PictureCheck& check) {
    std::stop_source stop;
    StoppingListener listener(stop);
    QACheckOutcome outcome;
    QATesterOptions options = stored();
    options.stop = stop.get_token();
    options.console = [](const std::string&) {};
    options.outcome = [&](const QACheckOutcome& o) { outcome = o; };
    QATester tester(file.c_str(), &listener, folder.file("settings").c_str(), "", options);
    check.run(tester);
    EXPECT_TRUE(outcome.stopped);
    EXPECT_TRUE(outcome.measured);
    // The first percent that is not 0 comes with the second picture, or with the first group.
    EXPECT_EQ(outcome.count, check.progressStep == 1 ? 2 : 5);
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

TEST(PictureCheckRun, NeedsNeitherListenerNorLogger) {
  const TempDir folder;
  const std::string file = makeClip(folder, "clip.nut", {.video = {noise(140, {5, 1})}});
  const Footage footage = footageOf(file, 5, 100);
  QATester tester(file.c_str(), nullptr, "", "", untilReady());
  QATester soundOnly(makeClip(folder, "clip.wav", {.audio = audioStreams(1)}).c_str(), nullptr, "",
                     "", untilReady());
  QATester unreadable(makeClip(folder, "clip.mov", {.video = {proRes(5)}}).c_str(), nullptr, "", "",
                      untilReady());
  forEachCheck([&](const PictureCheck& check) {
    EXPECT_EQ(check.run(tester), expectedOf(check, footage, 100));
    EXPECT_EQ(check.run(soundOnly), check.couldNotRun);
    EXPECT_EQ(check.run(unreadable), check.couldNotRun);
  });
}

TEST(PictureCheckRun, TestersInSeveralThreadsDoNotDisturbEachOther) {
  const TempDir folder;
  const std::string file = makeClip(folder, "clip.nut", {.video = {noise(60)}});
  writeFile(folder.file("settings"), quickPictures(15));
  const Footage footage = footageOf(file, 0, 15);
  std::vector<std::vector<std::vector<double>>> results(6);
  {
    std::vector<std::jthread> threads;
    for (auto& mine : results) {
      threads.emplace_back([&] {
        QATester tester(file.c_str(), nullptr, folder.file("settings").c_str(), "", stored());
        for (const PictureCheck& check : pictureChecks()) {
          mine.push_back(check.run(tester));
        }
      });
    }
  }
  for (const auto& mine : results) {
    for (std::size_t i = 0; i < mine.size(); ++i) {
      EXPECT_EQ(mine[i], expectedOf(pictureChecks()[i], footage, 15)) << pictureChecks()[i].tag;
    }
  }
}

}  // namespace
