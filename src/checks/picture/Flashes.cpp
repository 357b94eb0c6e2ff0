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
#include "checks/picture/FlashFinder.h"
#include "checks/picture/PictureMeasurement.h"
#include "tester/SettingRows.h"
#include "tester/Words.h"

namespace qatester {

namespace {

constexpr QASetting kSettings[] = {
    {"FlashesPerSecond", "3", QASetting::Kind::real, 0.0, 100.0, "",
     "flashes in any second, at most"},
    {"FlashArea", "0.25", QASetting::Kind::real, 0.0, 1.0, "",
     "share of the picture that may flash"},
};

constexpr CheckProfile kProfile{.name = "flashes", .tag = "QAFlashes"};

constexpr const char* kDisplays[] = {"Flashes"};
constexpr const char* kFigures[] = {"flashesPerSecond"};

struct FlashDemands {
  double perSecond = 3.0;
  double area = 0.25;
};

// ITU-R BT.1702, for a display of 200 cd/m2 and a gamma of 2.4.
constexpr double kPeakLuminance = 200.0;
constexpr double kGamma = 2.4;
constexpr double kLuminanceChange = 20.0;
constexpr double kDarkerThan = 160.0;

/// Pictures of fewer cells are too small to have parts.
constexpr std::size_t kLeastCells = 20;

/// Red is saturated where it is so much of red, green and blue together, in linear light; a change
/// of red counts from 20 on, where full red is 320.
constexpr double kSaturatedRed = 0.8;
constexpr double kFullRed = 320.0;
constexpr double kRedChange = 20.0;

/// BT.709; of a saturated red, BT.601 differs by little.
constexpr double kRedOfCr = 1.5748;
constexpr double kGreenOfCb = -0.1873;
constexpr double kGreenOfCr = -0.4681;
constexpr double kBlueOfCb = 1.8556;

double linear(double value) {
  return std::pow(std::clamp(value, 0.0, 1.0), kGamma);
}

constexpr double kPercent = 100.0;

/// Luma codes of 8 bits, from 0 (black) to 1 (white).
double signalOf(double code, bool isFullRange) {
  return isFullRange ? code / 255.0 : (code - 16.0) / 219.0;
}
/// Colour difference, from -0.5 to 0.5.
double differenceOf(double code, bool isFullRange) {
  return (code - 128.0) / (isFullRange ? 255.0 : 224.0);
}

class FlashesMeasurement final : public PictureMeasurement {
 public:
  explicit FlashesMeasurement(const FlashDemands& demands)
      : demands_(demands),
        luminance_({.change = kLuminanceChange,
                    .darkerThan = kDarkerThan,
                    .area = demands.area,
                    .transitionsInSecond = 2.0 * demands.perSecond + 1.0}),
        red_({.change = kRedChange,
              .darkerThan = kFullRed + 1.0,
              .area = demands.area,
              .transitionsInSecond = 2.0 * demands.perSecond + 1.0}) {}

  using PictureMeasurement::take;
  void take(const PictureRecord& record) override {
    const double seconds = times().seconds(record.number);
    const std::array<float, 256>& table = record.isFullRange ? full_ : video_;
    cells_.clear();
    for (const uint8_t cell : record.thumb.cells) {
      cells_.push_back(table[cell]);
    }
    const bool hasParts = cells_.size() >= kLeastCells;
    if (hasParts) {
      luminance_.add(record.number, seconds, cells_);
    }
    if (record.chroma.isThere) {
      readRed(record);
      red_.add(record.number, seconds, cells_, &saturated_);
    }
    if (shares_.isWanted()) {
      const auto percent = [](bool isNew, std::optional<double> share) {
        return isNew && share.has_value() ? kPercent * *share
                                          : std::numeric_limits<double>::quiet_NaN();
      };
      shares_.add(
          record.number, seconds,
          {percent(hasParts, luminance_.upShare()), percent(hasParts, luminance_.downShare()),
           percent(record.chroma.isThere, red_.upShare()),
           percent(record.chroma.isThere, red_.downShare())});
    }
  }

  const char* display() const override { return kDisplays[0]; }
  void describe(QACheckOutcome& outcome) const override {
    addSpans(outcome, luminance_, "luminance flashes");
    addSpans(outcome, red_, "flashes of saturated red");
    std::stable_sort(outcome.events.begin(), outcome.events.end(),
                     [](const QAEvent& one, const QAEvent& other) {
                       return *one.startFrame < *other.startFrame;
                     });
    outcome.broken = !outcome.events.empty();
    const double most = flashesOf(luminance_.most());
    const double mostRed = flashesOf(red_.most());
    outcome.values = {{"flashesPerSecond", most, ""},
                      {"redFlashesPerSecond", mostRed, ""},
                      {"spans", static_cast<int64_t>(outcome.events.size()), ""}};
    outcome.limits = {{.of = "flashesPerSecond", .max = demands_.perSecond},
                      {.of = "redFlashesPerSecond", .max = demands_.perSecond}};
    outcome.summary = "at most " + plain(std::max(most, mostRed)) +
                      " flashes in a second (screening, no certificate)";
  }

 private:
  void beginPictures(const ProgrammeFacts&) override {
    shares_ = series().begin(
        QASeries::Per::picture,
        {{"lighterShare", "%"}, {"darkerShare", "%"}, {"redderShare", "%"}, {"lessRedShare", "%"}});
  }

  /// Two changes are one; a change that is left over is none.
  static double flashesOf(int transitions) { return std::floor(transitions / 2.0); }

  static std::array<float, 256> luminances(bool isFullRange) {
    std::array<float, 256> table{};
    for (std::size_t code = 0; code < table.size(); ++code) {
      table[code] = static_cast<float>(kPeakLuminance *
                                       linear(signalOf(static_cast<double>(code), isFullRange)));
    }
    return table;
  }

  /// The mean luma of a cell of the chroma grid.
  static double lumaOf(const Thumb& thumb, int column, int row) {
    const auto edge = [](int at, int of, int count) { return at * count / of; };
    const int left = edge(column, ChromaGrid::kColumns, thumb.columns);
    const int right = std::max(edge(column + 1, ChromaGrid::kColumns, thumb.columns), left + 1);
    const int top = edge(row, ChromaGrid::kRows, thumb.rows);
    const int bottom = std::max(edge(row + 1, ChromaGrid::kRows, thumb.rows), top + 1);
    double sum = 0.0;
    int count = 0;
    for (int y = top; y < std::min(bottom, thumb.rows); ++y) {
      for (int x = left; x < std::min(right, thumb.columns); ++x) {
        sum += thumb.at(x, y);
        ++count;
      }
    }
    return count > 0 ? sum / count : 0.0;
  }

  /// Of each cell, how red it is, and whether it or its predecessor is saturated red.
  void readRed(const PictureRecord& record) {
    cells_.clear();
    saturated_.clear();
    std::vector<uint8_t> now;
    for (int row = 0; row < ChromaGrid::kRows; ++row) {
      for (int column = 0; column < ChromaGrid::kColumns; ++column) {
        const auto at = static_cast<std::size_t>(row * ChromaGrid::kColumns + column);
        const double luma = signalOf(lumaOf(record.thumb, column, row), record.isFullRange);
        const double cb = differenceOf(record.chroma.blue[at], record.isFullRange);
        const double cr = differenceOf(record.chroma.red[at], record.isFullRange);
        const double red = linear(luma + kRedOfCr * cr);
        const double green = linear(luma + kGreenOfCb * cb + kGreenOfCr * cr);
        const double blue = linear(luma + kBlueOfCb * cb);
        cells_.push_back(static_cast<float>(kFullRed * std::max(red - green - blue, 0.0)));
        const bool isSaturated = red > 0.0 && red >= kSaturatedRed * (red + green + blue);
        now.push_back(isSaturated ? 1 : 0);
        const bool was = at < wasSaturated_.size() && wasSaturated_[at] != 0;
        saturated_.push_back(isSaturated || was ? 1 : 0);
      }
    }
    wasSaturated_.swap(now);
  }

  void addSpans(QACheckOutcome& outcome, const FlashFinder& finder, const char* what) const {
    for (const FlashSpan& span : finder.spans()) {
      QAEvent event = eventOf(span.startFrame, span.endFrame, what);
      event.value = flashesOf(span.most);
      event.limit = demands_.perSecond;
      outcome.events.push_back(std::move(event));
    }
  }

  FlashDemands demands_;
  FlashFinder luminance_;
  FlashFinder red_;
  std::array<float, 256> video_ = luminances(false);
  std::array<float, 256> full_ = luminances(true);
  std::vector<float> cells_;
  std::vector<uint8_t> saturated_;
  std::vector<uint8_t> wasSaturated_;
  SeriesOutput shares_;
};

std::unique_ptr<ProgrammeCheck<FlashesMeasurement>> make(const CheckContext& context) {
  const auto real = [&](std::size_t row) { return numberSetting(context, kSettings[row]); };
  return std::make_unique<ProgrammeCheck<FlashesMeasurement>>(
      context, kProfile, FlashDemands{.perSecond = real(0), .area = real(1)});
}

}  // namespace

constinit const QACheck flashesCheck{
    .name = kProfile.name,
    .tag = kProfile.tag,
    .family = QAFamily::programme,
    .question = "Does the picture flash so that it may harm? A screening, no certificate",
    .needs = QANeeds::pictures,
    .saysSomething = true,
    .severity = QASeverity::warn,
    .settings = kSettings,
    .displays = kDisplays,
    .figures = kFigures,
    .make = makeRun<make>,
};

}  // namespace qatester
