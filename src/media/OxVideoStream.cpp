#include "media/OxVideoStream.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <mutex>
#include <utility>
#include <vector>

#include "foundation/Conversions.h"
#include "media/BufferControl.h"
#include "media/FFmpeg.h"
#include "media/PacketQueue.h"
#include "media/ReleasePicture.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

using qatester::BufferControl;
namespace ffmpeg = qatester::ffmpeg;

namespace {

constexpr int kBytesPerPixel = 3;
/// Of a slice: what is converted of 1920 columns fits in a processor's first cache or its second.
constexpr int kSliceRows = 16;
constexpr unsigned kSeekPauseSeconds = 500;

/// Reading the container's facts must not meet the buffering thread, which may update them.
std::unique_lock<std::mutex> lockContainer(const std::shared_ptr<BufferControl>& control) {
  return control != nullptr ? std::unique_lock<std::mutex>(control->demuxMutex)
                            : std::unique_lock<std::mutex>();
}

std::string nameOf(int pixelFormat) {
  const char* name = av_get_pix_fmt_name(static_cast<AVPixelFormat>(pixelFormat));
  return name != nullptr ? name : "unknown";
}

std::size_t packedRowBytes(const AVFrame& picture) {
  return static_cast<std::size_t>(picture.width) * kBytesPerPixel;
}

/// The stride of rows that the scaler's vector code may write past a picture's width in.
std::size_t roomyStride(const AVFrame& picture) {
  return ((packedRowBytes(picture) + 15) / 16 + 4) * 16;
}

/// Whether rows of the picture can be told from its planes: what other formats need is not known.
bool isSliceable(const AVFrame& picture) {
  return picture.format == AV_PIX_FMT_YUV420P || picture.format == AV_PIX_FMT_YUV422P ||
         picture.format == AV_PIX_FMT_YUV444P;
}

/// Converts rows, of which `first` is a multiple of 2, to `rows`. Returns how many rows it wrote:
/// a scaler that looks at neighbouring rows writes fewer at first.
int scaleSlice(SwsContext* scaler, const AVFrame& picture, int first, int count, uint8_t* rows,
               std::size_t stride) {
  const std::ptrdiff_t chromaFirst = picture.format == AV_PIX_FMT_YUV420P ? first / 2 : first;
  const uint8_t* source[4] = {picture.data[0] + first * std::ptrdiff_t{picture.linesize[0]},
                              picture.data[1] + chromaFirst * picture.linesize[1],
                              picture.data[2] + chromaFirst * picture.linesize[2], nullptr};
  // The scaler counts rows from the top of the picture, which is not there.
  const auto top = reinterpret_cast<uintptr_t>(rows) - static_cast<std::size_t>(first) * stride;
  // NOLINTNEXTLINE(performance-no-int-to-ptr): a pointer outside of the rows may not be computed.
  uint8_t* target[4] = {reinterpret_cast<uint8_t*>(top), nullptr, nullptr, nullptr};
  const int strides[4] = {static_cast<int>(stride), 0, 0, 0};
  return sws_scale(scaler, source, picture.linesize, first, count, target, strides);
}

}  // namespace

/// What `swsContext` was made for, and rows wide enough for it to write past a picture's width.
struct OxVideoStream::Scaling {
  int width = 0;
  int height = 0;
  int format = AV_PIX_FMT_NONE;
  std::vector<uint8_t> rows;
};

OxVideoStream::OxVideoStream(AVFormatContext* formatContext, int streamIndex,
                             std::shared_ptr<BufferControl> control)
    : formatContext(formatContext),
      streamIndex(streamIndex),
      control_(std::move(control)),
      scaling_(std::make_unique<Scaling>()) {
  try {
    open();
  } catch (...) {
    release();
    throw;
  }
}

void OxVideoStream::open() {
  AVStream* candidate = ffmpeg::openStreamDecoder(formatContext, streamIndex, AVMEDIA_TYPE_VIDEO,
                                                  &codec, &codecContext);
  if (candidate == nullptr) {
    return;
  }
  picture_ = av_frame_alloc();
  if (picture_ == nullptr) {
    return;
  }
  OxPackets::packet_queue_init(&packetQueue);
  stream = candidate;
  prepareScaler(codecContext->width, codecContext->height, codecContext->pix_fmt);
}

OxVideoStream::~OxVideoStream() {
  release();
}

void OxVideoStream::release() {
  ffmpeg::freeDecoder(&codecContext);
  av_frame_free(&picture_);
  sws_freeContext(swsContext);
  if (packetQueue != nullptr) {
    OxPackets::packet_queue_flush(packetQueue);
    delete packetQueue;
  }
}

const AVStream* OxVideoStream::declaration() const {
  const bool exists = formatContext != nullptr && streamIndex >= 0 &&
                      static_cast<unsigned>(streamIndex) < formatContext->nb_streams;
  return exists ? formatContext->streams[streamIndex] : nullptr;
}

float OxVideoStream::getFPS() {
  const auto lock = lockContainer(control_);
  const AVStream* declared = declaration();
  if (declared == nullptr) {
    return -1.0F;
  }
  return static_cast<float>(declared->avg_frame_rate.num) /
         static_cast<float>(declared->avg_frame_rate.den);
}

double OxVideoStream::getDurationSeconds() {
  if (formatContext == nullptr) {
    return -1.0;
  }
  const auto lock = lockContainer(control_);
  return static_cast<double>(formatContext->duration) / 1000000.0;
}

int64_t OxVideoStream::getFrameCount() {
  const auto lock = lockContainer(control_);
  const AVStream* declared = declaration();
  return declared != nullptr ? declared->nb_frames : -1;
}

OxVideoFrameYUV OxVideoStream::getNextYUVFrame() {
  OxVideoFrameYUV result;
  if (packetQueue == nullptr) {
    return result;
  }
  while (!result.valid) {
    ffmpeg::ScopedPacket packet;
    if (OxPackets::packet_queue_get(packetQueue, packet.get(), 1) < 0) {
      return result;
    }
    if (OxPackets::isFlushMarker(*packet)) {
      packet.release();
      avcodec_flush_buffers(codecContext);
      continue;
    }
    bool gotPicture = false;
    ffmpeg::decodeVideo(codecContext, picture_, &gotPicture, packet.get());
    if (!gotPicture) {
      continue;
    }
    const double timeBase =
        static_cast<double>(stream->time_base.num) / static_cast<double>(stream->time_base.den);
    const double decodingTime =
        packet->dts != AV_NOPTS_VALUE ? static_cast<double>(packet->dts) : 0.0;
    const double seconds = timeBase * decodingTime;
    AVFrame* handedOut = ffmpeg::borrowPicture(*picture_);
    if (handedOut == nullptr) {
      continue;
    }
    handedOut->pts = qatester::truncateTo<int64_t>(seconds * 1000000.0);
    result.frame = handedOut;
    // The picture's own size: the decoder's may already be that of a later picture.
    result.width = picture_->width;
    result.height = picture_->height;
    result.time = seconds;
    result.valid = true;
  }
  return result;
}

bool OxVideoStream::prepareScaler(int width, int height, int format) {
  if (swsContext != nullptr && scaling_->width == width && scaling_->height == height &&
      scaling_->format == format) {
    return true;
  }
  sws_freeContext(swsContext);
  swsContext = nullptr;
  if (width > 0 && height > 0 && format != AV_PIX_FMT_NONE) {
    swsContext = sws_getContext(width, height, static_cast<AVPixelFormat>(format), width, height,
                                AV_PIX_FMT_BGR24, SWS_BICUBIC, nullptr, nullptr, nullptr);
  }
  scaling_->width = width;
  scaling_->height = height;
  scaling_->format = format;
  return swsContext != nullptr;
}

bool OxVideoStream::convert(const AVFrame& picture, uint8_t* packed) {
  if (!prepareScaler(picture.width, picture.height, picture.format)) {
    return false;
  }
  const std::size_t rowBytes = packedRowBytes(picture);
  const auto height = static_cast<std::size_t>(picture.height);
  // The scaler's vector code leaves the end of a row unwritten, or writes past it, unless the width
  // is a multiple of 16: such pictures take the way over wider rows.
  const bool direct = picture.width % 16 == 0;
  const std::size_t stride = direct ? rowBytes : roomyStride(picture);
  uint8_t* target = packed;
  if (!direct) {
    scaling_->rows.resize(stride * height);
    target = scaling_->rows.data();
  }
  uint8_t* planes[4] = {target, nullptr, nullptr, nullptr};
  const int strides[4] = {static_cast<int>(stride), 0, 0, 0};
  if (sws_scale(swsContext, picture.data, picture.linesize, 0, picture.height, planes, strides) !=
      picture.height) {
    return false;
  }
  if (!direct) {
    for (std::size_t row = 0; row < height; ++row) {
      std::memcpy(packed + row * rowBytes, target + row * stride, rowBytes);
    }
  }
  return true;
}

bool OxVideoStream::convertInSlices(
    const OxVideoFrameYUV& yuv,
    const std::function<void(const qatester::ConvertedRows& rows)>& take) {
  if (stream == nullptr || !yuv.valid || yuv.frame == nullptr) {
    return false;
  }
  const AVFrame& picture = *yuv.frame;
  if (!prepareScaler(picture.width, picture.height, picture.format)) {
    return false;
  }
  const std::size_t stride = roomyStride(picture);
  std::vector<uint8_t>& rows = scaling_->rows;
  const auto give = [&](int first, int count) {
    take({rows.data(), static_cast<int64_t>(stride), first, count});
  };
  if (isSliceable(picture)) {
    rows.resize(stride * kSliceRows);
    int done = 0;
    while (done < picture.height) {
      const int count = std::min(kSliceRows, picture.height - done);
      if (scaleSlice(swsContext, picture, done, count, rows.data(), stride) != count) {
        break;
      }
      give(done, count);
      done += count;
    }
    if (done > 0) {
      return done == picture.height;
    }
  }
  rows.resize(stride * static_cast<std::size_t>(picture.height));
  uint8_t* planes[4] = {rows.data(), nullptr, nullptr, nullptr};
  const int strides[4] = {static_cast<int>(stride), 0, 0, 0};
  if (sws_scale(swsContext, picture.data, picture.linesize, 0, picture.height, planes, strides) !=
      picture.height) {
    return false;
  }
  give(0, picture.height);
  return true;
}

OxVideoFrameRGB* OxVideoStream::getRGBFromYUV(OxVideoFrameYUV* yuv) {
  auto rgb = std::make_unique<OxVideoFrameRGB>();
  if (stream == nullptr || yuv == nullptr || !yuv->valid || yuv->frame == nullptr) {
    return rgb.release();
  }
  const AVFrame& picture = *yuv->frame;
  const int bytes = av_image_get_buffer_size(AV_PIX_FMT_BGR24, picture.width, picture.height, 1);
  if (bytes <= 0) {
    return rgb.release();
  }
  std::unique_ptr<uint8_t, decltype(&std::free)> buffer(
      static_cast<uint8_t*>(std::malloc(static_cast<std::size_t>(bytes))), &std::free);
  if (buffer == nullptr || !convert(picture, buffer.get())) {
    return rgb.release();
  }
  rgb->buffer = buffer.release();
  rgb->width = picture.width;
  rgb->height = picture.height;
  rgb->time = yuv->time;
  rgb->valid = true;
  return rgb.release();
}

OxVideoFrameRGB OxVideoStream::getNextRGBFrame() {
  OxVideoFrameYUV yuv = getNextYUVFrame();
  const qatester::PictureGuard guard(yuv);
  const std::unique_ptr<OxVideoFrameRGB> converted(getRGBFromYUV(&yuv));
  return *converted;
}

void OxVideoStream::seekToMS(unsigned long milliseconds) {
  const auto product = static_cast<uint32_t>(milliseconds * 1000000UL);
  const auto target = static_cast<int64_t>(static_cast<double>(product) / 1000.0);

  if (packetQueue != nullptr) {
    OxPackets::packet_queue_flush(packetQueue);
    avcodec_flush_buffers(codecContext);
  }
  if (formatContext != nullptr) {
    const auto lock = lockContainer(control_);
    avformat_seek_file(formatContext, -1, std::numeric_limits<int32_t>::min(), target,
                       target + std::numeric_limits<int32_t>::max(), AVSEEK_FLAG_FRAME);
  }
  if (control_ != nullptr) {
    {
      const std::lock_guard<std::mutex> lock(control_->readiness.mutex());
      control_->seeks += 1;
      if (packetQueue != nullptr && packetQueue->supply == PacketSupply::ended) {
        OxPackets::packet_queue_set_supply(packetQueue, PacketSupply::flowing);
      }
    }
    control_->readiness.notify();
  }
  pauseForPacket(kSeekPauseSeconds);
}

void OxVideoStream::pauseForPacket(unsigned seconds) {
  if (control_ == nullptr) {
    qatester::pause(seconds);
    return;
  }
  control_->pauseCaller(seconds, [this] {
    return packetQueue == nullptr || packetQueue->nb_packets > 0 ||
           packetQueue->supply != PacketSupply::flowing;
  });
}

bool OxVideoStream::hasEnded() {
  if (control_ == nullptr || !control_->untilReady()) {
    return false;
  }
  return packetQueue == nullptr ||
         (packetQueue->nb_packets == 0 && packetQueue->supply == PacketSupply::ended);
}

std::string OxVideoStream::getPixelFormatName() {
  return nameOf(codecContext != nullptr ? codecContext->pix_fmt : AV_PIX_FMT_NONE);
}

std::string OxVideoStream::getPixelFormatName(const OxVideoFrameYUV& picture) {
  return nameOf(picture.frame != nullptr ? picture.frame->format : AV_PIX_FMT_NONE);
}

std::string OxVideoStream::getPixelFormat() {
  switch (codecContext != nullptr ? codecContext->pix_fmt : AV_PIX_FMT_NONE) {
    case AV_PIX_FMT_YUV420P:
      return "YUV420P pixel format.";
    case AV_PIX_FMT_YUV422P:
      return "YUV422P pixel format.";
    case AV_PIX_FMT_YUV444P:
      return "YUV444P pixel format.";
    default:
      return "Other";
  }
}
