#include "media/OxVideoStream.h"

#include <limits>
#include <mutex>
#include <utility>

#include "foundation/Conversions.h"
#include "media/BufferControl.h"
#include "media/FFmpeg.h"
#include "media/PacketQueue.h"
#include "media/PictureConverter.h"
#include "media/ReleasePicture.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

using qatester::BufferControl;
using qatester::PictureConverter;
namespace ffmpeg = qatester::ffmpeg;

namespace {

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

}  // namespace

OxVideoStream::OxVideoStream(AVFormatContext* formatContext, int streamIndex,
                             std::shared_ptr<BufferControl> control)
    : formatContext(formatContext),
      streamIndex(streamIndex),
      control_(std::move(control)),
      converter_(std::make_unique<PictureConverter>()) {
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
  swsContext =
      converter_->prepareScaler(codecContext->width, codecContext->height, codecContext->pix_fmt);
}

OxVideoStream::~OxVideoStream() {
  release();
}

void OxVideoStream::release() {
  ffmpeg::freeDecoder(&codecContext);
  av_frame_free(&picture_);
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

bool OxVideoStream::prepareConversion(const OxVideoFrameYUV& yuv) {
  if (stream == nullptr || !yuv.valid || yuv.frame == nullptr) {
    return false;
  }
  const AVFrame& picture = *yuv.frame;
  swsContext = converter_->prepareScaler(picture.width, picture.height, picture.format);
  return swsContext != nullptr;
}

bool OxVideoStream::convertInSlices(
    const OxVideoFrameYUV& yuv,
    const std::function<void(const qatester::ConvertedRows& rows)>& take) {
  return prepareConversion(yuv) && converter_->inSlices(yuv, take);
}

OxVideoFrameRGB* OxVideoStream::getRGBFromYUV(OxVideoFrameYUV* yuv) {
  auto rgb = std::make_unique<OxVideoFrameRGB>();
  if (yuv != nullptr && prepareConversion(*yuv)) {
    *rgb = converter_->whole(*yuv);
  }
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
