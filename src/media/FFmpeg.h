#pragma once

// The one place that knows which FFmpeg is installed, and the only one that calls it. The rest of
// the media floor works by the contract of FFmpeg's older calls: one packet in, at most one picture
// or block out, the bytes of the packet consumed, and nothing flushed at the end of the file.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

namespace qatester::ffmpeg {

class LogLines;

/// The most bytes a decoded audio block may have.
constexpr int kMaxAudioBlockBytes = 192000;

/// Of a picture, more than any programme has. What a file claims beyond that is not believed: a
/// decoder would take the memory for it and conceal that the picture is missing.
constexpr int64_t kMaxPixels = int64_t{8192} * 8192;

/// After the last row of each plane the scaler's vector code reads up to this many bytes less one.
/// Planes of FFmpeg's own decoders have at least so much room there, or lie in a packet, which has
/// more. FFmpeg itself speaks of 16, but reads two-byte pixels in vectors of 32.
constexpr int kPlanePadding = 32;

/// For handles that FFmpeg frees through a pointer to the handle.
template <typename T, void (*Free)(T**)>
struct FreeByAddress {
  void operator()(T* handle) const { Free(&handle); }
};

struct FreeScaler {
  void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
};

struct FreeMemory {
  void operator()(void* memory) const { av_free(memory); }
};

using UniqueContainer =
    std::unique_ptr<AVFormatContext, FreeByAddress<AVFormatContext, avformat_close_input>>;
using UniqueDecoder =
    std::unique_ptr<AVCodecContext, FreeByAddress<AVCodecContext, avcodec_free_context>>;
using UniqueFrame = std::unique_ptr<AVFrame, FreeByAddress<AVFrame, av_frame_free>>;
/// Of what `av_malloc` gave, such as a queued packet or a picture record that owns nothing.
template <typename T>
using UniqueRecord = std::unique_ptr<T, FreeMemory>;
using UniqueScaler = std::unique_ptr<SwsContext, FreeScaler>;

/// A packet on the stack whose payload is released at the end of its scope.
class ScopedPacket {
 public:
  ScopedPacket();
  ~ScopedPacket();
  ScopedPacket(const ScopedPacket&) = delete;
  ScopedPacket& operator=(const ScopedPacket&) = delete;

  AVPacket* get() { return &packet_; }
  AVPacket* operator->() { return &packet_; }
  AVPacket& operator*() { return packet_; }
  /// Forgets the payload: it now belongs to somebody else.
  void release();

 private:
  AVPacket packet_;
};

/// Opens a local file, and never another one that it names. Returns 0, or a negative error code
/// with an empty `*container`. `interrupt` may hold no callback. FFmpeg's own logging is silenced
/// for the whole process. `log`, if any, listens to the container from the start.
int openContainer(const std::string& path, const AVIOInterruptCB& interrupt,
                  UniqueContainer* container, LogLines* log = nullptr);

/// Reads packets until the streams are described; negative on failure.
int findStreamInfo(AVFormatContext* container);

/// What a container declares of itself and of one of its video streams.
struct VideoFacts {
  float framesPerSecond = -1.0F;  ///< the average; NaN when undeclared
  double durationSeconds = -1.0;  ///< about -9.2e12 when unknown
  int64_t frames = -1;            ///< 0 when unknown
};

/// Without the stream, or the container, its facts stay as above.
VideoFacts readVideoFacts(const AVFormatContext* container, int streamIndex);

/// Reads the next packet of any stream; negative at the end of the file and on failure.
int readPacket(AVFormatContext* container, AVPacket* packet);

/// Whether a result of `readPacket` says that the data has ended. Some demultiplexers say so by
/// FFmpeg's old -1.
bool isEndOfData(int result);

/// Repositions the container to the frame nearest to that many microseconds, later ones included.
void seek(AVFormatContext* container, int64_t microseconds);

/// Whether the container's input has met an I/O error (reaching the end is none).
bool hasReadError(const AVFormatContext* container);

/// What a negative result of a call of FFmpeg's means, in words.
std::string errorText(int error);

/// Gives `packet` no payload and no time stamps.
void blankPacket(AVPacket* packet);

/// Releases a packet's payload and blanks the packet.
void releasePayload(AVPacket* packet);

/// Makes sure that nobody else owns or changes the packet's payload; false when out of memory.
bool makePayloadPrivate(AVPacket* packet);

/// Zeroed memory of `av_malloc`'s for a record of FFmpeg's kind; null when out of memory.
void* allocate(std::size_t bytes);

template <typename T>
UniqueRecord<T> makeRecord() {
  return UniqueRecord<T>(static_cast<T*>(allocate(sizeof(T))));
}

/// A picture without planes; null when out of memory.
UniqueFrame makePicture();

/// The name of a pixel or sample format; "unknown" without one.
std::string pixelFormatName(int format);
std::string sampleFormatName(int format);

/// 0 for an unknown sample format.
int bytesPerSample(int sampleFormat);

/// The versions of the libraries at run time, FFmpeg's own first.
struct LibraryVersion {
  std::string library;
  std::string version;
};
std::vector<LibraryVersion> libraryVersions();

/// A decoder's context for a stream, not opened yet: its parameters are those of the stream. Null
/// when out of memory.
UniqueDecoder makeDecoder(const AVStream* stream, const AVCodec* codec);

/// Opens a context made above for video or audio; false when the decoder refuses.
bool openDecoder(AVCodecContext* context, const AVCodec* codec);

/// Finds the decoder of a container's stream and opens it, if the stream is of that type. Returns
/// the stream, or null. What is got to on the way stays in `*codec` and `*decoder`, also on
/// failure.
AVStream* openStreamDecoder(AVFormatContext* container, int streamIndex, AVMediaType type,
                            const AVCodec** codec, UniqueDecoder* decoder);

/// Makes the decoder forget what it has been sent.
void flushDecoder(AVCodecContext* context);

/// Decodes one packet. Returns the bytes consumed (the whole packet) or a negative error code, and
/// sets `*gotPicture` when `picture` (released first) holds one. An empty packet is consumed
/// without reaching the decoder, for which it would mean the end of the stream.
int decodeVideo(AVCodecContext* context, AVFrame* picture, bool* gotPicture,
                const AVPacket* packet);

/// The planes and the plain properties of `picture` in a record of their own that owns nothing, so
/// that it may be released with plain `av_free`. Valid as long as `picture` keeps its buffers. Null
/// when out of memory.
AVFrame* borrowPicture(const AVFrame& picture);

/// A scaler from pictures of that size and format to packed 8-bit blue, green, red of the same
/// size. Null when the packed bytes or FFmpeg's part cannot be, or when out of memory.
UniqueScaler makeScaler(int width, int height, int format);

/// Whether the picture has every plane, and a stride for it, that its format needs.
bool hasPlanes(const AVFrame& picture);

/// Converts `count` rows from row `first` on, whose planes start at `source`, to rows of `stride`
/// bytes in `target`, which stands for the top of the picture. Returns how many rows it wrote, or a
/// negative error code.
int scaleRows(SwsContext* scaler, const uint8_t* const source[], const int sourceStrides[],
              int first, int count, uint8_t* target, int stride);

/// The sample format in which `decodeAudio` delivers: 8-, 16- and 32-bit integers as decoded, float
/// PCM as it is, everything else that is float as signed 16-bit; always interleaved.
int deliveredSampleFormat(const AVCodecContext* context);

/// Decodes the first block of a packet into `output` (`kMaxAudioBlockBytes` bytes), interleaved and
/// in `sampleFormat` (one of `deliveredSampleFormat`'s). Returns how many blocks the packet holds,
/// or a negative error code; `*outputBytes` is 0 when there is no block. A block that does not fit
/// is an error.
int decodeAudio(AVCodecContext* context, int sampleFormat, uint8_t* output, int* outputBytes,
                const AVPacket* packet);

}  // namespace qatester::ffmpeg
