#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "checks/CheckList.h"
#include "checks/sound/SoundMeasurement.h"
#include "checks/sound/SoundRows.h"
#include "tester/SettingRows.h"
#include "tester/Spans.h"
#include "tester/Words.h"

namespace qatester {

namespace {

constexpr QASetting kSettings[] = {
    {"TruePeakLimit", "-1.0", QASetting::Kind::real, -100.0, 20.0, "dBTP",
     "true peak that no channel is to exceed"},
};

constexpr CheckProfile kProfile{.name = "true-peak", .tag = "QATruePeak"};
constexpr const char* kFigures[] = {"maxTruePeakDbtp"};

/// Peaks that are further apart are events of their own.
constexpr SpanRule kSpans{.mergeSeconds = 1.0, .most = kMostSoundSpans};

class TruePeakMeasurement final : public SoundMeasurement {
 public:
  explicit TruePeakMeasurement(double limit)
      : limit_(limit), amplitude_(static_cast<float>(amplitudeOf(limit))) {}

  SoundNeeds needs() const override {
    return {.truePeak = true, .truePeakLimit = series().isWanted() ? 0.0F : amplitude_};
  }

  using SoundMeasurement::take;
  void take(const SoundCell& cell) override {
    for (std::size_t i = 0; i < cell.channels.size(); ++i) {
      const float peak = std::max(cell.channels[i].truePeak, cell.channels[i].peak());
      Channel& channel = channels_.at(cell.programme, i).value;
      if (peak > channel.peak) {
        channel.peak = peak;
        channel.seconds = cell.startSeconds();
      }
      if (peak > amplitude_) {
        channel.spans.add({.start = cell.startSeconds(),
                           .end = cell.endSeconds(),
                           .value = static_cast<double>(peak)});
      }
    }
    addRow(cell);
  }

  void describe(QACheckOutcome& outcome) const override {
    std::vector<QAValues> rows;
    double most = 0.0;
    for (const auto* each : channels_.sorted()) {
      const auto& entry = *each;
      const double peak = static_cast<double>(entry.value.peak);
      most = std::max(most, peak);
      QAValues row{{"stream", static_cast<int64_t>(entry.channel.stream), ""},
                   {"channel", entry.channel.name, ""},
                   {"truePeakDbtp", QANothing(), "dBTP"},
                   {"seconds", entry.value.seconds, "s"}};
      if (peak > 0.0) {
        row[2].value = decibelsOf(peak);
      }
      rows.push_back(std::move(row));
      for (const Span& span : entry.value.spans.begun()) {
        QAEvent event = eventAt(entry.channel, *span.startSeconds, *span.endSeconds);
        event.worstSeconds = span.worstSeconds;
        event.value = decibelsOf(span.worst);
        event.limit = limit_;
        event.unit = "dBTP";
        event.what = prefixOf(entry.programme) + entry.channel.label() + " peaks";
        outcome.events.push_back(std::move(event));
      }
    }
    outcome.broken = !outcome.events.empty();
    outcome.limits = {{.of = "truePeakDbtp", .max = limit_, .unit = "dBTP"}};
    outcome.values.push_back({"maxTruePeakDbtp", QANothing(), "dBTP"});
    if (most > 0.0) {
      outcome.values.back().value = decibelsOf(most);
    }
    outcome.values.push_back({"channels", std::move(rows), ""});
    outcome.summary = levelWords(most, " dBTP");
    if (outcome.broken) {
      outcome.summary += ", above " + quantity(limit_, {" dBTP", 1}) + " at " +
                         counted(static_cast<double>(outcome.events.size()), "place");
    }
  }

 private:
  struct Channel {
    float peak = 0.0F;
    double seconds = 0.0;
    Spans spans{kSpans};
  };

  void change(const SoundSection& section) override {
    channels_.change(section);
    rows_.resize(std::max(rows_.size(), section.number + 1));
    Row& row = rows_[section.number];
    row.series.begin(
        series().begin(seriesOf(*section.programme, nameOf(section.number),
                                columnsOf(*section.programme, {{"truePeakDbtp", "dBTP"}}))));
    row.peaks.assign(section.programme->channels.size(), 0.0);
  }

  /// The peaks of the row of a series that is being measured.
  struct Row {
    SoundRows series;
    std::vector<double> peaks;
  };

  void addRow(const SoundCell& cell) {
    Row& row = rows_[cell.programme];
    if (!row.series.isWanted()) {
      return;
    }
    for (std::size_t i = 0; i < cell.channels.size(); ++i) {
      row.peaks[i] = std::max({row.peaks[i], static_cast<double>(cell.channels[i].truePeak),
                               static_cast<double>(cell.channels[i].peak())});
    }
    if (row.series.endsWith(cell)) {
      std::transform(row.peaks.begin(), row.peaks.end(), row.peaks.begin(), decibelsOrNone);
      row.series.add(row.peaks);
      std::fill(row.peaks.begin(), row.peaks.end(), 0.0);
    }
  }

  double limit_;
  float amplitude_;
  PerChannel<Channel> channels_;
  std::vector<Row> rows_;  ///< of each programme
};

std::unique_ptr<ProgrammeCheck<TruePeakMeasurement>> make(const CheckContext& context) {
  return std::make_unique<ProgrammeCheck<TruePeakMeasurement>>(
      context, kProfile, numberSetting(context, kSettings[0]));
}

}  // namespace

constinit const QACheck truePeakCheck{
    .name = kProfile.name,
    .tag = kProfile.tag,
    .family = QAFamily::programme,
    .question = "Does the sound peak between its samples above what a delivery allows?",
    .needs = QANeeds::sound,
    .saysSomething = true,
    .severity = QASeverity::info,
    .settings = kSettings,
    .displays = {},
    .figures = kFigures,
    .make = makeRun<make>,
};

}  // namespace qatester
