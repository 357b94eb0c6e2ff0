#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "support/FakeSleep.h"
#include "visual/Blocks.h"
#include "visual/DisplayTest.h"

namespace {

using qatest::Bgr;
using qatest::Block;
using qatest::kBlack;
using qatest::openCVCalls;
using qatest::Pixels;
using qatest::pixelsOf;
using qatest::Place;
using qatest::plainCanvas;
using qatest::referenceRows;
using qatest::referenceSample;
using qatest::referenceSamples;
using qatest::UniqueImage;
using qatest::WindowSystem;

constexpr int kLeast = std::numeric_limits<int>::min();
constexpr int kMost = std::numeric_limits<int>::max();

constexpr Bgr kGreen{0, 255, 0};
constexpr Bgr kRed{0, 0, 255};
constexpr Bgr kYellow{0, 255, 255};

std::string bytesOf(const IplImage& image) {
  return {image.imageData, static_cast<std::size_t>(image.imageSize)};
}

/// Every value from the first to the last.
template <typename Value>
std::vector<Value> range(int first, int last) {
  std::vector<Value> values(static_cast<std::size_t>(last - first + 1));
  std::iota(values.begin(), values.end(), static_cast<Value>(first));
  return values;
}

class CleanImage : public testing::Test {
 protected:
  CleanImage() {
    qatest::clearOpenCV();
    qatest::clearPauses();
  }
};

TEST_F(CleanImage, IsOfClearedBytesPaddingIncluded) {
  const UniqueImage image(Visual::createCleanImage(5, 3));
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->width, 5);
  EXPECT_EQ(image->height, 3);
  EXPECT_EQ(image->depth, IPL_DEPTH_8U);
  EXPECT_EQ(image->nChannels, 3);
  EXPECT_EQ(image->widthStep, 16);
  EXPECT_EQ(bytesOf(*image), std::string(48, '\0'));
}

TEST_F(CleanImage, OfAWidthIs256RowsHigh) {
  const UniqueImage image(Visual::createCleanImage(1153));
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->width, 1153);
  EXPECT_EQ(image->height, 256);
  EXPECT_EQ(image->widthStep, 3460);
  EXPECT_EQ(bytesOf(*image), std::string(256 * 3460, '\0'));
}

TEST_F(CleanImage, WithoutWidthOrHeightIsNullAtOnce) {
  qatest::failToMakeImages(1);
  EXPECT_EQ(Visual::createCleanImage(0, 480), nullptr);
  EXPECT_EQ(Visual::createCleanImage(640, 0), nullptr);
  EXPECT_EQ(Visual::createCleanImage(0, 0), nullptr);
  EXPECT_EQ(Visual::createCleanImage(0, -1), nullptr);
  EXPECT_TRUE(qatest::callerPauses().empty()) << "nothing was tried";
}

TEST_F(CleanImage, OfNoWidthButOneArgumentIsMade) {
  const UniqueImage image(Visual::createCleanImage(0));
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->width, 0);
  EXPECT_EQ(image->height, 256);
}

TEST_F(CleanImage, FiveFailuresWithAPauseAfterEachAreTheEnd) {
  for (IplImage* (*const make)() : {+[] { return Visual::createCleanImage(5); },
                                    +[] { return Visual::createCleanImage(5, 3); }}) {
    qatest::clearPauses();
    qatest::failToMakeImages(5);
    EXPECT_EQ(make(), nullptr);
    EXPECT_EQ(qatest::callerPauses(), std::vector<unsigned>(5, 1000));

    qatest::clearPauses();
    qatest::failToMakeImages(4);
    EXPECT_NE(UniqueImage(make()), nullptr);
    EXPECT_EQ(qatest::callerPauses(), std::vector<unsigned>(4, 1000));
  }
}

TEST_F(CleanImage, OfASizeThatNoImageHasFailsLikeOneWithoutMemory) {
  // 178,956,971 * 24 bits are 2^32 + 8: as an int, one byte a row.
  for (const auto& [width, height] :
       {std::pair{-1, 5}, std::pair{5, -1}, std::pair{kLeast, kLeast}, std::pair{kMost, kMost},
        std::pair{178956971, 256}, std::pair{200000000, 1}, std::pair{30000, 30000}}) {
    qatest::clearPauses();
    EXPECT_EQ(Visual::createCleanImage(width, height), nullptr) << width << " x " << height;
    EXPECT_EQ(qatest::callerPauses(), std::vector<unsigned>(5, 1000));
  }
  qatest::clearPauses();
  EXPECT_EQ(Visual::createCleanImage(-1), nullptr);
  EXPECT_EQ(qatest::callerPauses(), std::vector<unsigned>(5, 1000));
  EXPECT_EQ(openCVCalls().imagesMade, 0);
}

TEST(PlotPoint, AddsABarFromTheZeroLineToTheRow) {
  struct Bar {
    int y;
    int first;
    int last;
  };
  for (const Bar& bar : {Bar{0, 0, 127}, Bar{64, 64, 127}, Bar{126, 126, 127}, Bar{128, 127, 128},
                         Bar{200, 127, 200}, Bar{254, 127, 254}, Bar{255, 127, 255}}) {
    const UniqueImage image = plainCanvas(3, 256);
    Visual::plotPoint(1, bar.y, image.get(), 30, 20, 10);
    const Pixels pixels = pixelsOf(*image);
    for (int y = 0; y < 256; ++y) {
      const Bgr expected = bar.first <= y && y <= bar.last ? Bgr{10, 20, 30} : kBlack;
      EXPECT_EQ(pixels.at(0, y), kBlack);
      EXPECT_EQ(pixels.at(1, y), expected) << "row " << y << " of a bar to " << bar.y;
      EXPECT_EQ(pixels.at(2, y), kBlack);
    }
  }
}

TEST(PlotPoint, OnTheZeroLineAddsTwice) {
  const UniqueImage image = plainCanvas(3, 256);
  Visual::plotPoint(1, 127, image.get(), 200, 255, 7);
  const Pixels pixels = pixelsOf(*image);
  EXPECT_EQ(pixels.at(1, 127), (Bgr{14, 254, 144})) << "400 - 256 of red";
  EXPECT_EQ(placesThatDiffer(pixels, pixelsOf(*plainCanvas(3, 256))).size(), 1U);
}

TEST(PlotPoint, BytesWrapAround) {
  const UniqueImage image = plainCanvas(1, 256, 250);
  Visual::plotPoint(0, 100, image.get(), 10, 5, 6);
  EXPECT_EQ(pixelsOf(*image).at(0, 100), (Bgr{0, 255, 4}));
  EXPECT_EQ(pixelsOf(*image).at(0, 99), qatest::grey(250));
}

TEST(PlotPoint, OfAColourOnlyTheLowEightBitsCount) {
  const UniqueImage image = plainCanvas(1, 256, 50);
  Visual::plotPoint(0, 100, image.get(), 256 + 3, -1, kLeast);
  EXPECT_EQ(pixelsOf(*image).at(0, 100), (Bgr{50, 49, 53}));
}

TEST(PlotPoint, LeavesOutRowsAboveAndBelowTheCanvas) {
  struct Bar {
    int y;
    int height;
    int first;
    int last;
  };
  for (const Bar& bar : {Bar{-1, 256, 0, 127}, Bar{kLeast, 256, 0, 127}, Bar{256, 256, 127, 255},
                         Bar{kMost, 256, 127, 255}, Bar{90, 100, 90, 99}, Bar{kLeast, 100, 0, 99},
                         Bar{99, 100, 99, 99}, Bar{100, 100, 1, 0}, Bar{127, 100, 1, 0},
                         Bar{254, 100, 1, 0}, Bar{127, 127, 1, 0}, Bar{254, 128, 127, 127}}) {
    const UniqueImage image = plainCanvas(5, bar.height);
    const UniqueImage expected = plainCanvas(5, bar.height);
    for (int y = bar.first; y <= bar.last; ++y) {
      expected->imageData[16 * y + 3 * 4 + 1] = 9;
    }
    Visual::plotPoint(4, bar.y, image.get(), 0, 9, 0);
    EXPECT_EQ(bytesOf(*image), bytesOf(*expected)) << bar.y << " on " << bar.height << " rows";
  }
}

TEST(PlotPoint, LeavesOutColumnsBesideTheCanvas) {
  const UniqueImage image = plainCanvas(5, 256);
  for (const int x : {-1, 5, 6, kLeast, kMost}) {
    Visual::plotPoint(x, 0, image.get(), 1, 2, 3);
    Visual::plotPoint(x, 254, image.get(), 1, 2, 3);
  }
  EXPECT_EQ(bytesOf(*image), std::string(256 * 16, '\0')) << "not even padding";
}

TEST(PlotPoint, LeavesNullAlone) {
  EXPECT_NO_FATAL_FAILURE(Visual::plotPoint(0, 0, nullptr, 1, 2, 3));
}

class PlotTest : public qatest::DisplayTest {
 protected:
  PlotTest() { qatest::clearPauses(); }

  static void plot(OxAudioSample block) { Visual::plotSample(block, "the window"); }
  static void plot(OxAudioSample first, OxAudioSample second) {
    Visual::plotSamples(first, second, "the window");
  }
  static void plot(OxVideoFrameRGB frame) { Visual::plotImageData(frame, "the window"); }

  template <typename... Records>
  static Pixels shown(Records... records) {
    return shownBy([&] { plot(records...); });
  }

  template <typename Value>
  static Pixels shownSample(const std::vector<Value>& values) {
    return shown(Block(values).record());
  }

  template <typename Value>
  static Pixels shownSamples(const std::vector<Value>& first, const std::vector<Value>& second) {
    return shown(Block(first).record(), Block(second).record());
  }

  template <typename... Records>
  static void expectNothingShown(Records... records) {
    qatest::clearOpenCV();
    qatest::clearPauses();
    plot(records...);
    EXPECT_TRUE(openCVCalls().shown.empty());
    EXPECT_EQ(openCVCalls().imagesReleased, openCVCalls().imagesMade);
    EXPECT_TRUE(qatest::callerPauses().empty());
  }

  template <typename... Records>
  static void expectAPauseWhenShowingFails(Records... records) {
    qatest::letShowingThrow();
    EXPECT_NO_THROW(plot(records...));
    EXPECT_EQ(openCVCalls().shown.size(), 1U);
    EXPECT_EQ(openCVCalls().imagesReleased, 1);
    EXPECT_EQ(qatest::callerPauses(), std::vector<unsigned>{1000});
  }

  template <typename... Records>
  static void expectFivePausesFor(Records... records) {
    qatest::clearPauses();
    plot(records...);
    EXPECT_TRUE(openCVCalls().shown.empty());
    EXPECT_EQ(qatest::callerPauses(), std::vector<unsigned>(5, 1000));
  }

  /// The lowest and the highest 32-bit value, those about zero, about quarter points and about
  /// limits between two rows.
  static std::vector<int32_t> values32() {
    std::vector<int32_t> values;
    for (const int64_t middle :
         {int64_t{kLeast}, int64_t{-1610612736}, int64_t{-1073741824}, int64_t{-536870912},
          int64_t{0}, int64_t{536870912}, int64_t{1073741824}, int64_t{1610612736}, int64_t{kMost},
          int64_t{kMost} / 127, int64_t{kMost} * 64 / 127, int64_t{kMost} * -126 / 127}) {
      for (int64_t value = middle - 2; value <= middle + 2; ++value) {
        if (kLeast <= value && value <= kMost) {
          values.push_back(static_cast<int32_t>(value));
        }
      }
    }
    return values;
  }
};

class PlotSample : public PlotTest {};

TEST_F(PlotSample, ShowsAColumnAValueInItsWindow) {
  const std::vector<int16_t> wave = qatest::sine(1152, 32767, 100.0, 0.5);
  const Pixels canvas = shownSample(wave);
  EXPECT_EQ(canvas.width, 1152);
  EXPECT_EQ(canvas.height, 256);
  EXPECT_EQ(difference(canvas, referenceSample(1152, referenceRows(wave))), "");
  EXPECT_EQ(openCVCalls().shown[0].window, "the window");
  EXPECT_TRUE(openCVCalls().waits.empty()) << "repainting is the caller's affair";
  EXPECT_TRUE(qatest::callerPauses().empty());
}

TEST_F(PlotSample, BarsAreGreenFromTheZeroLineToTheValue) {
  // 16384 / 32767 * 127 is 63.5, 259 / 32767 * 127 is 1.004, 258 / 32767 * 127 is 0.99997.
  const Pixels canvas = shownSample<int16_t>({0, 16384, -16384, 32767, -32768, -32767, 259, 258});
  struct Bar {
    int first;
    int last;
  };
  const std::array bars{Bar{127, 127}, Bar{64, 127},  Bar{127, 190}, Bar{0, 127},
                        Bar{127, 254}, Bar{127, 254}, Bar{126, 127}, Bar{127, 127}};
  for (std::size_t column = 0; column < bars.size(); ++column) {
    const Bar& bar = bars[column];
    const Bgr lit = bar.first == bar.last ? Bgr{0, 254, 0} : kGreen;
    for (int y = 0; y < 256; ++y) {
      EXPECT_EQ(canvas.at(static_cast<int>(column), y),
                bar.first <= y && y <= bar.last ? lit : kBlack)
          << column << ", " << y;
    }
  }
}

TEST_F(PlotSample, AZeroLightsTheZeroLineTwice) {
  const Pixels canvas = shownSample(std::vector<int16_t>(1152));
  const Pixels black = pixelsOf(*plainCanvas(1152, 256));
  EXPECT_EQ(placesThatDiffer(canvas, black).size(), 1152U);
  for (int x = 0; x < 1152; ++x) {
    EXPECT_EQ(canvas.at(x, 127), (Bgr{0, 254, 0}));
  }
}

TEST_F(PlotSample, HasEvery8BitValueAsDefined) {
  const std::vector<uint8_t> values = range<uint8_t>(0, 255);
  const Pixels canvas = shownSample(values);
  EXPECT_EQ(difference(canvas, referenceSample(256, referenceRows(values))), "");
  // 127 is the most, 128 stands for -127, 255 for 0.
  EXPECT_EQ(canvas.at(127, 0), kGreen);
  EXPECT_EQ(canvas.at(128, 254), kGreen);
  EXPECT_EQ(canvas.at(128, 126), kBlack);
  EXPECT_EQ(canvas.at(255, 127), (Bgr{0, 254, 0}));
}

TEST_F(PlotSample, HasEvery16BitValueAsDefined) {
  for (int first = -32768; first <= 32767; first += 4096) {
    const std::vector<int16_t> values = range<int16_t>(first, first + 4095);
    EXPECT_EQ(difference(shownSample(values), referenceSample(4096, referenceRows(values))), "")
        << first;
  }
}

TEST_F(PlotSample, Has32BitValuesAsDefined) {
  const std::vector<int32_t> values = values32();
  const auto width = static_cast<int>(values.size());
  EXPECT_EQ(difference(shownSample(values), referenceSample(width, referenceRows(values))), "");
  // 2^30 / (2^31 - 1) * 127 is 63.5.
  const Pixels canvas = shownSample<int32_t>({kMost, kLeast, 1 << 30, -1});
  EXPECT_EQ(canvas.at(0, 0), kGreen);
  EXPECT_EQ(canvas.at(1, 254), kGreen);
  EXPECT_EQ(canvas.at(1, 255), kBlack);
  EXPECT_EQ(canvas.at(2, 64), kGreen);
  EXPECT_EQ(canvas.at(2, 63), kBlack);
  EXPECT_EQ(canvas.at(3, 127), (Bgr{0, 254, 0}));
}

TEST_F(PlotSample, OfOtherFormatsShowsAnEmptyCanvas) {
  const Pixels black = pixelsOf(*plainCanvas(3, 256));
  EXPECT_EQ(difference(shownSample<float>({0.5F, -0.5F, 0.0F}), black), "");
  EXPECT_EQ(difference(shownSample<double>({0.5, -0.5, 0.0}), black), "");
  Block block(std::vector<int16_t>{1000, 2000, 3000});
  for (const int format : {-1, 5, 6, 7, kMost}) {
    OxAudioSample record = block.record();
    record.sampleFormat = format;
    EXPECT_EQ(difference(shown(record), black), "") << format;
  }
}

TEST_F(PlotSample, OfOneOrTwoValuesIsSoManyColumnsWide) {
  EXPECT_EQ(difference(shownSample<int16_t>({20000}), referenceSample(1, {127 - 77})), "");
  EXPECT_EQ(difference(shownSample<int16_t>({20000, -1000}), referenceSample(2, {50, 130})), "");
}

TEST_F(PlotSample, ReadsABufferWhereverItLies) {
  std::vector<uint8_t> bytes{0, 0x00, 0x40, 0x00, 0xC0};  // 16384 and -16384, little-endian
  EXPECT_EQ(
      difference(shown(OxAudioSample{bytes.data() + 1, 1, 2, 2}), referenceSample(2, {64, 190})),
      "");
}

TEST_F(PlotSample, WithoutValuesOrBufferIsNotShown) {
  Block block(std::vector<int16_t>{1});
  OxAudioSample withoutValues = block.record();
  withoutValues.numberOfSamples = 0;
  expectNothingShown(withoutValues);
  EXPECT_EQ(openCVCalls().imagesMade, 0);
  OxAudioSample withoutBuffer = block.record();
  withoutBuffer.buffer = nullptr;
  expectNothingShown(withoutBuffer);
}

TEST_F(PlotSample, PausesWhenItsWindowCannotBeShown) {
  expectAPauseWhenShowingFails(Block(std::vector<int16_t>{1}).record());
}

TEST_F(PlotSample, PausesForMemoryAndGivesUpAfterFiveFailures) {
  Block block(std::vector<int16_t>{1});
  qatest::failToMakeImages(5);
  expectFivePausesFor(block.record());
  OxAudioSample negative = block.record();
  negative.numberOfSamples = -1;
  expectFivePausesFor(negative);
}

class PlotSamples : public PlotTest {};

TEST_F(PlotSamples, ShowsBothWaveformsUnderALegend) {
  const std::vector<int16_t> first = qatest::sine(1152, 32767, 100.0, 0.0);
  const std::vector<int16_t> second = qatest::sine(1152, 12000, 77.0, 1.0);
  const Pixels canvas = shownSamples(first, second);
  EXPECT_EQ(canvas.width, 1152);
  EXPECT_EQ(canvas.height, 256);
  EXPECT_EQ(difference(canvas, referenceSamples(1152, referenceRows(first), referenceRows(second))),
            "");
  EXPECT_EQ(openCVCalls().shown[0].window, "the window");
  EXPECT_TRUE(openCVCalls().waits.empty()) << "repainting is the caller's affair";
}

TEST_F(PlotSamples, ColoursAddUp) {
  // Left of the legend. The first upwards to row 64, the second to row 96 (16384 and 8192: 31.75).
  const Pixels canvas =
      shownSamples<int16_t>({16384, 16384, -32768, 0, 0}, {8192, -8192, -32768, 0, 32767});
  EXPECT_EQ(canvas.at(0, 63), kBlack);
  EXPECT_EQ(canvas.at(0, 64), kGreen);
  EXPECT_EQ(canvas.at(0, 95), kGreen);
  EXPECT_EQ(canvas.at(0, 96), kYellow);
  EXPECT_EQ(canvas.at(0, 127), kYellow);
  EXPECT_EQ(canvas.at(0, 128), kBlack);
  EXPECT_EQ(canvas.at(1, 126), kGreen);
  EXPECT_EQ(canvas.at(1, 127), kYellow);
  EXPECT_EQ(canvas.at(1, 128), kRed);
  EXPECT_EQ(canvas.at(1, 158), kRed);
  EXPECT_EQ(canvas.at(1, 159), kBlack);
  for (int y = 127; y <= 254; ++y) {
    EXPECT_EQ(canvas.at(2, y), kYellow) << y;
  }
  EXPECT_EQ(canvas.at(2, 255), kBlack);
  EXPECT_EQ(canvas.at(3, 127), (Bgr{0, 254, 254}));
  EXPECT_EQ(canvas.at(4, 127), (Bgr{0, 254, 255})) << "twice green, once red";
  EXPECT_EQ(canvas.at(4, 0), kRed);
}

TEST_F(PlotSamples, EqualChannelsAreYellow) {
  std::vector<int16_t> wave = qatest::sine(200, 30000, 50.0, 0.7);
  const Pixels canvas = shownSamples(wave, wave);
  const std::vector<int> rows = referenceRows(wave);
  for (int x = 0; x < 200; ++x) {
    const int end = rows[static_cast<std::size_t>(x)];
    for (int y = 70; y < 256; ++y) {  // below the legend and its descenders
      const bool lit = std::min(end, 127) <= y && y <= std::max(end, 127);
      const Bgr expected = !lit ? kBlack : end == 127 ? Bgr{0, 254, 254} : kYellow;
      EXPECT_EQ(canvas.at(x, y), expected) << x << ", " << y;
    }
  }
}

TEST_F(PlotSamples, HasEvery8BitValueAsDefined) {
  const std::vector<uint8_t> up = range<uint8_t>(0, 255);
  const std::vector<uint8_t> down(up.rbegin(), up.rend());
  EXPECT_EQ(difference(shownSamples(up, down),
                       referenceSamples(256, referenceRows(up), referenceRows(down))),
            "");
}

TEST_F(PlotSamples, HasEvery16BitValueAsDefined) {
  for (int first = -32768; first <= 32767; first += 4096) {
    const std::vector<int16_t> up = range<int16_t>(first, first + 4095);
    const std::vector<int16_t> down(up.rbegin(), up.rend());
    EXPECT_EQ(difference(shownSamples(up, down),
                         referenceSamples(4096, referenceRows(up), referenceRows(down))),
              "")
        << first;
  }
}

TEST_F(PlotSamples, Has32BitValuesAsDefined) {
  const std::vector<int32_t> up = values32();
  const std::vector<int32_t> down(up.rbegin(), up.rend());
  EXPECT_EQ(
      difference(shownSamples(up, down), referenceSamples(static_cast<int>(up.size()),
                                                          referenceRows(up), referenceRows(down))),
      "");
}

TEST_F(PlotSamples, OfOtherFormatsShowsTheLegendOnly) {
  const Pixels legend = referenceSamples(300, {}, {});
  EXPECT_EQ(difference(shownSamples(std::vector<float>(300, 0.5F), std::vector<float>(300, 0.5F)),
                       legend),
            "");
  EXPECT_EQ(difference(shownSamples(std::vector<double>(300, 0.5), std::vector<double>(300, 0.5)),
                       legend),
            "");
  // Strokes stand on their lines, each in its colour.
  const Pixels black = pixelsOf(*plainCanvas(300, 256));
  for (const Place& place : placesThatDiffer(legend, black)) {
    const Bgr pixel = legend.at(place.x, place.y);
    EXPECT_GE(place.x, 19);
    EXPECT_EQ(pixel.blue, 0);
    EXPECT_EQ(pixel.green != 0, place.y < 25 || place.y > 45) << place;
    EXPECT_EQ(pixel.red != 0, place.y > 25) << place;
  }
}

TEST_F(PlotSamples, TheSecondIsReadInTheFirstOnesFormatAsFarAsItsBytesGo) {
  const std::vector<uint8_t> bytes{10, 20, 200, 255};
  Block first8(bytes);
  Block first32(std::vector<int32_t>{0, 0, 0, 0});
  // The same four bytes as 16-bit values, and as half of what four 16-bit values have.
  Block second16(std::vector<int16_t>{0x140A, static_cast<int16_t>(0xFFC8)});
  EXPECT_EQ(difference(shown(first8.record(), second16.record()),
                       referenceSamples(4, referenceRows(bytes), referenceRows(bytes))),
            "");
  Block shorts(std::vector<int16_t>{0, 0x4000, 0, -0x4000});
  EXPECT_EQ(difference(shown(first32.record(), shorts.record()),
                       referenceSamples(4, {127, 127, 127, 127}, {64, 190})),
            "")
      << "0x40000000 and 0xC0000000";
  Block odd(std::vector<uint8_t>{0, 0x40, 0});
  EXPECT_EQ(difference(shown(Block(std::vector<int16_t>{0, 0}).record(), odd.record()),
                       referenceSamples(2, {127, 127}, {64})),
            "")
      << "half a value is none";
  Block floats(std::vector<float>{0.0F});
  EXPECT_EQ(difference(shown(first32.record(), floats.record()),
                       referenceSamples(4, {127, 127, 127, 127}, {127})),
            "")
      << "whatever its own format";
}

TEST_F(PlotSamples, OfDifferentLengthsAreAsWideAsTheFirst) {
  const std::vector<int16_t> longer{1000, 2000, 3000, 4000, 5000};
  const std::vector<int16_t> shorter{-1000, -2000, -3000};
  const std::vector<int> longerRows = referenceRows(longer);
  EXPECT_EQ(difference(shownSamples(longer, shorter),
                       referenceSamples(5, longerRows, referenceRows(shorter))),
            "");
  EXPECT_EQ(difference(shownSamples(shorter, longer),
                       referenceSamples(3, referenceRows(shorter),
                                        {longerRows[0], longerRows[1], longerRows[2]})),
            "");
}

TEST_F(PlotSamples, ASecondOneWithoutValuesLeavesTheFirst) {
  Block first(std::vector<int16_t>{5000, 6000});
  Block second(std::vector<int16_t>{7000, 8000});
  const Pixels expected = referenceSamples(2, {127 - 19, 127 - 23}, {});
  for (const int count : {0, -1, kLeast}) {
    OxAudioSample record = second.record();
    record.numberOfSamples = count;
    EXPECT_EQ(difference(shown(first.record(), record), expected), "") << count;
  }
  OxAudioSample withoutWidth = second.record();
  withoutWidth.bytesPerSample = 0;
  EXPECT_EQ(difference(shown(first.record(), withoutWidth), expected), "");
}

TEST_F(PlotSamples, BytesOfTheSecondMayBeMoreThanAnIntCounts) {
  Block first(std::vector<int16_t>{5000, 6000});
  Block second(std::vector<int16_t>{7000, 8000});
  OxAudioSample huge = second.record();
  huge.numberOfSamples = kMost;
  EXPECT_EQ(difference(shown(first.record(), huge),
                       referenceSamples(2, {127 - 19, 127 - 23}, {127 - 27, 127 - 31})),
            "");
}

TEST_F(PlotSamples, OfOneValueIsOneColumnWide) {
  EXPECT_EQ(difference(shownSamples<int16_t>({20000}, {-1000}), referenceSamples(1, {50}, {130})),
            "");
}

TEST_F(PlotSamples, WithoutValuesOrBuffersAreNotShown) {
  Block first(std::vector<int16_t>{1});
  Block second(std::vector<int16_t>{2});
  OxAudioSample withoutValues = first.record();
  withoutValues.numberOfSamples = 0;
  expectNothingShown(withoutValues, second.record());
  EXPECT_EQ(openCVCalls().imagesMade, 0);
  OxAudioSample withoutBuffer = first.record();
  withoutBuffer.buffer = nullptr;
  expectNothingShown(withoutBuffer, second.record());
  expectNothingShown(first.record(), withoutBuffer);
  expectNothingShown(withoutBuffer, withoutBuffer);
  expectNothingShown(OxAudioSample{}, OxAudioSample{});
}

TEST_F(PlotSamples, PauseWhenTheirWindowCannotBeShown) {
  expectAPauseWhenShowingFails(Block(std::vector<int16_t>{1}).record(),
                               Block(std::vector<int16_t>{2}).record());
}

TEST_F(PlotSamples, PauseForMemoryAndGiveUpAfterFiveFailures) {
  Block block(std::vector<int16_t>{1});
  qatest::failToMakeImages(5);
  expectFivePausesFor(block.record(), block.record());
  OxAudioSample negative = block.record();
  negative.numberOfSamples = kLeast;
  expectFivePausesFor(negative, block.record());
}

class PlotImageData : public PlotTest {
 protected:
  /// A frame whose bytes count from 1 on, none of them 0.
  struct Frame {
    Frame(int width, int height)
        : bytes(static_cast<std::size_t>(3 * width * height)),
          record{bytes.data(), width, height, true, 0.0} {
      std::iota(bytes.begin(), bytes.end(), uint8_t{1});
    }
    std::vector<uint8_t> bytes;
    OxVideoFrameRGB record;
  };
};

TEST_F(PlotImageData, ShowsRowsOfFourBytesAsTheyAre) {
  const Frame frame(4, 3);
  const Pixels canvas = shown(frame.record);
  EXPECT_EQ(canvas.width, 4);
  EXPECT_EQ(canvas.height, 3);
  EXPECT_EQ(canvas.bytes, frame.bytes);
  EXPECT_EQ(openCVCalls().shown[0].window, "the window");
}

TEST_F(PlotImageData, ShearsOtherRows) {
  // The canvas has rows of 16, 20 and 24 bytes instead of 15, 18 and 21: each begins as many bytes
  // late in the picture. The byte at offset k is k + 1.
  const Pixels five = shown(Frame(5, 3).record);
  EXPECT_EQ(five.at(4, 0), (Bgr{13, 14, 15}));
  EXPECT_EQ(five.at(0, 1), (Bgr{17, 18, 19})) << "byte 16, the first row's padding, is gone";
  EXPECT_EQ(five.at(0, 2), (Bgr{33, 34, 35}));
  EXPECT_EQ(five.at(3, 2), (Bgr{42, 43, 44}));
  EXPECT_EQ(five.at(4, 2), (Bgr{45, 0, 0})) << "the picture has 45 bytes";
  const Pixels six = shown(Frame(6, 3).record);
  EXPECT_EQ(six.at(0, 1), (Bgr{21, 22, 23}));
  EXPECT_EQ(six.at(0, 2), (Bgr{41, 42, 43}));
  EXPECT_EQ(six.at(4, 2), (Bgr{53, 54, 0})) << "the picture has 54 bytes";
  EXPECT_EQ(six.at(5, 2), kBlack);
  const Pixels seven = shown(Frame(7, 3).record);
  EXPECT_EQ(seven.at(0, 1), (Bgr{25, 26, 27})) << "one pixel late";
  EXPECT_EQ(seven.at(0, 2), (Bgr{49, 50, 51})) << "two pixels late";
  EXPECT_EQ(seven.at(4, 2), (Bgr{61, 62, 63}));
  EXPECT_EQ(seven.at(5, 2), kBlack);
}

TEST_F(PlotImageData, CopiesOneRunOfBytes) {
  for (int width = 1; width <= 40; ++width) {
    const Frame frame(width, 5);
    EXPECT_EQ(difference(shown(frame.record), qatest::referenceImageData(width, 5, frame.bytes)),
              "");
  }
}

TEST_F(PlotImageData, OfAnInvalidOrEmptyFrameIsNotShown) {
  const Frame frame(4, 3);
  OxVideoFrameRGB invalid = frame.record;
  invalid.valid = false;
  expectNothingShown(invalid);
  OxVideoFrameRGB withoutBuffer = frame.record;
  withoutBuffer.buffer = nullptr;
  expectNothingShown(withoutBuffer);
  OxVideoFrameRGB withoutWidth = frame.record;
  withoutWidth.width = 0;
  expectNothingShown(withoutWidth);
  EXPECT_EQ(openCVCalls().imagesMade, 0);
  OxVideoFrameRGB withoutHeight = frame.record;
  withoutHeight.height = 0;
  expectNothingShown(withoutHeight);
  EXPECT_EQ(openCVCalls().imagesMade, 0);
}

TEST_F(PlotImageData, PausesWhenItsWindowCannotBeShown) {
  expectAPauseWhenShowingFails(Frame(4, 3).record);
}

TEST_F(PlotImageData, PausesForMemoryAndGivesUpAfterFiveFailures) {
  const Frame frame(4, 3);
  qatest::failToMakeImages(5);
  expectFivePausesFor(frame.record);
  OxVideoFrameRGB negative = frame.record;
  negative.height = -3;
  expectFivePausesFor(negative);
}

TEST(PlotsWithoutAWindowSystem, DrawNothingAndDoNotPause) {
  Block block(std::vector<int16_t>{1, 2});
  OxAudioSample sample = block.record();
  std::vector<uint8_t> bytes(3);
  OxVideoFrameRGB frame{bytes.data(), 1, 1, true, 0.0};
  for (const auto state : {WindowSystem::State::missing, WindowSystem::State::dead}) {
    const WindowSystem windows(state);
    qatest::clearOpenCV();
    qatest::clearPauses();
    qatest::failToMakeImages(1);
    Visual::plotSample(sample, "the window");
    Visual::plotSamples(sample, sample, "the window");
    Visual::plotImageData(frame, "the window");
    EXPECT_TRUE(openCVCalls().shown.empty());
    EXPECT_TRUE(qatest::callerPauses().empty());
  }
}

}  // namespace
