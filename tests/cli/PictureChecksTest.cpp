#include <gtest/gtest.h>

#include <cstring>
#include <stop_token>

#include "Client.h"

namespace qatest {
namespace {

using nlohmann::json;

const std::vector<std::string> kNames{"field-dominance", "pulldown", "tearing", "timecode",
                                      "transitions"};
constexpr const char* kList = "field-dominance,pulldown,tearing,timecode,transitions";

/// The first frame is dropped all the same.
constexpr const char* kTenFrames =
    "QATesterSlateSeconds=0\n"
    "FieldFrameChecks=10\n"
    "PullDownFrameChecks=10\n"
    "TearingFrameChecks=10\n"
    "TransitionFrameChecks=10\n";

/// The records of checks that could not run.
const std::map<std::string, json> kNothing{
    {"field-dominance",
     {{"frameType", 0},
      {"fieldType", 0},
      {"frameTypeText", "Unknown"},
      {"fieldTypeText", "Unknown"}}},
    {"pulldown",
     {{"cadenceFirst", 0}, {"cadenceSecond", 0}, {"confidence", 0.0}, {"detected", false}}},
    {"tearing", {{"passed", false}}},
    {"timecode", {{"completed", false}}},
    {"transitions", {{"transitions", -1}}}};

/// What a run of the five checks answers.
struct Answers {
  /// By the name of the check.
  std::map<std::string, json> checks;
  /// What the table says of each.
  std::map<std::string, std::string> lines;
  std::string err;
  int code = 0;

  /// The fields of its record.
  json result(const std::string& name) const {
    return fieldsLike(kNothing.at(name), checks.at(name).at("result"));
  }
  std::string state(const char* name) const { return checks.at(name).at("state"); }
};

/// The value of a luma sample; there is no colour.
using Luma = std::function<int(int x, int y, int frame)>;

VideoSpec grey(int frames, const Luma& luma) {
  VideoSpec video = ffv1(frames);
  video.pixel = [luma](int component, int x, int y, int frame) {
    return static_cast<uint8_t>(component == 0 ? luma(x, y, frame) : 128);
  };
  return video;
}

/// Columns in which every second pixel is bright, the others in turn.
int stripes(int x, int phase) {
  return (x + phase) % 2 == 0 ? 60 : 140;
}

int still(int x, int, int) {
  return stripes(x, 0);
}

int moving(int x, int, int frame) {
  return stripes(x, frame);
}

/// Four pictures of film in five frames, as top and bottom fields A A, B B, B C, C D, D D; the
/// group begins behind the frame that is dropped.
int pulledDown(int x, int y, int frame) {
  const int filmOfTop[] = {0, 1, 1, 2, 3};
  const int filmOfBottom[] = {0, 1, 2, 3, 3};
  const int place = (frame + 4) % 5;
  return stripes(x, y % 2 == 0 ? filmOfTop[place] : filmOfBottom[place]);
}

/// The picture changes once in five frames, so that only some fields repeat.
int changingSeldom(int x, int, int frame) {
  return stripes(x, (frame + 4) % 5 == 3 ? 1 : 0);
}

/// Rows in every second frame.
int flashing(int, int y, int frame) {
  return frame % 2 == 1 && y % 2 == 1 ? 140 : 60;
}

class PictureChecks : public testing::Test {
 protected:
  std::string clipOf(const Luma& luma, int frames = 60) const {
    return makeClip(dir_, "clip.mkv", {{grey(frames, luma)}, {}});
  }

  Answers run(const std::string& clip, const std::string& settings = kTenFrames) const {
    writeFile(dir_.file("qa.settings"), settings);
    const Finished end =
        runClient({"--json", "-", "--checks", kList, "--settings", dir_.file("qa.settings"), clip});
    Answers answers;
    answers.err = end.err;
    answers.code = end.code;
    const json file = onlyFile(json::parse(end.out));
    for (const json& check : file.at("checks")) {
      answers.checks[check.at("name")] = check;
    }
    answers.lines = tableByCheck(end.err);
    return answers;
  }

  /// Runs a check as the client does. `stop` is asked for a stop when the first percent comes.
  QACheckOutcome runStoppable(const std::string& name, const std::string& clip,
                              const std::string& settings, std::stop_source& stop) const {
    writeFile(dir_.file("qa.settings"), settings);
    return runToFirstPercent(name, clip, dir_.file("qa.settings"), stop);
  }

  TempDir dir_;
};

void expectNothing(const Answers& answers, const std::string& reason) {
  for (const std::string& name : kNames) {
    SCOPED_TRACE(name);
    const json& check = answers.checks.at(name);
    EXPECT_EQ(check.at("state"), "not-measured");
    EXPECT_EQ(check.at("reason"), reason);
    EXPECT_EQ(answers.result(name), kNothing.at(name));
    EXPECT_EQ(check.at("progress"), json::array());
    EXPECT_EQ(answers.lines.at(name), "not-measured  " + reason);
  }
  EXPECT_EQ(answers.code, 2);
}

TEST_F(PictureChecks, TellRecordsAndFiguresOfAStillPicture) {
  const Answers answers = run(clipOf(still));
  EXPECT_EQ(answers.result("field-dominance"), (json{{"frameType", 2},
                                                     {"fieldType", 0},
                                                     {"frameTypeText", "Progressive"},
                                                     {"fieldTypeText", "Unknown"}}));
  EXPECT_EQ(
      answers.result("pulldown"),
      (json{{"cadenceFirst", 2}, {"cadenceSecond", 3}, {"confidence", 1.0}, {"detected", true}}));
  EXPECT_EQ(answers.result("tearing"), (json{{"passed", true}}));
  EXPECT_EQ(answers.result("timecode"), (json{{"completed", true}}));
  EXPECT_EQ(answers.result("transitions"), (json{{"transitions", 0}}));
  // Of 60 frames, the timecode check leaves the last second's 25 out.
  EXPECT_EQ(
      answers.lines,
      (std::map<std::string, std::string>{
          {"field-dominance",
           "info  Progressive (0 of 10 frames flagged interlaced, 0 top field "
           "first)"},
          {"pulldown", "info  2:3 pulldown, or a still picture, in 2 of 2 groups of five frames"},
          {"tearing",
           "pass  0 % of the picture torn on average, at most 0 % in a frame (limit "
           "10 %)"},
          {"timecode", "info  35 frames, 00:00:00:00 to 00:00:01:09 (drop-frame to 00:00:01;09)"},
          {"transitions", "info  no transitions"}}));
  EXPECT_EQ(answers.code, 0);
  for (const std::string& name : kNames) {
    EXPECT_FALSE(answers.checks.at(name).contains("reason")) << name;
    EXPECT_EQ(answers.checks.at(name).at("messages"), json::array()) << name;
    EXPECT_EQ(answers.checks.at(name).at("failures"), 0) << name;
  }
}

TEST_F(PictureChecks, SendTheirPercents) {
  const Answers answers = run(clipOf(still));
  for (const char* name : {"field-dominance", "tearing", "transitions"}) {
    EXPECT_EQ(answers.checks.at(name).at("progress"), json(percents(10, 10))) << name;
  }
  EXPECT_EQ(answers.checks.at("timecode").at("progress"), json(percents(35, 35)));
  // With the last frame of each group.
  EXPECT_EQ(answers.checks.at("pulldown").at("progress"), (json{40, 90}));
}

TEST_F(PictureChecks, ReportsKeepTheOrderOfTheRecords) {
  const Finished end = runClient({"-q", "--json", "-", "--checks", kList, clipOf(still, 30)});
  const auto report = nlohmann::ordered_json::parse(end.out);
  const std::vector<std::vector<std::string>> records{
      {"frameType", "fieldType", "frameTypeText", "fieldTypeText"},
      {"cadenceFirst", "cadenceSecond", "confidence", "detected"},
      {"passed"},
      {"completed"},
      {"transitions"}};
  const auto& checks = report.at("files").at(0).at("checks");
  ASSERT_EQ(checks.size(), records.size());
  for (std::size_t i = 0; i < records.size(); ++i) {
    std::vector<std::string> keys;
    for (const auto& item : checks.at(i).at("result").items()) {
      keys.push_back(item.key());
    }
    // Figures come after the record.
    ASSERT_GE(keys.size(), records[i].size());
    keys.resize(records[i].size());
    EXPECT_EQ(keys, records[i]);
  }
}

TEST_F(PictureChecks, FlaggedFieldsAreTold) {
  for (const bool top : {true, false}) {
    VideoSpec video = mpeg2WithBFrames(60);
    video.interlaced = true;
    video.topFieldFirst = top;
    const Answers answers = run(makeClip(dir_, "fields.mkv", {{video}, {}}));
    EXPECT_EQ(answers.result("field-dominance"),
              (json{{"frameType", 1},
                    {"fieldType", top ? 2 : 1},
                    {"frameTypeText", "Interlaced"},
                    {"fieldTypeText", top ? "Upper" : "Lower"}}));
    EXPECT_EQ(answers.lines.at("field-dominance"),
              top ? "info  Interlaced, Upper field first (10 of 10 frames flagged "
                    "interlaced, 10 top field first)"
                  : "info  Interlaced, Lower field first (10 of 10 frames flagged "
                    "interlaced, 0 top field first)");
  }
}

TEST_F(PictureChecks, CadencesAreTold) {
  const struct {
    const char* why;
    Luma luma;
    int second;
    double confidence;
    const char* figures;
  } cases[] = {
      {"2:3", pulledDown, 3, 1.0,
       "2:3 pulldown, or a still picture, in 2 of 2 groups of five frames"},
      {"every frame another", moving, 2, 1.0,
       "2:2, no repeated fields, in 2 of 2 groups of five frames"},
      {"neither; a tie goes to 2:3", changingSeldom, 3, 0.0,
       "no cadence detected: 2:3 in 0 and 2:2 in 0 of 2 groups of five frames"},
      {"one group of each",
       [](int x, int y, int frame) {
         return frame < 6 ? pulledDown(x, y, frame) : moving(x, y, frame);
       },
       3, 0.5, "no cadence detected: 2:3 in 1 and 2:2 in 1 of 2 groups of five frames"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    const Answers answers = run(clipOf(c.luma));
    EXPECT_EQ(answers.state("pulldown"), "info");
    EXPECT_EQ(answers.result("pulldown"), (json{{"cadenceFirst", 2},
                                                {"cadenceSecond", c.second},
                                                {"confidence", c.confidence},
                                                {"detected", c.confidence > 0.6}}));
    EXPECT_EQ(answers.lines.at("pulldown"), std::string("info  ") + c.figures);
  }
}

TEST_F(PictureChecks, TearingFailsAtItsLimit) {
  // Between a flat frame and one of rows the differences of 47 rows change, in 64 columns less ten
  // at either side: 47 x 44 of 48 x 64 pixels are 67 %. The first frame has none before it, so that
  // nine of ten do: 60.3 %.
  const std::string clip = clipOf(flashing);
  const Answers byDefault = run(clip);
  EXPECT_EQ(byDefault.state("tearing"), "fail");
  EXPECT_EQ(byDefault.result("tearing"), (json{{"passed", false}}));
  EXPECT_EQ(byDefault.lines.at("tearing"),
            "fail  60.3 % of the picture torn on average, at most 67 % in a frame "
            "(limit 10 %)");
  EXPECT_EQ(byDefault.code, 1);
  const Answers above = run(clip, kTenFrames + std::string("TearingThreshold=0.625\n"));
  EXPECT_EQ(above.state("tearing"), "pass");
  EXPECT_EQ(above.result("tearing"), (json{{"passed", true}}));
  EXPECT_EQ(above.lines.at("tearing"),
            "pass  60.3 % of the picture torn on average, at most 67 % in a frame "
            "(limit 62.5 %)");
  EXPECT_EQ(above.code, 0);
}

TEST_F(PictureChecks, CutsAreCountedAndTimed) {
  // A frame between two of which one is bright and one dark is 0.77 or 0.23 of their sum rather
  // than 0.5.
  const Luma cut = [](int, int, int frame) { return frame / 10 % 2 == 0 ? 200 : 60; };
  const std::string clip = clipOf(cut);
  const Answers two = run(clip, "QATesterSlateSeconds=0\nTransitionFrameChecks=29\n");
  EXPECT_EQ(two.state("transitions"), "info");
  EXPECT_EQ(two.result("transitions"), (json{{"transitions", 2}}));
  EXPECT_EQ(two.lines.at("transitions"), "info  2 transitions, at 0.40 s and 0.80 s");
  const Answers one = run(clip, "QATesterSlateSeconds=0\nTransitionFrameChecks=19\n");
  EXPECT_EQ(one.lines.at("transitions"), "info  1 transition, at 0.40 s");
  const Answers none =
      run(clip, "QATesterSlateSeconds=0\nTransitionFrameChecks=29\nTransitionPercentChange=0.9\n");
  EXPECT_EQ(none.lines.at("transitions"), "info  no transitions");
}

TEST_F(PictureChecks, AFileWithoutPictureIsNotMeasured) {
  const Answers answers = run(soundClip(dir_));
  expectNothing(answers, "no video stream");
  const std::map<std::string, std::string> tags{{"field-dominance", "QAFieldDominance"},
                                                {"pulldown", "QAPulldown"},
                                                {"tearing", "QATearing"},
                                                {"timecode", "QATimecode"},
                                                {"transitions", "QATransition"}};
  for (const auto& [name, tag] : tags) {
    EXPECT_EQ(answers.checks.at(name).at("messages"), (json{tag + ": No video stream."}));
  }
}

TEST_F(PictureChecks, AFileOfTenBitsIsNotMeasured) {
  const Answers answers = run(makeClip(dir_, "prores.mov", {{proRes()}, {}}));
  expectNothing(answers, "pixel format yuv422p10le is not 8-bit planar 4:2:0, 4:2:2 or 4:4:4");
  for (const std::string& name : kNames) {
    EXPECT_EQ(answers.checks.at(name).at("failures"), 1) << name;
  }
}

TEST_F(PictureChecks, AFileThatEndsWithinTheSlateHasTimecodesOnly) {
  const Answers answers = run(clipOf(still), "");
  for (const std::string& name : kNames) {
    EXPECT_EQ(answers.lines.at(name),
              name == "timecode"
                  ? "info  35 frames, 00:00:00:00 to 00:00:01:09 (drop-frame to 00:00:01;09)"
                  : "not-measured  the file ends within the slate of 5 s")
        << name;
  }
  EXPECT_EQ(answers.code, 2);
}

TEST_F(PictureChecks, AFileShorterThanTheMarginIsNotMeasured) {
  const Answers answers = run(clipOf(still, 9));
  for (const std::string& name : kNames) {
    EXPECT_EQ(answers.lines.at(name),
              "not-measured  too short, or of unknown duration: no frames are left to measure")
        << name;
  }
  // It was gone through, and no frame was to be looked at.
  EXPECT_EQ(answers.result("timecode"), (json{{"completed", true}}));
  EXPECT_EQ(answers.result("transitions"), (json{{"transitions", 0}}));
  EXPECT_EQ(answers.code, 2);
}

TEST_F(PictureChecks, FramesThatCannotBeDecodedAreNotMeasured) {
  VideoSpec video = ffv1(60);
  video.edit = [](AVPacket& packet, int) {
    std::memset(packet.data, 0xff, static_cast<std::size_t>(packet.size));
  };
  const Answers answers =
      run(makeClip(dir_, "noise.mkv", {{video}, {}}), "QATesterSlateSeconds=0\n");
  EXPECT_EQ(answers.lines.at("timecode"), "not-measured  no frame could be decoded");
  EXPECT_EQ(answers.lines.at("tearing"), "not-measured  the file ends within the slate of 0 s");
}

TEST_F(PictureChecks, FewerFramesThanAGroupHaveNoCadence) {
  const Answers answers = run(clipOf(still), "QATesterSlateSeconds=0\nPullDownFrameChecks=4\n");
  EXPECT_EQ(answers.state("pulldown"), "not-measured");
  EXPECT_EQ(answers.lines.at("pulldown"), "not-measured  only 4 frames: a group has five");
}

TEST_F(PictureChecks, FramesThatDoNotComeAreTold) {
  // The clip declares 8 s, 200 frames; the timecode check leaves 25 of them out.
  const Answers answers = run(cutClip(dir_), "QATesterSlateSeconds=0\n");
  for (const std::string& name : kNames) {
    const char* budget = name == "timecode" ? "175" : "100";
    const testing::Matcher<std::string> expected = testing::MatchesRegex(
        "(info|pass|fail)  .*; only [1-9][0-9]* of " + std::string(budget) + " frames came");
    EXPECT_TRUE(expected.Matches(answers.lines.at(name))) << answers.lines.at(name);
    EXPECT_EQ(answers.lines.at(name).rfind("info", 0) == 0, name != "tearing");
    EXPECT_FALSE(answers.checks.at(name).contains("reason")) << name;
  }
}

TEST_F(PictureChecks, StoppedBeforeTheirEndAreNotMeasured) {
  const std::string clip = clipOf(moving);
  const std::map<std::string, std::string> figures{
      {"field-dominance",
       "Progressive (0 of 2 frames flagged interlaced, 0 top field first); "
       "only 2 of 10 frames came"},
      // The first percent comes with the first group.
      {"pulldown",
       "no cadence detected: 2:3 in 0 and 2:2 in 1 of 2 groups of five frames; "
       "only 5 of 10 frames came"},
      {"tearing",
       "0 % of the picture torn on average, at most 0 % in a frame (limit 10 %); "
       "only 2 of 10 frames came"},
      {"timecode",
       "2 frames, 00:00:00:00 to 00:00:00:01 (drop-frame to 00:00:00;00); "
       "only 2 of 35 frames came"},
      {"transitions", "no transitions; only 2 of 10 frames came"}};
  for (const std::string& name : kNames) {
    SCOPED_TRACE(name);
    std::stop_source stop;
    const QACheckOutcome outcome = runStoppable(name, clip, kTenFrames, stop);
    EXPECT_EQ(outcome.state, QAState::notMeasured);
    EXPECT_EQ(outcome.reason, "stopped before the check was complete");
    EXPECT_EQ(outcome.summary, figures.at(name));
  }
}

TEST_F(PictureChecks, StoppedBeforeTheyBeginAreNotMeasured) {
  const std::string clip = clipOf(still);
  for (const std::string& name : kNames) {
    SCOPED_TRACE(name);
    std::stop_source stop;
    stop.request_stop();
    const QACheckOutcome outcome = runStoppable(name, clip, kTenFrames, stop);
    EXPECT_EQ(outcome.state, QAState::notMeasured);
    EXPECT_EQ(outcome.reason, "stopped before the check began");
    EXPECT_EQ(outcome.summary, "");
  }
}

TEST_F(PictureChecks, AStopThatComesWithTheLastFrameChangesNothing) {
  const std::string clip = clipOf(still);
  for (const char* name : {"field-dominance", "tearing"}) {
    SCOPED_TRACE(name);
    std::stop_source stop;
    // Of two frames, the second sends the only percent.
    const QACheckOutcome outcome = runStoppable(
        name, clip, "QATesterSlateSeconds=0\nFieldFrameChecks=2\nTearingFrameChecks=2\n", stop);
    EXPECT_TRUE(stop.stop_requested());
    EXPECT_EQ(outcome.state, name == std::string("tearing") ? QAState::pass : QAState::info);
    EXPECT_EQ(outcome.reason, "");
  }
}

}  // namespace
}  // namespace qatest
