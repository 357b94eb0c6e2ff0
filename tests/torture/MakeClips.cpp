// Makes the clips that the mutation run starts from: whole ones of many containers and codecs in
// FOLDER/plain, and those that lie about themselves in FOLDER/odd. The same program makes the same
// bytes every time.
//
// usage: make_torture_clips FOLDER

#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

#include "support/Clips.h"
#include "torture/OddClips.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace {

using namespace qatest;

constexpr int kFrames = 30;

VideoSpec video(const std::string& encoder, AVPixelFormat format = AV_PIX_FMT_YUV420P) {
  VideoSpec spec;
  spec.encoder = encoder;
  spec.pixelFormat = format;
  spec.width = 48;
  spec.height = 32;
  spec.frames = kFrames;
  return spec;
}

VideoSpec small(VideoSpec spec) {
  spec.width = 48;
  spec.height = 32;
  return spec;
}

VideoSpec quick(const std::string& encoder) {
  VideoSpec spec = video(encoder);
  spec.options = {{"deadline", "realtime"}, {"cpu-used", "8"}};
  return spec;
}

VideoSpec hevc() {
  VideoSpec spec = video("libx265");
  spec.options = {{"x265-params", "log-level=none:pools=none:frame-threads=1"}};
  return spec;
}

/// As long as the pictures, at the lowest usual rate.
AudioSpec sound(const std::string& encoder = "pcm_s16le", int channels = 2, int rate = 8000) {
  AudioSpec spec = audio(encoder, channels, 1.2);
  spec.rate = rate;
  return spec;
}

AudioSpec floats(const std::string& encoder, AVSampleFormat format, int rate = 8000) {
  AudioSpec spec = sound(encoder, 2, rate);
  spec.sampleFormat = format;
  return spec;
}

AudioSpec seconds(AudioSpec spec, double length) {
  spec.seconds = length;
  return spec;
}

VideoSpec frames(VideoSpec spec, int count) {
  spec.frames = count;
  return spec;
}

VideoSpec interlaced(VideoSpec spec) {
  spec.interlaced = true;
  spec.topFieldFirst = true;
  return spec;
}

std::vector<ClipKind> plainClips() {
  const VideoSpec tiny = small(ffv1(kFrames));
  const VideoSpec h264 = small(h264WithBFrames(kFrames));
  const VideoSpec mpeg2 = small(mpeg2WithBFrames(kFrames));
  const AudioSpec mp2 = sound("mp2", 2, 16000);
  const AudioSpec mono = sound("pcm_s16le", 1);
  return {
      {"h264.mp4", {{h264}, {sound("aac", 2, 16000)}}},
      {"h264-fragments.mp4",
       {{h264},
        {sound("aac", 2, 16000)},
        false,
        {{"movflags", "frag_keyframe+empty_moov+default_base_moof"}}}},
      {"h264.mkv", {{h264}, {sound("ac3", 6, 32000)}}},
      {"h264.ts", {{h264}, {mp2}}},
      {"h264.flv", {{h264}, {sound("aac", 2, 16000)}}},
      {"hevc.mkv", {{hevc()}, {}}},
      {"mpeg2.mpg", {{mpeg2}, {mp2}}},
      {"mpeg2.vob", {{interlaced(mpeg2)}, {sound("ac3", 2, 48000)}}},
      {"mpeg2.ts", {{mpeg2}, audioStreams(3, mp2)}},
      {"mpeg2.mxf", {{frames(mpeg2, 10)}, {seconds(sound("pcm_s16le", 1, 48000), 0.4)}}},
      {"mpeg1.mpg", {{video("mpeg1video")}, {mp2}}},
      {"mpeg4.avi", {{video("mpeg4")}, {sound("libmp3lame", 2, 16000)}}},
      {"mpeg4.mov", {{video("mpeg4")}, {sound("alac")}}},
      {"vp8.webm", {{quick("libvpx")}, {sound("libvorbis", 2, 16000)}}},
      {"vp9.webm", {{quick("libvpx-vp9")}, {sound("libopus", 2, 48000)}}},
      {"theora.ogg", {{video("libtheora")}, {sound("libvorbis", 2, 16000)}}},
      {"dv.mov", {{dvPal(3)}, {seconds(sound(), 0.12)}}},
      {"mjpeg.avi", {{small(mjpeg(kFrames))}, {sound("adpcm_ms")}}},
      {"prores.mov", {{small(proRes(10))}, {sound("pcm_s24le")}}},
      {"raw.avi", {{frames(video("rawvideo"), kFrames)}, {sound("pcm_u8")}}},
      {"raw-422.nut", {{frames(video("rawvideo", AV_PIX_FMT_YUV422P), 20)}, {mono}}},
      {"png.mov", {{frames(video("png", AV_PIX_FMT_RGB24), 10)}, {mono}}},
      {"ffv1-420.mkv", {{tiny}, {sound("flac")}}},
      {"ffv1-422.avi", {{small(ffv1(kFrames, AV_PIX_FMT_YUV422P))}, {sound("pcm_s16le")}}},
      {"ffv1-444.nut", {{small(ffv1(kFrames, AV_PIX_FMT_YUV444P))}, {sound("pcm_s32le")}}},
      {"huffyuv.avi", {{frames(video("huffyuv", AV_PIX_FMT_YUV422P), 10)}, {}}},
      {"u8.wav", {{}, {sound("pcm_u8")}}},
      {"s16.wav", {{}, {sound("pcm_s16le")}}},
      {"s24.wav", {{}, {sound("pcm_s24le")}}},
      {"s32.wav", {{}, {sound("pcm_s32le")}}},
      {"f32.wav", {{}, {sound("pcm_f32le")}}},
      {"f64.wav", {{}, {seconds(sound("pcm_f64le"), 0.4)}}},
      {"adpcm-ima.wav", {{}, {sound("adpcm_ima_wav")}}},
      {"s16.w64", {{}, {mono}}},
      {"s16.caf", {{}, {mono}}},
      {"s16.aiff", {{}, {sound("pcm_s16be")}}},
      {"flac.flac", {{}, {sound("flac")}}},
      {"flac.ogg", {{}, {sound("flac")}}},
      {"opus.opus", {{}, {sound("libopus", 2, 48000)}}},
      {"mp3.mp3", {{}, {sound("libmp3lame", 2, 16000)}}},
      {"mp2.mp2", {{}, {mp2}}},
      {"ac3.ac3", {{}, {sound("ac3", 2, 32000)}}},
      {"eac3.ts", {{h264}, {sound("eac3", 6, 48000)}}},
      {"aac.aac", {{}, {sound("aac", 2, 16000)}}},
      {"wavpack.wv", {{}, {sound("wavpack", 2)}}},
      {"wavpack-float.mkv", {{}, {floats("wavpack", AV_SAMPLE_FMT_FLTP)}}},
      {"tta.tta", {{}, {sound("tta")}}},
      {"wma.asf", {{video("wmv2")}, {sound("wmav2", 2, 16000)}}},
      {"streams-2.mkv", {{tiny}, audioStreams(2, sound())}},
      {"streams-3.nut", {{tiny}, audioStreams(3, mono)}},
      {"streams-4.mov", {{tiny}, audioStreams(4, sound("pcm_s24le", 1))}},
      {"streams-8.mkv", {{tiny}, audioStreams(8, seconds(mono, 0.4))}},
      {"streams-4-mixed.mkv",
       {{tiny}, {mono, sound("pcm_s24le", 1), sound("pcm_f32le", 1), sound("pcm_u8", 1)}}},
      {"two-videos.mkv", {{tiny, small(ffv1(20, AV_PIX_FMT_YUV444P))}, {mono}}},
  };
}

bool hasEncoders(const ClipSpec& spec) {
  const auto exists = [](const std::string& name) {
    return avcodec_find_encoder_by_name(name.c_str()) != nullptr;
  };
  for (const VideoSpec& stream : spec.video) {
    if (!exists(stream.encoder)) {
      return false;
    }
  }
  for (const AudioSpec& stream : spec.audio) {
    if (!exists(stream.encoder)) {
      return false;
    }
  }
  return true;
}

/// Runs `make`; returns 1, with a line, if it fails.
template <typename Make>
int failed(const std::string& name, Make make) {
  try {
    make();
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "make_torture_clips: %s: %s\n", name.c_str(), error.what());
    return 1;
  }
}

/// Returns how many clips could not be made.
int makeAll(const std::filesystem::path& folder) {
  std::filesystem::create_directories(folder / "plain");
  std::filesystem::create_directories(folder / "odd");
  int failures = 0;
  for (const ClipKind& kind : plainClips()) {
    if (hasEncoders(kind.spec)) {
      failures += failed(kind.fileName,
                         [&] { makeClip((folder / "plain" / kind.fileName).string(), kind.spec); });
    } else {
      std::printf("%s: left out, no encoder\n", kind.fileName.c_str());
    }
  }
  for (const std::string& name : oddClipNames()) {
    failures += failed(name, [&] { makeOddClip((folder / "odd").string(), name); });
  }
  return failures;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
    return 2;
  }
  try {
    return makeAll(argv[1]) == 0 ? 0 : 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "make_torture_clips: %s\n", error.what());
    return 1;
  }
}
