#include "support/BareDecoder.h"

#include <stdexcept>

namespace qatester::bench {

namespace {

/// Passes a result on, unless it is a failure.
int check(int result, const char* what) {
  if (result < 0) {
    throw std::runtime_error(std::string("cannot ") + what);
  }
  return result;
}

}  // namespace

BareDecoder::BareDecoder(const std::string& path, AVMediaType kind, Threads threads)
    : packet_(av_packet_alloc()), frame_(av_frame_alloc()) {
  av_log_set_level(AV_LOG_PANIC);
  AVFormatContext* container = nullptr;
  check(avformat_open_input(&container, path.c_str(), nullptr, nullptr), "open the file");
  container_.reset(container);
  check(avformat_find_stream_info(container, nullptr), "probe the file");
  // The first of its kind rather than the "best": that is the one the library decodes.
  for (unsigned i = container->nb_streams; i-- > 0;) {
    container->streams[i]->discard = AVDISCARD_ALL;
    if (container->streams[i]->codecpar->codec_type == kind) {
      streamIndex_ = static_cast<int>(i);
    }
  }
  AVStream* stream = container->streams[check(streamIndex_, "find the stream")];
  stream->discard = AVDISCARD_DEFAULT;
  const AVCodec* decoder = avcodec_find_decoder(stream->codecpar->codec_id);
  context_.reset(avcodec_alloc_context3(decoder));
  check(avcodec_parameters_to_context(context_.get(), stream->codecpar), "describe the stream");
  context_->thread_type = threads.type;
  context_->thread_count = threads.count;
  // Whole blocks, as the library delivers them.
  context_->flags2 |= AV_CODEC_FLAG2_SKIP_MANUAL;
  check(avcodec_open2(context_.get(), decoder, nullptr), "open the decoder");
}

const AVFrame* BareDecoder::next() {
  while (avcodec_receive_frame(context_.get(), frame_.get()) < 0) {
    do {
      av_packet_unref(packet_.get());
      if (av_read_frame(container_.get(), packet_.get()) < 0) {
        return nullptr;
      }
    } while (packet_->stream_index != streamIndex_);
    avcodec_send_packet(context_.get(), packet_.get());
  }
  return frame_.get();
}

void BareConverter::convert(const AVFrame& picture) {
  const auto stride = static_cast<std::size_t>(picture.width) * 3;
  if (scaler_ == nullptr) {
    scaler_.reset(sws_getContext(
        picture.width, picture.height, static_cast<AVPixelFormat>(picture.format), picture.width,
        picture.height, AV_PIX_FMT_BGR24, SWS_BICUBIC, nullptr, nullptr, nullptr));
    // Vector code may write past the end of a row.
    pixels_.resize(stride * static_cast<std::size_t>(picture.height) + 64);
  }
  uint8_t* planes[4] = {pixels_.data(), nullptr, nullptr, nullptr};
  const int strides[4] = {static_cast<int>(stride), 0, 0, 0};
  check(scaler_ == nullptr ? -1
                           : sws_scale(scaler_.get(), picture.data, picture.linesize, 0,
                                       picture.height, planes, strides),
        "convert the picture");
}

}  // namespace qatester::bench
