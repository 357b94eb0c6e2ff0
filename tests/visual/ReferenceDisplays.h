#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "media/OxVideoStream.h"
#include "visual/Canvases.h"

/// The displays and plots drawn in the plainest way: pixel after pixel, rule after rule, byte after
/// byte.
namespace qatest {

Pixels referenceDiamond(OxVideoFrameYUV frame);
Pixels referenceCIE1931(OxVideoFrameYUV frame);
Pixels referenceLinearGamut(OxVideoFrameYUV frame);
Pixels referenceColourSpace(std::pair<int, int> red, std::pair<int, int> green,
                            std::pair<int, int> blue, int level);

/// Where the chromaticity display has a colour, and its bytes; `place` is outside of 256 x 256 when
/// it is left out.
struct ReferencePoint {
  Place place;
  Bgr colour;
};
ReferencePoint referenceCIE1931Point(float y, float u, float v);

/// The row in which a value's bar ends.
int referenceRow(uint8_t value);
int referenceRow(int16_t value);
int referenceRow(int32_t value);

template <typename Value>
std::vector<int> referenceRows(const std::vector<Value>& values) {
  std::vector<int> rows;
  for (const Value value : values) {
    rows.push_back(referenceRow(value));
  }
  return rows;
}

/// A green bar to each of these rows, on a canvas of `width` columns.
Pixels referenceSample(int width, const std::vector<int>& rows);

/// Green and red bars under a legend.
Pixels referenceSamples(int width, const std::vector<int>& first, const std::vector<int>& second);

/// A picture of `width` x `height` as one run of bytes.
Pixels referenceImageData(int width, int height, const std::vector<uint8_t>& bytes);

}  // namespace qatest
