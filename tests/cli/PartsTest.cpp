#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>

#include "ExitCode.h"
#include "Facts.h"
#include "FileReports.h"
#include "Lists.h"
#include "Output.h"
#include "ProgressBar.h"
#include "Report.h"
#include "Table.h"

namespace cli {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(NumberJson, ReadsBackToTheSameFloat) {
  for (const float value :
       {0.0F, -0.0F, 0.1F, 29.97F, 26.04F, 1.0e-45F, 3.4028235e38F, -1.0F / 3.0F}) {
    const Json read = Json::parse(numberJson(value).dump());
    ASSERT_TRUE(read.is_number());
    EXPECT_EQ(read.get<float>(), value);
    EXPECT_EQ(std::signbit(read.get<float>()), std::signbit(value));
  }
}

TEST(NumberJson, ReadsBackToTheSameDouble) {
  for (const double value : {0.1, -23.0, -1.0 / 3.0, 5.0e-324, 1.7976931348623157e308}) {
    EXPECT_EQ(Json::parse(numberJson(value).dump()).get<double>(), value);
  }
}

TEST(NumberJson, ThatIsNotFiniteIsAText) {
  EXPECT_EQ(numberJson(std::nan("")), "nan");
  EXPECT_EQ(numberJson(kInfinity), "inf");
  EXPECT_EQ(numberJson(-kInfinity), "-inf");
}

/// The text of a report's only check.
std::string checkText(const QACheckOutcome& outcome) {
  FileReport file;
  file.checks = {outcome};
  return reportJson({file}).at("files").at(0).at("checks").at(0).dump();
}

TEST(CheckJson, KeepsTheOrderOfItsKeys) {
  EXPECT_EQ(checkText(outcomeOf(QAState::pass)),
            R"({"name":"frame-rate","family":"classic","severity":"fail","state":"pass",)"
            R"("result":null,"limits":[],)"
            R"("events":[],"eventCount":0,"messages":[],"failures":0,"progress":[],)"
            R"("seconds":0.0})");
}

TEST(CheckJson, HoldsWhatTheListenerHeardAndTheReason) {
  QACheckOutcome outcome = outcomeOf(QAState::warn);
  outcome.severity = QASeverity::warn;
  outcome.reason = "some frames were left out";
  outcome.messages = {"one", "two"};
  outcome.failures = 3;
  outcome.progress = {1, 50};
  outcome.seconds = 0.12345;
  EXPECT_EQ(checkText(outcome),
            R"({"name":"frame-rate","family":"classic","severity":"warn","state":"warn",)"
            R"("reason":"some frames were left out","result":null,"limits":[],"events":[],)"
            R"("eventCount":0,"messages":["one","two"],"failures":3,"progress":[1,50],)"
            R"("seconds":0.123})");
}

TEST(CheckJson, HoldsValuesOfAllKindsInTheirOrder) {
  QACheckOutcome outcome = outcomeOf(QAState::info);
  outcome.values = {
      {"z", QANothing(), ""},
      {"flag", true, ""},
      {"count", int64_t{-9007199254740993}, ""},
      {"rate", 26.0, "fps"},
      {"silence", -kInfinity, "dB"},
      {"text", std::string("a\"b"), ""},
      {"numbers", std::vector<double>{1.5, kInfinity}, "s"},
      {"none", std::vector<QAValues>{}, ""},
      {"records",
       std::vector<QAValues>{
           {{"b", 1.0, ""}, {"a", std::vector<QAValues>{{{"deep", false, ""}}}, ""}}, {}},
       ""}};
  const Json check = Json::parse(checkText(outcome));
  EXPECT_EQ(check.at("result").dump(),
            R"({"z":null,"flag":true,"count":-9007199254740993,"rate":26.0,"silence":"-inf",)"
            R"("text":"a\"b","numbers":[1.5,"inf"],"none":[],)"
            R"("records":[{"b":1.0,"a":[{"deep":false}]},{}]})");
}

TEST(CheckJson, LeavesOutLimitsWithoutEnd) {
  QACheckOutcome outcome = outcomeOf(QAState::pass);
  outcome.limits = {{"RGB", 0.0, 255.0, ""},
                    {"level", -kInfinity, -1.0, "dB"},
                    {"share", -kInfinity, kInfinity, ""}};
  EXPECT_EQ(Json::parse(checkText(outcome)).at("limits").dump(),
            R"([{"of":"RGB","min":0.0,"max":255.0,"unit":""},)"
            R"({"of":"level","max":-1.0,"unit":"dB"},{"of":"share","unit":""}])");
}

TEST(CheckJson, HoldsOfAnEventWhatApplies) {
  QACheckOutcome outcome = outcomeOf(QAState::fail);
  QAEvent whole;
  whole.startSeconds = 1.5;
  whole.endSeconds = 2.0;
  whole.startFrame = 0;
  whole.endFrame = 50;
  whole.startTimecode = "10:00:00:00";
  whole.endTimecode = "10:00:00:12";
  whole.worstSeconds = 1.75;
  whole.worstFrame = 40;
  whole.value = -kInfinity;
  whole.limit = -1.0;
  whole.unit = "dB";
  whole.what = "clipping";
  whole.breaks = false;
  whole.stream = 0;
  whole.channel = 1;
  outcome.events = {whole, QAEvent()};
  outcome.eventCount = 5;
  const Json check = Json::parse(checkText(outcome));
  EXPECT_EQ(check.at("events").dump(),
            R"([{"startSeconds":1.5,"endSeconds":2.0,"startFrame":0,"endFrame":50,)"
            R"("startTimecode":"10:00:00:00","endTimecode":"10:00:00:12","worstSeconds":1.75,)"
            R"("worstFrame":40,"value":"-inf","limit":-1.0,"unit":"dB","what":"clipping",)"
            R"("breaks":false,"stream":0,"channel":1},{"breaks":true}])");
  EXPECT_EQ(check.at("eventCount"), 5) << "though some were not kept";
}

struct ExitCase {
  const char* why;
  std::vector<FileReport> files;
  bool named;
  bool otherTrouble;
  int signal;
  int code;
};

TEST(ExitCode, FollowsTheWorstThatHappened) {
  constexpr QAState kPass = QAState::pass;
  constexpr QAState kFail = QAState::fail;
  constexpr QAState kInfo = QAState::info;
  constexpr QAState kNone = QAState::notMeasured;
  const ExitCase cases[] = {
      {"all passed", {fileWith({kPass, kInfo})}, true, false, 0, 0},
      {"one warned", {fileWith({kPass, kInfo, QAState::warn})}, true, false, 0, 0},
      {"one failed", {fileWith({kPass}), fileWith({kFail})}, true, false, 0, 1},
      {"some that do not judge not measured", {reportingFile({kPass, kNone})}, false, false, 0, 0},
      {"those, one failed", {reportingFile({kFail, kNone})}, false, false, 0, 1},
      {"one that judges not measured", {fileWith({kPass, kNone})}, false, false, 0, 2},
      {"a named one not measured", {reportingFile({kPass, kNone})}, true, false, 0, 2},
      {"a named one not measured, one failed", {fileWith({kFail, kNone})}, true, false, 0, 2},
      {"measured without judging", {reportingFile({kInfo, kNone})}, false, false, 0, 0},
      {"nothing measured", {fileWith({kPass}), reportingFile({kNone})}, false, false, 0, 2},
      {"unreadable", {fileWith({kFail}, "is empty")}, false, false, 0, 2},
      {"other trouble", {fileWith({kFail})}, false, true, 0, 2},
      {"interrupted", {fileWith({kFail}, "is empty")}, false, true, 2, 130},
      {"terminated", {}, false, false, 15, 143},
  };
  for (const ExitCase& tested : cases) {
    EXPECT_EQ(exitCode(tested.files, {.named = tested.named}, tested.otherTrouble, tested.signal),
              tested.code)
        << tested.why;
  }
}

TEST(ExitCode, OfAWarningIs1WhereWarningsFail) {
  const FileReport warned = fileWith({QAState::pass, QAState::warn});
  EXPECT_EQ(exitCode({warned}, {}, false, 0), 0);
  EXPECT_EQ(exitCode({warned}, {.warningsFail = true}, false, 0), 1);
  EXPECT_EQ(exitCode({fileWith({QAState::pass})}, {.warningsFail = true}, false, 0), 0);
}

TEST(ExitCode, WhatIsNotThereIsMissedOnlyIfItWasAskedFor) {
  FileReport file = fileWith({QAState::pass, QAState::notMeasured});
  file.checks.back().subjectAbsent = true;
  EXPECT_EQ(exitCode({file}, {}, false, 0), 0);
  EXPECT_EQ(exitCode({file}, {.named = true}, false, 0), 2);
}

TEST(ExitCode, ACheckThatAnErrorEndedIsTrouble) {
  FileReport file = reportingFile({QAState::fail, QAState::notMeasured});
  EXPECT_EQ(exitCode({file}, {}, false, 0), 1);
  file.checks.back().error = std::make_exception_ptr(std::runtime_error("broken"));
  EXPECT_EQ(exitCode({file}, {}, false, 0), 2);
}

TEST(ExitCode, ACheckThatSaysNothingIsNoMeasurementAndNoTrouble) {
  const QACheckOutcome nothing = outcomeOf(QAState::info, "drop-no-drop");
  ASSERT_FALSE(findCheck(nothing.name)->saysSomething);
  FileReport file;
  file.checks = {nothing};
  EXPECT_EQ(exitCode({file}, {}, false, 0), 0);
  file.checks.push_back(outcomeOf(QAState::notMeasured));
  EXPECT_EQ(exitCode({file}, {}, false, 0), 2);
}

TEST(TableLine, JoinsSummaryAndReason) {
  QACheckOutcome outcome = outcomeOf(QAState::pass);
  outcome.summary = "3 of 9";
  EXPECT_EQ(tableLine(outcome, 12, {}), "  frame-rate    pass  3 of 9");
  outcome.reason = "the others cannot be read";
  EXPECT_EQ(tableLine(outcome, 12, {}), "  frame-rate    pass  3 of 9; the others cannot be read");
  outcome.summary.clear();
  EXPECT_EQ(tableLine(outcome, 12, {}), "  frame-rate    pass  the others cannot be read");
}

TEST(TableLine, EndsWithTheStateWhenThereIsNothingToSay) {
  EXPECT_EQ(tableLine(outcomeOf(QAState::pass), 10, {}), "  frame-rate  pass");
}

TEST(TableLine, GoesOnBelowItselfWhereATerminalEnds) {
  QACheckOutcome outcome = outcomeOf(QAState::fail);
  // Six words of five characters, and a letter of two bytes in each.
  outcome.summary = "w\xc3\xb6rd1 w\xc3\xb6rd2 w\xc3\xb6rd3 w\xc3\xb6rd4 w\xc3\xb6rd5 w\xc3\xb6rd6";
  const std::string start = "  frame-rate  fail  ";  // 20 columns
  EXPECT_EQ(tableLine(outcome, 10, {false, 55}), start + outcome.summary);
  EXPECT_EQ(tableLine(outcome, 10, {false, 54}),
            start + "w\xc3\xb6rd1 w\xc3\xb6rd2 w\xc3\xb6rd3 w\xc3\xb6rd4 w\xc3\xb6rd5\n" +
                std::string(20, ' ') + "w\xc3\xb6rd6");
  EXPECT_EQ(tableLine(outcome, 10, {false, 30}), start + outcome.summary) << "too narrow for both";
  outcome.summary = std::string(50, 'x');
  EXPECT_EQ(tableLine(outcome, 10, {false, 54}), start + outcome.summary) << "a word stays whole";
}

TEST(UnmeasuredLines, NameTheChecksBeforeTheReason) {
  EXPECT_EQ(unmeasuredLines("mono, phase", "no audio stream", false, 100),
            "  not-measured  mono, phase: no audio stream");
  EXPECT_EQ(unmeasuredLines("mono, phase", "no audio stream", false, 36),
            "  not-measured  mono, phase: no\n"
            "                audio stream");
}

TEST(Summary, CountsFilesByVerdictAndNamesThoseThatDidNotPass) {
  std::vector<FileReport> files{
      fileNamed("/media/in/a.mov", {QAState::pass, QAState::notMeasured}),
      fileNamed("/media/in/b.mov", {QAState::fail, QAState::pass}),
      fileNamed("/media/in/sub/c.mov", {QAState::warn}),
      fileNamed("/media/in/d.mov", {QAState::notMeasured}),
      fileNamed("/media/in/e.mov", {QAState::notMeasured, QAState::notMeasured}),
  };
  files[0].checks[1].severity = QASeverity::info;
  files[4].error = "is empty";
  const std::string counts =
      "5 files: 1 passed, 1 with warnings, 1 failed, 2 could not be read or measured\n";
  EXPECT_EQ(summaryLines(files, false, false, true), counts +
                                                         "  fail          b.mov: frame-rate\n"
                                                         "  warn          sub/c.mov: frame-rate\n"
                                                         "  not-measured  d.mov: frame-rate\n"
                                                         "  not-measured  e.mov\n");
  EXPECT_EQ(summaryLines(files, false, false, false), counts);
  files.resize(1);
  files.push_back(fileNamed("/media/c.mov", {QAState::pass}));
  EXPECT_EQ(summaryLines(files, false, false, true), "2 files: 2 passed\n");
  EXPECT_EQ(summaryLines(files, true, false, true),
            "2 files: 1 passed, 1 could not be read or measured\n"
            "  not-measured  in/a.mov: frame-rate\n");
}

TEST(Summary, NamesAFewOfManyChecks) {
  const std::vector<FileReport> files{
      fileNamed("a.mov", std::vector<QAState>(6, QAState::fail)),
      fileNamed("a.mov", std::vector<QAState>(4, QAState::fail)),
  };
  const std::string four = "frame-rate, frame-rate, frame-rate, frame-rate";
  EXPECT_EQ(summaryLines(files, false, false, true),
            "2 files: 0 passed, 2 failed\n"
            "  fail          a.mov: " +
                four +
                ", 2 more\n"
                "  fail          a.mov: " +
                four + "\n");
}

TEST(ShortLine, SaysTheVerdictAndItsReasons) {
  EXPECT_EQ(shortLine(fileNamed("a.mov", {QAState::pass, QAState::info}), false, false),
            "pass          a.mov");
  EXPECT_EQ(shortLine(fileNamed("a.mov", {QAState::warn, QAState::fail}), false, false),
            "fail          a.mov: frame-rate; warn: frame-rate");
  EXPECT_EQ(shortLine(fileNamed("a.mov", {QAState::pass, QAState::notMeasured}), false, false),
            "pass          a.mov: not-measured: frame-rate");
  FileReport unreadable = fileNamed("a\n.mov", {QAState::notMeasured});
  unreadable.error = "is empty";
  EXPECT_EQ(shortLine(unreadable, false, false), "not-measured  a?.mov: is empty");
  EXPECT_EQ(shortLine(fileNamed("a.mov", {QAState::pass}), false, true),
            "\x1b[32mpass\x1b[0m          a.mov");
}

TEST(EventLines, AreThreeThatBreakAndHowManyMore) {
  QACheckOutcome outcome = outcomeOf(QAState::fail);
  for (int second = 0; second < 5; ++second) {
    outcome.events.push_back(eventAt(second));
  }
  outcome.events.front().breaks = false;
  outcome.eventCount = 5;
  EXPECT_EQ(eventLines(outcome),
            (std::vector<std::string>{"10:00:01:00 to 10:00:01:01  missing picture",
                                      "10:00:02:00 to 10:00:02:01  missing picture",
                                      "10:00:03:00 to 10:00:03:01  missing picture", "1 more"}));
  outcome.eventCount = 6;
  EXPECT_EQ(eventLines(outcome).back(), "at least 1 more");
  outcome.events.resize(4);
  outcome.eventCount = 4;
  EXPECT_EQ(eventLines(outcome).size(), 3U);
  outcome.events = {QAEvent{.what = "no sound"}};
  EXPECT_TRUE(eventLines(outcome).empty()) << "where nothing says where";
}

TEST(EventLines, HoldWhatApplies) {
  QACheckOutcome outcome = outcomeOf(QAState::fail);
  QAEvent sound;
  sound.startSeconds = 3661.5;
  sound.endSeconds = 3662.0;
  sound.value = -0.25;
  sound.limit = -1.0;
  sound.unit = "dBTP";
  sound.stream = 1;
  sound.channel = 0;
  QAEvent still;
  still.startTimecode = still.endTimecode = "00:00:01:00";
  still.what = "jump\x1b";
  outcome.events = {sound, still};
  EXPECT_EQ(eventLines(outcome),
            (std::vector<std::string>{
                "01:01:01.500 to 01:01:02.000  -0.25 dBTP (limit -1 dBTP)  stream 1 ch 0",
                "00:00:01:00  jump?"}));
}

TEST(EventLines, CountInTheSingularAndThePlural) {
  QACheckOutcome outcome = outcomeOf(QAState::fail);
  const auto lineOf = [&](double value, double limit, const char* unit) {
    QAEvent event = eventAt(1);
    event.endTimecode.clear();
    event.value = value;
    event.limit = limit;
    event.unit = unit;
    outcome.events = {event};
    return eventLines(outcome).front();
  };
  const std::string start = "10:00:01:00  missing picture  ";
  EXPECT_EQ(lineOf(1.0, 0.0, "errors"), start + "1 error (limit 0 errors)");
  EXPECT_EQ(lineOf(2.0, 1.0, "errors"), start + "2 errors (limit 1 error)");
  EXPECT_EQ(lineOf(1.0, 1.0, "s"), start + "1 s (limit 1 s)");
  EXPECT_EQ(lineOf(1.0, 1.0, "fps"), start + "1 fps (limit 1 fps)");
}

TEST(FileLines, HoldTheFactsTheVerdictAndTheWorstFirst) {
  FileReport file = fileNamed("a.mov", {});
  file.profile = "general";
  file.facts.opened = true;
  file.facts.media.container = "mov,mp4";
  const std::pair<const char*, QAState> states[] = {
      {"levels", QAState::info},         {"valid", QAState::pass},
      {"mono", QAState::warn},           {"phase", QAState::notMeasured},
      {"frame-rate", QAState::fail},     {"drop-no-drop", QAState::info},
      {"loudness", QAState::notMeasured}};
  for (const auto& [name, state] : states) {
    file.checks.push_back(outcomeOf(state, name));
  }
  file.checks[3].reason = file.checks[6].reason = "too short";
  file.checks[6].severity = QASeverity::info;
  file.checks[4].summary = "26 fps";
  file.checks[4].events = {eventAt(7)};
  file.checks[4].eventCount = 1;
  EXPECT_EQ(fileLines(file, false, {}),
            "a.mov\n"
            "  mov, no picture, no sound\n"
            "  verdict: fail (profile general); not measured: phase\n"
            "  frame-rate  fail  26 fps\n"
            "                    10:00:07:00 to 10:00:07:01  missing picture\n"
            "  mono        warn\n"
            "  levels      info\n"
            "  valid       pass\n"
            "  not-measured  phase, loudness: too short\n");
}

TEST(FileLines, OnATerminalWhatHarmsNothingTakesALine) {
  FileReport file = fileNamed("a.mov", {QAState::pass});
  file.checks[0].summary = "w\xc3\xb6rd " + std::string(60, 'x') + " end";
  const auto lastLines = [&](bool named) {
    const std::string lines = fileLines(file, named, {false, 60});
    return lines.substr(lines.find("  frame-rate"));
  };
  // 20 columns, then 37 of the text and three dots.
  EXPECT_EQ(lastLines(false), "  frame-rate  pass  w\xc3\xb6rd " + std::string(32, 'x') + "...\n");
  EXPECT_EQ(lastLines(true), "  frame-rate  pass  w\xc3\xb6rd\n" + std::string(20, ' ') +
                                 std::string(60, 'x') + "\n" + std::string(20, ' ') + "end\n");
}

TEST(FactsLine, SaysWhatAFileIs) {
  QAMedia media;
  media.container = "mov,mp4,m4a";
  media.durationSeconds = 90.04;
  media.startTimecode = "10:00:00:00";
  media.streams = {videoStream(), audioStream("aac", 2), audioStream("aac", 2)};
  EXPECT_EQ(factsLine(media, "a.mp4"),
            "mp4, 1920x1080 29.97 fps tff, h264 4:2:0 8 bit, 2 audio: aac 2 ch 44.1 kHz, "
            "00:01:30.0, TC 10:00:00:00");
  media.streams.push_back(audioStream("ac3", 6));
  media.startTimecode.clear();
  EXPECT_EQ(factsLine(media, "a.qt"),
            "mov, 1920x1080 29.97 fps tff, h264 4:2:0 8 bit, "
            "3 audio: 2 x aac 2 ch 44.1 kHz, ac3 6 ch 44.1 kHz, 00:01:30.0");
  media.durationSeconds.reset();
  media.streams = {QAStreamFacts{}, audioStream("flac", 1)};
  media.streams[0].kind = "cover";
  EXPECT_EQ(factsLine(media, "a"), "mov, no picture, flac 1 ch 44.1 kHz");
}

TEST(ShortNumber, HasUpToThreeDecimals) {
  EXPECT_EQ(shortNumber(25.0), "25");
  EXPECT_EQ(shortNumber(30000.0 / 1001.0), "29.97");
  EXPECT_EQ(shortNumber(24000.0 / 1001.0), "23.976");
  EXPECT_EQ(shortNumber(-100.5), "-100.5");
  EXPECT_EQ(shortNumber(kInfinity), "inf");
}

TEST(ClockText, CountsHoursMinutesAndSeconds) {
  EXPECT_EQ(clockText(0.0, 3), "00:00:00.000");
  EXPECT_EQ(clockText(59.9996, 3), "00:01:00.000");
  EXPECT_EQ(clockText(360000.25, 1), "100:00:00.3");
  EXPECT_EQ(clockText(-1.5, 1), "-00:00:01.5");
  EXPECT_EQ(clockText(61.0, 0), "00:01:01");
}

Json fileJsonOf(const FileReport& file) {
  return reportJson({file}).at("files").at(0);
}

TEST(FileJson, HoldsTheVerdictTheProfileAndWhatWasMeasured) {
  FileReport file = fileNamed("a.mov", {QAState::pass, QAState::warn});
  EXPECT_EQ(fileJsonOf(file).at("verdict"), "warn");
  for (const char* absent : {"profile", "error", "media", "measured"}) {
    EXPECT_FALSE(fileJsonOf(file).contains(absent)) << absent;
  }
  file.profile = "archive";
  file.facts.opened = true;
  file.facts.pictures = 250;
  file.facts.pictureSeconds = 10.0;
  file.facts.soundSeconds = 9.5;
  file.facts.wholeFile = true;
  EXPECT_EQ(fileJsonOf(file).at("profile"), "archive");
  EXPECT_EQ(fileJsonOf(file).at("measured").dump(),
            R"({"pictures":250,"pictureSeconds":10.0,"soundSeconds":9.5,"wholeFile":true})");
}

TEST(FileJson, LeavesOutWhatAFileDoesNotDeclare) {
  FileReport file;
  file.facts.opened = true;
  QAMedia& media = file.facts.media;
  media.container = "mxf";
  media.streams = {videoStream(), audioStream("pcm_s24le", 2)};
  media.streams[0].video->frameRate = 25.0;
  EXPECT_EQ(fileJsonOf(file).at("media").dump(),
            R"({"container":"mxf","streams":[)"
            R"({"index":0,"kind":"video","codec":"h264","width":1920,"height":1080,)"
            R"("frameRate":25.0,"bits":8,"chroma":"4:2:0","scan":"tff"},)"
            R"({"index":1,"kind":"audio","codec":"pcm_s24le","sampleRate":44100,"channels":2}]})");
  media.durationSeconds = 1.5;
  media.startTimecode = "00:00:00;00";
  media.streams[0].video->scan = "unknown";
  media.streams[1].audio->layoutDeclared = true;
  const Json declared = fileJsonOf(file).at("media");
  EXPECT_EQ(declared.at("duration"), 1.5);
  EXPECT_EQ(declared.at("startTimecode"), "00:00:00;00");
  EXPECT_FALSE(declared.at("streams").at(0).contains("scan"));
  EXPECT_EQ(declared.at("streams").at(1).at("layout"), "stereo");
}

QASetting setting(QASetting::Kind kind, double min, double max) {
  return {"Key", "", kind, min, max, "", ""};
}

TEST(RangeText, NamesTheEndsThatThereAre) {
  using Kind = QASetting::Kind;
  constexpr double kNone = QASetting::kNoLimit;
  EXPECT_EQ(rangeText(setting(Kind::whole, 1, QASetting::kMost)), "at least 1");
  EXPECT_EQ(rangeText(setting(Kind::whole, QASetting::kLeast, 0)), "at most 0");
  EXPECT_EQ(rangeText(setting(Kind::whole, QASetting::kLeast, QASetting::kMost)), "");
  EXPECT_EQ(rangeText(setting(Kind::real, 0.0001, 1)), "0.0001 to 1");
  EXPECT_EQ(rangeText(setting(Kind::real, 0, kNone)), "at least 0");
  EXPECT_EQ(rangeText(setting(Kind::real, 0, double{std::numeric_limits<float>::max()})),
            "at least 0");
  EXPECT_EQ(rangeText(setting(Kind::real, -kNone, kNone)), "");
  EXPECT_EQ(rangeText(setting(Kind::text, 0, 0)), "");
}

TEST(DefaultText, OfAnEmptyDefaultIsTheNearestToZero) {
  using Kind = QASetting::Kind;
  EXPECT_EQ(defaultText(setting(Kind::whole, 1, QASetting::kMost)), "1");
  EXPECT_EQ(defaultText(setting(Kind::whole, QASetting::kLeast, 0)), "0");
  QASetting written = setting(Kind::real, 0, 1);
  written.defaultValue = "0.10";
  EXPECT_EQ(defaultText(written), "0.10");
  EXPECT_EQ(defaultText(setting(Kind::text, 0, 0)), "") << "but of a text it is no text";
}

TEST(Printable, KeepsTextAndReplacesControls) {
  EXPECT_EQ(printable("caf\xc3\xa9 1\t2\n3\x7f"), "caf\xc3\xa9 1?2?3?");
}

TEST(TimeText, HasHoursOnlyWhereThereAreSome) {
  EXPECT_EQ(timeText(7.9), "0:07");
  EXPECT_EQ(timeText(67.0), "1:07");
  EXPECT_EQ(timeText(3600.0 + 2 * 60.0 + 7.0), "1:02:07");
  EXPECT_EQ(timeText(-1.0), "0:00");
}

}  // namespace
}  // namespace cli
