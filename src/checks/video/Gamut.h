#pragma once

#include "tester/CheckContext.h"
#include "tester/QAResults.h"
#include "tester/VideoCheck.h"

namespace qatester {

/// Strict limits of all three channels: a value that equals one is outside.
struct GamutLimits {
  int min = 0;
  int max = 255;
};

/// The R, G and B extremes of all pictures, and the "CIE1931 Display" and "YCbCr Display" of each.
/// The first picture that cannot be read ends the check, which has then failed.
class GamutMeasurement : public VideoMeasurement {
 public:
  GamutMeasurement(const CheckContext& context, const GamutLimits& limits)
      : context_(context), limits_(limits) {}

  void begin(float fps, int budget) override;
  Added add(int index, OxVideoFrameYUV& picture) override;
  std::vector<QALimits> limits() const override;

  /// `passed` is false when no pixel was seen.
  QA_GamutLevel verdict() const;

 private:
  const CheckContext& context_;
  const GamutLimits limits_;
  QA_GamutLevel level_;
  bool unsupported_ = false;
};

}  // namespace qatester
