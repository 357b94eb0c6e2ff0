#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "checks/CheckList.h"
#include "checks/sound/SoundMeasurement.h"
#include "checks/sound/SoundRows.h"
#include "tester/SettingRows.h"
#include "tester/Words.h"

namespace qatester {

namespace {

constexpr QASetting kSettings[] = {
    {"OutOfPhase", "-0.7", QASetting::Kind::real, -1.0, 1.0, "",
     "correlation of left and right over 0.4 s, up to which they are out of phase"},
    {"OutOfPhaseSeconds", "2.0", QASetting::Kind::real, 0.4, QASetting::kNoLimit, "s",
     "a shorter span is none"},
    {"PolarityCorrelation", "-0.3", QASetting::Kind::real, -1.0, 1.0, "",
     "correlation over a whole programme, up to which one side is inverted"},
};

constexpr CheckProfile kProfile{.name = "polarity", .tag = "QAPolarity"};
constexpr const char* kFigures[] = {"correlation"};

struct PolarityDemands {
  double outOfPhase = -0.7;
  double seconds = 2.0;
  double programme = -0.3;
};

/// In cells of 10 ms: a window, how far one begins after the other, a pause that ends no span, and
/// how far the ends of a span are looked for.
constexpr int64_t kWindow = 40;
constexpr int64_t kStep = 10;
constexpr int64_t kPause = 100;
constexpr int64_t kReach = 40;
/// The correlation of a shorter programme says nothing.
constexpr double kLeastSeconds = 10.0;

/// What left and right come to.
struct PairSums {
  double left = 0.0;
  double right = 0.0;
  double leftSquares = 0.0;
  double rightSquares = 0.0;
  double products = 0.0;
  double samples = 0.0;

  void add(const PairSums& other) {
    left += other.left;
    right += other.right;
    leftSquares += other.leftSquares;
    rightSquares += other.rightSquares;
    products += other.products;
    samples += other.samples;
  }

  double leftVariance() const { return leftSquares - left * left / std::max(samples, 1.0); }
  double rightVariance() const { return rightSquares - right * right / std::max(samples, 1.0); }

  /// Pearson's; empty where a side does not move.
  std::optional<double> correlation() const {
    const double variances = leftVariance() * rightVariance();
    if (!(variances > 0.0)) {
      return std::nullopt;
    }
    const double covariance = products - left * right / samples;
    return std::clamp(covariance / std::sqrt(variances), -1.0, 1.0);
  }

  bool isActive(double meanSquare) const {
    return samples > 0.0 && leftSquares / samples > meanSquare &&
           rightSquares / samples > meanSquare;
  }
};

class PolarityMeasurement final : public SoundMeasurement {
 public:
  explicit PolarityMeasurement(const PolarityDemands& demands)
      : demands_(demands), active_(std::pow(amplitudeOf(kActiveRms), 2.0)) {}

  SoundNeeds needs() const override { return {.pairs = true}; }

  using SoundMeasurement::take;
  void take(const SoundCell& cell) override {
    if (cell.pair == nullptr || !cell.complete) {
      return;
    }
    const SoundProgramme& programme = programmes()[cell.programme];
    const ChannelCell& left = cell.channels[static_cast<std::size_t>(programme.left)];
    const ChannelCell& right = cell.channels[static_cast<std::size_t>(programme.right)];
    Pair& pair = pairs_[cell.programme];
    const PairSums sums{.left = left.sum,
                        .right = right.sum,
                        .leftSquares = left.squares,
                        .rightSquares = right.squares,
                        .products = PairCell::products(left, right, *cell.pair),
                        .samples = static_cast<double>(cell.samples)};
    pair.whole.add(sums);
    pair.ring[static_cast<std::size_t>(pair.cells) % kKept] = {sums, cell.startSeconds()};
    ++pair.cells;
    pair.endSeconds = cell.endSeconds();
    addToRow(pair, cell, sums);
    if (pair.cells >= kWindow && pair.cells % kStep == 0) {
      look(cell.programme, pair);
    }
  }

  void describe(QACheckOutcome& outcome) const override {
    std::vector<QAValues> rows;
    double longest = 0.0;
    std::optional<double> least;
    for (std::size_t i = 0; i < pairs_.size(); ++i) {
      const Pair& pair = pairs_[i];
      if (pair.cells == 0) {
        continue;
      }
      const std::optional<double> r = pair.whole.correlation();
      QAValues row{{"programme", static_cast<int64_t>(i), ""},
                   {"correlation", QANothing(), ""},
                   {"streams", streamsOf(programmes()[i]), ""}};
      if (r.has_value()) {
        row[1].value = *r;
        least = std::min(least.value_or(1.0), *r);
      }
      rows.push_back(std::move(row));
      const SoundEnd& end = ends()[i];
      const bool isLong = end.endSeconds - end.startSeconds >= kLeastSeconds;
      if (isLong && r.has_value() && *r <= demands_.programme) {
        QAEvent event = eventAt(programmes()[i], end.startSeconds, end.endSeconds);
        event.value = *r;
        event.limit = demands_.programme;
        event.what = prefixOf(i) + "left and right are against each other throughout";
        outcome.events.push_back(std::move(event));
      }
      for (const QAEvent& event : pair.events) {
        longest = std::max(longest, *event.endSeconds - *event.startSeconds);
        outcome.events.push_back(event);
      }
    }
    outcome.broken = !outcome.events.empty();
    outcome.limits = {{.of = "correlation", .min = demands_.programme},
                      {.of = "OutOfPhase", .min = demands_.outOfPhase},
                      {.of = "longestSeconds", .max = demands_.seconds, .unit = "s"}};
    outcome.values = {{"correlation", QANothing(), ""},
                      {"longestSeconds", longest, "s"},
                      {"programmes", std::move(rows), ""}};
    if (least.has_value()) {
      outcome.values.front().value = *least;
    }
    if (outcome.broken) {
      outcome.summary = outcome.events.front().what;
      if (longest > 0.0) {
        outcome.summary = "out of phase for up to " + quantity(longest, kSeconds);
      }
    } else {
      outcome.summary = least.has_value() ? "none" : "silent";
    }
    if (least.has_value()) {
      outcome.summary += ", correlation " + quantity(*least, {"", 2});
    }
  }

  std::string whyNothing() const override {
    std::string why = SoundMeasurement::whyNothing();
    if (!why.empty()) {
      return why;
    }
    return foundNoSubject() ? "no programme has a left and a right channel" : "";
  }

  bool foundNoSubject() const override {
    return std::none_of(pairs_.begin(), pairs_.end(),
                        [](const Pair& pair) { return pair.cells > 0; });
  }

 private:
  /// Cells that are kept: those of a pause, of a window, and of what is looked at around an end.
  static constexpr std::size_t kKept = 512;

  struct Cell {
    PairSums sums;
    double startSeconds = 0.0;
  };
  struct Pair {
    PairSums whole;
    std::array<Cell, kKept> ring = {};
    int64_t cells = 0;
    double endSeconds = 0.0;
    // A span that is open.
    bool isOpen = false;
    int64_t lastBad = 0;  ///< the cell after the last window that was out of phase
    double startSeconds = 0.0;
    PairSums inSpan;
    double worst = 0.0;
    double worstSeconds = 0.0;
    std::vector<QAEvent> events;
    // The row of a series that is being measured.
    SoundRows series;
    PairSums inRow;
  };

  void change(const SoundSection& section) override {
    if (section.isFirst) {
      pairs_[section.number].series.begin(series().begin(
          seriesOf(*section.programme, nameOf(section.number), {{"correlation", ""}})));
    }
  }

  static void addToRow(Pair& pair, const SoundCell& cell, const PairSums& sums) {
    if (!pair.series.isWanted()) {
      return;
    }
    pair.inRow.add(sums);
    if (pair.series.endsWith(cell)) {
      constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
      const double values[] = {pair.inRow.correlation().value_or(kNone)};
      pair.series.add(values);
      pair.inRow = {};
    }
  }

  static const Cell& at(const Pair& pair, int64_t cell) {
    return pair.ring[static_cast<std::size_t>(cell) % kKept];
  }

  double secondsAt(const Pair& pair, int64_t cell) const {
    return cell < pair.cells ? at(pair, cell).startSeconds : pair.endSeconds;
  }

  void look(std::size_t number, Pair& pair) {
    PairSums window;
    const int64_t first = pair.cells - kWindow;
    for (int64_t i = first; i < pair.cells; ++i) {
      window.add(at(pair, i).sums);
    }
    const bool isActive = window.isActive(active_);
    const std::optional<double> r = window.correlation();
    if (isActive && r.has_value() && *r <= demands_.outOfPhase) {
      if (!pair.isOpen) {
        pair.isOpen = true;
        pair.startSeconds = secondsAt(pair, turn(pair, first, 1.0));
        pair.inSpan = {};
        pair.worst = 1.0;
      }
      pair.lastBad = pair.cells;
      if (*r < pair.worst) {
        pair.worst = *r;
        pair.worstSeconds = at(pair, first).startSeconds;
      }
      for (int64_t i = std::max(first, pair.cells - kStep); i < pair.cells; ++i) {
        pair.inSpan.add(at(pair, i).sums);
      }
      return;
    }
    // What follows the last bad window is needed to find where the span ends.
    const bool isOver = isActive && pair.cells - pair.lastBad >= kReach;
    if (pair.isOpen && (isOver || pair.cells - pair.lastBad > kPause + kWindow)) {
      close(number, pair);
    }
  }

  /// The cell near this one from which on left and right turn against each other (1), or up to
  /// which they do (-1): where the running sum of their products is at its extreme.
  static int64_t turn(const Pair& pair, int64_t near, double sign) {
    const int64_t oldest = std::max<int64_t>(0, pair.cells - static_cast<int64_t>(kKept));
    const int64_t from = std::max(oldest, near - kReach);
    const int64_t to = std::min(pair.cells, near + kReach);
    double sum = 0.0;
    double most = 0.0;
    int64_t found = from;
    for (int64_t i = from; i < to; ++i) {
      sum += sign * at(pair, i).sums.products;
      // Of silence before it the last cell counts, of silence after it the first.
      if (sum > most || (sign > 0.0 && sum == most)) {
        most = sum;
        found = i + 1;
      }
    }
    return found;
  }

  void close(std::size_t number, Pair& pair) {
    pair.isOpen = false;
    const double endSeconds = secondsAt(pair, turn(pair, pair.lastBad, -1.0));
    constexpr double kRounding = 1e-6;
    if (endSeconds - pair.startSeconds + kRounding < demands_.seconds ||
        pair.events.size() >= kMostSoundSpans) {
      return;
    }
    QAEvent event = eventAt(programmes()[number], pair.startSeconds, endSeconds);
    event.value = pair.inSpan.correlation().value_or(pair.worst);
    event.limit = demands_.outOfPhase;
    event.worstSeconds = pair.worstSeconds;
    event.what = prefixOf(number) + "left and right are out of phase";
    pair.events.push_back(std::move(event));
  }

  void beginSound(const ProgrammeFacts&) override { pairs_.resize(programmes().size()); }

  void endOf(std::size_t number, const SoundEnd&) override {
    if (pairs_[number].isOpen) {
      close(number, pairs_[number]);
    }
  }

  PolarityDemands demands_;
  double active_;  ///< mean square
  std::vector<Pair> pairs_;
};

std::unique_ptr<ProgrammeCheck<PolarityMeasurement>> make(const CheckContext& context) {
  const auto real = [&](std::size_t row) { return numberSetting(context, kSettings[row]); };
  return std::make_unique<ProgrammeCheck<PolarityMeasurement>>(
      context, kProfile,
      PolarityDemands{.outOfPhase = real(0), .seconds = real(1), .programme = real(2)});
}

}  // namespace

constinit const QACheck polarityCheck{
    .name = kProfile.name,
    .tag = kProfile.tag,
    .family = QAFamily::programme,
    .question = "Is one side of a stereo programme inverted?",
    .needs = QANeeds::sound,
    .saysSomething = true,
    .severity = QASeverity::warn,
    .settings = kSettings,
    .displays = {},
    .figures = kFigures,
    .make = makeRun<make>,
};

}  // namespace qatester
