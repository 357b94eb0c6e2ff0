// All programme checks of pictures together, on pictures of any size, format, flags and time, which
// move, stand still, blend and change in mid-stream.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "foundation/Settings.h"
#include "fuzz/Input.h"
#include "fuzz/Outcome.h"
#include "media/Programme.h"
#include "tester/CheckContext.h"
#include "tester/ProgrammeRun.h"
#include "tester/QACheck.h"
#include "visual/Displays.h"

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/imgutils.h>
}

using namespace qatester;
using qafuzz::Input;
using qafuzz::require;
using qafuzz::requireOutcome;

namespace {

constexpr int kMostPictures = 200;
/// Of all pictures of an input together.
constexpr int64_t kMostPixels = 400000;

constexpr int kFormats[] = {AV_PIX_FMT_YUV420P,     AV_PIX_FMT_YUV422P,     AV_PIX_FMT_YUV444P,
                            AV_PIX_FMT_YUVJ420P,    AV_PIX_FMT_YUV420P10LE, AV_PIX_FMT_YUV422P12,
                            AV_PIX_FMT_YUV444P16LE, AV_PIX_FMT_GRAY8,       AV_PIX_FMT_GRAY16BE,
                            AV_PIX_FMT_NV12,        AV_PIX_FMT_P010LE,      AV_PIX_FMT_YUYV422,
                            AV_PIX_FMT_RGB24,       AV_PIX_FMT_GBRP,        AV_PIX_FMT_GBRP16LE,
                            AV_PIX_FMT_YUV410P,     AV_PIX_FMT_YUVA420P,    AV_PIX_FMT_PAL8,
                            AV_PIX_FMT_MONOBLACK,   AV_PIX_FMT_GRAYF32LE,   AV_PIX_FMT_NONE};

constexpr const char* kScans[] = {"progressive", "tff", "bff", "unknown", ""};
constexpr const char* kMatrices[] = {"bt709", "bt470bg", "bt2020nc", "ycgco", "gbr", ""};
constexpr const char* kRanges[] = {"video", "full", ""};

template <std::size_t count>
std::string oneOf(Input& input, const char* const (&words)[count]) {
  return words[static_cast<std::size_t>(input.within(0, static_cast<int>(count) - 1))];
}

/// What pictures are until they change.
struct Stream {
  int format = AV_PIX_FMT_NONE;
  int width = 0;
  int height = 0;
  AVColorSpace matrix = AVCOL_SPC_UNSPECIFIED;
  AVColorRange range = AVCOL_RANGE_UNSPECIFIED;
};

Stream streamFrom(Input& input) {
  Stream stream;
  constexpr int kLast = static_cast<int>(std::size(kFormats)) - 1;
  stream.format = kFormats[static_cast<std::size_t>(std::max(0, input.within(-12, kLast)))];
  const int sizes = input.byte();
  stream.width = sizes % 8 == 0 ? input.within(1, 9000) : input.within(1, 160);
  stream.height = sizes % 8 == 1 ? input.within(1, 9000) : input.within(1, 120);
  stream.matrix = static_cast<AVColorSpace>(input.within(0, AVCOL_SPC_NB));
  stream.range = static_cast<AVColorRange>(input.within(0, 2));
  return stream;
}

/// What stands in the fields of a picture: bytes of a pattern, moved on, and turned round.
struct Content {
  std::vector<uint8_t> pattern;
  int offset = 0;
  int pitch = 0;  ///< how far a line is ahead of the one above
  uint8_t mask = 0;

  uint8_t at(int x, int y) const {
    if (pattern.empty()) {
      return mask;
    }
    const auto place = static_cast<std::size_t>(x + y * pitch + offset);
    return static_cast<uint8_t>(pattern[place % pattern.size()] ^ mask);
  }
};

Content contentFrom(Input& input) {
  Content content;
  content.pattern = input.bytes(static_cast<std::size_t>(input.within(0, 64)));
  content.pitch = input.within(0, 20);
  return content;
}

/// Planes that are no larger than they must be, so that the address sanitizer sees who leaves them.
std::shared_ptr<AVFrame> frameFrom(const Stream& stream, const std::array<Content, 2>& fields) {
  const auto format = static_cast<AVPixelFormat>(stream.format);
  const int bytes = av_image_get_buffer_size(format, stream.width, stream.height, 1);
  const auto memory = std::make_shared<std::vector<uint8_t>>(std::max(bytes, 0));
  std::shared_ptr<AVFrame> frame(av_frame_alloc(), [memory](AVFrame* one) { av_frame_free(&one); });
  require(frame != nullptr, "there is memory");
  frame->format = stream.format;
  frame->width = stream.width;
  frame->height = stream.height;
  frame->colorspace = stream.matrix;
  frame->color_range = stream.range;
  if (bytes <= 0) {
    return frame;
  }
  av_image_fill_arrays(frame->data, frame->linesize, memory->data(), format, stream.width,
                       stream.height, 1);
  const int line = std::max(1, frame->linesize[0]);
  for (int i = 0; i < bytes; ++i) {
    const int y = i / line;
    (*memory)[static_cast<std::size_t>(i)] =
        fields[static_cast<std::size_t>(y % 2)].at(i % line, y);
  }
  return frame;
}

ProgrammeFacts factsFrom(Input& input, const Stream& stream) {
  QAStreamFacts made;
  made.kind = "video";
  QAVideoFacts video;
  video.width = stream.width;
  video.height = stream.height;
  const double rate = input.number();
  video.frameRate = std::isfinite(rate) ? std::abs(rate) : 0.0;
  video.scan = oneOf(input, kScans);
  video.matrix = oneOf(input, kMatrices);
  video.range = oneOf(input, kRanges);
  made.video = video;
  ProgrammeFacts facts;
  facts.media.streams.push_back(made);
  facts.streams.emplace_back();
  facts.videoStream = 0;
  return facts;
}

/// All checks of pictures, with what they share.
class Checks {
 public:
  Checks(const CheckContext& context, const ProgrammeFacts& facts) {
    for (const QACheck* check : allChecks()) {
      if (check->family != QAFamily::programme || check->needs != QANeeds::pictures) {
        continue;
      }
      runs_.push_back(check->make(context));
      ProgrammeRun& run = *runs_.back()->asProgramme();
      run.begin();
      run.open(facts);
      const MakeShared make = run.consumer().sharedBy();
      if (make == nullptr) {
        alone_.push_back(&run.consumer());
        continue;
      }
      if (shared_ == nullptr) {
        shared_ = make(context);
      }
      shared_->add(run.consumer());
    }
    require(shared_ != nullptr && !alone_.empty(), "there are checks of both kinds");
  }

  template <typename Call>
  void each(Call&& call) {
    call(static_cast<ProgrammeConsumer&>(*shared_));
    for (ProgrammeConsumer* one : alone_) {
      call(*one);
    }
  }

  void finish(const ProgrammeEnd& end) {
    each([&](ProgrammeConsumer& one) { one.end(end); });
    for (const auto& run : runs_) {
      ProgrammeRun& one = *run->asProgramme();
      require(shared_->errorOf(one.consumer()) == nullptr, "no measurement gives up");
      one.finish(end);
      requireOutcome(one.outcome());
    }
  }

 private:
  std::vector<std::unique_ptr<CheckRun>> runs_;
  std::unique_ptr<SharedConsumer> shared_;
  std::vector<ProgrammeConsumer*> alone_;
};

void change(Input& input, std::array<Content, 2>& fields) {
  Content& one = fields[input.flag() ? 1 : 0];
  switch (input.within(0, 7)) {
    case 0:
      fields[0] = fields[1] = contentFrom(input);
      break;
    case 1:
      one = contentFrom(input);
      break;
    case 2:
      one.mask = input.byte();
      break;
    case 3:
      fields[0] = fields[1] = {};
      fields[0].mask = fields[1].mask = input.byte();
      break;
    default:
      fields[1].offset = fields[0].offset + input.within(0, 9);
      one.offset += input.within(0, 30);
  }
}

void measure(Input& input) {
  Stream stream = streamFrom(input);
  const ProgrammeFacts facts = factsFrom(input, stream);
  const std::string fileName;
  Settings settings(nullptr, nullptr);
  Displays displays(QADisplays::nowhere, false, "", {});
  const QATesterOptions options;
  const CheckContext context{fileName, nullptr, nullptr, &settings, displays, 0, options};
  Checks checks(context, facts);
  checks.each([&](ProgrammeConsumer& one) { one.begin(facts); });

  std::array<Content, 2> fields;
  fields[0] = fields[1] = contentFrom(input);
  int64_t pixels = 0;
  double seconds = 0.0;
  ProgrammeEnd end;
  while (!input.empty() && end.pictures < kMostPictures && pixels < kMostPixels) {
    if (input.byte() % 16 == 1) {
      stream = streamFrom(input);
    }
    const int pictures = input.flag() ? input.within(1, 30) : 1;
    for (int i = 0; i < pictures && pixels < kMostPixels; ++i) {
      const std::shared_ptr<AVFrame> frame = frameFrom(stream, fields);
      frame->interlaced_frame = input.within(0, 1);
      frame->top_field_first = input.within(0, 1);
      ProgrammePicture picture;
      picture.frame = frame;
      picture.number = end.pictures++;
      picture.damage = input.byte() % 32 == 1 ? kFlaggedCorrupt : kNoDamage;
      seconds += 0.04;
      const int time = input.byte() % 16;
      if (time == 1) {
        const double other = input.number();
        picture.seconds = std::isfinite(other) ? other : 0.0;
      } else if (time != 2) {
        picture.seconds = seconds;
      }
      pixels += int64_t{stream.width} * stream.height + 1000;
      checks.each([&](ProgrammeConsumer& one) { one.take(picture); });
      if (pictures == 1 || input.flag()) {
        change(input, fields);
      }
    }
  }
  end.stopped = input.flag();
  checks.finish(end);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  Input input(data, size);
  measure(input);
  return 0;
}
