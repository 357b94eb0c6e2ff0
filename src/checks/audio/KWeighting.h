#pragma once

#include "foundation/Export.h"
#include "media/OxAudioStream.h"

/// The energy of a block after K-weighting (ITU-R BS.1770: a high shelf, then a high-pass, with the
/// coefficients for 48 kHz at every rate): the sum of the squares of the filtered values, full
/// scale being 1. All values of the block count as one channel. The filters start from rest. 0 for
/// a block of fewer than two values, and for samples that have no values (see `getAudioValue`).
QATESTER_API double runFilter(OxAudioSample block);
