// A check that only counts pictures takes the count of another reading where that can be relied on.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "support/Clips.h"
#include "support/TempDir.h"
#include "tester/Readings.h"
#include "tester/TestRun.h"

namespace {

using qatest::TempDir;
using qatester::CountedPictures;
using qatester::Taken;

constexpr int kPictures = 60;
constexpr int kWanted = 30;

/// Notes the number in the reading of each picture that it is given.
class Numbers final : public qatester::VideoMeasurement {
 public:
  void begin(float, int) override {}
  Taken add(int, const qatester::DecodedPicture& picture) override {
    seen.push_back(picture.number());
    return Taken::measured;
  }
  void describe(QACheckOutcome&) const override {}

  std::vector<int64_t> seen;
};

int thirty(int, float, double, int) {
  return kWanted;
}

constexpr qatester::VideoCheckProfile kCounting{
    .check = {.name = "test", .tag = "QATest", .progress = &QAListener::onTearingProgress},
    .skipsSlate = false,
    .countsOnly = true,
    .bound = thirty,
};

/// Runs the check on a clip, with this count from elsewhere; what it has seen.
struct Counted {
  explicit Counted(const std::optional<CountedPictures>& count, bool countsOnly = true,
                   bool withDisplays = false) {
    const TempDir folder;
    const std::string file = qatest::makeClip(
        folder, "clip.mkv", {.video = {qatest::ffv1(kPictures, AV_PIX_FMT_YUV422P, {10, 1})}});
    qatest::writeFile(folder.file("settings"), "");
    QATesterOptions options = qatest::pausing(QAPauses::untilReady);
    Settings settings(folder.file("settings").c_str(), nullptr, QALookup::stored);
    qatester::Displays displays(withDisplays ? QADisplays::pictures : QADisplays::nowhere,
                                withDisplays, folder.file("pictures"), {});
    const qatester::CheckContext context{file, &listener, nullptr, &settings, displays, 0, options};
    qatester::VideoCheckProfile profile = kCounting;
    profile.countsOnly = countsOnly;
    qatester::VideoRun run(context, profile, numbers);
    run.begin();
    qatester::Steps steps;
    qatester::readPictures(context, {&run}, steps, [&] {
      ++asked;
      return count;
    });
    frames = run.outcome().count;
  }

  /// How many different pictures came.
  int64_t decoded() const {
    std::vector<int64_t> all = numbers.seen;
    return std::unique(all.begin(), all.end()) - all.begin();
  }

  qatest::RecordingListener listener;
  Numbers numbers;
  int asked = 0;
  int frames = 0;
};

/// What a reading of the whole clip counts: its size is that of all clips.
CountedPictures all(int64_t pictures) {
  const qatest::VideoSpec spec = qatest::ffv1(kPictures, AV_PIX_FMT_YUV422P, {10, 1});
  return {.stream = 0,
          .pictures = pictures,
          .format = AV_PIX_FMT_YUV422P,
          .width = spec.width,
          .height = spec.height};
}

TEST(CountedPictures, AreNotDecodedAgain) {
  const Counted run(all(kPictures));
  EXPECT_EQ(run.frames, kWanted);
  EXPECT_EQ(run.decoded(), 1);
  EXPECT_EQ(run.asked, 1);
}

TEST(CountedPictures, GiveTheSameProgress) {
  Counted counted(all(kPictures));
  Counted decoded(std::nullopt);
  EXPECT_EQ(counted.listener.progress, decoded.listener.progress);
  EXPECT_EQ(decoded.decoded(), kWanted);
}

TEST(CountedPictures, AreReliedOnOnlyWhereADecoderThatIsNotDrainedGivesEnough) {
  constexpr int kDelay = 20;
  EXPECT_EQ(Counted(all(kWanted + kDelay)).decoded(), 1);
  const Counted few(all(kWanted + kDelay - 1));
  EXPECT_EQ(few.decoded(), kWanted);
  EXPECT_EQ(few.asked, 1) << "the answer stays the same";
}

TEST(CountedPictures, OfAnotherStreamFormatOrSizeAreNotReliedOn) {
  for (const auto change : {+[](CountedPictures& count) { count.stream = 1; },
                            +[](CountedPictures& count) { count.format = AV_PIX_FMT_YUV420P; },
                            +[](CountedPictures& count) { count.width += 2; },
                            +[](CountedPictures& count) { count.height += 2; }}) {
    CountedPictures count = all(kPictures);
    change(count);
    const Counted run(count);
    EXPECT_EQ(run.decoded(), kWanted);
    EXPECT_EQ(run.frames, kWanted);
  }
}

TEST(CountedPictures, AreNotAskedForByACheckThatLooksAtThem) {
  const Counted looks(all(kPictures), false);
  EXPECT_EQ(looks.decoded(), kWanted);
  EXPECT_EQ(looks.asked, 0);
  const Counted displays(all(kPictures), true, true);
  EXPECT_EQ(displays.decoded(), kWanted);
  EXPECT_EQ(displays.asked, 0);
}

}  // namespace
