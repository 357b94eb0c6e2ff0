#include "media/LumaPicture.h"

#include <algorithm>
#include <cstring>

#include "media/EightBits.h"
#include "media/FFmpeg.h"
#include "media/FFmpegPixels.h"

namespace qatester {

namespace {

/// A sample in 8 bits.
int eightBitsAt(const uint8_t* at, const PixelLayout& layout, int shift) {
  if (!layout.twoBytes) {
    return *at >> shift;
  }
  const int value = layout.bigEndian ? at[0] << 8 | at[1] : at[1] << 8 | at[0];
  return value >> shift >> (layout.bits - 8) & 0xFF;
}

const uint8_t* rowOf(const AVFrame& frame, const ComponentPlace& component, int y) {
  const auto plane = static_cast<std::size_t>(component.plane);
  return frame.data[plane] + static_cast<std::ptrdiff_t>(frame.linesize[plane]) * y +
         component.offset;
}

/// BT.709's weights of red, green and blue, in parts of 65,536.
constexpr int kRed = 13933;
constexpr int kGreen = 46871;
constexpr int kBlue = 65536 - kRed - kGreen;

void writeRow(const AVFrame& frame, const PixelLayout& layout, int y, uint8_t* target) {
  const ComponentPlace& first = layout.components[0];
  const uint8_t* at = rowOf(frame, first, y);
  if (layout.kind == PixelLayout::Kind::rgb) {
    std::array<const uint8_t*, 3> each{};
    for (std::size_t i = 0; i < each.size(); ++i) {
      each[i] = rowOf(frame, layout.components[i], y);
    }
    for (int x = 0; x < frame.width; ++x) {
      std::array<int, 3> values{};
      for (std::size_t i = 0; i < each.size(); ++i) {
        values[i] = eightBitsAt(each[i], layout, layout.components[i].shift);
        each[i] += layout.components[i].step;
      }
      target[x] = static_cast<uint8_t>(
          (kRed * values[0] + kGreen * values[1] + kBlue * values[2] + 32768) >> 16);
    }
    return;
  }
  const bool isWordByWord = first.step == 2 && layout.twoBytes && !layout.bigEndian &&
                            (reinterpret_cast<std::uintptr_t>(at) & 1U) == 0;
  if (isWordByWord) {
    writeEightBits(reinterpret_cast<const uint16_t*>(at), static_cast<std::size_t>(frame.width),
                   first.shift + layout.bits - 8, target);
    return;
  }
  for (int x = 0; x < frame.width; ++x, at += first.step) {
    target[x] = static_cast<uint8_t>(eightBitsAt(at, layout, first.shift));
  }
}

/// Of samples of a byte side by side, every second one.
uint32_t sumOfBytes(const uint8_t* at, int count) {
  uint32_t sum = 0;
  for (std::ptrdiff_t i = 0; i < count; ++i) {
    sum += at[2 * i];
  }
  return sum;
}

/// The same of samples of two bytes in the machine's order, in 8 bits.
uint32_t sumOfWords(const uint8_t* at, int count, int shift) {
  uint32_t sum = 0;
  for (std::ptrdiff_t i = 0; i < count; ++i) {
    uint16_t value = 0;
    std::memcpy(&value, at + 4 * i, sizeof value);
    sum += static_cast<unsigned>(value) >> shift & 0xFFU;
  }
  return sum;
}

/// The same of samples in any layout.
uint32_t sumOfAny(const uint8_t* at, int count, const ComponentPlace& its,
                  const PixelLayout& layout) {
  uint32_t sum = 0;
  for (std::ptrdiff_t i = 0; i < count; ++i) {
    sum += static_cast<uint32_t>(eightBitsAt(at + 2 * i * its.step, layout, its.shift));
  }
  return sum;
}

/// Of every cell, the mean of the samples of a component.
template <std::size_t kCells>
void writeMeans(const AVFrame& frame, const PixelLayout& layout, std::size_t component, int width,
                int height, std::array<uint8_t, kCells>& means) {
  const ComponentPlace& its = layout.components[component];
  const bool isBytes = !layout.twoBytes && its.step == 1 && its.shift == 0;
  const bool isWords = layout.twoBytes && its.step == 2 && !layout.bigEndian;
  std::array<uint32_t, kCells> sums{};
  std::array<uint32_t, kCells> counts{};
  for (int y = 0; y < height; y += 4) {
    const uint8_t* row = rowOf(frame, its, y);
    // Rows are too far from each other for the processor to see what comes next.
    const uint8_t* next = rowOf(frame, its, std::min(y + 4, height - 1));
    const int cellRow = y * ChromaGrid::kRows / height;
    for (int column = 0; column < ChromaGrid::kColumns; ++column) {
      const int begin = (column * width / ChromaGrid::kColumns + 1) & ~1;
      const int end = (column + 1) * width / ChromaGrid::kColumns;
      const int count = std::max(end - begin + 1, 0) / 2;
      const uint8_t* at = row + static_cast<std::ptrdiff_t>(begin) * its.step;
      __builtin_prefetch(next + static_cast<std::ptrdiff_t>(begin) * its.step);
      const auto cell = static_cast<std::size_t>(cellRow * ChromaGrid::kColumns + column);
      sums[cell] += isBytes   ? sumOfBytes(at, count)
                    : isWords ? sumOfWords(at, count, its.shift + layout.bits - 8)
                              : sumOfAny(at, count, its, layout);
      counts[cell] += static_cast<uint32_t>(count);
    }
  }
  for (std::size_t cell = 0; cell < kCells; ++cell) {
    means[cell] = static_cast<uint8_t>(counts[cell] > 0 ? sums[cell] / counts[cell] : 128);
  }
}

}  // namespace

bool LumaPicture::read(const ProgrammePicture& picture) {
  frame_ = nullptr;
  rows_ = {};
  const AVFrame& frame = *picture.frame;
  layout_ = pixelLayout(frame.format);
  if (layout_.kind == PixelLayout::Kind::unreadable || frame.width <= 0 || frame.height <= 0 ||
      !ffmpeg::hasPlanes(frame)) {
    return false;
  }
  const bool isRgb = layout_.kind == PixelLayout::Kind::rgb;
  isFullRange_ = frame.color_range == AVCOL_RANGE_JPEG || layout_.fullRange || isRgb;
  frame_ = picture.frame;
  rows_.width = frame.width;
  rows_.height = frame.height;
  const ComponentPlace& luma = layout_.components[0];
  const bool isAsItIs = !isRgb && luma.step == 1 && layout_.bits == 8 && luma.shift == 0;
  if (isAsItIs) {
    rows_.pixels = rowOf(frame, luma, 0);
    rows_.stride = frame.linesize[luma.plane];
    return true;
  }
  const auto width = static_cast<std::size_t>(frame.width);
  copy_.resize(width * static_cast<std::size_t>(frame.height));
  for (int y = 0; y < frame.height; ++y) {
    writeRow(frame, layout_, y, copy_.data() + width * static_cast<std::size_t>(y));
  }
  rows_.pixels = copy_.data();
  rows_.stride = frame.width;
  return true;
}

ChromaGrid LumaPicture::chroma() const {
  ChromaGrid grid;
  if (frame_ == nullptr || layout_.kind != PixelLayout::Kind::difference) {
    return grid;
  }
  const auto shifted = [](int size, int shift) { return (size + (1 << shift) - 1) >> shift; };
  const int width = shifted(frame_->width, layout_.chromaShiftX);
  const int height = shifted(frame_->height, layout_.chromaShiftY);
  if (width < 4 * ChromaGrid::kColumns || height < 4 * ChromaGrid::kRows) {
    return grid;
  }
  grid.isThere = true;
  writeMeans(*frame_, layout_, 1, width, height, grid.blue);
  writeMeans(*frame_, layout_, 2, width, height, grid.red);
  return grid;
}

}  // namespace qatester
