#include "support/Clips.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <stdexcept>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/pixdesc.h>
}

namespace qatest {

namespace {

constexpr int kDefaultBlock = 1024;

void require(bool holds, const std::string& what) {
  if (!holds) {
    throw std::runtime_error("clip maker: " + what);
  }
}

struct Free {
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
  void operator()(AVFormatContext* container) const {
    avio_closep(&container->pb);
    avformat_free_context(container);
  }
};

using Container = std::unique_ptr<AVFormatContext, Free>;
using Encoder = std::unique_ptr<AVCodecContext, Free>;
using Frame = std::unique_ptr<AVFrame, Free>;
using Packet = std::unique_ptr<AVPacket, Free>;

class Options {
 public:
  explicit Options(const std::map<std::string, std::string>& values) {
    for (const auto& [key, value] : values) {
      av_dict_set(&dictionary_, key.c_str(), value.c_str(), 0);
    }
  }
  ~Options() { av_dict_free(&dictionary_); }
  Options(const Options&) = delete;
  Options& operator=(const Options&) = delete;
  AVDictionary** get() { return &dictionary_; }

 private:
  AVDictionary* dictionary_ = nullptr;
};

uint8_t usualPixel(int component, int x, int y, int frame) {
  return static_cast<uint8_t>(16 + (component == 0
                                        ? (x * 3 + y * 5 + frame * 7) % 220
                                        : (x * 2 + y + frame * 3 + component * 50) % 225));
}

template <typename Pixel>
void paintWith(AVFrame& frame, Pixel pixel, int index) {
  const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  for (int component = 0; component < format->nb_components; ++component) {
    const AVComponentDescriptor& place = format->comp[component];
    const bool chroma = component == 1 || component == 2;
    const int width =
        AV_CEIL_RSHIFT(frame.width, chroma ? static_cast<int>(format->log2_chroma_w) : 0);
    const int height =
        AV_CEIL_RSHIFT(frame.height, chroma ? static_cast<int>(format->log2_chroma_h) : 0);
    for (int y = 0; y < height; ++y) {
      uint8_t* row = frame.data[place.plane] + y * frame.linesize[place.plane] + place.offset;
      for (int x = 0; x < width; ++x) {
        const uint8_t value = pixel(component, x, y, index);
        if (place.depth > 8) {
          const auto deep = static_cast<uint16_t>(value << (place.depth - 8 + place.shift));
          *reinterpret_cast<uint16_t*>(row + x * place.step) = deep;
        } else {
          row[x * place.step] = value;
        }
      }
    }
  }
}

/// Most clips have the usual pixels: to ask for each through a pointer takes longer than the rest.
void paint(AVFrame& frame, const PixelFunction& pixel, int index) {
  const auto* usual = pixel.target<uint8_t (*)(int, int, int, int)>();
  if (usual != nullptr && *usual == clipPixel) {
    paintWith(frame, usualPixel, index);
  } else {
    paintWith<const PixelFunction&>(frame, pixel, index);
  }
}

void putSample(uint8_t* place, AVSampleFormat packed, double sample) {
  switch (packed) {
    case AV_SAMPLE_FMT_U8:
      *place = static_cast<uint8_t>(quantize(sample, 8) + 128);
      break;
    case AV_SAMPLE_FMT_S16:
      *reinterpret_cast<int16_t*>(place) = static_cast<int16_t>(quantize(sample, 16));
      break;
    case AV_SAMPLE_FMT_S32:
      *reinterpret_cast<int32_t*>(place) = quantize(sample, 32);
      break;
    case AV_SAMPLE_FMT_FLT:
      *reinterpret_cast<float*>(place) = static_cast<float>(sample);
      break;
    case AV_SAMPLE_FMT_DBL:
      *reinterpret_cast<double*>(place) = sample;
      break;
    default:
      require(false, "sample format");
  }
}

void sing(AVFrame& block, int channels, const SampleFunction& sample, int64_t first) {
  const auto format = static_cast<AVSampleFormat>(block.format);
  const AVSampleFormat packed = av_get_packed_sample_fmt(format);
  const bool planar = av_sample_fmt_is_planar(format) != 0;
  const int width = av_get_bytes_per_sample(format);
  for (int channel = 0; channel < channels; ++channel) {
    uint8_t* place = block.extended_data[planar ? channel : 0] + (planar ? 0 : channel * width);
    for (int i = 0; i < block.nb_samples; ++i) {
      putSample(place, packed, sample(channel, first + i));
      place += planar ? width : channels * width;
    }
  }
}

/// One stream of the clip on its way into the container.
class StreamWriter {
 public:
  StreamWriter(AVFormatContext* container, const std::string& encoderName, const PacketEdit& edit)
      : container_(container), edit_(edit), packet_(av_packet_alloc()), frame_(av_frame_alloc()) {
    const AVCodec* codec = avcodec_find_encoder_by_name(encoderName.c_str());
    require(codec != nullptr, "no encoder " + encoderName);
    encoder_.reset(avcodec_alloc_context3(codec));
    encoder_->thread_count = 1;
    encoder_->flags |= AV_CODEC_FLAG_BITEXACT;
    encoder_->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;
    if ((container->oformat->flags & AVFMT_GLOBALHEADER) != 0) {
      encoder_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    }
    stream_ = avformat_new_stream(container, nullptr);
  }
  virtual ~StreamWriter() = default;

  /// Where the next picture or block starts, in seconds.
  double nextTime() const { return static_cast<double>(next_) * av_q2d(encoder_->time_base); }
  bool finished() const { return next_ >= end_; }

  void writeNext() {
    require(av_frame_make_writable(frame_.get()) >= 0, "no memory");
    frame_->pts = next_;
    next_ += fill(*frame_);
    encode(frame_.get());
    if (finished()) {
      encode(nullptr);
    }
  }

 protected:
  void open(const std::map<std::string, std::string>& optionValues) {
    Options options(optionValues);
    require(avcodec_open2(encoder_.get(), nullptr, options.get()) >= 0,
            std::string("cannot open ") + encoder_->codec->name);
    avcodec_parameters_from_context(stream_->codecpar, encoder_.get());
    stream_->time_base = encoder_->time_base;
  }

  /// Fills in the frame that starts at `next_`; returns its length.
  virtual int64_t fill(AVFrame& frame) = 0;

  Encoder encoder_;
  AVFormatContext* container_;
  AVStream* stream_ = nullptr;
  PacketEdit edit_;
  Packet packet_;
  Frame frame_;
  int64_t next_ = 0;
  int64_t end_ = 0;

 private:
  void encode(AVFrame* frame) {
    require(avcodec_send_frame(encoder_.get(), frame) >= 0, "encoding failed");
    while (avcodec_receive_packet(encoder_.get(), packet_.get()) >= 0) {
      packet_->stream_index = stream_->index;
      if (edit_) {
        edit_(*packet_, packets_);
      }
      ++packets_;
      av_packet_rescale_ts(packet_.get(), encoder_->time_base, stream_->time_base);
      require(av_interleaved_write_frame(container_, packet_.get()) >= 0, "writing failed");
    }
  }

  int packets_ = 0;
};

class VideoWriter : public StreamWriter {
 public:
  VideoWriter(AVFormatContext* container, const VideoSpec& spec)
      : StreamWriter(container, spec.encoder, spec.edit), spec_(spec) {
    end_ = spec.frames;
    encoder_->width = spec.width;
    encoder_->height = spec.height;
    encoder_->pix_fmt = spec.pixelFormat;
    encoder_->time_base = av_inv_q(spec.rate);
    encoder_->framerate = spec.rate;
    encoder_->max_b_frames = spec.bFrames;
    encoder_->gop_size = spec.gop;
    encoder_->flags |= AV_CODEC_FLAG_QSCALE;
    encoder_->global_quality = 2 * FF_QP2LAMBDA;
    if (spec.interlaced) {
      encoder_->flags |= AV_CODEC_FLAG_INTERLACED_DCT | AV_CODEC_FLAG_INTERLACED_ME;
      encoder_->field_order = spec.topFieldFirst ? AV_FIELD_TT : AV_FIELD_BB;
    }
    open(spec.options);
    if (spec.declareRate) {
      stream_->avg_frame_rate = spec.rate;
      stream_->r_frame_rate = spec.rate;
    }
    frame_->format = spec.pixelFormat;
    frame_->width = spec.width;
    frame_->height = spec.height;
    frame_->interlaced_frame = spec.interlaced ? 1 : 0;
    frame_->top_field_first = spec.topFieldFirst ? 1 : 0;
    require(av_frame_get_buffer(frame_.get(), 0) >= 0, "no memory");
  }

 private:
  int64_t fill(AVFrame& frame) override {
    paint(frame, spec_.pixel, static_cast<int>(next_));
    return 1;
  }

  VideoSpec spec_;
};

class AudioWriter : public StreamWriter {
 public:
  AudioWriter(AVFormatContext* container, const AudioSpec& spec)
      : StreamWriter(container, spec.encoder, spec.edit), spec_(spec) {
    end_ = std::llround(spec.seconds * spec.rate);
    encoder_->sample_fmt = spec.sampleFormat != AV_SAMPLE_FMT_NONE
                               ? spec.sampleFormat
                               : encoder_->codec->sample_fmts[0];
    encoder_->sample_rate = spec.rate;
    encoder_->time_base = {1, spec.rate};
    encoder_->frame_size = spec.samplesPerPacket;
    av_channel_layout_default(&encoder_->ch_layout, spec.channels);
    open(spec.options);
    constexpr unsigned kAnySize = AV_CODEC_CAP_VARIABLE_FRAME_SIZE | AV_CODEC_CAP_SMALL_LAST_FRAME;
    const auto capabilities = static_cast<unsigned>(encoder_->codec->capabilities);
    mayEndEarly_ = (capabilities & kAnySize) != 0;
    if ((capabilities & AV_CODEC_CAP_VARIABLE_FRAME_SIZE) != 0) {
      block_ = spec.samplesPerPacket > 0 ? spec.samplesPerPacket : kDefaultBlock;
    } else {
      block_ = encoder_->frame_size;
    }
    frame_->format = encoder_->sample_fmt;
    frame_->sample_rate = spec.rate;
    frame_->nb_samples = block_;
    require(av_channel_layout_copy(&frame_->ch_layout, &encoder_->ch_layout) >= 0 &&
                av_frame_get_buffer(frame_.get(), 0) >= 0,
            "no memory");
  }

 private:
  int64_t fill(AVFrame& frame) override {
    frame.nb_samples =
        mayEndEarly_ ? static_cast<int>(std::min<int64_t>(block_, end_ - next_)) : block_;
    sing(frame, spec_.channels, spec_.sample, next_);
    return frame.nb_samples;
  }

  AudioSpec spec_;
  bool mayEndEarly_ = false;
  int block_ = 0;
};

VideoSpec video(const std::string& encoder, AVPixelFormat pixelFormat, int frames) {
  VideoSpec spec;
  spec.encoder = encoder;
  spec.pixelFormat = pixelFormat;
  spec.frames = frames;
  return spec;
}

}  // namespace

uint8_t clipPixel(int component, int x, int y, int frame) {
  return usualPixel(component, x, y, frame);
}

double clipSample(int channel, int64_t index) {
  return static_cast<double>((index * (2 * channel + 3) * 97) % 24000 - 12000) / 32768.0;
}

int32_t quantize(double sample, int bits) {
  const double steps = std::ldexp(1.0, bits - 1);
  return static_cast<int32_t>(std::clamp(std::nearbyint(sample * steps), -steps, steps - 1.0));
}

std::string makeClip(const std::string& path, const ClipSpec& spec) {
  av_log_set_level(AV_LOG_PANIC);
  AVFormatContext* opened = nullptr;
  avformat_alloc_output_context2(&opened, nullptr, nullptr, path.c_str());
  require(opened != nullptr, "no container for " + path);
  const Container container(opened);
  container->flags |= AVFMT_FLAG_BITEXACT;
  container->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;

  std::vector<std::unique_ptr<StreamWriter>> writers;
  const auto addVideo = [&] {
    for (const VideoSpec& stream : spec.video) {
      writers.push_back(std::make_unique<VideoWriter>(container.get(), stream));
    }
  };
  const auto addAudio = [&] {
    for (const AudioSpec& stream : spec.audio) {
      writers.push_back(std::make_unique<AudioWriter>(container.get(), stream));
    }
  };
  if (spec.audioFirst) {
    addAudio();
    addVideo();
  } else {
    addVideo();
    addAudio();
  }

  require(avio_open(&container->pb, path.c_str(), AVIO_FLAG_WRITE) >= 0, "cannot write " + path);
  Options options(spec.muxerOptions);
  require(avformat_write_header(container.get(), options.get()) >= 0, "no header for " + path);
  for (;;) {
    StreamWriter* earliest = nullptr;
    for (const auto& writer : writers) {
      if (!writer->finished() &&
          (earliest == nullptr || writer->nextTime() < earliest->nextTime())) {
        earliest = writer.get();
      }
    }
    if (earliest == nullptr) {
      break;
    }
    earliest->writeNext();
  }
  require(av_write_trailer(container.get()) >= 0, "no trailer for " + path);
  return path;
}

std::string makeClip(const TempDir& dir, const std::string& name, const ClipSpec& spec) {
  return makeClip(dir.file(name), spec);
}

VideoSpec ffv1(int frames, AVPixelFormat pixelFormat, AVRational rate) {
  VideoSpec spec = video("ffv1", pixelFormat, frames);
  spec.rate = rate;
  spec.gop = 1;
  spec.options = {{"level", "3"}, {"slices", "4"}};
  return spec;
}

VideoSpec h264WithBFrames(int frames, AVRational rate) {
  VideoSpec spec = video("libx264", AV_PIX_FMT_YUV420P, frames);
  spec.rate = rate;
  spec.bFrames = 3;
  // The macroblock tree gives other bytes from run to run.
  spec.options = {{"preset", "veryfast"},
                  {"crf", "18"},
                  {"x264-params", "b-adapt=0:scenecut=0:mbtree=0:sync-lookahead=0"}};
  return spec;
}

VideoSpec mpeg2WithBFrames(int frames, AVRational rate) {
  VideoSpec spec = video("mpeg2video", AV_PIX_FMT_YUV420P, frames);
  spec.rate = rate;
  spec.bFrames = 2;
  return spec;
}

VideoSpec dvPal(int frames) {
  VideoSpec spec = video("dvvideo", AV_PIX_FMT_YUV420P, frames);
  spec.width = 720;
  spec.height = 576;
  spec.interlaced = true;
  return spec;
}

VideoSpec proRes(int frames) {
  return video("prores_ks", AV_PIX_FMT_YUV422P10, frames);
}

VideoSpec mjpeg(int frames) {
  return video("mjpeg", AV_PIX_FMT_YUVJ420P, frames);
}

VideoSpec rawPal(int frames) {
  VideoSpec spec = video("rawvideo", AV_PIX_FMT_YUV420P, frames);
  spec.width = 720;
  spec.height = 576;
  return spec;
}

AudioSpec audio(const std::string& encoder, int channels, double seconds) {
  AudioSpec spec;
  spec.encoder = encoder;
  spec.channels = channels;
  spec.seconds = seconds;
  return spec;
}

std::vector<AudioSpec> audioStreams(int count, const AudioSpec& first) {
  std::vector<AudioSpec> streams;
  for (int i = 0; i < count; ++i) {
    streams.push_back(first);
    streams.back().sample = [base = first.sample, i](int channel, int64_t index) {
      return base(channel, index) * (10 - i) / 10.0;
    };
  }
  return streams;
}

ClipSpec withoutDuration(ClipSpec spec) {
  spec.muxerOptions.emplace("live", "1");
  return spec;
}

std::vector<ClipKind> clipKinds() {
  const std::vector<AudioSpec> aac = {audio("aac")};
  const std::vector<AudioSpec> mp2 = {audio("mp2")};
  const std::vector<AudioSpec> pcm = {audio("pcm_s16le")};
  const VideoSpec tiny = ffv1(50);
  VideoSpec secondVideo = ffv1(60, AV_PIX_FMT_YUV444P, {30, 1});
  secondVideo.width = 48;
  AudioSpec largeBlocks = audio("pcm_s16le", 2);
  largeBlocks.samplesPerPacket = 72000;
  AudioSpec largeFlac = audio("flac", 8);
  largeFlac.samplesPerPacket = 65535;
  largeFlac.sampleFormat = AV_SAMPLE_FMT_S16;

  return {
      {"h264.mp4", {{h264WithBFrames()}, aac}},
      {"h264.mkv", {{h264WithBFrames()}, {audio("ac3", 6)}}},
      {"h264.ts", {{h264WithBFrames()}, mp2}},
      {"h264.avi", {{h264WithBFrames()}, {}}},
      {"h264.h264", {{h264WithBFrames()}, {}}},
      {"mpeg2.mpg", {{mpeg2WithBFrames()}, mp2}},
      {"mpeg2.ts", {{mpeg2WithBFrames()}, audioStreams(2, audio("mp2"))}},
      {"dv.dv", {{dvPal()}, {}}},
      {"dv.mov", {{dvPal()}, pcm}},
      {"ffv1-420.mkv", {{ffv1(50)}, {}}},
      {"ffv1-422.avi", {{ffv1(50, AV_PIX_FMT_YUV422P)}, pcm}},
      {"ffv1-444.nut", {{ffv1(50, AV_PIX_FMT_YUV444P)}, pcm}},
      {"prores.mov", {{proRes()}, pcm}},
      {"mjpeg.avi", {{mjpeg()}, {}}},
      {"u8.wav", {{}, {audio("pcm_u8", 1)}}},
      {"s16.wav", {{}, {audio("pcm_s16le", 2)}}},
      {"s24.mov", {{}, {audio("pcm_s24le", 2)}}},
      {"s32.mkv", {{}, {audio("pcm_s32le", 3)}}},
      {"float.wav", {{}, {audio("pcm_f32le", 2)}}},
      {"double.mkv", {{}, {audio("pcm_f64le", 2)}}},
      {"adpcm.wav", {{}, {audio("adpcm_ms", 2)}}},
      {"flac.flac", {{}, {audio("flac", 2)}}},
      {"streams-1.mov", {{tiny}, audioStreams(1)}},
      {"streams-2.mkv", {{tiny}, audioStreams(2)}},
      {"streams-3.nut", {{tiny}, audioStreams(3)}},
      {"streams-4.mov", {{tiny}, audioStreams(4, audio("pcm_s24le", 1))}},
      {"streams-8.mkv", {{tiny}, audioStreams(8, audio("pcm_s16le", 1))}},
      {"channels-8.mov", {{}, {audio("pcm_s16le", 8)}}},
      {"two-videos.mkv", {{tiny, secondVideo}, pcm}},
      {"audio-first.mkv", {{tiny}, pcm, true, {}}},
      {"large-blocks.nut", {{}, {largeBlocks}}},
      {"large-flac.flac", {{}, {largeFlac}}},
      {"no-duration.mkv", withoutDuration({{tiny}, pcm})},
  };
}

std::vector<ClipKind> clipKinds(bool few) {
  const std::vector<ClipKind> all = clipKinds();
  std::vector<ClipKind> some;
  for (std::size_t i = 0; i < all.size(); i += few ? 4 : 1) {
    some.push_back(all[i]);
  }
  return some;
}

std::string truncatedCopy(const TempDir& dir, const std::string& name, const std::string& file,
                          std::size_t bytes) {
  writeFile(dir.file(name), readFile(file).substr(0, bytes));
  return dir.file(name);
}

std::string damagedCopy(const TempDir& dir, const std::string& name, const std::string& file,
                        std::size_t intactBytes, std::size_t interval) {
  std::string content = readFile(file);
  for (std::size_t i = intactBytes; i < content.size(); i += interval) {
    content[i] = static_cast<char>(content[i] ^ 0x5a);
  }
  writeFile(dir.file(name), content);
  return dir.file(name);
}

}  // namespace qatest
