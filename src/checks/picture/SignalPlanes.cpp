#include "checks/picture/SignalPlanes.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <iterator>

namespace qatester {

namespace {

/// From here on a picture without a flag is one of high definition.
constexpr int kLinesOfHighDefinition = 720;

/// Of 8-bit codes, in steps.
constexpr int kCode = 1 << (kSignalBits - 8);
constexpr int kBlack = 16 * kCode;
constexpr int kWhite = 235 * kCode;
constexpr int kLowest = 5 * kCode;
constexpr int kHighest = 246 * kCode;
/// Codes from 0 to 1 of luma, and from -0.5 to 0.5 of chroma.
constexpr double kLumaCodes = 219.0;
constexpr double kChromaCodes = 224.0;
/// The same as the codes above, of the nominal range.
constexpr double kTolerance = 0.05;

constexpr double kFractions = 32768.0;

/// The shares of red and blue in luma.
struct Matrix {
  AVColorSpace flag;
  const char* name;
  double red;
  double blue;
};
constexpr Matrix kMatrices[] = {
    {AVCOL_SPC_SMPTE170M, "BT.601", 0.299, 0.114},
    {AVCOL_SPC_BT470BG, "BT.601", 0.299, 0.114},
    {AVCOL_SPC_BT709, "BT.709", 0.2126, 0.0722},
    {AVCOL_SPC_BT2020_NCL, "BT.2020", 0.2627, 0.0593},
    {AVCOL_SPC_SMPTE240M, "SMPTE 240M", 0.212, 0.087},
    {AVCOL_SPC_FCC, "FCC", 0.3, 0.11},
};

int16_t fractionOf(double factor) {
  return static_cast<int16_t>(std::lround(factor * kFractions));
}

void setMatrix(SignalRules& rules, const Matrix& matrix, bool fullRange) {
  const double green = 1.0 - matrix.red - matrix.blue;
  const double scale = fullRange ? 1.0 : kLumaCodes / kChromaCodes;
  const double ofCr = 2.0 * (1.0 - matrix.red) * scale;
  const double ofCb = 2.0 * (1.0 - matrix.blue) * scale;
  rules.redOfCr = fractionOf(ofCr - 1.0);
  rules.blueOfCb = fractionOf(ofCb - 1.0);
  rules.greenLessCr = fractionOf(ofCr * matrix.red / green);
  rules.greenLessCb = fractionOf(ofCb * matrix.blue / green);
}

void setRange(SignalCoding& coding, int bits) {
  if (coding.fullRange) {
    const int most = (1 << bits) - 1;
    coding.black = 0;
    coding.white =
        bits <= kSignalBits ? most << (kSignalBits - bits) : most >> (bits - kSignalBits);
    coding.rules.low = static_cast<int16_t>(std::ceil(-kTolerance * coding.white));
    coding.rules.high = static_cast<int16_t>(std::floor((1.0 + kTolerance) * coding.white));
    return;
  }
  coding.black = kBlack;
  coding.white = kWhite;
  coding.rules.low = kLowest;
  coding.rules.high = kHighest;
}

template <typename T>
T swapped(T code) {
  return sizeof code == 1 ? code : static_cast<T>(code << 8U | code >> 8U);
}

/// Where the samples of a row lie, and what they are when read.
struct RowSource {
  const uint8_t* first;
  std::ptrdiff_t step;
  int shift;
  unsigned mask;
  bool swap;
};

/// Each sample `1 << repeatShift` times.
template <typename T>
void copyRow(const RowSource& row, int count, int repeatShift, uint8_t* to) {
  for (std::ptrdiff_t i = 0; i < count; ++i) {
    T code = 0;
    std::memcpy(&code, row.first + (i >> repeatShift) * row.step, sizeof code);
    code = row.swap ? swapped(code) : code;
    code = static_cast<T>(static_cast<unsigned>(code) >> row.shift & row.mask);
    std::memcpy(to + i * static_cast<std::ptrdiff_t>(sizeof code), &code, sizeof code);
  }
}

constexpr int samplesOf(int pixels, int shift) {
  return (pixels + (1 << shift) - 1) >> shift;
}

bool isEven(const uint8_t* pointer, std::ptrdiff_t stride) {
  return reinterpret_cast<std::uintptr_t>(pointer) % 2 == 0 && stride % 2 == 0;
}

SignalPicture::Kind kindOf(const PixelLayout& layout) {
  switch (layout.kind) {
    case PixelLayout::Kind::rgb:
      return SignalPicture::Kind::rgb;
    case PixelLayout::Kind::difference:
      return SignalPicture::Kind::difference;
    default:
      return SignalPicture::Kind::grey;
  }
}

}  // namespace

bool findCoding(const AVFrame& frame, const PixelLayout& layout, SignalCoding& coding,
                std::string& reason) {
  coding = {};
  const bool isRgb = layout.kind == PixelLayout::Kind::rgb;
  coding.rangeFlagged = layout.fullRange || frame.color_range != AVCOL_RANGE_UNSPECIFIED;
  // RGB formats are those of computers, of full range unless somebody says otherwise.
  coding.fullRange = layout.fullRange || frame.color_range == AVCOL_RANGE_JPEG ||
                     (isRgb && frame.color_range != AVCOL_RANGE_MPEG);
  setRange(coding, layout.bits);
  if (layout.kind != PixelLayout::Kind::difference) {
    coding.matrix = isRgb ? "RGB" : "grey";
    coding.matrixFlagged = isRgb && frame.colorspace == AVCOL_SPC_RGB;
    return true;
  }
  coding.matrixFlagged = frame.colorspace != AVCOL_SPC_UNSPECIFIED;
  const AVColorSpace flag = coding.matrixFlagged                    ? frame.colorspace
                            : frame.height < kLinesOfHighDefinition ? AVCOL_SPC_SMPTE170M
                                                                    : AVCOL_SPC_BT709;
  const auto* known = std::find_if(std::begin(kMatrices), std::end(kMatrices),
                                   [&](const Matrix& matrix) { return matrix.flag == flag; });
  if (known == std::end(kMatrices)) {
    reason = "pictures with the matrix " + matrixName(flag) + " are not read";
    return false;
  }
  coding.matrix = known->name;
  setMatrix(coding.rules, *known, coding.fullRange);
  return true;
}

SignalPicture SignalPlanes::read(const AVFrame& frame, const PixelLayout& layout) {
  SignalPicture picture;
  picture.kind = kindOf(layout);
  picture.width = frame.width;
  picture.height = frame.height;
  picture.bits = layout.bits;
  picture.twoBytes = layout.twoBytes;
  const bool hasChroma = picture.kind == SignalPicture::Kind::difference;
  picture.chromaShiftX = hasChroma ? std::min(layout.chromaShiftX, 1) : 0;
  picture.chromaShiftY = hasChroma ? layout.chromaShiftY : 0;
  const int bytes = layout.twoBytes ? 2 : 1;
  const std::size_t planes = picture.kind == SignalPicture::Kind::grey ? 1 : 3;
  for (std::size_t plane = 0; plane < planes; ++plane) {
    const ComponentPlace& place = layout.components[plane];
    const std::ptrdiff_t stride = frame.linesize[place.plane];
    const uint8_t* first = frame.data[place.plane] + place.offset;
    const int repeatShift = plane > 0 && hasChroma ? layout.chromaShiftX - picture.chromaShiftX : 0;
    const bool inOrder = place.step == bytes && place.shift == 0 && repeatShift == 0;
    if (inOrder && (bytes == 1 || (!layout.bigEndian && isEven(first, stride)))) {
      picture.planes[plane] = first;
      picture.strides[plane] = stride;
      continue;
    }
    const int columns = samplesOf(picture.width, plane > 0 ? picture.chromaShiftX : 0);
    const int rows = samplesOf(picture.height, plane > 0 ? picture.chromaShiftY : 0);
    const auto rowBytes = static_cast<std::size_t>(columns) * static_cast<std::size_t>(bytes);
    copies_[plane].resize(rowBytes * static_cast<std::size_t>(rows));
    for (int y = 0; y < rows; ++y) {
      const RowSource row{.first = first + stride * y,
                          .step = place.step,
                          .shift = place.shift,
                          .mask = (1U << static_cast<unsigned>(layout.bits)) - 1U,
                          .swap = layout.bigEndian};
      uint8_t* to = copies_[plane].data() + rowBytes * static_cast<std::size_t>(y);
      if (layout.twoBytes) {
        copyRow<uint16_t>(row, columns, repeatShift, to);
      } else {
        copyRow<uint8_t>(row, columns, repeatShift, to);
      }
    }
    picture.planes[plane] = copies_[plane].data();
    picture.strides[plane] = static_cast<std::ptrdiff_t>(rowBytes);
  }
  return picture;
}

}  // namespace qatester
