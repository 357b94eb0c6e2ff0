// Programme checks by way of a tester: severities, profiles, settings and what is said of the file.

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "support/Clips.h"
#include "support/Outcomes.h"
#include "support/RecordedSeries.h"
#include "support/TempDir.h"
#include "support/Values.h"
#include "tester/QAProfile.h"
#include "tester/QATester.h"

namespace {

using qatest::AudioSpec;
using qatest::makeClip;
using qatest::VideoSpec;

class ProgrammeChecks : public testing::Test {
 protected:
  std::string pictures(int frames = 30) {
    VideoSpec video;
    video.frames = frames;
    return makeClip(dir_, "pictures.mkv", {{video}, {}});
  }

  std::string both() {
    VideoSpec video;
    AudioSpec audio;
    return makeClip(dir_, "both.mov", {{video}, {audio}});
  }

  static QATesterOptions options(const std::string& profile = "general") {
    QATesterOptions options;
    options.pauses = QAPauses::untilReady;
    options.lookup = QALookup::stored;
    options.displays = QADisplays::nowhere;
    options.profile = profile;
    return options;
  }

  static QACheckOutcome outcomeOf(const std::string& file, const std::string& check,
                                  const QATesterOptions& options,
                                  const std::string& settings = "") {
    QATester tester(file.c_str(), nullptr, settings.c_str(), "", options);
    return tester.runChecks({check}).front();
  }

  qatest::TempDir dir_;
};

TEST_F(ProgrammeChecks, SeriesChangeNoResultAndHaveARowAPicture) {
  const std::string file = both();
  std::vector<std::string> names;
  for (const QACheck* check : allChecks()) {
    if (check->family == QAFamily::programme) {
      names.emplace_back(check->name);
    }
  }
  const auto run = [&](QAMeasurementSink* sink) {
    QATesterOptions all = options();
    all.measurements = sink;
    return QATester(file.c_str(), nullptr, "", "", all).runChecks(names);
  };
  qatest::RecordedSeries series;
  const std::vector<QACheckOutcome> outcomes = run(&series);
  EXPECT_EQ(qatest::textsOf(outcomes), qatest::textsOf(run(nullptr)));
  const auto shares = std::find_if(series.all.begin(), series.all.end(), [](const auto& one) {
    return one.series.check == "signal-range";
  });
  ASSERT_NE(shares, series.all.end());
  EXPECT_EQ(static_cast<int>(shares->rows.size()), VideoSpec().frames);
  const double worst = std::max_element(shares->rows.begin(), shares->rows.end(),
                                        [](const auto& one, const auto& other) {
                                          return one.values[0] < other.values[0];
                                        })
                           ->values[0];
  const auto range = std::find(names.begin(), names.end(), "signal-range") - names.begin();
  EXPECT_NEAR(worst / 100.0,
              qatest::numberOf(outcomes[static_cast<std::size_t>(range)].values, "worstShare"),
              1e-9);
}

TEST_F(ProgrammeChecks, PicturesThatAreHandedOutChangeNoResult) {
  const std::string file = both();
  std::vector<std::string> names;
  for (const QACheck* check : allChecks()) {
    names.emplace_back(check->name);
  }
  std::vector<QADisplayPicture> pictures;
  const auto run = [&](QADisplays displays) {
    QATesterOptions all = options();
    all.displays = displays;
    all.settings = {{"QATesterSlateSeconds", "0"}, {"Severity.signal-range", "warn"}};
    if (displays == QADisplays::handedOut) {
      all.picture = [&](QADisplayPicture picture) { pictures.push_back(std::move(picture)); };
    }
    return QATester(file.c_str(), nullptr, "", "", all).runChecks(names);
  };
  const std::vector<QACheckOutcome> outcomes = run(QADisplays::handedOut);
  EXPECT_EQ(qatest::textsOf(outcomes), qatest::textsOf(run(QADisplays::nowhere)));
  // An event says which of them are its own.
  const auto range = std::find(names.begin(), names.end(), "signal-range") - names.begin();
  const std::vector<QAEvent>& events = outcomes[static_cast<std::size_t>(range)].events;
  ASSERT_FALSE(events.empty());
  const std::vector<int64_t> wanted = {events.front().worstFrame.value()};
  EXPECT_EQ(events.front().pictures, wanted);
  const auto count = [&](const std::string& display, int index) {
    return std::count_if(pictures.begin(), pictures.end(), [&](const QADisplayPicture& picture) {
      return picture.display == display && (index < 0 || picture.index == index);
    });
  };
  EXPECT_EQ(count("Signal Range", static_cast<int>(wanted.front())), 1);
  // Of what a classic check draws again and again, the last; of every frame's timecode, none.
  EXPECT_EQ(count("Diamond Display", -1), 1);
  EXPECT_EQ(count("Timecode Video", -1), 0);
}

TEST_F(ProgrammeChecks, ASettingIsKnownAsItIsInEffect) {
  const auto rowOf = [](const char* check, const std::string& key) {
    const auto rows = findCheck(check)->settings;
    return *std::find_if(rows.begin(), rows.end(),
                         [&](const QASetting& row) { return key == row.key; });
  };
  QATesterOptions all = options("atsc-a85");
  all.settings = {
      {"BlackSeconds", "0.25"}, {"TearingFrameChecks", "0"}, {"VideoCodecs", "h264, hevc"}};
  const QATester tester("", nullptr, "", "", all);
  EXPECT_EQ(tester.settingOf(rowOf("black", "BlackSeconds")), "0.25");
  EXPECT_EQ(tester.settingOf(rowOf("tearing", "TearingFrameChecks")), "1") << "the least";
  EXPECT_EQ(tester.settingOf(rowOf("streams", "VideoCodecs")), "h264, hevc");
  EXPECT_EQ(tester.settingOf(rowOf("programme-loudness", "LoudnessTarget")), "-24")
      << "the profile's";
  EXPECT_EQ(tester.settingOf(rowOf("chroma", "ChromaFrameChecks")), "100") << "the default";
}

TEST_F(ProgrammeChecks, ABrokenLimitCountsAsMuchAsTheSeveritySays) {
  const std::string file = pictures();
  QATesterOptions all = options();
  for (const auto& [severity, state] :
       {std::pair{"info", QAState::info}, {"warn", QAState::warn}, {"fail", QAState::fail}}) {
    all.settings = {{"Severity.streams", severity}};
    const QACheckOutcome outcome = outcomeOf(file, "streams", all);
    EXPECT_EQ(outcome.state, state);
    EXPECT_TRUE(outcome.broken);
    EXPECT_STREQ(getSeverityText(outcome.severity), severity);
  }
}

TEST_F(ProgrammeChecks, AGoodFilePassesUnlessTheCheckOnlyInforms) {
  const std::string file = both();
  QATesterOptions all = options();
  EXPECT_EQ(outcomeOf(file, "streams", all).state, QAState::pass);
  all.settings = {{"Severity.streams", "info"}};
  EXPECT_EQ(outcomeOf(file, "streams", all).state, QAState::info);
}

TEST_F(ProgrammeChecks, AnOverrideWinsOverTheFileAndTheFileOverTheProfile) {
  const std::string file = both();
  const std::string settings = dir_.file("settings");
  qatest::writeFile(settings, "Severity.streams=fail\nFrameRates=24\n");
  QATesterOptions all = options();
  EXPECT_EQ(outcomeOf(file, "streams", all, settings).state, QAState::fail);
  all.settings = {{"Severity.streams", "warn"}};
  EXPECT_EQ(outcomeOf(file, "streams", all, settings).state, QAState::warn);
  all.settings.emplace_back("FrameRates", "24,25");
  EXPECT_EQ(outcomeOf(file, "streams", all, settings).state, QAState::pass);
}

TEST_F(ProgrammeChecks, AProfileMayBeASettingsFile) {
  const std::string profile = dir_.file("house");
  qatest::writeFile(profile,
                    "# House rules\nSeverity.streams=fail\nRequireAudio=0\nFrameRates=24\n");
  const QACheckOutcome outcome = outcomeOf(pictures(), "streams", options(profile));
  EXPECT_EQ(outcome.state, QAState::fail);
  ASSERT_EQ(outcome.events.size(), 1U);
  EXPECT_EQ(outcome.events.front().what, "another frame rate");
}

TEST_F(ProgrammeChecks, AnUnknownProfileIsRefused) {
  EXPECT_THROW(QATester("x", nullptr, "", "", options("no-such-profile")), std::invalid_argument);
}

TEST_F(ProgrammeChecks, ClassicChecksJudgeWithoutAProfileAndInformInTheGeneralOne) {
  const std::string file = pictures();
  EXPECT_EQ(outcomeOf(file, "valid", options("")).state, QAState::fail) << "no sound";
  EXPECT_EQ(outcomeOf(file, "valid", options()).state, QAState::info);
  EXPECT_EQ(outcomeOf(file, "valid", options("classic")).state, QAState::fail);
}

TEST_F(ProgrammeChecks, SayWhatTheFileIsAndHowMuchOfItWasRead) {
  const std::string file = both();
  const QATesterOptions all = options();
  QATester tester(file.c_str(), nullptr, "", "", all);
  tester.runChecks({"decoding"});
  const QAFileFacts& facts = tester.fileFacts();
  EXPECT_TRUE(facts.opened);
  EXPECT_EQ(facts.pictures, 50);
  EXPECT_NEAR(facts.pictureSeconds, 2.0, 1e-6);
  EXPECT_NEAR(facts.soundSeconds, 2.0, 1e-6);
  EXPECT_TRUE(facts.wholeFile);
  ASSERT_EQ(facts.media.streams.size(), 2U);
  EXPECT_EQ(facts.media.streams[0].kind, "video");
  EXPECT_EQ(facts.media.streams[1].kind, "audio");
}

TEST_F(ProgrammeChecks, AreTheSameInOnePassAndEachAlone) {
  const std::string file = both();
  const std::vector<std::string> names = {"chroma", "frame-timing", "length", "decoding"};
  QATesterOptions all = options();
  std::vector<std::vector<QACheckOutcome>> outcomes;
  for (const QAPasses passes : {QAPasses::one, QAPasses::each}) {
    all.passes = passes;
    QATester tester(file.c_str(), nullptr, "", "", all);
    outcomes.push_back(tester.runChecks(names));
  }
  for (std::size_t i = 0; i < names.size(); ++i) {
    EXPECT_EQ(outcomes[0][i].name, names[i]);
    EXPECT_EQ(outcomes[0][i].state, outcomes[1][i].state);
    EXPECT_EQ(outcomes[0][i].summary, outcomes[1][i].summary);
  }
}

TEST_F(ProgrammeChecks, WhatIsNotThereIsNotMeasuredAndSaysSo) {
  const QACheckOutcome outcome = outcomeOf(pictures(), "start-timecode", options());
  EXPECT_EQ(outcome.state, QAState::notMeasured);
  EXPECT_TRUE(outcome.subjectAbsent);
  EXPECT_EQ(outcome.reason, "no timecode");
}

TEST_F(ProgrammeChecks, AFileThatDoesNotOpenIsNotMeasured) {
  const QACheckOutcome outcome = outcomeOf(dir_.file("none"), "decoding", options());
  EXPECT_EQ(outcome.state, QAState::notMeasured);
  EXPECT_FALSE(outcome.opened);
  EXPECT_TRUE(outcome.reasonIsOfFile);
  EXPECT_EQ(outcome.reason, "cannot be opened as a media file: No such file or directory");
}

TEST_F(ProgrammeChecks, AStopLeavesThemUnmeasured) {
  std::stop_source stop;
  QATesterOptions all = options();
  all.stop = stop.get_token();
  all.progress = [&](const QAProgress&) { stop.request_stop(); };
  const std::string file = pictures(400);
  QATester tester(file.c_str(), nullptr, "", "", all);
  stop.request_stop();
  const QACheckOutcome outcome = tester.runChecks({"decoding"}).front();
  EXPECT_EQ(outcome.state, QAState::notMeasured);
  EXPECT_TRUE(outcome.stopped);
}

TEST_F(ProgrammeChecks, KeepTheWorstEventsInTheOrderOfTime) {
  VideoSpec video;
  video.frames = 60;
  // Gaps of 1, 3 and 2 frames.
  video.edit = [](AVPacket& packet, int index) {
    const int64_t shift = (index >= 10 ? 1 : 0) + (index >= 20 ? 3 : 0) + (index >= 40 ? 2 : 0);
    packet.pts += shift;
    packet.dts += shift;
  };
  const std::string file = makeClip(dir_, "gaps.mkv", {{video}, {}});
  QATesterOptions all = options();
  const QACheckOutcome whole = outcomeOf(file, "frame-timing", all);
  EXPECT_EQ(whole.state, QAState::fail);
  EXPECT_EQ(whole.eventCount, 3);
  all.settings = {{"EventsPerCheck", "2"}};
  const QACheckOutcome outcome = outcomeOf(file, "frame-timing", all);
  EXPECT_EQ(outcome.eventCount, 3);
  ASSERT_EQ(outcome.events.size(), 2U);
  EXPECT_EQ(outcome.events[0].what, "3 frames missing");
  EXPECT_EQ(outcome.events[0].startTimecode, "00:00:00:21") << "20 frames and a gap of one";
  EXPECT_EQ(outcome.events[0].endTimecode, "00:00:00:24");
  EXPECT_EQ(outcome.events[1].what, "2 frames missing");
}

TEST(Profiles, GeneralComesFirstAndEachIsFoundByItsName) {
  ASSERT_FALSE(allProfiles().empty());
  EXPECT_STREQ(allProfiles().front().name, "general");
  for (const QAProfile& profile : allProfiles()) {
    ASSERT_NE(findProfile(profile.name), nullptr);
    EXPECT_STREQ(findProfile(profile.name)->text, profile.text);
    EXPECT_EQ(profile.text[0], '#');
  }
  EXPECT_EQ(findProfile("none"), nullptr);
}

}  // namespace
