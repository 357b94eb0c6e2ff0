// Pictures and blocks a second of a reading of a whole programme by somebody who does nothing with
// them, against a loop that only decodes the same streams with one thread each.

#include "media/ProgrammeReader.h"

#include <benchmark/benchmark.h>

#include <map>
#include <memory>
#include <stdexcept>
#include <string>

#include "support/Clips.h"
#include "support/Paired.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace {

using qatester::bench::Yield;

class Counter : public qatester::ProgrammeConsumer {
 public:
  qatester::ProgrammeWants wants() const override { return {true, true, false}; }
  using ProgrammeConsumer::take;
  void take(const qatester::ProgrammePicture&) override { yield.items += 1; }
  void take(const qatester::ProgrammeBlock& block) override {
    yield.items += 1;
    yield.bytes += block.samples;
  }
  Yield yield;
};

class Reading {
 public:
  explicit Reading(const std::string& path) : reader_(path, {}) { reader_.add(counter_); }
  Yield drain() {
    reader_.run();
    return counter_.yield;
  }

 private:
  qatester::ProgrammeReader reader_;
  Counter counter_;
};

class BareProgramme {
 public:
  explicit BareProgramme(const std::string& path) {
    AVFormatContext* opened = nullptr;
    if (avformat_open_input(&opened, path.c_str(), nullptr, nullptr) < 0 ||
        avformat_find_stream_info(opened, nullptr) < 0) {
      throw std::runtime_error("cannot open " + path);
    }
    container_.reset(opened);
    for (unsigned i = 0; i < container_->nb_streams; ++i) {
      const AVStream* stream = container_->streams[i];
      const AVCodec* codec = avcodec_find_decoder(stream->codecpar->codec_id);
      Decoder decoder(avcodec_alloc_context3(codec));
      avcodec_parameters_to_context(decoder.get(), stream->codecpar);
      decoder->pkt_timebase = stream->time_base;
      if (avcodec_open2(decoder.get(), codec, nullptr) >= 0) {
        decoders_[static_cast<int>(i)] = std::move(decoder);
      }
    }
  }

  Yield drain() {
    const Packet packet(av_packet_alloc());
    while (av_read_frame(container_.get(), packet.get()) >= 0) {
      const auto decoder = decoders_.find(packet->stream_index);
      if (decoder != decoders_.end()) {
        send(decoder->second.get(), packet.get());
      }
      av_packet_unref(packet.get());
    }
    for (const auto& [stream, decoder] : decoders_) {
      send(decoder.get(), nullptr);
    }
    return yield_;
  }

 private:
  struct Free {
    void operator()(AVFormatContext* container) const { avformat_close_input(&container); }
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  };
  using Decoder = std::unique_ptr<AVCodecContext, Free>;
  using Packet = std::unique_ptr<AVPacket, Free>;

  void send(AVCodecContext* decoder, const AVPacket* packet) {
    avcodec_send_packet(decoder, packet);
    while (avcodec_receive_frame(decoder, frame_.get()) >= 0) {
      yield_.items += 1;
      yield_.bytes += frame_->nb_samples;
    }
  }

  std::unique_ptr<AVFormatContext, Free> container_;
  std::map<int, Decoder> decoders_;
  std::unique_ptr<AVFrame, Free> frame_{av_frame_alloc()};
  Yield yield_;
};

void reads(benchmark::State& state, const char* clip) {
  qatester::bench::runPairs<Reading, BareProgramme>(state, qatester::bench::clip(clip));
}

bool registerClips() {
  for (const char* clip :
       {"h264-576.mp4", "mpeg2-576.mov", "dv-576.dv", "h264-1080.mp4", "mpeg2-1080.mov"}) {
    benchmark::RegisterBenchmark(clip, reads, clip)->UseManualTime()->Unit(benchmark::kMillisecond);
  }
  return true;
}

const bool registered = registerClips();

}  // namespace
