#include "checks/programme/StartTimecode.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "checks/CheckList.h"
#include "tester/SettingRows.h"
#include "tester/Words.h"

namespace qatester {

namespace {

constexpr QASetting kSettings[] = {
    demand("StartTimecode", "that the file must start with, such as 10:00:00:00"),
};

constexpr CheckProfile kProfile{.name = "start-timecode", .tag = "QAStartTimecode"};

/// A group's header names the first picture that is shown, and the decoder gives it with the first
/// one that is coded: they are as many frames apart as pictures are reordered.
constexpr int kGroupSlack = 4;

std::string textOf(int hours, int minutes, int seconds, int frames, bool drop) {
  char text[32];
  std::snprintf(text, sizeof text, "%02d:%02d:%02d%c%02d", hours, minutes, seconds,
                drop ? ';' : ':', frames);
  return text;
}

int decimal(uint32_t tens, uint32_t ones) {
  return static_cast<int>(10 * tens + ones);
}

std::unique_ptr<ProgrammeCheck<StartTimecodeMeasurement>> make(const CheckContext& context) {
  return std::make_unique<ProgrammeCheck<StartTimecodeMeasurement>>(context, kProfile,
                                                                    context.text(kSettings[0]));
}

}  // namespace

std::string timecodeOfWord(uint32_t word, double framesPerSecond) {
  int frames = decimal(word >> 28U & 0x3U, word >> 24U & 0xFU);
  // Above 30 frames a second a word counts pairs of frames, and a bit says which of the two it is.
  constexpr double kMostInAWord = 31.0;
  constexpr double kFifty = 50.5;
  if (framesPerSecond > kMostInAWord) {
    const uint32_t second = framesPerSecond < kFifty ? word >> 7U & 1U : word >> 23U & 1U;
    frames = 2 * frames + static_cast<int>(second);
  }
  const bool drop = (word >> 30U & 1U) != 0;
  return textOf(decimal(word >> 4U & 0x3U, word & 0xFU),
                decimal(word >> 12U & 0x7U, word >> 8U & 0xFU),
                decimal(word >> 20U & 0x7U, word >> 16U & 0xFU), frames, drop);
}

std::string timecodeOfGroup(int64_t code) {
  const auto bits = [&](int from, int count) {
    return static_cast<int>(code >> from & ((int64_t{1} << count) - 1));
  };
  return textOf(bits(19, 5), bits(13, 6), bits(6, 6), bits(0, 6), bits(24, 1) != 0);
}

TimecodeJumps findJumps(const std::vector<CarriedTimecode>& timecodes, double framesPerSecond,
                        int slack) {
  TimecodeJumps jumps;
  if (timecodes.size() < 2) {
    return jumps;
  }
  jumps.standsStill = std::all_of(
      timecodes.begin(), timecodes.end(),
      [&](const CarriedTimecode& timecode) { return timecode.text == timecodes.front().text; });
  if (jumps.standsStill) {
    return jumps;
  }
  const TimecodeClock clock(timecodes.front().text, framesPerSecond);
  const int64_t day = clock.day();
  for (std::size_t i = 1; i < timecodes.size(); ++i) {
    const CarriedTimecode& before = timecodes[i - 1];
    const CarriedTimecode& here = timecodes[i];
    const std::optional<int64_t> from = clock.countOf(before.text);
    const std::optional<int64_t> to = clock.countOf(here.text);
    int64_t off = 0;
    if (from.has_value() && to.has_value()) {
      // Less than half a day either way, whatever the hours do at midnight.
      off = (((*to - *from) - (here.frame - before.frame)) % day + day) % day;
      off = off > day / 2 ? off - day : off;
    }
    if (std::abs(off) <= slack && from.has_value() == to.has_value()) {
      continue;
    }
    QAEvent event;
    event.startSeconds = event.endSeconds = here.seconds;
    event.startFrame = event.endFrame = here.frame;
    event.value = static_cast<double>(off);
    event.limit = slack;
    event.unit = "frames";
    event.what = "timecode goes from " + before.text + " to " + here.text;
    jumps.events.push_back(event);
  }
  return jumps;
}

bool StartTimecodeMeasurement::hasSubject(const ProgrammeFacts& facts, std::string& reason) const {
  reason = "no video stream and no timecode";
  return facts.videoStream >= 0 || !facts.timecodes.empty();
}

void StartTimecodeMeasurement::begin(const ProgrammeFacts& facts) {
  declared_ = facts.timecodes;
  if (facts.videoStream >= 0) {
    const auto& video = facts.media.streams[static_cast<std::size_t>(facts.videoStream)].video;
    framesPerSecond_ = video.has_value() ? video->frameRate : 0.0;
  }
}

void StartTimecodeMeasurement::take(const ProgrammePicture& picture) {
  if (!picture.timecodeWords.empty()) {
    inPictures_.push_back({picture.number, picture.seconds,
                           timecodeOfWord(picture.timecodeWords.front(), framesPerSecond_)});
  } else if (picture.gopTimecode.has_value()) {
    inGroups_.push_back({picture.number, picture.seconds, timecodeOfGroup(*picture.gopTimecode)});
  }
}

void StartTimecodeMeasurement::describe(QACheckOutcome& outcome) const {
  std::string start;
  std::string source;
  const TimecodeJumps jumpsOfPictures = findJumps(inPictures_, framesPerSecond_, 0);
  const TimecodeJumps jumpsOfGroups = findJumps(inGroups_, framesPerSecond_, kGroupSlack);
  // One that stands still at zero is none.
  const bool groupsCount = !inGroups_.empty() && !jumpsOfGroups.standsStill;
  if (!declared_.empty()) {
    start = declared_.front().text;
    source = declared_.front().source;
  } else if (!inPictures_.empty()) {
    start = inPictures_.front().text;
    source = "SEI";
  } else if (groupsCount) {
    start = inGroups_.front().text;
    source = "GOP";
  }
  outcome.events = !inPictures_.empty() ? jumpsOfPictures.events : jumpsOfGroups.events;
  const bool drop = isWrittenAsDropFrame(start);
  const auto discontinuities = static_cast<int64_t>(outcome.events.size());
  outcome.values = {{"timecode", start, ""},
                    {"dropFrame", drop, ""},
                    {"source", source, ""},
                    {"discontinuities", discontinuities, ""}};
  if (isRefused_) {
    outcome.broken = true;
    outcome.summary = "drop-frame at " + plain(framesPerSecond_) + " fps, which has none";
    QAEvent event;
    event.startSeconds = 0.0;
    event.what = "drop-frame at a rate that has none";
    outcome.events.insert(outcome.events.begin(), event);
    return;
  }
  if (start.empty()) {
    if (demanded_.empty()) {
      outcome.measured = false;
      outcome.subjectAbsent = true;
      outcome.reason = "no timecode";
      return;
    }
    outcome.broken = true;
    outcome.summary = "no timecode, wanted " + demanded_;
    return;
  }
  outcome.summary =
      start + ", of " + (source == "track" || source == "tag" ? "the file's " : "") + source;
  outcome.broken = discontinuities > 0;
  if (discontinuities > 0) {
    outcome.summary += "; " + std::to_string(discontinuities) +
                       (discontinuities == 1 ? " discontinuity" : " discontinuities");
  }
  if (drop && framesPerSecond_ > 0.0 && !TimecodeClock::mayDrop(framesPerSecond_)) {
    outcome.broken = true;
    outcome.summary += "; drop-frame at " + plain(framesPerSecond_) + " fps, which has none";
    QAEvent event;
    event.startSeconds = 0.0;
    event.what = "drop-frame at a rate that has none";
    outcome.events.insert(outcome.events.begin(), event);
  }
  if (!demanded_.empty() && demanded_ != start) {
    outcome.broken = true;
    outcome.summary += "; wanted " + demanded_;
    QAEvent event;
    event.startSeconds = 0.0;
    event.what = "starts with another timecode";
    outcome.events.insert(outcome.events.begin(), event);
  }
}

constinit const QACheck startTimecodeCheck{
    .name = kProfile.name,
    .tag = kProfile.tag,
    .family = QAFamily::programme,
    .question = "With which timecode does the file start, and does it go on without a jump?",
    .needs = QANeeds::pictures,
    .saysSomething = true,
    .severity = QASeverity::info,
    .settings = kSettings,
    .displays = {},
    .make = makeRun<make>,
};

}  // namespace qatester
