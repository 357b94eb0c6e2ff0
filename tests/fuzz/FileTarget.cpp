// A media file of any bytes, but for the last one, which chooses what is done with it: read through
// the streams, or tested by a check.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "fuzz/Input.h"
#include "fuzz/MemoryFile.h"
#include "media/OxWrap.h"
#include "media/ReleasePicture.h"
#include "media/YUVHelper.h"
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

void runCheck(QATester& tester, int check, bool isSmall) {
  switch (check) {
    case 0:
      tester.isValidFile();
      break;
    case 1:
      tester.checkFrameRate();
      break;
    case 2:
      tester.checkFieldDominance();
      break;
    case 3:
      tester.checkFramePullDown();
      break;
    case 4:
      tester.checkTearing();
      break;
    case 5:
      tester.checkVideoTransitions();
      break;
    case 6:
      tester.checkChroma();
      break;
    case 7:
      tester.checkGamut();
      break;
    case 8:
      if (const std::unique_ptr<QA_AudioLevels> record{tester.checkAudioLevels()}) {
        delete[] record->levels;
      }
      break;
    case 9:
      tester.checkITUR1770Loudness();
      break;
    case 10:
      tester.checkMono();
      break;
    case 11:
      tester.checkAudioPhase();
      break;
    default:
      if (isSmall) {
        tester.checkTimecode();
      }
  }
}

/// With a slate of no length or of a second, and a budget of some pictures or blocks.
void test(const MemoryFile& file, std::size_t size, int check, bool hasSlate) {
  std::string text = hasSlate ? "QATesterSlateSeconds=1\n" : "QATesterSlateSeconds=0\n";
  for (const char* key : {"FrameRate", "Field", "PullDown", "Tearing", "Transition", "Chroma",
                          "Gamut", "Level", "Loudness", "Mono", "Phase"}) {
    text += std::string(key) + "FrameChecks=12\n";
  }
  const MemoryFile settings(text);
  int told = 0;
  QATesterOptions options;
  options.pauses = QAPauses::untilReady;
  options.lookup = QALookup::stored;
  options.colourThreads = QAColourThreads::none;
  options.displays = QADisplays::nowhere;
  options.console = [](const std::string&) {};
  options.outcome = [&](const QACheckOutcome& outcome) {
    ++told;
    require(outcome.opened || !outcome.measured, "what does not open is not measured");
    require(outcome.measured || !outcome.reason.empty(), "what is not measured says why");
    require(outcome.count >= 0 && outcome.count <= std::max(0, outcome.budget),
            "no more is measured than was to be");
  };
  QATester tester(file.name().c_str(), nullptr, settings.name().c_str(), nullptr, options);
  const bool isSmall = size <= kMostBytesOfAllFrames;
  runCheck(tester, check, isSmall);
  require(told == 1 || (check > 11 && !isSmall), "a check tells its outcome once");
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
    test(file, size, choice & 15, (choice & 16) != 0);
  }
  return 0;
}
