#include "EdlReport.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <map>
#include <tuple>
#include <utility>

#include "CleanText.h"
#include "EventWords.h"
#include "Facts.h"
#include "tester/QATimecode.h"

namespace cli {

namespace {

/// Event numbers have three digits.
constexpr std::size_t kMostFrames = 999;
constexpr std::size_t kLongestTitle = 70;
constexpr const char* kEnd = "\r\n";

const QAVideoFacts* videoOf(const QAMedia& media) {
  const auto stream =
      std::find_if(media.streams.begin(), media.streams.end(),
                   [](const QAStreamFacts& one) { return one.kind == "video" && one.video; });
  return stream != media.streams.end() ? &*stream->video : nullptr;
}

/// 24, 25 and 30, and the first and the last of them less a 1001st.
bool hasTimecode(double framesPerSecond) {
  constexpr double kTolerance = 0.01;
  const double rates[] = {24000.0 / 1001.0, 24.0, 25.0, 30000.0 / 1001.0, 30.0};
  return std::any_of(std::begin(rates), std::end(rates),
                     [&](double rate) { return std::abs(rate - framesPerSecond) < kTolerance; });
}

/// The list is ASCII, and a line is a line.
std::string asciiText(const std::string& text) {
  std::string result;
  for (const char character : cleanText(text)) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte < 0x80U) {
      result += character;
    } else if (byte >= 0xc0U) {  // the first byte of a character
      result += '?';
    }
  }
  return result;
}

enum class Grade { fails, warns, says };

Grade gradeOf(const QAEvent& event, QAState state) {
  if (!event.breaks || (state != QAState::fail && state != QAState::warn)) {
    return Grade::says;
  }
  return state == QAState::fail ? Grade::fails : Grade::warns;
}

const char* colourOf(Grade grade) {
  return grade == Grade::fails ? "RED" : grade == Grade::warns ? "YELLOW" : "CYAN";
}

struct Locator {
  Grade grade = Grade::says;
  /// How many of its check come before it, being worse.
  std::size_t place = 0;
  std::string text;

  bool operator<(const Locator& other) const {
    return std::tie(grade, place) < std::tie(other.grade, other.place);
  }
};

/// Where something begins.
struct Frame {
  double seconds = 0.0;
  std::string timecode;
  std::string next;
  /// The gravest first.
  std::vector<Locator> locators;
};

struct Findings {
  std::vector<Frame> frames;
  int64_t withoutTimecode = 0;
  /// More than the report holds.
  int64_t unlisted = 0;
};

/// Events of a check, the gravest first.
std::vector<const QAEvent*> gravestFirst(const QACheckOutcome& outcome) {
  std::vector<std::pair<double, const QAEvent*>> weighed;
  for (const QAEvent& event : outcome.events) {
    const double weight = getEventWeight(event);
    weighed.emplace_back(std::isnan(weight) ? 0.0 : weight, &event);
  }
  std::stable_sort(weighed.begin(), weighed.end(), [](const auto& one, const auto& other) {
    return one.second->breaks != other.second->breaks ? one.second->breaks
                                                      : one.first > other.first;
  });
  std::vector<const QAEvent*> events;
  for (const auto& [weight, event] : weighed) {
    events.push_back(event);
  }
  return events;
}

std::string locatorText(const QAEvent& event, const std::string& next,
                        const QACheckOutcome& outcome) {
  const bool isLong = !event.endTimecode.empty() && event.endTimecode != event.startTimecode &&
                      event.endTimecode != next;
  const std::string words = outcome.name + ": " + eventWords(event, outcome);
  return asciiText(isLong ? words + ", to " + event.endTimecode : words);
}

Findings findingsOf(const FileReport& file, double framesPerSecond) {
  Findings findings;
  std::map<std::string, Frame> frames;  // by timecode
  for (const QACheckOutcome& outcome : file.checks) {
    const auto held = static_cast<int64_t>(outcome.events.size());
    findings.unlisted += std::max<int64_t>(outcome.eventCount - held, 0);
    std::size_t place = 0;
    for (const QAEvent* event : gravestFirst(outcome)) {
      std::string next = getNextTimecode(event->startTimecode, framesPerSecond);
      if (next.empty()) {
        ++findings.withoutTimecode;
        continue;
      }
      Frame& frame = frames[event->startTimecode];
      frame.locators.push_back(
          {gradeOf(*event, outcome.state), place++, locatorText(*event, next, outcome)});
      const double seconds = event->startSeconds.value_or(
          static_cast<double>(event->startFrame.value_or(0)) / framesPerSecond);
      frame.seconds = std::isfinite(seconds) ? seconds : 0.0;
      frame.timecode = event->startTimecode;
      frame.next = std::move(next);
    }
  }
  for (auto& [timecode, frame] : frames) {
    std::stable_sort(frame.locators.begin(), frame.locators.end());
    findings.frames.push_back(std::move(frame));
  }
  return findings;
}

/// Takes the least grave ones off, as many as are too many; returns how many findings they had.
std::size_t shorten(std::vector<Frame>& frames) {
  std::size_t lost = 0;
  std::stable_sort(frames.begin(), frames.end(), [](const Frame& one, const Frame& other) {
    return one.locators.front() < other.locators.front();
  });
  for (; frames.size() > kMostFrames; frames.pop_back()) {
    lost += frames.back().locators.size();
  }
  return lost;
}

std::string eventLines(std::size_t number, const Frame& frame, const std::string& clip) {
  const std::string span = frame.timecode + " " + frame.next;
  char start[64];
  std::snprintf(start, sizeof start, "%03zu  AX       V     C        ", number);
  std::string lines = start + span + " " + span + kEnd + "* FROM CLIP NAME: " + clip + kEnd;
  for (const Locator& locator : frame.locators) {
    char colour[16];
    std::snprintf(colour, sizeof colour, "%-7s ", colourOf(locator.grade));
    lines += "* LOC: " + frame.timecode + " " + colour + locator.text + kEnd;
  }
  return lines;
}

std::string leftOut(int64_t count, const std::string& why) {
  return count > 0 ? "* LEFT OUT, " + why + ": " + std::to_string(count) + kEnd : "";
}

}  // namespace

std::string whyNoEdl(const FileReport& file) {
  if (!file.error.empty()) {
    return "it could not be read";
  }
  if (!file.facts.opened) {
    return "its frame rate was not read: that takes a profile or a programme check";
  }
  const QAVideoFacts* video = videoOf(file.facts.media);
  if (video == nullptr) {
    return "no video stream";
  }
  if (!(video->frameRate > 0.0)) {
    return "no frame rate is declared";
  }
  return hasTimecode(video->frameRate)
             ? ""
             : "CMX 3600 has no timecode for " + shortNumber(video->frameRate) + " fps";
}

std::string edlText(const FileReport& file) {
  const double framesPerSecond = videoOf(file.facts.media)->frameRate;
  const std::string clip = asciiText(std::filesystem::path(file.file).filename().string());
  Findings findings = findingsOf(file, framesPerSecond);
  const auto lost = static_cast<int64_t>(shorten(findings.frames));
  std::stable_sort(
      findings.frames.begin(), findings.frames.end(),
      [](const Frame& one, const Frame& other) { return one.seconds < other.seconds; });
  // All timecodes of a file are of one kind.
  const std::string& timecode =
      findings.frames.empty() ? file.facts.media.startTimecode : findings.frames.front().timecode;
  const bool drops = getNextTimecode(timecode, framesPerSecond).find(';') != std::string::npos;
  std::string text = "TITLE: " + clip.substr(0, kLongestTitle) + kEnd +
                     (drops ? "FCM: DROP FRAME" : "FCM: NON-DROP FRAME") + kEnd + kEnd;
  std::size_t number = 0;
  for (const Frame& frame : findings.frames) {
    text += eventLines(++number, frame, clip);
  }
  text += "* VERDICT: " +
          asciiText(joined(getStateText(getVerdict(file.checks)), ", PROFILE ", file.profile)) +
          kEnd;
  // Behind the last event: not every system reads remarks before the first.
  return text + leftOut(lost, "LEAST GRAVE, A LIST HAS 999 EVENTS") +
         leftOut(findings.withoutTimecode, "WITHOUT A TIMECODE") +
         leftOut(findings.unlisted, "NOT KEPT BY THE SETTING EventsPerCheck");
}

}  // namespace cli
