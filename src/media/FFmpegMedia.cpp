#include "media/FFmpegMedia.h"

#include <algorithm>
#include <limits>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/dict.h>
#include <libavutil/mathematics.h>
#include <libavutil/pixdesc.h>
}

namespace qatester::ffmpeg {

namespace {

constexpr int kTimecodeTrack = MKTAG('t', 'm', 'c', 'd');

std::string textOf(const char* text) {
  return text != nullptr ? text : "";
}

std::string tagOf(const AVDictionary* tags, const char* key) {
  const AVDictionaryEntry* entry = av_dict_get(tags, key, nullptr, 0);
  return entry != nullptr ? textOf(entry->value) : "";
}

ProgrammeRatio toRatio(AVRational value) {
  return value.num > 0 && value.den > 0 ? ProgrammeRatio{value.num, value.den} : ProgrammeRatio{};
}

/// Of frames: some containers (GXF) count the average by fields.
ProgrammeRatio averageRateOf(const AVStream& stream) {
  const AVRational average = stream.avg_frame_rate;
  const AVRational base = stream.r_frame_rate;
  const bool ofFields = base.num > 0 && base.den > 0 && average.den > 0 &&
                        av_cmp_q(average, av_mul_q(base, AVRational{2, 1})) == 0;
  return toRatio(ofFields ? base : average);
}

bool isCover(const AVStream& stream) {
  return (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
}

std::string kindOf(const AVStream& stream) {
  switch (stream.codecpar->codec_type) {
    case AVMEDIA_TYPE_VIDEO:
      return isCover(stream) ? "cover" : "video";
    case AVMEDIA_TYPE_AUDIO:
      return "audio";
    case AVMEDIA_TYPE_SUBTITLE:
      return "subtitle";
    case AVMEDIA_TYPE_DATA:
      return "data";
    default:
      return "other";
  }
}

/// In lowest terms, such as "16:9"; empty without a value.
std::string aspectOf(int64_t width, int64_t height) {
  if (width <= 0 || height <= 0) {
    return "";
  }
  AVRational lowest{};
  av_reduce(&lowest.num, &lowest.den, width, height, std::numeric_limits<int32_t>::max());
  return std::to_string(lowest.num) + ":" + std::to_string(lowest.den);
}

std::string chromaOf(const AVPixFmtDescriptor& format) {
  if ((format.flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_BAYER)) != 0) {
    return "RGB";
  }
  if (format.nb_components < 3) {
    return "grey";
  }
  struct Subsampling {
    int width;
    int height;
    const char* name;
  };
  constexpr Subsampling kKnown[] = {{0, 0, "4:4:4"}, {1, 0, "4:2:2"}, {1, 1, "4:2:0"},
                                    {2, 0, "4:1:1"}, {2, 2, "4:1:0"}, {0, 1, "4:4:0"}};
  for (const Subsampling& known : kKnown) {
    if (format.log2_chroma_w == known.width && format.log2_chroma_h == known.height) {
      return known.name;
    }
  }
  return "";
}

std::string scanOf(AVFieldOrder order) {
  switch (order) {
    case AV_FIELD_PROGRESSIVE:
      return "progressive";
    case AV_FIELD_TT:
    case AV_FIELD_TB:
      return "tff";
    case AV_FIELD_BB:
    case AV_FIELD_BT:
      return "bff";
    default:
      return "unknown";
  }
}

QAVideoFacts videoFactsOf(AVFormatContext* container, AVStream* stream) {
  const AVCodecParameters& coded = *stream->codecpar;
  QAVideoFacts facts;
  facts.width = coded.width;
  facts.height = coded.height;
  const AVRational pixel = av_guess_sample_aspect_ratio(container, stream, nullptr);
  facts.sampleAspect = aspectOf(pixel.num, pixel.den);
  facts.displayAspect =
      aspectOf(int64_t{pixel.num} * coded.width, int64_t{pixel.den} * coded.height);
  const ProgrammeRatio rate = averageRateOf(*stream);
  if (rate.numerator > 0) {
    facts.frameRate = static_cast<double>(rate.numerator) / rate.denominator;
    facts.rateNumerator = rate.numerator;
    facts.rateDenominator = rate.denominator;
  }
  const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(coded.format));
  if (format != nullptr) {
    facts.pixelFormat = format->name;
    facts.bits = format->comp[0].depth;
    facts.chroma = chromaOf(*format);
  }
  facts.scan = scanOf(coded.field_order);
  if (coded.color_space != AVCOL_SPC_UNSPECIFIED && coded.color_space != AVCOL_SPC_RESERVED) {
    facts.matrix = textOf(av_color_space_name(coded.color_space));
  }
  if (coded.color_primaries != AVCOL_PRI_UNSPECIFIED &&
      coded.color_primaries != AVCOL_PRI_RESERVED && coded.color_primaries != AVCOL_PRI_RESERVED0) {
    facts.primaries = textOf(av_color_primaries_name(coded.color_primaries));
  }
  if (coded.color_trc != AVCOL_TRC_UNSPECIFIED && coded.color_trc != AVCOL_TRC_RESERVED &&
      coded.color_trc != AVCOL_TRC_RESERVED0) {
    facts.transfer = textOf(av_color_transfer_name(coded.color_trc));
  }
  if (coded.color_range == AVCOL_RANGE_MPEG) {
    facts.range = "video";
  } else if (coded.color_range == AVCOL_RANGE_JPEG) {
    facts.range = "full";
  }
  return facts;
}

std::string layoutName(const AVChannelLayout& layout) {
  char name[256] = {};
  return av_channel_layout_describe(&layout, name, sizeof name) > 0 ? name : "";
}

std::vector<std::string> namesOfChannels(const AVChannelLayout& layout) {
  std::vector<std::string> names;
  if (layout.order == AV_CHANNEL_ORDER_UNSPEC) {
    return names;
  }
  for (int i = 0; i < layout.nb_channels; ++i) {
    const AVChannel channel =
        av_channel_layout_channel_from_index(&layout, static_cast<unsigned>(i));
    char name[32] = {};
    names.emplace_back(av_channel_name(name, sizeof name, channel) > 0 ? name : "");
  }
  return names;
}

QAAudioFacts audioFactsOf(const AVCodecParameters& coded) {
  QAAudioFacts facts;
  facts.sampleRate = coded.sample_rate;
  facts.channels = coded.ch_layout.nb_channels;
  facts.layoutDeclared =
      coded.ch_layout.order != AV_CHANNEL_ORDER_UNSPEC && coded.ch_layout.nb_channels > 0;
  if (facts.layoutDeclared) {
    facts.layout = layoutName(coded.ch_layout);
    facts.channelNames = namesOfChannels(coded.ch_layout);
  } else if (facts.channels > 0) {
    AVChannelLayout usual{};
    av_channel_layout_default(&usual, facts.channels);
    facts.layout = layoutName(usual);
    av_channel_layout_uninit(&usual);
  }
  facts.bits = av_get_bits_per_sample(coded.codec_id);
  if (facts.bits == 0) {
    facts.bits = coded.bits_per_raw_sample;
  }
  facts.sampleFormat = textOf(av_get_sample_fmt_name(static_cast<AVSampleFormat>(coded.format)));
  return facts;
}

QAStreamFacts streamFactsOf(AVFormatContext* container, AVStream* stream) {
  const AVCodecParameters& coded = *stream->codecpar;
  QAStreamFacts facts;
  facts.index = stream->index;
  facts.kind = kindOf(*stream);
  if (coded.codec_id != AV_CODEC_ID_NONE) {
    facts.codec = avcodec_get_name(coded.codec_id);
    facts.profile = textOf(avcodec_profile_name(coded.codec_id, coded.profile));
  }
  facts.bitRate = std::max<int64_t>(coded.bit_rate, 0);
  facts.language = tagOf(stream->metadata, "language");
  facts.title = tagOf(stream->metadata, "title");
  const double unit = av_q2d(stream->time_base);
  if (stream->start_time != AV_NOPTS_VALUE) {
    facts.startSeconds = static_cast<double>(stream->start_time) * unit -
                         static_cast<double>(startMicroseconds(container)) / AV_TIME_BASE;
  }
  if (stream->duration != AV_NOPTS_VALUE && stream->duration > 0) {
    facts.durationSeconds = static_cast<double>(stream->duration) * unit;
  }
  if (coded.codec_type == AVMEDIA_TYPE_VIDEO) {
    facts.video = videoFactsOf(container, stream);
  } else if (coded.codec_type == AVMEDIA_TYPE_AUDIO) {
    facts.audio = audioFactsOf(coded);
  }
  return facts;
}

/// Streams without a container, whose demultiplexers count pictures rather than read times.
bool isRaw(const AVInputFormat& format) {
  return format.raw_codec_id != AV_CODEC_ID_NONE || (format.flags & AVFMT_NOTIMESTAMPS) != 0;
}

void addTimecode(const AVDictionary* tags, const char* source,
                 std::vector<DeclaredTimecode>* timecodes) {
  const std::string text = tagOf(tags, "timecode");
  const bool known = std::any_of(timecodes->begin(), timecodes->end(),
                                 [&](const DeclaredTimecode& one) { return one.text == text; });
  if (!text.empty() && !known) {
    timecodes->push_back({text, source});
  }
}

/// A demultiplexer may repeat the timecode of a track in the tags of other streams: each text is
/// listed once, from its nearest source.
std::vector<DeclaredTimecode> timecodesOf(const AVFormatContext& container, int videoStream) {
  std::vector<DeclaredTimecode> timecodes;
  for (unsigned i = 0; i < container.nb_streams; ++i) {
    const AVStream& stream = *container.streams[i];
    if (stream.codecpar->codec_type == AVMEDIA_TYPE_DATA &&
        static_cast<int>(stream.codecpar->codec_tag) == kTimecodeTrack) {
      addTimecode(stream.metadata, "track", &timecodes);
    }
  }
  const bool isMxf = std::string(container.iformat->name) == "mxf";
  const char* source = isMxf ? "MXF" : "tag";
  if (videoStream >= 0) {
    addTimecode(container.streams[videoStream]->metadata, source, &timecodes);
  }
  addTimecode(container.metadata, source, &timecodes);
  return timecodes;
}

}  // namespace

int64_t startMicroseconds(const AVFormatContext* container) {
  return container->start_time != AV_NOPTS_VALUE ? container->start_time : 0;
}

int64_t fileBytes(const AVFormatContext* container) {
  return container->pb != nullptr ? std::max<int64_t>(avio_size(container->pb), 0) : 0;
}

int64_t filePosition(const AVFormatContext* container) {
  return container->pb != nullptr ? std::max<int64_t>(avio_tell(container->pb), 0) : 0;
}

std::shared_ptr<const SoundLayout> layoutOf(const AVFrame& block) {
  return std::make_shared<const SoundLayout>(
      SoundLayout{block.ch_layout.nb_channels, namesOfChannels(block.ch_layout)});
}

bool hasSameLayout(const AVFrame& block, const AVFrame& other) {
  return av_channel_layout_compare(&block.ch_layout, &other.ch_layout) == 0;
}

ProgrammeFacts readProgrammeFacts(AVFormatContext* container) {
  ProgrammeFacts facts;
  facts.media.container = container->iformat->name;
  const bool hasDuration = container->duration != AV_NOPTS_VALUE && container->duration > 0;
  if (hasDuration) {
    facts.media.durationSeconds = static_cast<double>(container->duration) / AV_TIME_BASE;
  }
  const bool estimated = container->duration_estimation_method == AVFMT_DURATION_FROM_BITRATE ||
                         container->duration_estimation_method == AVFMT_DURATION_FROM_PTS;
  facts.durationDeclared = hasDuration && !estimated;
  facts.clockStart = static_cast<double>(startMicroseconds(container)) / AV_TIME_BASE;
  for (unsigned i = 0; i < container->nb_streams; ++i) {
    AVStream* stream = container->streams[i];
    facts.media.streams.push_back(streamFactsOf(container, stream));
    ProgrammeStream timing;
    timing.timeBase = toRatio(stream->time_base);
    timing.averageRate = averageRateOf(*stream);
    timing.baseRate = toRatio(stream->r_frame_rate);
    timing.declaredFrames = std::max<int64_t>(stream->nb_frames, 0);
    timing.hasTimes = !isRaw(*container->iformat);
    const AVCodecDescriptor* codec = avcodec_descriptor_get(stream->codecpar->codec_id);
    timing.lossless = codec != nullptr && (codec->props & AV_CODEC_PROP_LOSSLESS) != 0 &&
                      (codec->props & AV_CODEC_PROP_LOSSY) == 0;
    facts.streams.push_back(timing);
    const std::string& kind = facts.media.streams.back().kind;
    if (kind == "video" && facts.videoStream < 0) {
      facts.videoStream = static_cast<int>(i);
    } else if (kind == "audio") {
      facts.audioStreams.push_back(static_cast<int>(i));
    }
  }
  facts.timecodes = timecodesOf(*container, facts.videoStream);
  if (!facts.timecodes.empty()) {
    facts.media.startTimecode = facts.timecodes.front().text;
  }
  return facts;
}

}  // namespace qatester::ffmpeg
