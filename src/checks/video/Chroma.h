#pragma once

#include "tester/CheckContext.h"
#include "tester/QAResults.h"
#include "tester/VideoCheck.h"

namespace qatester {

/// Strict limits: a value that equals one is outside.
struct ChromaLimits {
  int rgbMin = 0;
  int rgbMax = 255;
  int yMin = 0;
  int yMax = 255;
};

/// The colour extremes of all pictures, and the "Diamond Display" of each.
class ChromaMeasurement : public VideoMeasurement {
 public:
  explicit ChromaMeasurement(const CheckContext& context) : context_(context) {}

  void begin(float fps, int budget) override;
  Added add(int index, OxVideoFrameYUV& picture) override;

  /// `passed` is false when no pixel was seen.
  QA_ChromaLevel verdict(const ChromaLimits& limits) const;

 private:
  const CheckContext& context_;
  QA_ChromaLevel level_;
};

}  // namespace qatester
