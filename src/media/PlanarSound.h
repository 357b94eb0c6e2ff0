#pragma once

#include <cstdint>

extern "C" {
#include <libavutil/frame.h>
}

namespace qatester {

/// Values beyond it, 120 dB above full scale, are no sound.
inline constexpr float kLargestSample = 1e6F;

/// Whether the samples of a block are integers.
bool hasIntegerSamples(const AVFrame& block);

/// Of one channel; 8 where the format is not known.
int bytesPerSample(const AVFrame& block);

/// Writes the `block.nb_samples` samples of a channel as fractions of full scale, whatever their
/// format. Integers of up to 24 bits are exact. Samples that are no numbers, infinite or beyond
/// `kLargestSample` become 0; their number is returned. A channel that the block does not have, and
/// a format without values, is all 0.
int64_t writeFractions(const AVFrame& block, int channel, float* fractions);

}  // namespace qatester
