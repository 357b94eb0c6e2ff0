#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "tester/FrameClock.h"
#include "tester/QAMeasurements.h"

namespace qatester {

/// A series that is being measured. As constructed it goes nowhere, and costs nothing.
class SeriesOutput {
 public:
  SeriesOutput() = default;

  bool isWanted() const { return sink_ != nullptr; }

  void add(int64_t index, std::optional<double> seconds, std::span<const double> values) {
    if (sink_ != nullptr) {
      give(index, seconds, values);
    }
  }
  void add(int64_t index, std::optional<double> seconds, std::initializer_list<double> values) {
    add(index, seconds, std::span(values.begin(), values.size()));
  }

 private:
  friend class SeriesMaker;

  void give(int64_t index, std::optional<double> seconds, std::span<const double> values);

  QAMeasurementSink* sink_ = nullptr;
  std::shared_ptr<const QASeries> series_;
  std::shared_ptr<const std::optional<FrameClock>> clock_;
};

/// Begins the series of a check.
class SeriesMaker {
 public:
  /// Of a check whose series nobody wants.
  SeriesMaker() = default;
  /// Null: nobody wants them. The sink must outlive what is made.
  SeriesMaker(QAMeasurementSink* sink, std::string check, const ProgrammeFacts& facts);

  bool isWanted() const { return sink_ != nullptr; }

  SeriesOutput begin(QASeries::Per per, std::vector<QASeriesColumn> columns,
                     std::string part = "") const;
  /// The check's name is added to it.
  SeriesOutput begin(QASeries series) const;

 private:
  QAMeasurementSink* sink_ = nullptr;
  std::string check_;
  std::shared_ptr<const std::optional<FrameClock>> clock_;
};

}  // namespace qatester
