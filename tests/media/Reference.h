#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "media/OxAudioStream.h"
#include "media/OxVideoStream.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

struct PacketQueue;

/// What a file holds, found out by FFmpeg's own calls on one thread, and what the streams under
/// test make of it, in the same records.
namespace qatest {

struct FreeHandle {
  void operator()(AVFormatContext* container) const { avformat_close_input(&container); }
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};

using ContainerHandle = std::unique_ptr<AVFormatContext, FreeHandle>;
using DecoderHandle = std::unique_ptr<AVCodecContext, FreeHandle>;
using FrameHandle = std::unique_ptr<AVFrame, FreeHandle>;
using PacketHandle = std::unique_ptr<AVPacket, FreeHandle>;

struct PacketFacts {
  int64_t dts;
  int64_t pts;
  int size;
  uint64_t checksum;
  bool operator==(const PacketFacts&) const = default;
};

struct PictureFacts {
  double time;
  int64_t microseconds;
  int width;
  int height;
  bool interlaced;
  bool topFieldFirst;
  uint64_t checksum;  ///< of all planes
  bool operator==(const PictureFacts&) const = default;
};

struct BlockFacts {
  double time;
  std::vector<uint8_t> bytes;
  bool operator==(const BlockFacts&) const = default;
};

std::ostream& operator<<(std::ostream& out, const PacketFacts& packet);
std::ostream& operator<<(std::ostream& out, const PictureFacts& picture);
std::ostream& operator<<(std::ostream& out, const BlockFacts& block);

uint64_t checksum(const uint8_t* bytes, std::size_t count, uint64_t start = 14695981039346656037U);
uint64_t checksumOfPlanes(const AVFrame& frame);
PacketFacts factsOf(const AVPacket& packet);

/// Opens and probes a file; throws `std::runtime_error`.
ContainerHandle openClip(const std::string& path);

/// The index of the first stream of that kind, or -1.
int firstStream(const AVFormatContext& container, AVMediaType type);

/// The packets of one stream, as far as they have not been read yet.
std::vector<PacketHandle> readPackets(AVFormatContext& container, int streamIndex);

/// The pictures or blocks that each packet completes, decoded on one thread.
class ReferenceDecoder {
 public:
  explicit ReferenceDecoder(const AVStream& stream);
  /// Empty as well when the packet does not decode.
  std::vector<FrameHandle> decode(const AVPacket& packet);
  void flush() { avcodec_flush_buffers(context_.get()); }
  AVCodecContext& context() { return *context_; }

 private:
  DecoderHandle context_;
};

/// A null packet stands for a flush of the decoder.
std::vector<PictureFacts> expectedPictures(const AVStream& stream,
                                           const std::vector<PacketHandle>& packets);
std::vector<BlockFacts> expectedBlocks(const AVStream& stream,
                                       const std::vector<PacketHandle>& packets);

/// Interleaved bytes of a decoded block; float is converted to 16 bits unless `keepFloat`.
std::vector<uint8_t> interleaved(const AVFrame& block, bool keepFloat);

/// Queues new references to the packets, and the flush marker for a null one.
void feed(PacketQueue* queue, const std::vector<PacketHandle>& packets);

/// Everything that a stream gives until its end.
std::vector<PictureFacts> pullPictures(OxVideoStream& stream);
std::vector<BlockFacts> pullBlocks(OxAudioStream& stream);

}  // namespace qatest
