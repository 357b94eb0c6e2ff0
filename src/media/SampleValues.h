#pragma once

#include "foundation/Export.h"
#include "media/OxAudioStream.h"

extern "C" {
#include <libavutil/samplefmt.h>
}

// The values of audio samples as the audio checks and plots see them. Unsigned 8-bit, signed 16-bit
// and signed 32-bit samples are understood; a sample of any other format reads as 0.

/// The dynamic range in dB of an ideal quantiser of N bits, 6.0206 N + 1.7609: 43.9052 for 8-bit
/// samples, of which `getIntValue` leaves a sign and N = 7 bits, 98.0906 and 194.4202 for 16- and
/// 32-bit samples, 0 for other formats.
QATESTER_API float getDynamicRange(AVSampleFormat format);

/// An 8-bit sample as a signed value from -127 to 127: bytes below 128 stand for themselves, the
/// others for themselves less 255. Measurements made with this mapping exist: it stays.
QATESTER_API int getIntValue(unsigned char value);

/// The byte of a signed value from -127 to 127: the inverse of `getIntValue`, but that 0 always
/// gives byte 0. Values outside wrap.
QATESTER_API int getUintValue(int value);

/// The magnitude of the value at `index` of a block, in code values. The magnitude of a 32-bit
/// -2147483648 does not fit 32 bits and stays negative. The block, which stays the caller's, must
/// have that value; one without a buffer reads as 0.
QATESTER_API float getRealAudioValue(OxAudioSample sample, int index);

/// The value at `index` of a block as a fraction of full scale, -1 to just below 1, computed in
/// single precision. The block as above.
QATESTER_API double getAudioValue(OxAudioSample sample, int index);

/// Whether two samples are equal within less than `tolerance` times the number of values that their
/// type has, computed in single precision; two zeros always are. The comparison is strict: with a
/// tolerance of 0 only two zeros are equal. For `unsigned char` (compared as stored), `short` and
/// `int`.
template <typename T>
bool checkSingleSample(T a, T b, float tolerance);

/// For 8-bit samples.
extern template QATESTER_API bool checkSingleSample(unsigned char a, unsigned char b,
                                                    float tolerance);
/// For 16-bit samples.
extern template QATESTER_API bool checkSingleSample(short a, short b, float tolerance);
/// For 32-bit samples.
extern template QATESTER_API bool checkSingleSample(int a, int b, float tolerance);
