#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>

#include "ExitCode.h"
#include "Lists.h"
#include "Output.h"
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

QACheckOutcome outcomeOf(QAState state, const char* name = "frame-rate") {
  QACheckOutcome outcome;
  outcome.name = name;
  outcome.state = state;
  return outcome;
}

/// The text of a report's only check.
std::string checkText(const QACheckOutcome& outcome) {
  FileReport file;
  file.checks = {outcome};
  return reportJson({file}).at("files").at(0).at("checks").at(0).dump();
}

TEST(CheckJson, KeepsTheOrderOfItsKeys) {
  EXPECT_EQ(checkText(outcomeOf(QAState::pass)),
            R"({"name":"frame-rate","family":"classic","state":"pass","result":null,"limits":[],)"
            R"("events":[],"eventCount":0,"messages":[],"failures":0,"progress":[],)"
            R"("seconds":0.0})");
}

TEST(CheckJson, HoldsWhatTheListenerHeardAndTheReason) {
  QACheckOutcome outcome = outcomeOf(QAState::warn);
  outcome.reason = "some frames were left out";
  outcome.messages = {"one", "two"};
  outcome.failures = 3;
  outcome.progress = {1, 50};
  outcome.seconds = 0.12345;
  EXPECT_EQ(checkText(outcome),
            R"({"name":"frame-rate","family":"classic","state":"warn",)"
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
  const Json check = Json::parse(checkText(outcome));
  EXPECT_EQ(check.at("events").dump(),
            R"([{"startSeconds":1.5,"endSeconds":2.0,"startFrame":0,"endFrame":50,)"
            R"("startTimecode":"10:00:00:00","endTimecode":"10:00:00:12","worstSeconds":1.75,)"
            R"("worstFrame":40,"value":"-inf","limit":-1.0,"unit":"dB","what":"clipping",)"
            R"("breaks":false,"stream":0,"channel":1},{"breaks":true}])");
  EXPECT_EQ(check.at("eventCount"), 2);
}

FileReport fileWith(const std::vector<QAState>& states, const std::string& error = "") {
  FileReport file;
  file.error = error;
  for (const QAState state : states) {
    file.checks.push_back(outcomeOf(state));
  }
  return file;
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
      {"all passed", {fileWith({kPass, kInfo, QAState::warn})}, true, false, 0, 0},
      {"one failed", {fileWith({kPass}), fileWith({kFail})}, true, false, 0, 1},
      {"some not measured", {fileWith({kPass, kNone})}, false, false, 0, 0},
      {"some not measured, one failed", {fileWith({kFail, kNone})}, false, false, 0, 1},
      {"a named one not measured", {fileWith({kPass, kNone})}, true, false, 0, 2},
      {"a named one not measured, one failed", {fileWith({kFail, kNone})}, true, false, 0, 2},
      {"measured without judging", {fileWith({kInfo, kNone})}, false, false, 0, 0},
      {"nothing measured", {fileWith({kPass}), fileWith({kNone})}, false, false, 0, 2},
      {"unreadable", {fileWith({kFail}, "is empty")}, false, false, 0, 2},
      {"other trouble", {fileWith({kFail})}, false, true, 0, 2},
      {"interrupted", {fileWith({kFail}, "is empty")}, false, true, 2, 130},
      {"terminated", {}, false, false, 15, 143},
  };
  for (const ExitCase& tested : cases) {
    EXPECT_EQ(exitCode(tested.files, tested.named, tested.otherTrouble, tested.signal), tested.code)
        << tested.why;
  }
}

TEST(ExitCode, ACheckThatAnErrorEndedIsTrouble) {
  FileReport file = fileWith({QAState::fail, QAState::notMeasured});
  EXPECT_EQ(exitCode({file}, false, false, 0), 1);
  file.checks.back().error = std::make_exception_ptr(std::runtime_error("broken"));
  EXPECT_EQ(exitCode({file}, false, false, 0), 2);
}

TEST(ExitCode, ACheckThatSaysNothingIsNoMeasurementAndNoTrouble) {
  const QACheckOutcome nothing = outcomeOf(QAState::info, "drop-no-drop");
  ASSERT_FALSE(findCheck(nothing.name)->saysSomething);
  FileReport file;
  file.checks = {nothing};
  EXPECT_EQ(exitCode({file}, false, false, 0), 0);
  file.checks.push_back(outcomeOf(QAState::notMeasured));
  EXPECT_EQ(exitCode({file}, false, false, 0), 2);
}

TEST(TableLine, JoinsSummaryAndReason) {
  QACheckOutcome outcome = outcomeOf(QAState::pass);
  outcome.summary = "3 of 9";
  EXPECT_EQ(tableLine(outcome, 12, false), "  frame-rate    pass  3 of 9");
  outcome.reason = "the others cannot be read";
  EXPECT_EQ(tableLine(outcome, 12, false),
            "  frame-rate    pass  3 of 9; the others cannot be read");
  outcome.summary.clear();
  EXPECT_EQ(tableLine(outcome, 12, false), "  frame-rate    pass  the others cannot be read");
}

TEST(TableLine, EndsWithTheStateWhenThereIsNothingToSay) {
  EXPECT_EQ(tableLine(outcomeOf(QAState::pass), 10, false), "  frame-rate  pass");
}

TEST(TableLine, GoesOnBelowItselfWhereATerminalEnds) {
  QACheckOutcome outcome = outcomeOf(QAState::fail);
  // Six words of five characters, and a letter of two bytes in each.
  outcome.summary = "w\xc3\xb6rd1 w\xc3\xb6rd2 w\xc3\xb6rd3 w\xc3\xb6rd4 w\xc3\xb6rd5 w\xc3\xb6rd6";
  const std::string start = "  frame-rate  fail  ";  // 20 columns
  EXPECT_EQ(tableLine(outcome, 10, false, 55), start + outcome.summary);
  EXPECT_EQ(tableLine(outcome, 10, false, 54),
            start + "w\xc3\xb6rd1 w\xc3\xb6rd2 w\xc3\xb6rd3 w\xc3\xb6rd4 w\xc3\xb6rd5\n" +
                std::string(20, ' ') + "w\xc3\xb6rd6");
  EXPECT_EQ(tableLine(outcome, 10, false, 30), start + outcome.summary) << "too narrow for both";
  outcome.summary = std::string(50, 'x');
  EXPECT_EQ(tableLine(outcome, 10, false, 54), start + outcome.summary) << "a word stays whole";
}

TEST(UnmeasuredLines, NameTheChecksBeforeTheReason) {
  EXPECT_EQ(unmeasuredLines("mono, phase", "no audio stream", false, 100),
            "  not-measured  mono, phase: no audio stream");
  EXPECT_EQ(unmeasuredLines("mono, phase", "no audio stream", false, 36),
            "  not-measured  mono, phase: no\n"
            "                audio stream");
}

FileReport fileNamed(const std::string& name, const std::vector<QAState>& states) {
  FileReport file = fileWith(states);
  file.file = name;
  return file;
}

TEST(Summary, CountsFilesAndNamesThoseThatDidNotPass) {
  std::vector<FileReport> files{
      fileNamed("/media/in/a.mov", {QAState::pass, QAState::notMeasured}),
      fileNamed("/media/in/b.mov", {QAState::fail, QAState::pass}),
      fileNamed("/media/in/sub/c.mov", {QAState::warn}),
      fileNamed("/media/in/d.mov", {QAState::notMeasured}),
      fileNamed("/media/in/e.mov", {QAState::notMeasured, QAState::notMeasured}),
  };
  files[4].error = "is empty";
  EXPECT_EQ(summaryLines(files, false, false),
            "5 files: 2 passed (1 with warnings), 1 failed, 2 could not be read or measured\n"
            "  fail          b.mov: frame-rate\n"
            "  not-measured  d.mov: frame-rate\n"
            "  not-measured  e.mov\n");
  files.resize(1);
  files.push_back(fileNamed("/media/c.mov", {QAState::pass}));
  EXPECT_EQ(summaryLines(files, false, false), "2 files: 2 passed\n");
  EXPECT_EQ(summaryLines(files, true, false),
            "2 files: 1 passed, 1 could not be read or measured\n"
            "  not-measured  in/a.mov: frame-rate\n");
}

TEST(Summary, NamesAFewOfManyChecks) {
  const std::vector<FileReport> files{
      fileNamed("a.mov", std::vector<QAState>(6, QAState::fail)),
      fileNamed("a.mov", std::vector<QAState>(4, QAState::fail)),
  };
  const std::string four = "frame-rate, frame-rate, frame-rate, frame-rate";
  EXPECT_EQ(summaryLines(files, false, false),
            "2 files: 0 passed, 2 failed\n"
            "  fail          a.mov: " +
                four +
                ", 2 more\n"
                "  fail          a.mov: " +
                four + "\n");
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
}

TEST(DefaultText, OfAnEmptyDefaultIsTheNearestToZero) {
  using Kind = QASetting::Kind;
  EXPECT_EQ(defaultText(setting(Kind::whole, 1, QASetting::kMost)), "1");
  EXPECT_EQ(defaultText(setting(Kind::whole, QASetting::kLeast, 0)), "0");
  QASetting written = setting(Kind::real, 0, 1);
  written.defaultValue = "0.10";
  EXPECT_EQ(defaultText(written), "0.10");
}

TEST(Printable, KeepsTextAndReplacesControls) {
  EXPECT_EQ(printable("caf\xc3\xa9 1\t2\n3\x7f"), "caf\xc3\xa9 1?2?3?");
}

}  // namespace
}  // namespace cli
