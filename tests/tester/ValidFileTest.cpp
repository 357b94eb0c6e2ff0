#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "media/OxWrap.h"
#include "support/Clips.h"
#include "support/FakeSleep.h"
#include "support/LoggedTester.h"
#include "support/TempDir.h"

namespace {

using qatest::ClipSpec;
using qatest::LoggedTester;
using qatest::TempDir;
using qatest::VideoSpec;

using Pauses = std::vector<unsigned>;

/// One way through `isValidFile`.
struct Case {
  const char* name;
  std::vector<VideoSpec> video;
  int audioStreams;
  bool valid;
  std::string logged;
  std::vector<std::string> messages;
  int failures;
  std::string reason;
};

void PrintTo(const Case& c, std::ostream* out) {
  *out << c.name;
}

constexpr AVPixelFormat k420 = AV_PIX_FMT_YUV420P;
constexpr AVPixelFormat k422 = AV_PIX_FMT_YUV422P;
constexpr AVPixelFormat k444 = AV_PIX_FMT_YUV444P;
constexpr AVPixelFormat k422TenBit = AV_PIX_FMT_YUV422P10LE;

std::vector<VideoSpec> video(AVPixelFormat format) {
  return {qatest::ffv1(3, format)};
}

std::vector<Case> cases() {
  const std::string layout = "QATester: Unsupported stream layout, bailing out.\n";
  const std::vector<std::string> setup = {"QATester: Unsupported stream setup"};
  std::vector<Case> all = {
      {"NoAudio",
       video(k420),
       0,
       false,
       "QATester: No audio stream.\n",
       {"QATester: No Audio Stream."},
       0,
       "no audio stream"},
      {"NoVideo",
       {},
       1,
       false,
       "QATester: No video stream.\n",
       {"QATester: No video stream."},
       0,
       "no video stream"},
      {"TenBit",
       video(k422TenBit),
       1,
       false,
       "QATester: Detected unsupported pixel format.\n",
       {},
       1,
       "pixel format yuv422p10le is not 8-bit planar 4:2:0, 4:2:2 or 4:4:4"},
      {"LayoutIsJudgedBeforeThePicture", video(k422TenBit), 2, false, layout, setup, 0,
       "2 audio streams (1, 3, 4 or 8 are supported)"},
      {"OneStream", video(k420), 1, true, "", {}, 0, ""},
      {"ThreeStreams444", video(k444), 3, true, "", {}, 0, ""},
      {"FourStreams", video(k420), 4, true, "", {}, 0, ""},
      {"EightStreams422", video(k422), 8, true, "", {}, 0, ""},
  };
  for (const auto& [name, streams] : std::vector<std::pair<const char*, int>>{
           {"TwoStreams", 2}, {"FiveStreams", 5}, {"SevenStreams", 7}, {"NineStreams", 9}}) {
    all.push_back({name, video(k420), streams, false, layout, setup, 0,
                   std::to_string(streams) + " audio streams (1, 3, 4 or 8 are supported)"});
  }
  return all;
}

class ValidFile : public testing::TestWithParam<Case> {
 protected:
  void judge(const QATesterOptions& options) {
    const Case& c = GetParam();
    const TempDir folder;
    const std::string file = qatest::makeClip(
        folder, "clip.mkv",
        {.video = c.video,
         .audio = qatest::audioStreams(c.audioStreams, qatest::audio("pcm_s16le", 1, 0.2))});
    LoggedTester tester(file, options);
    EXPECT_EQ(tester.run([](QATester& t) { return t.isValidFile(); }), c.valid);
    EXPECT_EQ(tester.logged(), c.logged);
    EXPECT_EQ(tester.listener.messages, c.messages);
    EXPECT_EQ(tester.listener.failures, c.failures);
    EXPECT_TRUE(tester.listener.progress.empty());
    ASSERT_EQ(tester.outcomes.size(), 1U);
    EXPECT_TRUE(tester.outcomes[0].opened);
    EXPECT_TRUE(tester.outcomes[0].measured);
    EXPECT_EQ(tester.outcomes[0].reason, c.reason);
  }
};

TEST_P(ValidFile, IsJudgedByItsStreams) {
  qatest::clearPauses();
  judge({});
  EXPECT_EQ(qatest::callerPauses(), Pauses{500}) << "the start's, and none at the end";
}

TEST_P(ValidFile, IsJudgedTheSameUntilReady) {
  qatest::clearPauses();
  judge(qatest::untilReady());
  EXPECT_EQ(qatest::callerPauses(), Pauses{});
  EXPECT_EQ(qatest::readerPauses(), Pauses{});
}

INSTANTIATE_TEST_SUITE_P(Layouts, ValidFile, testing::ValuesIn(cases()),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(InvalidFile, ThatDoesNotOpenIsLoggedWithItsOddQuoteAndNobodyIsTold) {
  LoggedTester tester("no/such.mov");
  EXPECT_FALSE(tester.run([](QATester& t) { return t.isValidFile(); }));
  EXPECT_EQ(tester.logged(), "QATester can't open the file 'no/such.mov.\n");
  EXPECT_TRUE(tester.listener.messages.empty());
  EXPECT_EQ(tester.listener.failures, 0);
  ASSERT_EQ(tester.outcomes.size(), 1U);
  EXPECT_FALSE(tester.outcomes[0].opened);
  EXPECT_FALSE(tester.outcomes[0].measured);
  EXPECT_EQ(tester.outcomes[0].reason,
            "cannot be opened as a media file: No such file or directory");
}

TEST(InvalidFile, NeedsNeitherLoggerNorListener) {
  const TempDir folder;
  const std::string tenBit = qatest::makeClip(
      folder, "tenbit.mkv", {.video = video(k422TenBit), .audio = qatest::audioStreams(1)});
  for (const std::string& file : {std::string("no/such.mov"), tenBit}) {
    QATester tester(file.c_str(), nullptr, "", "");
    EXPECT_FALSE(tester.isValidFile());
  }
}

TEST(StreamSetup, FollowsTheNumberOfStreamsAlone) {
  QATester tester("", nullptr, "", "");
  const int setups[] = {0, 1, 0, 2, 3, 0, 0, 0, 4, 0};
  for (int streams = 0; streams < 10; ++streams) {
    const TempDir folder;
    OxWrap wrap(qatest::makeClip(
        folder, "clip.mkv",
        {.video = video(k420),
         .audio = qatest::audioStreams(streams, qatest::audio("pcm_s16le", 6, 0.1))}));
    EXPECT_EQ(tester.getAudioStreamSetup(&wrap), setups[streams]) << streams << " streams";
  }
  EXPECT_EQ(tester.getAudioStreamSetup(nullptr), QA_STREAM_SETUP_UNSUPPORTED);
}

}  // namespace
