#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "foundation/Export.h"
#include "media/ConvertedRows.h"

struct AVCodec;
struct AVCodecContext;
struct AVFormatContext;
struct AVFrame;
struct AVStream;
struct PacketQueue;
struct SwsContext;

namespace qatester {
struct BufferControl;
}  // namespace qatester

/// A decoded picture in the decoder's own planar format.
struct OxVideoFrameYUV {
  /// Planes in `data`, row strides in bytes in `linesize`; `pts` is the picture's time in whole
  /// microseconds. The receiver releases the record with `av_free`; the planes belong to the
  /// decoder and stay valid until the next decode call on the same stream.
  AVFrame* frame = nullptr;
  int width = 0;   ///< pixels
  int height = 0;  ///< pixels
  /// False at the end of the stream; every other field is then zero or null.
  bool valid = false;
  double time = 0.0;  ///< seconds
};

/// A picture converted to packed 8-bit blue, green, red.
struct OxVideoFrameRGB {
  /// `height` rows of `width` * 3 bytes without gaps. The receiver releases it with `free`.
  uint8_t* buffer = nullptr;
  int width = 0;       ///< pixels
  int height = 0;      ///< pixels
  bool valid = false;  ///< false: there is no picture
  double time = 0.0;   ///< seconds
};

/// Decodes one video stream of an opened container, whose packets a buffering thread puts into
/// `packetQueue`. Used by one thread only. A stream whose decoder did not open has no queue, and
/// its operations yield invalid records at once.
class QATESTER_API OxVideoStream {
 public:
  /// The container is not owned and must outlive this object. `control` is what an `OxWrap` shares
  /// with its streams; null for a stream that stands alone.
  OxVideoStream(AVFormatContext* formatContext, int streamIndex,
                std::shared_ptr<qatester::BufferControl> control = nullptr);
  ~OxVideoStream();

  OxVideoStream(const OxVideoStream&) = delete;
  OxVideoStream& operator=(const OxVideoStream&) = delete;

  /// The declared average rate in frames per second; -1 without a container, NaN when undeclared.
  float getFPS();

  /// The container's duration in seconds; -1 without a container, about -9.2e12 when unknown.
  double getDurationSeconds();

  /// The number of frames that the container declares; -1 without a container, 0 when unknown.
  int64_t getFrameCount();

  /// The next decoded picture in display order, timed by the decoding time stamp of the packet that
  /// completed it. Blocks while the queue is empty, for about 2 s; invalid at the end of the
  /// stream. Pictures that a decoder still holds at the end of the file are not delivered.
  OxVideoFrameYUV getNextYUVFrame();

  /// Converts a picture of this stream. The caller owns the new record (`delete`) and its buffer
  /// (`free`); `valid` is false when there is nothing to convert or no memory. Each plane must be
  /// readable for 32 bytes after its last row, as those of decoders are.
  OxVideoFrameRGB* getRGBFromYUV(OxVideoFrameYUV* yuv);

  /// Converts a picture of this stream to the same bytes, a few rows at a time from top to bottom,
  /// so that they are still in the processor's cache when `take` gets them. Rows are valid during
  /// the call of `take`. False when there is nothing to convert or no memory.
  bool convertInSlices(const OxVideoFrameYUV& yuv,
                       const std::function<void(const qatester::ConvertedRows& rows)>& take);

  /// The next picture, converted; blocks and ends like `getNextYUVFrame`.
  OxVideoFrameRGB getNextRGBFrame();

  /// Repositions the container. The target is `milliseconds` * 1,000,000 modulo 2^32, divided by
  /// 1000, in microseconds: clients rely on positions of 4,295 ms and more wrapping. Pauses 500 s.
  void seekToMS(unsigned long milliseconds);

  /// "YUV420P pixel format.", "YUV422P pixel format.", "YUV444P pixel format." or "Other".
  std::string getPixelFormat();

  /// The pixel format's own name, such as "yuv422p10le"; "unknown" without one.
  std::string getPixelFormatName();

  /// The same of a picture, which may have another one than the stream has got to by now.
  static std::string getPixelFormatName(const OxVideoFrameYUV& picture);

  /// Whether no further packet will come: known in until-ready mode only, false otherwise.
  bool hasEnded();

  /// The pause of a caller that got no picture; until-ready it ends when a packet is there, or when
  /// none is on its way.
  void pauseForPacket(unsigned seconds);

  AVFormatContext* formatContext = nullptr;  ///< the container, not owned
  AVCodecContext* codecContext = nullptr;    ///< null when there is no decoder
  const AVCodec* codec = nullptr;            ///< null when there is no decoder
  AVStream* stream = nullptr;                ///< null when its decoder did not open
  int streamIndex = -1;                      ///< in the container
  PacketQueue* packetQueue = nullptr;        ///< null when the decoder did not open
  SwsContext* swsContext = nullptr;          ///< of the last conversion

 private:
  struct QATESTER_LOCAL Owned;

  bool prepareConversion(const OxVideoFrameYUV& yuv);

  std::shared_ptr<qatester::BufferControl> control_;
  std::unique_ptr<Owned> owned_;  ///< what the pointers above point to, but for the container
};
