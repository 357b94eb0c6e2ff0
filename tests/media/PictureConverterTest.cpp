#include "media/PictureConverter.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "media/Reference.h"
#include "support/Clips.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace {

using namespace qatest;
using qatester::ConvertedRows;
using qatester::PictureConverter;
namespace ffmpeg = qatester::ffmpeg;

struct FreeBuffer {
  void operator()(uint8_t* buffer) const { std::free(buffer); }
};

OxVideoFrameYUV recordOf(AVFrame& frame) {
  OxVideoFrameYUV record;
  record.frame = &frame;
  record.width = frame.width;
  record.height = frame.height;
  record.valid = true;
  record.time = 1.25;
  return record;
}

/// Empty when the record is invalid.
std::vector<uint8_t> wholeBytes(PictureConverter& converter, const OxVideoFrameYUV& picture) {
  const OxVideoFrameRGB rgb = converter.whole(picture);
  const std::unique_ptr<uint8_t, FreeBuffer> buffer(rgb.buffer);
  EXPECT_EQ(rgb.valid, rgb.buffer != nullptr);
  if (!rgb.valid) {
    return {};
  }
  EXPECT_EQ(rgb.width, picture.frame->width);
  EXPECT_EQ(rgb.height, picture.frame->height);
  EXPECT_EQ(rgb.time, picture.time);
  return {rgb.buffer, rgb.buffer + std::ptrdiff_t{3} * rgb.width * rgb.height};
}

/// Empty when it is false that the picture was converted.
std::vector<uint8_t> slicedBytes(PictureConverter& converter, const OxVideoFrameYUV& picture) {
  std::vector<uint8_t> packed;
  const bool converted = converter.inSlices(picture, [&](const ConvertedRows& rows) {
    for (int row = 0; row < rows.count; ++row) {
      const uint8_t* bytes = rows.bytes + row * rows.stride;
      packed.insert(packed.end(), bytes, bytes + std::ptrdiff_t{3} * picture.frame->width);
    }
  });
  EXPECT_TRUE(converted || packed.empty());
  return packed;
}

/// A picture of FFmpeg's own making, if the format has planes; its bytes are small numbers, which
/// are code values of every depth.
FrameHandle pictureOf(AVPixelFormat format, int width, int height) {
  FrameHandle frame(av_frame_alloc());
  frame->format = format;
  frame->width = width;
  frame->height = height;
  if (av_frame_get_buffer(frame.get(), 0) < 0) {
    return frame;
  }
  for (std::size_t plane = 0; plane < 4 && frame->data[plane] != nullptr; ++plane) {
    const AVBufferRef* buffer = av_frame_get_plane_buffer(frame.get(), static_cast<int>(plane));
    const auto bytes = buffer->data + buffer->size - frame->data[plane];
    std::memset(frame->data[plane], 0, static_cast<std::size_t>(bytes));
  }
  return frame;
}

/// Every answer comes from a converter of its own.
void expectAnswersAgree(const OxVideoFrameYUV& picture, const std::string& what) {
  const bool answer = PictureConverter().canConvert(picture);
  PictureConverter whole;
  PictureConverter slices;
  EXPECT_EQ(answer, !wholeBytes(whole, picture).empty()) << what;
  EXPECT_EQ(answer, !slicedBytes(slices, picture).empty()) << what;
  PictureConverter asked;
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(asked.canConvert(picture), answer) << what;
    EXPECT_EQ(!slicedBytes(asked, picture).empty(), answer) << what;
  }
}

TEST(CanConvert, IsTheAnswerOfConvertingInEveryFormatAndSize) {
  av_log_set_level(AV_LOG_PANIC);
  int convertible = 0;
  for (const AVPixFmtDescriptor* format = av_pix_fmt_desc_next(nullptr); format != nullptr;
       format = av_pix_fmt_desc_next(format)) {
    for (const auto& [width, height] :
         {std::pair(1, 1), {1, 2}, {2, 1}, {2, 2}, {3, 5}, {16, 16}, {33, 17}, {64, 34}}) {
      const FrameHandle picture = pictureOf(av_pix_fmt_desc_get_id(format), width, height);
      expectAnswersAgree(recordOf(*picture), format->name);
      convertible += PictureConverter().canConvert(recordOf(*picture)) ? 1 : 0;
    }
  }
  EXPECT_GT(convertible, 800);
}

TEST(CanConvert, NeedsEveryPlaneAndItsStride) {
  av_log_set_level(AV_LOG_PANIC);
  for (const AVPixelFormat format :
       {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV444P, AV_PIX_FMT_YUVA420P,
        AV_PIX_FMT_NV12, AV_PIX_FMT_YUYV422, AV_PIX_FMT_GRAY8, AV_PIX_FMT_YUV422P10}) {
    const int planes = av_pix_fmt_count_planes(format);
    PictureConverter converter;
    const FrameHandle picture = pictureOf(format, 32, 18);
    EXPECT_TRUE(converter.canConvert(recordOf(*picture)));
    for (int plane = 0; plane < planes; ++plane) {
      const FrameHandle planeless(av_frame_clone(picture.get()));
      planeless->data[plane] = nullptr;
      EXPECT_FALSE(converter.canConvert(recordOf(*planeless)));
      expectAnswersAgree(recordOf(*planeless), av_get_pix_fmt_name(format));
      const FrameHandle strideless(av_frame_clone(picture.get()));
      strideless->linesize[plane] = 0;
      EXPECT_FALSE(converter.canConvert(recordOf(*strideless)));
      expectAnswersAgree(recordOf(*strideless), av_get_pix_fmt_name(format));
    }
    EXPECT_TRUE(converter.canConvert(recordOf(*picture))) << "another one of the same kind";
  }
  const FrameHandle indexed = pictureOf(AV_PIX_FMT_PAL8, 32, 18);
  EXPECT_TRUE(PictureConverter().canConvert(recordOf(*indexed)));
  indexed->data[1] = nullptr;
  expectAnswersAgree(recordOf(*indexed), "no palette");
  EXPECT_FALSE(PictureConverter().canConvert(recordOf(*indexed)));
}

TEST(CanConvert, IsFalseOfWhatIsNoPicture) {
  av_log_set_level(AV_LOG_PANIC);
  const FrameHandle picture = pictureOf(AV_PIX_FMT_YUV420P, 16, 16);
  OxVideoFrameYUV invalid = recordOf(*picture);
  invalid.valid = false;
  OxVideoFrameYUV withoutPicture = recordOf(*picture);
  withoutPicture.frame = nullptr;
  for (const OxVideoFrameYUV& record : {OxVideoFrameYUV{}, invalid, withoutPicture}) {
    expectAnswersAgree(record, "no picture");
    EXPECT_FALSE(PictureConverter().canConvert(record));
  }
  for (const auto& [width, height, format] :
       {std::array{0, 16, int{AV_PIX_FMT_YUV420P}}, std::array{16, 0, int{AV_PIX_FMT_YUV420P}},
        std::array{-16, 16, int{AV_PIX_FMT_YUV420P}}, std::array{16, -16, int{AV_PIX_FMT_YUV420P}},
        std::array{16, 16, -1}, std::array{16, 16, 100000},
        std::array{1 << 20, 1 << 20, int{AV_PIX_FMT_YUV420P}},
        std::array{40000, 20000, int{AV_PIX_FMT_YUV420P}}}) {
    const FrameHandle odd(av_frame_clone(picture.get()));
    odd->width = width;
    odd->height = height;
    odd->format = format;
    expectAnswersAgree(recordOf(*odd), std::to_string(width) + "x" + std::to_string(height));
    EXPECT_FALSE(PictureConverter().canConvert(recordOf(*odd)));
  }
}

/// Pages of which the last may not be touched.
class GuardedBytes {
 public:
  /// So many bytes, right before the page.
  explicit GuardedBytes(std::size_t bytes)
      : page_(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))),
        readable_((bytes + page_ - 1) / page_ * page_),
        bytes_(bytes) {
    void* pages = mmap(nullptr, readable_ + page_, PROT_READ | PROT_WRITE,
                       MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    pages_ = pages != MAP_FAILED ? static_cast<uint8_t*>(pages) : nullptr;
    if (pages_ == nullptr || mprotect(pages_ + readable_, page_, PROT_NONE) != 0) {
      throw std::bad_alloc();
    }
  }
  ~GuardedBytes() { munmap(pages_, readable_ + page_); }
  GuardedBytes(const GuardedBytes&) = delete;
  GuardedBytes& operator=(const GuardedBytes&) = delete;

  uint8_t* data() const { return pages_ + readable_ - bytes_; }

 private:
  std::size_t page_;
  std::size_t readable_;
  std::size_t bytes_;
  uint8_t* pages_ = nullptr;
};

uint8_t codeAt(int plane, int x, int y) {
  return static_cast<uint8_t>(x * x * 3 + y * 29 + plane * 71 + x * y);
}

/// A picture without a byte between its rows, and another one of the same content. After the last
/// row of each plane of the former there is the padding that planes have, and then nothing.
class AtTheEdge {
 public:
  AtTheEdge(AVPixelFormat format, int width, int height, bool bottomUp)
      : roomy_(pictureOf(format, width, height)), tight_(av_frame_alloc()) {
    tight_->format = format;
    tight_->width = width;
    tight_->height = height;
    const int chromaShift = av_pix_fmt_desc_get(format)->log2_chroma_h;
    for (int plane = 0; plane < av_pix_fmt_count_planes(format); ++plane) {
      const int bytes = av_image_get_linesize(format, width, plane);
      const int rows = plane == 0 ? height : AV_CEIL_RSHIFT(height, chromaShift);
      planes_.push_back(std::make_unique<GuardedBytes>(
          static_cast<std::size_t>(bytes * rows + ffmpeg::kPlanePadding)));
      uint8_t* top = planes_.back()->data() + (bottomUp ? bytes * (rows - 1) : 0);
      tight_->data[plane] = top;
      tight_->linesize[plane] = bottomUp ? -bytes : bytes;
      for (int y = 0; y < rows; ++y) {
        for (int x = 0; x < bytes; ++x) {
          top[y * tight_->linesize[plane] + x] = codeAt(plane, x, y);
          roomy_->data[plane][y * roomy_->linesize[plane] + x] = codeAt(plane, x, y);
        }
      }
    }
  }

  AVFrame& tight() { return *tight_; }
  AVFrame& roomy() { return *roomy_; }

 private:
  FrameHandle roomy_;
  FrameHandle tight_;
  std::vector<std::unique_ptr<GuardedBytes>> planes_;
};

class PlanePadding : public testing::TestWithParam<AVPixelFormat> {};

TEST_P(PlanePadding, IsAllThatIsReadAfterTheLastRow) {
  PictureConverter converter;
  for (const int height : {1, 2, 3, 16, 17, 32, 33}) {
    for (int width = 1; width <= 70; ++width) {
      for (const bool bottomUp : {false, true}) {
        AtTheEdge picture(GetParam(), width, height, bottomUp);
        const std::vector<uint8_t> expected = wholeBytes(converter, recordOf(picture.roomy()));
        ASSERT_FALSE(expected.empty());
        ASSERT_TRUE(wholeBytes(converter, recordOf(picture.tight())) == expected)
            << width << " x " << height;
        ASSERT_TRUE(slicedBytes(converter, recordOf(picture.tight())) == expected)
            << width << " x " << height;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(, PlanePadding,
                         testing::Values(AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV444P,
                                         AV_PIX_FMT_NV12, AV_PIX_FMT_YUYV422, AV_PIX_FMT_YUV422P10),
                         [](const auto& format) {
                           return std::string(av_get_pix_fmt_name(format.param));
                         });

TEST(CanConvert, ConvertsOnlyTheFirstOfASizeAndFormat) {
  PictureConverter converter;
  const FrameHandle first = pictureOf(AV_PIX_FMT_YUV422P, 48, 18);
  EXPECT_TRUE(converter.canConvert(recordOf(*first)));
  const FrameHandle other = pictureOf(AV_PIX_FMT_YUV420P, 16, 16);
  EXPECT_TRUE(converter.canConvert(recordOf(*other)));
  const GuardedBytes nothing(0);  // to read a plane would end the program
  const FrameHandle second(av_frame_clone(first.get()));
  for (int plane = 0; plane < 3; ++plane) {
    second->data[plane] = nothing.data();
  }
  EXPECT_TRUE(converter.canConvert(recordOf(*second)));
}

/// Bytes of the plane's buffer after its last row in memory.
std::ptrdiff_t roomAfter(AVFrame& picture, int plane) {
  const auto format = static_cast<AVPixelFormat>(picture.format);
  const AVPixFmtDescriptor* description = av_pix_fmt_desc_get(format);
  const bool isChroma = plane == 1 || plane == 2;
  const int rows =
      isChroma ? AV_CEIL_RSHIFT(picture.height, description->log2_chroma_h) : picture.height;
  const int stride = picture.linesize[plane];
  const uint8_t* last = picture.data[plane] + (stride > 0 ? std::ptrdiff_t{rows - 1} * stride : 0);
  const AVBufferRef* buffer = av_frame_get_plane_buffer(&picture, plane);
  return buffer->data + buffer->size - (last + av_image_get_linesize(format, picture.width, plane));
}

/// How many pictures of a file's streams there are; each plane must have its padding.
int expectPadding(const std::string& file) {
  int pictures = 0;
  const ContainerHandle container = openClip(file);
  const int index = firstStream(*container, AVMEDIA_TYPE_VIDEO);
  const AVCodec* codec = nullptr;
  ffmpeg::UniqueDecoder decoder;
  if (ffmpeg::openStreamDecoder(container.get(), index, AVMEDIA_TYPE_VIDEO, &codec, &decoder) ==
      nullptr) {
    return 0;
  }
  const FrameHandle picture(av_frame_alloc());
  for (const PacketHandle& packet : readPackets(*container, index)) {
    bool complete = false;
    ffmpeg::decodeVideo(decoder.get(), picture.get(), &complete, packet.get());
    if (!complete) {
      continue;
    }
    const int planes = av_pix_fmt_count_planes(static_cast<AVPixelFormat>(picture->format));
    for (int plane = 0; plane < planes; ++plane) {
      EXPECT_GE(roomAfter(*picture, plane), ffmpeg::kPlanePadding)
          << file << ", plane " << plane << ", " << picture->width << "x" << picture->height;
    }
    ++pictures;
  }
  return pictures;
}

TEST(DecodedPlanes, HaveTheirPadding) {
  const TempDir dir;
  for (const ClipKind& kind : clipKinds()) {
    if (!kind.spec.video.empty()) {
      EXPECT_GT(expectPadding(makeClip(dir, kind.fileName, kind.spec)), 0) << kind.fileName;
    }
  }
}

TEST(DecodedPlanes, ThatLieInThePacketHaveTheirPadding) {
  const TempDir dir;
  for (const AVPixelFormat format :
       {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV444P, AV_PIX_FMT_YUV420P10}) {
    for (int width = 1; width <= 70; ++width) {
      VideoSpec video;
      video.encoder = "rawvideo";
      video.pixelFormat = format;
      video.width = width;
      video.height = 33;
      video.frames = 1;
      EXPECT_EQ(expectPadding(makeClip(dir, "raw.nut", {{video}, {}})), 1);
    }
  }
}

}  // namespace
