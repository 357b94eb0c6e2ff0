#include "checks/audio/LagSearch.h"

#include <algorithm>

#include "checks/audio/SampleIntegers.h"
#include "foundation/Conversions.h"

namespace qatester {

namespace {

/// 256 times the difference as a fraction of full scale, added as clients know it: in double
/// precision, truncated with every step.
int addScaled(int sum, int32_t a, int32_t b, double unit) {
  const int32_t difference = wrappedMagnitude(wrappedDifference(a, b));
  return truncateTo<int>(sum + difference * unit * 256.0);
}

int addDifference(int format, int sum, int32_t a, int32_t b) {
  switch (format) {
    case AV_SAMPLE_FMT_U8:
      return sum + wrappedMagnitude(a - b);
    case AV_SAMPLE_FMT_S16:
    case AV_SAMPLE_FMT_S32:
      return addScaled(sum, a, b, static_cast<double>(unitOfFullScale(format)));
    default:
      return sum;
  }
}

}  // namespace

BestLag searchLags(const OxAudioSample& first, const OxAudioSample& second, BestLag before) {
  return searchLagsOneByOne(first, second, before);
}

BestLag searchLagsOneByOne(const OxAudioSample& first, const OxAudioSample& second,
                           BestLag before) {
  const int format = first.sampleFormat;
  const int count = first.numberOfSamples;
  OxAudioSample other = second;
  other.sampleFormat = format;
  BestLag best = before;
  for (int lag = 0; lag < count / 2; ++lag) {
    const int pairs = count - lag;
    int forward = 0;
    int backward = 0;
    for (int i = 0; i < pairs; ++i) {
      forward = addDifference(format, forward, integerAt(first, i + lag), integerAt(other, i));
      backward = addDifference(format, backward, integerAt(first, i), integerAt(other, i + lag));
    }
    const int64_t score = std::min(forward / pairs, backward / pairs);
    if (score < best.score) {
      best = {score, lag};
    }
    if (lag == 0) {
      best.score = count;
    }
  }
  return best;
}

}  // namespace qatester
