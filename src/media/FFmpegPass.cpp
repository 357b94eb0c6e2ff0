#include "media/FFmpegPass.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <thread>

extern "C" {
#include <libavutil/frame.h>
}

namespace qatester::ffmpeg {

namespace {

struct Threading {
  int type = 0;
  int threads = 1;
};

/// The same on every machine: damaged pictures of some codecs depend on it.
constexpr int kFrameThreads = 8;

/// What is known to give the same pictures in every reading, damage included. Without a number of
/// threads that was tried, a codec gets one.
Threading threadingOf(AVCodecID codec) {
  switch (codec) {
    case AV_CODEC_ID_H264:
    case AV_CODEC_ID_HEVC:
    case AV_CODEC_ID_VP9:
    case AV_CODEC_ID_VP8:
    case AV_CODEC_ID_PRORES:
    case AV_CODEC_ID_DNXHD:
    case AV_CODEC_ID_CFHD:
    case AV_CODEC_ID_V210:
    case AV_CODEC_ID_UTVIDEO:
    case AV_CODEC_ID_PNG:
      return {FF_THREAD_FRAME, kFrameThreads};
    case AV_CODEC_ID_FFV1:
    case AV_CODEC_ID_DVVIDEO:
      // Exact with any number.
      return {FF_THREAD_SLICE,
              static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, 8U))};
    default:
      return {};
  }
}

/// A damaged stream leaves parts of a picture unwritten: what is there must not depend on which
/// buffers happen to be free.
int getClearedBuffer(AVCodecContext* decoder, AVFrame* frame, int flags) {
  const int result = avcodec_default_get_buffer2(decoder, frame, flags);
  if (result < 0) {
    return result;
  }
  const auto clear = [](AVBufferRef* buffer) {
    if (buffer != nullptr) {
      std::memset(buffer->data, 0, buffer->size);
    }
  };
  std::for_each(std::begin(frame->buf), std::end(frame->buf), clear);
  std::for_each(frame->extended_buf, frame->extended_buf + frame->nb_extended_buf, clear);
  return result;
}

void setUp(AVCodecContext* decoder, const AVStream& stream, const Threading& threading) {
  decoder->pkt_timebase = stream.time_base;
  decoder->max_pixels = kMaxPixels;
  decoder->error_concealment = 0;
  if (decoder->codec_type == AVMEDIA_TYPE_AUDIO) {
    decoder->err_recognition |= AV_EF_CRCCHECK;
  }
  decoder->get_buffer2 = getClearedBuffer;
  decoder->thread_count = threading.threads;
  decoder->thread_type = threading.type;
#if LIBAVCODEC_VERSION_MAJOR < 60
  // Otherwise frame threads would take turns for a buffer. Newer decoders expect no less.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  decoder->thread_safe_callbacks = 1;
#pragma GCC diagnostic pop
#endif
}

}  // namespace

PassDecoder::PassDecoder(const AVStream* stream) {
  const AVCodec* codec = avcodec_find_decoder(stream->codecpar->codec_id);
  if (codec == nullptr) {
    return;
  }
  const auto openWith = [&](const Threading& threading) {
    decoder_ = makeDecoder(stream, codec);
    if (decoder_ == nullptr) {
      throw std::bad_alloc();
    }
    setUp(decoder_.get(), *stream, threading);
    log_.listenTo(decoder_.get());
    return avcodec_open2(decoder_.get(), codec, nullptr);
  };
  const Threading threading = threadingOf(codec->id);
  int result = openWith(threading);
  if (result < 0 && threading.threads > 1) {
    // Where threads cannot be started, pictures without damage stay the same.
    result = openWith({});
  }
  if (result == AVERROR(ENOMEM)) {
    throw std::bad_alloc();
  }
  open_ = result >= 0;
}

int PassDecoder::lag() const {
  const bool frames = (decoder_->active_thread_type & FF_THREAD_FRAME) != 0;
  return frames ? decoder_->thread_count - 1 : 0;
}

int PassDecoder::send(const AVPacket* packet, int64_t number) {
  if (packet->data == nullptr || packet->size <= 0) {
    return 0;  // it would mean the end of the stream
  }
  decoder_->reordered_opaque = number;
  return avcodec_send_packet(decoder_.get(), packet);
}

int PassDecoder::sendEnd() {
  return avcodec_send_packet(decoder_.get(), nullptr);
}

int PassDecoder::receive(UniqueFrame* frame) {
  UniqueFrame received(av_frame_alloc());
  if (received == nullptr) {
    throw std::bad_alloc();
  }
  const int result = avcodec_receive_frame(decoder_.get(), received.get());
  frame->reset();
  if (result >= 0) {
    *frame = std::move(received);
  }
  return result == AVERROR(EAGAIN) ? 0 : result;
}

int64_t packetOf(const AVFrame& frame) {
  return frame.reordered_opaque;
}

std::optional<int64_t> pictureStamp(const AVFrame& picture) {
  if (picture.best_effort_timestamp == AV_NOPTS_VALUE) {
    return std::nullopt;
  }
  return picture.best_effort_timestamp;
}

std::optional<int64_t> blockStamp(const AVFrame& block) {
  return block.pts != AV_NOPTS_VALUE ? block.pts : pictureStamp(block);
}

bool isFlaggedCorrupt(const AVFrame& frame) {
  return (frame.flags & AV_FRAME_FLAG_CORRUPT) != 0;
}

std::string decodeErrorsOf(const AVFrame& frame) {
  struct Words {
    int flag;
    const char* text;
  };
  constexpr Words kWords[] = {{FF_DECODE_ERROR_INVALID_BITSTREAM, "invalid bit stream"},
                              {FF_DECODE_ERROR_MISSING_REFERENCE, "missing reference"},
                              {FF_DECODE_ERROR_CONCEALMENT_ACTIVE, "concealed"},
                              {FF_DECODE_ERROR_DECODE_SLICES, "slices not decoded"}};
  std::string all;
  for (const Words& words : kWords) {
    if ((frame.decode_error_flags & words.flag) != 0) {
      all += (all.empty() ? "" : ", ") + std::string(words.text);
    }
  }
  return all.empty() && frame.decode_error_flags != 0 ? "decoding errors" : all;
}

std::vector<uint32_t> timecodeWordsOf(const AVFrame& picture) {
  const AVFrameSideData* data = av_frame_get_side_data(&picture, AV_FRAME_DATA_S12M_TIMECODE);
  if (data == nullptr || data->size < 4 * sizeof(uint32_t)) {
    return {};
  }
  uint32_t words[4];
  std::memcpy(words, data->data, sizeof words);
  return {words + 1, words + 1 + std::min<uint32_t>(words[0], 3)};
}

std::optional<int64_t> gopTimecodeOf(const AVFrame& picture) {
  const AVFrameSideData* data = av_frame_get_side_data(&picture, AV_FRAME_DATA_GOP_TIMECODE);
  if (data == nullptr || data->size < sizeof(int64_t)) {
    return std::nullopt;
  }
  int64_t timecode = 0;
  std::memcpy(&timecode, data->data, sizeof timecode);
  return timecode;
}

}  // namespace qatester::ffmpeg
