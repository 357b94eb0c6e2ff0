#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "checks/sound/SoundMeasurement.h"
#include "tester/SeriesOutput.h"

namespace qatester {

/// The cells of a programme in rows of 0.1 s, for a series.
class SoundRows {
 public:
  /// From the next cell on, which begins a row.
  void begin(SeriesOutput output) {
    output_ = std::move(output);
    cells_ = (cells_ + kCells - 1) / kCells * kCells;
  }
  bool isWanted() const { return output_.isWanted(); }

  /// Counts a cell. True: a row ends with it. A last cell that is not complete is in none.
  bool endsWith(const SoundCell& cell) {
    if (!cell.complete) {
      return false;
    }
    if (cells_ % kCells == 0) {
      startSeconds_ = cell.startSeconds();
    }
    return ++cells_ % kCells == 0;
  }

  /// The row that has ended.
  void add(std::span<const double> values) {
    output_.add(cells_ / kCells - 1, startSeconds_, values);
  }

 private:
  static constexpr int64_t kCells = kCellsPerSecond / 10;

  SeriesOutput output_;
  int64_t cells_ = 0;
  double startSeconds_ = 0.0;
};

/// Of each channel the same columns.
inline std::vector<QASeriesColumn> columnsOf(const SoundProgramme& programme,
                                             std::initializer_list<QASeriesColumn> columns) {
  std::vector<QASeriesColumn> all;
  for (const SoundChannel& channel : programme.channels) {
    for (const QASeriesColumn& column : columns) {
      all.push_back({column.key, column.unit, channel.name});
    }
  }
  return all;
}

/// A series of a programme, which is called `part` beside others.
inline QASeries seriesOf(const SoundProgramme& programme, std::string part,
                         std::vector<QASeriesColumn> columns) {
  QASeries series;
  series.per = QASeries::Per::sound;
  series.part = std::move(part);
  series.columns = std::move(columns);
  const std::vector<SoundChannel>& channels = programme.channels;
  for (std::size_t i = 0; i < channels.size(); ++i) {
    if (channels[i].stream != channels[0].stream || channels[i].channel != static_cast<int>(i)) {
      return series;
    }
  }
  if (!channels.empty()) {
    series.stream = channels[0].stream;
    series.channels = static_cast<int>(channels.size());
  }
  return series;
}

/// Of an amplitude, full scale being 1, for a series: none for digital silence.
inline double decibelsOrNone(double amplitude) {
  return amplitude > 0.0 ? decibelsOf(amplitude) : std::numeric_limits<double>::quiet_NaN();
}

}  // namespace qatester
