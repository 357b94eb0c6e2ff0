// Pictures of what programme checks find, as files.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "support/Clips.h"
#include "support/TempDir.h"
#include "tester/QATester.h"
#include "visual/PngFile.h"

namespace {

using qatest::makeClip;
using qatest::VideoSpec;

constexpr int kCut = 20;
/// The first picture with a white square that is above the range of video.
constexpr int kWhite = 12;

bool isInSquare(int x, int y) {
  return x >= 16 && x < 48 && y >= 8 && y < 40;
}

class EventPictures : public testing::Test {
 protected:
  QATesterOptions options(const std::string& folder) const {
    QATesterOptions options;
    options.pauses = QAPauses::untilReady;
    options.lookup = QALookup::stored;
    options.profile = "general";
    options.displays = QADisplays::pictures;
    options.displayFolder = folder;
    options.console = [this](const std::string& line) { console_ += line; };
    return options;
  }

  /// Two shots that have nothing in common.
  std::string twoShots() {
    VideoSpec video = qatest::ffv1(40);
    video.width = 96;
    video.height = 64;
    video.pixel = [](int component, int x, int y, int frame) {
      if (component > 0) {
        return uint8_t{128};
      }
      // Each moves a little from picture to picture.
      return static_cast<uint8_t>(frame < kCut ? 30 + 2 * x + frame : 190 - 2 * y - frame);
    };
    return makeClip(dir_, "shots.mkv", {{video}, {}});
  }

  std::string whiteSquare() {
    VideoSpec video = qatest::ffv1(16);
    video.width = 96;
    video.height = 64;
    video.pixel = [](int component, int x, int y, int frame) {
      const bool isWhite = component == 0 && frame >= kWhite && isInSquare(x, y);
      return static_cast<uint8_t>(isWhite ? 255 : 128);
    };
    return makeClip(dir_, "white.mkv", {{video}, {}});
  }

  std::vector<QACheckOutcome> run(const std::string& file, const QATesterOptions& options,
                                  const std::vector<std::string>& checks) const {
    QATester tester(file.c_str(), nullptr, "", "", options);
    console_.clear();
    return tester.runChecks(checks);
  }

  static std::set<std::string> namesIn(const std::string& folder) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      names.insert(entry.path().filename().string());
    }
    return names;
  }

  qatest::TempDir dir_;
  mutable std::string console_;
};

TEST_F(EventPictures, AreThoseOnEitherSideOfACut) {
  const std::string folder = dir_.file("found");
  run(twoShots(), options(folder), {"cuts"});
  EXPECT_EQ(namesIn(folder), (std::set<std::string>{"Cuts-00019.png", "Cuts-00020.png"}));
}

TEST_F(EventPictures, HaveInRedWhatIsOutsideTheRangeAndAllElseInTheDark) {
  const std::string folder = dir_.file("found");
  const auto outcome = run(whiteSquare(), options(folder), {"signal-range"}).front();
  ASSERT_EQ(outcome.events.size(), 1U);
  const int64_t worst = outcome.events[0].worstFrame.value_or(-1);
  EXPECT_GE(worst, kWhite);
  const std::string name = "Signal-Range-000" + std::to_string(worst) + ".png";
  ASSERT_EQ(namesIn(folder), std::set<std::string>{name});

  const qatest::Pixels png = qatest::readPng(folder + "/" + name);
  ASSERT_EQ(png.width, 96);
  ASSERT_EQ(png.height, 64);
  // Luma 128 of video range is (128 - 16) / 219 of white.
  const int grey = (128 - 16) * 255 / 219 / 3;
  for (int y = 0; y < png.height; ++y) {
    for (int x = 0; x < png.width; ++x) {
      const uint8_t* pixel = &png.bytes[static_cast<std::size_t>(3 * (y * png.width + x))];
      if (isInSquare(x, y)) {
        ASSERT_TRUE(pixel[0] == 0 && pixel[1] == 0 && pixel[2] == 255) << x << " " << y;
      } else {
        for (int i = 0; i < 3; ++i) {
          ASSERT_NEAR(pixel[i], grey, 1) << x << " " << y;
        }
      }
    }
  }
}

TEST_F(EventPictures, ChangeNoResultAndAreNotMadeUnlessAskedFor) {
  const std::string file = twoShots();
  const std::string folder = dir_.file("none");
  QATesterOptions silent = options(folder);
  silent.displays = QADisplays::nowhere;
  const auto expected = run(file, silent, {"cuts", "repeats"});
  const std::string lines = console_;
  EXPECT_FALSE(std::filesystem::exists(folder));
  const auto found = run(file, options(folder), {"cuts", "repeats"});
  ASSERT_EQ(found.size(), expected.size());
  for (std::size_t i = 0; i < found.size(); ++i) {
    EXPECT_EQ(found[i].summary, expected[i].summary);
    EXPECT_EQ(found[i].events.size(), expected[i].events.size());
  }
  EXPECT_EQ(console_.size(), lines.size());
}

TEST_F(EventPictures, ThatCannotBeWrittenAreSaidOnceAndHarmNothing) {
  const std::string folder = dir_.file("taken");
  qatest::writeFile(folder, "a file, no folder");
  const auto outcome = run(twoShots(), options(folder), {"cuts"}).front();
  EXPECT_EQ(outcome.summary, "1 cut");
  const std::size_t first = console_.find("displays: cannot write the picture \"");
  ASSERT_NE(first, std::string::npos) << console_;
  EXPECT_EQ(console_.find("displays: ", first + 5), std::string::npos) << console_;
}

}  // namespace
