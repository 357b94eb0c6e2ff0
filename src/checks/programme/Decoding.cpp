#include "checks/programme/Decoding.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "checks/CheckList.h"
#include "tester/SettingRows.h"
#include "tester/Words.h"

namespace qatester {

namespace {

constexpr QASetting kSettings[] = {
    countLimit("DecodingErrors", "0", "how many errors of demultiplexing and decoding may be"),
};

constexpr CheckProfile kProfile{.name = "decoding", .tag = "QADecoding"};
constexpr const char* kFigures[] = {"errors"};

/// Complaints that are further apart are events of their own.
constexpr double kMergeSeconds = 1.0;
/// A capture that begins in the middle of a group of pictures is whole after so long.
constexpr double kStartSeconds = 10.0;
constexpr std::size_t kMostSpans = 100000;
constexpr SpanRule kSpans{.mergeSeconds = kMergeSeconds, .most = kMostSpans};
/// With so many packets flagged in all and nothing missing their counters are wrong, not they.
constexpr double kShareOfWrongCounters = 0.5;

std::unique_ptr<ProgrammeCheck<DecodingMeasurement>> make(const CheckContext& context) {
  return std::make_unique<ProgrammeCheck<DecodingMeasurement>>(context, kProfile,
                                                               context.whole(kSettings[0]));
}

}  // namespace

bool DecodingMeasurement::hasSubject(const ProgrammeFacts& facts, std::string& reason) const {
  reason = "no video stream and no audio stream";
  return facts.videoStream >= 0 || !facts.audioStreams.empty();
}

void DecodingMeasurement::begin(const ProgrammeFacts& facts) {
  videoStream_ = facts.videoStream;
  audioStreams_ = facts.audioStreams;
  if (videoStream_ >= 0) {
    streams_[videoStream_].name = "picture";
  }
  for (std::size_t i = 0; i < audioStreams_.size(); ++i) {
    Stream& stream = streams_[audioStreams_[i]];
    stream.number = static_cast<int>(i);
    stream.name = soundName(i, audioStreams_.size());
  }
}

DecodingMeasurement::Stream* DecodingMeasurement::find(int stream) {
  const auto found = streams_.find(stream);
  return found != streams_.end() ? &found->second : nullptr;
}

void DecodingMeasurement::take(const ProgrammePacket& packet) {
  Stream* stream = find(packet.stream);
  if (stream == nullptr) {
    return;
  }
  if (!std::exchange(stream->sawPacket, true)) {
    stream->beginsWithKey = packet.key;
  }
  if (packet.key && !stream->firstKeySeconds.has_value()) {
    stream->firstKeySeconds = packet.seconds;
  }
  ++stream->packets;
  stream->flaggedPackets += packet.corrupt ? 1 : 0;
  corruptPackets_ += packet.corrupt ? 1 : 0;
}

void DecodingMeasurement::take(const ProgrammePicture& picture) {
  ++pictures_;
  Stream* stream = find(videoStream_);
  if (picture.damage != kNoDamage) {
    ++corruptPictures_;
    if (stream != nullptr && (picture.damage & ~kFromBadPacket) != 0) {
      ++stream->damaged;
    }
    return;
  }
  if (stream != nullptr && picture.seconds.has_value()) {
    stream->firstGoodSeconds =
        std::min(stream->firstGoodSeconds.value_or(*picture.seconds), *picture.seconds);
  }
}

void DecodingMeasurement::take(const ProgrammeBlock& block) {
  ++blocks_;
  const auto index = static_cast<std::size_t>(block.stream);
  if (block.damage != kNoDamage || index >= audioStreams_.size()) {
    return;
  }
  Stream* stream = find(audioStreams_[index]);
  if (stream != nullptr && !stream->firstGoodSeconds.has_value()) {
    stream->firstGoodSeconds = block.seconds.value_or(0.0);
  }
}

void DecodingMeasurement::take(const ProgrammeComplaint& complaint) {
  using By = ProgrammeComplaint::By;
  if (complaint.by == By::timecode) {
    return;
  }
  const bool isFlag = complaint.by == By::packet || complaint.by == By::picture;
  Stream* stream = find(complaint.stream);
  if (stream != nullptr && !isFlag) {
    ++stream->complaints;
  }
  Complaints& all =
      complaints_.try_emplace(complaint.stream, Complaints{Spans(kSpans), {}}).first->second;
  const bool begins =
      all.spans.add({.start = complaint.seconds, .end = complaint.seconds, .value = 1.0});
  if (begins) {
    all.words.push_back({.text = complaint.text,
                         .beforeGood = stream != nullptr && !stream->firstGoodSeconds.has_value()});
  }
  all.words.back().flagsOnly = all.words.back().flagsOnly && isFlag;
}

void DecodingMeasurement::end(const ProgrammeEnd& end) {
  end_ = end;
  truncated_ = !end.readCleanly && !end.stopped;
}

/// What a capture that begins in the middle of a group of pictures, or of a block of sound, makes a
/// decoder say until its first whole picture or block.
bool DecodingMeasurement::isAtStart(int number, const Span& span, const Words& words) const {
  const auto found = streams_.find(number);
  if (found == streams_.end()) {
    return false;
  }
  const Stream& stream = found->second;
  if (!span.endSeconds.has_value()) {
    return words.beforeGood && stream.firstGoodSeconds.has_value() && !stream.beginsWithKey;
  }
  if (*span.endSeconds > kStartSeconds || !stream.firstGoodSeconds.has_value()) {
    return false;
  }
  if (stream.number >= 0) {
    return *span.endSeconds < *stream.firstGoodSeconds;
  }
  if (!stream.beginsWithKey) {
    // Some decoders show what they make of pictures whose references are missing.
    return *span.endSeconds <
           std::max(*stream.firstGoodSeconds, stream.firstKeySeconds.value_or(0.0));
  }
  // Of an open group the pictures before its first one are shown before it.
  return *span.endSeconds < *stream.firstGoodSeconds && stream.firstKeySeconds.has_value() &&
         *span.endSeconds < *stream.firstKeySeconds;
}

/// Nearly every packet of the stream is flagged, and all of it decodes: a transport stream whose
/// packets are counted wrongly.
bool DecodingMeasurement::isOfCountersAlone(int number, const Words& words) const {
  const auto found = streams_.find(number);
  if (!words.flagsOnly || found == streams_.end()) {
    return false;
  }
  const Stream& stream = found->second;
  return stream.complaints == 0 && stream.damaged == 0 &&
         static_cast<double>(stream.flaggedPackets) >
             kShareOfWrongCounters * static_cast<double>(stream.packets);
}

void DecodingMeasurement::describe(QACheckOutcome& outcome) const {
  int64_t errors = 0;
  int64_t atStart = 0;
  int64_t flagged = 0;
  for (const auto& [number, all] : complaints_) {
    const auto stream = streams_.find(number);
    const std::string name = stream != streams_.end() ? stream->second.name : "container";
    const bool isSound = stream != streams_.end() && stream->second.number >= 0;
    for (std::size_t i = 0; i < all.words.size(); ++i) {
      const Span& span = all.spans.begun()[i];
      const bool begins = isAtStart(number, span, all.words[i]);
      const bool counters = !begins && isOfCountersAlone(number, all.words[i]);
      (begins ? atStart : counters ? flagged : errors) += span.count;
      QAEvent event;
      event.startSeconds = span.startSeconds;
      event.endSeconds = span.endSeconds;
      event.value = static_cast<double>(span.count);
      event.limit = allowed_;
      event.unit = "errors";
      event.what = name + ": " + all.words[i].text;
      if (begins) {
        event.what =
            name + ": begins in the middle of a " + (isSound ? "block" : "group of pictures");
      } else if (counters) {
        event.what = name + ": packets are counted wrongly";
      }
      event.breaks = !begins && !counters;
      if (isSound) {
        event.stream = stream->second.number;
      }
      outcome.events.push_back(std::move(event));
    }
  }
  std::stable_sort(outcome.events.begin(), outcome.events.end(),
                   [](const QAEvent& one, const QAEvent& other) {
                     return one.startSeconds.value_or(0.0) < other.startSeconds.value_or(0.0);
                   });
  outcome.values = {{"errors", errors, ""},
                    {"corruptPictures", corruptPictures_, "frames"},
                    {"corruptPackets", corruptPackets_, ""},
                    {"truncated", truncated_, ""}};
  outcome.limits = {{.of = "errors", .max = static_cast<double>(allowed_), .unit = ""}};
  // Where nothing comes at all nobody need complain, and yet the file is no good.
  const bool hasNoPicture = videoStream_ >= 0 && pictures_ == 0;
  const bool hasNoSound = !audioStreams_.empty() && blocks_ == 0;
  outcome.broken = errors > allowed_ || truncated_ || hasNoPicture || hasNoSound;
  for (QAEvent& event : outcome.events) {
    event.breaks = event.breaks && outcome.broken;
  }
  std::string decoded = videoStream_ >= 0 ? counted(static_cast<double>(pictures_), "frame") : "";
  if (!audioStreams_.empty()) {
    addWords(decoded, ", ", counted(static_cast<double>(blocks_), "block") + " of sound");
  }
  if (hasNoPicture || hasNoSound) {
    outcome.summary = hasNoPicture ? "no frame could be decoded" : "no sound could be decoded";
    QAEvent event;
    event.startSeconds = 0.0;
    event.what = outcome.summary;
    outcome.events.insert(outcome.events.begin(), event);
  } else if (errors == 0 && !truncated_) {
    outcome.summary = decoded + " decoded without an error";
  } else {
    outcome.summary = counted(static_cast<double>(errors), "error");
    if (corruptPictures_ > 0) {
      outcome.summary +=
          ", " + counted(static_cast<double>(corruptPictures_), "frame") + " damaged";
    }
    if (truncated_) {
      outcome.summary += ", the file is cut: " + end_.readError;
    }
    const auto first = std::find_if(outcome.events.begin(), outcome.events.end(),
                                    [](const QAEvent& event) { return event.breaks; });
    if (first != outcome.events.end()) {
      addWords(outcome.summary, "; ", first->what);
    }
  }
  if (flagged > 0) {
    outcome.summary += "; " + std::to_string(corruptPackets_) +
                       " packets are flagged, as if counted wrongly, and nothing is missing";
  }
  if (atStart > 0) {
    outcome.summary += "; begins in the middle of a group of pictures";
  }
}

constinit const QACheck decodingCheck{
    .name = kProfile.name,
    .tag = kProfile.tag,
    .family = QAFamily::programme,
    .question = "Can every picture and every block of sound be decoded without an error?",
    .needs = QANeeds::pictures,
    .saysSomething = true,
    .severity = QASeverity::fail,
    .settings = kSettings,
    .displays = {},
    .figures = kFigures,
    .make = makeRun<make>,
};

}  // namespace qatester
