#include <algorithm>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "checks/CheckList.h"
#include "checks/picture/PictureMeasurement.h"
#include "tester/Words.h"

namespace qatester {

namespace {

constexpr CheckProfile kProfile{.name = "cuts", .tag = "QACuts"};

constexpr const char* kDisplays[] = {"Cuts"};

const char* textOf(GradualChange::Kind kind) {
  switch (kind) {
    case GradualChange::Kind::fadeOut:
      return "fade out";
    case GradualChange::Kind::fadeIn:
      return "fade in";
    case GradualChange::Kind::dissolve:
      break;
  }
  return "dissolve";
}

class CutsMeasurement final : public PictureMeasurement {
 public:
  using PictureMeasurement::take;
  void take(const PictureRecord& record) override {
    const PictureDistance& distance = record.distance;
    distances_.add(
        record.number, times().seconds(record.number),
        {figureOf(distance.change), figureOf(distance.colourChange), figureOf(distance.unlike)});
    if (record.isDamaged) {
      damaged_.push_back(record.number);
      inFlash_ = false;
      return;
    }
    switch (record.kind) {
      case PictureKind::cut:
        cuts_.push_back(record.number);
        break;
      case PictureKind::flash:
        if (!inFlash_) {
          flashes_.push_back({record.number, record.number});
        }
        flashes_.back().second = record.number + 1;
        break;
      case PictureKind::flashEnd:
      case PictureKind::goesOn:
        break;
    }
    inFlash_ = record.kind == PictureKind::flash;
  }

  const char* display() const override { return kDisplays[0]; }
  std::vector<int64_t> picturesOf(const QAEvent& event) const override {
    return neighboursOf(event);
  }
  void describe(QACheckOutcome& outcome) const override {
    for (const int64_t cut : cuts_) {
      add(outcome, cut, cut + 1, "cut");
    }
    int64_t fades = 0;
    for (const GradualChange& change : changes_) {
      fades += change.kind == GradualChange::Kind::dissolve ? 0 : 1;
      add(outcome, change.first, change.last + 1, textOf(change.kind));
    }
    for (const auto& [first, end] : flashes_) {
      add(outcome, first, end, "flash");
    }
    const auto dissolves = static_cast<int64_t>(changes_.size()) - fades;
    std::stable_sort(outcome.events.begin(), outcome.events.end(),
                     [](const QAEvent& one, const QAEvent& other) {
                       return *one.startFrame < *other.startFrame;
                     });
    outcome.values = {{"cuts", static_cast<int64_t>(cuts_.size()), ""},
                      {"fades", fades, ""},
                      {"dissolves", dissolves, ""},
                      {"flashes", static_cast<int64_t>(flashes_.size()), ""},
                      {"cutFrames", cuts_, ""}};
    const auto addCount = [&](std::size_t count, const char* noun) {
      if (count > 0) {
        addWords(outcome.summary, ", ", counted(static_cast<double>(count), noun));
      }
    };
    addCount(cuts_.size(), "cut");
    addCount(static_cast<std::size_t>(fades), "fade");
    addCount(static_cast<std::size_t>(dissolves), "dissolve");
    if (!flashes_.empty()) {
      addWords(outcome.summary, ", ",
               flashes_.size() == 1 ? "1 flash" : std::to_string(flashes_.size()) + " flashes");
    }
    if (outcome.summary.empty()) {
      outcome.summary = "none";
    }
    outcome.state = QAState::info;
  }

 private:
  static double figureOf(std::optional<float> value) {
    return value.has_value() ? static_cast<double>(*value)
                             : std::numeric_limits<double>::quiet_NaN();
  }

  void beginPictures(const ProgrammeFacts&) override {
    distances_ = series().begin(QASeries::Per::picture,
                                {{"change", ""}, {"colourChange", ""}, {"unlike", ""}});
  }

  void add(QACheckOutcome& outcome, int64_t first, int64_t end, const char* what) const {
    QAEvent event = eventOf(first, end, what);
    event.breaks = false;
    outcome.events.push_back(std::move(event));
  }

  /// Damage moves the picture as well.
  bool isDamaged(const GradualChange& change) const {
    const auto next = std::lower_bound(damaged_.begin(), damaged_.end(), change.first);
    return next != damaged_.end() && *next <= change.last;
  }

  void endPictures(const PictureSummary& summary) override {
    for (const GradualChange& change : summary.gradualChanges) {
      if (!isDamaged(change)) {
        changes_.push_back(change);
      }
    }
  }

  std::vector<int64_t> cuts_;
  std::vector<int64_t> damaged_;
  std::vector<std::pair<int64_t, int64_t>> flashes_;
  bool inFlash_ = false;
  std::vector<GradualChange> changes_;
  SeriesOutput distances_;
};

std::unique_ptr<ProgrammeCheck<CutsMeasurement>> make(const CheckContext& context) {
  return std::make_unique<ProgrammeCheck<CutsMeasurement>>(context, kProfile);
}

}  // namespace

constinit const QACheck cutsCheck{
    .name = kProfile.name,
    .tag = kProfile.tag,
    .family = QAFamily::programme,
    .question = "Where are cuts, fades, dissolves and flashes?",
    .needs = QANeeds::pictures,
    .saysSomething = true,
    .severity = QASeverity::info,
    .settings = {},
    .displays = kDisplays,
    .make = makeRun<make>,
};

}  // namespace qatester
