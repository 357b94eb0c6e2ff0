#pragma once

#include <vector>

#include "checks/video/FramePlot.h"
#include "checks/video/GreyPicture.h"
#include "checks/video/TransitionCounter.h"
#include "tester/CheckContext.h"
#include "tester/VideoCheck.h"

namespace qatester {

/// Relates each picture to its two neighbours.
class TransitionMeasurement : public VideoMeasurement {
 public:
  TransitionMeasurement(const CheckContext& context, float percentChange);

  void begin(float fps, int budget) override;
  Added add(int index, const DecodedPicture& picture) override;
  void describe(QACheckOutcome& outcome) const override;

  int verdict() const { return counter_.transitions(); }

 private:
  void plot(int index, int level);

  const CheckContext& context_;
  float percentChange_;
  TransitionCounter counter_;
  GreyPicture before_;  ///< two pictures back
  GreyPicture middle_;  ///< the previous picture
  GreyPicture current_;
  int known_ = 0;              ///< of the two above, how many hold a picture
  std::vector<double> times_;  ///< of the pictures that began a transition, in seconds
  FramePlot plot_;
};

}  // namespace qatester
