#include "checks/audio/KWeightedEnergy.h"

#include "checks/audio/KWeighting.h"
#include "checks/audio/SampleIntegers.h"

namespace qatester {

namespace {

struct Biquad {
  double b0, b1, b2;
  double a1, a2;
};

constexpr Biquad kShelf{1.53512485958697, -2.69169618940638, 1.19839281085285,  //
                        -1.69065929318241, 0.73248077421585};
constexpr Biquad kHighPass{1.0, -2.0, 1.0,  //
                           -1.99004745483398, 0.99007225036621};

}  // namespace

int blocksAtOnce() {
  return 1;
}

void weighBlocks(const OxAudioSample* const* blocks, int count, double* energies) {
  for (int i = 0; i < count; ++i) {
    energies[i] = weighOneByOne(*blocks[i]);
  }
}

double weighOneByOne(const OxAudioSample& block) {
  if (block.numberOfSamples < 2) {
    return 0.0;
  }
  const float unit = unitOfFullScale(block.sampleFormat);
  long double energy = 0.0L;
  double x1 = 0.0;
  double x2 = 0.0;
  double y1 = 0.0;
  double y2 = 0.0;
  double z1 = 0.0;
  double z2 = 0.0;
  for (int i = 0; i < block.numberOfSamples; ++i) {
    const double x = static_cast<float>(integerAt(block, i)) * unit;
    // From left to right: another order gives other last bits.
    const double y =
        kShelf.b0 * x + kShelf.b1 * x1 + kShelf.b2 * x2 - kShelf.a1 * y1 - kShelf.a2 * y2;
    const double z = y - 2.0 * y1 + y2 - kHighPass.a1 * z1 - kHighPass.a2 * z2;
    energy += static_cast<long double>(z * z);
    x2 = x1;
    x1 = x;
    y2 = y1;
    y1 = y;
    z2 = z1;
    z1 = z;
  }
  return static_cast<double>(energy);
}

}  // namespace qatester

double runFilter(OxAudioSample block) {
  double energy = 0.0;
  const OxAudioSample* const blocks[] = {&block};
  qatester::weighBlocks(blocks, 1, &energy);
  return energy;
}
