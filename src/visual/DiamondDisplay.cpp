#include <opencv2/core/core_c.h>

#include <algorithm>
#include <array>
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

/// Places count along the rows. A point may lie below the last row, and in the column after the
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

/// For each value that a channel can have, what it adds to the number of a place. Every illegal
/// channel adds `kPlaces` on top.
class PlaceTables {
 public:
  // The conversion of 8-bit codes stays inside these.
  static constexpr int kLowest = -300;
  static constexpr int kHighest = 600;

  using Table = std::array<uint32_t, kHighest - kLowest + 1>;

  constexpr PlaceTables() {
    for (int value = kLowest; value <= kHighest; ++value) {
      const std::size_t illegal = isLegal(value) ? 0 : kPlaces;
      const std::size_t at = indexOf(value);
      red[at] = static_cast<uint32_t>(static_cast<std::size_t>(columnOfRed(value)) + illegal);
      green[at] =
          static_cast<uint32_t>(static_cast<std::size_t>(rowOfGreen(value) * kWidth) + illegal);
      blue[at] = static_cast<uint32_t>(static_cast<std::size_t>(columnOfBlue(value)) + illegal);
    }
  }

  static constexpr uint32_t indexOf(int value) { return static_cast<uint32_t>(value - kLowest); }

  Table red{};
  Table green{};
  Table blue{};
};

constexpr PlaceTables kTables;

/// The points of a picture. A legal point at a place always has the same colour, so it is enough to
/// know which pixel was the last to plot a legal point there, and which the last to plot a white
/// one.
class Points {
 public:
  Points() : lastPixel_(3 * kPlaces) {}

  void add(const PixelSpan& span) {
    const auto count = static_cast<std::size_t>(span.count);
    convert(span, count);
    for (std::size_t i = 0; i < count; ++i) {
      ++pixel_;
      const uint32_t row = kTables.green[green_[i]];
      lastPixel_[row + kTables.red[red_[i]]] = pixel_;
      lastPixel_[row + kTables.blue[blue_[i]]] = pixel_;
    }
  }

  /// Leaves out what lies below the last row.
  void paintOn(IplImage& canvas) const {
    const uint32_t* legal = lastPixel_.data();
    const uint32_t* oneIllegal = legal + kPlaces;
    const uint32_t* bothIllegal = oneIllegal + kPlaces;
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kWidth; ++x, ++legal, ++oneIllegal, ++bothIllegal) {
        const uint32_t white = std::max(*oneIllegal, *bothIllegal);
        // Of one pixel's two points the right one, plotted last, can only be the white one here.
        if (white != 0 && white >= *legal) {
          paint(canvas, x, y, kWhite);
        } else if (*legal != 0) {
          paint(canvas, x, y, legalColour(x, y, white != 0));
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
      const int red = static_cast<int>(luma + conversion.redOfCr(span.v[i]));
      const int green = static_cast<int>(luma + conversion.greenOfCb(span.u[i]) +
                                         conversion.greenOfCr(span.v[i]));
      const int blue = static_cast<int>(luma + conversion.blueOfCb(span.u[i]));
      red_[i] = PlaceTables::indexOf(red);
      green_[i] = PlaceTables::indexOf(green);
      blue_[i] = PlaceTables::indexOf(blue);
    }
  }

  /// A legal point sets the two channels that it shows; the third is left as it was.
  static Colour legalColour(int x, int y, bool onWhite) {
    const auto shade = [](int level) {
      return static_cast<uint8_t>(
          static_cast<int>(static_cast<double>(static_cast<float>(level)) * 0.0078125 * 255.0));
    };
    const uint8_t third = onWhite ? 255 : 0;
    const uint8_t green = shade(kGreenZero - y);
    return x < kFirstColumnOfRight ? Colour{third, green, shade(kRedZero - x)}
                                   : Colour{shade(x - kBlueZero), green, third};
  }

  std::vector<uint32_t> lastPixel_;  ///< legal points, then those with one and two illegal channels
  uint32_t pixel_ = 0;               ///< counted from 1
  std::array<uint32_t, PixelSpan::kLongest> red_;
  std::array<uint32_t, PixelSpan::kLongest> green_;
  std::array<uint32_t, PixelSpan::kLongest> blue_;
};

void paintGraticule(IplImage& canvas) {
  constexpr Colour kInner = grey(100);
  constexpr Colour kOuter = grey(50);
  for (const int x : {64, 192, 320, 448}) {
    paint(canvas, x, Stretch{65, 192}, kInner);
  }
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
  writeText(canvas, "R", 38, 208, kWhite);
  writeText(canvas, "G", 208, 48, kWhite);
  writeText(canvas, "G", 294, 48, kWhite);
  writeText(canvas, "B", 464, 208, kWhite);
}

}  // namespace

UniqueCanvas drawDiamond(OxVideoFrameYUV& frame, CanvasMaker make) {
  UniqueCanvas canvas = make(kWidth, kHeight);
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
