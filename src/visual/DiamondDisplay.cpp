#include <opencv2/imgproc/imgproc_c.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "media/YUVConversion.h"
#include "visual/ColourDisplays.h"
#include "visual/PixelSpans.h"

namespace qatester {

namespace {

constexpr int kWidth = 512;
constexpr int kHeight = 256;

// Where code value 0 of each channel lies: red counts to the left, blue to the right, green up.
constexpr int kRedZero = 192;
constexpr int kBlueZero = 320;
constexpr int kGreenZero = 192;

// The right square reaches from `kBlueZero` to the right, the left one from `kRedZero` to the left.
constexpr int kFirstColumnOfRight = 256;

constexpr int kScaledWhite = 128;

/// What has been plotted on a place. A legal colour at a place is always the same one, so this is
/// all there is to know until the canvas is painted.
enum Plotted : uint8_t {
  kNothing = 0,
  kLegal = 1,        ///< the channels that the square shows; the third one is left alone
  kWhiteBefore = 2,  ///< alone: the place is white; with kLegal: white came before the legal colour
};

/// Places count along the rows. A point may lie below the last row, and in the column behind the
/// last one, which is the first of the next row.
constexpr std::size_t kPlaces = (kHeight + 1) * kWidth + 1;

constexpr bool isLegal(int channel) {
  return static_cast<unsigned>(channel) <= 255U;
}

constexpr int scaled(int channel) {
  return static_cast<int>(static_cast<double>(static_cast<float>(channel)) / 255.0 * kScaledWhite);
}

constexpr int columnOfRed(int red) {
  int r = scaled(red);
  if (kRedZero - r > kWidth) {
    r = 320;
  }
  if (kRedZero - r < 0) {
    r = kRedZero;
  }
  return kRedZero - r;
}

constexpr int columnOfBlue(int blue) {
  const int column = scaled(blue) + kBlueZero;
  return column > kWidth ? kWidth - 1 : column;  // one past the right edge stays: required
}

constexpr int rowOfGreen(int green) {
  int g = scaled(green);
  if (kGreenZero - g > kHeight) {
    g = 64;
  }
  if (kGreenZero - g < 0) {
    g = kGreenZero;
  }
  return kGreenZero - g;
}

/// For each value that a channel can have, what it adds to the number of a place; illegal values
/// have `kIllegal` on top, which is above all places.
class PlaceTables {
 public:
  static constexpr uint32_t kIllegal = 1U << 20;

  constexpr PlaceTables() {
    for (int value = kLowest; value <= kHighest; ++value) {
      const uint32_t illegal = isLegal(value) ? 0 : kIllegal;
      red[at(value)] = static_cast<uint32_t>(columnOfRed(value)) + illegal;
      green[at(value)] = static_cast<uint32_t>(rowOfGreen(value) * kWidth) + illegal;
      blue[at(value)] = static_cast<uint32_t>(columnOfBlue(value)) + illegal;
    }
  }

  static constexpr std::size_t at(int value) { return static_cast<std::size_t>(value - kLowest); }

  // The conversion of 8-bit codes stays inside these.
  static constexpr int kLowest = -300;
  static constexpr int kHighest = 600;

  std::array<uint32_t, kHighest - kLowest + 1> red{};
  std::array<uint32_t, kHighest - kLowest + 1> green{};
  std::array<uint32_t, kHighest - kLowest + 1> blue{};
};

constexpr PlaceTables kTables;

/// The points of a picture, in the order of its pixels.
class Points {
 public:
  Points() : places_(kPlaces, kNothing) {}

  void add(const PixelSpan& span) {
    const auto count = static_cast<std::size_t>(span.count);
    convert(span, count);
    for (std::size_t i = 0; i < count; ++i) {
      const uint32_t row = kTables.green[PlaceTables::at(green_[i])];
      plot(row + kTables.red[PlaceTables::at(red_[i])]);
      plot(row + kTables.blue[PlaceTables::at(blue_[i])]);
    }
  }

  void paintOn(IplImage& canvas) const {
    for (int y = 0; y < kHeight; ++y) {
      const uint8_t* row = places_.data() + static_cast<std::size_t>(y * kWidth);
      for (int x = 0; x < kWidth; ++x) {
        if (row[x] != kNothing) {
          paint(canvas, x, y, colourOf(row[x], x, kGreenZero - y));
        }
      }
    }
  }

 private:
  /// `YUVHelper::YUVtoRGB601` of all pixels at once.
  void convert(const PixelSpan& span, std::size_t count) {
    constexpr YUVConversion conversion(kBt601Kb, kBt601Kr);
    for (std::size_t i = 0; i < count; ++i) {
      const float luma = YUVConversion::luma(span.y[i]);
      red_[i] = static_cast<int>(luma + conversion.redOfCr(span.v[i]));
      green_[i] = static_cast<int>(luma + conversion.greenOfCb(span.u[i]) +
                                   conversion.greenOfCr(span.v[i]));
      blue_[i] = static_cast<int>(luma + conversion.blueOfCb(span.u[i]));
    }
  }

  void plot(uint32_t sum) {
    uint8_t& place = places_[sum % PlaceTables::kIllegal];
    const auto legal = static_cast<uint8_t>(place | kLegal);
    place = sum >= PlaceTables::kIllegal ? static_cast<uint8_t>(kWhiteBefore) : legal;
  }

  static Colour colourOf(uint8_t plotted, int x, int g) {
    if (plotted == kWhiteBefore) {
      return kWhite;
    }
    const auto shade = [](int level) {
      return static_cast<uint8_t>(
          static_cast<int>(static_cast<double>(static_cast<float>(level)) * 0.0078125 * 255.0));
    };
    const uint8_t leftAlone = (plotted & kWhiteBefore) != 0 ? 255 : 0;
    return x < kFirstColumnOfRight ? Colour{leftAlone, shade(g), shade(kRedZero - x)}
                                   : Colour{shade(x - kBlueZero), shade(g), leftAlone};
  }

  std::vector<uint8_t> places_;
  std::array<int, PixelSpan::kLongest> red_;
  std::array<int, PixelSpan::kLongest> green_;
  std::array<int, PixelSpan::kLongest> blue_;
};

void paintGraticule(IplImage& canvas) {
  constexpr Colour kInner = grey(100);
  for (const int x : {64, 192, 320, 448}) {
    paint(canvas, x, Stretch{65, 192}, kInner);
  }
  constexpr Colour kOuter = grey(50);
  for (const int y : {64, 192}) {
    paint(canvas, Stretch{65, 192}, y, kInner);
    paint(canvas, Stretch{320, 447}, y, kInner);
  }
  for (const int x : {58, 198, 314, 454}) {
    paint(canvas, x, Stretch{58, 198}, kOuter);
  }
  for (const int y : {58, 198}) {
    paint(canvas, Stretch{58, 198}, y, kOuter);
    paint(canvas, Stretch{314, 454}, y, kOuter);
  }
}

void writeLabels(IplImage& canvas) {
  CvFont font;
  cvInitFont(&font, CV_FONT_HERSHEY_SIMPLEX, 0.4, 0.4, 0, 1, CV_AA);
  const auto write = [&](const char* text, int x, int y) {
    cvPutText(&canvas, text, cvPoint(x, y), &font, cvScalar(255, 255, 255, 0));
  };
  write("R", 38, 208);
  write("G", 208, 48);
  write("G", 294, 48);
  write("B", 464, 208);
}

}  // namespace

UniqueCanvas drawDiamond(OxVideoFrameYUV& frame) {
  UniqueCanvas canvas = makeCanvas(kWidth, kHeight);
  if (canvas == nullptr) {
    return nullptr;
  }
  Points points;
  if (!forEachSpan(frame, [&](const PixelSpan& span) { points.add(span); })) {
    return nullptr;
  }
  points.paintOn(*canvas);
  paintGraticule(*canvas);
  writeLabels(*canvas);
  return canvas;
}

}  // namespace qatester
