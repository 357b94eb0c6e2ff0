// Writes inputs for each fuzz target to start from: `MakeSeeds FOLDER` makes FOLDER/TARGET/...

#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

#include "support/Clips.h"
#include "support/TempDir.h"

using namespace qatest;

namespace {

namespace fs = std::filesystem;

/// The last byte of a media file's seed: read through the streams, tested by a check, whose number
/// is in the lowest bits, or by all at once.
constexpr int kStreams = 0;
constexpr int kFirstCheck = 128;
constexpr int kChecks = 16;
constexpr int kAtOnce = 128 + 32;

VideoSpec tiny(VideoSpec spec, int frames = 5) {
  spec.width = 32;
  spec.height = 16;
  spec.frames = frames;
  return spec;
}

VideoSpec plain(const std::string& encoder, AVPixelFormat format) {
  VideoSpec spec;
  spec.encoder = encoder;
  spec.pixelFormat = format;
  return tiny(spec);
}

AudioSpec brief(const std::string& encoder, int channels = 2) {
  AudioSpec spec = audio(encoder, channels, 0.02);
  spec.samplesPerPacket = 96;
  return spec;
}

std::vector<ClipKind> clips() {
  const VideoSpec lossless = tiny(ffv1());
  VideoSpec interlaced = tiny(mpeg2WithBFrames());
  interlaced.interlaced = true;
  return {
      {"av.mp4", {{tiny(h264WithBFrames(), 6)}, {brief("aac")}}},
      {"av.mov", {{lossless}, {brief("pcm_s16le")}}},
      {"av.mkv", {{lossless}, {brief("flac")}}},
      {"av.avi", {{plain("mjpeg", AV_PIX_FMT_YUVJ420P)}, {brief("pcm_u8")}}},
      {"av.ts", {{interlaced}, {brief("mp2")}}},
      {"av.mxf", {{tiny(mpeg2WithBFrames())}, {brief("pcm_s16le")}}},
      {"mono.mkv", {{tiny(ffv1(5, AV_PIX_FMT_YUV422P))}, {brief("pcm_s32le", 1)}}},
      {"four.mov", {{tiny(ffv1(5, AV_PIX_FMT_YUV444P))}, audioStreams(4, brief("pcm_s24le", 1))}},
      {"eight.mkv", {{lossless}, audioStreams(8, brief("pcm_s16le", 1))}},
      {"deep.mov", {{tiny(proRes())}, {brief("pcm_s16be")}}},
      {"long.nut", {{tiny(ffv1(), 40)}, {brief("pcm_s16le")}}},
      {"mpeg4.avi", {{plain("mpeg4", AV_PIX_FMT_YUV420P)}, {brief("ac3")}}},
      {"raw.nut", {{plain("rawvideo", AV_PIX_FMT_YUV422P)}, {}}},
      {"only.wav", {{}, {brief("pcm_s16le")}}},
      {"eight.wav", {{}, {brief("pcm_s32le", 8)}}},
      {"float.wav", {{}, {brief("pcm_f32le")}}},
      {"adpcm.wav", {{}, {brief("adpcm_ms")}}},
      {"only.flac", {{}, {brief("flac", 1)}}},
      {"only.h264", {{tiny(h264WithBFrames(), 6)}, {}}},
      {"no-duration.mkv", withoutDuration({{lossless}, {brief("pcm_s16le")}})},
  };
}

void write(const fs::path& folder, const std::string& name, const std::string& content) {
  fs::create_directories(folder);
  writeFile((folder / name).string(), content);
}

void makeFiles(const fs::path& folder) {
  const TempDir scratch;
  int check = 0;
  for (const ClipKind& clip : clips()) {
    const std::string content = readFile(makeClip(scratch, clip.fileName, clip.spec));
    write(folder, clip.fileName, content + static_cast<char>(kStreams));
    for (int i = 0; i < 3; ++i, ++check) {
      write(folder, clip.fileName + "-" + std::to_string(i),
            content + static_cast<char>(kFirstCheck + check % kChecks));
    }
    write(folder, clip.fileName + "-all", content + static_cast<char>(kAtOnce));
  }
}

void makeSettings(const fs::path& folder) {
  write(folder, "empty", "");
  write(folder, "typical",
        "# colours\nChromaRGBMin=-5\nChromaRGBMax=300\n\nTearingThreshold=0.25\n"
        "MonoSingleSampleThreshold=0.02\nPhaseSampleOffsetThreshold=12\nQATesterSlateSeconds=0\n");
  write(folder, "blanks", " GamutMin = 4 \r\nGamutMin=5\n\tLevelPeakThreshold\t=\t-3\r\nk=\n");
  write(folder, "bad", "no value\na=b=c\n=\n==\n=5\nQATesterVisual=1\nQATesterFileOutput=0\n");
  write(folder, "extreme",
        "PhaseSampleOffsetThreshold=99999999999999999999\nTearingThreshold=nan\n"
        "MonoSingleSampleThreshold=1e999\nLoudnessMinThreshold=-2147483649\n"
        "TransitionPercentChange=-inf\n");
}

/// Bytes that climb by different steps, behind one that chooses what is done.
void makeBytes(const fs::path& folder, int kinds) {
  for (int kind = 0; kind < kinds; ++kind) {
    for (int step = 1; step < 160; step += 31) {
      std::string content(1, static_cast<char>(kind));
      for (int i = 0; i < 40 + 12 * step; ++i) {
        content += static_cast<char>(i * step + kind);
      }
      write(folder, std::to_string(kind) + "-" + std::to_string(step), content);
    }
  }
}

void makeReports(const fs::path& folder) {
  makeBytes(folder, 4);
  // A file, its name, no error, and a check whose line has words of all kinds.
  write(folder, "utf8", std::string("\0\1\xffprogramme \xc3\xa9 \xe2\x82\xac.mov", 23));
  write(folder, "controls",
        std::string("\0\1\xff\x1b[31m\x07\xc2\x9b"
                    "2J\x7f\n\r",
                    15));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
    return 2;
  }
  try {
    const fs::path folder = argv[1];
    makeFiles(folder / "file");
    makeSettings(folder / "settings");
    makeBytes(folder / "pictures", 9);
    makeBytes(folder / "blocks", 8);
    makeBytes(folder / "timecodes", 5);
    makeReports(folder / "report");
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
    return 1;
  }
  return 0;
}
