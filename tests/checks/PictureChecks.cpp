#include "checks/PictureChecks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>

#include "media/OxWrap.h"
#include "support/Process.h"

extern "C" {
#include <libavutil/mem.h>
}

namespace qatest {

namespace {

constexpr uint8_t kBlackLuma = 16;
constexpr uint8_t kWhiteLuma = 235;
constexpr uint8_t kNeutral = 128;

std::vector<double> pulldownAsNumbers(QATester& tester) {
  return numbersOf(tester.checkFramePullDown());
}

std::vector<double> tearingAsNumbers(QATester& tester) {
  return {tester.checkTearing() ? 1.0 : 0.0};
}

std::vector<double> transitionsAsNumbers(QATester& tester) {
  return {static_cast<double>(tester.checkVideoTransitions())};
}

/// Cut off; what does not fit becomes the nearest integer.
int truncated(double value) {
  constexpr double kMost = std::numeric_limits<int>::max();
  constexpr double kLeast = std::numeric_limits<int>::min();
  return std::isnan(value) ? 0 : static_cast<int>(std::clamp(value, kLeast, kMost));
}

int slateOf(const Footage& footage) {
  return truncated(static_cast<float>(footage.slateSeconds) * footage.fps);
}

/// How many of the pictures count.
std::size_t countOf(const Footage& footage, int budget) {
  return std::min(footage.pictures.size(), static_cast<std::size_t>(std::max(budget, 0)));
}

RowImage greyOf(const RowImage& image) {
  RowImage grey(image.width, image.height, 1);
  for (int y = 0; y < image.height; ++y) {
    for (int x = 0; x < image.width; ++x) {
      const int sum =
          9798 * image.at(x, y, 0) + 19235 * image.at(x, y, 1) + 3735 * image.at(x, y, 2) + 16384;
      grey.at(x, y) = static_cast<uint8_t>(sum >> 15);
    }
  }
  return grey;
}

// Pulldown.

/// The fields of a picture, made grey: all that comparing them looks at.
struct Fields {
  RowImage top;
  RowImage bottom;
};

Fields split(const RowImage& frame) {
  RowImage top(frame.width, frame.height / 2, 3);
  RowImage bottom(frame.width, frame.height / 2, 3);
  const auto copy = [&](int from, RowImage& field, int to) {
    std::copy_n(frame.bytes.begin() + from * frame.widthStep, frame.widthStep,
                field.bytes.begin() + to * field.widthStep);
  };
  for (int row = 0; row < frame.height - 1; row += 2) {
    const int half = static_cast<int>(std::floor(static_cast<float>(row) * 0.5F));
    copy(row, top, half);
    copy(row + 1, bottom, half);
  }
  return {greyOf(top), greyOf(bottom)};
}

bool compareFields(const RowImage& a, const RowImage& b) {
  const float threshold = 0.99F;
  if (a.width != b.width || a.height != b.height) {
    return false;
  }
  float count = 0.0F;
  for (int y = 0; y < a.height; ++y) {
    for (int x = 0; x < b.width; ++x) {
      const int difference = std::max(a.at(x, y) - b.at(x, y), 0);
      if (difference != 0) {
        count += 1.0F;
      }
    }
  }
  const float fraction = count / static_cast<float>(a.height * a.width);
  return (1.0F - fraction) > threshold;
}

// Tearing.

RowImage verticalDifferencing(const RowImage& grey) {
  RowImage result(grey.width, grey.height, 1);
  for (int y = 0; y < grey.height - 1; ++y) {
    for (int x = 0; x < grey.width; ++x) {
      result.at(x, y) = static_cast<uint8_t>(std::abs(grey.at(x, y) - grey.at(x, y + 1)));
    }
  }
  return result;
}

RowImage absoluteDifference(const RowImage& a, const RowImage& b) {
  RowImage result(a.width, a.height, 1);
  for (int y = 0; y < a.height; ++y) {
    for (int x = 0; x < a.width; ++x) {
      result.at(x, y) = static_cast<uint8_t>(std::abs(a.at(x, y) - b.at(x, y)));
    }
  }
  return result;
}

/// Whether a pixel of this value becomes part of a bar. All taps read the pixel itself, so its
/// column makes no difference.
std::array<bool, 256> valuesOfBars() {
  std::array<bool, 256> bars{};
  for (int value = 0; value < 256; ++value) {
    const int x = 10;
    float sum = 0.0F;
    for (int k = x - 10; k < x + 10; ++k) {
      sum = static_cast<float>(sum + value * (std::abs(x - k) + 1.0) / 100.0);
    }
    bars[static_cast<std::size_t>(value)] = sum > 20.0F;
  }
  return bars;
}

RowImage horizontalBarring(const RowImage& image) {
  static const std::array<bool, 256> isBar = valuesOfBars();
  RowImage result(image.width, image.height, 1);
  for (int y = 0; y < image.height; ++y) {
    for (int x = 10; x < image.width - 10; ++x) {
      if (isBar[image.at(x, y)]) {
        result.at(x, y) = 255;
      }
    }
  }
  return result;
}

int percentWhite(const RowImage& image) {
  int count = 0;
  for (int y = 0; y < image.height; ++y) {
    for (int x = 0; x < image.width; ++x) {
      count += image.at(x, y) >= 11 ? 1 : 0;
    }
  }
  return static_cast<int>(static_cast<float>(count) /
                          static_cast<float>(image.width * image.height) * 100.0);
}

// Transitions.

float frameRelationship(const RowImage& middle, const RowImage& before, const RowImage& after) {
  float sum = 0.0F;
  for (int y = 0; y < middle.height; ++y) {
    for (int x = 0; x < middle.width; ++x) {
      const int b = before.at(x, y);
      const int a = after.at(x, y);
      if (b + a != 0) {
        const float quotient = static_cast<float>(middle.at(x, y)) / static_cast<float>(b + a);
        if (quotient > -1.0F) {
          sum += quotient;
        }
      }
    }
  }
  return sum / static_cast<float>(middle.height * middle.width);
}

bool sameSize(const RowImage& a, const RowImage& b) {
  return a.width == b.width && a.height == b.height;
}

}  // namespace

// The checks.

std::vector<double> numbersOf(const QA_PullDown& record) {
  return {static_cast<double>(record.cadenceFirst), static_cast<double>(record.cadenceSecond),
          static_cast<double>(record.confidence), record.detected ? 1.0 : 0.0};
}

const std::vector<PictureCheck>& pictureChecks() {
  static const std::vector<PictureCheck> checks = {
      {"QAPulldown",
       "pulldown",
       "PullDownFrameChecks",
       false,
       5,
       pulldownAsNumbers,
       std::vector<double>(4, 0.0),
       {2.0, 3.0, 0.0, 0.0}},
      {"QATearing", "tearing", "TearingFrameChecks", true, 1, tearingAsNumbers, {0.0}, {0.0}},
      {"QATransition",
       "timecode",
       "TransitionFrameChecks",
       false,
       1,
       transitionsAsNumbers,
       {-1.0},
       {0.0}},
  };
  return checks;
}

std::vector<double> run(const PictureCheck& check, LoggedTester& tester) {
  return tester.run([&](QATester& t) { return check.run(t); });
}

QA_PullDown checkPulldown(LoggedTester& tester) {
  return tester.run([](QATester& t) { return t.checkFramePullDown(); });
}

bool checkTearing(LoggedTester& tester) {
  return tester.run([](QATester& t) { return t.checkTearing(); });
}

int checkTransitions(LoggedTester& tester) {
  return tester.run([](QATester& t) { return t.checkVideoTransitions(); });
}

std::string quick(const PictureCheck& check, int budget, int slateSeconds) {
  return "QATesterSlateSeconds=" + std::to_string(slateSeconds) + "\n" + check.budgetKey + "=" +
         std::to_string(budget) + "\n";
}

std::string quickPictures(int budget, int slateSeconds) {
  std::string settings = "QATesterSlateSeconds=" + std::to_string(slateSeconds) + "\n";
  for (const PictureCheck& check : pictureChecks()) {
    settings += std::string(check.budgetKey) + "=" + std::to_string(budget) + "\n";
  }
  return settings;
}

std::vector<float> percentsOf(int budget, int progressStep) {
  std::vector<float> percents;
  int last = 0;
  for (int i = progressStep - 1; i < budget; i += progressStep) {
    const int percent =
        static_cast<int>(static_cast<float>(i) / static_cast<float>(budget) * 100.0F);
    if (percent != last) {
      percents.push_back(static_cast<float>(percent));
      last = percent;
    }
  }
  return percents;
}

// Clips.

VideoSpec blackAndWhite(int frames, int width, int height, IsWhite isWhite) {
  VideoSpec video = ffv1(frames);
  video.width = width;
  video.height = height;
  video.pixel = [isWhite = std::move(isWhite)](int component, int x, int y, int frame) {
    return component != 0 ? kNeutral : isWhite(x, y, frame) ? kWhiteLuma : kBlackLuma;
  };
  return video;
}

uint8_t noisePixel(int component, int x, int y, int frame) {
  const int time = (x / 8) % 2 == 0 ? frame : frame / 2;
  const auto times = [](int value, uint32_t prime) { return static_cast<uint32_t>(value) * prime; };
  uint32_t seed =
      times(component, 7919) + times(x, 104729) + times(y, 1299709) + times(time, 15485863);
  seed ^= seed >> 15U;
  seed *= 0x2c1b3c6dU;
  seed ^= seed >> 12U;
  return static_cast<uint8_t>(seed >> 3U);
}

std::string clipOfSizes(const TempDir& dir, const std::string& name,
                        const std::vector<SizePart>& parts) {
  std::string stream;
  int first = 0;
  for (const SizePart& part : parts) {
    VideoSpec video = h264WithBFrames(part.frames);
    video.bFrames = 0;
    video.width = part.width;
    video.pixel = part.pixel;
    video.edit = [first](AVPacket& packet, int) {
      packet.pts += first;
      packet.dts += first;
    };
    stream += readFile(makeClip(dir, "part.ts", {.video = {video}}));
    first += part.frames;
  }
  writeFile(dir.file(name), stream);
  return dir.file(name);
}

std::string filteredClip(const TempDir& dir, const std::string& name,
                         const std::vector<std::string>& arguments) {
  Command command{.program = "/usr/bin/env", .arguments = {"ffmpeg", "-nostdin", "-v", "error"}};
  command.arguments.insert(command.arguments.end(), arguments.begin(), arguments.end());
  command.arguments.insert(command.arguments.end(), {"-c:v", "ffv1", "-y", dir.file(name)});
  Process process(command);
  const Finished finished = process.wait();
  if (finished.code != 0) {
    throw std::runtime_error("ffmpeg: " + finished.err);
  }
  return dir.file(name);
}

// What a file holds.

Footage footageOf(const std::string& file, int slateSeconds, int most) {
  Footage footage;
  footage.slateSeconds = slateSeconds;
  OxWrap wrap(file, {QAPauses::untilReady, {}});
  if (wrap.formatContext == nullptr) {
    return footage;
  }
  wrap.discardAudio(true);
  wrap.startBuffering();
  OxVideoStream* video = wrap.getVideoStream();
  if (video == nullptr || video->getPixelFormat() == "Other") {
    return footage;
  }
  footage.readable = true;
  footage.fps = video->getFPS();
  footage.seconds = video->getDurationSeconds();
  int left = slateOf(footage);
  do {
    const OxVideoFrameYUV picture = video->getNextYUVFrame();
    if (picture.valid) {
      av_free(picture.frame);
      --left;
    }
  } while (left > 0 && !video->hasEnded());
  while (footage.pictures.size() < static_cast<std::size_t>(most)) {
    const OxVideoFrameRGB picture = video->getNextRGBFrame();
    const std::unique_ptr<uint8_t, decltype(&std::free)> buffer(picture.buffer, std::free);
    if (picture.valid) {
      const auto bytes = static_cast<std::size_t>(picture.width * 3 * picture.height);
      footage.pictures.push_back({picture.width, picture.height,
                                  std::vector<uint8_t>(buffer.get(), buffer.get() + bytes),
                                  picture.time});
    } else if (video->hasEnded()) {
      break;
    }
  }
  wrap.stopBuffering();
  return footage;
}

int boundedBudget(const Footage& footage, int budget) {
  const int64_t available =
      int64_t{truncated(static_cast<double>(footage.fps) * footage.seconds)} - slateOf(footage);
  return budget <= available ? budget
                             : truncated(static_cast<double>(available - truncated(footage.fps)));
}

int boundedTearingBudget(const Footage& footage, int budget) {
  const float inFile = static_cast<float>(truncated(footage.seconds)) * footage.fps;
  const int64_t available = int64_t{truncated(inFile)} - slateOf(footage);
  return budget <= available ? budget : truncated(static_cast<float>(available) - footage.fps);
}

RowImage::RowImage(int width, int height, int channels)
    : width(width),
      height(height),
      channels(channels),
      widthStep((width * channels + 3) / 4 * 4),
      bytes(static_cast<std::size_t>(widthStep * height), 0) {}

RowImage imageOf(const PackedPicture& picture) {
  RowImage image(picture.width, picture.height, 3);
  std::copy_n(picture.bytes.begin(), std::min(picture.bytes.size(), image.bytes.size()),
              image.bytes.begin());
  return image;
}

// What the checks should find.

ExpectedPulldown expectedPulldown(const Footage& footage, int budget) {
  ExpectedPulldown expected;
  if (!footage.readable) {
    return expected;
  }
  const int bounded = boundedBudget(footage, budget);
  std::vector<Fields> history;  // the newest picture first
  for (std::size_t i = 0; i < countOf(footage, bounded); ++i) {
    history.insert(history.begin(), split(imageOf(footage.pictures[i])));
    if (history.size() < 5) {
      continue;
    }
    const bool c1 = compareFields(history[4].top, history[3].top);
    const bool c2 = compareFields(history[4].bottom, history[3].bottom);
    const bool c3 = compareFields(history[3].top, history[2].top);
    const bool c4 = compareFields(history[3].bottom, history[2].bottom);
    const bool c5 = compareFields(history[2].top, history[1].top);
    const bool c6 = compareFields(history[2].bottom, history[1].bottom);
    const bool c7 = compareFields(history[1].top, history[0].top);
    const bool c8 = compareFields(history[1].bottom, history[0].bottom);
    ++expected.groups;
    if (c3) {
      if (c8) {
        ++expected.groups23;
      }
    } else if (!c8 && !c1 && !c2 && !c4 && !c5 && !c6 && !c7) {
      ++expected.groups22;
    }
    history.clear();
  }
  const bool is23 = expected.groups23 >= expected.groups22;
  const int winner = is23 ? expected.groups23 : expected.groups22;
  expected.record = {2, is23 ? 3 : 2, 0.0F, false};
  if (bounded > 0) {
    expected.record.confidence = static_cast<float>(winner / (static_cast<float>(bounded) / 5.0));
    expected.record.detected = static_cast<double>(expected.record.confidence) > 0.6;
  }
  return expected;
}

ExpectedTearing expectedTearing(const Footage& footage, int budget, float threshold) {
  ExpectedTearing expected;
  if (!footage.readable) {
    return expected;
  }
  const int bounded = boundedTearingBudget(footage, budget);
  std::optional<RowImage> previous;
  int sum = 0;
  for (std::size_t i = 0; i < countOf(footage, bounded); ++i) {
    const RowImage grey = greyOf(imageOf(footage.pictures[i]));
    const RowImage difference = verticalDifferencing(grey);
    int percent = 0;
    RowImage torn(grey.width, grey.height, 1);
    if (previous && sameSize(*previous, difference)) {
      torn = horizontalBarring(horizontalBarring(absoluteDifference(difference, *previous)));
      percent = percentWhite(torn);
    }
    sum += percent;
    expected.percents.push_back(percent);
    expected.torn.push_back(torn);
    previous = difference;
  }
  if (bounded > 0) {
    expected.meanShare = static_cast<float>(sum) / 100.0 / static_cast<float>(bounded);
    expected.passed = threshold > expected.meanShare;
  }
  return expected;
}

ExpectedTransitions expectedTransitions(const Footage& footage, int budget, float percentChange) {
  ExpectedTransitions expected;
  if (!footage.readable) {
    expected.count = -1;
    return expected;
  }
  std::optional<RowImage> before;
  std::optional<RowImage> middle;
  std::optional<RowImage> current;
  const auto halfChange = static_cast<float>(percentChange * 0.5);
  bool inTransition = false;
  bool havePrevious = false;
  int previousLevel = 0;
  for (std::size_t i = 0; i < countOf(footage, boundedBudget(footage, budget)); ++i) {
    before = std::exchange(middle, std::exchange(current, std::nullopt));
    current = greyOf(imageOf(footage.pictures[i]));
    if (middle && !sameSize(*middle, *current)) {
      before.reset();
      middle.reset();
    }
    expected.levels.push_back(-1);
    expected.jumps.push_back(0);
    if (!before || !middle) {
      continue;
    }
    const float relation = frameRelationship(*middle, *before, *current);
    const int level = static_cast<int>(std::max(std::min(relation * 255.0F, 254.0F), 0.0F));
    if (!havePrevious) {
      previousLevel = level;
    }
    expected.levels.back() = level;
    expected.jumps.back() = std::abs(level - previousLevel);
    const auto jump = static_cast<float>(std::abs(level - previousLevel) / 255.0);
    if (inTransition) {
      inTransition = !(halfChange > jump);
    } else if (jump > percentChange) {
      ++expected.count;
      expected.seconds.push_back(footage.pictures[i].time);
      inTransition = true;
    }
    previousLevel = level;
    havePrevious = true;
  }
  return expected;
}

void expectTheDefinitionToHold(const std::string& file, int budget, int slateSeconds) {
  SCOPED_TRACE(file);
  const Footage footage = footageOf(file, slateSeconds, budget);
  LoggedTester tester(file, stored(), quickPictures(budget, slateSeconds));

  const ExpectedPulldown pulldown = expectedPulldown(footage, budget);
  EXPECT_EQ(numbersOf(checkPulldown(tester)), numbersOf(pulldown.record));
  const QACheckOutcome cadence = tester.outcomes.back();
  ASSERT_EQ(cadence.began, footage.readable);
  if (cadence.began) {
    EXPECT_EQ(numberOf(cadence, "groups"), pulldown.groups);
    EXPECT_EQ(numberOf(cadence, "groups23"), pulldown.groups23);
    EXPECT_EQ(numberOf(cadence, "groups22"), pulldown.groups22);
  }

  const ExpectedTearing tearing = expectedTearing(footage, budget);
  EXPECT_EQ(checkTearing(tester), tearing.passed);
  const QACheckOutcome torn = tester.outcomes.back();
  if (torn.began) {
    EXPECT_EQ(numberOf(torn, "meanShare"), tearing.meanShare);
    EXPECT_EQ(numberOf(torn, "highestPercent"),
              tearing.percents.empty() ? 0 : *std::ranges::max_element(tearing.percents));
  }

  const ExpectedTransitions transitions = expectedTransitions(footage, budget);
  EXPECT_EQ(checkTransitions(tester), transitions.count);
  EXPECT_EQ(numbersOf(tester.outcomes.back(), "transitionSeconds"), transitions.seconds);
}

}  // namespace qatest
