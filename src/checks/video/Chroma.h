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
  ChromaMeasurement(const CheckContext& context, const ChromaLimits& limits)
      : context_(context), limits_(limits) {}

  void begin(float fps, int budget) override;
  Added add(int index, OxVideoFrameYUV& picture) override;
  std::vector<QALimits> limits() const override;

  /// `passed` is false when no pixel was seen.
  QA_ChromaLevel verdict() const;

 private:
  const CheckContext& context_;
  const ChromaLimits limits_;
  QA_ChromaLevel level_;
};

}  // namespace qatester
