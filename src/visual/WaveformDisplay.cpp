#include "visual/WaveformDisplay.h"

namespace qatester {

UniqueCanvas drawSample(const OxAudioSample&) {
  return nullptr;
}

UniqueCanvas drawSamples(const OxAudioSample&, const OxAudioSample&) {
  return nullptr;
}

UniqueCanvas drawImageData(const OxVideoFrameRGB&) {
  return nullptr;
}

}  // namespace qatester
