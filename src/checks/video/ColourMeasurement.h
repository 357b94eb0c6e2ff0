#pragma once

#include <utility>
#include <vector>

#include "checks/video/ColourLevels.h"
#include "tester/CheckContext.h"
#include "tester/VideoRun.h"

namespace qatester {

/// Whether every channel that a pair of limits names lies strictly between them: a value on a limit
/// is outside, which clients rely on. False for a record that saw no pixel.
bool liesInside(const QA_ChromaLevel& level, const std::vector<QALimits>& limits);
bool liesInside(const QA_GamutLevel& level, const std::vector<QALimits>& limits);

/// Values, limits, state and summary of an outcome: the extremes of all channels, then what does
/// not lie strictly inside the limits.
void describeColours(QACheckOutcome& outcome, const QA_ChromaLevel& record,
                     const std::vector<QALimits>& limits);
void describeColours(QACheckOutcome& outcome, const QA_GamutLevel& record,
                     const std::vector<QALimits>& limits);

/// The extremes of a picture as a series has them.
std::vector<QASeriesColumn> colourColumns(const QA_ChromaLevel&);
std::vector<QASeriesColumn> colourColumns(const QA_GamutLevel&);
std::vector<double> colourFigures(const QA_ChromaLevel& level);
std::vector<double> colourFigures(const QA_GamutLevel& level);

/// What the measurements of colour extremes have in common: the extremes of all pictures so far,
/// and the limits that they are compared with.
template <typename Level>
class ColourMeasurement : public VideoMeasurement {
 public:
  ColourMeasurement(const CheckContext& context, std::vector<QALimits> limits)
      : context_(context), limits_(std::move(limits)) {}

  void begin(float, int) override {
    level_ = {};
    mayPass_ = true;
  }
  void describe(QACheckOutcome& outcome) const override {
    describeColours(outcome, recordOf(*this, outcome.began), limits_);
  }

  std::vector<QASeriesColumn> columns() const override { return colourColumns(Level{}); }
  std::vector<double> figures() const override { return colourFigures(last_); }

  Level verdict() const {
    Level result = level_;
    result.passed = mayPass_ && liesInside(result, limits_);
    return result;
  }

 protected:
  /// The extremes of one picture, by the threads that the options ask for.
  Level measured(OxVideoFrameYUV& picture, Level (*byEightThreads)(OxVideoFrameYUV&)) const {
    if (context_.options.colourThreads == QAColourThreads::eight) {
      return byEightThreads(picture);
    }
    Level level;
    processSubsection(&picture, 0, 0, picture.width, picture.height, &level);
    return level;
  }

  const CheckContext& context_;
  Level level_;
  Level last_;  ///< of the last picture alone
  /// False once something was met that no extremes can make up for.
  bool mayPass_ = true;

 private:
  std::vector<QALimits> limits_;
};

}  // namespace qatester
