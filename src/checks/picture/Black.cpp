#include <algorithm>
#include <memory>
#include <string>
#include <utility>

#include "checks/CheckList.h"
#include "checks/picture/PictureMeasurement.h"
#include "tester/SettingRows.h"
#include "tester/Spans.h"
#include "tester/Words.h"

namespace qatester {

namespace {

constexpr QASetting kSettings[] = {
    {"BlackSeconds", "2.0", QASetting::Kind::real, 0.0, QASetting::kNoLimit, "s",
     "black that is shorter is a pause"},
    {"BlackLuma", "0.1", QASetting::Kind::real, 0.0, 1.0, "",
     "how far above black a pixel may be, as a share of the range"},
    {"BlackShare", "0.98", QASetting::Kind::real, 0.5, 1.0, "",
     "share of the pixels that must be black"},
    {"BlackEdgeSeconds", "10.0", QASetting::Kind::real, 0.0, QASetting::kNoLimit, "s",
     "black up to so long at the start or the end breaks nothing"},
};

constexpr CheckProfile kProfile{.name = "black", .tag = "QABlack"};

constexpr const char* kDisplays[] = {"Black"};
constexpr const char* kFigures[] = {"longestSeconds"};

struct BlackDemands {
  double seconds = 2.0;
  double luma = 0.1;
  double share = 0.98;
  double edgeSeconds = 10.0;
};

class BlackMeasurement final : public PictureMeasurement {
 public:
  explicit BlackMeasurement(const BlackDemands& demands)
      : demands_(demands), spans_({.enter = demands.share, .stay = demands.share}) {}

  PictureNeeds needs() const override {
    return {.blackLuma = demands_.luma, .blackShare = demands_.share};
  }

  using PictureMeasurement::take;
  void take(const PictureRecord& record) override {
    spans_.add({.start = times().seconds(record.number),
                .end = times().seconds(record.number + 1),
                .value = record.blackShare,
                .frame = record.number});
    luma_.add(record.number, times().seconds(record.number),
              {record.perPixel(record.numbers.lumaSum)});
  }

  const char* display() const override { return kDisplays[0]; }
  void describe(QACheckOutcome& outcome) const override {
    constexpr double kRounding = 1e-6;
    double longest = 0.0;
    int64_t breaking = 0;
    for (const Span& span : spans_.begun()) {
      const int64_t first = *span.startFrame;
      const int64_t end = *span.endFrame;
      const double length = times().seconds(end) - times().seconds(first);
      if (length + kRounding < demands_.seconds) {
        continue;
      }
      const bool isHead = first == 0;
      const bool isTail = end == times().count();
      const bool isThroughout = isHead && isTail;
      const bool isEdge = (isHead || isTail) && !isThroughout && length <= demands_.edgeSeconds;
      QAEvent event = eventOf(first, end,
                              isThroughout ? "black throughout"
                              : !isEdge    ? "black"
                              : isHead     ? "leader"
                                           : "tail");
      event.breaks = !isEdge;
      if (event.breaks) {
        ++breaking;
        longest = std::max(longest, length);
      }
      event.value = length;
      event.limit = demands_.seconds;
      event.unit.assign(1, 's');
      outcome.events.push_back(std::move(event));
    }
    outcome.broken = breaking > 0;
    outcome.values = {{"spans", static_cast<int64_t>(outcome.events.size()), ""},
                      {"longestSeconds", longest, "s"}};
    outcome.limits = {{.of = "longestSeconds", .max = demands_.seconds, .unit = "s"}};
    if (breaking > 0) {
      outcome.summary = counted(static_cast<double>(breaking), "span") + " of black, longest " +
                        quantity(longest, kSeconds);
    } else if (!outcome.events.empty()) {
      outcome.summary = "none but at the edges";
    } else {
      outcome.summary = "none of ";
      outcome.summary += plain(demands_.seconds);
      outcome.summary += " s";
    }
  }

 private:
  void beginPictures(const ProgrammeFacts&) override {
    luma_ = series().begin(QASeries::Per::picture, {{"meanLuma", ""}});
  }

  BlackDemands demands_;
  Spans spans_;
  SeriesOutput luma_;
};

std::unique_ptr<ProgrammeCheck<BlackMeasurement>> make(const CheckContext& context) {
  const auto real = [&](std::size_t row) { return numberSetting(context, kSettings[row]); };
  return std::make_unique<ProgrammeCheck<BlackMeasurement>>(
      context, kProfile,
      BlackDemands{.seconds = real(0), .luma = real(1), .share = real(2), .edgeSeconds = real(3)});
}

}  // namespace

constinit const QACheck blackCheck{
    .name = kProfile.name,
    .tag = kProfile.tag,
    .family = QAFamily::programme,
    .question = "Is the picture black for long?",
    .needs = QANeeds::pictures,
    .saysSomething = true,
    .severity = QASeverity::warn,
    .settings = kSettings,
    .displays = kDisplays,
    .figures = kFigures,
    .make = makeRun<make>,
};

}  // namespace qatester
