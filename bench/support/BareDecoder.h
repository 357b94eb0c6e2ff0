#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

namespace qatester::bench {

/// The least that decoding a file takes: one thread reads a packet, decodes it and comes back with
/// the picture or block. Nothing is flushed at the end of the file.
class BareDecoder {
 public:
  struct Threads {
    int type = FF_THREAD_SLICE;
    int count = 1;
  };

  /// Opens and probes the file and opens the decoder of its first stream of this kind; the other
  /// streams are not demultiplexed. Throws std::runtime_error.
  BareDecoder(const std::string& path, AVMediaType kind, Threads threads);

  /// The next picture or block, valid until the next call; null at the end of the file.
  const AVFrame* next();

  const AVCodecContext& context() const { return *context_; }

 private:
  struct Free {
    void operator()(AVFormatContext* container) const { avformat_close_input(&container); }
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  };

  std::unique_ptr<AVFormatContext, Free> container_;
  std::unique_ptr<AVCodecContext, Free> context_;
  std::unique_ptr<AVPacket, Free> packet_;
  std::unique_ptr<AVFrame, Free> frame_;
  int streamIndex_ = -1;
};

/// Converts pictures of one size and format to packed blue, green, red, in one go each.
class BareConverter {
 public:
  /// Throws std::runtime_error.
  void convert(const AVFrame& picture);

 private:
  struct Free {
    void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
  };

  std::unique_ptr<SwsContext, Free> scaler_;
  std::vector<uint8_t> pixels_;
};

}  // namespace qatester::bench
