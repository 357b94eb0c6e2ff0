#include "EdlReport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

#include "Client.h"
#include "FileReports.h"

namespace cli {
namespace {

constexpr double kNtsc = 30000.0 / 1001.0;

/// A file whose list there can be, with a check in this state.
FileReport fileAt(double framesPerSecond, QAState state = QAState::fail) {
  FileReport file = fileNamed("media/a.mov", {state});
  file.facts.opened = true;
  file.facts.media.streams = {videoStream()};
  file.facts.media.streams.front().video->frameRate = framesPerSecond;
  return file;
}

/// Something that begins at a timecode.
QAEvent at(const std::string& timecode, double seconds = 0.0) {
  QAEvent event;
  event.startTimecode = timecode;
  event.startSeconds = seconds;
  event.what = "black";
  return event;
}

/// Its lines, each of which ends as in a file of its kind.
std::vector<std::string> edlLines(const FileReport& file) {
  std::vector<std::string> lines = qatest::linesOf(edlText(file));
  for (std::string& line : lines) {
    EXPECT_EQ(line.back(), '\r') << line;
    line.pop_back();
  }
  return lines;
}

std::vector<std::string> linesWith(const FileReport& file, const std::string& start) {
  std::vector<std::string> lines = edlLines(file);
  std::erase_if(lines, [&](const std::string& line) { return line.rfind(start, 0) != 0; });
  return lines;
}

TEST(EdlReport, HasAnEventOfAFrameWhereSomethingBegins) {
  FileReport file = fileAt(25.0);
  file.profile = "general";
  file.checks.push_back(outcomeOf(QAState::warn, "mono"));
  file.checks.push_back(outcomeOf(QAState::info, "levels"));
  QAEvent black = at("10:00:02:24", 2.96);
  black.endTimecode = "10:00:07:00";
  black.value = 4.04;
  black.limit = 2.0;
  black.unit = "s";
  QAEvent leader = at("10:00:00:00");
  leader.what = "leader";
  leader.endTimecode = "10:00:00:01";
  leader.breaks = false;
  file.checks[0].events = {leader, black};
  file.checks[1].events = {at("10:00:01:00", 1.0)};
  file.checks[2].events = {at("10:00:01:00", 1.0)};
  EXPECT_EQ(edlLines(file),
            (std::vector<std::string>{
                "TITLE: a.mov", "FCM: NON-DROP FRAME", "",
                "001  AX       V     C        10:00:00:00 10:00:00:01 10:00:00:00 10:00:00:01",
                "* FROM CLIP NAME: a.mov", "* LOC: 10:00:00:00 CYAN    frame-rate: leader",
                "002  AX       V     C        10:00:01:00 10:00:01:01 10:00:01:00 10:00:01:01",
                "* FROM CLIP NAME: a.mov", "* LOC: 10:00:01:00 YELLOW  mono: black",
                "* LOC: 10:00:01:00 CYAN    levels: black",
                "003  AX       V     C        10:00:02:24 10:00:03:00 10:00:02:24 10:00:03:00",
                "* FROM CLIP NAME: a.mov",
                "* LOC: 10:00:02:24 RED     frame-rate: black  4.04 s (limit 2 s), to 10:00:07:00",
                "* VERDICT: fail, PROFILE general"}));
}

TEST(EdlReport, CountsDropFrameTimecodeAsItGoes) {
  FileReport file = fileAt(kNtsc);
  file.checks[0].events = {at("10:00:59;29"), at("10:09:59;29", 1.0), at("23:59:59;29", 2.0)};
  const std::vector<std::string> lines = edlLines(file);
  EXPECT_EQ(lines[1], "FCM: DROP FRAME");
  EXPECT_EQ(linesWith(file, "0"),
            (std::vector<std::string>{
                "001  AX       V     C        10:00:59;29 10:01:00;02 10:00:59;29 10:01:00;02",
                "002  AX       V     C        10:09:59;29 10:10:00;00 10:09:59;29 10:10:00;00",
                "003  AX       V     C        23:59:59;29 00:00:00;00 23:59:59;29 00:00:00;00"}));
  file.checks[0].events = {at("10:00:59:29")};
  EXPECT_EQ(edlLines(file)[1], "FCM: NON-DROP FRAME");
}

TEST(EdlReport, WithoutEventsGoesByTheTimecodeOfTheFile) {
  FileReport file = fileAt(kNtsc, QAState::pass);
  EXPECT_EQ(edlLines(file), (std::vector<std::string>{"TITLE: a.mov", "FCM: NON-DROP FRAME", "",
                                                      "* VERDICT: pass"}));
  file.facts.media.startTimecode = "01:00:00;00";
  EXPECT_EQ(edlLines(file)[1], "FCM: DROP FRAME");
}

TEST(EdlReport, IsOfRatesThatTheFormatHas) {
  for (const double rate : {24000.0 / 1001.0, 24.0, 25.0, kNtsc, 30.0}) {
    EXPECT_EQ(whyNoEdl(fileAt(rate)), "") << rate;
  }
  EXPECT_EQ(whyNoEdl(fileAt(50.0)), "CMX 3600 has no timecode for 50 fps");
  EXPECT_EQ(whyNoEdl(fileAt(60000.0 / 1001.0)), "CMX 3600 has no timecode for 59.94 fps");
  EXPECT_EQ(whyNoEdl(fileAt(29.5)), "CMX 3600 has no timecode for 29.5 fps");
  EXPECT_EQ(whyNoEdl(fileAt(0.0)), "no frame rate is declared");
  FileReport file = fileAt(25.0);
  file.facts.media.streams = {audioStream("aac", 2)};
  EXPECT_EQ(whyNoEdl(file), "no video stream");
  file.facts = {};
  EXPECT_EQ(whyNoEdl(file),
            "its frame rate was not read: that takes a profile or a programme check");
  file.error = "is empty";
  EXPECT_EQ(whyNoEdl(file), "it could not be read");
}

/// Timecode of a frame at 25 frames a second, in the first hour.
std::string timecodeOf(int frame) {
  char text[32];
  std::snprintf(text, sizeof text, "00:%02d:%02d:%02d", frame / 25 / 60, frame / 25 % 60,
                frame % 25);
  return text;
}

TEST(EdlReport, HoldsTheGravestOfTooMany) {
  FileReport file = fileAt(25.0);
  file.checks.push_back(outcomeOf(QAState::fail, "mono"));
  file.checks.push_back(outcomeOf(QAState::info, "levels"));
  // One check breaks in 1100 frames, each time worse than before; another one in three between
  // them, less than anything; and a third one has something to say of every frame.
  for (int i = 0; i < 1100; ++i) {
    file.checks[0].events.push_back(at(timecodeOf(2 * i), 0.08 * i));
    file.checks[0].events.back().value = 1000.0 + i;
  }
  for (int i = 0; i < 3; ++i) {
    file.checks[1].events.push_back(at(timecodeOf(2 * i + 1), 0.08 * i + 0.04));
    file.checks[1].events.back().value = 1.0 + i;
  }
  for (int i = 0; i < 2200; ++i) {
    file.checks[2].events.push_back(at(timecodeOf(i), 0.04 * i));
  }
  for (QACheckOutcome& outcome : file.checks) {
    outcome.eventCount = static_cast<int64_t>(outcome.events.size());
  }
  const std::vector<std::string> lines = edlLines(file);
  std::vector<std::string> red = linesWith(file, "* LOC");
  std::erase_if(red, [](const std::string& line) { return line.find(" RED ") == line.npos; });
  ASSERT_EQ(red.size(), 999U);
  EXPECT_EQ(red[0], "* LOC: 00:00:00:01 RED     mono: black  1");
  EXPECT_EQ(red[2], "* LOC: 00:00:00:05 RED     mono: black  3");
  // 996 of the first check are left: the last ones, from 1100 - 996 = 104 on.
  EXPECT_EQ(red[3], "* LOC: " + timecodeOf(208) + " RED     frame-rate: black  1104");
  EXPECT_NE(std::find(lines.begin(), lines.end(),
                      "999  AX       V     C        00:01:27:23 00:01:27:24 00:01:27:23 "
                      "00:01:27:24"),
            lines.end());
  // 104 of the first check and those of the third in other frames than 999.
  EXPECT_EQ(lines.back(),
            "* LEFT OUT, LEAST GRAVE, A LIST HAS 999 EVENTS: " + std::to_string(104 + 2200 - 999));
}

TEST(EdlReport, TellsWhatElseIsLeftOut) {
  FileReport file = fileAt(25.0);
  file.checks[0].events = {at("10:00:00:00"), at(""), at("ten"), at("10:00:00:25")};
  file.checks[0].eventCount = 10;
  const std::vector<std::string> lines = edlLines(file);
  EXPECT_EQ(lines[lines.size() - 2], "* LEFT OUT, WITHOUT A TIMECODE: 3");
  EXPECT_EQ(lines.back(), "* LEFT OUT, NOT KEPT BY THE SETTING EventsPerCheck: 6");
}

TEST(EdlReport, IsAsciiWhateverTheTexts) {
  for (const std::string& text : hostileTexts()) {
    FileReport file = fileOfText(text);
    file.facts.media.streams.front().video->frameRate = 25.0;
    const std::string list = edlText(file);
    for (const char character : list) {
      ASSERT_TRUE((character >= ' ' && character < '\x7f') || character == '\r' ||
                  character == '\n');
    }
    // A title, the mode, an empty line, an event, its clip, three findings, the verdict.
    EXPECT_EQ(edlLines(file).size(), 9U);
    EXPECT_LE(edlLines(file).front().size(), std::string("TITLE: ").size() + 70);
  }
  FileReport file = fileAt(25.0);
  file.file = "caf\xc3\xa9 \xff.mov";
  EXPECT_EQ(edlLines(file).front(), "TITLE: caf? ?.mov");
}

}  // namespace
}  // namespace cli
