#include "checks/sound/SoundMeasurement.h"

#include <cmath>
#include <limits>
#include <string_view>

#include "checks/sound/SoundEngine.h"
#include "tester/CheckContext.h"
#include "tester/Words.h"

namespace qatester {

namespace {

/// Times that are off the count by no more are rounded.
constexpr double kSameTime = 0.001;
constexpr std::size_t kMostAnchors = 100000;

}  // namespace

void SoundClock::add(int64_t sample, double seconds, int sampleRate) {
  const bool fits = !anchors_.empty() && anchors_.back().sampleRate == sampleRate &&
                    std::abs(this->seconds(sample) - seconds) <= kSameTime;
  if (!fits && anchors_.size() < kMostAnchors) {
    anchors_.push_back({sample, seconds, sampleRate});
  }
}

double SoundClock::seconds(int64_t sample) const {
  if (anchors_.empty()) {
    return 0.0;
  }
  const auto after =
      std::upper_bound(anchors_.begin() + 1, anchors_.end(), sample,
                       [](int64_t wanted, const Anchor& anchor) { return wanted < anchor.sample; });
  const Anchor& anchor = *(after - 1);
  return anchor.seconds +
         static_cast<double>(sample - anchor.sample) / std::max(anchor.sampleRate, 1) +
         0.0;  // of -0 as well
}

std::string levelWords(double amplitude, const char* unit) {
  if (!(amplitude > 0.0)) {
    return "silent";
  }
  constexpr double kSeen = 0.005;  // of two decimals
  const double level = decibelsOf(amplitude);
  return quantity(std::abs(level) < kSeen ? 0.0 : level, {unit, 2});
}

double decibelsOf(double amplitude) {
  return amplitude > 0.0 ? 20.0 * std::log10(amplitude) : -std::numeric_limits<double>::infinity();
}

double amplitudeOf(double decibels) {
  return std::pow(10.0, decibels / 20.0);
}

std::string programmesSetting(const CheckContext& context) {
  const std::span<const QASetting> rows = testerSettings();
  const auto row = std::find_if(rows.begin(), rows.end(), [](const QASetting& one) {
    return std::string_view(one.key) == kProgrammesKey;
  });
  return row != rows.end() ? context.text(*row) : "";
}

bool SoundMeasurement::hasSubject(const ProgrammeFacts& facts, std::string& reason) const {
  reason = "no audio stream";
  return !facts.audioStreams.empty();
}

MakeShared SoundMeasurement::sharedBy() const {
  return [](const CheckContext& context) -> std::unique_ptr<SharedConsumer> {
    return std::make_unique<SoundEngine>(programmesSetting(context));
  };
}

std::string SoundMeasurement::whyNothing() const {
  if (!problem_.empty()) {
    return problem_;
  }
  const bool anything =
      std::any_of(ends_.begin(), ends_.end(), [](const SoundEnd& end) { return end.samples > 0; });
  return anything ? "" : "no sound could be decoded";
}

void SoundMeasurement::start(const SoundProgrammes& programmes, const ProgrammeFacts& facts) {
  programmes_ = programmes.all;
  problem_ = programmes.problem;
  ends_.resize(programmes_.size());
  beginSound(facts);
}

void SoundMeasurement::begin(const SoundSection& section) {
  programmes_[section.number] = *section.programme;
  change(section);
}

void SoundMeasurement::jump(std::size_t programme, double startSeconds, double endSeconds) {
  skip(programme, startSeconds, endSeconds);
}

void SoundMeasurement::finish(std::size_t programme, const SoundEnd& end) {
  ends_[programme] = end;
  endOf(programme, end);
}

std::string SoundMeasurement::nameOf(std::size_t programme) const {
  return programmeName(programmes_[programme], programmes_.size());
}

std::string SoundMeasurement::prefixOf(std::size_t programme) const {
  std::string name = nameOf(programme);
  name += name.empty() ? "" : ": ";
  return name;
}

std::vector<int64_t> streamsOf(const SoundProgramme& programme) {
  return {programme.streams.begin(), programme.streams.end()};
}

QAEvent eventAt(const SoundProgramme& programme, double startSeconds, double endSeconds) {
  QAEvent event;
  event.startSeconds = startSeconds;
  event.endSeconds = endSeconds;
  if (!programme.streams.empty()) {
    event.stream = programme.streams.front();
  }
  return event;
}

QAEvent eventAt(const SoundChannel& channel, double startSeconds, double endSeconds) {
  QAEvent event;
  event.startSeconds = startSeconds;
  event.endSeconds = endSeconds;
  event.stream = channel.stream;
  event.channel = channel.channel;
  event.channelName = channel.name;
  return event;
}

}  // namespace qatester
