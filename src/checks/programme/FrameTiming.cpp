#include "checks/programme/FrameTiming.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <memory>
#include <utility>

#include "checks/CheckList.h"
#include "tester/SettingRows.h"
#include "tester/Words.h"

namespace qatester {

namespace {

constexpr QASetting kSettings[] = {
    onOrOff("ConstantRate", "0", "a stream of variable rate breaks: above 0 on"),
};

constexpr CheckProfile kProfile{.name = "frame-timing", .tag = "QAFrameTiming"};
constexpr const char* kFigures[] = {"gaps"};

/// A distance of more than this many frames misses one.
constexpr double kGapFrames = 1.5;
/// Time stamps that are further apart are not counted in frames.
constexpr double kMostMissing = 1e12;
/// Rates that differ by no more are the same, in frames per second.
constexpr double kRateTolerance = 0.01;
/// A rate is constant when at least so many of the distances are the usual one.
constexpr double kConstantShare = 0.9;
/// What is left of a distance's rounding, of a frame.
constexpr double kDistanceTolerance = 0.02;
constexpr double kTicksOfADistance = 1.01;
/// An encoder that reorders pictures may begin with so many empty ones, which repeat the first.
constexpr int64_t kMostEmptyAtStart = 4;
constexpr double kFieldsOfAFrame = 2.0;
constexpr uint8_t kFieldsOfAPicture = 2;

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// Whether people make pictures at this rate.
bool isUsual(double rate) {
  constexpr double kRates[] = {24.0, 25.0, 30.0, 48.0, 50.0, 60.0, 100.0, 120.0};
  constexpr double kSame = 1e-3;
  return std::any_of(std::begin(kRates), std::end(kRates), [&](double usual) {
    return std::abs(rate - usual) < kSame || std::abs(rate - usual / 1.001) < kSame;
  });
}

/// Frames that a picture lasts by its flags.
double framesOf(const PictureTimes& times, std::size_t picture) {
  return picture < times.fields.size() ? times.fields[picture] / kFieldsOfAFrame : 1.0;
}

class Judge {
 public:
  Judge(const PictureTimes& times, const DeclaredTiming& declared)
      : times_(times), declared_(declared) {}

  TimingVerdict judge() {
    verdict_.declaredFps = declared_.rate;
    if (times_.seconds.size() < 2) {
      verdict_.constantRate = true;
      return verdict_;
    }
    findFrame();
    if (frame_ > 0.0) {
      measureRate();
      findConstancy();
      findEvents();
    }
    return verdict_;
  }

 private:
  double distance(std::size_t picture) const {
    return times_.seconds[picture + 1] - times_.seconds[picture];
  }
  std::size_t distances() const { return times_.seconds.size() - 1; }

  double tolerance(double frame) const {
    return std::max(kTicksOfADistance * declared_.tick, kDistanceTolerance * frame);
  }

  /// The usual distance of frames: that of a declared rate where one fits.
  void findFrame() {
    std::vector<double> usual;
    for (std::size_t i = 0; i < distances(); ++i) {
      const double frames = framesOf(times_, i);
      if (distance(i) > 0.0 && frames > 0.0) {
        usual.push_back(distance(i) / frames);
      }
    }
    if (usual.empty()) {
      return;
    }
    frame_ = median(std::move(usual));
    std::vector<double> rates = declared_.suggested;
    rates.insert(rates.begin(), declared_.rate);
    for (const double rate : rates) {
      if (rate > 0.0 && std::abs(1.0 / rate - frame_) <= tolerance(frame_)) {
        frame_ = 1.0 / rate;
        break;
      }
    }
  }

  bool isGap(std::size_t picture) const {
    const double frames = distance(picture) / frame_ / std::max(1.0, framesOf(times_, picture));
    return frames > kGapFrames + declared_.tick / frame_;
  }

  void measureRate() {
    const auto [first, last] = std::minmax_element(times_.seconds.begin(), times_.seconds.end());
    if (*last > *first) {
      verdict_.measuredFps = static_cast<double>(distances()) / (*last - *first);
    }
    // Where pictures are missing says nothing of the rate of the others.
    double length = 0.0;
    double frames = 0.0;
    double shown = 0.0;
    for (std::size_t i = 0; i < distances(); ++i) {
      const bool isWhole = times_.seconds[i] >= times_.firstWholeSeconds;
      if (distance(i) > 0.0 && isWhole && !isGap(i)) {
        length += distance(i);
        frames += 1.0;
        shown += framesOf(times_, i);
      }
    }
    if (!(length > 0.0)) {
      return;
    }
    // Either end may be rounded by a unit of the time stamps.
    const double rounding = frames / length * 2.0 * declared_.tick / length;
    const auto fits = [&](double rate) {
      return std::abs(frames / length - rate) <= kRateTolerance + rounding ||
             std::abs(shown / length - rate) <= kRateTolerance + rounding;
    };
    // A container that counts frames over its duration is off by how long its last ones last, and
    // that is hardly ever a usual rate.
    const auto all = static_cast<double>(times_.seconds.size());
    const double off = all / declared_.rate - (*last - *first + frame_);
    const bool fitsSuggested =
        std::any_of(declared_.suggested.begin(), declared_.suggested.end(), fits);
    verdict_.rateIsOff =
        declared_.rate > 0.0 && !fits(declared_.rate) &&
        !(fitsSuggested && !isUsual(declared_.rate) && std::abs(off) <= kGapFrames * frame_);
  }

  void findConstancy() {
    std::size_t usual = 0;
    for (std::size_t i = 0; i < distances(); ++i) {
      const double wanted = frame_ * framesOf(times_, i);
      usual += std::abs(distance(i) - wanted) <= tolerance(wanted) ? 1U : 0U;
    }
    verdict_.constantRate =
        static_cast<double>(usual) >= kConstantShare * static_cast<double>(distances());
  }

  void findEvents() {
    for (std::size_t i = 0; i < distances(); ++i) {
      if (distance(i) <= 0.0) {
        ++verdict_.overlaps;
        verdict_.events.push_back(event(i, distance(i), 0.0, "time does not advance"));
        continue;
      }
      verdict_.longestGapSeconds = std::max(verdict_.longestGapSeconds, distance(i));
      if (!isGap(i)) {
        continue;
      }
      const double frames = distance(i) / frame_ / std::max(1.0, framesOf(times_, i));
      const int64_t lost = std::llround(std::min(frames, kMostMissing)) - 1;
      const bool atStart = i == 0 && lost <= kMostEmptyAtStart;
      if (!atStart) {
        ++verdict_.gaps;
        verdict_.missingPictures += lost;
      }
      const std::string count = counted(static_cast<double>(atStart ? lost + 1 : lost), "frame");
      QAEvent& gap = verdict_.events.emplace_back(
          event(i, frames, kGapFrames,
                atStart ? "the first picture lasts " + count : count + " missing"));
      gap.breaks = gap.breaks && !atStart;
    }
  }

  QAEvent event(std::size_t picture, double value, double limit, const std::string& what) const {
    const double from = times_.seconds[picture];
    const double to = times_.seconds[picture + 1];
    QAEvent event;
    event.startSeconds = value > limit ? from + frame_ : to;
    event.endSeconds = std::max(to, *event.startSeconds);
    event.startFrame = event.endFrame = static_cast<int64_t>(picture) + 1;
    event.value = value;
    event.limit = limit;
    event.unit = value > limit ? "frames" : "s";
    event.what = what;
    event.breaks = to > times_.firstWholeSeconds;
    return event;
  }

  const PictureTimes& times_;
  const DeclaredTiming& declared_;
  TimingVerdict verdict_;
  double frame_ = 0.0;  ///< seconds
};

double ratioOf(const ProgrammeRatio& ratio) {
  return ratio.numerator > 0 && ratio.denominator > 0
             ? static_cast<double>(ratio.numerator) / ratio.denominator
             : 0.0;
}

std::string summaryOf(const TimingVerdict& verdict, const PictureTimes& times) {
  std::string text = counted(static_cast<double>(times.seconds.size()), "frame");
  if (verdict.measuredFps > 0.0) {
    text += " at " + quantity(verdict.measuredFps, {" fps", 3});
    if (!verdict.constantRate) {
      text += " on average, of variable rate";
    }
  }
  if (verdict.declaredFps > 0.0 && verdict.rateIsOff && verdict.constantRate) {
    text += ", declared " + quantity(verdict.declaredFps, {" fps", 3});
  }
  if (verdict.constantRate && verdict.gaps > 0) {
    text += "; " + counted(static_cast<double>(verdict.missingPictures), "frame") + " missing in " +
            counted(static_cast<double>(verdict.gaps), "gap");
  }
  if (verdict.overlaps > 0) {
    text += "; time does not advance " + counted(static_cast<double>(verdict.overlaps), "time");
  }
  return text;
}

std::unique_ptr<ProgrammeCheck<FrameTimingMeasurement>> make(const CheckContext& context) {
  return std::make_unique<ProgrammeCheck<FrameTimingMeasurement>>(context, kProfile,
                                                                  context.whole(kSettings[0]) > 0);
}

}  // namespace

TimingVerdict judgeTiming(const PictureTimes& times, const DeclaredTiming& declared) {
  return Judge(times, declared).judge();
}

bool FrameTimingMeasurement::hasSubject(const ProgrammeFacts& facts, std::string& reason) const {
  reason = "no video stream";
  return facts.videoStream >= 0;
}

void FrameTimingMeasurement::begin(const ProgrammeFacts& facts) {
  videoStream_ = facts.videoStream;
  const ProgrammeStream& stream = facts.streams[static_cast<std::size_t>(facts.videoStream)];
  // A stream of fields may name the rate of its fields.
  declared_ = {.rate = ratioOf(stream.averageRate),
               .suggested = {ratioOf(stream.baseRate), ratioOf(stream.baseRate) / kFieldsOfAFrame},
               .tick = ratioOf(stream.timeBase),
               .hasTimes = stream.hasTimes,
               .mustBeConstant = mustBeConstant_};
  distances_ = series().begin(QASeries::Per::picture,
                              {{"distance", "s"}, {"keyFrame", ""}, {"damaged", ""}});
}

void FrameTimingMeasurement::take(const ProgrammePacket& packet) {
  if (packet.stream != videoStream_) {
    return;
  }
  if (!sawPacket_) {
    sawPacket_ = true;
    beginsWithKey_ = packet.key;
  }
  ++packets_;
  packetsWithoutPresentation_ += packet.seconds.has_value() ? 0 : 1;
  if (packet.decodeSeconds.has_value() && packet.bytes > 0) {
    packetTimes_.seconds.push_back(*packet.decodeSeconds);
    packetTimes_.fields.push_back(kFieldsOfAPicture);
  }
}

const PictureTimes& FrameTimingMeasurement::judgedTimes() const {
  return 2 * packetsWithoutPresentation_ > packets_ && !packetTimes_.seconds.empty() ? packetTimes_
                                                                                     : times_;
}

void FrameTimingMeasurement::take(const ProgrammePicture& picture) {
  if (distances_.isWanted()) {
    // Times that come of decoding are not those of the pictures.
    const std::optional<double> now =
        declared_.hasTimes && 2 * packetsWithoutPresentation_ <= packets_ ? picture.seconds
                                                                          : std::nullopt;
    const std::optional<double> before = std::exchange(last_, now);
    distances_.add(
        picture.number, picture.seconds,
        {now.has_value() && before.has_value() ? *now - *before
                                               : std::numeric_limits<double>::quiet_NaN(),
         picture.key ? 1.0 : 0.0, damaged_.isDamaged(picture.damage) ? 1.0 : 0.0});
  }
  if (!picture.seconds.has_value()) {
    ++times_.missing;
    return;
  }
  times_.seconds.push_back(*picture.seconds);
  const int repeated = picture.frame != nullptr ? picture.frame->repeat_pict : 0;
  times_.fields.push_back(static_cast<uint8_t>(std::clamp(2 + repeated, 1, 200)));
  if (!beginsWithKey_ && !sawGoodKey_ && picture.key && picture.damage == kNoDamage) {
    sawGoodKey_ = true;
    times_.firstWholeSeconds = *picture.seconds;
  }
}

void FrameTimingMeasurement::describe(QACheckOutcome& outcome) const {
  const PictureTimes& judged = judgedTimes();
  const TimingVerdict verdict = judgeTiming(judged, declared_);
  outcome.values = {
      {"declaredFps", verdict.declaredFps, "fps"},
      {"measuredFps", verdict.measuredFps, "fps"},
      {"frames", static_cast<int64_t>(times_.seconds.size()) + times_.missing, "frames"},
      {"constantRate", verdict.constantRate, ""},
      {"gaps", verdict.gaps, ""},
      {"overlaps", verdict.overlaps, ""},
      {"missingTimes", times_.missing, "frames"},
      {"longestGapSeconds", verdict.longestGapSeconds, "s"}};
  if (times_.seconds.empty() && times_.missing == 0) {
    outcome.measured = false;
    outcome.reason = "no picture could be decoded";
    return;
  }
  if (times_.seconds.empty() || !declared_.hasTimes) {
    outcome.state = QAState::info;
    outcome.summary =
        counted(static_cast<double>(times_.seconds.size()) + static_cast<double>(times_.missing),
                "frame") +
        ", which carry no time stamps";
    return;
  }
  outcome.limits = {{.of = "distance", .min = 0.0, .max = kGapFrames, .unit = "frames"}};
  outcome.summary = summaryOf(verdict, judged);
  if (!verdict.constantRate && !declared_.mustBeConstant) {
    outcome.state = QAState::info;
    return;
  }
  outcome.events = verdict.events;
  outcome.broken = verdict.rateIsOff || !verdict.constantRate ||
                   std::any_of(verdict.events.begin(), verdict.events.end(),
                               [](const QAEvent& event) { return event.breaks; });
}

constinit const QACheck frameTimingCheck{
    .name = kProfile.name,
    .tag = kProfile.tag,
    .family = QAFamily::programme,
    .question = "Do the pictures follow each other evenly, at the declared rate?",
    .needs = QANeeds::pictures,
    .saysSomething = true,
    .severity = QASeverity::fail,
    .settings = kSettings,
    .displays = {},
    .figures = kFigures,
    .make = makeRun<make>,
};

}  // namespace qatester
