// A picture that cannot be converted is like one that never came.

#include <gtest/gtest.h>

#include <string>

#include "checks/video/Pulldown.h"
#include "checks/video/Tearing.h"
#include "checks/video/Transitions.h"
#include "foundation/Settings.h"
#include "media/OxWrap.h"
#include "media/ReleasePicture.h"
#include "support/Clips.h"
#include "support/Values.h"
#include "visual/Displays.h"

namespace {

using qatester::DecodedPicture;
using qatester::PictureMaker;
using qatester::Taken;

constexpr int kFrames = 6;

/// Gives a measurement the pictures of a clip; before each of them one of another size that there
/// is no converting, if `interrupted`.
template <typename Measurement>
void feed(Measurement& measurement, const std::string& file, bool interrupted) {
  OxWrap wrap(file, {QAPauses::untilReady, {}});
  wrap.startBuffering();
  OxVideoStream* video = wrap.getVideoStream();
  ASSERT_NE(video, nullptr);
  PictureMaker maker;
  measurement.begin(25.0F, kFrames);
  for (int index = 0; index < kFrames; ++index) {
    OxVideoFrameYUV none;
    none.width = 8;
    none.height = 8;
    if (interrupted) {
      EXPECT_EQ(measurement.add(index, DecodedPicture(maker, none)), Taken::missed);
    }
    OxVideoFrameYUV yuv = video->getNextYUVFrame();
    const qatester::PictureGuard guard(yuv);
    ASSERT_TRUE(yuv.valid);
    EXPECT_NE(measurement.add(index, DecodedPicture(maker, yuv)), Taken::missed);
  }
}

double figureOf(const qatester::VideoMeasurement& measurement, const std::string& name) {
  QACheckOutcome outcome;
  outcome.began = true;
  measurement.describe(outcome);
  return qatest::numberOf(outcome, name);
}

class UnconvertiblePicture : public testing::Test {
 protected:
  UnconvertiblePicture() {
    // Flat, and with every other row bright from the fifth picture on.
    qatest::VideoSpec video = qatest::ffv1(kFrames);
    video.pixel = [](int component, int, int y, int frame) -> uint8_t {
      return component != 0 ? 128 : frame >= 4 && y % 2 == 0 ? 235 : 60;
    };
    file_ = makeClip(folder_, "clip.mkv", {.video = {video}});
  }

  qatest::TempDir folder_;
  std::string file_;
  const std::string name_;
  Settings settings_{"", nullptr};
  qatester::Displays displays_{QADisplays::nowhere, false, "", {}};
  const QATesterOptions options_;
  const qatester::CheckContext context_{name_,     nullptr, nullptr, &settings_,
                                        displays_, 0,       options_};
};

TEST_F(UnconvertiblePicture, LeavesTheOneBeforeToTearing) {
  // All pixels of the fifth picture change, but for 20 of 64 columns and the last of 48 rows.
  constexpr int kTorn = 44 * 47 * 100 / (64 * 48);
  for (const bool interrupted : {false, true}) {
    qatester::TearingMeasurement tearing(context_, 1.0F);
    feed(tearing, file_, interrupted);
    EXPECT_EQ(figureOf(tearing, "highestPercent"), kTorn) << interrupted;
    EXPECT_EQ(figureOf(tearing, "meanShare"), kTorn / 100.0 / kFrames) << interrupted;
  }
}

TEST_F(UnconvertiblePicture, LeavesTheTwoBeforeToTransitions) {
  for (const bool interrupted : {false, true}) {
    qatester::TransitionMeasurement transitions(context_, 0.05F);
    feed(transitions, file_, interrupted);
    EXPECT_EQ(transitions.verdict(), 1) << interrupted;
  }
}

TEST_F(UnconvertiblePicture, LeavesTheGroupToPulldown) {
  for (const bool interrupted : {false, true}) {
    qatester::PulldownMeasurement pulldown;
    feed(pulldown, file_, interrupted);
    EXPECT_EQ(figureOf(pulldown, "groups"), 1.0) << interrupted;
  }
}

}  // namespace
