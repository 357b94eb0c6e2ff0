#include "visual/Pictures.h"

#include <array>
#include <random>
#include <utility>

namespace qatest {

namespace {

/// BT.601 code values of black, white, greys beyond both, and of the primaries and secondaries at
/// 100 and 75 percent, each with neighbours.
constexpr std::array<std::array<int, 3>, 20> kLimits{{
    {16, 128, 128},  {15, 128, 128},  {17, 128, 128}, {235, 128, 128}, {236, 128, 128},
    {234, 128, 128}, {255, 128, 128}, {0, 128, 128},  {82, 90, 240},   {145, 54, 34},
    {41, 240, 110},  {210, 16, 146},  {170, 166, 16}, {106, 202, 222}, {65, 100, 212},
    {112, 72, 58},   {35, 212, 114},  {16, 128, 255}, {16, 255, 128},  {235, 0, 128},
}};

/// Colours that a chroma sample may be shared by pixels with, whatever their luma: so near to
/// neutral that luma from 60 to 190 is legal.
int nearNeutral(std::mt19937& random) {
  return 108 + static_cast<int>(random() % 41);
}

}  // namespace

Picture rowOf(std::initializer_list<YUVPixel> pixels) {
  Picture picture(AV_PIX_FMT_YUV444P, static_cast<int>(pixels.size()), 1);
  int x = 0;
  for (const YUVPixel& pixel : pixels) {
    picture.at(0, x, 0) = static_cast<uint8_t>(pixel.y);
    picture.at(1, x, 0) = static_cast<uint8_t>(pixel.u);
    picture.at(2, x, 0) = static_cast<uint8_t>(pixel.v);
    ++x;
  }
  return picture;
}

Picture& fillWith(Picture& picture, Content content, unsigned seed) {
  std::mt19937 random(seed);
  return picture.fill([&](int plane, int, int) {
    switch (content) {
      case Content::legal:
        return plane == 0 ? 60 + static_cast<int>(random() % 131) : nearNeutral(random);
      case Content::limits:
        return kLimits[random() % kLimits.size()][static_cast<std::size_t>(plane)];
      default:
        return static_cast<int>(random() % 256);
    }
  });
}

Picture sharedPicture() {
  Picture picture(AV_PIX_FMT_YUV420P, 64, 48);
  fillWith(picture, Content::anything, 42);
  return picture;
}

std::vector<uint8_t> sharedImageData() {
  std::mt19937 random(43);
  std::vector<uint8_t> bytes(std::size_t{3} * kImageDataWidth * kImageDataHeight);
  for (uint8_t& byte : bytes) {
    byte = static_cast<uint8_t>(random() % 256);
  }
  return bytes;
}

std::vector<NamedPicture> manyPictures() {
  struct Format {
    const char* name;
    AVPixelFormat format;
  };
  struct Size {
    int width;
    int height;
  };
  constexpr std::array kContents{Content::anything, Content::legal, Content::limits};
  std::vector<NamedPicture> pictures;
  unsigned seed = 0;
  for (const Format& format :
       {Format{"4:2:0", AV_PIX_FMT_YUV420P}, Format{"4:2:2", AV_PIX_FMT_YUV422P},
        Format{"4:4:4", AV_PIX_FMT_YUV444P}}) {
    std::size_t content = 0;
    for (const Size& size : {Size{1, 1}, Size{3, 5}, Size{17, 9}, Size{64, 48}, Size{511, 3},
                             Size{512, 2}, Size{513, 4}, Size{1030, 7}}) {
      for (const Layout& layout : {Layout{}, Layout{5, false}, Layout{3, true}}) {
        Picture picture(format.format, size.width, size.height, layout);
        fillWith(picture, kContents[content++ % kContents.size()], ++seed);
        pictures.push_back({std::string(format.name) + ", " + std::to_string(size.width) + " x " +
                                std::to_string(size.height) + ", seed " + std::to_string(seed),
                            std::move(picture)});
      }
      ++content;  // another content for each layout of the next size
    }
  }
  return pictures;
}

}  // namespace qatest
