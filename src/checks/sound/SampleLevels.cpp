#include <algorithm>
#include <cmath>
#include <memory>
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
    {"DcOffset", "0.5", QASetting::Kind::real, 0.0, 100.0, "%",
     "mean of a channel, of full scale, from which on it is off zero"},
};

constexpr CheckProfile kProfile{.name = "sample-levels", .tag = "QASampleLevels"};

/// The mean of a shorter programme says nothing.
constexpr double kLeastSeconds = 10.0;
constexpr double kPercent = 100.0;

class SampleLevelsMeasurement final : public SoundMeasurement {
 public:
  explicit SampleLevelsMeasurement(double offset) : offset_(offset) {}

  using SoundMeasurement::take;
  void take(const SoundCell& cell) override {
    for (std::size_t i = 0; i < cell.channels.size(); ++i) {
      const ChannelCell& its = cell.channels[i];
      Channel& channel = channels_.at(cell.programme, i).value;
      channel.samples += cell.samples;
      channel.sum += its.sum;
      channel.squares += its.squares;
      if (its.peak() > channel.peak) {
        channel.peak = its.peak();
        channel.seconds = cell.startSeconds();
      }
    }
    addRow(cell);
  }

  void describe(QACheckOutcome& outcome) const override {
    std::vector<QAValues> rows;
    double peak = 0.0;
    double loudest = 0.0;
    double furthest = 0.0;
    for (const auto* each : channels_.sorted()) {
      const auto& entry = *each;
      const Channel& channel = entry.value;
      const double samples = static_cast<double>(std::max<int64_t>(channel.samples, 1));
      const double rms = std::sqrt(channel.squares / samples);
      const double mean = kPercent * channel.sum / samples;
      peak = std::max(peak, static_cast<double>(channel.peak));
      loudest = std::max(loudest, rms);
      furthest = std::abs(mean) > std::abs(furthest) ? mean : furthest;
      rows.push_back({{"stream", static_cast<int64_t>(entry.channel.stream), ""},
                      {"channel", entry.channel.name, ""},
                      decibels("peakDbfs", static_cast<double>(channel.peak)),
                      {"peakSeconds", channel.seconds, "s"},
                      decibels("rmsDbfs", rms),
                      {"dcPercent", mean, "%"}});
      const SoundEnd& end = ends()[entry.programme];
      if (end.endSeconds - end.startSeconds >= kLeastSeconds && std::abs(mean) >= offset_) {
        QAEvent event = eventAt(entry.channel, end.startSeconds, end.endSeconds);
        event.value = mean;
        event.limit = mean < 0.0 ? -offset_ : offset_;
        event.unit = "%";
        event.what = prefixOf(entry.programme) + entry.channel.label() + " is off zero";
        outcome.events.push_back(std::move(event));
      }
    }
    outcome.broken = !outcome.events.empty();
    outcome.limits = {{.of = "dcPercent", .min = -offset_, .max = offset_, .unit = "%"}};
    outcome.values = {decibels("peakDbfs", peak), {"channels", std::move(rows), ""}};
    outcome.summary = "silent";
    if (peak > 0.0) {
      outcome.summary = "peak " + levelWords(peak, " dBFS");
      addWords(outcome.summary, ", RMS ", levelWords(loudest, " dBFS"));
    }
    if (outcome.broken) {
      outcome.summary += ", DC offset " + quantity(furthest, {" %", 2});
    }
  }

 private:
  struct Channel {
    int64_t samples = 0;
    double sum = 0.0;
    double squares = 0.0;
    float peak = 0.0F;
    double seconds = 0.0;
  };

  static QAValue decibels(const char* key, double amplitude) {
    QAValue value{key, QANothing(), "dBFS"};
    if (amplitude > 0.0) {
      value.value = decibelsOf(amplitude);
    }
    return value;
  }

  void change(const SoundSection& section) override {
    channels_.change(section);
    rows_.resize(std::max(rows_.size(), section.number + 1));
    Row& row = rows_[section.number];
    row.series.begin(series().begin(
        seriesOf(*section.programme, nameOf(section.number),
                 columnsOf(*section.programme, {{"peakDbfs", "dBFS"}, {"rmsDbfs", "dBFS"}}))));
    row.channels.assign(section.programme->channels.size(), {});
  }

  /// The levels of the row of a series that is being measured.
  struct Row {
    struct Level {
      double peak = 0.0;
      double squares = 0.0;
    };
    SoundRows series;
    std::vector<Level> channels;
    double samples = 0.0;
  };

  void addRow(const SoundCell& cell) {
    Row& row = rows_[cell.programme];
    if (!row.series.isWanted()) {
      return;
    }
    row.samples += cell.samples;
    for (std::size_t i = 0; i < cell.channels.size(); ++i) {
      const ChannelCell& its = cell.channels[i];
      row.channels[i].peak = std::max(row.channels[i].peak, static_cast<double>(its.peak()));
      row.channels[i].squares += its.squares;
    }
    if (row.series.endsWith(cell)) {
      std::vector<double> values;
      for (Row::Level& level : row.channels) {
        values.push_back(decibelsOrNone(level.peak));
        values.push_back(decibelsOrNone(std::sqrt(level.squares / row.samples)));
        level = {};
      }
      row.samples = 0.0;
      row.series.add(values);
    }
  }

  double offset_;
  PerChannel<Channel> channels_;
  std::vector<Row> rows_;  ///< of each programme
};

std::unique_ptr<ProgrammeCheck<SampleLevelsMeasurement>> make(const CheckContext& context) {
  return std::make_unique<ProgrammeCheck<SampleLevelsMeasurement>>(
      context, kProfile, numberSetting(context, kSettings[0]));
}

}  // namespace

constinit const QACheck sampleLevelsCheck{
    .name = kProfile.name,
    .tag = kProfile.tag,
    .family = QAFamily::programme,
    .question = "What are the peak, the RMS level and the DC offset of each channel?",
    .needs = QANeeds::sound,
    .saysSomething = true,
    .severity = QASeverity::info,
    .settings = kSettings,
    .displays = {},
    .make = makeRun<make>,
};

}  // namespace qatester
