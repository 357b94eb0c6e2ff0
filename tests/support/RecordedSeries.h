#pragma once

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tester/QAMeasurements.h"

namespace qatest {

/// Keeps all series with their rows, in the order in which they began.
class RecordedSeries : public QAMeasurementSink {
 public:
  struct Row {
    int64_t index;
    std::optional<double> seconds;
    std::string timecode;
    std::vector<double> values;
  };
  struct Recorded {
    const QASeries* address;
    QASeries series;
    std::vector<Row> rows = {};
  };

  void begin(const QASeries& series) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    all.push_back({&series, series});
  }
  void take(const QASeries& series, const QASeriesRow& row) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    // The newest: a series that has ended may have left its place to another one.
    const auto recorded = std::find_if(all.rbegin(), all.rend(),
                                       [&](const Recorded& one) { return one.address == &series; });
    if (recorded != all.rend()) {
      recorded->rows.push_back({row.index, row.seconds, row.timecode,
                                std::vector<double>(row.values.begin(), row.values.end())});
    }
  }

  std::vector<Recorded> all;

 private:
  std::mutex mutex_;
};

}  // namespace qatest
