#include "tester/SeriesOutput.h"

namespace qatester {

SeriesMaker::SeriesMaker(QAMeasurementSink* sink, std::string check, const ProgrammeFacts& facts)
    : sink_(sink), check_(std::move(check)) {
  if (sink_ != nullptr) {
    clock_ = std::make_shared<const std::optional<FrameClock>>(FrameClock::of(facts));
  }
}

SeriesOutput SeriesMaker::begin(QASeries::Per per, std::vector<QASeriesColumn> columns,
                                std::string part) const {
  QASeries series;
  series.per = per;
  series.part = std::move(part);
  series.columns = std::move(columns);
  return begin(std::move(series));
}

SeriesOutput SeriesMaker::begin(QASeries series) const {
  SeriesOutput output;
  if (sink_ == nullptr) {
    return output;
  }
  series.check = check_;
  output.series_ = std::make_shared<const QASeries>(std::move(series));
  output.clock_ = clock_;
  sink_->begin(*output.series_);
  output.sink_ = sink_;
  return output;
}

void SeriesOutput::give(int64_t index, std::optional<double> seconds,
                        std::span<const double> values) {
  QASeriesRow row{.index = index, .seconds = seconds, .values = values};
  if (seconds.has_value() && clock_->has_value()) {
    row.timecode = (*clock_)->timecodeAt(*seconds);
  }
  sink_->take(*series_, row);
}

}  // namespace qatester
