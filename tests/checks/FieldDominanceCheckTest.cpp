#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "checks/EarlyReturns.h"
#include "checks/video/FieldDominance.h"
#include "support/Clips.h"
#include "support/FakeSleep.h"
#include "support/LoggedTester.h"
#include "support/TempDir.h"
#include "support/Values.h"

namespace {

using namespace qatest;
using qatester::FieldDominanceMeasurement;

using Pauses = std::vector<unsigned>;

constexpr auto kUnknown = QA_FRAME_TYPE_UNKNOWN;
constexpr auto kInterlaced = QA_FRAME_TYPE_INTERLACED;
constexpr auto kProgressive = QA_FRAME_TYPE_PROGRESSIVE;
constexpr auto kNoField = QA_FIELD_TYPE_UNKNOWN;
constexpr auto kUpper = QA_FIELD_TYPE_UPPER;
constexpr auto kLower = QA_FIELD_TYPE_LOWER;

// Classification.

/// Takes `pictures` pictures, of which the first are interlaced, and the first are top field first.
void addPictures(FieldDominanceMeasurement& measurement, int pictures, int interlaced,
                 int topFieldFirst) {
  for (int i = 0; i < pictures; ++i) {
    measurement.addFlags(i < interlaced ? 1 : 0, i < topFieldFirst ? 1 : 0);
  }
}

QA_FieldDominance classified(int pictures, int interlaced, int topFieldFirst) {
  FieldDominanceMeasurement measurement;
  measurement.begin(25.0F, pictures);
  addPictures(measurement, pictures, interlaced, topFieldFirst);
  return measurement.verdict();
}

struct Row {
  int pictures;
  int interlaced;
  int topFieldFirst;
  QA_FrameType frameType;
  QA_FieldType fieldType;
};

void expectRows(const std::vector<Row>& rows) {
  for (const Row& row : rows) {
    SCOPED_TRACE(std::to_string(row.interlaced) + " interlaced and " +
                 std::to_string(row.topFieldFirst) + " top field first of " +
                 std::to_string(row.pictures));
    const QA_FieldDominance result = classified(row.pictures, row.interlaced, row.topFieldFirst);
    EXPECT_EQ(result.frameType, row.frameType);
    EXPECT_EQ(result.fieldType, row.fieldType);
  }
}

TEST(FieldDominanceMeasurement, FramesAreWhatMoreThanFourFifthsOfThemAre) {
  expectRows({
      {100, 100, 100, kInterlaced, kUpper},
      {100, 81, 100, kInterlaced, kUpper},
      {100, 79, 100, kUnknown, kNoField},
      {100, 50, 100, kUnknown, kNoField},
      {100, 21, 100, kUnknown, kNoField},
      {100, 19, 100, kProgressive, kNoField},
      {100, 0, 100, kProgressive, kNoField},
      {1, 1, 1, kInterlaced, kUpper},
      {1, 0, 0, kProgressive, kNoField},
      {2, 1, 1, kUnknown, kNoField},
  });
}

TEST(FieldDominanceMeasurement, TheFieldThatComesFirstIsThatOfMoreThanFourFifths) {
  expectRows({
      {100, 100, 81, kInterlaced, kUpper},
      {100, 100, 79, kInterlaced, kNoField},
      {100, 90, 50, kInterlaced, kNoField},
      {100, 100, 21, kInterlaced, kNoField},
      {100, 100, 19, kInterlaced, kLower},
      {100, 100, 0, kInterlaced, kLower},
      {100, 81, 0, kInterlaced, kLower},
  });
}

TEST(FieldDominanceMeasurement, FourFifthsAreMoreThanThemselvesAndOneFifthIsNotLess) {
  ASSERT_GT(static_cast<double>(4.0F / 5.0F), 0.8) << "in single precision";
  ASSERT_GT(static_cast<double>(1.0F / 5.0F), 0.2) << "in single precision";
  for (const int fifth : {1, 2, 3, 5, 20, 200, 7001}) {
    expectRows({
        {5 * fifth, 4 * fifth, 5 * fifth, kInterlaced, kUpper},
        {5 * fifth, fifth, 5 * fifth, kUnknown, kNoField},
        {5 * fifth, 5 * fifth, 4 * fifth, kInterlaced, kUpper},
        {5 * fifth, 5 * fifth, fifth, kInterlaced, kNoField},
        {5 * fifth, 4 * fifth, 0, kInterlaced, kLower},
    });
  }
}

TEST(FieldDominanceMeasurement, OnlyInterlacedFramesHaveAFirstField) {
  for (int top = 0; top <= 100; ++top) {
    expectRows({{100, 0, top, kProgressive, kNoField}, {100, 50, top, kUnknown, kNoField}});
  }
}

TEST(FieldDominanceMeasurement, WithoutPicturesNothingIsKnown) {
  expectRows({{0, 0, 0, kUnknown, kNoField}});
  const QA_FieldDominance unbegun = FieldDominanceMeasurement().verdict();
  EXPECT_EQ(unbegun.frameType, kUnknown);
  EXPECT_EQ(unbegun.fieldType, kNoField);
}

TEST(FieldDominanceMeasurement, StartsAnew) {
  FieldDominanceMeasurement measurement;
  measurement.begin(25.0F, 100);
  addPictures(measurement, 100, 100, 100);
  measurement.begin(25.0F, 1);
  measurement.addFlags(0, 0);
  EXPECT_EQ(measurement.verdict().frameType, kProgressive);
  QACheckOutcome outcome;
  measurement.describe(outcome);
  outcome = {};
  outcome.began = true;
  measurement.describe(outcome);
  EXPECT_EQ(numberOf(outcome, "interlaced"), 0.0);
}

// Whole runs.

QA_FieldDominance check(LoggedTester& tester) {
  return tester.run([](QATester& t) { return t.checkFieldDominance(); });
}

/// Drops one frame and measures `budget`.
std::string quick(int budget) {
  return "QATesterSlateSeconds=0\nFieldFrameChecks=" + std::to_string(budget) + "\n";
}

/// A number of the only outcome.
double figureOf(const LoggedTester& tester, const std::string& key) {
  return numberOf(tester.outcomes.at(0), key);
}

enum class Scan { progressive, topFirst, bottomFirst };

VideoSpec scanned(VideoSpec video, Scan scan) {
  video.interlaced = scan != Scan::progressive;
  video.topFieldFirst = scan == Scan::topFirst;
  return video;
}

TEST(FieldDominanceCheck, PlainConstructorMeasuresAHundredFramesBehindFiveSeconds) {
  const TempDir folder;
  VideoSpec video = ffv1(225);  // 5 s and a hundred frames
  video.width = 16;
  video.height = 16;
  LoggedTester tester(makeClip(folder, "clip.mkv", {.video = {video}}));
  clearPauses();
  const QA_FieldDominance result = check(tester);
  EXPECT_EQ(result.frameType, kProgressive);
  EXPECT_EQ(result.fieldType, kNoField);
  EXPECT_EQ(tester.logged(),
            "QAFieldDominance: Starting Test...\n"
            "QAFieldDominance: Buffering...\n"
            "QAFieldDominance: Detected YUV420P pixel format.\n"
            "QAFieldDominance: Dumping slate...\n"
            "QAFieldDominance: Starting Checks.\n"
            "QAFieldDominance: Stopping Test...\n"
            "QAFieldDominance: Test Complete.\n");
  EXPECT_EQ(callerPauses(), (Pauses{500, 100}));
  std::vector<float> percents;
  for (int i = 1; i < 100; ++i) {
    if (i != 53 && i != 59) {  // lost in single precision
      percents.push_back(static_cast<float>(i));
    }
  }
  EXPECT_EQ(tester.listener.progress["field-dominance"], percents);
  EXPECT_EQ(tester.listener.progress.size(), 1U);
  EXPECT_TRUE(tester.listener.messages.empty());
  EXPECT_EQ(tester.listener.failures, 0);
  EXPECT_EQ(tester.outcomes.at(0).tag, "QAFieldDominance");
  EXPECT_EQ(tester.outcomes.at(0).count, 100);
}

struct ScannedClip {
  const char* fileName;
  VideoSpec video;
  QA_FrameType frameType;
  QA_FieldType fieldType;
};

TEST(FieldDominanceCheck, TellsTheScanOfRealPictures) {
  constexpr int kBudget = 4;
  const std::vector<ScannedClip> clips = {
      {"mpeg2-p.ts", scanned(mpeg2WithBFrames(10), Scan::progressive), kProgressive, kNoField},
      {"mpeg2-t.ts", scanned(mpeg2WithBFrames(12), Scan::topFirst), kInterlaced, kUpper},
      {"mpeg2-b.mpg", scanned(mpeg2WithBFrames(12), Scan::bottomFirst), kInterlaced, kLower},
      {"h264-p.mp4", scanned(h264WithBFrames(16), Scan::progressive), kProgressive, kNoField},
      {"h264-t.mp4", scanned(h264WithBFrames(16), Scan::topFirst), kInterlaced, kUpper},
      {"h264-b.mkv", scanned(h264WithBFrames(16), Scan::bottomFirst), kInterlaced, kLower},
      {"dv.dv", dvPal(5), kInterlaced, kLower},
  };
  for (const ScannedClip& clip : clips) {
    SCOPED_TRACE(clip.fileName);
    const TempDir folder;
    LoggedTester tester(makeClip(folder, clip.fileName, {.video = {clip.video}}), stored(),
                        quick(kBudget));
    const QA_FieldDominance result = check(tester);
    EXPECT_EQ(result.frameType, clip.frameType);
    EXPECT_EQ(result.fieldType, clip.fieldType);
    EXPECT_EQ(tester.outcomes.at(0).count, kBudget);
    EXPECT_EQ(figureOf(tester, "interlaced"), clip.frameType == kInterlaced ? kBudget : 0);
    EXPECT_EQ(figureOf(tester, "topFieldFirst"), clip.fieldType == kUpper ? kBudget : 0);
  }
}

/// A transport stream whose scan changes from part to part.
std::string clipOfScans(const TempDir& folder, const std::string& name,
                        const std::vector<std::pair<Scan, int>>& parts) {
  std::string stream;
  int first = 0;
  for (const auto& [scan, frames] : parts) {
    VideoSpec video = scanned(mpeg2WithBFrames(frames), scan);
    video.bFrames = 0;
    // Of another height the decoder starts anew where the scan changes, and loses a picture.
    video.height = 64;
    video.edit = [first](AVPacket& packet, int) {
      packet.pts += first;
      packet.dts += first;
    };
    stream += readFile(makeClip(folder, "part.ts", {.video = {video}}));
    first += frames;
  }
  writeFile(folder.file(name), stream);
  return folder.file(name);
}

TEST(FieldDominanceCheck, CountsTheScansOfAFileThatMixesThem) {
  constexpr int kBudget = 10;
  struct Mixed {
    std::vector<std::pair<Scan, int>> parts;
    int interlaced;
    int topFieldFirst;
    QA_FrameType frameType;
    QA_FieldType fieldType;
  };
  // The first frame of each is dropped.
  const std::vector<Mixed> clips = {
      {{{Scan::topFirst, 9}, {Scan::progressive, 10}}, 8, 8, kInterlaced, kUpper},
      {{{Scan::topFirst, 8}, {Scan::progressive, 10}}, 7, 7, kUnknown, kNoField},
      {{{Scan::progressive, 9}, {Scan::topFirst, 10}}, 2, 2, kUnknown, kNoField},
      {{{Scan::progressive, 10}, {Scan::topFirst, 10}}, 1, 1, kProgressive, kNoField},
      {{{Scan::bottomFirst, 10}, {Scan::topFirst, 10}}, 10, 1, kInterlaced, kLower},
      {{{Scan::bottomFirst, 6}, {Scan::topFirst, 10}}, 10, 5, kInterlaced, kNoField},
  };
  for (std::size_t i = 0; i < clips.size(); ++i) {
    SCOPED_TRACE(i);
    const TempDir folder;
    LoggedTester tester(clipOfScans(folder, "clip.ts", clips[i].parts), stored(), quick(kBudget));
    const QA_FieldDominance result = check(tester);
    EXPECT_EQ(result.frameType, clips[i].frameType);
    EXPECT_EQ(result.fieldType, clips[i].fieldType);
    EXPECT_EQ(tester.outcomes.at(0).count, kBudget);
    EXPECT_EQ(figureOf(tester, "interlaced"), clips[i].interlaced);
    EXPECT_EQ(figureOf(tester, "topFieldFirst"), clips[i].topFieldFirst);
  }
}

TEST(FieldDominanceCheck, ReadsItsBudgetFromItsKey) {
  const TempDir folder;
  const std::string file = makeClip(folder, "clip.nut", {.video = {ffv1(30)}});
  const std::vector<std::pair<std::string, int>> budgets = {
      {"3", 3}, {"25", 25}, {"1", 1}, {"0", 1}, {"-7", 1}};
  for (const auto& [text, budget] : budgets) {
    LoggedTester tester(file, stored(), "QATesterSlateSeconds=0\nFieldFrameChecks=" + text + "\n");
    EXPECT_EQ(check(tester).frameType, kProgressive) << text;
    EXPECT_EQ(tester.outcomes.at(0).budget, budget) << text;
    EXPECT_EQ(tester.outcomes.at(0).count, budget) << text;
  }
}

TEST(FieldDominanceCheck, ProgressIsInPercentsOfTheBudget) {
  const TempDir folder;
  LoggedTester tester(makeClip(folder, "clip.nut", {.video = {ffv1(30)}}), stored(), quick(5));
  check(tester);
  EXPECT_EQ(tester.listener.progress["field-dominance"], (std::vector<float>{20, 40, 60, 80}));
}

TEST(FieldDominanceCheck, WithNothingLeftBehindTheSlateNothingIsKnown) {
  const TempDir folder;
  LoggedTester tester(makeClip(folder, "clip.mkv", {.video = {ffv1(30)}}), stored(),
                      "QATesterSlateSeconds=1\nFieldFrameChecks=100\n");
  const QA_FieldDominance result = check(tester);
  EXPECT_EQ(result.frameType, kUnknown);
  EXPECT_EQ(result.fieldType, kNoField);
  EXPECT_EQ(tester.outcomes.at(0).budget, 30 - 25 - 25);
  EXPECT_FALSE(tester.outcomes.at(0).measured);
  EXPECT_NE(tester.logged().find("QAFieldDominance: Test Complete."), std::string::npos);
}

TEST(FieldDominanceCheck, ClassifiesWhatCameBeforeADecoderStalled) {
  const TempDir folder;
  VideoSpec video = scanned(mpeg2WithBFrames(60), Scan::topFirst);
  const std::string whole = makeClip(folder, "clip.mkv", {.video = {video}});
  const std::string cut = truncatedCopy(folder, "cut.mkv", whole, readFile(whole).size() / 2);
  LoggedTester tester(cut, stored(), quick(50));
  const QA_FieldDominance result = check(tester);
  EXPECT_EQ(result.frameType, kInterlaced);
  EXPECT_EQ(result.fieldType, kUpper);
  EXPECT_EQ(tester.outcomes.at(0).budget, 50);
  const int came = tester.outcomes.at(0).count;
  EXPECT_GT(came, 10);
  EXPECT_LT(came, 50);
  EXPECT_EQ(figureOf(tester, "interlaced"), came) << "and not what was asked for";
}

TEST(FieldDominanceCheck, ThatCannotRunReturnsAllZero) {
  for (const EarlyReturn& c : earlyReturns("QAFieldDominance")) {
    SCOPED_TRACE(c.name);
    const TempDir folder;
    LoggedTester tester(c.makeIn(folder), untilReady());
    const QA_FieldDominance result = check(tester);
    EXPECT_EQ(result.frameType, kUnknown);
    EXPECT_EQ(result.fieldType, kNoField);
    EXPECT_EQ(tester.logged(), "QAFieldDominance: Starting Test...\n" + c.logged);
    EXPECT_EQ(tester.listener.messages, c.messages);
    EXPECT_EQ(tester.listener.failures, c.failures);
    EXPECT_TRUE(tester.listener.progress.empty());
  }
}

TEST(FieldDominanceCheck, NeedsNeitherListenerNorLogger) {
  const TempDir folder;
  const std::string file =
      makeClip(folder, "clip.ts", {.video = {scanned(mpeg2WithBFrames(12), Scan::bottomFirst)}});
  writeFile(folder.file("settings"), quick(3));
  QATester tester(file.c_str(), nullptr, folder.file("settings").c_str(), "", stored());
  EXPECT_EQ(tester.checkFieldDominance().fieldType, kLower);
  EXPECT_EQ(tester.checkFieldDominance().fieldType, kLower) << "may run more than once";
}

}  // namespace
