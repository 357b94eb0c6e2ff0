// A media file of any bytes, but for the last one, which chooses what is done with it: read through
// the streams, or tested by a check or by all.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "fuzz/Input.h"
#include "fuzz/MemoryFile.h"
#include "media/OxWrap.h"
#include "media/ReleasePicture.h"
#include "media/YUVHelper.h"
#include "support/CheckNames.h"
#include "support/Outcomes.h"
#include "support/SmallBudgets.h"
#include "tester/QATester.h"

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/mem.h>
}

using qafuzz::MemoryFile;
using qafuzz::require;

namespace {

constexpr int kMostTaken = 64;
constexpr int64_t kMostPixels = 4000000;
/// A timecode check goes through all frames.
constexpr std::size_t kMostBytesOfAllFrames = 16384;

/// Bits of the last byte.
constexpr int kCheck = 15;
constexpr int kHasSlate = 16;
constexpr int kAtOnce = 32;

/// Of the time stamp of a line, whose seconds pass between two runs.
constexpr std::size_t kStampLength = 10;

void convert(OxVideoStream& video, OxVideoFrameYUV& picture) {
  const std::unique_ptr<OxVideoFrameRGB> rgb(video.getRGBFromYUV(&picture));
  require(rgb->valid == (rgb->buffer != nullptr), "what is valid has bytes");
  require(!rgb->valid || (rgb->width == picture.width && rgb->height == picture.height),
          "a converted picture keeps its size");
  std::free(rgb->buffer);
}

void takePictures(OxVideoStream& video) {
  video.getFPS();
  video.getDurationSeconds();
  video.getFrameCount();
  video.getPixelFormat();
  require(!video.getPixelFormatName().empty(), "a pixel format has a name");
  int64_t pixels = 0;
  for (int i = 0; i < kMostTaken && pixels < kMostPixels; ++i) {
    OxVideoFrameYUV picture = video.getNextYUVFrame();
    if (!picture.valid) {
      require(picture.frame == nullptr && picture.width == 0, "without a picture all is zero");
      require(video.hasEnded(), "pictures end where the data does");
      return;
    }
    const qatester::PictureGuard guard(picture);
    require(picture.width > 0 && picture.height > 0, "a picture has a size");
    pixels += int64_t{picture.width} * picture.height;
    const int format = picture.frame->format;
    if (format == AV_PIX_FMT_YUV420P || format == AV_PIX_FMT_YUV422P ||
        format == AV_PIX_FMT_YUV444P) {
      const YUVPixel last =
          YUVHelper::getYUVPixelFromFrame(picture, picture.width - 1, picture.height - 1);
      require(last.valid && YUVHelper::YUVtoRGB601(last).valid, "its last pixel can be read");
    }
    convert(video, picture);
  }
}

void takeBlocks(OxWrap& wrap, OxAudioStream& audio) {
  audio.getSampleFormatName();
  for (int i = 0; i < kMostTaken; ++i) {
    const OxAudioSample block = audio.getNextSample();
    if (block.numberOfSamples == 0) {
      std::free(block.buffer);
      return;
    }
    require(block.numberOfSamples * block.bytesPerSample <= OxAudioStream::kAudioBufferBytes,
            "no block is larger than its buffer");
    wrap.freeSample(audio.getSampleChannel(block, 0));
    wrap.freeSample(audio.getSampleChannel(block, static_cast<unsigned short>(i)));
    wrap.freeSample(block);
  }
}

void readStreams(const MemoryFile& file) {
  OxWrap wrap(file.name(), {QAPauses::untilReady, {}});
  require(wrap.formatContext != nullptr || !wrap.getOpenError().empty(),
          "what does not open says why");
  require(wrap.getOpenError().empty() ||
              (wrap.getVideoStream() == nullptr && wrap.getNumberOfAudioStreams() == 0),
          "and has no streams");
  wrap.startBuffering();
  if (OxVideoStream* video = wrap.getVideoStream()) {
    takePictures(*video);
  }
  wrap.discardVideo(true);
  const unsigned streams = std::min(wrap.getNumberOfAudioStreams(), 16U);
  for (unsigned i = 0; i < streams; ++i) {
    takeBlocks(wrap, *wrap.getAudioStream(static_cast<unsigned short>(i)));
  }
  wrap.stopBuffering();
}

/// What a run of checks came to.
struct Answers {
  std::vector<std::string> outcomes;
  std::string log;

  bool operator==(const Answers&) const = default;
};

Answers run(const MemoryFile& file, const MemoryFile& settings,
            const std::vector<std::string>& names, QAPasses passes) {
  std::size_t told = 0;
  Answers answers;
  int whole = 0;
  QATesterOptions options;
  options.pauses = QAPauses::untilReady;
  options.lookup = QALookup::stored;
  options.colourThreads = QAColourThreads::none;
  options.displays = QADisplays::nowhere;
  options.passes = passes;
  options.console = [&](const std::string& line) { answers.log += line.substr(kStampLength); };
  options.outcome = [&](const QACheckOutcome& outcome) {
    require(told < names.size() && outcome.name == names[told], "outcomes come in order");
    ++told;
    require(outcome.opened || !outcome.measured, "what does not open is not measured");
    require(outcome.state != QAState::notMeasured || !outcome.reason.empty(),
            "what is not measured says why");
    require(outcome.count >= 0 && outcome.count <= std::max(0, outcome.budget),
            "no more is measured than was to be");
    require(outcome.error == nullptr, "no check ends in an exception");
  };
  options.progress = [&](const QAProgress& progress) {
    require(progress.wholePercent >= whole && progress.wholePercent <= 100,
            "the whole percent never falls");
    whole = progress.wholePercent;
  };
  QATester tester(file.name().c_str(), nullptr, settings.name().c_str(), nullptr, options);
  for (const QACheckOutcome& outcome : tester.runChecks(names)) {
    answers.outcomes.push_back(qatest::textOf(outcome));
  }
  require(told == names.size(), "each check tells its outcome");
  require(names.empty() || whole == 100, "a run comes to its end");
  return answers;
}

/// With a slate of no length or of a second, and a budget of some pictures or blocks: one check, or
/// all of them in one reading and in readings of their own.
void test(const MemoryFile& file, std::size_t size, int choice) {
  const MemoryFile settings(qatest::smallBudgets(12, (choice & kHasSlate) != 0 ? 1 : 0));
  std::vector<std::string> names = qatest::checkNames();
  if (size > kMostBytesOfAllFrames) {
    std::erase(names, "timecode");
  }
  if ((choice & kAtOnce) != 0) {
    require(run(file, settings, names, QAPasses::one) == run(file, settings, names, QAPasses::each),
            "one reading finds what readings of their own find");
    return;
  }
  run(file, settings, {names[static_cast<std::size_t>(choice & kCheck) % names.size()]},
      QAPasses::one);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  // Large pictures would take their time, and tell nothing more: there is no memory for them.
  av_max_alloc((1U << 20U) + (1U << 16U));
  const uint8_t choice = data[size - 1];
  const MemoryFile file(data, size - 1);
  if (choice < 128) {
    readStreams(file);
  } else {
    test(file, size, choice);
  }
  return 0;
}
