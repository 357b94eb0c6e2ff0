#include <algorithm>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "checks/CheckList.h"
#include "checks/picture/PictureMeasurement.h"
#include "checks/picture/RepeatFinder.h"
#include "tester/SettingRows.h"
#include "tester/Words.h"

namespace qatester {

namespace {

constexpr QASetting kSettings[] = {
    countLimit("Repeats", "0", "how many pictures may be shown again"),
};

constexpr CheckProfile kProfile{.name = "repeats", .tag = "QARepeats"};

constexpr const char* kDisplays[] = {"Repeats"};
constexpr const char* kFigures[] = {"repeatedPictures"};

/// From this rate on, film is shown by repeating its pictures.
constexpr double kDoubleRate = 48.0;
constexpr double kMostOfFilm = 0.52;

class RepeatsMeasurement final : public PictureMeasurement {
 public:
  explicit RepeatsMeasurement(int most) : most_(most) {}

  using PictureMeasurement::take;
  void take(const PictureRecord& record) override {
    const bool isAlone = record.isFirstOfSize && record.kind == PictureKind::goesOn;
    evidence_.push_back(
        {record.numbers.change, isAlone ? PictureKind::cut : record.kind, record.isFlat});
    const auto figure = [&](double change) {
      return record.isFirstOfSize ? std::numeric_limits<double>::quiet_NaN() : change;
    };
    changes_.add(record.number, times().seconds(record.number),
                 {figure(record.perPixel(record.numbers.changeSum)),
                  figure(static_cast<double>(record.numbers.change.largest))});
  }

  const char* display() const override { return kDisplays[0]; }
  std::vector<int64_t> picturesOf(const QAEvent& event) const override {
    QAEvent once = event;
    once.endFrame.reset();
    return neighboursOf(once);
  }
  void describe(QACheckOutcome& outcome) const override {
    int64_t single = 0;
    int64_t inPatterns = 0;
    bool isBroken = false;
    for (const Repeats& repeats : repeats_) {
      QAEvent event = eventOf(repeats.first, repeats.end, "repeated picture");
      if (repeats.isRegular()) {
        inPatterns += repeats.count;
        event.what = "regular repeats, " + quantity(100.0 * repeats.newShare(), {" %", 0}) +
                     " of the pictures new";
        event.value = repeats.newShare();
        event.breaks = !isFilm(repeats);
        isBroken = isBroken || event.breaks;
      } else {
        ++single;
      }
      outcome.events.push_back(std::move(event));
    }
    for (QAEvent& event : outcome.events) {
      const bool isSingle = !event.value.has_value();
      event.breaks = isSingle ? single > most_ : event.breaks;
    }
    const auto patterns = static_cast<int64_t>(repeats_.size()) - single;
    outcome.broken = isBroken || single > most_;
    outcome.values = {{"repeatedPictures", single, ""},
                      {"patterns", patterns, ""},
                      {"picturesInPatterns", inPatterns, ""}};
    outcome.limits = {{.of = "repeatedPictures", .max = static_cast<double>(most_)}};
    if (single > 0) {
      outcome.summary = counted(static_cast<double>(single), "picture") + " shown again";
    }
    if (patterns > 0) {
      addWords(outcome.summary, ", ", counted(static_cast<double>(patterns), "regular pattern"));
    }
    if (outcome.summary.empty()) {
      outcome.summary = "none";
    }
  }

 private:
  /// 24 or 25 pictures in twice as many or more: each is shown two or three times.
  bool isFilm(const Repeats& repeats) const {
    return times().rate() >= kDoubleRate && repeats.newShare() <= kMostOfFilm;
  }

  void beginPictures(const ProgrammeFacts&) override {
    changes_ = series().begin(QASeries::Per::picture, {{"meanChange", ""}, {"largestChange", ""}});
  }

  void endPictures(const PictureSummary&) override {
    repeats_ = joinRepeats(findRepeatedPictures(evidence_));
    evidence_ = {};
  }

  int most_;
  std::vector<RepeatEvidence> evidence_;
  std::vector<Repeats> repeats_;
  SeriesOutput changes_;
};

std::unique_ptr<ProgrammeCheck<RepeatsMeasurement>> make(const CheckContext& context) {
  return std::make_unique<ProgrammeCheck<RepeatsMeasurement>>(context, kProfile,
                                                              context.whole(kSettings[0]));
}

}  // namespace

constinit const QACheck repeatsCheck{
    .name = kProfile.name,
    .tag = kProfile.tag,
    .family = QAFamily::programme,
    .question = "Are pictures shown again while something moves?",
    .needs = QANeeds::pictures,
    .saysSomething = true,
    .severity = QASeverity::warn,
    .settings = kSettings,
    .displays = kDisplays,
    .figures = kFigures,
    .make = makeRun<make>,
};

}  // namespace qatester
