// How much memory the client takes at most, whatever a file holds or declares.

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "support/Clips.h"
#include "support/Process.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace {

using namespace qatest;

constexpr int64_t kMega = 1'000'000;
constexpr int64_t kQueueLimitBytes = 5 * kMega;
/// Of a queued packet beside its payload: four allocations (node, reference, buffer, payload), each
/// with up to 80 bytes of alignment and book-keeping, the structures, and padding.
constexpr int64_t kPacketCost = 640;
/// What an allocator keeps, and indexes of containers.
constexpr int64_t kSlack = 12 * kMega;

/// What one process of the client had at most, in bytes.
int64_t peakOf(const TempDir& folder, const std::vector<std::string>& arguments) {
  const std::string peak = folder.file("peak");
  Command command{QATESTER_MEASURED_CLIENT, arguments};
  command.environment = {{"QATESTER_PEAK_FILE", peak}};
  const Finished end = Process(command).wait();
  EXPECT_TRUE(end.code >= 0 && end.code <= 2) << end.code << end.out << end.err;
  const int64_t bytes = std::stoll("0" + readFile(peak)) * 1024;
  EXPECT_GT(bytes, kMega);
  std::filesystem::remove(peak);
  return bytes;
}

VideoSpec noise(int frames) {
  VideoSpec spec = ffv1(frames);
  spec.width = 16;
  spec.height = 16;
  spec.pixel = [](int component, int x, int y, int frame) {
    return static_cast<uint8_t>(x < 2 ? 16 + (x * 37 + y * 59 + component * 83 + frame * 101) % 200
                                      : 100);
  };
  return spec;
}

AudioSpec slowSound(double seconds) {
  AudioSpec spec = audio("pcm_u8", 2, seconds);
  spec.rate = 500;
  return spec;
}

struct Looped {
  std::string file;
  /// Of all packets of pictures.
  int64_t pictureBytes = 0;
  int64_t pictures = 0;
};

/// The packets of a short clip written over and over until `seconds` are full.
Looped loop(const std::string& source, const std::string& target, int64_t seconds) {
  AVFormatContext* in = nullptr;
  AVFormatContext* out = nullptr;
  Looped looped{target};
  EXPECT_GE(avformat_open_input(&in, source.c_str(), nullptr, nullptr), 0);
  EXPECT_GE(avformat_alloc_output_context2(&out, nullptr, nullptr, target.c_str()), 0);
  std::vector<std::vector<AVPacket*>> packets(in->nb_streams);
  for (unsigned i = 0; i < in->nb_streams; ++i) {
    AVStream* stream = avformat_new_stream(out, nullptr);
    avcodec_parameters_copy(stream->codecpar, in->streams[i]->codecpar);
    stream->avg_frame_rate = in->streams[i]->avg_frame_rate;
    stream->time_base = {1, 1000};
  }
  AVPacket* read = av_packet_alloc();
  while (av_read_frame(in, read) >= 0) {
    packets[static_cast<std::size_t>(read->stream_index)].push_back(av_packet_clone(read));
    av_packet_unref(read);
  }
  av_packet_free(&read);
  EXPECT_GE(avio_open(&out->pb, target.c_str(), AVIO_FLAG_WRITE), 0);
  EXPECT_GE(avformat_write_header(out, nullptr), 0);
  std::vector<int64_t> next(packets.size());
  std::vector<std::size_t> taken(packets.size());
  for (;;) {
    const std::size_t stream = next[0] <= next[1] ? 0 : 1;
    if (next[stream] >= seconds * 1000) {
      break;
    }
    const AVPacket* packet = packets[stream][taken[stream]++ % packets[stream].size()];
    AVPacket* copy = av_packet_clone(packet);
    copy->pts = copy->dts = next[stream];
    next[stream] += packet->duration;
    if (stream == 0) {
      looped.pictureBytes += packet->size;
      ++looped.pictures;
    }
    EXPECT_GE(av_write_frame(out, copy), 0);
    av_packet_free(&copy);
  }
  av_write_trailer(out);
  avio_closep(&out->pb);
  avformat_free_context(out);
  for (auto& list : packets) {
    for (AVPacket* packet : list) {
      av_packet_free(&packet);
    }
  }
  avformat_close_input(&in);
  return looped;
}

TEST(PeakMemory, DoesNotGrowWithTheLengthOfAFile) {
  const TempDir folder;
  // Five packets of 1024 samples each.
  const std::string seed = makeClip(folder, "seed.mkv", {{noise(64)}, {slowSound(10.24)}});
  const Looped brief = loop(seed, folder.file("brief.mkv"), 10);
  const Looped full = loop(seed, folder.file("full.mkv"), 2 * 60 * 60);
  EXPECT_EQ(full.pictures, 2 * 60 * 60 * 25);
  EXPECT_GT(full.pictureBytes, 4 * kQueueLimitBytes);
  EXPECT_LT(std::filesystem::file_size(full.file), 60 * 1'000'000U);

  const int64_t pictureBytes = full.pictureBytes / full.pictures;
  const int64_t queue = kQueueLimitBytes / pictureBytes * (pictureBytes + kPacketCost);
  const std::string settings = folder.file("qa.settings");
  writeFile(settings, "LevelFrameChecks=1000000\n");
  struct Row {
    const char* pauses;
    const char* checks;
  };
  for (const Row& row : {Row{"ready", "valid,frame-rate,timecode,levels"},
                         Row{"fixed", "valid,frame-rate,pulldown,chroma"}}) {
    SCOPED_TRACE(row.pauses);
    const auto peak = [&](const Looped& looped) {
      return peakOf(folder, {"--pauses", row.pauses, "--checks", row.checks, "--settings", settings,
                             looped.file});
    };
    const int64_t grown = peak(full) - peak(brief);
    RecordProperty(std::string("grownBytes.") + row.pauses, std::to_string(grown));
    EXPECT_LT(grown, queue + kSlack);
    // Of twelve pictures of 16 times 16 with half as many chroma samples nothing is seen.
    EXPECT_LT(grown, kQueueLimitBytes + 12 * 16 * 16 * 3 / 2 + 64 * kMega);
  }
}

std::string bigEndian(uint64_t value, int bytes) {
  std::string text;
  for (int i = bytes - 1; i >= 0; --i) {
    text += static_cast<char>(value >> (8 * i));
  }
  return text;
}

/// `content` with `value` written `skip` bytes behind each `mark`.
std::string patched(std::string content, const std::string& mark, int skip,
                    const std::string& value) {
  std::size_t at = content.find(mark);
  EXPECT_NE(at, std::string::npos) << mark;
  for (; at != std::string::npos; at = content.find(mark, at + 1)) {
    content.replace(at + mark.size() + static_cast<std::size_t>(skip), value.size(), value);
  }
  return content;
}

/// What a file declares, beside what it holds.
struct Claim {
  const char* what;
  std::string file;
};

TEST(PeakMemory, DoesNotGrowWithWhatAFileDeclares) {
  const TempDir folder;
  VideoSpec picture = ffv1(30);
  picture.width = 256;  // in two bytes, as all that is claimed below
  picture.height = 256;
  picture.pixel = [](int, int, int, int frame) { return static_cast<uint8_t>(16 + frame); };
  const ClipSpec spec{{picture}, {audio("pcm_s16le", 2, 1.2)}};
  const std::string honest = makeClip(folder, "honest.mov", spec);
  const std::string movie = readFile(honest);
  const std::string matroska = readFile(makeClip(folder, "honest.mkv", spec));

  const auto claim = [&](const char* what, const std::string& name, const std::string& content) {
    writeFile(folder.file(name), content);
    return Claim{what, folder.file(name)};
  };
  // Sides of a picture: in an entry of a sample table, and in elements of their own.
  const auto wideMovie = [&](uint64_t side) {
    return patched(movie, "FFV1", 24, bigEndian(side, 2) + bigEndian(side, 2));
  };
  const auto wideMatroska = [&](uint64_t side) {
    const std::string elements("\xb0\x82\x01\x00\xba\x82\x01\x00", 8);
    return patched(matroska, elements, -8,
                   "\xb0\x82" + bigEndian(side, 2) + "\xba\x82" + bigEndian(side, 2));
  };
  // Lengths: 2^31 - 1 units of the time scale, and milliseconds as a double, 864e6 of them.
  const std::string longest = bigEndian(0x7fffffff, 4);
  const std::string longMovie = patched(
      patched(patched(movie, "mvhd", 16, longest), "tkhd", 20, longest), "mdhd", 16, longest);
  const std::string longMatroska =
      patched(matroska, "\x44\x89\x88", 0, bigEndian(0x41c9bfcc00000000, 8));
  const std::vector<Claim> claims = {
      claim("900 million pixels", "30000.mov", wideMovie(30000)),
      claim("900 million pixels", "30000.mkv", wideMatroska(30000)),
      claim("256 million pixels", "16000.mov", wideMovie(16000)),
      claim("256 million pixels", "16000.mkv", wideMatroska(16000)),
      claim("24 days", "long.mov", longMovie),
      claim("10 days", "long.mkv", longMatroska),
  };

  const std::string settings = folder.file("qa.settings");
  std::string all = "QATesterSlateSeconds=0\n";
  for (const char* check : {"Chroma", "Field", "FrameRate", "Gamut", "PullDown", "Tearing",
                            "Transition", "Level", "Loudness", "Mono", "Phase"}) {
    all += std::string(check) + "FrameChecks=2000000000\n";
  }
  writeFile(settings, all);
  for (const bool displays : {false, true}) {
    std::vector<std::string> arguments{"-q", "--settings", settings};
    if (displays) {
      arguments.insert(arguments.end(), {"--checks", "tearing,transitions,chroma,mono",
                                         "--displays", folder.file("shots")});
    }
    arguments.push_back(honest);
    const int64_t expected = peakOf(folder, arguments);
    for (const Claim& one : claims) {
      SCOPED_TRACE(one.file + ": " + one.what + (displays ? ", with displays" : ""));
      arguments.back() = one.file;
      EXPECT_LT(peakOf(folder, arguments), expected + kSlack);
    }
  }
}

}  // namespace
