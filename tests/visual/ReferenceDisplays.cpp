#include "visual/ReferenceDisplays.h"

#include <opencv2/imgproc/imgproc_c.h>

#include <algorithm>
#include <cstddef>

#include "media/YUVHelper.h"

namespace qatest {

namespace {

class Canvas {
 public:
  Canvas(int width, int height, uint8_t background = 0)
      : image_(plainCanvas(width, height, background)) {}

  /// Sets a byte of a pixel by its address, if the canvas has it: column 512 of a canvas of 512 is
  /// column 0 of the next row.
  void byte(int x, int y, int channel, int value) {
    const int offset = y * image_->widthStep + 3 * x + channel;
    if (0 <= offset && offset < image_->widthStep * image_->height) {
      image_->imageData[offset] = static_cast<char>(value);
    }
  }

  void pixel(int x, int y, const Bgr& colour) {
    byte(x, y, 0, colour.blue);
    byte(x, y, 1, colour.green);
    byte(x, y, 2, colour.red);
  }

  void text(const char* letters, int x, int y, const Bgr& colour = kWhite) {
    CvFont font;
    cvInitFont(&font, CV_FONT_HERSHEY_SIMPLEX, 0.4, 0.4, 0, 1, CV_AA);
    cvPutText(image_.get(), letters, cvPoint(x, y), &font,
              cvScalar(colour.blue, colour.green, colour.red, 0));
  }

  /// A bar of a waveform, from the zero line to row `y`: once the way up and once the way down.
  void bar(int x, int y, const Bgr& colour) {
    for (int row = 127; row >= y; --row) {
      add(x, row, colour);
    }
    for (int row = 127; row <= y; ++row) {
      add(x, row, colour);
    }
  }

  /// The image's bytes from the first on, padding and all.
  void run(const std::vector<uint8_t>& bytes) {
    std::copy(bytes.begin(), bytes.end(), image_->imageData);
  }

  Pixels pixels() const { return pixelsOf(*image_); }

 private:
  void add(int x, int y, const Bgr& colour) {
    const auto* old = reinterpret_cast<uint8_t*>(image_->imageData) + y * image_->widthStep + 3 * x;
    pixel(x, y, {old[0] + colour.blue, old[1] + colour.green, old[2] + colour.red});
  }

  UniqueImage image_;
};

template <typename Draw>
void forEachPixel(OxVideoFrameYUV& frame, Draw draw) {
  if (frame.frame == nullptr || !frame.valid) {
    return;
  }
  for (int y = 0; y < frame.height; ++y) {
    for (int x = 0; x < frame.width; ++x) {
      draw(x, YUVHelper::getYUVPixelFromFrame(frame, x, y));
    }
  }
}

int scaledTo128(int channel) {
  return static_cast<int>(static_cast<float>(channel) / 255.0 * 128.0);
}

int shade(int scaled) {
  return static_cast<int>(static_cast<float>(scaled) * 0.0078125 * 255.0);
}

bool isOutside(int channel) {
  return channel < 0 || channel > 255;
}

void diamondPixel(Canvas& canvas, const RgbPixel& rgb) {
  int r = scaledTo128(rgb.r);
  const int g = scaledTo128(rgb.g);
  int b = scaledTo128(rgb.b);

  int right = b + 320;
  if (right > 512) {
    b = 191;
    right = 511;
  }
  int up = 192 - g < 257 ? g : 64;
  if (192 - up < 0) {
    up = 192;
  }
  const int row = 192 - up;
  if (192 - r > 512) {
    r = 320;
  }
  if (192 - r < 0) {
    r = 192;
  }
  const int left = 192 - r;

  if (isOutside(rgb.r) || isOutside(rgb.g)) {
    canvas.pixel(left, row, kWhite);
  } else {
    canvas.byte(left, row, 2, shade(r));
    canvas.byte(left, row, 1, shade(up));
  }
  if (isOutside(rgb.b) || isOutside(rgb.g)) {
    canvas.pixel(right, row, kWhite);
  } else {
    canvas.byte(right, row, 1, shade(up));
    canvas.byte(right, row, 0, shade(b));
  }
}

void bar(Canvas& canvas, int edge, std::pair<int, int> pair, const Bgr& colour) {
  for (int x = edge; x < edge + 20; ++x) {
    for (int row = 0; row < 266; ++row) {
      if (260 - pair.second < row && row <= 260) {
        canvas.pixel(x, row, kBlack);
      }
      if (260 - pair.first < row && row <= 260 - pair.second) {
        canvas.pixel(x, row, colour);
      }
      if (5 < row && row <= 260 - pair.first - pair.second) {
        canvas.pixel(x, row, kWhite);
      }
    }
  }
}

}  // namespace

Pixels referenceDiamond(OxVideoFrameYUV frame) {
  Canvas canvas(512, 256);
  forEachPixel(
      frame, [&](int, const YUVPixel& yuv) { diamondPixel(canvas, YUVHelper::YUVtoRGB601(yuv)); });
  for (int row = 65; row <= 192; ++row) {
    for (const int column : {64, 192, 320, 448}) {
      canvas.pixel(column, row, grey(100));
    }
  }
  for (const int row : {64, 192}) {
    for (int column = 65; column <= 192; ++column) {
      canvas.pixel(column, row, grey(100));
    }
    for (int column = 320; column <= 447; ++column) {
      canvas.pixel(column, row, grey(100));
    }
  }
  for (int row = 58; row <= 198; ++row) {
    for (const int column : {58, 198, 314, 454}) {
      canvas.pixel(column, row, grey(50));
    }
  }
  for (const int row : {58, 198}) {
    for (int column = 58; column <= 198; ++column) {
      canvas.pixel(column, row, grey(50));
    }
    for (int column = 314; column <= 454; ++column) {
      canvas.pixel(column, row, grey(50));
    }
  }
  canvas.text("R", 38, 208);
  canvas.text("G", 208, 48);
  canvas.text("G", 294, 48);
  canvas.text("B", 464, 208);
  return canvas.pixels();
}

ReferencePoint referenceCIE1931Point(float y, float u, float v) {
  const float luma = (y - 16) * 1.1643835f;
  const float red = luma + (v - 128) * 1.5960267f;
  const float green = luma + (u - 128) * -0.39176223f + (v - 128) * -0.81296754f;
  const float blue = luma + (u - 128) * 2.017232f;

  const double r = red;
  const double g = green;
  const double b = blue;
  const double bigX = (172479921 * b + (12239 * g - 35246 * r) * -10000) / 1437864921;
  const double bigY = ((10652 * g + 8485 * r) * 5000 - 46979193 * b) / 479288307;
  const double sum = bigX + bigY + b;
  double x = 0;
  double up = 0;
  if (sum > 0) {
    x = bigX / sum;
    up = bigY / sum;
  }
  // Bounded only so that the conversion to an integer is defined.
  const auto cut = [](double at) { return static_cast<int>(std::clamp(at, -1e6, 1e6)); };
  const auto byte = [](float channel) { return std::clamp(static_cast<int>(channel), 0, 255); };
  return {{cut(53 + x * 150), cut(203 - 150 * up)}, {byte(blue), byte(green), byte(red)}};
}

Pixels referenceCIE1931(OxVideoFrameYUV frame) {
  Canvas canvas(256, 256);
  for (int a = 0; a <= 135; ++a) {
    for (int c = 0; c <= 120; ++c) {
      if (a + c < 151 && (c % 15 == 0 || a % 15 == 0 || a + c == 150)) {
        canvas.pixel(53 + c, 203 - a, grey(100));
      }
    }
  }
  forEachPixel(frame, [&](int, const YUVPixel& yuv) {
    const ReferencePoint point = referenceCIE1931Point(
        static_cast<float>(yuv.y), static_cast<float>(yuv.u), static_cast<float>(yuv.v));
    const auto [x, y] = point.place;
    if (0 <= x && x < 256 && 0 <= y && y < 256) {
      canvas.pixel(x, y, point.colour);
    }
  });
  return canvas.pixels();
}

Pixels referenceLinearGamut(OxVideoFrameYUV frame) {
  Canvas canvas(512, 256);
  const auto width = static_cast<float>(frame.width);
  forEachPixel(frame, [&](int x, const YUVPixel& yuv) {
    const int column = static_cast<int>(static_cast<float>(x) / width * 157.0);
    const auto point = [&](int edge, int value) {
      const int height = static_cast<int>(value * 0.00390625 * 206.0);
      canvas.pixel(edge + column, 231 - height, 12 < height && height < 189 ? grey(100) : kWhite);
    };
    point(10, yuv.y);
    point(177, yuv.u);
    point(344, yuv.v);
  });
  for (int column = 0; column < 512; ++column) {
    canvas.pixel(column, 25, grey(100));
    canvas.pixel(column, 231, grey(100));
    canvas.pixel(column, 219, {0, 0, 255});
    canvas.pixel(column, 42, {0, 0, 255});
    canvas.pixel(column, 128, grey(200));
  }
  return canvas.pixels();
}

Pixels referenceColourSpace(std::pair<int, int> red, std::pair<int, int> green,
                            std::pair<int, int> blue, int level) {
  Canvas canvas(105, 266, 12);
  bar(canvas, 5, red, {0, 0, 255});
  bar(canvas, 30, green, {0, 255, 0});
  bar(canvas, 55, blue, {255, 0, 0});
  for (int x = 80; x <= 99; ++x) {
    for (int row = 0; row < 266; ++row) {
      if (260 - level < row && row <= 260) {
        canvas.pixel(x, row, kWhite);
      }
    }
  }
  return canvas.pixels();
}

int referenceRow(uint8_t value) {
  return value < 128 ? 127 - value : 127 + 255 - value;
}

// Integer division truncates, as the definition does; the quotient is whole at 0 and full scale
// only, elsewhere much farther from a whole number than what double precision loses.
int referenceRow(int16_t value) {
  return 127 - value * 127 / 32767;
}

int referenceRow(int32_t value) {
  return 127 - static_cast<int>(int64_t{value} * 127 / 2147483647);
}

Pixels referenceSample(int width, const std::vector<int>& rows) {
  Canvas canvas(width, 256);
  int x = 0;
  for (const int row : rows) {
    canvas.bar(x++, row, {0, 255, 0});
  }
  return canvas.pixels();
}

Pixels referenceSamples(int width, const std::vector<int>& first, const std::vector<int>& second) {
  Canvas canvas(width, 256);
  int x = 0;
  for (const int row : first) {
    canvas.bar(x++, row, {0, 255, 0});
  }
  x = 0;
  for (const int row : second) {
    canvas.bar(x++, row, {0, 0, 255});
  }
  canvas.text("Channel 1", 20, 20, {0, 255, 0});
  canvas.text("Channel 2", 20, 40, {0, 0, 255});
  canvas.text("Overlap", 20, 60, {0, 255, 255});
  return canvas.pixels();
}

Pixels referenceImageData(int width, int height, const std::vector<uint8_t>& bytes) {
  Canvas canvas(width, height);
  canvas.run(bytes);
  return canvas.pixels();
}

}  // namespace qatest
