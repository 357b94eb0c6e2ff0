#include "media/OxVideoStream.h"

#include <cstring>
#include <mutex>
#include <utility>

#include "foundation/Conversions.h"
#include "foundation/SharedValue.h"
#include "media/BufferControl.h"
#include "media/FFmpeg.h"
#include "media/PictureConverter.h"
#include "media/ReleasePicture.h"
#include "media/UniqueQueue.h"

using qatester::BufferControl;
namespace ffmpeg = qatester::ffmpeg;

namespace {

constexpr unsigned kSeekPauseSeconds = 500;

/// The container's own facts or, while the buffering thread reads, those of before that read.
ffmpeg::VideoFacts factsOf(const AVFormatContext* container, int streamIndex,
                           BufferControl* control) {
  if (control == nullptr) {
    return ffmpeg::readVideoFacts(container, streamIndex);
  }
  const std::unique_lock<std::mutex> lock(control->demuxMutex, std::try_to_lock);
  return lock.owns_lock() ? ffmpeg::readVideoFacts(container, streamIndex)
                          : control->publishedFacts();
}

/// The time of a picture whose packet was decoded last, in units of the stream's time base. A
/// client's own buffers may tell it by their `opaque`, where the packet does not.
double decodingTime(const AVPacket& packet, const AVFrame& picture) {
  if (packet.dts != AV_NOPTS_VALUE) {
    return static_cast<double>(packet.dts);
  }
  auto marked = static_cast<uint64_t>(AV_NOPTS_VALUE);
  if (picture.opaque != nullptr) {
    std::memcpy(&marked, picture.opaque, sizeof marked);
  }
  return marked != static_cast<uint64_t>(AV_NOPTS_VALUE) ? static_cast<double>(marked) : 0.0;
}

}  // namespace

struct OxVideoStream::Owned {
  ffmpeg::UniqueDecoder decoder;
  ffmpeg::UniqueFrame picture;  ///< holds the planes of the picture handed out last
  qatester::UniqueQueue queue;
  qatester::PictureConverter converter;
};

OxVideoStream::OxVideoStream(AVFormatContext* formatContext, int streamIndex,
                             std::shared_ptr<BufferControl> control)
    : formatContext(formatContext),
      streamIndex(streamIndex),
      control_(std::move(control)),
      owned_(std::make_unique<Owned>()) {
  AVStream* opened = ffmpeg::openStreamDecoder(formatContext, streamIndex, AVMEDIA_TYPE_VIDEO,
                                               &codec, &owned_->decoder);
  codecContext = owned_->decoder.get();
  if (opened == nullptr) {
    return;
  }
  owned_->picture = ffmpeg::makePicture();
  if (owned_->picture == nullptr) {
    return;
  }
  owned_->queue = qatester::makeQueue();
  packetQueue = owned_->queue.get();
  stream = opened;
  swsContext = owned_->converter.prepareScaler(codecContext->width, codecContext->height,
                                               codecContext->pix_fmt);
}

OxVideoStream::~OxVideoStream() = default;

float OxVideoStream::getFPS() {
  return factsOf(formatContext, streamIndex, control_.get()).framesPerSecond;
}

double OxVideoStream::getDurationSeconds() {
  return factsOf(formatContext, streamIndex, control_.get()).durationSeconds;
}

int64_t OxVideoStream::getFrameCount() {
  return factsOf(formatContext, streamIndex, control_.get()).frames;
}

OxVideoFrameYUV OxVideoStream::getNextYUVFrame() {
  OxVideoFrameYUV result;
  if (packetQueue == nullptr) {
    return result;
  }
  AVFrame& picture = *owned_->picture;
  while (!result.valid) {
    ffmpeg::ScopedPacket packet;
    if (OxPackets::packet_queue_get(packetQueue, packet.get(), 1) < 0) {
      return result;
    }
    if (OxPackets::isFlushMarker(*packet)) {
      packet.release();
      ffmpeg::flushDecoder(codecContext);
      continue;
    }
    bool gotPicture = false;
    ffmpeg::decodeVideo(codecContext, &picture, &gotPicture, packet.get());
    if (!gotPicture) {
      continue;
    }
    const double timeBase =
        static_cast<double>(stream->time_base.num) / static_cast<double>(stream->time_base.den);
    const double seconds = timeBase * decodingTime(*packet, picture);
    AVFrame* handedOut = ffmpeg::borrowPicture(picture);
    if (handedOut == nullptr) {
      continue;
    }
    handedOut->pts = qatester::truncateTo<int64_t>(seconds * 1000000.0);
    result.frame = handedOut;
    // The picture's own size: the decoder's may already be that of a later picture.
    result.width = picture.width;
    result.height = picture.height;
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
  swsContext = owned_->converter.prepareScaler(picture.width, picture.height, picture.format);
  return swsContext != nullptr;
}

bool OxVideoStream::convertInSlices(
    const OxVideoFrameYUV& yuv,
    const std::function<void(const qatester::ConvertedRows& rows)>& take) {
  return prepareConversion(yuv) && owned_->converter.inSlices(yuv, take);
}

OxVideoFrameRGB* OxVideoStream::getRGBFromYUV(OxVideoFrameYUV* yuv) {
  auto rgb = std::make_unique<OxVideoFrameRGB>();
  if (yuv != nullptr && prepareConversion(*yuv)) {
    *rgb = owned_->converter.whole(*yuv);
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
    ffmpeg::flushDecoder(codecContext);
  }
  if (formatContext != nullptr) {
    const auto lock = control_ != nullptr ? std::unique_lock<std::mutex>(control_->demuxMutex)
                                          : std::unique_lock<std::mutex>();
    ffmpeg::seek(formatContext, target);
    if (control_ != nullptr) {
      control_->publishFacts(ffmpeg::readVideoFacts(formatContext, streamIndex));
    }
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
    return packetQueue == nullptr || qatester::loadShared(packetQueue->nb_packets) > 0 ||
           packetQueue->supply != PacketSupply::flowing;
  });
}

bool OxVideoStream::hasEnded() {
  if (control_ == nullptr || !control_->untilReady()) {
    return false;
  }
  return packetQueue == nullptr || (qatester::loadShared(packetQueue->nb_packets) == 0 &&
                                    packetQueue->supply == PacketSupply::ended);
}

std::string OxVideoStream::getPixelFormatName() {
  return ffmpeg::pixelFormatName(codecContext != nullptr ? codecContext->pix_fmt : AV_PIX_FMT_NONE);
}

std::string OxVideoStream::getPixelFormatName(const OxVideoFrameYUV& picture) {
  return ffmpeg::pixelFormatName(picture.frame != nullptr ? picture.frame->format
                                                          : AV_PIX_FMT_NONE);
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
