#include "checks/audio/SampleMagnitudes.h"

#include <algorithm>

#include "checks/audio/SampleIntegers.h"

namespace qatester {

Magnitudes measureMagnitudes(const OxAudioSample& block) {
  return measureMagnitudesOneByOne(block);
}

Magnitudes measureMagnitudesOneByOne(const OxAudioSample& block) {
  Magnitudes magnitudes;
  for (int i = 0; i < block.numberOfSamples; ++i) {
    const auto magnitude = static_cast<uint32_t>(wrappedMagnitude(integerAt(block, i)));
    magnitudes.largest = std::max(magnitudes.largest, magnitude);
    if (magnitude != 0) {
      magnitudes.smallest = std::min(magnitudes.smallest, magnitude);
    }
  }
  return magnitudes;
}

}  // namespace qatester
