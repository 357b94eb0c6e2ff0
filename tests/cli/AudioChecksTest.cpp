#include <gtest/gtest.h>

#include <cmath>
#include <stop_token>

#include "Client.h"

namespace qatest {
namespace {

using nlohmann::json;

constexpr int kBlock = 1024;

/// The level of a 16-bit value: 6.0206 dB for each bit and 1.7609 dB make a range of 98.0906 dB.
double levelOf(double value) {
  return 20.0 * std::log10(value) - 98.0906;
}

/// Two seconds, 93 blocks of 1024 samples and one of 768, of channels that hold a value each.
AudioSpec constant(const std::vector<double>& values, const std::string& encoder = "pcm_s16le") {
  AudioSpec sound = audio(encoder, static_cast<int>(values.size()), 2.0);
  sound.sample = [=](int channel, int64_t) { return values[static_cast<std::size_t>(channel)]; };
  return sound;
}

constexpr const char* kTenBlocks =
    "QATesterSlateSeconds=0\n"
    "LevelFrameChecks=10\n"
    "LoudnessFrameChecks=10\n"
    "MonoFrameChecks=10\n"
    "PhaseFrameChecks=10\n";

constexpr const char* kNoBand = "; no band is set (LoudnessMinThreshold, LoudnessMaxThreshold)";

/// What a run of the four audio checks answers.
struct Answers {
  json levels;
  json loudness;
  json mono;
  json phase;
  /// The table below the file's name.
  std::string table;
  int code = 0;
};

class AudioChecks : public testing::Test {
 protected:
  Answers run(const std::string& clip, const std::string& settings) const {
    writeFile(dir_.file("qa.settings"), settings);
    const Finished end = runClient({"--json", "-", "--checks", "levels,loudness,mono,phase",
                                    "--settings", dir_.file("qa.settings"), clip});
    const json checks = onlyFile(json::parse(end.out)).at("checks");
    const std::string table = withoutHeads(end.err);
    return {
        checks.at(0), checks.at(1), checks.at(2), checks.at(3), table.substr(table.find('\n') + 1),
        end.code};
  }

  std::string clipOf(const std::vector<AudioSpec>& streams, const char* name = "sound.mkv") const {
    return makeClip(dir_, name, {{}, streams});
  }

  TempDir dir_;
};

void expectNotMeasured(const Answers& answers, const std::string& reason) {
  for (const json& check : {answers.levels, answers.loudness, answers.mono, answers.phase}) {
    EXPECT_EQ(check.at("state"), "not-measured") << check;
    EXPECT_EQ(check.at("reason"), reason) << check;
  }
  const std::map<std::string, std::string> lines = tableByCheck(answers.table);
  EXPECT_EQ(lines.size(), 4U) << answers.table;
  for (const auto& [name, line] : lines) {
    EXPECT_EQ(line, "not-measured  " + reason) << name;
  }
  EXPECT_EQ(answers.code, 2);
}

// 0.5 of full scale is 16384 of 32768, 0.25 is 8192.

TEST_F(AudioChecks, TellRecordsAndFigures) {
  const Answers answers = run(clipOf({constant({0.5, -0.25})}), kTenBlocks);
  EXPECT_EQ(answers.levels.at("state"), "pass");
  json levels = answers.levels.at("result");
  for (const int channel : {0, 1}) {
    json& entry = levels.at("levels").at(static_cast<std::size_t>(channel));
    const double expected = levelOf(channel == 0 ? 16384.0 : 8192.0);
    EXPECT_NEAR(entry.at("dynamicRange").get<double>(), 98.0906, 1e-5);
    EXPECT_NEAR(entry.at("maxLevel").get<double>(), expected, 1e-4);
    EXPECT_NEAR(entry.at("minLevel").get<double>(), expected, 1e-4);
    for (const char* key : {"dynamicRange", "maxLevel", "minLevel"}) {
      entry.erase(key);
    }
    const json rest{
        {"audioStreamNumber", 0}, {"channelNumber", channel}, {"passed", true}, {"measured", true}};
    EXPECT_EQ(entry, rest);
  }
  const json expected{{"setup", 1}, {"setupText", "1 Stream with 2 Channels"}, {"count", 2}};
  EXPECT_EQ(fieldsLike(expected, levels), expected);

  // Every block starts the filters anew, so ten are as loud as one.
  const double loudness = loudnessOfConstants(0.5, -0.25, kBlock);
  EXPECT_EQ(answers.loudness.at("state"), "info");
  EXPECT_NEAR(answers.loudness.at("result").at("loudness").get<double>(), loudness, 1e-9);
  EXPECT_EQ(answers.loudness.at("result").at("passed"), false);

  // No sample is within 1 % of any of the other channel. All lags above 0 differ by the same, of
  // which the first counts.
  for (const json& check : {answers.mono, answers.phase}) {
    EXPECT_EQ(check.at("state"), "pass");
    EXPECT_EQ(check.at("result").at("passed"), true);
  }
  for (const json& check : {answers.levels, answers.loudness, answers.mono, answers.phase}) {
    EXPECT_EQ(check.at("progress"), json(percents(10, 10)));
    EXPECT_FALSE(check.contains("reason")) << check;
  }
  // The block that ends the leading silence is left out: 1024 / 48000 = 0.02 s.
  EXPECT_EQ(answers.table,
            "  levels    pass  stream 0: ch 0 -13.80 to -13.80 dB, "
            "ch 1 -19.82 to -19.82 dB\n"
            "  loudness  info  " +
                twoDecimals(loudness) + " LKFS over 0.21 s from 0.02 s" + kNoBand +
                "\n"
                "  mono      pass  0 of 10 blocks carry one signal, limit 1 %\n"
                "  phase     pass  mean lag 1.00 samples, limit 200\n");
  EXPECT_EQ(answers.code, 0);
}

TEST_F(AudioChecks, FailOutsideTheirLimits) {
  const double loudness = loudnessOfConstants(0.5, 0.5, kBlock);
  const int above = static_cast<int>(std::ceil(loudness));
  const Answers answers = run(clipOf({constant({0.5, 0.5})}),
                              kTenBlocks + ("LevelPeakThreshold=-14\nLoudnessMaxThreshold=0\n"
                                            "PhaseSampleOffsetThreshold=1\nLoudnessMinThreshold=" +
                                            std::to_string(above) + "\n"));
  EXPECT_EQ(answers.levels.at("result").at("levels").at(1).at("passed"), false);
  for (const json& check : {answers.loudness, answers.mono, answers.phase}) {
    EXPECT_EQ(check.at("result").at("passed"), false);
  }
  EXPECT_EQ(answers.table,
            "  levels    fail  stream 0: ch 0 -13.80 to -13.80 dB, "
            "ch 1 -13.80 to -13.80 dB; outside: "
            "stream 0 ch 0 0.20 dB above -14 dB, stream 0 ch 1 0.20 dB above -14 dB\n"
            "  loudness  fail  " +
                twoDecimals(loudness) + " LKFS over 0.21 s from 0.02 s, band " +
                std::to_string(above) +
                " to 0\n"
                "  mono      fail  10 of 10 blocks carry one signal, limit 1 %\n"
                "  phase     fail  mean lag 1.00 samples, limit 1\n");
  EXPECT_EQ(answers.code, 1);
}

TEST_F(AudioChecks, LoudnessInsideItsBandPasses) {
  const double loudness = loudnessOfConstants(0.5, -0.25, kBlock);
  const std::string min = std::to_string(static_cast<int>(std::floor(loudness)));
  const std::string max = std::to_string(static_cast<int>(std::ceil(loudness)));
  const std::string clip = clipOf({constant({0.5, -0.25})});
  const Answers inside = run(
      clip, kTenBlocks + ("LoudnessMinThreshold=" + min + "\nLoudnessMaxThreshold=" + max + "\n"));
  EXPECT_EQ(inside.loudness.at("state"), "pass");
  EXPECT_EQ(inside.loudness.at("result").at("passed"), true);
  EXPECT_NE(inside.table.find(", band " + min + " to " + max + "\n"), std::string::npos);
  const Answers crossed = run(
      clip, kTenBlocks + ("LoudnessMinThreshold=" + max + "\nLoudnessMaxThreshold=" + min + "\n"));
  EXPECT_EQ(crossed.loudness.at("state"), "info");
}

TEST_F(AudioChecks, ASilentChannelFails) {
  const Answers answers = run(clipOf({constant({0.0, 0.25})}), kTenBlocks);
  EXPECT_EQ(answers.levels.at("state"), "fail");
  EXPECT_EQ(answers.levels.at("result").at("levels").at(0).at("maxLevel"), 0.0);
  EXPECT_NE(answers.table.find("stream 0: ch 0 silent, ch 1 -19.82 to -19.82 dB\n"),
            std::string::npos)
      << answers.table;
}

TEST_F(AudioChecks, AFileWithoutSoundIsNotMeasured) {
  const Answers answers = run(makeClip(dir_, "picture.mkv", {{ffv1()}, {}}), kTenBlocks);
  expectNotMeasured(answers, "no audio stream");
  EXPECT_EQ(answers.levels.at("result"), json(nullptr));
  EXPECT_EQ(answers.levels.at("messages"), (json{"QALevels: No Audio Stream."}));
  EXPECT_EQ(answers.loudness.at("result"), (json{{"loudness", 0.0}, {"passed", false}}));
  EXPECT_EQ(answers.mono.at("result"), (json{{"passed", false}}));
  EXPECT_EQ(answers.phase.at("result"), (json{{"passed", false}}));
}

TEST_F(AudioChecks, FloatPcmIsNotMeasuredAndKeepsItsRecords) {
  const Answers answers = run(clipOf({constant({0.5, -0.25}, "pcm_f32le")}, "f.wav"), kTenBlocks);
  expectNotMeasured(answers,
                    "stream 0: samples of format flt read as silence: "
                    "only 8-, 16- and 32-bit integers are measured");
  EXPECT_EQ(answers.levels.at("result").at("levels").at(1), (json{{"dynamicRange", 0.0},
                                                                  {"maxLevel", 0.0},
                                                                  {"minLevel", 0.0},
                                                                  {"audioStreamNumber", 0},
                                                                  {"channelNumber", 1},
                                                                  {"passed", false},
                                                                  {"measured", false}}));
}

TEST_F(AudioChecks, OfTwoStreamsOnlyTheLevelsAreMeasured) {
  // The stream of one channel is measured into the entry of its own number: 0.125 is 4096.
  const Answers answers = run(clipOf({constant({0.5, -0.25}), constant({0.125})}), kTenBlocks);
  const std::string reason = "2 audio streams (1, 3, 4 or 8 are supported)";
  EXPECT_EQ(answers.levels.at("result").at("setup"), 0);
  EXPECT_EQ(answers.levels.at("result").at("setupText"), "unsupported");
  const json& entries = answers.levels.at("result").at("levels");
  ASSERT_EQ(entries.size(), 4U);
  EXPECT_NEAR(entries.at(1).at("maxLevel").get<double>(), levelOf(4096.0), 1e-4);
  for (const std::size_t i : {2U, 3U}) {
    EXPECT_EQ(entries.at(i).at("passed"), false);
    EXPECT_EQ(entries.at(i).at("audioStreamNumber"), 1);
  }
  EXPECT_EQ(answers.table,
            "  levels    pass  stream 0: ch 0 -13.80 to -13.80 dB, "
            "ch 1 -25.84 to -25.84 dB; stream 1: ch 0 not measured, ch 1 not measured\n"
            "  not-measured  loudness, mono, phase: " +
                reason + "\n");
  EXPECT_EQ(answers.loudness.at("messages"), (json{"QALoudness: Unsupported stream setup"}));
  EXPECT_EQ(answers.code, 2) << "as they were asked for";
}

TEST_F(AudioChecks, SilenceShorterThanTheSlateHasALoudnessOfMinusInfinity) {
  const Answers answers = run(clipOf({constant({0.0, 0.0})}), "");
  EXPECT_EQ(answers.loudness.at("result").at("loudness"), "-inf");
  EXPECT_EQ(answers.loudness.at("result").at("passed"), false);
  EXPECT_EQ(answers.table,
            "  mono      fail  94 of 94 blocks carry one signal, limit 1 %; "
            "to the end: 94 blocks\n"
            "  loudness  info  -inf LKFS (silence) over 0.02 s from 0.00 s" +
                std::string(kNoBand) +
                "\n"
                "  not-measured  levels, phase: too short, or of unknown duration: nothing is left "
                "to measure\n");
}

TEST_F(AudioChecks, TellHowManyBlocksCame) {
  // Four seconds less a slate of one are 144000 instants, which the mono check counts in blocks of
  // 2048 values: 70.
  AudioSpec sound = constant({0.5, -0.25});
  sound.seconds = 4.0;
  const std::string whole = clipOf({sound}, "whole.mkv");
  const std::string cut = truncatedCopy(dir_, "cut.mkv", whole, readFile(whole).size() / 2);
  const Answers answers = run(cut, "QATesterSlateSeconds=1\nLoudnessFrameChecks=1000\n");
  const testing::Matcher<std::string> expected = testing::MatchesRegex(
      "  levels    pass  [^\n]*; only [1-9][0-9]* of 100 blocks came\n"
      "  loudness  info  [^\n]*; only [1-9][0-9]* of 1000 blocks came\n"
      "  mono      pass  [^\n]*; only [1-9][0-9]* of 70 blocks came\n"
      "  phase     pass  [^\n]*; only [1-9][0-9]* of 100 blocks came\n");
  EXPECT_TRUE(expected.Matches(answers.table)) << answers.table;
}

TEST_F(AudioChecks, SoundThatEndsWithinTheSlateIsNotMeasured) {
  const Answers answers = run(cutClip(dir_), "");
  expectNotMeasured(answers, "the sound ends within the slate of 5 s");
  EXPECT_EQ(answers.levels.at("result").at("count"), 2);
}

TEST_F(AudioChecks, StoppedBeforeTheirEndAreNotMeasured) {
  const std::string clip = clipOf({constant({0.5, -0.25})});
  writeFile(dir_.file("qa.settings"), kTenBlocks);
  for (const char* name : {"levels", "loudness", "mono", "phase"}) {
    std::stop_source stop;
    const QACheckOutcome outcome = runToFirstPercent(name, clip, dir_.file("qa.settings"), stop);
    // The first percent, 10, is that of the second block.
    EXPECT_EQ(outcome.progress, std::vector<int>{10}) << name;
    EXPECT_EQ(outcome.state, QAState::notMeasured) << name;
    EXPECT_EQ(outcome.reason, "stopped before the check was complete") << name;
    const std::string tail = "; only 2 of 10 blocks came";
    ASSERT_GT(outcome.summary.size(), tail.size()) << name;
    EXPECT_EQ(outcome.summary.substr(outcome.summary.size() - tail.size()), tail) << name;
  }
}

}  // namespace
}  // namespace qatest
