#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "FileReport.h"
#include "tester/QAMeasurements.h"

namespace cli {

/// Keeps the series of a file, column by column.
class SeriesStore final : public QAMeasurementSink {
 public:
  /// A series, and its rows in their order.
  struct Kept {
    const QASeries* address = nullptr;  ///< of the one that is kept here while it is measured
    QASeries series;
    std::vector<int64_t> indexes = {};
    std::vector<std::optional<double>> seconds = {};
    std::vector<std::string> timecodes = {};
    std::vector<double> values = {};  ///< row by row
  };

  void begin(const QASeries& series) override;
  void take(const QASeries& series, const QASeriesRow& row) override;

  /// In the order of the list of checks, then of the file's sound. After the run.
  std::vector<const Kept*> all() const;

 private:
  std::mutex mutex_;
  std::vector<std::unique_ptr<Kept>> kept_;
};

/// The series of a file as comma-separated values: a line for each picture, then for each 0.1 s of
/// each programme of sound, then for each frame and each block of each classic check, with a column
/// for each figure.
std::string seriesText(const SeriesStore& store);

/// The same, compressed as gzip does. The same text gives the same bytes.
std::string compressed(const std::string& text);

}  // namespace cli
