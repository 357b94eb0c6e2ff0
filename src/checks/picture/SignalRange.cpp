#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "checks/CheckList.h"
#include "checks/picture/DamagedPictures.h"
#include "checks/picture/SignalPlanes.h"
#include "checks/picture/SignalRangeKernels.h"
#include "media/FFmpegPixels.h"
#include "tester/ProgrammeRun.h"
#include "tester/SettingRows.h"
#include "tester/Spans.h"
#include "tester/Words.h"
#include "visual/Canvas.h"
#include "visual/Images.h"

namespace qatester {

namespace {

constexpr QASetting kSettings[] = {
    {"OutsideShare", "1.0", QASetting::Kind::real, 0.0, 100.0, "%",
     "share of a picture that may lie outside the range of signals"},
};

constexpr CheckProfile kProfile{.name = "signal-range", .tag = "QASignalRange"};

constexpr const char* kDisplays[] = {"Signal Range"};
constexpr const char* kFigures[] = {"worstShare"};

/// Pictures that are further apart are events of their own.
constexpr SpanRule kSpans{.mergeSeconds = 1.0, .most = 100000};

constexpr double kPercent = 100.0;

/// Beside pixels that stand out others have this part of their light.
constexpr uint8_t kDark = 3;
/// Of a pixel.
constexpr int kCanvasBytes = 3;

constexpr const char* kSeveral = "several";

constexpr const char* kNames[kSignals] = {"red", "green", "blue", "luma"};

class SignalRangeMeasurement final : public ProgrammeMeasurement {
 public:
  explicit SignalRangeMeasurement(double outsideShare) : outsideShare_(outsideShare) {}

  bool hasSubject(const ProgrammeFacts& facts, std::string& reason) const override {
    reason = "no video stream";
    return facts.videoStream >= 0;
  }
  // With the packets all streams are read, so that a damaged file ends at the same place whatever
  // other checks there are.
  ProgrammeWants wants() const override { return {.pictures = true, .packets = true}; }
  bool isSlow() const override { return true; }

  void begin(const ProgrammeFacts& facts) override {
    const auto& video = facts.media.streams[static_cast<std::size_t>(facts.videoStream)].video;
    if (video.has_value() && video->frameRate > 0.0) {
      frameSeconds_ = 1.0 / video->frameRate;
    }
    shares_ = series().begin(QASeries::Per::picture, {{"outsideShare", "%"}});
  }

  using ProgrammeMeasurement::take;
  void take(const ProgrammePicture& picture) override {
    endLast(picture.seconds);
    const AVFrame* frame = picture.frame.get();
    if (damaged_.isDamaged(picture.damage) || frame == nullptr) {
      ++leftOut_;
      return;
    }
    if (!findOut(*frame)) {
      ++unread_;
      return;
    }
    measure(picture, *frame);
  }

  void end(const ProgrammeEnd& /*end*/) override {
    if (last_.has_value() && last_->start.has_value()) {
      endLast(*last_->start + frameSeconds_);
    }
    endLast({});
    keepExtremes();
  }

  std::string whyNothing() const override {
    if (pictures_ > 0) {
      return "";
    }
    if (!reason_.empty()) {
      return reason_;
    }
    return leftOut_ > 0 ? "no picture without damage" : "no picture could be decoded";
  }

  const char* display() const override { return kDisplays[0]; }
  std::vector<int64_t> picturesOf(const QAEvent& event) const override {
    return {event.worstFrame.value_or(0)};
  }
  /// What is outside stands out in red, the rest is dark.
  void mark(const ProgrammePicture& picture, IplImage& canvas) override {
    const AVFrame& frame = *picture.frame;
    if (!findOut(frame) || frame.width != canvas.width || frame.height != canvas.height) {
      return;
    }
    map_.reset(frame.width, frame.height);
    markOutside(planes_.read(frame, layout_), coding_.rules, extremes_, map_);
    for (int y = 0; y < canvas.height; ++y) {
      uint8_t* value = rowOf(canvas, y);
      for (int x = 0; x < canvas.width; ++x, value += kCanvasBytes) {
        if (isInSquare(map_, x, y)) {
          paint(canvas, x, y, kRed);
          continue;
        }
        for (int i = 0; i < kCanvasBytes; ++i) {
          value[i] /= kDark;
        }
      }
    }
  }

  void describe(QACheckOutcome& outcome) const override {
    outcome.values = {{"pictures", pictures_, "frames"},
                      {"worstShare", worst_, ""},
                      {"worstFrame", QANothing(), ""},
                      {"picturesOver", picturesOver_, "frames"}};
    if (worstFrame_.has_value()) {
      outcome.values[2].value = *worstFrame_;
    }
    for (const Signal signal : {kLumaSignal, kRedSignal, kGreenSignal, kBlueSignal}) {
      addExtreme(outcome, signal, "MinPercent", lowest_[signal]);
      addExtreme(outcome, signal, "MaxPercent", highest_[signal]);
    }
    outcome.values.push_back({"matrix", matrix_, ""});
    outcome.values.push_back({"matrixFlagged", matrixFlagged_, ""});
    outcome.values.push_back({"range", range_, ""});
    outcome.values.push_back({"rangeFlagged", rangeFlagged_, ""});
    outcome.limits = {{.of = "worstShare", .max = outsideShare_ / kPercent}};
    if (pictures_ == 0) {
      return;
    }
    for (const Span& span : spans_.begun()) {
      outcome.events.push_back({.startSeconds = span.startSeconds,
                                .endSeconds = span.endSeconds,
                                .startFrame = span.startFrame,
                                .endFrame = span.endFrame,
                                .worstSeconds = span.worstSeconds,
                                .worstFrame = span.worstFrame,
                                .value = kPercent * span.worst,
                                .limit = outsideShare_,
                                .unit = "%",
                                .what = "outside the range"});
    }
    outcome.broken = picturesOver_ > 0;
    outcome.summary = summary();
  }

 private:
  /// Finds out how to read a picture. False when it cannot be read.
  bool findOut(const AVFrame& frame) {
    if (known_ && frame.format == format_ && frame.height == height_ &&
        frame.colorspace == colorspace_ && frame.color_range == colorRange_) {
      return readable_;
    }
    keepExtremes();
    known_ = true;
    format_ = frame.format;
    height_ = frame.height;
    colorspace_ = frame.colorspace;
    colorRange_ = frame.color_range;
    layout_ = pixelLayout(frame.format);
    std::string reason;
    readable_ = layout_.kind != PixelLayout::Kind::unreadable;
    if (!readable_) {
      reason = "pictures of the format " + layout_.name + " are not read";
    } else {
      readable_ = findCoding(frame, layout_, coding_, reason);
    }
    if (readable_) {
      note(matrix_, coding_.matrix, matrixFlagged_, coding_.matrixFlagged);
      note(range_, coding_.fullRange ? "full" : "video", rangeFlagged_, coding_.rangeFlagged);
    } else if (reason_.empty()) {
      reason_ = reason;
    }
    return readable_;
  }

  /// All that differ are "several", which are flagged when each is.
  static void note(std::string& all, const std::string& one, bool& allFlagged, bool oneFlagged) {
    allFlagged = oneFlagged && (all.empty() || allFlagged);
    all = all.empty() || all == one ? one : kSeveral;
  }

  void measure(const ProgrammePicture& picture, const AVFrame& frame) {
    const SignalPicture signals = planes_.read(frame, layout_);
    map_.reset(frame.width, frame.height);
    const bool any = markOutside(signals, coding_.rules, extremes_, map_);
    const double pixels = static_cast<double>(frame.width) * frame.height;
    const auto outside = static_cast<double>(any ? countInSquares(map_) : 0);
    const double share = outside / pixels;
    ++pictures_;
    shares_.add(picture.number, picture.seconds, {kPercent * share});
    if (share > worst_) {
      worst_ = share;
      worstFrame_ = picture.number;
    }
    if (kPercent * outside > outsideShare_ * pixels) {
      ++picturesOver_;
      last_ = Measured{.start = picture.seconds, .value = share, .frame = picture.number};
    }
  }

  /// A bad picture lasts until the next one.
  void endLast(std::optional<double> seconds) {
    if (last_.has_value()) {
      last_->end = seconds;
      spans_.add(*last_);
      last_.reset();
    }
  }

  /// In percent, for they may go on with another coding.
  void keepExtremes() {
    for (std::size_t signal = 0; signal < kSignals; ++signal) {
      if (!extremes_.empty(static_cast<Signal>(signal))) {
        lowest_[signal] = std::min(lowest_[signal], coding_.percentOf(extremes_.min[signal]));
        highest_[signal] = std::max(highest_[signal], coding_.percentOf(extremes_.max[signal]));
      }
    }
    extremes_ = {};
  }

  static void addExtreme(QACheckOutcome& outcome, Signal signal, const char* which, double value) {
    QAValue added{std::string(kNames[signal]) + which, QANothing(), "%"};
    if (std::isfinite(value)) {
      added.value = value;
    }
    outcome.values.push_back(std::move(added));
  }

  std::string extremesOf(const char* name, double low, double high) const {
    return std::isfinite(low) ? std::string(name) + " " + quantity(low, {"", 1}) + " to " +
                                    quantity(high, {" %", 1})
                              : "";
  }

  std::string summary() const {
    const double lowest =
        std::min({lowest_[kRedSignal], lowest_[kGreenSignal], lowest_[kBlueSignal]});
    const double highest =
        std::max({highest_[kRedSignal], highest_[kGreenSignal], highest_[kBlueSignal]});
    std::string text = quantity(kPercent * worst_, {" %", 2}) + " outside at worst";
    if (picturesOver_ > 0) {
      text += ", above " + plain(outsideShare_) + " % in " +
              counted(static_cast<double>(picturesOver_), "frame");
    }
    std::string extremes = extremesOf("Y'", lowest_[kLumaSignal], highest_[kLumaSignal]);
    addWords(extremes, ", ", extremesOf("R'G'B'", lowest, highest));
    text += "; " + extremes + " (" + matrix_ + ", " + range_ + " range)";
    if (leftOut_ > 0) {
      text +=
          "; " + counted(static_cast<double>(leftOut_), "frame") + " flagged as damaged left out";
    }
    if (unread_ > 0) {
      text += "; " + counted(static_cast<double>(unread_), "frame") + " not read";
    }
    return text;
  }

  double outsideShare_;  ///< percent
  double frameSeconds_ = 0.0;

  // Of the pictures that come now.
  bool known_ = false;
  bool readable_ = false;
  int format_ = -1;
  int height_ = 0;
  AVColorSpace colorspace_ = AVCOL_SPC_UNSPECIFIED;
  AVColorRange colorRange_ = AVCOL_RANGE_UNSPECIFIED;
  PixelLayout layout_;
  SignalCoding coding_;
  SignalExtremes extremes_;

  // Of the file.
  int64_t pictures_ = 0;
  int64_t picturesOver_ = 0;
  int64_t leftOut_ = 0;
  DamagedPictures damaged_;
  int64_t unread_ = 0;
  double worst_ = 0.0;  ///< 0 to 1
  std::optional<int64_t> worstFrame_;
  std::array<double, kSignals> lowest_ = filled(std::numeric_limits<double>::infinity());
  std::array<double, kSignals> highest_ = filled(-std::numeric_limits<double>::infinity());
  std::string matrix_;
  bool matrixFlagged_ = false;
  std::string range_;
  bool rangeFlagged_ = false;
  std::string reason_;

  std::optional<Measured> last_;
  Spans spans_{kSpans};
  SignalPlanes planes_;
  OutsideMap map_;
  SeriesOutput shares_;

  static std::array<double, kSignals> filled(double value) {
    std::array<double, kSignals> all{};
    all.fill(value);
    return all;
  }
};

std::unique_ptr<ProgrammeCheck<SignalRangeMeasurement>> make(const CheckContext& context) {
  return std::make_unique<ProgrammeCheck<SignalRangeMeasurement>>(
      context, kProfile, numberSetting(context, kSettings[0]));
}

}  // namespace

constinit const QACheck signalRangeCheck{
    .name = kProfile.name,
    .tag = kProfile.tag,
    .family = QAFamily::programme,
    .question = "Do R', G', B' and Y' stay within -5 to 105 % of the range (EBU R 103)?",
    .needs = QANeeds::pictures,
    .saysSomething = true,
    .severity = QASeverity::info,
    .settings = kSettings,
    .displays = kDisplays,
    .figures = kFigures,
    .make = makeRun<make>,
};

}  // namespace qatester
