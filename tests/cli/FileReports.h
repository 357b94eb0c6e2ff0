#pragma once

#include <string>
#include <vector>

#include "FileReport.h"

namespace cli {

// What a run came to, made by hand.

inline QACheckOutcome outcomeOf(QAState state, const char* name = "frame-rate") {
  QACheckOutcome outcome;
  outcome.name = name;
  outcome.state = state;
  return outcome;
}

inline FileReport fileWith(const std::vector<QAState>& states, const std::string& error = "") {
  FileReport file;
  file.error = error;
  for (const QAState state : states) {
    file.checks.push_back(outcomeOf(state));
  }
  return file;
}

/// The same with outcomes that judge nothing.
inline FileReport reportingFile(const std::vector<QAState>& states) {
  FileReport file = fileWith(states);
  for (QACheckOutcome& outcome : file.checks) {
    outcome.severity = QASeverity::info;
  }
  return file;
}

inline FileReport fileNamed(const std::string& name, const std::vector<QAState>& states) {
  FileReport file = fileWith(states);
  file.file = name;
  return file;
}

/// A breaking event of one picture at 25 pictures a second.
inline QAEvent eventAt(int second) {
  QAEvent event;
  event.startSeconds = second;
  event.startTimecode = "10:00:0" + std::to_string(second) + ":00";
  event.endTimecode = "10:00:0" + std::to_string(second) + ":01";
  event.what = "missing picture";
  return event;
}

inline QAStreamFacts videoStream() {
  QAVideoFacts video;
  video.width = 1920;
  video.height = 1080;
  video.frameRate = 30000.0 / 1001.0;
  video.scan = "tff";
  video.chroma = "4:2:0";
  video.bits = 8;
  QAStreamFacts stream;
  stream.kind = "video";
  stream.codec = "h264";
  stream.video = video;
  return stream;
}

inline QAStreamFacts audioStream(const char* codec, int channels) {
  QAAudioFacts audio;
  audio.sampleRate = 44100;
  audio.channels = channels;
  audio.layout = "stereo";
  QAStreamFacts stream;
  stream.index = 1;
  stream.kind = "audio";
  stream.codec = codec;
  stream.audio = audio;
  return stream;
}

/// What names, tags and messages may hold, and what no format of a report likes.
inline std::vector<std::string> hostileTexts() {
  std::vector<std::string> texts = {
      "",
      " ",
      "a, b; c",
      "\"quoted\", 'twice'",
      "<script>&amp;</script><!-- ]]> -->",
      "]]>",
      "%s%n",
      "caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x8e\xac",
      "late control \xc2\x9b\xc2\x85",
      "bell\x07 escape\x1b[2J delete\x7f",
      "line\nline\r\nline\rtab\t",
      std::string("nul\0nul", 7),
      "no UTF-8 \xff\x9b\xc3",
      "cut short \xe2\x82",
      "overlong \xc0\xaf",
      "half of a pair \xed\xa0\x80",
      "beyond the last \xf4\x90\x80\x80",
      "no characters \xef\xbf\xbe\xef\xbf\xbf",
      "mark \xef\xbb\xbf of order",
      "=1+1",
      "+1",
      "-1.mov",
      "@SUM(A1)",
      "\xef\xbc\x9d"
      "1",
      "\t=1",
      "\r=1",
      std::string(70000, 'x'),
  };
  for (int byte = 0; byte < 256; ++byte) {
    texts.push_back(std::string("byte ") + static_cast<char>(byte) + ".");
  }
  return texts;
}

/// A file all of whose texts are this one.
inline FileReport fileOfText(const std::string& text) {
  FileReport file = fileNamed(text, {QAState::fail, QAState::warn, QAState::info});
  file.profile = text;
  file.facts.opened = true;
  file.facts.media.container = text;
  file.facts.media.startTimecode = text;
  file.facts.media.streams = {videoStream(), audioStream(text.c_str(), 2)};
  file.facts.media.streams.front().codec = text;
  for (QACheckOutcome& outcome : file.checks) {
    QAEvent event = eventAt(1);
    event.what = event.unit = event.channelName = text;
    event.value = 1.5;
    outcome.summary = outcome.reason = text;
    outcome.events = {event};
    outcome.eventCount = 1;
  }
  return file;
}

}  // namespace cli
