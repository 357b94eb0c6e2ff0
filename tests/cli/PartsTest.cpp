#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>

#include "ExitCode.h"
#include "Figures.h"
#include "Listener.h"
#include "Output.h"
#include "Report.h"
#include "Table.h"

namespace cli {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();

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
  EXPECT_EQ(numberJson(std::nanf("")), "nan");
  EXPECT_EQ(numberJson(kInfinity), "inf");
  EXPECT_EQ(numberJson(-kInfinity), "-inf");
}

const Check& measuring() {
  return *findCheck("frame-rate");
}

CheckReport reportOf(State state, const Check& check = measuring()) {
  CheckReport report;
  report.check = &check;
  report.findings.state = state;
  return report;
}

FileReport fileWith(const std::vector<State>& states, const std::string& error = "") {
  FileReport file;
  file.error = error;
  for (const State state : states) {
    file.checks.push_back(reportOf(state));
  }
  return file;
}

struct ExitCase {
  const char* why;
  std::vector<FileReport> files;
  bool outputFailed;
  int signal;
  int code;
};

TEST(ExitCode, FollowsTheWorstThatHappened) {
  const ExitCase cases[] = {
      {"all passed", {fileWith({State::pass, State::info})}, false, 0, 0},
      {"one failed", {fileWith({State::pass}), fileWith({State::fail})}, false, 0, 1},
      {"some not measured", {fileWith({State::pass, State::notMeasured})}, false, 0, 0},
      {"measured without judging", {fileWith({State::info, State::notMeasured})}, false, 0, 0},
      {"nothing measured", {fileWith({State::pass}), fileWith({State::notMeasured})}, false, 0, 2},
      {"unreadable", {fileWith({State::fail}, "is empty")}, false, 0, 2},
      {"output failed", {fileWith({State::fail})}, true, 0, 2},
      {"interrupted", {fileWith({State::fail}, "is empty")}, true, 2, 130},
      {"terminated", {}, false, 15, 143},
  };
  for (const ExitCase& tested : cases) {
    EXPECT_EQ(exitCode(tested.files, tested.outputFailed, tested.signal), tested.code)
        << tested.why;
  }
}

TEST(ExitCode, ACheckThatMeasuresNothingIsNoMeasurementAndNoTrouble) {
  const Check& drop = *findCheck("drop-no-drop");
  FileReport alone;
  alone.checks = {reportOf(State::info, drop)};
  EXPECT_EQ(exitCode({alone}, false, 0), 0);
  FileReport beside;
  beside.checks = {reportOf(State::info, drop), reportOf(State::notMeasured)};
  EXPECT_EQ(exitCode({beside}, false, 0), 2);
}

TEST(CheckTable, HasEveryNameOnceWithAHelpLineAndAZeroResult) {
  for (const Check& check : allChecks()) {
    EXPECT_EQ(findCheck(check.name), &check);
    EXPECT_NE(std::string(check.help), "");
    // Of the levels there is no record without a run.
    EXPECT_TRUE(check.zeroResult().is_object() || check.name == std::string("levels"));
  }
  EXPECT_EQ(findCheck("frame_rate"), nullptr);
}

TEST(ListenerSlots, KeepOnlyTheCheckOwnPercents) {
  std::vector<int> shown;
  Listener listener([&](int percent) { shown.push_back(percent); });
  CheckReport report = reportOf(State::pass);
  listener.listenFor(report);
  listener.onFrameRateProgress(1.0F);
  listener.onLoudnessProgress(2.0F);
  listener.onPhaseProgress(2.0F);
  listener.onLevelsProgress(2.0F);
  listener.onMonoProgress(2.0F);
  listener.onFieldDominanceProgress(2.0F);
  listener.onPullDownProgress(2.0F);
  listener.onSpareProgress(2.0F);
  listener.onChromaProgress(2.0F);
  listener.onGamutProgress(2.0F);
  listener.onTearingProgress(2.0F);
  listener.onTimecodeProgress(2.0F);
  listener.onFrameRateProgress(3.0F);
  listener.onMessage("text");
  listener.onFailure();
  EXPECT_EQ(report.progress, (std::vector<int>{1, 3}));
  EXPECT_EQ(shown, report.progress);
  EXPECT_EQ(report.messages, std::vector<std::string>{"text"});
  EXPECT_EQ(report.failures, 1);
}

TEST(TableLine, JoinsFiguresAndReason) {
  CheckReport report = reportOf(State::notMeasured);
  report.findings.figures = "3 of 9";
  report.findings.reason = "stopped";
  EXPECT_EQ(tableLine(report, 12, false), "  frame-rate    not-measured  3 of 9; stopped");
}

TEST(TableLine, EndsWithTheStateWhenThereIsNothingToSay) {
  EXPECT_EQ(tableLine(reportOf(State::pass), 10, false), "  frame-rate  pass");
}

/// An outcome of `count` of ten frames, with limits for R to B and for Y.
QACheckOutcome outcomeOf(int count, const QALimits& rgb = {"RGB", 0, 255},
                         const QALimits& luma = {"Y", 0, 255}) {
  QACheckOutcome outcome;
  outcome.measured = count > 0;
  outcome.budget = 10;
  outcome.count = count;
  outcome.limits = {rgb, luma};
  return outcome;
}

TEST(Shortfall, IsToldWhenFramesAreMissing) {
  QACheckOutcome outcome = outcomeOf(10);
  EXPECT_EQ(shortfall(outcome, "frames"), "");
  outcome.count = 7;
  EXPECT_EQ(shortfall(outcome, "frames"), "only 7 of 10 frames came");
  outcome.reason = "pixel format gray is not supported";
  EXPECT_EQ(shortfall(outcome, "frames"), "only 7 of 10 frames could be measured");
}

TEST(Shortfall, IsNoneOfABudgetThatLeavesNothing) {
  QACheckOutcome outcome = outcomeOf(0);
  outcome.budget = -25;
  EXPECT_EQ(shortfall(outcome, "frames"), "");
}

struct FiguresCase {
  const char* why;
  Channel channel;
  QACheckOutcome outcome;
  const char* text;
};

TEST(ColourFigures, TellWhatIsOutside) {
  const FiguresCase cases[] = {
      {"inside", {'R', 1, 254}, outcomeOf(10), "R 1 to 254"},
      {"below", {'G', -3, 254}, outcomeOf(10), "G -3 to 254; outside: G 3 below 0"},
      {"above", {'B', 1, 261}, outcomeOf(10), "B 1 to 261; outside: B 6 above 255"},
      {"both", {'R', -3, 261}, outcomeOf(10), "R -3 to 261; outside: R 3 below 0, R 6 above 255"},
      {"on the lower", {'R', 0, 9}, outcomeOf(10), "R 0 to 9; outside: R on the limit 0"},
      {"on the upper", {'R', 9, 255}, outcomeOf(10), "R 9 to 255; outside: R on the limit 255"},
      {"limits of its own",
       {'Y', 16, 235},
       outcomeOf(10, {"RGB", 0, 9}, {"Y", 15, 235}),
       "Y 16 to 235; outside: Y on the limit 235"},
      {"one value between crossed limits",
       {'R', 5, 5},
       outcomeOf(10, {"RGB", 9, 1}),
       "R 5 to 5; outside: R 4 below 9, R 4 above 1"},
      {"extreme limits",
       {'R', -1, 1},
       outcomeOf(10, {"RGB", INT_MAX, INT_MIN}),
       "R -1 to 1; outside: R 2147483648 below 2147483647, R 2147483649 above -2147483648"},
      {"frames are missing",
       {'R', -1, 9},
       outcomeOf(3),
       "R -1 to 9; outside: R 1 below 0; only 3 of 10 frames came"},
  };
  for (const FiguresCase& c : cases) {
    EXPECT_EQ(colourFigures({c.channel}, c.outcome), c.text) << c.why;
  }
}

TEST(ColourFigures, NameTheChannelsInTheirOrder) {
  EXPECT_EQ(colourFigures({{'R', 1, 2}, {'G', 0, 3}, {'B', 4, 300}, {'Y', 5, 6}}, outcomeOf(10)),
            "R 1 to 2, G 0 to 3, B 4 to 300, Y 5 to 6; "
            "outside: G on the limit 0, B 45 above 255");
}

QA_ChannelLevel levelOf(float min, float max) {
  QA_ChannelLevel level;
  level.minLevel = min;
  level.maxLevel = max;
  return level;
}

/// A record of `entries`, equally many a stream.
struct Levels {
  Levels(unsigned streams, const std::vector<QA_ChannelLevel>& entries)
      : record(streams, static_cast<unsigned>(entries.size()) / streams,
               QA_STREAM_SETUP_UNSUPPORTED) {
    for (std::size_t i = 0; i < entries.size(); ++i) {
      record.levels[i].minLevel = entries[i].minLevel;
      record.levels[i].maxLevel = entries[i].maxLevel;
    }
  }
  ~Levels() { delete[] record.levels; }
  Levels(const Levels&) = delete;
  Levels& operator=(const Levels&) = delete;

  QA_AudioLevels record;
};

/// An outcome of `count` of ten blocks, with one pair of limits.
QACheckOutcome soundOutcome(int count, int min, int max) {
  QACheckOutcome outcome = outcomeOf(count);
  outcome.limits = {{"", min, max}};
  return outcome;
}

struct LevelCase {
  const char* why;
  QA_ChannelLevel level;
  QACheckOutcome outcome;
  const char* text;
};

TEST(LevelFigures, TellWhatIsOutside) {
  const LevelCase cases[] = {
      {"inside", levelOf(-74.5F, -8.0F), soundOutcome(10, -100, 0),
       "stream 0: ch 0 -74.50 to -8.00 dB"},
      {"the lowest level is not judged", levelOf(-99.0F, -8.0F), soundOutcome(10, -50, 0),
       "stream 0: ch 0 -99.00 to -8.00 dB"},
      {"above", levelOf(-74.5F, -8.0F), soundOutcome(10, -100, -10),
       "stream 0: ch 0 -74.50 to -8.00 dB; outside: stream 0 ch 0 2.00 dB above -10 dB"},
      {"below", levelOf(-74.5F, -60.25F), soundOutcome(10, -60, 0),
       "stream 0: ch 0 -74.50 to -60.25 dB; outside: stream 0 ch 0 0.25 dB below -60 dB"},
      {"on a limit", levelOf(-74.5F, -10.0F), soundOutcome(10, -100, -10),
       "stream 0: ch 0 -74.50 to -10.00 dB; outside: stream 0 ch 0 on the limit -10 dB"},
      {"silent", levelOf(0.0F, 0.0F), soundOutcome(10, -100, 0), "stream 0: ch 0 silent"},
      {"no number", levelOf(-std::nanf(""), -std::nanf("")), soundOutcome(10, -100, 0),
       "stream 0: ch 0 nan to nan dB"},
      {"blocks are missing", levelOf(-74.5F, -8.0F), soundOutcome(3, -100, 0),
       "stream 0: ch 0 -74.50 to -8.00 dB; only 3 of 10 blocks came"},
  };
  for (const LevelCase& c : cases) {
    const Levels levels(1, {c.level});
    EXPECT_EQ(levelFigures(levels.record, c.outcome), c.text) << c.why;
  }
}

TEST(LevelFigures, GroupChannelsByStreamAndNameWhatWasNotMeasured) {
  const QA_ChannelLevel loud = levelOf(-20.0F, -8.0F);
  const Levels levels(2, {loud, levelOf(-30.0F, -9.0F), loud, loud});
  QACheckOutcome outcome = soundOutcome(10, -100, -10);
  outcome.unmeasuredEntries = {3};
  EXPECT_EQ(levelFigures(levels.record, outcome),
            "stream 0: ch 0 -20.00 to -8.00 dB, ch 1 -30.00 to -9.00 dB; "
            "stream 1: ch 0 -20.00 to -8.00 dB, ch 1 not measured; "
            "outside: stream 0 ch 0 2.00 dB above -10 dB, stream 0 ch 1 1.00 dB above -10 dB, "
            "stream 1 ch 0 2.00 dB above -10 dB");
}

TEST(LevelFigures, OfVeryManyEntriesAreReadyAtOnce) {
  // As many as a file can have decoded: 512 channels of each of 1000 streams. To search all for
  // each one takes minutes.
  constexpr unsigned kEntries = 512 * 1000;
  QACheckOutcome outcome;
  for (unsigned entry = 0; entry < kEntries; entry += 2) {
    outcome.unmeasuredEntries.push_back(entry);
  }
  for (unsigned entry = 0; entry < kEntries; ++entry) {
    ASSERT_EQ(isMeasured(outcome, entry), entry % 2 == 1);
  }
}

TEST(LoudnessFigures, TellSpanAndBand) {
  QACheckOutcome outcome = soundOutcome(10, 0, 0);
  outcome.startSeconds = 2.5;
  outcome.endSeconds = 14.75;
  const char* noBand = "; no band is set (LoudnessMinThreshold, LoudnessMaxThreshold)";
  EXPECT_EQ(loudnessFigures({-23.104, false}, outcome),
            std::string("-23.10 LKFS over 12.25 s from 2.50 s") + noBand);
  EXPECT_EQ(loudnessFigures({-std::numeric_limits<double>::infinity(), false}, outcome),
            std::string("-inf LKFS (silence) over 12.25 s from 2.50 s") + noBand);
  outcome.limits = {{"", -20, -26}};
  EXPECT_EQ(loudnessFigures({-23.104, false}, outcome),
            std::string("-23.10 LKFS over 12.25 s from 2.50 s") + noBand);
  outcome.limits = {{"", -26, -20}};
  outcome.count = 4;
  EXPECT_EQ(loudnessFigures({-23.104, true}, outcome),
            "-23.10 LKFS over 12.25 s from 2.50 s, band -26 to -20; only 4 of 10 blocks came");
}

TEST(MonoFigures, TellTheShareThatIsTooMuch) {
  QACheckOutcome outcome = soundOutcome(10, 0, 0);
  // As the library has them: single-precision numbers.
  outcome.figures = {{"matchingBlocks", 7.0}, {"threshold", static_cast<double>(0.01F)}};
  EXPECT_EQ(monoFigures(outcome), "7 of 10 blocks carry one signal, limit 1 %");
  outcome.count = 8;
  outcome.figures = {{"matchingBlocks", 0.0}, {"threshold", static_cast<double>(0.125F)}};
  EXPECT_EQ(monoFigures(outcome),
            "0 of 8 blocks carry one signal, limit 12.5 %; only 8 of 10 blocks came");
}

TEST(PhaseFigures, TellMeanLagAndLimit) {
  QACheckOutcome outcome = soundOutcome(10, 0, 200);
  outcome.figures = {{"meanLag", 1.0}};
  EXPECT_EQ(phaseFigures(outcome), "mean lag 1.00 samples, limit 200");
  outcome.count = 9;
  EXPECT_EQ(phaseFigures(outcome), "mean lag 1.00 samples, limit 200; only 9 of 10 blocks came");
}

/// An outcome of `count` of `budget` frames.
QACheckOutcome pictureOutcome(int count, int budget, const std::vector<QAFigure>& figures) {
  QACheckOutcome outcome;
  outcome.measured = count > 0;
  outcome.budget = budget;
  outcome.count = count;
  outcome.figures = figures;
  return outcome;
}

TEST(FieldFigures, TellTypeFieldAndFlags) {
  const struct {
    QA_FieldDominance record;
    QACheckOutcome outcome;
    const char* text;
  } cases[] = {
      {{QA_FRAME_TYPE_INTERLACED, QA_FIELD_TYPE_UPPER},
       pictureOutcome(100, 100, {{"interlaced", 98.0}, {"topFieldFirst", 97.0}}),
       "TYPE, FIELD field first (98 of 100 frames flagged interlaced, 97 top field first)"},
      {{QA_FRAME_TYPE_INTERLACED, QA_FIELD_TYPE_UNKNOWN},
       pictureOutcome(100, 100, {{"interlaced", 90.0}, {"topFieldFirst", 50.0}}),
       "TYPE, no field usually first (90 of 100 frames flagged interlaced, 50 top field first)"},
      {{QA_FRAME_TYPE_PROGRESSIVE, QA_FIELD_TYPE_UNKNOWN},
       pictureOutcome(100, 100, {{"interlaced", 0.0}, {"topFieldFirst", 100.0}}),
       "TYPE (0 of 100 frames flagged interlaced, 100 top field first)"},
      {{QA_FRAME_TYPE_UNKNOWN, QA_FIELD_TYPE_UNKNOWN},
       pictureOutcome(60, 100, {{"interlaced", 30.0}, {"topFieldFirst", 20.0}}),
       "neither interlaced nor progressive (30 of 60 frames flagged interlaced, 20 top field "
       "first); only 60 of 100 frames came"},
      {{QA_FRAME_TYPE_PROGRESSIVE, QA_FIELD_TYPE_UNKNOWN},
       pictureOutcome(1, 1, {{"interlaced", 0.0}, {"topFieldFirst", 0.0}}),
       "TYPE (0 of 1 frame flagged interlaced, 0 top field first)"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(fieldFigures(c.record, "TYPE", "FIELD", c.outcome), c.text);
  }
}

QACheckOutcome groupsOutcome(int count, int budget, double in23, double in22) {
  return pictureOutcome(count, budget,
                        {{"groups", count / 5.0}, {"groups23", in23}, {"groups22", in22}});
}

TEST(PulldownFigures, TellTheCadenceOrThatThereIsNone) {
  const struct {
    const char* why;
    QA_PullDown record;
    QACheckOutcome outcome;
    const char* text;
  } cases[] = {
      {"2:3, which a still picture is as well",
       {2, 3, 0.9F, true},
       groupsOutcome(100, 100, 18, 1),
       "2:3 pulldown, or a still picture, in 18 of 20 groups of five frames"},
      {"2:2",
       {2, 2, 0.9F, true},
       groupsOutcome(100, 100, 1, 18),
       "2:2, no repeated fields, in 18 of 20 groups of five frames"},
      {"one group",
       {2, 2, 1.0F, true},
       groupsOutcome(5, 5, 0, 1),
       "2:2, no repeated fields, in 1 of 1 group of five frames"},
      {"more 2:3, too few",
       {2, 3, 0.5F, false},
       groupsOutcome(100, 100, 10, 4),
       "no cadence detected: 2:3 in 10 and 2:2 in 4 of 20 groups of five frames"},
      {"more 2:2, too few",
       {2, 2, 0.5F, false},
       groupsOutcome(100, 100, 4, 10),
       "no cadence detected: 2:3 in 4 and 2:2 in 10 of 20 groups of five frames"},
      {"too few because frames are missing",
       {2, 3, 0.5F, false},
       groupsOutcome(50, 100, 10, 0),
       "no cadence detected: 2:3 in 10 and 2:2 in 0 of 20 groups of five frames; "
       "only 50 of 100 frames came"},
      {"too few because the last group is not whole: 1 of 9 / 5",
       {2, 3, 1.0F / 1.8F, false},
       groupsOutcome(9, 9, 1, 0),
       "no cadence detected: 2:3 in 1 and 2:2 in 0 of 1.8 groups of five frames"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(pulldownFigures(c.record, c.outcome), c.text) << c.why;
  }
}

TEST(TearingFigures, TellMeanWorstAndLimit) {
  // As the library has it: a single-precision number.
  const auto outcome = [](int count, double mean, double highest, float threshold) {
    return pictureOutcome(count, 100,
                          {{"meanShare", mean},
                           {"highestPercent", highest},
                           {"threshold", static_cast<double>(threshold)}});
  };
  EXPECT_EQ(tearingFigures(outcome(100, 0.003, 14.0, 0.1F)),
            "0.3 % of the picture torn on average, at most 14 % in a frame (limit 10 %)");
  EXPECT_EQ(tearingFigures(outcome(100, 0.0, 0.0, 0.125F)),
            "0 % of the picture torn on average, at most 0 % in a frame (limit 12.5 %)");
  // 1 in 300, and two decimals tell it from a limit of 0.33 %.
  EXPECT_EQ(tearingFigures(outcome(7, 0.00336, 50.0, 0.0033F)),
            "0.34 % of the picture torn on average, at most 50 % in a frame (limit 0.33 %); "
            "only 7 of 100 frames came");
}

TEST(TimecodeFigures, TellTheFirstAndTheLast) {
  EXPECT_EQ(timecodeFigures(pictureOutcome(225, 225, {{"nominalRate", 25.0}})),
            "225 frames, 00:00:00:00 to 00:00:08:24 (drop-frame to 00:00:08;24)");
  // Frame 1800 is the first of the second minute, whose drop-frame numbers begin with 2.
  EXPECT_EQ(timecodeFigures(pictureOutcome(1801, 1801, {{"nominalRate", 30.0}})),
            "1801 frames, 00:00:00:00 to 00:01:00:00 (drop-frame to 00:01:00;02)");
  EXPECT_EQ(timecodeFigures(pictureOutcome(1, 5, {{"nominalRate", 25.0}})),
            "1 frame, 00:00:00:00 to 00:00:00:00 (drop-frame to 00:00:00;00); "
            "only 1 of 5 frames came");
}

TEST(TransitionFigures, TellTheFirstFiveTimes) {
  const auto with = [](int changes) {
    std::vector<QAFigure> figures;
    for (int i = 1; i <= changes; ++i) {
      figures.push_back({"transitionSeconds", i * 1.5});
    }
    return transitionFigures(pictureOutcome(100, 100, figures));
  };
  EXPECT_EQ(with(0), "no transitions");
  EXPECT_EQ(with(1), "1 transition, at 1.50 s");
  EXPECT_EQ(with(2), "2 transitions, at 1.50 s and 3.00 s");
  EXPECT_EQ(with(3), "3 transitions, at 1.50 s, 3.00 s and 4.50 s");
  EXPECT_EQ(with(5), "5 transitions, at 1.50 s, 3.00 s, 4.50 s, 6.00 s and 7.50 s");
  EXPECT_EQ(with(6), "6 transitions, at 1.50 s, 3.00 s, 4.50 s, 6.00 s, 7.50 s and 1 more");
  EXPECT_EQ(with(105), "105 transitions, at 1.50 s, 3.00 s, 4.50 s, 6.00 s, 7.50 s and 100 more");
  EXPECT_EQ(transitionFigures(pictureOutcome(60, 100, {})),
            "no transitions; only 60 of 100 frames came");
}

TEST(Printable, KeepsTextAndReplacesControls) {
  EXPECT_EQ(printable("caf\xc3\xa9 1\t2\n3\x7f"), "caf\xc3\xa9 1?2?3?");
}

}  // namespace
}  // namespace cli
