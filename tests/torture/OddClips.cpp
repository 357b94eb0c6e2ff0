#include "torture/OddClips.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <limits>
#include <map>
#include <memory>
#include <stdexcept>

#include "support/Clips.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace qatest {

namespace {

void require(bool holds, const std::string& what) {
  if (!holds) {
    throw std::runtime_error("odd clip maker: " + what);
  }
}

VideoSpec picture(int frames = kOddFrames) {
  VideoSpec spec = ffv1(frames);
  spec.width = 48;
  spec.height = 32;
  return spec;
}

VideoSpec encoded(const std::string& encoder, int frames = kOddFrames) {
  VideoSpec spec;
  spec.encoder = encoder;
  spec.frames = frames;
  spec.width = 48;
  spec.height = 32;
  return spec;
}

VideoSpec sized(VideoSpec spec, int width, int height) {
  spec.width = width;
  spec.height = height;
  return spec;
}

/// Grey, brighter from frame to frame: even the largest picture takes few bytes.
VideoSpec flat(int width, int height) {
  VideoSpec spec = sized(ffv1(11, AV_PIX_FMT_YUV420P, {10, 1}), width, height);
  spec.pixel = [](int component, int, int, int frame) {
    return static_cast<uint8_t>(component == 0 ? kOddLuma + frame : 128);
  };
  return spec;
}

/// As long as the pictures.
AudioSpec sound(const std::string& encoder = "pcm_s16le", int channels = 2, int rate = 8000) {
  AudioSpec spec = audio(encoder, channels, static_cast<double>(kOddFrames) / kOddFps);
  spec.rate = rate;
  return spec;
}

/// The same value all the time, another one for each channel of each stream.
AudioSpec steady(int stream, int channels, int rate = 8000) {
  AudioSpec spec = sound("pcm_s16le", channels, rate);
  spec.sample = [=](int channel, int64_t) { return oddSample(stream, channel) / 32768.0; };
  return spec;
}

/// Pictures of H.264 that each come with their own packet.
VideoSpec h264(int frames = kOddFrames) {
  VideoSpec spec = h264WithBFrames(frames);
  spec.width = 48;
  spec.height = 32;
  spec.bFrames = 0;
  return spec;
}

// Bytes

void put(std::string& file, std::size_t at, uint64_t value, int width) {
  require(at + static_cast<std::size_t>(width) <= file.size(), "nothing there to change");
  for (int i = 0; i < width; ++i) {
    file[at + static_cast<std::size_t>(i)] = static_cast<char>(value >> (8 * (width - 1 - i)));
  }
}

uint32_t number(const std::string& file, std::size_t at) {
  uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    value = value << 8 | static_cast<uint8_t>(file.at(at + i));
  }
  return value;
}

/// Where the payload of an atom of a QuickTime file starts: `path` leads to it from the top, by the
/// first atom of each name.
std::size_t atom(const std::string& file, std::initializer_list<const char*> path) {
  std::size_t at = 0;
  std::size_t end = file.size();
  for (const char* name : path) {
    while (at + 8 <= end && file.compare(at + 4, 4, name) != 0) {
      at += std::max<std::size_t>(8, number(file, at));
    }
    require(at + 8 <= end, std::string("no atom ") + name);
    end = at + number(file, at);
    at += 8;
  }
  return at;
}

std::size_t mvhd(const std::string& file) {
  return atom(file, {"moov", "mvhd"});
}

std::size_t mdhd(const std::string& file) {
  return atom(file, {"moov", "trak", "mdia", "mdhd"});
}

std::size_t sampleTable(const std::string& file, const char* name) {
  return atom(file, {"moov", "trak", "mdia", "minf", "stbl", name});
}

/// Where `bytes` stand first.
std::size_t find(const std::string& file, const std::string& bytes, std::size_t from = 0) {
  const std::size_t at = file.find(bytes, from);
  require(at != std::string::npos, "bytes not found");
  return at;
}

/// Where the value of an element of a Matroska file starts, which is `width` bytes long.
std::size_t element(const std::string& file, const std::string& id, int width) {
  return find(file, id + static_cast<char>(0x80 | width)) + id.size() + 1;
}

using Make = std::function<void(const std::string& path)>;
using Patch = std::function<void(std::string& file)>;

Make clip(const ClipSpec& spec) {
  return [spec](const std::string& path) { makeClip(path, spec); };
}

/// A clip whose bytes are changed.
Make patched(const ClipSpec& spec, const Patch& patch) {
  return [=](const std::string& path) {
    makeClip(path, spec);
    std::string file = readFile(path);
    patch(file);
    writeFile(path, file);
  };
}

/// Clips one behind the other in one file, each with the times of its own.
Make joined(const std::vector<ClipSpec>& parts) {
  return [parts](const std::string& path) {
    std::string all;
    for (const ClipSpec& part : parts) {
      all += readFile(makeClip(path, part));
    }
    writeFile(path, all);
  };
}

/// A clip cut behind what stands before its pictures and sound: `end` tells where.
Make headerOnly(const ClipSpec& spec, const std::function<std::size_t(const std::string&)>& end) {
  return patched(spec, [end](std::string& file) { file.resize(end(file)); });
}

// Packets

struct Repacking {
  /// Changes a stream before the header is written.
  std::function<void(AVStream& stream)> stream = [](AVStream&) {};
  /// Changes a packet; false leaves it out.
  std::function<bool(AVPacket& packet)> packet = [](AVPacket&) { return true; };
  /// So many packets of a stream become one.
  int together = 1;
  /// A stream of another kind, which gets a packet of this text every second picture.
  AVMediaType extraType = AVMEDIA_TYPE_UNKNOWN;
  AVCodecID extraCodec = AV_CODEC_ID_NONE;
};

struct CloseInput {
  void operator()(AVFormatContext* container) const { avformat_close_input(&container); }
};
struct CloseOutput {
  void operator()(AVFormatContext* container) const {
    avio_closep(&container->pb);
    avformat_free_context(container);
  }
};
struct FreePacket {
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
using Packet = std::unique_ptr<AVPacket, FreePacket>;

/// Copies the packets of one file into another.
class Repacker {
 public:
  Repacker(const std::string& from, const std::string& to, const Repacking& how) : how_(how) {
    AVFormatContext* container = nullptr;
    require(avformat_open_input(&container, from.c_str(), nullptr, nullptr) >= 0, "cannot open");
    in_.reset(container);
    require(avformat_find_stream_info(container, nullptr) >= 0, "no streams");
    container = nullptr;
    avformat_alloc_output_context2(&container, nullptr, nullptr, to.c_str());
    require(container != nullptr, "no container for " + to);
    out_.reset(container);
    out_->flags |= AVFMT_FLAG_BITEXACT;
    out_->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;
    for (unsigned i = 0; i < in_->nb_streams; ++i) {
      AVStream* stream = avformat_new_stream(container, nullptr);
      avcodec_parameters_copy(stream->codecpar, in_->streams[i]->codecpar);
      stream->codecpar->codec_tag = 0;
      stream->time_base = in_->streams[i]->time_base;
      stream->avg_frame_rate = in_->streams[i]->avg_frame_rate;
      how_.stream(*stream);
    }
    if (how_.extraCodec != AV_CODEC_ID_NONE) {
      AVStream* stream = avformat_new_stream(container, nullptr);
      stream->codecpar->codec_type = how_.extraType;
      stream->codecpar->codec_id = how_.extraCodec;
      stream->time_base = {1, 1000};
    }
    waiting_.resize(in_->nb_streams);
    counts_.resize(in_->nb_streams);
    require(avio_open(&out_->pb, to.c_str(), AVIO_FLAG_WRITE) >= 0 &&
                avformat_write_header(container, nullptr) >= 0,
            "cannot write " + to);
  }

  void run() {
    const Packet packet(av_packet_alloc());
    while (av_read_frame(in_.get(), packet.get()) >= 0) {
      if (how_.packet(*packet)) {
        gather(*packet);
      }
      av_packet_unref(packet.get());
    }
    require(av_write_trailer(out_.get()) >= 0, "no trailer");
  }

 private:
  void gather(const AVPacket& packet) {
    const auto index = static_cast<std::size_t>(packet.stream_index);
    Packet& whole = waiting_[index];
    if (whole == nullptr) {
      whole.reset(av_packet_clone(&packet));
    } else {
      const int before = whole->size;
      require(av_grow_packet(whole.get(), packet.size) >= 0, "no memory");
      std::memcpy(whole->data + before, packet.data, static_cast<std::size_t>(packet.size));
    }
    if (++counts_[index] % how_.together == 0) {
      write(*whole);
      whole.reset();
    }
    if (how_.extraCodec != AV_CODEC_ID_NONE && index == 0 && counts_[0] % 2 == 1) {
      writeExtra();
    }
  }

  void write(AVPacket& packet) {
    av_packet_rescale_ts(&packet, in_->streams[packet.stream_index]->time_base,
                         out_->streams[packet.stream_index]->time_base);
    require(av_interleaved_write_frame(out_.get(), &packet) >= 0, "writing failed");
  }

  void writeExtra() {
    const std::string text = "Text " + std::to_string(counts_[0]);
    const Packet packet(av_packet_alloc());
    require(av_new_packet(packet.get(), static_cast<int>(text.size())) >= 0, "no memory");
    std::memcpy(packet->data, text.data(), text.size());
    const unsigned index = in_->nb_streams;
    packet->stream_index = static_cast<int>(index);
    packet->pts = counts_[0] * 1000 / kOddFps;
    packet->dts = packet->pts;
    packet->duration = 2 * 1000 / kOddFps;
    av_packet_rescale_ts(packet.get(), {1, 1000}, out_->streams[index]->time_base);
    require(av_interleaved_write_frame(out_.get(), packet.get()) >= 0, "writing failed");
  }

  Repacking how_;
  std::unique_ptr<AVFormatContext, CloseInput> in_;
  std::unique_ptr<AVFormatContext, CloseOutput> out_;
  std::vector<Packet> waiting_;
  std::vector<int> counts_;
};

/// A clip made as `first` (its extension), its packets copied.
Make repacked(const std::string& first, const ClipSpec& spec, const Repacking& how) {
  return [=](const std::string& path) {
    const std::string whole = makeClip(path + "." + first, spec);
    Repacker(whole, path, how).run();
    std::filesystem::remove(whole);
  };
}

/// A list of edits would say again how long the pictures last.
ClipSpec withoutEdits(ClipSpec spec) {
  spec.muxerOptions["use_editlist"] = "0";
  return spec;
}

/// Container times in units of 1 / `timeScale` seconds, `delta` of them for each picture.
Make stamped(uint32_t timeScale, uint32_t delta) {
  return patched(withoutEdits({.video = {picture()}}), [=](std::string& file) {
    put(file, mdhd(file) + 12, timeScale, 4);
    put(file, mdhd(file) + 16, uint64_t{delta} * kOddFrames, 4);
    put(file, sampleTable(file, "stts") + 12, delta, 4);
    put(file, mvhd(file) + 12, timeScale, 4);
    put(file, mvhd(file) + 16, uint64_t{delta} * kOddFrames, 4);
  });
}

/// The size that the container declares for its pictures.
Make declared(const VideoSpec& spec, int width, int height) {
  return patched({.video = {spec}}, [=](std::string& file) {
    // Behind the count of entries come the entry's size, name, references and 16 bytes.
    const std::size_t entry = sampleTable(file, "stsd") + 8;
    put(file, entry + 32, static_cast<uint64_t>(width), 2);
    put(file, entry + 34, static_cast<uint64_t>(height), 2);
  });
}

/// The duration that a Matroska file declares, in milliseconds.
Make lasting(double duration) {
  return patched({.video = {picture()}, .audio = {sound()}}, [=](std::string& file) {
    put(file, element(file, "\x44\x89", 8), std::bit_cast<uint64_t>(duration), 8);
  });
}

ClipSpec pictureAndSound() {
  return {.video = {picture()}, .audio = {sound()}};
}

VideoSpec formatted(VideoSpec spec, AVPixelFormat format) {
  spec.pixelFormat = format;
  return spec;
}

AudioSpec blocksOf(AudioSpec spec, int samples) {
  spec.samplesPerPacket = samples;
  return spec;
}

std::size_t behindClusterId(const std::string& file) {
  return find(file, "\x1F\x43\xB6\x75");
}

using Table = std::map<std::string, Make>;

void addTimes(Table& table) {
  // The rate is the time scale over the length of a picture.
  table["rate-one-in-11-days.mov"] = stamped(1, 1000000);
  table["rate-million.mov"] = stamped(1000000, 1);
  table["rate-no-length.mov"] = stamped(25, 0);
  table["rate-unknown.mkv"] = clip({.video = {[] {
                                      VideoSpec one = picture(1);
                                      one.declareRate = false;
                                      return one;
                                    }()}});
  table["duration-unknown.mkv"] = clip(withoutDuration(pictureAndSound()));
  table["duration-negative.mkv"] = lasting(-1000.0);
  table["duration-huge.mkv"] = lasting(1e18);
  table["duration-infinite.mkv"] = lasting(std::numeric_limits<double>::infinity());
  table["duration-no-number.mkv"] = lasting(std::numeric_limits<double>::quiet_NaN());
  table["duration-136-years.mov"] =
      patched(withoutEdits({.video = {picture()}}), [](std::string& file) {
        put(file, mdhd(file) + 12, 1, 4);
        put(file, mdhd(file) + 16, 0xffffffff, 4);
        put(file, mvhd(file) + 12, 1, 4);
        put(file, mvhd(file) + 16, 0xffffffff, 4);
      });
  table["times-backwards.ts"] =
      joined({{.video = {encoded("mpeg2video")}, .audio = {sound("mp2", 2, 16000)}},
              {.video = {encoded("mpeg2video")}, .audio = {sound("mp2", 2, 16000)}}});
  table["times-missing.h264"] = clip({.video = {h264()}});
  table["times-missing.m2v"] = clip({.video = {encoded("mpeg2video")}});
  table["times-huge.mkv"] = patched(pictureAndSound(), [](std::string& file) {
    // The time of the first cluster, of one byte, and the four that follow: its first block.
    const std::size_t cluster = behindClusterId(file);
    const std::size_t time = find(file, "\xE7\x81", cluster);
    put(file, time, 0xE788, 2);
    file.replace(time + 2, 1, std::string("\x7f\xff\xff\xff\xff\xff\xff\xff", 8));
  });
}

void addPictures(Table& table) {
  table["size-1x1.avi"] = clip({.video = {sized(encoded("rawvideo"), 1, 1)}});
  table["size-2x1.nut"] = clip({.video = {sized(encoded("rawvideo"), 2, 1)}});
  table["size-16384x16.mkv"] = clip({.video = {flat(16384, 16)}});
  table["size-16x16384.mkv"] = clip({.video = {flat(16, 16384)}});
  table["declared-0x0.mov"] = declared(h264(), 0, 0);
  table["declared-16384x16384.mov"] = declared(h264(), 16384, 16384);
  table["declared-30000x30000.mov"] = declared(h264(), 30000, 30000);
  table["declared-raw-0x0.mov"] =
      declared(formatted(encoded("rawvideo"), AV_PIX_FMT_UYVY422), 0, 0);
  table["declared-raw-30000x30000.mov"] =
      declared(formatted(encoded("rawvideo"), AV_PIX_FMT_UYVY422), 30000, 30000);
  table["declared-ffv1-30000x30000.mov"] = declared(picture(), 30000, 30000);
  // The first part is the shorter one, so that what the last one lasts leads behind the change.
  table["size-changes.ts"] = joined({{.video = {encoded("mpeg2video", kOddFirstPart)}},
                                     {.video = {sized(encoded("mpeg2video"), 96, 80)}}});
  table["size-changes-mpeg4.ts"] = joined(
      {{.video = {encoded("mpeg4", kOddFirstPart)}}, {.video = {sized(encoded("mpeg4"), 32, 16)}}});
  table["pixels-change.ts"] = joined(
      {{.video = {h264(kOddFirstPart)}}, {.video = {formatted(h264(), AV_PIX_FMT_YUV420P10)}}});
  table["chroma-changes.ts"] = joined(
      {{.video = {h264(kOddFirstPart)}}, {.video = {formatted(h264(), AV_PIX_FMT_YUV444P)}}});
}

void addSound(Table& table) {
  for (const int channels : oddChannelCounts()) {
    // Some 38,000 bytes: nine blocks of the 4096 that are read of a WAV at a time.
    const int rate = std::max(1000, 16000 / channels);
    table["channels-" + std::to_string(channels) + ".wav"] =
        clip({.audio = {steady(0, channels, rate)}});
  }
  // Of a codec that nobody knows, so that no decoder finds out.
  table["channels-65535.wav"] = patched({.audio = {sound()}}, [](std::string& file) {
    const std::size_t format = find(file, "fmt ") + 8;
    put(file, format, 0xffff, 2);
    put(file, format + 2, 0xffff, 2);
  });
  Repacking crowded;
  crowded.stream = [](AVStream& stream) { stream.codecpar->ch_layout.nb_channels = 30000000; };
  const Make crowd = repacked("nut", {.audio = {sound()}}, crowded);
  table["channels-30-million.mkv"] = [=](const std::string& path) {
    crowd(path);
    std::string file = readFile(path);
    file[find(file, "INT/LIT")] = 'X';
    writeFile(path, file);
  };
  // Instants of two channels and two bytes: a block of the library's holds 192,000 bytes.
  AudioSpec large = blocksOf(sound(), 60000);
  large.seconds = 15.0;
  table["blocks-240000-bytes.nut"] = clip({.audio = {large}});
  AudioSpec fits = blocksOf(sound(), 48000);
  fits.seconds = 12.0;
  table["blocks-192000-bytes.nut"] = clip({.audio = {fits}});
  table["channels-grow.mkv"] =
      clip({.video = {picture()}, .audio = {steady(0, 1), steady(1, 2), steady(2, 6)}});
  table["channels-shrink.mkv"] =
      clip({.video = {picture()}, .audio = {steady(0, 6), steady(1, 2), steady(2, 1)}});
  table["channels-change.aac"] =
      joined({{.audio = {sound("aac", 2, 16000)}}, {.audio = {sound("aac", 1, 16000)}}});
  table["rate-changes.aac"] =
      joined({{.audio = {sound("aac", 2, 16000)}}, {.audio = {sound("aac", 2, 48000)}}});
  table["channels-change.flac"] =
      joined({{.audio = {sound("flac", 2)}}, {.audio = {sound("flac", 6)}}});
  table["rate-changes.flac"] =
      joined({{.audio = {sound("flac", 2)}}, {.audio = {sound("flac", 2, 48000)}}});
}

void addPackets(Table& table) {
  VideoSpec reordered = encoded("libxvid");
  reordered.bFrames = 1;
  table["packed-pictures.avi"] = clip({.video = {reordered}});
  Repacking four;
  four.together = 4;
  AudioSpec longer = sound("mp2", 2, 16000);
  longer.seconds = 3.0;
  table["four-blocks-a-packet.nut"] = repacked("nut", {.audio = {longer}}, four);
  table["four-pictures-a-packet.nut"] = repacked("nut", {.video = {h264(2 * kOddFrames)}}, four);
  Repacking adtsPackets;
  adtsPackets.together = 4;
  adtsPackets.stream = [](AVStream& stream) { stream.codecpar->extradata_size = 0; };
  table["four-blocks-adts.nut"] = repacked("aac", {.audio = {sound("aac", 2, 16000)}}, adtsPackets);
}

Repacking without(AVMediaType type) {
  auto index = std::make_shared<int>(-1);
  Repacking how;
  how.stream = [=](AVStream& stream) {
    if (stream.codecpar->codec_type == type) {
      *index = stream.index;
    }
  };
  how.packet = [=](AVPacket& packet) { return packet.stream_index != *index; };
  return how;
}

void addStreams(Table& table) {
  table["no-pictures.mkv"] = repacked("nut", pictureAndSound(), without(AVMEDIA_TYPE_VIDEO));
  table["no-sound.mkv"] = repacked("nut", pictureAndSound(), without(AVMEDIA_TYPE_AUDIO));
  table["no-sound.mov"] = repacked("nut", pictureAndSound(), without(AVMEDIA_TYPE_AUDIO));
  const ClipSpec transport{.video = {encoded("mpeg2video")}, .audio = {sound("mp2", 2, 16000)}};
  table["no-sound.ts"] = repacked("nut", transport, without(AVMEDIA_TYPE_AUDIO));

  Repacking cover;
  cover.stream = [](AVStream& stream) {
    if (stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO) {
      stream.disposition |= AV_DISPOSITION_ATTACHED_PIC;
    }
  };
  const ClipSpec covered{.video = {formatted(encoded("mjpeg", 1), AV_PIX_FMT_YUVJ420P)},
                         .audio = {sound("aac", 2, 16000)},
                         .audioFirst = true};
  table["cover.m4a"] = repacked("nut", covered, cover);

  Repacking subtitles;
  subtitles.extraType = AVMEDIA_TYPE_SUBTITLE;
  subtitles.extraCodec = AV_CODEC_ID_SUBRIP;
  table["subtitles.mkv"] = repacked("nut", pictureAndSound(), subtitles);
  Repacking data;
  data.extraType = AVMEDIA_TYPE_DATA;
  data.extraCodec = AV_CODEC_ID_SMPTE_KLV;
  table["data.ts"] = repacked("nut", transport, data);
}

void addHeaders(Table& table) {
  table["header.mkv"] = headerOnly(pictureAndSound(), behindClusterId);
  table["header.wav"] = headerOnly({.audio = {sound()}},
                                   [](const std::string& file) { return find(file, "data") + 8; });
  table["header.avi"] =
      headerOnly(pictureAndSound(), [](const std::string& file) { return find(file, "movi") + 4; });
  ClipSpec front = pictureAndSound();
  front.muxerOptions = {{"movflags", "faststart"}};
  table["header.mov"] =
      headerOnly(front, [](const std::string& file) { return atom(file, {"mdat"}); });
  // The marker, the stream's properties and nothing else.
  table["header.flac"] =
      headerOnly({.audio = {sound("flac")}}, [](const std::string&) { return std::size_t{42}; });
}

const Table& oddClips() {
  static const Table clips = [] {
    Table table;
    addTimes(table);
    addPictures(table);
    addSound(table);
    addPackets(table);
    addStreams(table);
    addHeaders(table);
    return table;
  }();
  return clips;
}

}  // namespace

int oddSample(int stream, int channel) {
  return 100 * (1 + stream * 10 + channel);
}

std::vector<int> oddChannelCounts() {
  return {1, 2, 3, 5, 6, 7, 8, 16, 17, 32, 63, 64};
}

std::vector<std::string> oddClipNames() {
  std::vector<std::string> names;
  for (const auto& entry : oddClips()) {
    names.push_back(entry.first);
  }
  return names;
}

std::string makeOddClip(const std::string& folder, const std::string& name) {
  const std::string path = (std::filesystem::path(folder) / name).string();
  oddClips().at(name)(path);
  return path;
}

}  // namespace qatest
