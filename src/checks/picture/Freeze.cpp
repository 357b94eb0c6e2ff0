#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "checks/CheckList.h"
#include "checks/picture/PictureMeasurement.h"
#include "tester/SettingRows.h"
#include "tester/Words.h"

namespace qatester {

namespace {

constexpr QASetting kSettings[] = {
    {"FreezeSeconds", "2.0", QASetting::Kind::real, 0.1, QASetting::kNoLimit, "s",
     "a still that is shorter is a pause"},
    {"StillHeadSeconds", "60.0", QASetting::Kind::real, 0.0, QASetting::kNoLimit, "s",
     "a still up to so long at the start or the end breaks nothing"},
};

constexpr CheckProfile kProfile{.name = "freeze", .tag = "QAFreeze"};

constexpr const char* kDisplays[] = {"Freeze"};
constexpr const char* kFigures[] = {"longestSeconds"};

struct FreezeDemands {
  double seconds = 2.0;
  double headSeconds = 60.0;
};

/// Changes up to which a picture is the one before, in levels: of a pixel, and of the block that
/// changes most. What coding adds now and then is larger.
constexpr float kQuietMean = 0.3F;
constexpr float kQuietBlock = 2.5F;
constexpr float kPulseBlock = 6.0F;
constexpr int kLongestPulse = 2;
/// What is coded anew at a low rate changes everywhere, and no place much more than others.
constexpr float kAnewBlock = 12.0F;
constexpr float kAnewOfMean = 4.0F;
/// How far a cell may be off that of the first picture of the span, and where the still was coded
/// anew since.
constexpr int kStillCell = 3;
constexpr int kAnewCell = 6;
/// A picture of which as much is black counts as black.
constexpr double kBlackShare = 0.98;

class FreezeMeasurement final : public PictureMeasurement {
 public:
  explicit FreezeMeasurement(const FreezeDemands& demands) : demands_(demands) {}

  using PictureMeasurement::take;
  void take(const PictureRecord& record) override {
    changes_.add(record.number, times().seconds(record.number),
                 {record.perPixel(record.numbers.changeSum),
                  static_cast<double>(record.numbers.change.largest)});
    const bool isBlack = record.blackShare >= kBlackShare;
    if (still_.has_value() && !goesOn(record, isBlack)) {
      close(still_->lastQuiet + 1);
    }
    if (!still_.has_value()) {
      // The picture before is the first that shows it.
      if (!isBlack && !record.isFirstOfSize && previous_.has_value() && isQuiet(record)) {
        still_ = Still{.first = record.number - 1,
                       .lastQuiet = record.number,
                       .thumb = *previous_,
                       .origin = *previous_,
                       .isHead = !hasMoved_};
        loose_ = 0;
      } else {
        // One picture alone may be the first of a still: several of them are a head as well.
        loose_ = isBlack ? 0 : loose_ + 1;
        hasMoved_ = hasMoved_ || loose_ > 1;
      }
    }
    previous_.reset();
    if (!isBlack) {
      previous_ = record.thumb;
    }
  }

  const char* display() const override { return kDisplays[0]; }
  void describe(QACheckOutcome& outcome) const override {
    double longest = 0.0;
    int64_t breaking = 0;
    for (const QAEvent& event : events_) {
      if (event.breaks) {
        ++breaking;
        longest = std::max(longest, *event.value);
      }
      outcome.events.push_back(event);
    }
    outcome.broken = breaking > 0;
    outcome.values = {{"spans", static_cast<int64_t>(events_.size()), ""},
                      {"longestSeconds", longest, "s"}};
    outcome.limits = {{.of = "longestSeconds", .max = demands_.seconds, .unit = "s"}};
    if (breaking > 0) {
      outcome.summary = counted(static_cast<double>(breaking), "span") +
                        " without visible change, longest " + quantity(longest, kSeconds);
    } else if (!events_.empty()) {
      outcome.summary = isStillThroughout_ ? "a still throughout" : "none but at the edges";
    } else {
      outcome.summary = "none of ";
      outcome.summary += plain(demands_.seconds);
      outcome.summary += " s";
    }
  }

 private:
  void beginPictures(const ProgrammeFacts&) override {
    changes_ = series().begin(QASeries::Per::picture, {{"meanChange", ""}, {"largestChange", ""}});
  }

  /// Pictures that show the same.
  struct Still {
    int64_t first = 0;
    int64_t lastQuiet = 0;
    int pulses = 0;  ///< noisier pictures since
    Thumb thumb;     ///< of the first, or since it was coded anew
    Thumb origin;    ///< of the first
    bool isHead = false;
  };

  static bool isQuiet(const PictureRecord& record) {
    return record.numbers.change.mean <= kQuietMean && record.numbers.change.largest <= kQuietBlock;
  }

  static bool isCodedAnew(const PictureRecord& record) {
    const ChangeNumbers& change = record.numbers.change;
    return change.mean > kQuietMean &&
           change.largest <= std::min(kAnewBlock, kAnewOfMean * change.mean);
  }

  bool goesOn(const PictureRecord& record, bool isBlack) {
    if (isBlack || record.isFirstOfSize) {
      return false;
    }
    const bool isAlike = largestDifferenceOf(still_->thumb, record.thumb) <= kStillCell;
    if (isAlike && isQuiet(record)) {
      still_->lastQuiet = record.number;
      still_->pulses = 0;
      return true;
    }
    ++still_->pulses;
    if (still_->pulses > kLongestPulse) {
      return false;
    }
    if (isCodedAnew(record) && largestDifferenceOf(still_->origin, record.thumb) <= kAnewCell) {
      still_->thumb = record.thumb;
      return true;
    }
    return isAlike && record.numbers.change.largest <= kPulseBlock;
  }

  void close(int64_t end) {
    constexpr double kRounding = 1e-6;
    const Still still = *std::exchange(still_, std::nullopt);
    const bool isTail = end == times().count();
    const double length = times().seconds(end) - times().seconds(still.first);
    if (length + kRounding < demands_.seconds) {
      return;
    }
    const bool isThroughout = still.isHead && isTail;
    const bool isEdge = (still.isHead || isTail) && length <= demands_.headSeconds;
    isStillThroughout_ = isStillThroughout_ || isThroughout;
    QAEvent event = eventOf(still.first, end,
                            isThroughout   ? "a still throughout"
                            : !isEdge      ? "no visible change"
                            : still.isHead ? "still at the start"
                                           : "still at the end");
    event.breaks = !isThroughout && !isEdge;
    event.value = length;
    event.limit = demands_.seconds;
    event.unit.assign(1, 's');
    events_.push_back(std::move(event));
  }

  void endPictures(const PictureSummary&) override {
    if (still_.has_value()) {
      close(times().count());
    }
  }

  FreezeDemands demands_;
  SeriesOutput changes_;
  std::optional<Still> still_;
  /// The thumb of the picture before, unless that was black.
  std::optional<Thumb> previous_;
  int loose_ = 0;  ///< pictures since the last still or black
  bool hasMoved_ = false;
  bool isStillThroughout_ = false;
  std::vector<QAEvent> events_;
};

std::unique_ptr<ProgrammeCheck<FreezeMeasurement>> make(const CheckContext& context) {
  const auto real = [&](std::size_t row) { return numberSetting(context, kSettings[row]); };
  return std::make_unique<ProgrammeCheck<FreezeMeasurement>>(
      context, kProfile, FreezeDemands{.seconds = real(0), .headSeconds = real(1)});
}

}  // namespace

constinit const QACheck freezeCheck{
    .name = kProfile.name,
    .tag = kProfile.tag,
    .family = QAFamily::programme,
    .question = "Does the picture stand still for long?",
    .needs = QANeeds::pictures,
    .saysSomething = true,
    .severity = QASeverity::warn,
    .settings = kSettings,
    .displays = kDisplays,
    .figures = kFigures,
    .make = makeRun<make>,
};

}  // namespace qatester
