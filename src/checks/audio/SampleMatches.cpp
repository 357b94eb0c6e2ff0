#include "checks/audio/SampleMatches.h"

#include "checks/audio/SampleIntegers.h"
#include "checks/audio/SampleValues.h"

namespace qatester {

namespace {

template <typename T>
Matches countOneByOne(const OxAudioSample& first, const OxAudioSample& second, float tolerance) {
  Matches matches;
  for (int i = 1; i < first.numberOfSamples - 1; ++i) {
    const T value = valueAt<T>(second, i);
    matches.previous += checkSingleSample(valueAt<T>(first, i - 1), value, tolerance);
    matches.same += checkSingleSample(valueAt<T>(first, i), value, tolerance);
    matches.next += checkSingleSample(valueAt<T>(first, i + 1), value, tolerance);
  }
  return matches;
}

}  // namespace

Matches countMatches(const OxAudioSample& first, const OxAudioSample& second, float tolerance) {
  return countMatchesOneByOne(first, second, tolerance);
}

Matches countMatchesOneByOne(const OxAudioSample& first, const OxAudioSample& second,
                             float tolerance) {
  switch (first.sampleFormat) {
    case AV_SAMPLE_FMT_U8:
      // Without tolerance, required: only two zeros match.
      return countOneByOne<unsigned char>(first, second, 0.0F);
    case AV_SAMPLE_FMT_S16:
      return countOneByOne<short>(first, second, tolerance);
    case AV_SAMPLE_FMT_S32:
      return countOneByOne<int>(first, second, tolerance);
    default:
      return {};
  }
}

}  // namespace qatester
