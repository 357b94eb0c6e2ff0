#pragma once

#include "media/OxAudioStream.h"

namespace qatester {

/// As many blocks as are filtered side by side for the price of one.
int blocksAtOnce();

/// Writes `runFilter` of each of `count` blocks, of whatever lengths and formats.
void weighBlocks(const OxAudioSample* const* blocks, int count, double* energies);

/// `runFilter`, one stage and one value at a time.
double weighOneByOne(const OxAudioSample& block);

}  // namespace qatester
