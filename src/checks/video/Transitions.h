#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "checks/video/TransitionCounter.h"
#include "media/GreyPicture.h"
#include "tester/CheckContext.h"
#include "tester/VideoRun.h"
#include "visual/FramePlot.h"

namespace qatester {

/// Relates each picture to its two neighbours.
class TransitionMeasurement : public VideoMeasurement {
 public:
  TransitionMeasurement(const CheckContext& context, float percentChange);

  void begin(float fps, int budget) override;
  Taken add(int index, const DecodedPicture& picture) override;
  std::vector<QASeriesColumn> columns() const override { return {{"level", ""}}; }
  std::vector<double> figures() const override;
  void describe(QACheckOutcome& outcome) const override;

  int verdict() const { return counter_.transitions(); }
  static int notRun() { return -1; }

 private:
  void plot(int index, int level);

  const CheckContext& context_;
  float percentChange_;
  TransitionCounter counter_;
  std::shared_ptr<const GreyPicture> before_;  ///< two pictures back; null: none to relate to
  std::shared_ptr<const GreyPicture> middle_;  ///< the previous picture; null likewise
  std::optional<int> level_;                   ///< of the last picture; empty: it has none
  std::vector<QAEvent> events_;                ///< the transitions
  FramePlot plot_;
};

}  // namespace qatester
