#include "media/FFmpeg.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <limits>
#include <thread>

#include "media/FFmpegLog.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
#include <libavutil/samplefmt.h>
}

namespace qatester::ffmpeg {

namespace {

constexpr const char* kProtocols = "protocol_whitelist";
constexpr int kNeedsAnotherFile = FFERRTAG('M', 'O', 'R', 'E');

/// Decoders whose slice threads give the pictures of a single thread bit for bit, damaged streams
/// included. Others conceal damage differently with each number of threads: seen with MPEG-2,
/// H.264, HEVC, VP9, ProRes and FFV1. Frame threads would change which packet completes which
/// picture.
bool slicesAreExact(AVCodecID codec) {
  return codec == AV_CODEC_ID_DVVIDEO;
}

/// Float samples that stay float: PCM, and the lossless codec that carries it.
bool carriesFloatPcm(AVCodecID codec) {
  return codec == AV_CODEC_ID_WAVPACK ||
         (codec >= AV_CODEC_ID_FIRST_AUDIO && codec < AV_CODEC_ID_ADPCM_IMA_QT);
}

/// Full scale is 32768; rounded to nearest, halves to even, and clipped.
template <typename Float>
int16_t toSigned16(Float sample) {
  const Float scaled = sample * Float{32768};
  if (!(scaled > Float{-32768})) {  // NaN as well
    return -32768;
  }
  if (scaled >= Float{32767}) {
    return 32767;
  }
  // Adding 1.5 * 2^mantissa leaves no room for a fraction: the addition itself rounds. Unlike a
  // call of lrint it can be vectorised.
  constexpr Float kNoFraction =
      Float{1.5} * static_cast<Float>(uint64_t{1} << (std::numeric_limits<Float>::digits - 1));
  return static_cast<int16_t>((scaled + kNoFraction) - kNoFraction);
}

/// Writes the samples of `block` interleaved, each through `convert`.
template <typename In, typename Out, typename Convert>
void interleave(const AVFrame& block, int channels, uint8_t* output, Convert convert) {
  Out* out = reinterpret_cast<Out*>(output);
  if (av_sample_fmt_is_planar(static_cast<AVSampleFormat>(block.format)) == 0) {
    const In* in = reinterpret_cast<const In*>(block.extended_data[0]);
    std::transform(in, in + static_cast<std::ptrdiff_t>(block.nb_samples) * channels, out, convert);
    return;
  }
  for (int channel = 0; channel < channels; ++channel) {
    const In* in = reinterpret_cast<const In*>(block.extended_data[channel]);
    for (int i = 0; i < block.nb_samples; ++i) {
      out[static_cast<std::ptrdiff_t>(i) * channels + channel] = convert(in[i]);
    }
  }
}

template <typename T>
void interleaveAsIs(const AVFrame& block, int channels, uint8_t* output) {
  interleave<T, T>(block, channels, output, [](T sample) { return sample; });
}

/// Returns the bytes written, or a negative error code.
int deliverBlock(const AVFrame& block, int sampleFormat, uint8_t* output) {
  const auto wanted = static_cast<AVSampleFormat>(sampleFormat);
  const AVSampleFormat decoded =
      av_get_packed_sample_fmt(static_cast<AVSampleFormat>(block.format));
  const int channels = block.ch_layout.nb_channels;
  const int64_t bytes =
      static_cast<int64_t>(block.nb_samples) * channels * av_get_bytes_per_sample(wanted);
  if (channels < 1 || bytes < 0 || bytes > kMaxAudioBlockBytes) {
    return AVERROR_INVALIDDATA;
  }
  if (decoded == wanted) {
    switch (av_get_bytes_per_sample(wanted)) {
      case 1:
        interleaveAsIs<uint8_t>(block, channels, output);
        break;
      case 2:
        interleaveAsIs<uint16_t>(block, channels, output);
        break;
      case 4:
        interleaveAsIs<uint32_t>(block, channels, output);
        break;
      case 8:
        interleaveAsIs<uint64_t>(block, channels, output);
        break;
      default:
        return AVERROR_INVALIDDATA;
    }
  } else if (wanted == AV_SAMPLE_FMT_S16 && decoded == AV_SAMPLE_FMT_FLT) {
    interleave<float, int16_t>(block, channels, output, toSigned16<float>);
  } else if (wanted == AV_SAMPLE_FMT_S16 && decoded == AV_SAMPLE_FMT_DBL) {
    interleave<double, int16_t>(block, channels, output, toSigned16<double>);
  } else {
    return AVERROR_INVALIDDATA;  // the decoder changed its format in mid-stream
  }
  return static_cast<int>(bytes);
}

/// Sends a packet to its decoder and hands every frame that it completes to `take`. Returns the
/// bytes consumed or a negative error code.
template <typename Take>
int decodePacket(AVCodecContext* context, const AVPacket* packet, Take take) {
  if (packet->data == nullptr || packet->size <= 0) {
    return 0;
  }
  const int sent = avcodec_send_packet(context, packet);
  if (sent < 0 && sent != AVERROR(EAGAIN)) {
    return sent;
  }
  const UniqueFrame frame(av_frame_alloc());
  if (frame == nullptr) {
    return AVERROR(ENOMEM);
  }
  while (avcodec_receive_frame(context, frame.get()) >= 0) {
    take(frame.get());
  }
  return packet->size;
}

/// Opens the file that the container was made for and nothing else: a file that names others must
/// make nobody read those.
int openOnlyItself(AVFormatContext* container, AVIOContext** io, const char* url, int flags,
                   AVDictionary** options) {
  const bool itself = container->url != nullptr && std::strcmp(url, container->url) == 0;
  if (!itself || (flags & AVIO_FLAG_WRITE) != 0) {
    if (container->opaque != nullptr) {
      *static_cast<bool*>(container->opaque) = true;
    }
    return AVERROR(EPERM);
  }
  AVDictionary* onlyFiles = nullptr;
  if (options != nullptr) {
    av_dict_copy(&onlyFiles, *options, 0);
  }
  int result = av_dict_set(&onlyFiles, kProtocols, "file", 0);
  if (result >= 0) {
    result = avio_open2(io, url, flags, &container->interrupt_callback, &onlyFiles);
  }
  av_dict_free(&onlyFiles);
  return result;
}

std::string numbered(unsigned version) {
  return std::to_string(AV_VERSION_MAJOR(version)) + "." +
         std::to_string(AV_VERSION_MINOR(version)) + "." +
         std::to_string(AV_VERSION_MICRO(version));
}

}  // namespace

ScopedPacket::ScopedPacket() {
  blankPacket(&packet_);
}

ScopedPacket::~ScopedPacket() {
  av_packet_unref(&packet_);
}

void ScopedPacket::release() {
  blankPacket(&packet_);
}

int openContainer(const std::string& path, const AVIOInterruptCB& interrupt,
                  UniqueContainer* container, LogLines* log) {
  av_log_set_level(AV_LOG_PANIC);
  const std::string url = "file:" + path;
  container->reset(avformat_alloc_context());
  if (*container == nullptr) {
    return AVERROR(ENOMEM);
  }
  (*container)->interrupt_callback = interrupt;
  (*container)->io_open = openOnlyItself;
  if (log != nullptr) {
    log->listenTo(container->get());
  }
  bool askedForAnother = false;
  (*container)->opaque = &askedForAnother;
  AVDictionary* options = nullptr;
  // Some demultiplexers open what a file names in containers of their own, which take over this
  // list, but not the function.
  int result = av_dict_set(&options, kProtocols, "none", 0);
  if (result >= 0) {
    // On failure it frees the context itself.
    AVFormatContext* opening = container->release();
    result = avformat_open_input(&opening, url.c_str(), nullptr, &options);
    container->reset(opening);
  } else {
    container->reset();
  }
  av_dict_free(&options);
  if (*container != nullptr) {
    (*container)->opaque = nullptr;
  } else if (log != nullptr) {
    log->stopListening();
  }
  return result < 0 && askedForAnother ? kNeedsAnotherFile : result;
}

VideoFacts readVideoFacts(const AVFormatContext* container, int streamIndex) {
  VideoFacts facts;
  if (container == nullptr) {
    return facts;
  }
  facts.durationSeconds = static_cast<double>(container->duration) / 1000000.0;
  if (streamIndex >= 0 && static_cast<unsigned>(streamIndex) < container->nb_streams) {
    const AVStream& stream = *container->streams[streamIndex];
    facts.framesPerSecond = static_cast<float>(stream.avg_frame_rate.num) /
                            static_cast<float>(stream.avg_frame_rate.den);
    facts.frames = stream.nb_frames;
  }
  return facts;
}

int findStreamInfo(AVFormatContext* container) {
  return avformat_find_stream_info(container, nullptr);
}

int readPacket(AVFormatContext* container, AVPacket* packet) {
  return av_read_frame(container, packet);
}

bool isEndOfData(int result) {
  return result == AVERROR_EOF || result == -1;
}

void seek(AVFormatContext* container, int64_t microseconds) {
  avformat_seek_file(container, -1, std::numeric_limits<int32_t>::min(), microseconds,
                     microseconds + std::numeric_limits<int32_t>::max(), AVSEEK_FLAG_FRAME);
}

bool hasReadError(const AVFormatContext* container) {
  return container->pb != nullptr && container->pb->error < 0;
}

std::string errorText(int error) {
  if (error == kNeedsAnotherFile) {
    return "it refers to other files, which are never read";
  }
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(error, text, sizeof text);
  return text;
}

void blankPacket(AVPacket* packet) {
  *packet = AVPacket{};
  packet->pts = AV_NOPTS_VALUE;
  packet->dts = AV_NOPTS_VALUE;
  packet->pos = -1;
}

bool makePayloadPrivate(AVPacket* packet) {
  return av_packet_make_refcounted(packet) >= 0;
}

void releasePayload(AVPacket* packet) {
  av_packet_unref(packet);
}

void* allocate(std::size_t bytes) {
  return av_mallocz(bytes);
}

UniqueFrame makePicture() {
  return UniqueFrame(av_frame_alloc());
}

std::string pixelFormatName(int format) {
  const char* name = av_get_pix_fmt_name(static_cast<AVPixelFormat>(format));
  return name != nullptr ? name : "unknown";
}

std::string sampleFormatName(int format) {
  const char* name = av_get_sample_fmt_name(static_cast<AVSampleFormat>(format));
  return name != nullptr ? name : "unknown";
}

int bytesPerSample(int sampleFormat) {
  return av_get_bytes_per_sample(static_cast<AVSampleFormat>(sampleFormat));
}

std::vector<LibraryVersion> libraryVersions() {
  return {{"FFmpeg", av_version_info()},
          {"libavformat", numbered(avformat_version())},
          {"libavcodec", numbered(avcodec_version())},
          {"libavutil", numbered(avutil_version())},
          {"libswscale", numbered(swscale_version())}};
}

UniqueDecoder makeDecoder(const AVStream* stream, const AVCodec* codec) {
  UniqueDecoder decoder(avcodec_alloc_context3(codec));
  if (decoder != nullptr && avcodec_parameters_to_context(decoder.get(), stream->codecpar) < 0) {
    decoder.reset();
  }
  return decoder;
}

bool openDecoder(AVCodecContext* context, const AVCodec* codec) {
  if (codec == nullptr) {
    return false;
  }
  context->max_pixels = kMaxPixels;
  context->thread_count = 1;
  if (slicesAreExact(context->codec_id)) {
    context->thread_type = FF_THREAD_SLICE;
    context->thread_count = static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
  }
  // Whole blocks: the priming of an encoder is not cut off.
  context->flags2 |= AV_CODEC_FLAG2_SKIP_MANUAL;
  return avcodec_open2(context, codec, nullptr) >= 0;
}

AVStream* openStreamDecoder(AVFormatContext* container, int streamIndex, AVMediaType type,
                            const AVCodec** codec, UniqueDecoder* decoder) {
  if (container == nullptr || streamIndex < 0 ||
      static_cast<unsigned>(streamIndex) >= container->nb_streams) {
    return nullptr;
  }
  AVStream* stream = container->streams[streamIndex];
  *codec = avcodec_find_decoder(stream->codecpar->codec_id);
  *decoder = makeDecoder(stream, *codec);
  const bool open =
      *decoder != nullptr && (*decoder)->codec_type == type && openDecoder(decoder->get(), *codec);
  return open ? stream : nullptr;
}

void flushDecoder(AVCodecContext* context) {
  avcodec_flush_buffers(context);
}

int decodeVideo(AVCodecContext* context, AVFrame* picture, bool* gotPicture,
                const AVPacket* packet) {
  *gotPicture = false;
  return decodePacket(context, packet, [&](AVFrame* received) {
    if (!*gotPicture) {
      av_frame_unref(picture);
      av_frame_move_ref(picture, received);
      *gotPicture = true;
    }
  });
}

AVFrame* borrowPicture(const AVFrame& picture) {
  AVFrame* borrowed = av_frame_alloc();
  if (borrowed == nullptr) {
    return nullptr;
  }
  std::copy(std::begin(picture.data), std::end(picture.data), borrowed->data);
  std::copy(std::begin(picture.linesize), std::end(picture.linesize), borrowed->linesize);
  borrowed->width = picture.width;
  borrowed->height = picture.height;
  borrowed->format = picture.format;
  borrowed->key_frame = picture.key_frame;
  borrowed->pict_type = picture.pict_type;
  borrowed->sample_aspect_ratio = picture.sample_aspect_ratio;
  borrowed->pts = picture.pts;
  borrowed->pkt_dts = picture.pkt_dts;
  borrowed->time_base = picture.time_base;
  borrowed->coded_picture_number = picture.coded_picture_number;
  borrowed->display_picture_number = picture.display_picture_number;
  borrowed->quality = picture.quality;
  borrowed->opaque = picture.opaque;
  borrowed->repeat_pict = picture.repeat_pict;
  borrowed->interlaced_frame = picture.interlaced_frame;
  borrowed->top_field_first = picture.top_field_first;
  borrowed->palette_has_changed = picture.palette_has_changed;
  borrowed->reordered_opaque = picture.reordered_opaque;
  borrowed->flags = picture.flags;
  borrowed->color_range = picture.color_range;
  borrowed->color_primaries = picture.color_primaries;
  borrowed->color_trc = picture.color_trc;
  borrowed->colorspace = picture.colorspace;
  borrowed->chroma_location = picture.chroma_location;
  borrowed->best_effort_timestamp = picture.best_effort_timestamp;
  borrowed->pkt_pos = picture.pkt_pos;
  borrowed->pkt_duration = picture.pkt_duration;
  borrowed->pkt_size = picture.pkt_size;
  borrowed->decode_error_flags = picture.decode_error_flags;
  borrowed->crop_top = picture.crop_top;
  borrowed->crop_bottom = picture.crop_bottom;
  borrowed->crop_left = picture.crop_left;
  borrowed->crop_right = picture.crop_right;
  return borrowed;
}

UniqueScaler makeScaler(int width, int height, int format) {
  const auto from = static_cast<AVPixelFormat>(format);
  if (av_pix_fmt_desc_get(from) == nullptr ||
      av_image_get_buffer_size(AV_PIX_FMT_BGR24, width, height, 1) <= 0) {
    return nullptr;
  }
  return UniqueScaler(sws_getContext(width, height, from, width, height, AV_PIX_FMT_BGR24,
                                     SWS_BICUBIC, nullptr, nullptr, nullptr));
}

bool hasPlanes(const AVFrame& picture) {
  const AVPixFmtDescriptor* description =
      av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
  if (description == nullptr) {
    return false;
  }
  const bool hasPalette =
      (description->flags & AV_PIX_FMT_FLAG_PAL) == 0 || picture.data[1] != nullptr;
  const auto* end = description->comp + description->nb_components;
  return hasPalette &&
         std::all_of(description->comp, end, [&](const AVComponentDescriptor& component) {
           return picture.data[component.plane] != nullptr &&
                  picture.linesize[component.plane] != 0;
         });
}

int scaleRows(SwsContext* scaler, const uint8_t* const source[], const int sourceStrides[],
              int first, int count, uint8_t* target, int stride) {
  uint8_t* const targets[4] = {target, nullptr, nullptr, nullptr};
  const int targetStrides[4] = {stride, 0, 0, 0};
  return sws_scale(scaler, source, sourceStrides, first, count, targets, targetStrides);
}

int deliveredSampleFormat(const AVCodecContext* context) {
  const AVSampleFormat packed = av_get_packed_sample_fmt(context->sample_fmt);
  const bool isFloat = packed == AV_SAMPLE_FMT_FLT || packed == AV_SAMPLE_FMT_DBL;
  return isFloat && !carriesFloatPcm(context->codec_id) ? AV_SAMPLE_FMT_S16 : packed;
}

int decodeAudio(AVCodecContext* context, int sampleFormat, uint8_t* output, int* outputBytes,
                const AVPacket* packet) {
  *outputBytes = 0;
  int blocks = 0;
  int delivered = 0;
  const int consumed = decodePacket(context, packet, [&](AVFrame* block) {
    if (blocks++ == 0) {
      delivered = deliverBlock(*block, sampleFormat, output);
    }
  });
  if (consumed < 0 || delivered < 0) {
    return std::min(consumed, delivered);
  }
  *outputBytes = delivered;
  return blocks;
}

}  // namespace qatester::ffmpeg
