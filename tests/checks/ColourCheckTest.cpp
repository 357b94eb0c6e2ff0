// What holds for the chroma and the gamut check alike, beside the steps that all video checks
// share: these are proved in tester/VideoCheckRunTest.cpp.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "checks/ColourChecks.h"
#include "support/ChangingFormat.h"
#include "support/FakeSleep.h"
#include "support/Sanitized.h"

namespace {

using namespace qatest;

using Pauses = std::vector<unsigned>;

const Colour kGrey{126, 128, 128};        // R = G = B = 128
const Colour kSuperWhite{254, 128, 128};  // R = G = B = 277
const Colour kSubBlack{1, 128, 128};      // R = G = B = -17

template <typename Check>
class ColourCheck : public testing::Test {
 protected:
  static constexpr bool kHasLuma = std::is_same_v<Check, ChromaCheck>;

  static typename Check::Level runOn(const std::string& file, const std::string& settings,
                                     QAPauses pauses = QAPauses::untilReady) {
    LoggedTester tester(file, stored(pauses), settings);
    return check<Check>(tester);
  }

  static std::string line(const std::string& text) { return Check::kTag + text + "\n"; }

  std::string clip(const VideoSpec& video, const std::string& name = "clip.nut") {
    return makeClip(folder, name, {.video = {video}});
  }

  TempDir folder;
};

struct NameOf {
  template <typename Check>
  static std::string GetName(int) {
    return Check::kTag;
  }
};

using Checks = testing::Types<ChromaCheck, GamutCheck>;
TYPED_TEST_SUITE(ColourCheck, Checks, NameOf);

TYPED_TEST(ColourCheck, PlainConstructorMeasuresAHundredFramesBehindFiveSeconds) {
  const VideoSpec video = ffv1(300, AV_PIX_FMT_YUV422P);
  LoggedTester tester(this->clip(video));
  clearPauses();
  const auto result = check<TypeParam>(tester);
  EXPECT_EQ(extremesOf(result), expectedOf(video, 125, 100).extremes<TypeParam>());
  EXPECT_FALSE(result.passed);
  EXPECT_EQ(tester.logged(), this->line(": Beginning Test.") + this->line(": Buffering...") +
                                 this->line(": Detected YUV422P pixel format.") +
                                 this->line(": Dumping slate...") +
                                 this->line(": Starting Checks.") +
                                 this->line(": Stopping Test...") + this->line(": Test Complete."));
  EXPECT_EQ(callerPauses(), (Pauses{500, 100}));
  std::vector<float> percents;
  for (int i = 1; i < 100; ++i) {
    if (i != 53 && i != 59) {  // lost in single precision
      percents.push_back(static_cast<float>(i));
    }
  }
  EXPECT_EQ(tester.listener.progress[TypeParam::kSlot], percents);
  EXPECT_EQ(tester.listener.progress.size(), 1U);
  EXPECT_TRUE(tester.listener.messages.empty());
  EXPECT_EQ(tester.listener.failures, 0);
}

TYPED_TEST(ColourCheck, PlainConstructorKnowsNoStoredSettings) {
  const std::string file = this->clip(plain(kGrey, 300));
  LoggedTester tester(file, untilReady(), quick<TypeParam>(1) + TypeParam::kMaxKey + "=10\n");
  EXPECT_TRUE(check<TypeParam>(tester).passed);
  EXPECT_EQ(tester.outcomes.at(0).count, 100);
}

TYPED_TEST(ColourCheck, NothingMeasuredIsFailedAndEmpty) {
  // A second's worth after the slate.
  LoggedTester tester(this->clip(ffv1(50), "clip.mkv"), stored(), "QATesterSlateSeconds=1\n");
  const auto result = check<TypeParam>(tester);
  EXPECT_FALSE(result.passed);
  EXPECT_EQ(extremesOf(result), Expected().extremes<TypeParam>());
  EXPECT_FALSE(tester.outcomes.at(0).measured);
}

TYPED_TEST(ColourCheck, ThatCannotRunReturnsItsEmptyRecord) {
  struct {
    const char* name;
    ClipSpec spec;
    std::string fileName;
    std::string logged;
    std::vector<std::string> messages;
    int failures;
  } const cases[] = {
      {"missing file", {}, "", this->line(": Failed to load file..."), {}, 0},
      {"no video",
       {.audio = audioStreams(1)},
       "clip.wav",
       this->line(": Buffering...") + this->line(": No video stream."),
       {TypeParam::kNoVideoMessage},
       0},
      {"other pixel format",
       {.video = {proRes(5)}},
       "clip.mov",
       this->line(": Buffering...") + this->line(": Detected Other"),
       {},
       1},
  };
  for (const auto& c : cases) {
    LoggedTester tester(c.fileName.empty() ? this->folder.file("none.mov")
                                           : makeClip(this->folder, c.fileName, c.spec));
    const auto result = check<TypeParam>(tester);
    EXPECT_FALSE(result.passed) << c.name;
    EXPECT_EQ(extremesOf(result), Expected().extremes<TypeParam>()) << c.name;
    EXPECT_EQ(result.rMax, INT_MIN) << c.name;
    EXPECT_EQ(result.rMin, INT_MAX) << c.name;
    EXPECT_EQ(tester.logged(), this->line(": Beginning Test.") + c.logged) << c.name;
    EXPECT_EQ(tester.listener.messages, c.messages) << c.name;
    EXPECT_EQ(tester.listener.failures, c.failures) << c.name;
    EXPECT_TRUE(tester.listener.progress.empty()) << c.name;
  }
}

struct Place {
  int x;
  int y;
};

/// The corners, and the pixels on either side of where a picture is cut for its threads.
std::vector<Place> places(int width, int height) {
  std::vector<Place> list;
  for (const int y : {0, height / 4 - 1, height / 4, 2 * height / 4 - 1, 2 * height / 4,
                      3 * height / 4 - 1, 3 * height / 4, height - 1}) {
    for (const int x : {0, width / 2 - 1, width / 2, width - 1}) {
      list.push_back({x, y});
    }
  }
  return list;
}

TYPED_TEST(ColourCheck, FindsASinglePixelWhereverItIs) {
  for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV444P}) {
    VideoSpec video = plain(kGrey, 60);
    video.pixelFormat = format;
    video.width = 22;
    video.height = 18;
    const std::vector<Place> odd = places(video.width, video.height);
    const int shiftX = format == AV_PIX_FMT_YUV444P ? 0 : 1;
    const int shiftY = format == AV_PIX_FMT_YUV420P ? 1 : 0;
    // The pixel that stands out in frame k goes further than those of the frames before it.
    video.pixel = [=](int component, int x, int y, int frame) {
      const int grey = component == 0 ? kGrey.y : 128;
      if (frame == 0 || frame > static_cast<int>(odd.size())) {
        return static_cast<uint8_t>(grey);
      }
      const Place& place = odd[static_cast<std::size_t>(frame) - 1];
      const bool here = component == 0 ? x == place.x && y == place.y
                                       : x == place.x >> shiftX && y == place.y >> shiftY;
      return static_cast<uint8_t>(!here ? grey : component == 1 ? 120 - 2 * frame : 190 + frame);
    };
    const std::string file = this->clip(video);
    for (int budget = 1; budget <= static_cast<int>(odd.size()); budget += kSanitized ? 3 : 1) {
      const Place& last = odd[static_cast<std::size_t>(budget) - 1];
      const auto result = this->runOn(file, quick<TypeParam>(budget));
      EXPECT_EQ(extremesOf(result), expectedOf(video, 1, budget).template extremes<TypeParam>())
          << format << ": " << last.x << ", " << last.y;
      EXPECT_EQ(result.rMax, convert({190 + budget, 120 - 2 * budget, 190 + budget}).r)
          << format << ": " << last.x << ", " << last.y;
    }
  }
}

TYPED_TEST(ColourCheck, MeasuresPicturesOfAnySize) {
  for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV444P}) {
    for (const auto& [width, height] :
         {std::pair{1, 1}, {1, 9}, {9, 1}, {3, 5}, {2, 2}, {17, 9}, {64, 3}, {131, 67}}) {
      VideoSpec video = ffv1(40, format);
      video.encoder = "rawvideo";
      video.options = {};
      video.width = width;
      video.height = height;
      EXPECT_EQ(extremesOf(this->runOn(this->clip(video), quick<TypeParam>(4))),
                expectedOf(video, 1, 4).extremes<TypeParam>())
          << format << ": " << width << "x" << height;
    }
  }
}

/// Vertical bars, each of four columns: a picture of two would be lost to the encoder's slices.
VideoSpec bars(const std::vector<Colour>& colours) {
  VideoSpec video = plain(kGrey, 40);
  video.pixelFormat = AV_PIX_FMT_YUV444P;
  video.width = 4 * static_cast<int>(colours.size());
  video.pixel = [colours](int component, int x, int, int) {
    const Colour& colour = colours[static_cast<std::size_t>(x / 4)];
    return static_cast<uint8_t>(component == 0 ? colour.y : component == 1 ? colour.u : colour.v);
  };
  return video;
}

/// Every neutral colour from one luma to another.
std::vector<Colour> greys(int first, int last) {
  std::vector<Colour> colours;
  for (int y = first; y <= last; ++y) {
    colours.push_back({y, 128, 128});
  }
  return colours;
}

TYPED_TEST(ColourCheck, JudgesKnownColours) {
  const std::vector<Colour> fullBars = {{235, 128, 128}, {210, 16, 146},  {170, 166, 16},
                                        {145, 54, 34},   {106, 202, 222}, {81, 90, 240},
                                        {41, 240, 110},  {16, 128, 128}};
  struct {
    const char* why;
    std::vector<Colour> colours;
    bool passes;
  } const cases[] = {
      {"greys from the first above black to the last below white", greys(17, 234), true},
      {"black is 0, on the limit", greys(16, 16), false},
      {"white is 255, on the limit", greys(235, 235), false},
      {"super-white", greys(236, 254), false},
      {"below black", greys(1, 15), false},
      {"bars hold components of 0 and 255", fullBars, false},
      {"pale colours", {{126, 110, 140}, {150, 140, 120}, {90, 128, 135}}, true},
      {"saturated red beyond its limit", {{82, 90, 250}}, false},
      {"saturated green beyond red's and blue's", {{145, 40, 20}}, false},
      {"saturated blue beyond its limit", {{41, 250, 110}}, false},
      {"the most illegal of all", {{255, 255, 255}, {0, 0, 0}, {0, 255, 0}, {255, 0, 255}}, false},
  };
  for (const auto& c : cases) {
    const VideoSpec video = bars(c.colours);
    const auto result = this->runOn(this->clip(video), quick<TypeParam>(2));
    EXPECT_EQ(result.passed, c.passes) << c.why;
    EXPECT_EQ(extremesOf(result), expectedOf(video, 1, 2).extremes<TypeParam>()) << c.why;
  }
}

TYPED_TEST(ColourCheck, LimitsAreStrictForEveryChannelOnEitherSide) {
  // Each channel is the largest of one colour and the smallest of another.
  for (const Colour& colour : {Colour{126, 128, 160}, Colour{126, 100, 100}, Colour{126, 160, 128},
                               Colour{126, 160, 96}}) {
    const std::string file = this->clip(plain(colour));
    const Converted channels = convert(colour);
    const int least = std::min({channels.r, channels.g, channels.b});
    const int most = std::max({channels.r, channels.g, channels.b});
    struct {
      int min;
      int max;
      bool passes;
    } const cases[] = {
        {least - 1, most + 1, true}, {least, most + 1, false},     {least - 1, most, false},
        {least, most, false},        {least + 1, most + 1, false}, {least - 1, most - 1, false},
        {INT_MIN, INT_MAX, true},    {most + 1, least - 1, false}, {least - 1, INT_MIN, false}};
    for (const auto& c : cases) {
      LoggedTester tester(file, stored(),
                          quick<TypeParam>(1) + TypeParam::kMinKey + "=" + std::to_string(c.min) +
                              "\n" + TypeParam::kMaxKey + "=" + std::to_string(c.max) + "\n");
      EXPECT_EQ(check<TypeParam>(tester).passed, c.passes)
          << colour.u << " " << colour.v << ": " << c.min << " to " << c.max;
      const QALimits& limits = tester.outcomes.at(0).limits.at(0);
      EXPECT_EQ(limits.of, "RGB");
      EXPECT_EQ(limits.min, c.min);
      EXPECT_EQ(limits.max, c.max);
    }
  }
}

TYPED_TEST(ColourCheck, ALimitThatIsNoNumberIsZero) {
  EXPECT_FALSE(
      this->runOn(this->clip(plain(kGrey)), quick<TypeParam>(1) + TypeParam::kMaxKey + "=white\n")
          .passed);
  EXPECT_TRUE(
      this->runOn(this->clip(plain(kGrey)), quick<TypeParam>(1) + TypeParam::kMinKey + "=black\n")
          .passed);
}

/// The names of the picture files of frames 0 to `count` - 1, sorted.
template <typename Check>
std::vector<std::string> pictureNames(int count) {
  std::vector<std::string> names;
  for (const char* display : Check::kDisplays) {
    for (int i = 0; i < count; ++i) {
      names.push_back(std::string(display) + (i < 10 ? "-0000" : "-000") + std::to_string(i) +
                      ".png");
    }
  }
  return names;
}

std::vector<std::string> namesIn(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

QATesterOptions withDisplays(QADisplays displays, const std::string& folder) {
  QATesterOptions options = stored();
  options.displays = displays;
  options.displayFolder = folder;
  return options;
}

TYPED_TEST(ColourCheck, DrawsEachMeasuredFrameIntoPictureFiles) {
  const VideoSpec video = ffv1(60);
  const std::string file = this->clip(video);
  const std::string shots = this->folder.file("a/b");
  LoggedTester tester(file, withDisplays(QADisplays::pictures, shots), quick<TypeParam>(12));
  EXPECT_EQ(extremesOf(check<TypeParam>(tester)), expectedOf(video, 1, 12).extremes<TypeParam>());
  EXPECT_EQ(namesIn(shots), pictureNames<TypeParam>(12));
  for (const std::string& name : namesIn(shots)) {
    EXPECT_EQ(readFile(shots + "/" + name).substr(1, 3), "PNG") << name;
  }
  LoggedTester without(file, stored(), quick<TypeParam>(12));
  check<TypeParam>(without);
  EXPECT_EQ(tester.logged(), without.logged());
  EXPECT_EQ(tester.listener.progress, without.listener.progress);
}

TYPED_TEST(ColourCheck, DrawsNothingUnlessItIsAskedTo) {
  const std::string file = this->clip(ffv1(60));
  const std::string shots = this->folder.file("shots");
  struct {
    QADisplays displays;
    const char* settings;
  } const cases[] = {{QADisplays::nowhere, "QATesterVisual=1\n"},
                     {QADisplays::asSet, ""},
                     {QADisplays::asSet, "QATesterVisual=0\n"}};
  for (const auto& c : cases) {
    LoggedTester tester(file, withDisplays(c.displays, shots), quick<TypeParam>(2) + c.settings);
    check<TypeParam>(tester);
    EXPECT_TRUE(tester.outcomes.at(0).measured);
    EXPECT_FALSE(std::filesystem::exists(shots));
  }
}

TYPED_TEST(ColourCheck, DrawsNoPictureThatCannotBeRead) {
  const std::string file = clipWithChangingFormat(this->folder, "clip.ts");
  const std::string shots = this->folder.file("shots");
  LoggedTester tester(file, withDisplays(QADisplays::pictures, shots),
                      quick<TypeParam>(kReadableFrames + 5));
  check<TypeParam>(tester);
  EXPECT_EQ(namesIn(shots), pictureNames<TypeParam>(kReadableFrames - 1));
}

TYPED_TEST(ColourCheck, PictureThatCannotBeWrittenIsToldOnceAndHarmsNothing) {
  const VideoSpec video = ffv1(60);
  const std::string file = this->clip(video);
  writeFile(this->folder.file("shots"), "");
  std::string lines;
  QATesterOptions options = withDisplays(QADisplays::pictures, this->folder.file("shots"));
  options.console = [&](const std::string& line) { lines += withoutTimes(line); };
  // A console that is switched off hears of it, too.
  for (const char* console : {"", "QATesterConsoleOutput=0\n"}) {
    lines.clear();
    LoggedTester tester(file, options, quick<TypeParam>(5) + console);
    EXPECT_EQ(extremesOf(check<TypeParam>(tester)), expectedOf(video, 1, 5).extremes<TypeParam>());
    const std::size_t told = lines.find("[T] displays: cannot write the picture \"");
    ASSERT_NE(told, std::string::npos) << lines;
    EXPECT_EQ(lines.find("displays: ", told + 5), std::string::npos) << lines;
    EXPECT_NE(tester.logged().find("displays: cannot write the picture \""), std::string::npos);
    EXPECT_EQ(readFile(this->folder.file("shots")), "");
  }
}

TYPED_TEST(ColourCheck, MeasuresTheSameWithoutThreadsOfItsOwn) {
  for (const qatest::ClipKind& kind : qatest::clipKinds(qatest::kSanitized)) {
    const std::string file = makeClip(this->folder, kind.fileName, kind.spec);
    QATesterOptions options = stored();
    LoggedTester threaded(file, options, quick<TypeParam>(10));
    options.colourThreads = QAColourThreads::none;
    LoggedTester alone(file, options, quick<TypeParam>(10));
    const auto expected = check<TypeParam>(threaded);
    const auto result = check<TypeParam>(alone);
    EXPECT_EQ(extremesOf(result), extremesOf(expected)) << kind.fileName;
    EXPECT_EQ(result.passed, expected.passed) << kind.fileName;
    EXPECT_EQ(alone.logged(), threaded.logged()) << kind.fileName;
    EXPECT_EQ(alone.listener.progress, threaded.listener.progress) << kind.fileName;
    const bool lossless = !kind.spec.video.empty() && kind.spec.video[0].encoder == "ffv1";
    if (lossless && alone.outcomes.at(0).measured) {
      EXPECT_EQ(extremesOf(result), expectedOf(kind.spec.video[0], 1, 10).extremes<TypeParam>())
          << kind.fileName;
    }
  }
}

TYPED_TEST(ColourCheck, MayRunMoreThanOnceAndAfterTheOther) {
  const VideoSpec video = ffv1(60);
  LoggedTester tester(this->clip(video), stored(), quick<ChromaCheck>(5) + quick<GamutCheck>(5));
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(extremesOf(check<TypeParam>(tester)), expectedOf(video, 1, 5).extremes<TypeParam>());
    EXPECT_EQ(extremesOf(check<GamutCheck>(tester)),
              expectedOf(video, 1, 5).extremes<GamutCheck>());
    EXPECT_EQ(extremesOf(check<ChromaCheck>(tester)),
              expectedOf(video, 1, 5).extremes<ChromaCheck>());
  }
}

}  // namespace
