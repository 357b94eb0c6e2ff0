#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "support/TempDir.h"

extern "C" {
#include <libavcodec/packet.h>
#include <libavutil/pixfmt.h>
#include <libavutil/rational.h>
#include <libavutil/samplefmt.h>
}

/// Makes media files with known content. The same spec gives the same bytes every time.
namespace qatest {

/// The 8-bit value of one component (0 luma, 1 and 2 chroma) of a picture. `x` and `y` count in the
/// component's own grid. Deeper components hold the value shifted up.
using PixelFunction = std::function<uint8_t(int component, int x, int y, int frame)>;

/// The value of one sample, full scale being -1 to 1.
using SampleFunction = std::function<double(int channel, int64_t index)>;

/// Changes a packet before it is written; its time stamps are in units of a frame (video) or of a
/// sample (audio).
using PacketEdit = std::function<void(AVPacket& packet, int index)>;

/// Moving diagonal ramps: 16 + (x*3 + y*5 + frame*7) mod 220 in luma, and
/// 16 + (x*2 + y + frame*3 + component*50) mod 225 in chroma.
uint8_t clipPixel(int component, int x, int y, int frame);

/// A saw tooth per channel: ((index * (2*channel + 3) * 97) mod 24000 - 12000) / 32768.
double clipSample(int channel, int64_t index);

/// `sample` as an integer of `bits` bits: times 2^(bits-1), rounded half to even, clipped.
int32_t quantize(double sample, int bits);

struct VideoSpec {
  std::string encoder = "ffv1";
  AVPixelFormat pixelFormat = AV_PIX_FMT_YUV420P;
  int width = 64;
  int height = 48;
  AVRational rate{25, 1};
  int frames = 50;
  int bFrames = 0;
  int gop = 12;
  bool declareRate = true;  ///< false: the container is not told the rate
  bool interlaced = false;
  bool topFieldFirst = false;
  std::map<std::string, std::string> options;  ///< the encoder's
  PixelFunction pixel = clipPixel;
  PacketEdit edit;
};

struct AudioSpec {
  std::string encoder = "pcm_s16le";
  int channels = 2;
  int rate = 48000;
  double seconds = 2.0;      ///< encoders with blocks of a fixed size fill their last one
  int samplesPerPacket = 0;  ///< 0: the encoder's own, or 1024
  AVSampleFormat sampleFormat = AV_SAMPLE_FMT_NONE;  ///< NONE: the encoder's first
  std::map<std::string, std::string> options;        ///< the encoder's
  SampleFunction sample = clipSample;
  PacketEdit edit;
};

/// Video streams come before audio streams, unless `audioFirst`.
struct ClipSpec {
  std::vector<VideoSpec> video = {};
  std::vector<AudioSpec> audio = {};
  bool audioFirst = false;
  std::map<std::string, std::string> muxerOptions = {};
};

/// Writes a clip; the extension of `path` chooses the container. Returns `path`, or throws
/// `std::runtime_error`.
std::string makeClip(const std::string& path, const ClipSpec& spec);

/// The same, for a file of that name in `dir`.
std::string makeClip(const TempDir& dir, const std::string& name, const ClipSpec& spec);

/// Lossless; every picture can be decoded alone.
VideoSpec ffv1(int frames = 50, AVPixelFormat pixelFormat = AV_PIX_FMT_YUV420P,
               AVRational rate = {25, 1});
/// Two reordered pictures: the first is complete with the third packet.
VideoSpec h264WithBFrames(int frames = 50, AVRational rate = {25, 1});
/// One reordered picture: the first is complete with the second packet.
VideoSpec mpeg2WithBFrames(int frames = 50, AVRational rate = {25, 1});
/// 720x576 at 25 frames a second.
VideoSpec dvPal(int frames = 25);
/// 10-bit 4:2:2.
VideoSpec proRes(int frames = 50);
/// Full-range 4:2:0.
VideoSpec mjpeg(int frames = 50);
/// Uncompressed 720x576: packets of 622,080 bytes.
VideoSpec rawPal(int frames);

AudioSpec audio(const std::string& encoder, int channels = 2, double seconds = 2.0);

/// `count` streams of the same kind, the samples of each a tenth lower than those of the one
/// before.
std::vector<AudioSpec> audioStreams(int count, const AudioSpec& first = {});

/// A container that tells no duration (Matroska as for a live broadcast).
ClipSpec withoutDuration(ClipSpec spec);

struct ClipKind {
  std::string fileName;
  ClipSpec spec;

  /// Names the tests that have it as their parameter.
  friend std::ostream& operator<<(std::ostream& out, const ClipKind& kind) {
    return out << kind.fileName;
  }
};

/// Every codec, container and number of streams that the tests go through, about two seconds each.
std::vector<ClipKind> clipKinds();

/// All of them, or every fourth: where what is tested depends little on the kind, and a sanitizer
/// makes it slow.
std::vector<ClipKind> clipKinds(bool few);

/// A copy of the first `bytes` bytes of a file; returns its path.
std::string truncatedCopy(const TempDir& dir, const std::string& name, const std::string& file,
                          std::size_t bytes);

/// A copy with one byte in every `interval` behind the first `intactBytes` changed.
std::string damagedCopy(const TempDir& dir, const std::string& name, const std::string& file,
                        std::size_t intactBytes, std::size_t interval);

}  // namespace qatest
