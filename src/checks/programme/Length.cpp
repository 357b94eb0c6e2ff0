#include "checks/programme/Length.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "checks/CheckList.h"
#include "tester/SettingRows.h"
#include "tester/Words.h"

namespace qatester {

namespace {

constexpr QASetting kSettings[] = {
    realLimit("LengthToleranceSeconds", "1.0", "s",
              "how much sound may end before the picture, or start after it"),
};

constexpr CheckProfile kProfile{.name = "length", .tag = "QALength"};

/// How much less than declared may be found: the larger of both.
constexpr double kShortSeconds = 1.0;
constexpr double kShortShare = 0.02;

/// Of this container libavformat cuts durations to what is there, but not the number of frames.
constexpr const char* kAvi = "avi";

/// The file's duration may be that of a stream that is not looked at, such as subtitles.
bool isOfOtherStreams(const ProgrammeFacts& facts) {
  for (const QAStreamFacts& stream : facts.media.streams) {
    const bool looked = stream.index == facts.videoStream || stream.kind == "audio";
    if (looked || stream.kind == "cover") {
      continue;
    }
    const double end = stream.startSeconds.value_or(0.0) + stream.durationSeconds.value_or(0.0);
    if (!stream.durationSeconds.has_value() ||
        end >= *facts.media.durationSeconds - kShortSeconds) {
      return true;
    }
  }
  return false;
}

double shortfallAllowed(double declared) {
  return std::max(kShortSeconds, kShortShare * declared);
}

std::optional<double> endOf(const FoundStretch& stretch) {
  return stretch.end.has_value() || stretch.lasts <= 0.0 ? stretch.end
                                                         : std::optional(stretch.lasts);
}

QAEvent eventOf(double start, double end, double limit, const std::string& what) {
  return {.startSeconds = start,
          .endSeconds = end,
          .value = end - start,
          .limit = limit,
          .unit = "s",
          .what = what};
}

std::unique_ptr<ProgrammeCheck<LengthMeasurement>> make(const CheckContext& context) {
  return std::make_unique<ProgrammeCheck<LengthMeasurement>>(
      context, kProfile, static_cast<double>(context.real(kSettings[0])));
}

}  // namespace

LengthVerdict judgeLength(const std::vector<FoundStretch>& found, const DeclaredLength& declared) {
  LengthVerdict verdict;
  const auto add = [&](QAEvent event, int stream, const std::string& words) {
    if (stream >= 0) {
      event.stream = stream;
    }
    verdict.events.push_back(std::move(event));
    verdict.words.push_back(words);
  };
  const FoundStretch* pictures =
      !found.empty() && found.front().isPicture ? &found.front() : nullptr;

  // What the container declares: of each stream where it says so, else of all together.
  std::optional<double> furthest;
  for (std::size_t i = 0; i < found.size(); ++i) {
    const FoundStretch& stretch = found[i];
    const std::optional<double> end = endOf(stretch);
    furthest = end.has_value() ? std::max(furthest.value_or(*end), *end) : furthest;
    if (!stretch.declaredEnd.has_value()) {
      continue;
    }
    const double allowed = shortfallAllowed(*stretch.declaredEnd);
    if (end.value_or(0.0) < *stretch.declaredEnd - allowed) {
      const int stream =
          stretch.isPicture ? -1 : static_cast<int>(i) - (pictures != nullptr ? 1 : 0);
      add(eventOf(end.value_or(0.0), *stretch.declaredEnd, allowed, stretch.name + " ends early"),
          stream,
          stretch.name + " ends at " + quantity(end.value_or(0.0), kSeconds) + ", declared " +
              quantity(*stretch.declaredEnd, kSeconds));
    }
  }
  if (declared.seconds.has_value() && verdict.events.empty()) {
    const double allowed = shortfallAllowed(*declared.seconds);
    if (furthest.value_or(0.0) < *declared.seconds - allowed) {
      add(eventOf(furthest.value_or(0.0), *declared.seconds, allowed, "file ends early"), -1,
          "the file ends at " + quantity(furthest.value_or(0.0), kSeconds) + ", declared " +
              quantity(*declared.seconds, kSeconds));
    }
  }

  // Sound against pictures.
  if (pictures == nullptr || !pictures->start.has_value() || !pictures->end.has_value()) {
    return verdict;
  }
  for (std::size_t i = 1; i < found.size(); ++i) {
    const FoundStretch& sound = found[i];
    const int stream = static_cast<int>(i) - 1;
    if (!sound.start.has_value() || !sound.end.has_value()) {
      continue;
    }
    const double late = *sound.start - *pictures->start;
    if (late > declared.toleranceSeconds) {
      add(eventOf(*pictures->start, *sound.start, declared.toleranceSeconds, "sound starts late"),
          stream, sound.name + " starts " + quantity(late, kSeconds) + " after the picture");
    }
    const double rest = *sound.end - *pictures->end;
    if (rest > shortfallAllowed(*sound.end - *pictures->start)) {
      add(eventOf(*pictures->end, *sound.end, shortfallAllowed(*sound.end - *pictures->start),
                  "picture ends early"),
          -1, "the picture ends " + quantity(rest, kSeconds) + " before " + sound.name);
    }
    const double early = *pictures->end - *sound.end;
    if (early > declared.toleranceSeconds) {
      add(eventOf(*sound.end, *pictures->end, declared.toleranceSeconds, "sound ends early"),
          stream, sound.name + " ends " + quantity(early, kSeconds) + " before the picture");
    }
  }
  return verdict;
}

bool LengthMeasurement::hasSubject(const ProgrammeFacts& facts, std::string& reason) const {
  reason = "no video stream and no audio stream";
  return facts.videoStream >= 0 || !facts.audioStreams.empty();
}

void LengthMeasurement::begin(const ProgrammeFacts& facts) {
  declared_.toleranceSeconds = tolerance_;
  if (facts.durationDeclared && facts.media.durationSeconds.has_value() &&
      !isOfOtherStreams(facts)) {
    declared_.seconds = *facts.media.durationSeconds - std::max(0.0, facts.clockStart);
  }
  const auto add = [&](int index, const std::string& name, bool isPicture) {
    const QAStreamFacts& stream = facts.media.streams[static_cast<std::size_t>(index)];
    FoundStretch& found = found_.emplace_back();
    found.name = name;
    found.isPicture = isPicture;
    if (facts.durationDeclared && stream.durationSeconds.has_value()) {
      found.declaredEnd = stream.startSeconds.value_or(0.0) + *stream.durationSeconds;
    }
    if (isPicture && stream.video.has_value() && stream.video->frameRate > 0.0) {
      frameSeconds_ = 1.0 / stream.video->frameRate;
      const int64_t frames = facts.streams[static_cast<std::size_t>(index)].declaredFrames;
      if (facts.media.container == kAvi && frames > 0) {
        found.declaredEnd = static_cast<double>(frames) * frameSeconds_;
      }
    }
  };
  if (facts.videoStream >= 0) {
    hasPictures_ = true;
    add(facts.videoStream, "picture", true);
  }
  for (std::size_t i = 0; i < facts.audioStreams.size(); ++i) {
    add(facts.audioStreams[i], soundName(i, facts.audioStreams.size()), false);
  }
}

void LengthMeasurement::take(const ProgrammePicture& picture) {
  FoundStretch& stretch = pictures();
  stretch.lasts += frameSeconds_;
  if (picture.seconds.has_value()) {
    stretch.start = std::min(stretch.start.value_or(*picture.seconds), *picture.seconds);
    stretch.end =
        std::max(stretch.end.value_or(*picture.seconds), *picture.seconds + frameSeconds_);
  }
}

void LengthMeasurement::take(const ProgrammeBlock& block) {
  const std::size_t index = static_cast<std::size_t>(block.stream) + (hasPictures_ ? 1 : 0);
  if (index >= found_.size() || block.sampleRate <= 0) {
    return;
  }
  FoundStretch& stretch = found_[index];
  const double lasts = static_cast<double>(block.samples) / block.sampleRate;
  stretch.lasts += lasts;
  if (block.seconds.has_value()) {
    stretch.start = std::min(stretch.start.value_or(*block.seconds), *block.seconds);
    stretch.end = std::max(stretch.end.value_or(*block.seconds), *block.seconds + lasts);
  } else if (stretch.end.has_value()) {
    *stretch.end += lasts;
  }
}

void LengthMeasurement::describe(QACheckOutcome& outcome) const {
  if (std::none_of(found_.begin(), found_.end(),
                   [](const FoundStretch& stretch) { return stretch.lasts > 0.0; })) {
    outcome.measured = false;
    outcome.reason = "nothing could be decoded";
    return;
  }
  const LengthVerdict verdict = judgeLength(found_, declared_);
  const FoundStretch* pictures = hasPictures_ ? &found_.front() : nullptr;
  const auto lengthOf = [](const FoundStretch& stretch) {
    return stretch.start.has_value() ? *stretch.end - *stretch.start : stretch.lasts;
  };
  if (declared_.seconds.has_value()) {
    outcome.values.push_back({"declaredSeconds", *declared_.seconds, "s"});
  } else {
    outcome.values.push_back({"declaredSeconds", QANothing(), "s"});
  }
  if (pictures != nullptr) {
    outcome.values.push_back({"videoSeconds", lengthOf(*pictures), "s"});
    outcome.summary = "picture " + quantity(lengthOf(*pictures), kSeconds);
  }
  std::vector<double> lengths;
  std::vector<double> offsets;
  double shortest = 0.0;
  double longest = 0.0;
  for (std::size_t i = hasPictures_ ? 1 : 0; i < found_.size(); ++i) {
    const double length = lengthOf(found_[i]);
    shortest = lengths.empty() ? length : std::min(shortest, length);
    longest = std::max(longest, length);
    lengths.push_back(length);
    const bool both = pictures != nullptr && pictures->start.has_value();
    offsets.push_back(found_[i].start.value_or(0.0) - (both ? *pictures->start : 0.0));
  }
  if (!lengths.empty()) {
    std::string sound = "sound ";
    if (longest - shortest > 0.01) {
      sound += quantity(shortest, {"", 2}) + " to ";
    }
    addWords(outcome.summary, ", ", sound + quantity(longest, kSeconds));
  }
  outcome.values.push_back({"audioSeconds", std::move(lengths), "s"});
  outcome.values.push_back({"startOffsetSeconds", std::move(offsets), "s"});
  outcome.limits = {{.of = "startOffsetSeconds", .max = tolerance_, .unit = "s"}};
  outcome.events = verdict.events;
  outcome.broken = !verdict.events.empty();
  for (const std::string& words : verdict.words) {
    addWords(outcome.summary, "; ", words);
  }
}

constinit const QACheck lengthCheck{
    .name = kProfile.name,
    .tag = kProfile.tag,
    .family = QAFamily::programme,
    .question = "Do picture and sound last as long as declared, and as long as each other?",
    .needs = QANeeds::container,
    .saysSomething = true,
    .severity = QASeverity::fail,
    .settings = kSettings,
    .displays = {},
    .make = makeRun<make>,
};

}  // namespace qatester
