#include "visual/SmallPicture.h"

#include <gtest/gtest.h>
#include <png.h>
#include <turbojpeg.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "visual/Canvases.h"
#include "visual/Displays.h"
#include "visual/OpenCVDouble.h"

namespace {

using qatest::plainCanvas;
using qatest::UniqueImage;
using qatester::Displays;
using qatester::smallPicture;

/// The left half is of one colour, the right half black.
UniqueImage halves(int width, int height) {
  UniqueImage canvas = plainCanvas(width, height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      char* pixel = canvas->imageData + y * canvas->widthStep + 3 * x;
      pixel[0] = static_cast<char>(x < width / 2 ? 40 : 0);
      pixel[1] = static_cast<char>(x < width / 2 ? 120 : 0);
      pixel[2] = static_cast<char>(x < width / 2 ? 200 : 0);
    }
  }
  return canvas;
}

struct Decoded {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> bytes = {};  // blue, green, red
  const uint8_t* at(int x, int y) const {
    return bytes.data() + 3 * (static_cast<std::ptrdiff_t>(y) * width + x);
  }
};

Decoded decodedJpeg(const std::string& bytes) {
  Decoded decoded;
  const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
  tjhandle decoder = tjInitDecompress();
  int sampling = 0;
  int colours = 0;
  EXPECT_EQ(tjDecompressHeader3(decoder, data, bytes.size(), &decoded.width, &decoded.height,
                                &sampling, &colours),
            0);
  decoded.bytes.resize(static_cast<std::size_t>(decoded.width) *
                       static_cast<std::size_t>(decoded.height) * 3);
  EXPECT_EQ(tjDecompress2(decoder, data, bytes.size(), decoded.bytes.data(), decoded.width, 0,
                          decoded.height, TJPF_BGR, 0),
            0);
  tjDestroy(decoder);
  return decoded;
}

TEST(SmallPicture, OfADiagramIsPngWithoutLoss) {
  const UniqueImage canvas = halves(512, 3);
  const QADisplayPicture picture = smallPicture("Diamond Display", 7, *canvas);
  EXPECT_EQ(picture.display, "Diamond Display");
  EXPECT_EQ(picture.index, 7);
  EXPECT_EQ(picture.mediaType, "image/png");
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  ASSERT_NE(png_image_begin_read_from_memory(&image, picture.bytes.data(), picture.bytes.size()),
            0);
  image.format = PNG_FORMAT_BGR;
  std::vector<uint8_t> pixels(PNG_IMAGE_SIZE(image));
  ASSERT_NE(png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr), 0);
  EXPECT_EQ(image.width, 512U);
  EXPECT_EQ(image.height, 3U);
  EXPECT_EQ(std::vector<uint8_t>(pixels.begin(), pixels.begin() + 3),
            (std::vector<uint8_t>{40, 120, 200}));
}

TEST(SmallPicture, OfAProgrammeIsAJpegOfTheSameShapeAndColours) {
  const UniqueImage canvas = halves(1920, 1080);
  const QADisplayPicture picture = smallPicture("Cuts", 0, *canvas);
  EXPECT_EQ(picture.mediaType, "image/jpeg");
  const Decoded decoded = decodedJpeg(picture.bytes);
  EXPECT_EQ(decoded.width, 640);
  EXPECT_EQ(decoded.height, 360);
  EXPECT_EQ(picture.width, 640);
  EXPECT_EQ(picture.height, 360);
  // As far as a JPEG of this quality keeps them.
  const int wanted[] = {40, 120, 200};
  for (int i = 0; i < 3; ++i) {
    EXPECT_NEAR(decoded.at(100, 100)[i], wanted[i], 4);
    EXPECT_NEAR(decoded.at(500, 300)[i], 0, 4);
  }
}

TEST(SmallPicture, OfExtremeShapesHasAtLeastALine) {
  const QADisplayPicture flat = smallPicture("Cuts", 0, *halves(8192, 1));
  EXPECT_EQ(flat.width, 640);
  EXPECT_EQ(flat.height, 1);
  const QADisplayPicture one = smallPicture("Cuts", 0, *halves(1, 1));
  EXPECT_EQ(one.width, 1);
  const QADisplayPicture narrow = smallPicture("Cuts", 0, *halves(576, 300));
  EXPECT_EQ(decodedJpeg(narrow.bytes).width, 576) << "not made wider";
}

class HandedOut : public testing::Test {
 protected:
  HandedOut() { qatest::clearOpenCV(); }
  Displays make(QADisplays where, bool on = true) {
    return Displays(where, on, "", {}, QAPauses::untilReady,
                    [this](QADisplayPicture picture) { taken_.push_back(std::move(picture)); });
  }
  UniqueImage canvas_ = halves(20, 10);
  std::vector<QADisplayPicture> taken_;
};

TEST_F(HandedOut, OfADisplayThatGoesOnIsTheLastOne) {
  Displays displays = make(QADisplays::handedOut);
  EXPECT_TRUE(displays.wanted());
  for (int i = 0; i < 3; ++i) {
    displays.show("Video Change", i, canvas_.get());
    displays.showOrPause("Mono Check", 10 * i, canvas_.get());
  }
  EXPECT_TRUE(taken_.empty());
  displays.handOut();
  displays.handOut();
  ASSERT_EQ(taken_.size(), 2U);
  EXPECT_EQ(taken_[0].display, "Mono Check");
  EXPECT_EQ(taken_[0].index, 20);
  EXPECT_EQ(taken_[1].index, 2);
  EXPECT_TRUE(qatest::openCVCalls().shown.empty()) << "nothing else is done with them";
}

TEST_F(HandedOut, OfEventsIsEachOne) {
  Displays displays = make(QADisplays::handedOut);
  EXPECT_TRUE(displays.wantsEvents());
  displays.showEvent("Cuts", 4, canvas_.get());
  displays.showEvent("Cuts", 5, canvas_.get());
  displays.showEvent("Cuts", 6, nullptr);
  EXPECT_EQ(taken_.size(), 2U);
}

TEST_F(HandedOut, IsNotEveryFrameOfTheFile) {
  EXPECT_FALSE(make(QADisplays::handedOut).possible());
}

TEST_F(HandedOut, IsNothingWhenDisplaysAreOff) {
  for (const QADisplays where : {QADisplays::handedOut, QADisplays::nowhere}) {
    Displays displays = make(where, false);
    EXPECT_FALSE(displays.wanted());
    EXPECT_FALSE(displays.wantsEvents());
    displays.show("Video Change", 0, canvas_.get());
    displays.showEvent("Cuts", 0, canvas_.get());
    displays.handOut();
  }
  EXPECT_TRUE(taken_.empty());
}

}  // namespace
