#include "media/OxVideoStream.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <stdexcept>

#include "media/PacketQueue.h"
#include "media/Reference.h"
#include "support/Clips.h"
#include "support/FakeSleep.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // which have their own heaps
#define GUARDED_HEAP

namespace {
constexpr std::size_t kGuardBytes = 64;
constexpr uint8_t kGuard = 0xee;
/// Blocks of this size get guard bytes behind them; 0: none do.
std::atomic<std::size_t> guardedSize{0};
}  // namespace

extern "C" void* __libc_malloc(std::size_t bytes);

extern "C" void* malloc(std::size_t bytes) noexcept {
  if (bytes == 0 || bytes != guardedSize) {
    return __libc_malloc(bytes);
  }
  auto* block = static_cast<uint8_t*>(__libc_malloc(bytes + kGuardBytes));
  std::fill_n(block + bytes, kGuardBytes, kGuard);
  return block;
}
#endif

namespace {

using namespace qatest;

constexpr double kUnknownSeconds = static_cast<double>(AV_NOPTS_VALUE) / 1000000.0;

struct FreeBuffer {
  void operator()(uint8_t* buffer) const { std::free(buffer); }
};
using Buffer = std::unique_ptr<uint8_t, FreeBuffer>;

/// One stream of a clip without a wrapper: the test fills the queue itself.
class Clip {
 public:
  explicit Clip(const std::string& path, AVMediaType type = AVMEDIA_TYPE_VIDEO)
      : container(openClip(path)),
        index(firstStream(*container, type)),
        packets(readPackets(*container, index)) {}

  const AVStream& stream() const { return *container->streams[index]; }

  ContainerHandle container;
  int index;
  std::vector<PacketHandle> packets;
};

class OxVideoStreamTest : public testing::Test {
 protected:
  std::string clip(const std::string& name, const VideoSpec& spec) {
    return makeClip(dir, name, {{spec}, {}});
  }

  TempDir dir;
  QuickWaits quick;  // every test knows what it has queued
  ShortStarts alone;
};

FrameHandle pictureOf(int width, int height, AVPixelFormat format, int seed) {
  FrameHandle frame(av_frame_alloc());
  frame->format = format;
  frame->width = width;
  frame->height = height;
  EXPECT_GE(av_frame_get_buffer(frame.get(), 0), 0);
  for (int plane = 0; plane < 3; ++plane) {
    const int rows = plane > 0 && format == AV_PIX_FMT_YUV420P ? (height + 1) / 2 : height;
    const int bytes = av_image_get_linesize(format, width, plane);
    for (int y = 0; y < rows; ++y) {
      for (int x = 0; x < bytes; ++x) {
        frame->data[plane][y * frame->linesize[plane] + x] =
            static_cast<uint8_t>((x * x * 3 + y * 29 + plane * 71 + x * y + seed) & 0xff);
      }
    }
  }
  return frame;
}

OxVideoFrameYUV recordOf(AVFrame& frame) {
  OxVideoFrameYUV record;
  record.frame = &frame;
  record.width = frame.width;
  record.height = frame.height;
  record.valid = true;
  record.time = 1.25;
  return record;
}

/// The scaler's result in rows with room for what its vector code writes past the width.
std::vector<uint8_t> scaledInWideRows(const AVFrame& picture) {
  const int rowBytes = picture.width * 3;
  const int stride = ((rowBytes + 15) / 16 + 4) * 16;
  std::vector<uint8_t> rows(static_cast<std::size_t>(stride * picture.height), 0xcd);
  SwsContext* scaler = sws_getContext(
      picture.width, picture.height, static_cast<AVPixelFormat>(picture.format), picture.width,
      picture.height, AV_PIX_FMT_BGR24, SWS_BICUBIC, nullptr, nullptr, nullptr);
  uint8_t* planes[4] = {rows.data(), nullptr, nullptr, nullptr};
  const int strides[4] = {stride, 0, 0, 0};
  sws_scale(scaler, picture.data, picture.linesize, 0, picture.height, planes, strides);
  sws_freeContext(scaler);
  std::vector<uint8_t> packed;
  for (int row = 0; row < picture.height; ++row) {
    const auto begin = rows.begin() + row * stride;
    packed.insert(packed.end(), begin, begin + rowBytes);
  }
  return packed;
}

/// Every remainder of 16 several times, and sizes of real pictures.
std::vector<int> widthsToConvert() {
  std::vector<int> widths = {718, 854, 1278, 1366, 1918};
  for (int width = 1; width <= 70; ++width) {
    widths.push_back(width);
  }
  return widths;
}

void expectExactConversion(OxVideoStream& stream, int width, int height, AVPixelFormat format) {
  const FrameHandle picture = pictureOf(width, height, format, width + height);
  OxVideoFrameYUV yuv = recordOf(*picture);
  const std::unique_ptr<OxVideoFrameRGB> rgb(stream.getRGBFromYUV(&yuv));
  const Buffer buffer(rgb->buffer);
  const std::vector<uint8_t> expected = scaledInWideRows(*picture);
  ASSERT_TRUE(rgb->valid);
  EXPECT_EQ(rgb->width, width);
  EXPECT_EQ(rgb->height, height);
  EXPECT_EQ(rgb->time, 1.25);
  ASSERT_GE(malloc_usable_size(rgb->buffer), expected.size());
  EXPECT_TRUE(std::equal(expected.begin(), expected.end(), rgb->buffer))
      << width << " x " << height << " " << av_get_pix_fmt_name(format);
}

struct Bgr {
  uint8_t blue;
  uint8_t green;
  uint8_t red;
};

/// What the conversion makes of a picture of one colour.
Bgr convertedColour(OxVideoStream& stream, uint8_t y, uint8_t u, uint8_t v) {
  const FrameHandle picture = pictureOf(32, 16, AV_PIX_FMT_YUV444P, 0);
  const uint8_t values[3] = {y, u, v};
  for (int plane = 0; plane < 3; ++plane) {
    std::fill_n(picture->data[plane], picture->linesize[plane] * 16, values[plane]);
  }
  OxVideoFrameYUV yuv = recordOf(*picture);
  const std::unique_ptr<OxVideoFrameRGB> rgb(stream.getRGBFromYUV(&yuv));
  const Buffer buffer(rgb->buffer);
  return {rgb->buffer[0], rgb->buffer[1], rgb->buffer[2]};
}

void expectNothing(OxVideoStream& stream) {
  const OxVideoFrameYUV yuv = stream.getNextYUVFrame();
  EXPECT_FALSE(yuv.valid);
  EXPECT_EQ(yuv.frame, nullptr);
  EXPECT_EQ(yuv.width, 0);
  EXPECT_EQ(yuv.height, 0);
  EXPECT_EQ(yuv.time, 0.0);
  const OxVideoFrameRGB rgb = stream.getNextRGBFrame();
  EXPECT_FALSE(rgb.valid);
  EXPECT_EQ(rgb.buffer, nullptr);
}

/// A stream whose decoder did not open is harmless in every call.
void expectHarmless(OxVideoStream& stream) {
  EXPECT_EQ(stream.packetQueue, nullptr);
  EXPECT_EQ(stream.stream, nullptr);
  EXPECT_EQ(stream.swsContext, nullptr);
  expectNothing(stream);
  const FrameHandle picture = pictureOf(16, 16, AV_PIX_FMT_YUV420P, 0);
  OxVideoFrameYUV yuv = recordOf(*picture);
  const std::unique_ptr<OxVideoFrameRGB> rgb(stream.getRGBFromYUV(&yuv));
  EXPECT_FALSE(rgb->valid);
  EXPECT_EQ(rgb->buffer, nullptr);
  stream.seekToMS(100);
  EXPECT_FALSE(stream.hasEnded());
}

TEST_F(OxVideoStreamTest, AMissingContainerIsReported) {
  OxVideoStream stream(nullptr, 0);
  EXPECT_EQ(stream.getFPS(), -1.0F);
  EXPECT_EQ(stream.getDurationSeconds(), -1.0);
  EXPECT_EQ(stream.getFrameCount(), -1);
  EXPECT_EQ(stream.getPixelFormat(), "Other");
  EXPECT_EQ(stream.getPixelFormatName(), "unknown");
  expectHarmless(stream);
}

TEST_F(OxVideoStreamTest, AnIndexOutOfRangeIsHarmless) {
  const Clip clip(this->clip("a.mkv", ffv1(2)));
  for (const int index : {-1, 1}) {
    OxVideoStream stream(clip.container.get(), index);
    EXPECT_EQ(stream.streamIndex, index);
    EXPECT_EQ(stream.formatContext, clip.container.get());
    EXPECT_EQ(stream.codecContext, nullptr);
    expectHarmless(stream);
  }
}

TEST_F(OxVideoStreamTest, AnAudioStreamIsRefused) {
  const Clip clip(makeClip(dir, "a.wav", {{}, {audio("pcm_s16le")}}), AVMEDIA_TYPE_AUDIO);
  OxVideoStream stream(clip.container.get(), 0);
  expectHarmless(stream);
}

TEST_F(OxVideoStreamTest, AnUnknownDecoderIsHarmless) {
  const Clip clip(this->clip("a.mkv", ffv1(2)));
  clip.container->streams[0]->codecpar->codec_id = AV_CODEC_ID_NONE;
  OxVideoStream stream(clip.container.get(), 0);
  EXPECT_EQ(stream.codec, nullptr);
  expectHarmless(stream);
}

TEST_F(OxVideoStreamTest, ADecoderThatRefusesToOpenIsHarmless) {
  const Clip clip(this->clip("a.mkv", ffv1(2)));
  AVCodecParameters& parameters = *clip.container->streams[0]->codecpar;
  ASSERT_GT(parameters.extradata_size, 0);
  std::fill_n(parameters.extradata, parameters.extradata_size, uint8_t{0});
  OxVideoStream stream(clip.container.get(), 0);
  EXPECT_NE(stream.codec, nullptr);
  expectHarmless(stream);
}

TEST_F(OxVideoStreamTest, TheRateIsTheDeclaredOneInSinglePrecision) {
  const AVRational rates[] = {{24000, 1001}, {25, 1}, {30000, 1001},
                              {30, 1},       {50, 1}, {60000, 1001}};
  for (const AVRational rate : rates) {
    const Clip clip(this->clip("rate.mp4", h264WithBFrames(10, rate)));
    OxVideoStream stream(clip.container.get(), clip.index);
    EXPECT_EQ(stream.getFPS(), static_cast<float>(rate.num) / static_cast<float>(rate.den));
  }
}

TEST_F(OxVideoStreamTest, AnUndeclaredRateIsNotANumber) {
  VideoSpec spec = ffv1(1);
  spec.declareRate = false;
  const Clip clip(this->clip("one.mkv", spec));
  ASSERT_EQ(clip.stream().avg_frame_rate.den, 0);
  OxVideoStream stream(clip.container.get(), clip.index);
  EXPECT_TRUE(std::isnan(stream.getFPS()));
}

TEST_F(OxVideoStreamTest, DurationAndFrameCountAreTheContainers) {
  const Clip clip(this->clip("a.mp4", h264WithBFrames(50)));
  OxVideoStream stream(clip.container.get(), clip.index);
  EXPECT_EQ(stream.getDurationSeconds(), 2.0);
  EXPECT_EQ(stream.getFrameCount(), 50);
}

TEST_F(OxVideoStreamTest, AnUnknownDurationIsALargeNegativeNumber) {
  const Clip clip(makeClip(dir, "live.mkv", withoutDuration({{ffv1(50)}, {}})));
  ASSERT_EQ(clip.container->duration, AV_NOPTS_VALUE);
  OxVideoStream stream(clip.container.get(), clip.index);
  EXPECT_EQ(stream.getDurationSeconds(), kUnknownSeconds);
  EXPECT_EQ(stream.getFrameCount(), 0);
}

TEST_F(OxVideoStreamTest, PixelFormatsHaveTheirTexts) {
  VideoSpec deep = h264WithBFrames(4);
  deep.pixelFormat = AV_PIX_FMT_YUV420P10;
  const struct {
    std::string file;
    VideoSpec spec;
    std::string text;
    std::string name;
  } cases[] = {{"a.mkv", ffv1(2), "YUV420P pixel format.", "yuv420p"},
               {"b.mkv", ffv1(2, AV_PIX_FMT_YUV422P), "YUV422P pixel format.", "yuv422p"},
               {"c.mkv", ffv1(2, AV_PIX_FMT_YUV444P), "YUV444P pixel format.", "yuv444p"},
               {"d.mov", proRes(2), "Other", "yuv422p10le"},
               {"e.avi", mjpeg(2), "Other", "yuvj420p"},
               {"f.mp4", deep, "Other", "yuv420p10le"},
               {"g.dv", dvPal(5), "YUV420P pixel format.", "yuv420p"}};
  for (const auto& [file, spec, text, name] : cases) {
    const Clip clip(this->clip(file, spec));
    OxVideoStream stream(clip.container.get(), clip.index);
    EXPECT_EQ(stream.getPixelFormat(), text);
    EXPECT_EQ(stream.getPixelFormatName(), name);
  }
}

TEST_F(OxVideoStreamTest, PlanesHoldThePicturesOfTheFile) {
  for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV444P}) {
    VideoSpec spec = ffv1(5, format);
    spec.width = 46;
    spec.height = 34;
    const Clip clip(this->clip("planes.mkv", spec));
    OxVideoStream stream(clip.container.get(), clip.index);
    feed(stream.packetQueue, clip.packets);
    for (int index = 0; index < 5; ++index) {
      const OxVideoFrameYUV picture = stream.getNextYUVFrame();
      ASSERT_TRUE(picture.valid);
      EXPECT_EQ(picture.width, 46);
      EXPECT_EQ(picture.height, 34);
      EXPECT_EQ(picture.frame->format, format);
      for (int plane = 0; plane < 3; ++plane) {
        const int width = plane > 0 && format != AV_PIX_FMT_YUV444P ? 23 : 46;
        const int height = plane > 0 && format == AV_PIX_FMT_YUV420P ? 17 : 34;
        int wrong = 0;
        for (int y = 0; y < height; ++y) {
          const uint8_t* row = picture.frame->data[plane] + y * picture.frame->linesize[plane];
          for (int x = 0; x < width; ++x) {
            wrong += row[x] != clipPixel(plane, x, y, index) ? 1 : 0;
          }
        }
        EXPECT_EQ(wrong, 0) << "plane " << plane << " of picture " << index;
      }
      av_free(picture.frame);
    }
    expectNothing(stream);
  }
}

TEST_F(OxVideoStreamTest, PlanesStayUntilTheNextDecodeCall) {
  const Clip clip(this->clip("a.mp4", h264WithBFrames(12)));
  const std::vector<PictureFacts> expected = expectedPictures(clip.stream(), clip.packets);
  OxVideoStream stream(clip.container.get(), clip.index);
  feed(stream.packetQueue, clip.packets);
  for (const PictureFacts& facts : expected) {
    OxVideoFrameYUV picture = stream.getNextYUVFrame();
    ASSERT_TRUE(picture.valid);
    // Conversion is no decode call.
    const std::unique_ptr<OxVideoFrameRGB> rgb(stream.getRGBFromYUV(&picture));
    std::free(rgb->buffer);
    EXPECT_EQ(checksumOfPlanes(*picture.frame), facts.checksum);
    av_free(picture.frame);
  }
}

TEST_F(OxVideoStreamTest, ARecordMayBeReleasedLongAfterItsPlanesHaveGone) {
  const Clip clip(this->clip("a.mkv", ffv1(8)));
  std::vector<AVFrame*> records;
  {
    OxVideoStream stream(clip.container.get(), clip.index);
    feed(stream.packetQueue, clip.packets);
    for (int i = 0; i < 8; ++i) {
      records.push_back(stream.getNextYUVFrame().frame);
    }
  }
  for (AVFrame* record : records) {
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->buf[0], nullptr);  // it owns nothing that av_free would leak
    av_free(record);
  }
}

struct Reordering {
  std::string file;
  VideoSpec spec;
  int pictures;  ///< of 50: as many as are reordered never come without a flush

  friend std::ostream& operator<<(std::ostream& out, const Reordering& value) {
    return out << value.file;
  }
};

class PictureTimes : public OxVideoStreamTest, public testing::WithParamInterface<Reordering> {};

TEST_P(PictureTimes, AreTheDecodingTimesOfTheCompletingPackets) {
  const auto& [file, spec, count] = GetParam();
  const Clip clip(this->clip(file, spec));
  OxVideoStream stream(clip.container.get(), clip.index);
  feed(stream.packetQueue, clip.packets);
  const std::vector<PictureFacts> pictures = pullPictures(stream);
  EXPECT_EQ(pictures, expectedPictures(clip.stream(), clip.packets));
  EXPECT_EQ(pictures.size(), static_cast<std::size_t>(count));
}

INSTANTIATE_TEST_SUITE_P(, PictureTimes,
                         testing::Values(Reordering{"h264.mp4", h264WithBFrames(), 48},
                                         Reordering{"h264.mkv", h264WithBFrames(), 48},
                                         Reordering{"h264.ts", h264WithBFrames(), 48},
                                         Reordering{"h264.avi", h264WithBFrames(), 48},
                                         Reordering{"mpeg2.mpg", mpeg2WithBFrames(), 49},
                                         Reordering{"mpeg2.ts", mpeg2WithBFrames(), 49},
                                         Reordering{"ffv1.mkv", ffv1(), 50},
                                         Reordering{"dv.mov", dvPal(50), 50},
                                         Reordering{"prores.mov", proRes(), 50},
                                         Reordering{"mjpeg.avi", mjpeg(), 50}));

TEST_F(OxVideoStreamTest, TheFirstPictureOfAnMp4WithReorderingHasTimeZero) {
  const Clip clip(this->clip("a.mp4", h264WithBFrames(50)));
  ASSERT_LT(clip.packets.front()->dts, 0);
  OxVideoStream stream(clip.container.get(), clip.index);
  feed(stream.packetQueue, clip.packets);
  const std::vector<PictureFacts> pictures = pullPictures(stream);
  for (std::size_t i = 0; i < pictures.size(); ++i) {
    EXPECT_NEAR(pictures[i].time, static_cast<double>(i) / 25.0, 1e-9);
  }
}

TEST_F(OxVideoStreamTest, WithoutTimeStampsEveryTimeIsZero) {
  const Clip clip(this->clip("a.h264", h264WithBFrames(20)));
  OxVideoStream stream(clip.container.get(), clip.index);
  feed(stream.packetQueue, clip.packets);
  const std::vector<PictureFacts> pictures = pullPictures(stream);
  EXPECT_EQ(pictures.size(), 18U);
  for (const PictureFacts& picture : pictures) {
    EXPECT_EQ(picture.time, 0.0);
    EXPECT_EQ(picture.microseconds, 0);
  }
}

TEST_F(OxVideoStreamTest, APacketWithoutDecodingTimeGivesTimeZero) {
  const Clip clip(this->clip("a.mkv", ffv1(3)));
  clip.packets[1]->dts = AV_NOPTS_VALUE;  // its presentation time does not take its place
  OxVideoStream stream(clip.container.get(), clip.index);
  feed(stream.packetQueue, clip.packets);
  const std::vector<PictureFacts> pictures = pullPictures(stream);
  ASSERT_EQ(pictures.size(), 3U);
  EXPECT_EQ(pictures[1].time, 0.0);
  EXPECT_EQ(pictures[2].time, 0.08);
}

TEST_F(OxVideoStreamTest, MicrosecondsAreTruncatedTowardZero) {
  const Clip clip(this->clip("a.mkv", ffv1(2)));
  clip.container->streams[0]->time_base = {1001, 30000};  // 33,366.67 microseconds
  clip.packets[0]->dts = -1;
  clip.packets[1]->dts = 1;
  OxVideoStream stream(clip.container.get(), clip.index);
  feed(stream.packetQueue, clip.packets);
  const std::vector<PictureFacts> pictures = pullPictures(stream);
  ASSERT_EQ(pictures.size(), 2U);
  EXPECT_EQ(pictures[0].time, 1001.0 / 30000.0 * -1.0);
  EXPECT_EQ(pictures[0].microseconds, -33366);
  EXPECT_EQ(pictures[1].microseconds, 33366);
}

TEST_F(OxVideoStreamTest, APacketThatDoesNotDecodeIsPassedOver) {
  const Clip clip(this->clip("a.mkv", ffv1(6)));
  for (const std::size_t broken : {std::size_t{0}, std::size_t{3}}) {
    ASSERT_GE(av_packet_make_writable(clip.packets[broken].get()), 0);
    clip.packets[broken]->size = 3;
  }
  OxVideoStream stream(clip.container.get(), clip.index);
  feed(stream.packetQueue, clip.packets);
  std::vector<double> times;
  for (const PictureFacts& picture : pullPictures(stream)) {
    times.push_back(picture.time);
  }
  EXPECT_EQ(times, (std::vector<double>{0.04, 0.08, 0.16, 0.2}));
}

TEST_F(OxVideoStreamTest, AnEmptyPacketDoesNotEndTheDecoder) {
  Clip clip(this->clip("a.mp4", h264WithBFrames(20)));
  clip.packets.insert(clip.packets.begin() + 6, PacketHandle(av_packet_alloc()));
  OxVideoStream stream(clip.container.get(), clip.index);
  feed(stream.packetQueue, clip.packets);
  EXPECT_EQ(pullPictures(stream).size(), 18U);
}

TEST_F(OxVideoStreamTest, TheMarkerMakesTheDecoderForget) {
  VideoSpec spec = h264WithBFrames(36);
  Clip clip(this->clip("a.mp4", spec));
  const auto secondGroup = clip.packets.begin() + spec.gop;
  ASSERT_TRUE((*secondGroup)->flags & AV_PKT_FLAG_KEY);
  clip.packets.insert(secondGroup, nullptr);
  OxVideoStream stream(clip.container.get(), clip.index);
  feed(stream.packetQueue, clip.packets);
  const std::vector<PictureFacts> pictures = pullPictures(stream);
  EXPECT_EQ(pictures, expectedPictures(clip.stream(), clip.packets));
  EXPECT_EQ(pictures.size(), 32U);  // two are lost before the marker and two at the end
}

TEST_F(OxVideoStreamTest, TheMarkerIsHarmlessBeforeBetweenAndBehindPictures) {
  Clip clip(this->clip("a.mkv", ffv1(4)));
  clip.packets.insert(clip.packets.begin(), nullptr);
  clip.packets.insert(clip.packets.begin() + 3, nullptr);
  clip.packets.push_back(nullptr);
  OxVideoStream stream(clip.container.get(), clip.index);
  feed(stream.packetQueue, clip.packets);
  EXPECT_EQ(pullPictures(stream).size(), 4U);
}

TEST_F(OxVideoStreamTest, InterlacedFlagsAreThePictures) {
  const Clip clip(this->clip("dv.dv", dvPal(5)));
  OxVideoStream stream(clip.container.get(), clip.index);
  feed(stream.packetQueue, clip.packets);
  const std::vector<PictureFacts> pictures = pullPictures(stream);
  ASSERT_EQ(pictures.size(), 5U);
  for (const PictureFacts& picture : pictures) {
    EXPECT_TRUE(picture.interlaced);
    EXPECT_FALSE(picture.topFieldFirst);  // DV is bottom field first
  }
}

struct SlicedClip {
  std::string file;
  VideoSpec spec;
  std::size_t intactBytes;

  friend std::ostream& operator<<(std::ostream& out, const SlicedClip& value) {
    return out << value.file;
  }
};

class SliceThreads : public OxVideoStreamTest, public testing::WithParamInterface<SlicedClip> {};

TEST_P(SliceThreads, GiveThePicturesOfOneThreadEvenFromDamage) {
  auto [file, spec, intact] = GetParam();
  spec.width = 720;
  spec.height = 576;
  spec.frames = 12;
  const std::string whole = clip(file, spec);
  const std::string damaged = damagedCopy(dir, "damaged-" + file, whole, intact, 1501);
  for (const std::string& path : {whole, damaged}) {
    const Clip clip(path);
    OxVideoStream stream(clip.container.get(), clip.index);
    ASSERT_NE(stream.packetQueue, nullptr);
    feed(stream.packetQueue, clip.packets);
    const std::vector<PictureFacts> pictures = pullPictures(stream);
    EXPECT_GT(pictures.size(), 2U);
    EXPECT_EQ(pictures, expectedPictures(clip.stream(), clip.packets)) << path;
  }
}

INSTANTIATE_TEST_SUITE_P(, SliceThreads,
                         testing::Values(SlicedClip{"mpeg2.ts", mpeg2WithBFrames(), 60000},
                                         SlicedClip{"dv.dv", dvPal(), 300000},
                                         SlicedClip{"ffv1.nut", ffv1(), 60000}));

TEST_F(OxVideoStreamTest, ConversionWritesEveryPixel) {
  const Clip clip(this->clip("a.mkv", ffv1(1)));
  OxVideoStream stream(clip.container.get(), clip.index);
  for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV444P}) {
    for (const int width : widthsToConvert()) {
      for (const int height : {1, 2, 5, 16, 31}) {
        expectExactConversion(stream, width, height, format);
      }
    }
  }
}

#ifdef GUARDED_HEAP
TEST_F(OxVideoStreamTest, ConversionWritesNothingBehindItsBuffer) {
  const Clip clip(this->clip("a.mkv", ffv1(1)));
  OxVideoStream stream(clip.container.get(), clip.index);
  for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV444P}) {
    for (const int width : widthsToConvert()) {
      const FrameHandle picture = pictureOf(width, 16, format, width);
      OxVideoFrameYUV yuv = recordOf(*picture);
      const auto bytes = static_cast<std::size_t>(width) * 16 * 3;
      guardedSize = bytes;
      const std::unique_ptr<OxVideoFrameRGB> rgb(stream.getRGBFromYUV(&yuv));
      guardedSize = 0;
      const Buffer buffer(rgb->buffer);
      const uint8_t* behind = rgb->buffer + bytes;
      ASSERT_TRUE(
          std::all_of(behind, behind + kGuardBytes, [](uint8_t byte) { return byte == kGuard; }))
          << width << " " << av_get_pix_fmt_name(format);
    }
  }
}
#endif

TEST_F(OxVideoStreamTest, APalPictureHasItsBytes) {
  VideoSpec spec = ffv1(1);
  spec.width = 720;
  spec.height = 576;
  const Clip clip(this->clip("pal.mkv", spec));
  OxVideoStream stream(clip.container.get(), clip.index);
  feed(stream.packetQueue, clip.packets);
  const OxVideoFrameRGB rgb = stream.getNextRGBFrame();
  const Buffer buffer(rgb.buffer);
  ASSERT_TRUE(rgb.valid);
  EXPECT_EQ(rgb.width * 3 * rgb.height, 1244160);
  ASSERT_GE(malloc_usable_size(rgb.buffer), 1244160U);
  EXPECT_LT(malloc_usable_size(rgb.buffer), 1244160U + 8192U);  // to the end of its memory page
  // The last row is there: luma and chroma of its last pixel give a colour that is not black.
  EXPECT_NE(rgb.buffer[1244157] + rgb.buffer[1244158] + rgb.buffer[1244159], 0);
}

TEST_F(OxVideoStreamTest, ColoursComeOutAsBlueGreenRed) {
  const Clip clip(this->clip("a.mkv", ffv1(1)));
  OxVideoStream stream(clip.container.get(), clip.index);
  // Video-range BT.601: R = 1.164(Y-16) + 1.596(V-128), G = 1.164(Y-16) - 0.813(V-128) -
  // 0.391(U-128), B = 1.164(Y-16) + 2.018(U-128).
  const struct {
    uint8_t y, u, v;
    int blue, green, red;
  } colours[] = {{16, 128, 128, 0, 0, 0},
                 {235, 128, 128, 255, 255, 255},
                 {41, 240, 110, 255, 0, 0},
                 {81, 90, 240, 0, 0, 254},
                 {145, 54, 34, 1, 255, 0}};
  for (const auto& [y, u, v, blue, green, red] : colours) {
    const Bgr colour = convertedColour(stream, y, u, v);
    EXPECT_NEAR(colour.blue, blue, 3);
    EXPECT_NEAR(colour.green, green, 3);
    EXPECT_NEAR(colour.red, red, 3);
  }
}

TEST_F(OxVideoStreamTest, NothingToConvertGivesAnInvalidRecord) {
  const Clip clip(this->clip("a.mkv", ffv1(1)));
  OxVideoStream stream(clip.container.get(), clip.index);
  const FrameHandle picture = pictureOf(16, 16, AV_PIX_FMT_YUV420P, 0);
  OxVideoFrameYUV invalid = recordOf(*picture);
  invalid.valid = false;
  OxVideoFrameYUV withoutPicture = recordOf(*picture);
  withoutPicture.frame = nullptr;
  for (OxVideoFrameYUV* yuv : {&invalid, &withoutPicture, static_cast<OxVideoFrameYUV*>(nullptr)}) {
    const std::unique_ptr<OxVideoFrameRGB> rgb(stream.getRGBFromYUV(yuv));
    ASSERT_NE(rgb, nullptr);
    EXPECT_FALSE(rgb->valid);
    EXPECT_EQ(rgb->buffer, nullptr);
    EXPECT_EQ(rgb->width, 0);
    EXPECT_EQ(rgb->time, 0.0);
  }
}

TEST_F(OxVideoStreamTest, TheNextColourPictureIsTheNextPictureConverted) {
  const Clip clip(this->clip("a.mkv", ffv1(3, AV_PIX_FMT_YUV422P)));
  OxVideoStream planar(clip.container.get(), clip.index);
  OxVideoStream packed(clip.container.get(), clip.index);
  feed(planar.packetQueue, clip.packets);
  feed(packed.packetQueue, clip.packets);
  for (int i = 0; i < 3; ++i) {
    const OxVideoFrameYUV yuv = planar.getNextYUVFrame();
    const OxVideoFrameRGB rgb = packed.getNextRGBFrame();
    const Buffer buffer(rgb.buffer);
    ASSERT_TRUE(yuv.valid && rgb.valid);
    EXPECT_EQ(rgb.time, yuv.time);
    EXPECT_EQ(rgb.width, 64);
    EXPECT_EQ(rgb.height, 48);
    const std::vector<uint8_t> expected = scaledInWideRows(*yuv.frame);
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), rgb.buffer));
    av_free(yuv.frame);
  }
  expectNothing(packed);
}

TEST_F(OxVideoStreamTest, APictureOfAnotherSizeIsConvertedAtItsOwn) {
  VideoSpec small = mpeg2WithBFrames(12);
  small.bFrames = 0;
  VideoSpec large = small;
  large.width = 94;
  large.height = 66;
  const std::string joined = dir.file("joined.m2v");
  writeFile(joined, readFile(clip("small.m2v", small)) + readFile(clip("large.m2v", large)));
  const Clip clip(joined);
  OxVideoStream stream(clip.container.get(), clip.index);
  feed(stream.packetQueue, clip.packets);
  std::vector<int> widths;
  for (OxVideoFrameYUV yuv = stream.getNextYUVFrame(); yuv.valid; yuv = stream.getNextYUVFrame()) {
    const std::unique_ptr<OxVideoFrameRGB> rgb(stream.getRGBFromYUV(&yuv));
    const Buffer buffer(rgb->buffer);
    EXPECT_EQ(yuv.width, yuv.frame->width);
    EXPECT_EQ(rgb->width, yuv.width);
    EXPECT_EQ(rgb->height, yuv.height);
    const std::vector<uint8_t> expected = scaledInWideRows(*yuv.frame);
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), rgb->buffer));
    widths.push_back(yuv.width);
    av_free(yuv.frame);
  }
  EXPECT_EQ(widths.front(), 64);
  EXPECT_EQ(widths.back(), 94);
}

/// Buffers of a client that marks each picture with what it finds in the decoder's `opaque`.
int markedBuffer(AVCodecContext* context, AVFrame* picture, int flags) {
  picture->opaque = context->opaque;
  return avcodec_default_get_buffer2(context, picture, flags);
}

TEST_F(OxVideoStreamTest, APictureOfAPacketWithoutATimeTakesThatOfItsMark) {
  constexpr uint64_t kNone = static_cast<uint64_t>(AV_NOPTS_VALUE);
  constexpr uint64_t kLarge = (uint64_t{1} << 63) + (uint64_t{1} << 62);
  const struct {
    const uint64_t mark;
    bool isMarked;
    int64_t dts;
    double ticks;
  } cases[] = {{75, true, AV_NOPTS_VALUE, 75.0}, {75, true, 2, 2.0},
               {75, false, AV_NOPTS_VALUE, 0.0}, {kNone, true, AV_NOPTS_VALUE, 0.0},
               {0, true, AV_NOPTS_VALUE, 0.0},   {kLarge, true, AV_NOPTS_VALUE, 0x1.8p63}};
  for (const auto& [mark, isMarked, dts, ticks] : cases) {
    const Clip clip(this->clip("a.mkv", ffv1(1)));
    OxVideoStream stream(clip.container.get(), clip.index);
    uint64_t value = mark;
    stream.codecContext->opaque = isMarked ? &value : nullptr;
    stream.codecContext->get_buffer2 = markedBuffer;
    clip.packets[0]->dts = dts;
    feed(stream.packetQueue, clip.packets);
    const OxVideoFrameYUV picture = stream.getNextYUVFrame();
    ASSERT_TRUE(picture.valid);
    const AVRational unit = clip.stream().time_base;
    EXPECT_EQ(picture.time, static_cast<double>(unit.num) / unit.den * ticks);
    EXPECT_EQ(picture.frame->opaque, stream.codecContext->opaque);
    av_free(picture.frame);
  }
}

// Conversion a few rows at a time.

/// A picture whose planes lie in memory from the last row to the first.
FrameHandle bottomUp(const AVFrame& picture) {
  FrameHandle flipped(av_frame_clone(&picture));
  for (int plane = 0; plane < 3; ++plane) {
    const int rows = plane > 0 && picture.format == AV_PIX_FMT_YUV420P ? (picture.height + 1) / 2
                                                                       : picture.height;
    flipped->data[plane] += std::ptrdiff_t{rows - 1} * picture.linesize[plane];
    flipped->linesize[plane] = -picture.linesize[plane];
  }
  return flipped;
}

/// What `convertInSlices` gives, put together; rows must come in order, without a gap.
std::vector<uint8_t> convertedInSlices(OxVideoStream& stream, AVFrame& picture) {
  std::vector<uint8_t> packed;
  const std::ptrdiff_t rowBytes = std::ptrdiff_t{3} * picture.width;
  int next = 0;
  const bool converted =
      stream.convertInSlices(recordOf(picture), [&](const qatester::ConvertedRows& rows) {
        EXPECT_EQ(rows.first, next);
        EXPECT_GT(rows.count, 0);
        EXPECT_GE(rows.stride, rowBytes);
        for (int row = 0; row < rows.count; ++row) {
          const uint8_t* bytes = rows.bytes + row * rows.stride;
          packed.insert(packed.end(), bytes, bytes + rowBytes);
        }
        next += rows.count;
      });
  EXPECT_TRUE(converted);
  EXPECT_EQ(next, picture.height);
  return packed;
}

void expectSlicesAsWhole(OxVideoStream& stream, AVFrame& picture) {
  OxVideoFrameYUV yuv = recordOf(picture);
  const std::unique_ptr<OxVideoFrameRGB> rgb(stream.getRGBFromYUV(&yuv));
  const Buffer buffer(rgb->buffer);
  ASSERT_TRUE(rgb->valid);
  const std::vector<uint8_t> whole(
      rgb->buffer, rgb->buffer + std::ptrdiff_t{3} * picture.width * picture.height);
  EXPECT_TRUE(convertedInSlices(stream, picture) == whole)
      << picture.width << " x " << picture.height << " "
      << av_get_pix_fmt_name(static_cast<AVPixelFormat>(picture.format));
}

class ConversionInSlices : public OxVideoStreamTest {
 protected:
  /// Many widths of some heights, many heights of some widths.
  void expectAsWhole(AVPixelFormat format) {
    for (const int height : {1, 2, 15, 17, 33}) {
      for (int width = 1; width <= 70; ++width) {
        expectSlicesAsWhole(stream_, *pictureOf(width, height, format, width + height));
      }
    }
    for (const int width : {1, 16, 47, 720}) {
      for (int height = 1; height <= 50; ++height) {
        expectSlicesAsWhole(stream_, *pictureOf(width, height, format, width + height));
      }
    }
  }

  const Clip clip_{clip("a.mkv", ffv1(2))};
  OxVideoStream stream_{clip_.container.get(), clip_.index};
};

TEST_F(ConversionInSlices, Of420GivesTheBytesOfTheWholePicture) {
  expectAsWhole(AV_PIX_FMT_YUV420P);
}

TEST_F(ConversionInSlices, Of422GivesTheBytesOfTheWholePicture) {
  expectAsWhole(AV_PIX_FMT_YUV422P);
}

TEST_F(ConversionInSlices, Of444GivesTheBytesOfTheWholePicture) {
  expectAsWhole(AV_PIX_FMT_YUV444P);
}

TEST_F(ConversionInSlices, OfOtherFormatsGivesTheBytesOfTheWholePicture) {
  for (const AVPixelFormat format :
       {AV_PIX_FMT_YUV422P10, AV_PIX_FMT_YUV444P10, AV_PIX_FMT_YUVJ422P, AV_PIX_FMT_GBRP}) {
    const bool hasTenBits = format == AV_PIX_FMT_YUV422P10 || format == AV_PIX_FMT_YUV444P10;
    for (const int width : {2, 33, 64, 70}) {
      for (const int height : {1, 16, 17, 50}) {
        const FrameHandle picture = pictureOf(width, height, format, width);
        for (int plane = 0; hasTenBits && plane < 3; ++plane) {
          for (int i = 1; i < picture->linesize[plane] * height; i += 2) {
            picture->data[plane][i] &= 3;
          }
        }
        expectSlicesAsWhole(stream_, *picture);
      }
    }
  }
}

TEST_F(ConversionInSlices, OfAPictureThatLiesBottomUpGivesTheSameBytes) {
  for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV444P}) {
    for (const int height : {2, 17, 33, 48}) {
      const FrameHandle picture = pictureOf(48, height, format, height);
      expectSlicesAsWhole(stream_, *bottomUp(*picture));
    }
  }
}

TEST_F(ConversionInSlices, OfManyRowsComesInSeveralSlices) {
  const FrameHandle picture = pictureOf(64, 50, AV_PIX_FMT_YUV420P, 1);
  int slices = 0;
  int most = 0;
  EXPECT_TRUE(stream_.convertInSlices(recordOf(*picture), [&](const qatester::ConvertedRows& rows) {
    ++slices;
    most = std::max(most, rows.count);
  }));
  EXPECT_GT(slices, 1);
  EXPECT_LT(most, 50);
}

TEST_F(ConversionInSlices, OfTheStreamsOwnPicturesGivesTheBytesOfTheWholePicture) {
  feed(stream_.packetQueue, clip_.packets);
  for (OxVideoFrameYUV yuv = stream_.getNextYUVFrame(); yuv.valid;
       yuv = stream_.getNextYUVFrame()) {
    expectSlicesAsWhole(stream_, *yuv.frame);
    av_free(yuv.frame);
  }
}

TEST_F(ConversionInSlices, ThatIsAbandonedDoesNotDisturbTheNext) {
  const FrameHandle picture = pictureOf(64, 50, AV_PIX_FMT_YUV420P, 1);
  const auto give = [&] {
    stream_.convertInSlices(recordOf(*picture), [](const qatester::ConvertedRows& rows) {
      if (rows.first > 0) {
        throw std::runtime_error("enough");
      }
    });
  };
  EXPECT_THROW(give(), std::runtime_error);
  expectSlicesAsWhole(stream_, *picture);
  EXPECT_THROW(give(), std::runtime_error);
  EXPECT_TRUE(convertedInSlices(stream_, *picture) == scaledInWideRows(*picture));
}

TEST_F(ConversionInSlices, WithNothingToConvertIsFalse) {
  const FrameHandle picture = pictureOf(16, 16, AV_PIX_FMT_YUV420P, 0);
  OxVideoFrameYUV invalid = recordOf(*picture);
  invalid.valid = false;
  OxVideoFrameYUV withoutPicture = recordOf(*picture);
  withoutPicture.frame = nullptr;
  AVFrame sizeless{};
  sizeless.format = AV_PIX_FMT_YUV420P;
  AVFrame formless{};
  formless.format = AV_PIX_FMT_NONE;
  formless.width = 16;
  formless.height = 16;
  int calls = 0;
  const auto take = [&](const qatester::ConvertedRows&) { ++calls; };
  for (const OxVideoFrameYUV& yuv :
       {invalid, withoutPicture, recordOf(sizeless), recordOf(formless), OxVideoFrameYUV{}}) {
    EXPECT_FALSE(stream_.convertInSlices(yuv, take));
  }
  OxVideoStream unopened(nullptr, 0);
  EXPECT_FALSE(unopened.convertInSlices(recordOf(*picture), take));
  EXPECT_EQ(calls, 0);
  expectSlicesAsWhole(stream_, *picture);
}

class Seeking : public OxVideoStreamTest {
 protected:
  /// The frame at which reading goes on after a seek, by its content.
  int frameAfterSeek(unsigned long milliseconds) {
    OxVideoStream stream(container.get(), 0);
    feed(stream.packetQueue, stale);
    stream.seekToMS(milliseconds);
    EXPECT_EQ(stream.packetQueue->nb_packets, 0);
    PacketHandle packet(av_packet_alloc());
    EXPECT_GE(av_read_frame(container.get(), packet.get()), 0);
    std::vector<PacketHandle> next;
    next.push_back(std::move(packet));
    feed(stream.packetQueue, next);
    const OxVideoFrameYUV picture = stream.getNextYUVFrame();
    EXPECT_TRUE(picture.valid);
    const int frame = picture.frame->data[0][0] - 16;
    av_free(picture.frame);
    return frame;
  }

  static VideoSpec numbered() {
    VideoSpec spec = ffv1(200);  // 8 s
    spec.pixel = [](int, int, int, int frame) { return static_cast<uint8_t>(16 + frame); };
    return spec;
  }

  ContainerHandle container = openClip(clip("numbered.avi", numbered()));
  std::vector<PacketHandle> stale = [] {
    std::vector<PacketHandle> packets;
    packets.emplace_back(av_packet_alloc());
    EXPECT_EQ(av_new_packet(packets.back().get(), 10), 0);
    return packets;
  }();
};

TEST_F(Seeking, ReachesThePositionAskedFor) {
  EXPECT_EQ(frameAfterSeek(0), 0);
  EXPECT_EQ(frameAfterSeek(2000), 50);
  EXPECT_EQ(frameAfterSeek(4294), 107);  // 107.35 frames, which the container rounds
}

TEST_F(Seeking, WrapsFrom4295MillisecondsOn) {
  // (4295 * 10^6 mod 2^32) / 1000 = 32.7 microseconds
  EXPECT_EQ(frameAfterSeek(4295), 0);
  // (6000 * 10^6 mod 2^32) / 1000 = 1,705,032 microseconds: 42.6 frames
  EXPECT_EQ(frameAfterSeek(6000), 43);
  // (8590 * 10^6 mod 2^32) / 1000 = 65 microseconds
  EXPECT_EQ(frameAfterSeek(8590), 0);
}

TEST_F(Seeking, PausesTheCaller500Seconds) {
  OxVideoStream stream(container.get(), 0);
  clearPauses();
  stream.seekToMS(1000);
  EXPECT_EQ(callerPauses(), std::vector<unsigned>{500});
}

TEST_F(Seeking, PausesWithoutAContainerToo) {
  OxVideoStream stream(nullptr, 0);
  clearPauses();
  stream.seekToMS(1000);
  EXPECT_EQ(callerPauses(), std::vector<unsigned>{500});
}

TEST_F(Seeking, MakesTheDecoderForget) {
  const Clip reordered(clip("a.mp4", h264WithBFrames(36)));
  OxVideoStream stream(reordered.container.get(), reordered.index);
  std::vector<PacketHandle> firstTwo;
  firstTwo.emplace_back(av_packet_clone(reordered.packets[0].get()));
  firstTwo.emplace_back(av_packet_clone(reordered.packets[1].get()));
  feed(stream.packetQueue, firstTwo);
  EXPECT_FALSE(stream.getNextYUVFrame().valid);  // both are still in the decoder
  stream.seekToMS(0);
  feed(stream.packetQueue, reordered.packets);
  EXPECT_EQ(pullPictures(stream), expectedPictures(reordered.stream(), reordered.packets));
}

}  // namespace
