#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "media/WrapTestSupport.h"
#include "support/FakeSleep.h"
#include "support/Sanitized.h"

namespace {

using namespace qatest;

const std::filesystem::path kFolder = QATESTER_MEDIA_DIR;

struct RealFile {
  std::string name;
  std::string pixelFormat;  ///< of the first video stream; empty without one
  float rate;
  unsigned audioStreams;

  friend std::ostream& operator<<(std::ostream& out, const RealFile& value) {
    return out << value.name;
  }
};

constexpr float kNtsc = 30000.0F / 1001.0F;

const std::string k420 = "YUV420P pixel format.";
const std::string k422 = "YUV422P pixel format.";
const std::string k444 = "YUV444P pixel format.";
const std::string kOther = "Other";

const std::vector<RealFile>& realFiles() {
  static const std::vector<RealFile> files = {
      {"bikes_25p_420_motion.mp4", k420, 25.0F, 0},
      {"camera_2997_fullrange_datatracks.mp4", kOther, kNtsc, 1},
      {"counter_30fps_17s.mp4", k420, 23040000.0F / 767849.0F, 1},
      {"dv_pal_interlaced_bff.mov", k420, 25.0F, 0},
      {"dvb_1080i25_h264_3eac3.ts", k420, 25.0F, 3},
      {"dvb_1080i25_h264_4eac3_joined.ts", k420, 25.0F, 4},
      {"dvb_576i25_mpeg2_mp2.ts", k420, 25.0F, 1},
      {"dvb_576p25_h264_aac_audiofirst.ts", k420, 25.0F, 1},
      {"ffv1_422_640x480.mkv", k422, 25.0F, 0},
      {"fragmented_wrong_duration.mp4", k420, kNtsc, 1},
      {"h264_10bit_1s.mp4", kOther, 30.0F, 0},
      {"imf_pcm_s24_stereo_10s.mxf", "", 0.0F, 1},
      {"imx_525_60_422.mov", k422, 25.0F, 0},
      {"isdb_1080i2997_h264_mono_mp2.ts", k420, kNtsc, 1},
      {"mkv_bad_ebml_start.mkv", "", 0.0F, 0},
      {"mpeg2_ps_3frames.ps", k420, 25.0F, 1},
      {"mpeg4_asp_23976_mp3.avi", k420, 24000.0F / 1001.0F, 1},
      {"nasa_2video_2audio_sub.mp4", k420, 25.0F, 2},
      {"no_duration.webm", k420, 15000.0F / 1001.0F, 1},
      {"pcm_u8_96k_mono_17s.wav", "", 0.0F, 1},
      {"photo_jpeg_yuvj422p.mov", kOther, 25.0F, 0},
      {"scene_cuts_25p_444.mp4", k444, 25.0F, 0},
      {"slowmo_vfr_video_only.mp4", k420, 1090000.0F / 36251.0F, 0},
      {"tone_card_1080p25_aac.mp4", k420, 25.0F, 1},
  };
  return files;
}

class RealMedia : public testing::TestWithParam<RealFile> {
 protected:
  void SetUp() override {
    if (!std::filesystem::is_directory(kFolder)) {
      GTEST_SKIP() << "no media folder: set QATESTER_MEDIA_DIR";
    }
    opens = !GetParam().pixelFormat.empty() || GetParam().audioStreams > 0;
  }

  std::string file = (kFolder / GetParam().name).string();
  bool opens = false;
  QuickWaits quick;
};

TEST_P(RealMedia, HasTheStreamsItIsKnownFor) {
  OxWrap wrap(file);
  EXPECT_EQ(wrap.getOpenError().empty(), opens);
  EXPECT_EQ(wrap.getNumberOfAudioStreams(), GetParam().audioStreams);
  OxVideoStream* video = wrap.getVideoStream();
  ASSERT_EQ(video != nullptr, !GetParam().pixelFormat.empty());
  if (video != nullptr) {
    EXPECT_EQ(video->getPixelFormat(), GetParam().pixelFormat);
    EXPECT_EQ(video->getFPS(), GetParam().rate);
  }
}

TEST_P(RealMedia, GivesTheSamePicturesAndBlocksWithEitherPauses) {
  const Contents expected = opens ? expectedContents(file) : Contents{};
  EXPECT_EQ(contentsThroughWrappers(file, QAPauses::fixed), expected);
  EXPECT_EQ(contentsThroughWrappers(file, QAPauses::untilReady), expected);
}

TEST_P(RealMedia, LosesNoPacketByDiscarding) {
  if (opens) {
    expectDiscardingChangesNoPacket(file);
  } else {
    EXPECT_EQ(OxWrap(file).formatContext, nullptr);
  }
}

INSTANTIATE_TEST_SUITE_P(, RealMedia, testing::ValuesIn(someOf(realFiles())));

TEST(RealMediaFolder, HoldsNoFileThatIsNotTested) {
  if (!std::filesystem::is_directory(kFolder)) {
    GTEST_SKIP() << "no media folder: set QATESTER_MEDIA_DIR";
  }
  for (const auto& entry : std::filesystem::directory_iterator(kFolder)) {
    const std::string name = entry.path().filename().string();
    const bool tested = std::any_of(realFiles().begin(), realFiles().end(),
                                    [&](const RealFile& file) { return file.name == name; });
    EXPECT_TRUE(tested || entry.path().extension() == ".md") << name;
  }
}

}  // namespace
