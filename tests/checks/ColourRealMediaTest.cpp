// The whole record of both colour checks against one that is worked out from FFmpeg's own pictures.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <utility>

#include "checks/ColourChecks.h"
#include "media/Reference.h"
#include "support/MediaFolder.h"
#include "support/Sanitized.h"

namespace {

using namespace qatest;

const std::filesystem::path kFolder = QATESTER_MEDIA_DIR;

/// Not the defaults: most of the files are short, and each pixel is worked out by itself.
constexpr int kSlateSeconds = 0;
constexpr int kBudget = 5;

/// Empty where there is no such chroma layout to read.
std::optional<std::pair<int, int>> chromaShifts(int pixelFormat) {
  switch (pixelFormat) {
    case AV_PIX_FMT_YUV420P:
      return std::pair{1, 1};
    case AV_PIX_FMT_YUV422P:
      return std::pair{1, 0};
    case AV_PIX_FMT_YUV444P:
      return std::pair{0, 0};
    default:
      return std::nullopt;
  }
}

void add(Expected& expected, const AVFrame& picture) {
  const auto shifts = chromaShifts(picture.format);
  if (!shifts) {
    return;
  }
  const auto sample = [&picture](int plane, int x, int y) {
    return picture.data[plane][static_cast<std::ptrdiff_t>(y) * picture.linesize[plane] + x];
  };
  for (int y = 0; y < picture.height; ++y) {
    for (int x = 0; x < picture.width; ++x) {
      const int chromaX = x >> shifts->first;
      const int chromaY = y >> shifts->second;
      expected.add({sample(0, x, y), sample(1, chromaX, chromaY), sample(2, chromaX, chromaY)});
    }
  }
}

/// The frames to measure: those behind the slate, as many as there are without the last second.
int budgetOf(const AVFormatContext& container, float rate, int slateFrames) {
  const double seconds = static_cast<double>(container.duration) / 1000000.0;
  const double inFile = static_cast<double>(rate) * seconds;
  if (std::isnan(inFile) || inFile < -2e9) {
    return 0;
  }
  const int available = static_cast<int>(inFile) - slateFrames;
  return kBudget > available ? available - static_cast<int>(rate) : kBudget;
}

/// Works out what both checks should find in a file.
Expected expectedOf(const std::string& file) {
  Expected expected;
  ContainerHandle container;
  try {
    container = openClip(file);
  } catch (const std::runtime_error&) {
    return expected;
  }
  const int index = firstStream(*container, AVMEDIA_TYPE_VIDEO);
  if (index < 0) {
    return expected;
  }
  const AVStream& stream = *container->streams[index];
  ReferenceDecoder decoder(stream);
  if (!chromaShifts(stream.codecpar->format)) {
    return expected;
  }
  const float rate =
      static_cast<float>(stream.avg_frame_rate.num) / static_cast<float>(stream.avg_frame_rate.den);
  const int slateFrames = static_cast<int>(static_cast<float>(kSlateSeconds) * rate);
  const int first = std::max(1, slateFrames);
  const int budget = budgetOf(*container, rate, slateFrames);
  int frame = 0;
  // A picture keeps its buffers until the next is complete: concealment of damage shows what is
  // left in those that are free.
  FrameHandle last;
  for (const PacketHandle& packet : readPackets(*container, index)) {
    if (frame >= first + budget) {
      break;
    }
    std::vector<FrameHandle> completed = decoder.decode(*packet);
    if (completed.empty()) {
      continue;
    }
    last = std::move(completed.front());
    if (frame >= first) {
      add(expected, *last);
    }
    ++frame;
  }
  return expected;
}

std::vector<std::string> mediaFiles() {
  return qatest::mediaFilesIn(kFolder);
}

template <typename Check>
void expectRecord(const std::string& file, const Expected& expected) {
  LoggedTester tester(file, stored(),
                      "QATesterSlateSeconds=" + std::to_string(kSlateSeconds) + "\n" +
                          Check::kBudgetKey + "=" + std::to_string(kBudget) + "\n");
  const auto level = check<Check>(tester);
  const std::vector<int> extremes = expected.extremes<Check>();
  EXPECT_EQ(extremesOf(level), extremes) << Check::kTag;
  bool inside = extremes != Expected().extremes<Check>();
  for (std::size_t i = 0; i < extremes.size(); i += 2) {
    inside = inside && extremes[i] < 255 && extremes[i + 1] > 0;
  }
  EXPECT_EQ(level.passed, inside) << Check::kTag;
}

TEST(ColourRealMediaFolder, HoldsPicturesToMeasure) {
  if (mediaFiles().empty()) {
    GTEST_SKIP() << "no media folder: set QATESTER_MEDIA_DIR";
  }
  const Expected bikes = expectedOf((kFolder / "bikes_25p_420_motion.mp4").string());
  EXPECT_NE(bikes.extremes<ChromaCheck>(), Expected().extremes<ChromaCheck>());
}

class ColourRealMedia : public testing::TestWithParam<std::string> {};

TEST_P(ColourRealMedia, GivesTheRecordThatEveryPixelAddsUpTo) {
  const std::string file = (kFolder / GetParam()).string();
  const Expected expected = expectedOf(file);
  expectRecord<ChromaCheck>(file, expected);
  expectRecord<GamutCheck>(file, expected);
}

INSTANTIATE_TEST_SUITE_P(
    , ColourRealMedia, testing::ValuesIn(qatest::someOf(mediaFiles())), [](const auto& tested) {
      std::string name = tested.param;
      std::replace_if(
          name.begin(), name.end(),
          [](char c) { return std::isalnum(static_cast<unsigned char>(c)) == 0; }, '_');
      return name;
    });
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(ColourRealMedia);

}  // namespace
