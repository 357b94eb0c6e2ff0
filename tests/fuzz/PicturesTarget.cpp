// The video checks' measurements, kernels and displays on pictures of any size, format and layout.

#include <opencv2/core/core_c.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "checks/picture/SignalPlanes.h"
#include "checks/picture/SignalRangeKernels.h"
#include "checks/video/ColourExtremes.h"
#include "checks/video/ColourLevels.h"
#include "checks/video/FieldComparison.h"
#include "checks/video/FieldDominance.h"
#include "checks/video/FrameFields.h"
#include "checks/video/FrameRate.h"
#include "checks/video/FrameRelationship.h"
#include "checks/video/Pulldown.h"
#include "checks/video/RelationSum.h"
#include "checks/video/Tearing.h"
#include "checks/video/TearingMeasures.h"
#include "checks/video/Timecode.h"
#include "checks/video/Transitions.h"
#include "checks/video/VerticalChanges.h"
#include "fuzz/Input.h"
#include "media/FFmpegPixels.h"
#include "media/GreyPicture.h"
#include "media/GreyValues.h"
#include "support/PaddedBytes.h"
#include "support/TempDir.h"
#include "support/Values.h"
#include "visual/ColourDisplays.h"
#include "visual/FramePlot.h"
#include "visual/TimecodeDisplay.h"
#include "visual/WaveformDisplay.h"

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
}

/// Takes the place of the system's: the retries of a canvas that there is no making pause.
extern "C" unsigned sleep(unsigned) {
  return 0;
}

using namespace qatester;
using qafuzz::Input;
using qafuzz::require;

namespace {

constexpr int kMostPictures = 12;

/// Planes that are no larger than they must be, so that the address sanitizer sees who leaves them;
/// the scaler alone may read their padding.
class Picture {
 public:
  explicit Picture(Input& input) : frame_(av_frame_alloc()) {
    static constexpr int kFormats[] = {
        AV_PIX_FMT_YUV420P,   AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV444P, AV_PIX_FMT_YUV420P,
        AV_PIX_FMT_YUV420P10, AV_PIX_FMT_YUYV422, AV_PIX_FMT_GRAY8,   AV_PIX_FMT_NV12,
        AV_PIX_FMT_YUVJ420P,  AV_PIX_FMT_YUV410P, AV_PIX_FMT_PAL8,    AV_PIX_FMT_RGB24,
        AV_PIX_FMT_NONE};
    format_ = kFormats[static_cast<std::size_t>(input.within(0, 12))];
    const int sizes = input.byte();
    width_ = sizes % 8 == 0 ? input.within(1, 700) : input.within(1, 96);
    height_ = sizes % 8 == 1 ? input.within(1, 400) : input.within(1, 40);
    const int layout = input.byte();
    if (isPlanar()) {
      for (int plane = 0; plane < 3; ++plane) {
        addPlane(input, plane, layout);
      }
    } else {
      addWhole(input);
    }
    frame_->format = format_;
    frame_->width = width_;
    frame_->height = height_;
    frame_->pts = input.value<int32_t>();
    frame_->interlaced_frame = input.within(0, 1);
    frame_->top_field_first = input.within(0, 1);
  }

  bool isPlanar() const {
    return format_ == AV_PIX_FMT_YUV420P || format_ == AV_PIX_FMT_YUV422P ||
           format_ == AV_PIX_FMT_YUV444P;
  }
  int width() const { return width_; }
  int height() const { return height_; }
  AVFrame& frame() { return *frame_; }

  OxVideoFrameYUV record() {
    OxVideoFrameYUV record;
    record.frame = frame_.get();
    record.width = width_;
    record.height = height_;
    record.valid = true;
    record.time = static_cast<double>(frame_->pts) / 1e6;
    return record;
  }

 private:
  struct Free {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  };

  static qatest::PaddedBytes padded(const std::vector<uint8_t>& bytes) {
    qatest::PaddedBytes result(bytes.size(), 0);
    std::copy(bytes.begin(), bytes.end(), result.data());
    return result;
  }

  void addPlane(Input& input, int plane, int layout) {
    const bool halfWidth = plane > 0 && format_ != AV_PIX_FMT_YUV444P;
    const bool halfHeight = plane > 0 && format_ == AV_PIX_FMT_YUV420P;
    const int columns = halfWidth ? (width_ + 1) / 2 : width_;
    const int rows = halfHeight ? (height_ + 1) / 2 : height_;
    const int stride = columns + layout % 17;
    planes_[plane] = padded(input.bytes(static_cast<std::size_t>(stride * (rows - 1) + columns)));
    uint8_t* first = planes_[plane].data();
    const bool bottomUp = (layout & (32 << plane)) != 0;
    frame_->data[plane] = bottomUp ? first + stride * (rows - 1) : first;
    frame_->linesize[plane] = bottomUp ? -stride : stride;
  }

  void addWhole(Input& input) {
    const auto format = static_cast<AVPixelFormat>(format_);
    const int bytes = av_image_get_buffer_size(format, width_, height_, 1);
    if (bytes > 0) {
      planes_[0] = padded(input.bytes(static_cast<std::size_t>(bytes)));
      av_image_fill_arrays(frame_->data, frame_->linesize, planes_[0].data(), format, width_,
                           height_, 1);
    }
  }

  std::unique_ptr<AVFrame, Free> frame_;
  qatest::PaddedBytes planes_[3];
  int format_ = AV_PIX_FMT_NONE;
  int width_ = 0;
  int height_ = 0;
};

/// A stream without a container, which converts what it is given.
class Converter {
 public:
  Converter() { stream_.stream = &nothing_; }
  ~Converter() { stream_.stream = nullptr; }

  OxVideoStream& stream() { return stream_; }

 private:
  AVStream nothing_{};
  OxVideoStream stream_{nullptr, 0};
};

/// What a measurement sees of a tester, its displays going nowhere or to a folder.
class Context {
 public:
  explicit Context(bool draws)
      : folder_(draws ? std::make_unique<qatest::TempDir>() : nullptr),
        displays_(draws ? QADisplays::pictures : QADisplays::nowhere, draws,
                  draws ? folder_->path().string() : "", {}),
        settings_(nullptr, nullptr) {}

  operator const CheckContext&() const { return context_; }

 private:
  std::unique_ptr<qatest::TempDir> folder_;
  Displays displays_;
  Settings settings_;
  std::string name_;
  QATesterOptions options_;
  CheckContext context_{name_, nullptr, nullptr, &settings_, displays_, 0, options_};
};

double figure(const VideoMeasurement& measurement, const char* name) {
  QACheckOutcome outcome;
  outcome.began = true;
  measurement.describe(outcome);
  return qatest::numberOf(outcome, name);
}

int feed(VideoMeasurement& measurement, Input& input) {
  PictureMaker maker;
  measurement.begin(static_cast<float>(input.number()), kMostPictures);
  int index = 0;
  for (int i = 0; i < kMostPictures && !input.empty(); ++i) {
    Picture picture(input);
    const int repeats = input.within(1, 3);
    for (int repeat = 0; repeat < repeats && index < kMostPictures; ++repeat) {
      OxVideoFrameYUV record = picture.record();
      const Taken taken = measurement.add(index, DecodedPicture(maker, record));
      index += taken == Taken::missed ? 0 : 1;
    }
  }
  return index;
}

void measure(Input& input) {
  const Context context(input.byte() % 64 == 1);
  switch (input.within(0, 5)) {
    case 0: {
      TearingMeasurement measurement(context, static_cast<float>(input.number()));
      feed(measurement, input);
      const double highest = figure(measurement, "highestPercent");
      require(highest >= 0.0 && highest <= 100.0, "no more is torn than there is");
      require(figure(measurement, "meanShare") <= highest / 100.0 + 1e-6, "a mean is no extreme");
      break;
    }
    case 1: {
      TransitionMeasurement measurement(context, static_cast<float>(input.number()));
      const int pictures = feed(measurement, input);
      require(measurement.verdict() <= std::max(0, pictures - 2), "a change needs three pictures");
      break;
    }
    case 2: {
      PulldownMeasurement measurement;
      const int pictures = feed(measurement, input);
      const double groups = figure(measurement, "groups");
      require(groups == pictures / 5, "a group has five pictures");
      require(figure(measurement, "groups23") + figure(measurement, "groups22") <= groups,
              "no group has two cadences");
      break;
    }
    case 3: {
      TimecodeMeasurement measurement(context);
      feed(measurement, input);
      break;
    }
    case 4: {
      FrameRateMeasurement measurement;
      feed(measurement, input);
      break;
    }
    default: {
      FieldDominanceMeasurement measurement;
      feed(measurement, input);
      require(figure(measurement, "interlaced") <= kMostPictures, "a flag counts once");
    }
  }
}

void convert(Input& input) {
  Converter converter;
  for (int i = 0; i < 3 && !input.empty(); ++i) {
    Picture picture(input);
    OxVideoFrameYUV record = picture.record();
    PictureMaker maker;
    const DecodedPicture decoded(maker, record);
    const OxVideoFrameRGB& whole = decoded.converted().record();
    const std::size_t rowBytes = static_cast<std::size_t>(picture.width()) * 3;
    int next = 0;
    const bool sliced = converter.stream().convertInSlices(record, [&](const ConvertedRows& rows) {
      require(rows.first == next && rows.count > 0, "slices follow each other");
      next += rows.count;
      for (int y = 0; y < rows.count; ++y) {
        require(std::memcmp(rows.bytes + rows.stride * y,
                            whole.buffer + rowBytes * static_cast<std::size_t>(rows.first + y),
                            rowBytes) == 0,
                "slices have the bytes of the whole picture");
      }
    });
    require(sliced == whole.valid, "a picture can be converted in both ways or in none");
    require(!sliced || next == picture.height(), "slices make up the picture");
    require(decoded.isConvertible() == sliced, "and says so");
    const std::shared_ptr<const GreyPicture> grey = decoded.grey();
    require((grey != nullptr) == sliced, "what can be converted can be made grey");
    require(decoded.grey() == grey, "once for all who ask");
  }
}

bool isOrdered(const Extremes& extremes) {
  return extremes.min <= extremes.max;
}

template <typename Level>
bool isSame(const Level& a, const Level& b) {
  return a.rMax == b.rMax && a.rMin == b.rMin && a.gMax == b.gMax && a.gMin == b.gMin &&
         a.bMax == b.bMax && a.bMin == b.bMin;
}

void measureColours(Input& input) {
  const bool byThreads = input.byte() % 16 == 1;
  Picture picture(input);
  OxVideoFrameYUV record = picture.record();
  const auto planes = planarPicture(record);
  require(planes.has_value() == picture.isPlanar(), "three formats can be read");
  if (!planes) {
    require(!YUVHelper::getYUVPixelFromFrame(record, 0, 0).valid, "and no other pixel");
    return;
  }
  Rectangle part;
  part.xStart = input.within(0, picture.width());
  part.yStart = input.within(0, picture.height());
  part.xEnd = input.within(0, picture.width());
  part.yEnd = input.within(0, picture.height());
  const ColourExtremes extremes = measureColours(*planes, part);
  require(extremes == measureColoursPixelwise(*planes, part), "kernel and definition agree");
  require(part.empty() || (isOrdered(extremes.r) && isOrdered(extremes.g) &&
                           isOrdered(extremes.b) && isOrdered(extremes.y)),
          "extremes are ordered");

  QA_ChromaLevel chroma;
  processSubsection(&record, 0, 0, record.width, record.height, &chroma);
  QA_GamutLevel gamut;
  processSubsection(&record, 0, 0, record.width, record.height, &gamut);
  require(isSame(chroma, QA_ChromaLevel(MaxChannels(chroma, chroma))), "a record adds nothing");
  require(chroma.yMin >= 0 && chroma.yMax <= 255, "luma has 8 bits");
  if (byThreads) {
    require(isSame(chroma, getChromaLimits(record)), "threads find the same");
    require(isSame(gamut, getGamutLimits(record)), "threads find the same");
  }
}

/// Of any matrix and range, in planes that are no larger than they must be.
void measureSignals(Input& input) {
  Picture picture(input);
  AVFrame& frame = picture.frame();
  frame.colorspace = static_cast<AVColorSpace>(input.within(0, 15));
  frame.color_range = static_cast<AVColorRange>(input.within(0, 2));
  const PixelLayout layout = pixelLayout(frame.format);
  SignalCoding coding;
  std::string reason;
  if (layout.kind == PixelLayout::Kind::unreadable || !findCoding(frame, layout, coding, reason)) {
    return;
  }
  SignalPlanes planes;
  const SignalPicture signals = planes.read(frame, layout);
  OutsideMap map;
  OutsideMap defined;
  map.reset(frame.width, frame.height);
  defined.reset(frame.width, frame.height);
  SignalExtremes extremes;
  SignalExtremes definedExtremes;
  const bool any = markOutside(signals, coding.rules, extremes, map);
  require(any == markOutsidePixelwise(signals, coding.rules, definedExtremes, defined),
          "kernel and definition agree whether a pixel is outside");
  require(map == defined, "and which");
  require(extremes == definedExtremes, "and on the extremes");
  require(countInSquares(map) == countInSquaresPixelwise(map), "and how many are in squares");
}

void runKernels(Input& input) {
  const auto count = static_cast<std::size_t>(input.within(0, 700));
  const std::vector<uint8_t> a = input.bytes(3 * count);
  const std::vector<uint8_t> b = input.bytes(count);
  const std::vector<uint8_t> c = input.bytes(count);
  std::vector<uint8_t> one(count);
  std::vector<uint8_t> other(count);
  toGrey(a.data(), count, one.data());
  toGreyOneByOne(a.data(), count, other.data());
  require(one == other, "grey values are those of single pixels");
  require(
      countBrighter(b.data(), c.data(), count) == countBrighterOneByOne(b.data(), c.data(), count),
      "as many are brighter");
  const float sum = std::fabs(static_cast<float>(input.value<int32_t>()));
  const float many = addRelations(sum, one.data(), b.data(), c.data(), count);
  require(many == addRelationsOneByOne(sum, one.data(), b.data(), c.data(), count),
          "relations add up to the same");
  require(many >= sum, "and never to less");
  const int64_t strong = replaceGradient(b.data(), c.data(), count, one.data());
  require(strong == replaceGradientOneByOne(b.data(), c.data(), count, other.data()),
          "as many change");
  require(one == other, "to the same gradient");
  const int percent = percentOfPixels(strong, static_cast<int>(count), 1);
  require(count == 0 || (percent >= 0 && percent <= 100), "a percentage is one");
}

UniqueCanvas image(Input& input) {
  constexpr int kChannels[] = {1, 3, 1, 3, 4, 2};
  constexpr int kDepths[] = {IPL_DEPTH_8U, IPL_DEPTH_8U, IPL_DEPTH_8U, IPL_DEPTH_8U, IPL_DEPTH_16U};
  const int width = input.within(1, 80);
  const int height = input.within(1, 40);
  const int depth = kDepths[input.within(0, 4)];
  const int channels = kChannels[input.within(0, 5)];
  UniqueCanvas canvas(cvCreateImage(cvSize(width, height), depth, channels));
  const std::vector<uint8_t> bytes = input.bytes(static_cast<std::size_t>(canvas->imageSize));
  std::copy(bytes.begin(), bytes.end(), canvas->imageData);
  return canvas;
}

void measureImages(Input& input) {
  const UniqueCanvas a = image(input);
  const UniqueCanvas b = input.flag() ? image(input) : UniqueCanvas(cvCloneImage(a.get()));
  const UniqueCanvas c = input.flag() ? image(input) : UniqueCanvas(cvCloneImage(b.get()));
  const auto threshold = static_cast<float>(input.number());

  const int white = percentWhite(a.get());
  require(white >= 0 && white <= 100, "a percentage is one");
  for (IplImage* (*measure)(IplImage*) : {verticalDifferencing, horizontalBarring}) {
    const UniqueCanvas result(measure(a.get()));
    require((result != nullptr) == (a->depth == IPL_DEPTH_8U), "images of bytes are measured");
    require(result == nullptr || (result->nChannels == 1 && result->width == a->width &&
                                  result->height == a->height),
            "to images of their size");
  }
  const UniqueCanvas bars(verticalBarring(a.get()));
  require(bars == nullptr || bars->nChannels == 3, "these are in colour");
  showOnOriginal(a.get(), b.get());

  const float relation = getFrameRelationship(a.get(), b.get(), c.get());
  require(relation == -1.0F || (relation >= 0.0F && relation <= 255.0F), "a relation is a share");
  compareFields(a.get(), b.get(), threshold);
  FrameFields fields;
  FrameFields::split(a.get(), &fields.top, &fields.bottom);
  require((fields.top != nullptr) == (fields.bottom != nullptr), "both fields or none");
  require(fields.top == nullptr || fields.top->height == a->height / 2, "of half the height");
}

void draw(Input& input) {
  Picture picture(input);
  OxVideoFrameYUV record = picture.record();
  const UniqueCanvas displays[] = {drawDiamond(record), drawCIE1931(record),
                                   drawLinearGamut(record)};
  for (const UniqueCanvas& canvas : displays) {
    require((canvas != nullptr) == picture.isPlanar(), "what can be read can be drawn");
  }
  PictureMaker maker;
  const DecodedPicture decoded(maker, record);
  const OxVideoFrameRGB& converted = decoded.converted().record();
  require((drawImageData(converted) != nullptr) == converted.valid,
          "what can be converted can be drawn");
}

void drawOnCanvas(Input& input) {
  const auto pair = [&] { return std::pair(input.value<int32_t>(), input.value<int32_t>()); };
  const auto red = pair();
  const auto green = pair();
  const auto blue = pair();
  drawColourSpace(red, green, blue, input.value<int32_t>());

  const int width = input.within(1, 60);
  const int height = input.within(1, 300);
  const UniqueCanvas canvas(Visual::createCleanImage(width, height));
  require(canvas != nullptr && canvas->width == width, "a canvas can be made");
  const auto number = [&] { return static_cast<float>(input.number()); };
  const float y = number();
  const float u = number();
  const float v = number();
  const auto anything = [&] {
    return input.flag() ? input.value<int32_t>() : input.within(-128, 127);
  };
  const int originX = anything();
  const int originY = anything();
  const int scale = anything();
  const int rows = anything();
  drawCIE1931Point(*canvas, y, u, v, originX, originY, scale, rows, anything());
  const int column = anything();
  Visual::plotPoint(column, anything(), canvas.get(), anything(), anything(), anything());

  const UniqueCanvas impossible(Visual::createCleanImage(-1 - input.within(0, 99), height));
  require(impossible == nullptr, "no canvas has less than no columns");

  FramePlot plot(anything() % 2000, anything() % 300);
  for (int i = 0; i < 8; ++i) {
    plot.markRed(anything(), anything());
    plot.markGreen(anything(), anything());
  }
  const std::string drop = input.text(40);
  drawTimecodes(drop, input.text(40), anything());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  unsetenv("DISPLAY");
  unsetenv("QT_QPA_PLATFORM");
  Input input(data, size);
  switch (input.within(0, 8)) {
    case 0:
      convert(input);
      break;
    case 1:
      measureColours(input);
      break;
    case 2:
      runKernels(input);
      break;
    case 3:
      measureImages(input);
      break;
    case 4:
      draw(input);
      break;
    case 5:
      drawOnCanvas(input);
      break;
    case 8:
      measureSignals(input);
      break;
    default:
      measure(input);
  }
  return 0;
}
