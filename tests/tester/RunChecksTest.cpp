// Several checks in one run, and what each of them is alone.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <new>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <vector>

#include "support/CheckNames.h"
#include "support/Clips.h"
#include "support/Console.h"
#include "support/FakeSleep.h"
#include "support/LoggedTester.h"
#include "support/Outcomes.h"
#include "support/RecordingListener.h"
#include "support/Sanitized.h"
#include "support/SmallBudgets.h"
#include "support/TempDir.h"
#include "tester/QATester.h"

namespace {

using namespace qatest;

using Names = std::vector<std::string>;

/// Does something at the first percent of a check, by its slot.
class ActingListener : public QAListener {
 public:
  void onFailure() override {}
  void onMessage(const std::string&) override { act("message"); }
  void onLoudnessProgress(float) override { act("loudness"); }
  void onPhaseProgress(float) override { act("phase"); }
  void onLevelsProgress(float) override { act("levels"); }
  void onMonoProgress(float) override { act("mono"); }
  void onFrameRateProgress(float) override { act("frame-rate"); }
  void onFieldDominanceProgress(float) override { act("field-dominance"); }
  void onPullDownProgress(float) override { act("pulldown"); }
  void onSpareProgress(float) override {}
  void onChromaProgress(float) override { act("chroma"); }
  void onGamutProgress(float) override { act("gamut"); }
  void onTearingProgress(float) override { act("tearing"); }
  void onTimecodeProgress(float) override {}

  std::map<std::string, std::function<void()>> actions;

 private:
  void act(const std::string& slot) {
    const auto found = actions.find(slot);
    if (found != actions.end()) {
      found->second();
    }
  }
};

/// All that a client gets of a run.
struct Session {
  std::vector<QACheckOutcome> outcomes;
  std::vector<QACheckOutcome> sunk;
  std::vector<QAProgress> progress;
  std::string console;  ///< without the header and without times
};

/// What a client asks for.
struct Wish {
  Names names = checkNames();
  QAPasses passes = QAPasses::one;
  QAPauses pauses = QAPauses::untilReady;
  std::string settings = smallBudgets(10, 1);
  QAListener* listener = nullptr;
  std::stop_token stop = {};
  QADisplays displays = QADisplays::nowhere;
  std::string displayFolder = {};
  std::function<void(const QACheckOutcome&)> onOutcome = {};
  std::function<void(const QAProgress&)> onProgress = {};
};

Session run(const std::string& file, const Wish& wish = {}) {
  const TempDir folder;
  writeFile(folder.file("settings"), wish.settings);
  Session result;
  QATesterOptions options;
  options.pauses = wish.pauses;
  options.lookup = QALookup::stored;
  options.passes = wish.passes;
  options.colourThreads = QAColourThreads::none;
  options.displays = wish.displays;
  options.displayFolder = wish.displayFolder;
  options.stop = wish.stop;
  options.console = [&](const std::string& line) { result.console += withoutTimes(line); };
  options.outcome = [&](const QACheckOutcome& outcome) {
    result.sunk.push_back(outcome);
    if (wish.onOutcome) {
      wish.onOutcome(outcome);
    }
  };
  options.progress = [&](const QAProgress& progress) {
    result.progress.push_back(progress);
    if (wish.onProgress) {
      wish.onProgress(progress);
    }
  };
  QATester tester(file.c_str(), wish.listener, folder.file("settings").c_str(), "", options);
  result.console.clear();
  result.outcomes = tester.runChecks(wish.names);
  return result;
}

Names namesOf(const std::vector<QACheckOutcome>& outcomes) {
  Names names;
  for (const QACheckOutcome& outcome : outcomes) {
    names.push_back(outcome.name);
  }
  return names;
}

const QACheckOutcome& outcomeOf(const Session& run, const std::string& name) {
  return *std::find_if(run.outcomes.begin(), run.outcomes.end(),
                       [&](const QACheckOutcome& one) { return one.name == name; });
}

/// Of each of `names` but the given ones: equal in both runs.
void expectSameBut(const Session& found, const Session& expected, const Names& without) {
  ASSERT_EQ(namesOf(found.outcomes), namesOf(expected.outcomes));
  for (std::size_t i = 0; i < found.outcomes.size(); ++i) {
    const QACheckOutcome& outcome = found.outcomes[i];
    if (std::find(without.begin(), without.end(), outcome.name) == without.end()) {
      EXPECT_EQ(textOf(outcome), textOf(expected.outcomes[i]));
      EXPECT_EQ(outcome.error, nullptr) << outcome.name;
    }
  }
}

class RunChecks : public testing::Test {
 protected:
  TempDir folder_;
  static VideoSpec small() {
    VideoSpec video = ffv1(60);
    video.width = 32;
    video.height = 16;
    return video;
  }

  std::string clip_ =
      makeClip(folder_, "clip.mkv", {.video = {small()}, .audio = {audio("pcm_s16le", 2, 2.4)}});
};

class RunChecksPasses : public RunChecks, public testing::WithParamInterface<QAPasses> {};

INSTANTIATE_TEST_SUITE_P(, RunChecksPasses, testing::Values(QAPasses::one, QAPasses::each),
                         [](const auto& passes) {
                           return passes.param == QAPasses::one ? "One" : "Each";
                         });

TEST_P(RunChecksPasses, OutcomesComeInTheOrderOfTheNames) {
  Names backwards = checkNames();
  std::reverse(backwards.begin(), backwards.end());
  for (const Names& names : {checkNames(), backwards, Names{"phase", "chroma", "valid", "levels"},
                             Names{"timecode"}, Names{"drop-no-drop"}, Names{}}) {
    const Session all = run(clip_, {.names = names, .passes = GetParam()});
    EXPECT_EQ(namesOf(all.outcomes), names);
    EXPECT_EQ(textsOf(all.sunk), textsOf(all.outcomes));
  }
}

TEST_P(RunChecksPasses, NameThatIsGivenTwiceIsRunTwice) {
  const Names names = {"tearing", "mono", "tearing", "mono", "drop-no-drop", "drop-no-drop"};
  const Session twice = run(clip_, {.names = names, .passes = GetParam()});
  ASSERT_EQ(namesOf(twice.outcomes), names);
  EXPECT_TRUE(twice.outcomes[0].measured);
  EXPECT_EQ(textOf(twice.outcomes[2]), textOf(twice.outcomes[0]));
  EXPECT_EQ(textOf(twice.outcomes[3]), textOf(twice.outcomes[1]));
  const Session once = run(clip_, {.names = {"tearing"}, .passes = GetParam()});
  EXPECT_EQ(textOf(once.outcomes.at(0)), textOf(twice.outcomes[0]));
}

TEST_P(RunChecksPasses, UnknownNameThrowsBeforeAnythingIsRun) {
  std::string console;
  QATesterOptions options = untilReady();
  options.passes = GetParam();
  options.console = [&](const std::string& line) { console += line; };
  QATester tester(clip_.c_str(), nullptr, "", "", options);
  console.clear();
  for (const char* name : {"", "Chroma", "frame_rate", "all"}) {
    EXPECT_THROW(tester.runChecks({"valid", name}), std::invalid_argument) << name;
  }
  EXPECT_EQ(console, "");
}

TEST_P(RunChecksPasses, StopBeforeTheBeginIsTheReasonOfAll) {
  std::stop_source stop;
  stop.request_stop();
  const Session stopped = run(clip_, {.passes = GetParam(), .stop = stop.get_token()});
  EXPECT_EQ(namesOf(stopped.outcomes), checkNames());
  for (const QACheckOutcome& outcome : stopped.outcomes) {
    EXPECT_EQ(outcome.state, QAState::notMeasured) << outcome.name;
    EXPECT_EQ(outcome.reason, "stopped before the check began") << outcome.name;
    EXPECT_TRUE(outcome.stopped);
    EXPECT_FALSE(outcome.began);
    EXPECT_EQ(outcome.summary, "");
  }
  EXPECT_EQ(stopped.console, "");
}

TEST_P(RunChecksPasses, StopOnTheWayEndsWhatRunsAndWhatHasNotBegun) {
  std::stop_source stop;
  ActingListener listener;
  listener.actions["tearing"] = [&] { stop.request_stop(); };
  const Session stopped = run(clip_, {.names = {"valid", "tearing", "levels"},
                                      .passes = GetParam(),
                                      .listener = &listener,
                                      .stop = stop.get_token()});
  EXPECT_EQ(outcomeOf(stopped, "valid").state, QAState::pass);
  EXPECT_EQ(outcomeOf(stopped, "tearing").reason, "stopped before the check was complete");
  EXPECT_EQ(outcomeOf(stopped, "tearing").count, 2) << "the first percent is of the second frame";
  EXPECT_EQ(outcomeOf(stopped, "levels").reason, "stopped before the check began");
}

TEST_P(RunChecksPasses, ProgressIsThatOfEachCheckAndTheWholeNeverFallsAndEndsAt100) {
  for (const Names& names : {checkNames(), Names{"levels", "tearing"}, Names{"mono", "phase"},
                             Names{"transitions"}, Names{"drop-no-drop"}}) {
    const Session all = run(clip_, {.names = names, .passes = GetParam()});
    std::map<std::string, std::vector<int>> percents;
    int whole = 0;
    for (const QAProgress& one : all.progress) {
      EXPECT_GE(one.wholePercent, whole) << one.check << " at " << one.percent;
      whole = one.wholePercent;
      std::vector<int>& mine = percents[one.check];
      if (mine.empty() ? one.percent > 0 : mine.back() != one.percent) {
        mine.push_back(one.percent);
      }
    }
    EXPECT_EQ(whole, 100);
    for (const QACheckOutcome& outcome : all.outcomes) {
      std::vector<int> expected = outcome.progress;
      expected.push_back(100);
      EXPECT_EQ(percents[outcome.name], expected) << outcome.name;
    }
  }
}

/// Files in which every check runs, is refused, or comes to an early end.
class RunChecksClips : public testing::TestWithParam<ClipKind> {};

INSTANTIATE_TEST_SUITE_P(, RunChecksClips, testing::ValuesIn(clipKinds(kSanitized)),
                         [](const auto& kind) {
                           std::string name = kind.param.fileName;
                           std::replace_if(
                               name.begin(), name.end(), [](char c) { return !std::isalnum(c); },
                               '_');
                           return name;
                         });

TEST_P(RunChecksClips, OneReadingFindsWhatReadingsOfTheirOwnFind) {
  const TempDir folder;
  const std::string file = makeClip(folder, GetParam().fileName, GetParam().spec);
  const Session one = run(file);
  const Session each = run(file, {.passes = QAPasses::each});
  EXPECT_EQ(textsOf(one.outcomes), textsOf(each.outcomes));
  EXPECT_EQ(one.console, each.console) << "lines of a check stand together";
}

TEST_F(RunChecks, OneReadingFindsTheSameInFilesThatAreCutOrNone) {
  const std::size_t bytes = readFile(clip_).size();
  for (const std::string& file :
       {truncatedCopy(folder_, "cut.mkv", clip_, bytes / 2), folder_.file("none.mov"),
        makeClip(folder_, "silent.mkv", {.video = {ffv1(20)}})}) {
    for (const int slate : {0, 1, 9}) {
      const Session one = run(file, {.settings = smallBudgets(30, slate)});
      const Session each =
          run(file, {.passes = QAPasses::each, .settings = smallBudgets(30, slate)});
      EXPECT_EQ(textsOf(one.outcomes), textsOf(each.outcomes)) << file;
      EXPECT_EQ(one.console, each.console) << file;
    }
  }
}

TEST_F(RunChecks, FixedPausesAreThoseOfChecksThatAreRunOneByOne) {
  const Names names = {"tearing", "levels", "pulldown"};
  clearPauses();
  const Session together = run(clip_, {.names = names, .pauses = QAPauses::fixed});
  const std::vector<unsigned> pauses = callerPauses();
  EXPECT_EQ(pauses, (std::vector<unsigned>{500, 100, 500, 100, 500, 100}));
  const Session ready = run(clip_, {.names = names});
  EXPECT_EQ(textsOf(together.outcomes), textsOf(ready.outcomes));
  EXPECT_EQ(together.console, ready.console);
}

/// The members by the names of their checks, each record as values.
const std::map<std::string, std::function<QAValues(QATester&)>>& members() {
  static const std::map<std::string, std::function<QAValues(QATester&)>> all{
      {"valid",
       [](QATester& t) {
         return QAValues{{"valid", t.isValidFile(), ""}};
       }},
      {"frame-rate",
       [](QATester& t) {
         const QA_FrameRate r = t.checkFrameRate();
         return QAValues{{"passed", r.passed, ""},
                         {"declaredFps", static_cast<double>(r.declaredFps), "fps"},
                         {"measuredFps", static_cast<double>(r.measuredFps), "fps"}};
       }},
      {"field-dominance",
       [](QATester& t) {
         const QA_FieldDominance r = t.checkFieldDominance();
         return QAValues{{"frameType", int64_t{r.frameType}, ""},
                         {"fieldType", int64_t{r.fieldType}, ""}};
       }},
      {"pulldown",
       [](QATester& t) {
         const QA_PullDown r = t.checkFramePullDown();
         return QAValues{{"cadenceFirst", int64_t{r.cadenceFirst}, "fields"},
                         {"cadenceSecond", int64_t{r.cadenceSecond}, "fields"},
                         {"confidence", static_cast<double>(r.confidence), ""},
                         {"detected", r.detected, ""}};
       }},
      {"tearing",
       [](QATester& t) {
         return QAValues{{"passed", t.checkTearing(), ""}};
       }},
      {"timecode",
       [](QATester& t) {
         return QAValues{{"completed", t.checkTimecode(), ""}};
       }},
      {"transitions",
       [](QATester& t) {
         return QAValues{{"transitions", int64_t{t.checkVideoTransitions()}, ""}};
       }},
      {"chroma",
       [](QATester& t) {
         const QA_ChromaLevel r = t.checkChroma();
         return QAValues{{"passed", r.passed, ""},      {"rMax", int64_t{r.rMax}, ""},
                         {"rMin", int64_t{r.rMin}, ""}, {"gMax", int64_t{r.gMax}, ""},
                         {"gMin", int64_t{r.gMin}, ""}, {"bMax", int64_t{r.bMax}, ""},
                         {"bMin", int64_t{r.bMin}, ""}, {"yMax", int64_t{r.yMax}, ""},
                         {"yMin", int64_t{r.yMin}, ""}};
       }},
      {"gamut",
       [](QATester& t) {
         const QA_GamutLevel r = t.checkGamut();
         return QAValues{{"passed", r.passed, ""},      {"rMax", int64_t{r.rMax}, ""},
                         {"rMin", int64_t{r.rMin}, ""}, {"gMax", int64_t{r.gMax}, ""},
                         {"gMin", int64_t{r.gMin}, ""}, {"bMax", int64_t{r.bMax}, ""},
                         {"bMin", int64_t{r.bMin}, ""}};
       }},
      {"levels",
       [](QATester& t) {
         const std::unique_ptr<QA_AudioLevels> record(t.checkAudioLevels());
         if (record == nullptr) {
           return QAValues{};
         }
         const std::unique_ptr<QA_ChannelLevel[]> entries(record->levels);
         return QAValues{{"setup", int64_t{record->setup}, ""},
                         {"count", int64_t{record->count}, ""}};
       }},
      {"loudness",
       [](QATester& t) {
         const QA_Loudness r = t.checkITUR1770Loudness();
         return QAValues{{"loudness", r.loudness, "LKFS"}, {"passed", r.passed, ""}};
       }},
      {"mono",
       [](QATester& t) {
         return QAValues{{"passed", t.checkMono(), ""}};
       }},
      {"phase",
       [](QATester& t) {
         return QAValues{{"passed", t.checkAudioPhase(), ""}};
       }},
      {"drop-no-drop",
       [](QATester& t) {
         return QAValues{{"result", t.checkDropNoDrop(), ""}};
       }},
  };
  return all;
}

TEST_F(RunChecks, MembersGiveTheRecordsThatOutcomesHave) {
  for (const std::string& file : {clip_, folder_.file("none.mov")}) {
    const Session all = run(file);
    for (const QACheckOutcome& outcome : all.outcomes) {
      SCOPED_TRACE(outcome.name);
      if (findCheck(outcome.name)->family == QAFamily::programme) {
        continue;  // these have no members
      }
      LoggedTester tester(file, stored(), smallBudgets(10, 1));
      for (const QAValue& field : tester.run(members().at(outcome.name))) {
        const QAValue* found = findValue(outcome.values, field.key);
        ASSERT_NE(found, nullptr) << field.key;
        EXPECT_EQ(textOf({*found}), textOf({field}));
      }
      if (outcome.name != "drop-no-drop") {  // which says nothing of itself
        ASSERT_EQ(tester.outcomes.size(), 1U);
        EXPECT_EQ(textOf(tester.outcomes[0]), textOf(outcome));
      }
    }
  }
}

// What ends a check ends it alone.

struct Ending {
  const char* slot;
  std::function<void()> action;
  const char* reason;
};

TEST_P(RunChecksPasses, CheckWhoseListenerThrowsEndsAlone) {
  const Session whole = run(clip_, {.passes = GetParam()});
  const Ending endings[] = {
      {"tearing", [] { throw std::runtime_error("deaf"); }, "deaf"},
      {"frame-rate", [] { throw std::bad_alloc(); }, "out of memory"},
      {"pulldown", [] { throw 7; }, "an exception"},
      {"levels", [] { throw std::runtime_error("deaf"); }, "deaf"},
      {"phase", [] { throw std::bad_alloc(); }, "out of memory"},
  };
  for (const Ending& ending : endings) {
    SCOPED_TRACE(ending.slot);
    ActingListener listener;
    listener.actions[ending.slot] = ending.action;
    const Session cut = run(clip_, {.passes = GetParam(), .listener = &listener});
    const QACheckOutcome& outcome = outcomeOf(cut, ending.slot);
    EXPECT_NE(outcome.error, nullptr);
    EXPECT_EQ(outcome.state, QAState::notMeasured);
    EXPECT_EQ(outcome.reason, ending.reason);
    EXPECT_EQ(outcome.summary, "");
    EXPECT_EQ(outcome.count, 0);
    EXPECT_FALSE(outcome.measured);
    expectSameBut(cut, whole, {ending.slot});
  }
}

TEST_P(RunChecksPasses, LoudnessGoesOnWithItsOwnWayOfExceptions) {
  const Session whole = run(clip_, {.passes = GetParam()});
  ActingListener listener;
  listener.actions["loudness"] = [] { throw std::runtime_error("deaf"); };
  const Session cut = run(clip_, {.passes = GetParam(), .listener = &listener});
  const QACheckOutcome& outcome = outcomeOf(cut, "loudness");
  EXPECT_EQ(outcome.error, nullptr);
  EXPECT_EQ(outcome.reason, "cut short by an exception: deaf");
  EXPECT_TRUE(outcome.measured);
  expectSameBut(cut, whole, {"loudness"});
}

TEST_P(RunChecksPasses, ProgressSinkThatThrowsEndsTheCheckThatHasComeFurther) {
  const Session whole = run(clip_, {.passes = GetParam()});
  const Session cut =
      run(clip_, {.passes = GetParam(), .onProgress = [](const QAProgress& progress) {
                    if (progress.check == "gamut" && progress.percent > 0) {
                      throw std::runtime_error("no more");
                    }
                  }});
  EXPECT_EQ(outcomeOf(cut, "gamut").reason, "no more");
  EXPECT_NE(outcomeOf(cut, "gamut").error, nullptr);
  expectSameBut(cut, whole, {"gamut"});
}

TEST_P(RunChecksPasses, OutcomeSinkThatThrowsIsInThatOutcomeAndNowhereElse) {
  const Session whole = run(clip_, {.passes = GetParam()});
  const Session cut =
      run(clip_, {.passes = GetParam(), .onOutcome = [](const QACheckOutcome& outcome) {
                    if (outcome.name == "tearing") {
                      throw std::runtime_error("full");
                    }
                  }});
  EXPECT_EQ(cut.sunk.size(), whole.sunk.size());
  for (std::size_t i = 0; i < cut.outcomes.size(); ++i) {
    EXPECT_EQ(cut.outcomes[i].error != nullptr, cut.outcomes[i].name == "tearing");
    EXPECT_EQ(textOf(cut.outcomes[i]), textOf(whole.outcomes[i])) << "the result stands";
  }
}

TEST_P(RunChecksPasses, PictureFileThatCannotBeWrittenIsReportedOnce) {
  writeFile(folder_.file("shots"), "");
  const Session drawn = run(clip_, {.passes = GetParam(),
                                    .displays = QADisplays::pictures,
                                    .displayFolder = folder_.file("shots")});
  const Session plain = run(clip_, {.passes = GetParam()});
  EXPECT_EQ(textsOf(drawn.outcomes), textsOf(plain.outcomes));
  const std::size_t first = drawn.console.find("displays: cannot write the picture \"");
  ASSERT_NE(first, std::string::npos) << drawn.console;
  EXPECT_EQ(drawn.console.find("displays: ", first + 1), std::string::npos) << drawn.console;
}

TEST_F(RunChecks, MayBeCalledAgainAndBetweenMembers) {
  writeFile(folder_.file("settings"), smallBudgets(10, 1));
  QATesterOptions options = stored();
  options.console = [](const std::string&) {};
  QATester tester(clip_.c_str(), nullptr, folder_.file("settings").c_str(), "", options);
  const std::vector<QACheckOutcome> first = tester.runChecks(checkNames());
  tester.checkTearing();
  EXPECT_EQ(textsOf(tester.runChecks(checkNames())), textsOf(first));
}

}  // namespace
