#include "visual/WaveformDisplay.h"

#include <opencv2/core/core_c.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "media/SampleValues.h"

namespace qatester {

namespace {

constexpr int kZeroLine = 127;

constexpr Colour kYellow{0, 255, 255};

// The row in which a value's bar ends. Truncated, not rounded: what is less than a row off the zero
// line lies on it.
int rowOf(uint8_t value) {
  return kZeroLine - getIntValue(value);
}
int rowOf(int16_t value) {
  return kZeroLine - static_cast<int8_t>(value / 32767.0 * 127.0);
}
int rowOf(int32_t value) {
  return kZeroLine - static_cast<int8_t>(value / 2147483647.0 * 127.0);
}

void addColour(IplImage& canvas, int x, Stretch rows, Colour colour) {
  uint8_t* top = reinterpret_cast<uint8_t*>(canvas.imageData) + std::ptrdiff_t{3} * x;
  const std::ptrdiff_t rowBytes = canvas.widthStep;
  const int lastRow = std::min(rows.last, canvas.height - 1);
  for (int y = std::max(rows.first, 0); y <= lastRow; ++y) {
    uint8_t* pixel = top + rowBytes * y;
    pixel[0] = static_cast<uint8_t>(pixel[0] + colour.blue);
    pixel[1] = static_cast<uint8_t>(pixel[1] + colour.green);
    pixel[2] = static_cast<uint8_t>(pixel[2] + colour.red);
  }
}

/// Calls `draw` with a value of the type that samples of the format have, if they have values.
template <typename Draw>
void withValueOf(int sampleFormat, Draw draw) {
  switch (sampleFormat) {
    case AV_SAMPLE_FMT_U8:
      return draw(uint8_t{});
    case AV_SAMPLE_FMT_S16:
      return draw(int16_t{});
    case AV_SAMPLE_FMT_S32:
      return draw(int32_t{});
    default:
      return;
  }
}

/// Draws the first `count` values of a buffer, wherever in memory it lies.
template <typename Value>
void drawValues(IplImage& canvas, const uint8_t* buffer, int64_t count, Colour colour) {
  for (int x = 0; x < count; ++x) {
    Value value;
    std::memcpy(&value, buffer + x * static_cast<std::ptrdiff_t>(sizeof value), sizeof value);
    drawPoint(canvas, x, rowOf(value), colour);
  }
}

/// A canvas with a column a value; null without values.
UniqueCanvas canvasFor(const OxAudioSample& block, CanvasMaker make) {
  return block.numberOfSamples != 0 ? make(block.numberOfSamples, kPlotRows) : nullptr;
}

void writeLegend(IplImage& canvas) {
  writeText(canvas, "Channel 1", 20, 20, kGreen);
  writeText(canvas, "Channel 2", 20, 40, kRed);
  writeText(canvas, "Overlap", 20, 60, kYellow);
}

}  // namespace

void drawPoint(IplImage& canvas, int x, int y, Colour colour) {
  if (x < 0 || x >= canvas.width) {
    return;
  }
  // One of the two is empty, unless the bar ends where it begins.
  addColour(canvas, x, Stretch{y, kZeroLine}, colour);
  addColour(canvas, x, Stretch{kZeroLine, y}, colour);
}

UniqueCanvas drawSample(const OxAudioSample& block, CanvasMaker make) {
  UniqueCanvas canvas = canvasFor(block, make);
  if (canvas == nullptr || block.buffer == nullptr) {
    return nullptr;
  }
  withValueOf(block.sampleFormat, [&]<typename Value>(Value) {
    drawValues<Value>(*canvas, block.buffer, canvas->width, kGreen);
  });
  return canvas;
}

UniqueCanvas drawSamples(const OxAudioSample& first, const OxAudioSample& second,
                         CanvasMaker make) {
  UniqueCanvas canvas = canvasFor(first, make);
  if (canvas == nullptr || first.buffer == nullptr || second.buffer == nullptr) {
    return nullptr;
  }
  const int64_t secondBytes = int64_t{second.numberOfSamples} * second.bytesPerSample;
  withValueOf(first.sampleFormat, [&]<typename Value>(Value) {
    constexpr auto kBytes = static_cast<int64_t>(sizeof(Value));
    drawValues<Value>(*canvas, first.buffer, canvas->width, kGreen);
    drawValues<Value>(*canvas, second.buffer,
                      std::min<int64_t>(canvas->width, secondBytes / kBytes), kRed);
  });
  writeLegend(*canvas);
  return canvas;
}

UniqueCanvas drawImageData(const OxVideoFrameRGB& frame, CanvasMaker make) {
  const bool any = frame.width != 0 && frame.height != 0;
  UniqueCanvas canvas = any ? make(frame.width, frame.height) : nullptr;
  if (canvas == nullptr || frame.buffer == nullptr || !frame.valid) {
    return nullptr;
  }
  // In one run: the rows of a canvas may be longer, and clients know the sheared picture.
  const auto pixels =
      static_cast<std::size_t>(frame.width) * static_cast<std::size_t>(frame.height);
  std::memcpy(canvas->imageData, frame.buffer, 3 * pixels);
  return canvas;
}

}  // namespace qatester
