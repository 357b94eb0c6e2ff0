#include "checks/video/ColourLevels.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <boost/thread/exceptions.hpp>
#include <climits>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <random>
#include <string>
#include <tuple>

#include "media/YUVHelper.h"
#include "support/Clips.h"
#include "support/Console.h"
#include "support/LoggedTester.h"
#include "support/Picture.h"

namespace {

constexpr int kAllThreads = -1;

/// How many threads may still be started, if not all.
std::atomic<int> threadsThatStart = kAllThreads;

/// How many threads were to be started so far.
std::atomic<int> threadsAsked = 0;

}  // namespace

/// Takes the place of the system's: a thread with such a stack cannot be started.
extern "C" int pthread_attr_setstacksize(pthread_attr_t* attributes, std::size_t size) noexcept {
  static const auto original = reinterpret_cast<int (*)(pthread_attr_t*, std::size_t)>(
      dlsym(RTLD_NEXT, "pthread_attr_setstacksize"));
  ++threadsAsked;
  if (threadsThatStart == 0) {
    return original(attributes, std::size_t{1} << 60);
  }
  if (threadsThatStart > 0) {
    --threadsThatStart;
  }
  return original(attributes, size);
}

namespace {

using qatest::Picture;

auto fields(const QA_ChromaLevel& l) {
  return std::tuple(l.passed, l.rMax, l.rMin, l.gMax, l.gMin, l.bMax, l.bMin, l.yMax, l.yMin);
}
auto fields(const QA_GamutLevel& l) {
  return std::tuple(l.passed, l.rMax, l.rMin, l.gMax, l.gMin, l.bMax, l.bMin);
}

// The two records by one name for the tests of what they have in common.
struct Chroma {
  using Level = QA_ChromaLevel;
  static Level limits(OxVideoFrameYUV& frame) { return getChromaLimits(frame); }
  static void check(qatest::LoggedTester& tester) {
    tester.run([](QATester& t) { return t.checkChroma(); });
  }
};
struct Gamut {
  using Level = QA_GamutLevel;
  static Level limits(OxVideoFrameYUV& frame) { return getGamutLimits(frame); }
  static void check(qatest::LoggedTester& tester) {
    tester.run([](QATester& t) { return t.checkGamut(); });
  }
};

/// One step of the definition, in its order.
void fold(QA_ChromaLevel& level, const YUVPixel& yuv, const RgbPixel& rgb) {
  level.rMax = std::max(level.rMax, rgb.r);
  level.gMax = std::max(level.gMax, rgb.g);
  level.bMax = std::max(level.bMax, rgb.b);
  level.yMax = std::max(level.yMax, yuv.y);
  level.yMin = std::min(level.yMin, yuv.y);
  level.rMin = std::min(level.rMin, rgb.r);
  level.gMin = std::min(level.gMin, rgb.g);
  level.bMin = std::min(level.bMin, rgb.b);
}
void fold(QA_GamutLevel& level, const YUVPixel&, const RgbPixel& rgb) {
  level.rMax = std::max(level.rMax, rgb.r);
  level.gMax = std::max(level.gMax, rgb.g);
  level.bMax = std::max(level.bMax, rgb.b);
  level.rMin = std::min(level.rMin, rgb.r);
  level.gMin = std::min(level.gMin, rgb.g);
  level.bMin = std::min(level.bMin, rgb.b);
}

/// `level` widened by every pixel of the rectangle.
template <typename Level>
Level byDefinition(OxVideoFrameYUV frame, int xStart, int yStart, int xEnd, int yEnd, Level level) {
  for (int y = yStart; y < yEnd; ++y) {
    for (int x = xStart; x < xEnd; ++x) {
      const YUVPixel yuv = YUVHelper::getYUVPixelFromFrame(frame, x, y);
      fold(level, yuv, YUVHelper::YUVtoRGB601(yuv));
    }
  }
  return level;
}

Picture noise(AVPixelFormat format, int width, int height, unsigned seed) {
  std::mt19937 random(seed);
  Picture picture(format, width, height, {.padding = 3});
  picture.fill([&](int, int, int) { return static_cast<int>(random() & 255); });
  return picture;
}

constexpr AVPixelFormat kFormats[] = {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV444P};

std::size_t linesIn(const std::string& text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

template <typename Check>
class ColourLevels : public testing::Test {
 public:
  using Level = typename Check::Level;
};
using Checks = testing::Types<Chroma, Gamut>;
TYPED_TEST_SUITE(ColourLevels, Checks);

TYPED_TEST(ColourLevels, RecordStartsFailedWithMaximaAtIntMinAndMinimaAtIntMax) {
  const typename TypeParam::Level level;
  EXPECT_FALSE(level.passed);
  EXPECT_EQ(std::tuple(level.rMax, level.gMax, level.bMax), std::tuple(INT_MIN, INT_MIN, INT_MIN));
  EXPECT_EQ(std::tuple(level.rMin, level.gMin, level.bMin), std::tuple(INT_MAX, INT_MAX, INT_MAX));
}

TYPED_TEST(ColourLevels, MaxChannelsKeepsThePassedFlagOfTheFirst) {
  typename TypeParam::Level a;
  typename TypeParam::Level b;
  a.passed = true;
  EXPECT_TRUE(MaxChannels(a, b).passed);
  EXPECT_FALSE(MaxChannels(b, a).passed);
}

TYPED_TEST(ColourLevels, MaxChannelsTakesLargerMaximaAndSmallerMinimaOfEachChannel) {
  typename TypeParam::Level a;
  std::tie(a.rMax, a.rMin, a.gMax, a.gMin, a.bMax, a.bMin) = std::tuple(10, -5, 20, 3, 7, 7);
  typename TypeParam::Level b;
  std::tie(b.rMax, b.rMin, b.gMax, b.gMin, b.bMax, b.bMin) = std::tuple(9, -6, 21, 4, 7, 7);
  typename TypeParam::Level expected;
  std::tie(expected.rMax, expected.rMin, expected.gMax, expected.gMin, expected.bMax,
           expected.bMin) = std::tuple(10, -6, 21, 3, 7, 7);
  EXPECT_EQ(fields(MaxChannels(a, b)), fields(expected));
  EXPECT_EQ(fields(MaxChannels(b, a)), fields(expected));
  const typename TypeParam::Level empty;
  EXPECT_EQ(fields(MaxChannels(a, empty)), fields(a));
  EXPECT_EQ(fields(MaxChannels(empty, empty)), fields(empty));
}

TEST(ChromaLevels, MaxChannelsTakesLumaToo) {
  EXPECT_EQ(std::tuple(QA_ChromaLevel().yMax, QA_ChromaLevel().yMin), std::tuple(INT_MIN, INT_MAX));
  QA_ChromaLevel a;
  a.yMax = 200;
  a.yMin = 20;
  QA_ChromaLevel b;
  b.yMax = 190;
  b.yMin = 10;
  for (const QA_ChromaLevel& both : {MaxChannels(a, b), MaxChannels(b, a)}) {
    EXPECT_EQ(both.yMax, 200);
    EXPECT_EQ(both.yMin, 10);
  }
}

TYPED_TEST(ColourLevels, SubsectionWidensWhatTheRecordHolds) {
  for (const AVPixelFormat format : kFormats) {
    Picture picture = noise(format, 150, 40, 4);
    OxVideoFrameYUV frame = picture.record();
    typename TypeParam::Level level;
    level.passed = true;
    level.rMax = 1000;
    level.gMin = -1000;
    level.bMax = -7;
    const auto expected = byDefinition(frame, 3, 5, 140, 33, level);
    processSubsection(&frame, 3, 5, 140, 33, &level);
    EXPECT_EQ(fields(level), fields(expected)) << format;
    EXPECT_TRUE(level.passed);
    EXPECT_EQ(level.rMax, 1000);
    EXPECT_EQ(level.gMin, -1000);
  }
}

TYPED_TEST(ColourLevels, SubsectionEndsAreOutside) {
  Picture picture(AV_PIX_FMT_YUV444P, 4, 3);
  picture.fill(126, 128, 128);
  picture.at(0, 2, 1) = 235;
  OxVideoFrameYUV frame = picture.record();
  const auto reds = [&](int xStart, int yStart, int xEnd, int yEnd) {
    typename TypeParam::Level level;
    processSubsection(&frame, xStart, yStart, xEnd, yEnd, &level);
    return level.rMax;
  };
  EXPECT_EQ(reds(0, 0, 4, 3), 255);
  EXPECT_EQ(reds(2, 1, 3, 2), 255);
  EXPECT_EQ(reds(0, 0, 2, 3), 128);
  EXPECT_EQ(reds(3, 0, 4, 3), 128);
  EXPECT_EQ(reds(0, 0, 4, 1), 128);
  EXPECT_EQ(reds(0, 2, 4, 3), 128);
}

TYPED_TEST(ColourLevels, SubsectionWithoutPixelsRecordOrPictureChangesNothing) {
  Picture picture = noise(AV_PIX_FMT_YUV420P, 80, 20, 5);
  OxVideoFrameYUV frame = picture.record();
  using Level = typename TypeParam::Level;
  Level level;
  processSubsection(&frame, 0, 0, 0, 20, &level);
  processSubsection(&frame, 0, 7, 80, 7, &level);
  processSubsection(&frame, 50, 10, 20, 5, &level);
  processSubsection(&frame, 0, 0, 80, 20, static_cast<Level*>(nullptr));
  processSubsection(nullptr, 0, 0, 80, 20, &level);
  EXPECT_EQ(fields(level), fields(Level()));
}

TYPED_TEST(ColourLevels, FirstInvalidPixelEndsTheSubsection) {
  using Level = typename TypeParam::Level;
  Picture picture = noise(AV_PIX_FMT_YUV444P, 80, 20, 6);
  picture.frame().format = AV_PIX_FMT_YUVJ444P;
  OxVideoFrameYUV frame = picture.record();
  Level level;
  const std::string once =
      qatest::consoleOutputOf([&] { processSubsection(&frame, 0, 0, 80, 20, &level); });
  EXPECT_EQ(linesIn(once), 1U) << "for the first pixel alone";
  EXPECT_EQ(qatest::consoleOutputOf([&] { processSubsection(&frame, 5, 5, 5, 20, &level); }), "");
  EXPECT_EQ(fields(level), fields(Level()));

  picture.frame().format = AV_PIX_FMT_YUV444P;
  frame.valid = false;
  processSubsection(&frame, 0, 0, 80, 20, &level);
  EXPECT_EQ(fields(level), fields(Level()));
}

TYPED_TEST(ColourLevels, PictureEqualsTheDefinitionForEverySize) {
  using Level = typename TypeParam::Level;
  for (const AVPixelFormat format : kFormats) {
    for (const int width : {1, 2, 3, 4, 5, 127, 128, 129, 131, 257}) {
      for (const int height : {1, 2, 3, 4, 5, 7, 9, 67}) {
        Picture picture = noise(format, width, height, static_cast<unsigned>(width * height));
        OxVideoFrameYUV frame = picture.record();
        ASSERT_EQ(fields(TypeParam::limits(frame)),
                  fields(byDefinition(frame, 0, 0, width, height, Level())))
            << format << " " << width << "x" << height;
      }
    }
  }
}

TYPED_TEST(ColourLevels, PictureHasEveryPixelInASubsection) {
  // Around every boundary of the eight subsections: columns 4 and 5, rows 2 to 7 of 9 x 10.
  Picture picture(AV_PIX_FMT_YUV444P, 9, 10);
  picture.fill(126, 128, 128);
  OxVideoFrameYUV frame = picture.record();
  for (int y = 0; y < 10; ++y) {
    for (int x = 0; x < 9; ++x) {
      picture.at(0, x, y) = 235;
      EXPECT_EQ(TypeParam::limits(frame).gMax, 255) << x << " " << y;
      picture.at(0, x, y) = 126;
    }
  }
  EXPECT_EQ(TypeParam::limits(frame).gMax, 128);
}

TYPED_TEST(ColourLevels, PictureIsCutIntoEightSubsections) {
  // Each subsection that has a pixel says once that it cannot be read.
  const auto subsections = [](int width, int height) {
    Picture picture(AV_PIX_FMT_YUV444P, width, height);
    picture.frame().format = AV_PIX_FMT_GBRP;
    OxVideoFrameYUV frame = picture.record();
    return linesIn(qatest::consoleOutputOf(
        [&] { EXPECT_EQ(fields(TypeParam::limits(frame)), fields(typename TypeParam::Level())); }));
  };
  EXPECT_EQ(subsections(2, 4), 8U);
  EXPECT_EQ(subsections(1, 4), 4U) << "nothing is left of column 0";
  EXPECT_EQ(subsections(2, 3), 6U) << "row bands 0 to 0, 0 to 1, 1 to 2, 2 to 3";
  EXPECT_EQ(subsections(1, 1), 1U);
  EXPECT_EQ(subsections(100, 100), 8U);
}

TYPED_TEST(ColourLevels, NoPictureGivesTheEmptyRecordInSilence) {
  using Level = typename TypeParam::Level;
  Picture picture = noise(AV_PIX_FMT_YUV420P, 16, 16, 8);
  picture.frame().format = AV_PIX_FMT_GRAY8;
  OxVideoFrameYUV noFrame = picture.record();
  noFrame.frame = nullptr;
  OxVideoFrameYUV noWidth = picture.record();
  noWidth.width = 0;
  OxVideoFrameYUV noHeight = picture.record();
  noHeight.height = 0;
  for (OxVideoFrameYUV* frame : {&noFrame, &noWidth, &noHeight}) {
    const std::string console = qatest::consoleOutputOf(
        [&] { EXPECT_EQ(fields(TypeParam::limits(*frame)), fields(Level())); });
    EXPECT_EQ(console, "");
  }
}

TYPED_TEST(ColourLevels, PictureDoesNotPass) {
  Picture picture(AV_PIX_FMT_YUV420P, 16, 16);
  picture.fill(126, 128, 128);
  OxVideoFrameYUV frame = picture.record();
  EXPECT_FALSE(TypeParam::limits(frame).passed);
}

TYPED_TEST(ColourLevels, PictureIsMeasuredByEightThreads) {
  Picture picture = noise(AV_PIX_FMT_YUV420P, 16, 16, 10);
  OxVideoFrameYUV frame = picture.record();
  threadsAsked = 0;
  TypeParam::limits(frame);
  EXPECT_EQ(threadsAsked, 8);
  TypeParam::limits(frame);
  EXPECT_EQ(threadsAsked, 16);
  frame.width = 0;
  TypeParam::limits(frame);
  EXPECT_EQ(threadsAsked, 16);
}

TYPED_TEST(ColourLevels, CheckStartsEightThreadsAPictureUnlessToldToStartNone) {
  const qatest::TempDir folder;
  const std::string file = makeClip(folder, "clip.nut", {.video = {qatest::ffv1()}});
  QATesterOptions options = qatest::stored();
  const auto threadsOf = [&](QAColourThreads threads) {
    options.colourThreads = threads;
    qatest::LoggedTester tester(
        file, options, "QATesterSlateSeconds=0\nChromaFrameChecks=3\nGamutFrameChecks=3\n");
    threadsAsked = 0;
    TypeParam::check(tester);
    return threadsAsked.load();
  };
  EXPECT_EQ(threadsOf(QAColourThreads::eight), 24);
  EXPECT_EQ(threadsOf(QAColourThreads::none), 0);
  EXPECT_EQ(QATesterOptions().colourThreads, QAColourThreads::eight);
}

std::ptrdiff_t runningThreads() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/task"),
                       std::filesystem::directory_iterator());
}

TYPED_TEST(ColourLevels, ThreadThatCannotBeStartedIsToldAndTheOthersAreWaitedFor) {
  using Level = typename TypeParam::Level;
  // Large enough for threads that are not waited for to be there still.
  Picture picture = noise(AV_PIX_FMT_YUV444P, 4096, 2160, 9);
  OxVideoFrameYUV frame = picture.record();
  const Level whole = TypeParam::limits(frame);
  const std::ptrdiff_t threadsOfTheTest = runningThreads();
  for (const int started : {0, 1, 4, 7}) {
    threadsThatStart = started;
    EXPECT_THROW(TypeParam::limits(frame), boost::thread_resource_error) << started;
    EXPECT_EQ(runningThreads(), threadsOfTheTest) << started;
    threadsThatStart = kAllThreads;
    EXPECT_EQ(fields(TypeParam::limits(frame)), fields(whole));
  }
}

}  // namespace
