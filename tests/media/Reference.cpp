#include "media/Reference.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <stdexcept>

#include "media/PacketQueue.h"

extern "C" {
#include <libavutil/imgutils.h>
}

namespace qatest {

namespace {

constexpr std::size_t kLargestBlock = 192000;

int16_t rounded(float sample) {
  const float scaled = sample * 32768.0F;
  if (std::isnan(scaled) || scaled <= -32768.0F) {
    return -32768;
  }
  return scaled >= 32767.0F ? int16_t{32767} : static_cast<int16_t>(std::lrintf(scaled));
}

PictureFacts factsOf(const AVFrame& frame, double time) {
  return {time,
          static_cast<int64_t>(time * 1000000.0),
          frame.width,
          frame.height,
          frame.interlaced_frame != 0,
          frame.top_field_first != 0,
          checksumOfPlanes(frame)};
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const PacketFacts& packet) {
  return out << "{dts " << packet.dts << ", pts " << packet.pts << ", " << packet.size << " bytes, "
             << std::hex << packet.checksum << std::dec << "}";
}

std::ostream& operator<<(std::ostream& out, const PictureFacts& picture) {
  return out << "{" << picture.time << " s, " << picture.microseconds << ", " << picture.width
             << "x" << picture.height << (picture.interlaced ? " interlaced" : "")
             << (picture.topFieldFirst ? " top first, " : ", ") << std::hex << picture.checksum
             << std::dec << "}";
}

std::ostream& operator<<(std::ostream& out, const BlockFacts& block) {
  return out << "{" << block.time << " s, " << block.bytes.size() << " bytes, " << std::hex
             << checksum(block.bytes.data(), block.bytes.size()) << std::dec << "}";
}

uint64_t checksum(const uint8_t* bytes, std::size_t count, uint64_t start) {
  uint64_t sum = start;
  for (; count >= 8; bytes += 8, count -= 8) {
    uint64_t word = 0;
    std::memcpy(&word, bytes, 8);
    sum = (sum ^ word) * 1099511628211U;
    sum ^= sum >> 29;
  }
  for (std::size_t i = 0; i < count; ++i) {
    sum = (sum ^ bytes[i]) * 1099511628211U;
  }
  return sum;
}

uint64_t checksumOfPlanes(const AVFrame& frame) {
  const auto format = static_cast<AVPixelFormat>(frame.format);
  uint64_t sum = checksum(nullptr, 0);
  std::ptrdiff_t strides[4];
  std::size_t sizes[4];
  for (std::size_t i = 0; i < 4; ++i) {
    strides[i] = av_image_get_linesize(format, frame.width, static_cast<int>(i));
  }
  av_image_fill_plane_sizes(sizes, format, frame.height, strides);
  for (std::size_t plane = 0; plane < 4 && strides[plane] > 0; ++plane) {
    const std::size_t rows = sizes[plane] / static_cast<std::size_t>(strides[plane]);
    for (std::size_t row = 0; row < rows; ++row) {
      sum = checksum(frame.data[plane] + static_cast<std::ptrdiff_t>(row) * frame.linesize[plane],
                     static_cast<std::size_t>(strides[plane]), sum);
    }
  }
  return sum;
}

PacketFacts factsOf(const AVPacket& packet) {
  return {packet.dts, packet.pts, packet.size,
          checksum(packet.data, static_cast<std::size_t>(packet.size))};
}

ContainerHandle openClip(const std::string& path) {
  av_log_set_level(AV_LOG_PANIC);
  AVFormatContext* opened = nullptr;
  if (avformat_open_input(&opened, path.c_str(), nullptr, nullptr) < 0) {
    throw std::runtime_error("cannot open " + path);
  }
  ContainerHandle container(opened);
  if (avformat_find_stream_info(opened, nullptr) < 0) {
    throw std::runtime_error("no streams in " + path);
  }
  return container;
}

int firstStream(const AVFormatContext& container, AVMediaType type) {
  for (unsigned i = 0; i < container.nb_streams; ++i) {
    if (container.streams[i]->codecpar->codec_type == type) {
      return static_cast<int>(i);
    }
  }
  return -1;
}

std::vector<PacketHandle> readPackets(AVFormatContext& container, int streamIndex) {
  std::vector<PacketHandle> packets;
  for (;;) {
    PacketHandle packet(av_packet_alloc());
    if (av_read_frame(&container, packet.get()) < 0) {
      return packets;
    }
    if (packet->stream_index == streamIndex) {
      packets.push_back(std::move(packet));
    }
  }
}

ReferenceDecoder::ReferenceDecoder(const AVStream& stream) {
  const AVCodec* codec = avcodec_find_decoder(stream.codecpar->codec_id);
  context_.reset(avcodec_alloc_context3(codec));
  avcodec_parameters_to_context(context_.get(), stream.codecpar);
  context_->thread_count = 1;
  context_->flags2 |= AV_CODEC_FLAG2_SKIP_MANUAL;
  if (avcodec_open2(context_.get(), codec, nullptr) < 0) {
    throw std::runtime_error("no decoder");
  }
}

std::vector<FrameHandle> ReferenceDecoder::decode(const AVPacket& packet) {
  std::vector<FrameHandle> frames;
  if (packet.size == 0 || avcodec_send_packet(context_.get(), &packet) < 0) {
    return frames;
  }
  for (;;) {
    FrameHandle frame(av_frame_alloc());
    if (avcodec_receive_frame(context_.get(), frame.get()) < 0) {
      return frames;
    }
    frames.push_back(std::move(frame));
  }
}

std::vector<PictureFacts> expectedPictures(const AVStream& stream,
                                           const std::vector<PacketHandle>& packets) {
  ReferenceDecoder decoder(stream);
  std::vector<PictureFacts> pictures;
  // A picture keeps its buffers until the next is complete. That must be so here, too: concealment
  // of damage shows what is left in the buffers that are free.
  FrameHandle last;
  const double unit =
      static_cast<double>(stream.time_base.num) / static_cast<double>(stream.time_base.den);
  for (const PacketHandle& packet : packets) {
    if (packet == nullptr) {
      decoder.flush();
      continue;
    }
    std::vector<FrameHandle> frames = decoder.decode(*packet);
    if (!frames.empty()) {
      const double ticks = packet->dts == AV_NOPTS_VALUE ? 0.0 : static_cast<double>(packet->dts);
      pictures.push_back(factsOf(*frames.front(), unit * ticks));
      last = std::move(frames.front());
    }
  }
  return pictures;
}

std::vector<uint8_t> interleaved(const AVFrame& block, bool keepFloat) {
  const auto format = static_cast<AVSampleFormat>(block.format);
  const AVSampleFormat packed = av_get_packed_sample_fmt(format);
  const bool planar = av_sample_fmt_is_planar(format) != 0;
  const bool convert = packed == AV_SAMPLE_FMT_FLT && !keepFloat;
  const auto width = static_cast<std::size_t>(av_get_bytes_per_sample(format));
  const auto channels = static_cast<std::size_t>(block.ch_layout.nb_channels);
  std::vector<uint8_t> bytes;
  for (std::size_t i = 0; i < static_cast<std::size_t>(block.nb_samples); ++i) {
    for (std::size_t channel = 0; channel < channels; ++channel) {
      const uint8_t* place = planar ? block.extended_data[channel] + i * width
                                    : block.extended_data[0] + (i * channels + channel) * width;
      if (convert) {
        float value = 0.0F;
        std::memcpy(&value, place, sizeof value);
        const int16_t integer = rounded(value);
        const auto* raw = reinterpret_cast<const uint8_t*>(&integer);
        bytes.insert(bytes.end(), raw, raw + sizeof integer);
      } else {
        bytes.insert(bytes.end(), place, place + width);
      }
    }
  }
  return bytes;
}

std::vector<BlockFacts> expectedBlocks(const AVStream& stream,
                                       const std::vector<PacketHandle>& packets) {
  ReferenceDecoder decoder(stream);
  const std::string codec = avcodec_get_name(stream.codecpar->codec_id);
  const bool keepFloat = codec.starts_with("pcm_") || codec == "wavpack";
  std::vector<BlockFacts> blocks;
  double clock = 0.0;
  for (const PacketHandle& packet : packets) {
    if (packet == nullptr) {
      decoder.flush();
      continue;
    }
    if (packet->size > 0 && packet->pts != AV_NOPTS_VALUE) {
      clock = static_cast<double>(stream.time_base.num) /
              static_cast<double>(stream.time_base.den) * static_cast<double>(packet->pts);
    }
    const std::vector<FrameHandle> frames = decoder.decode(*packet);
    if (frames.empty()) {
      continue;
    }
    const std::vector<uint8_t> first = interleaved(*frames.front(), keepFloat);
    if (first.empty() || first.size() > kLargestBlock) {
      continue;
    }
    for (std::size_t i = 0; i < frames.size(); ++i) {
      blocks.push_back({clock, first});
      clock += static_cast<double>(first.size()) /
               (decoder.context().ch_layout.nb_channels * 2.0 * stream.codecpar->sample_rate);
    }
  }
  return blocks;
}

void feed(PacketQueue* queue, const std::vector<PacketHandle>& packets) {
  for (const PacketHandle& packet : packets) {
    if (packet == nullptr) {
      ASSERT_EQ(OxPackets::packet_queue_put(queue, &OxPackets::FLUSH_PACKET), 1);
      continue;
    }
    AVPacket reference{};
    ASSERT_EQ(av_packet_ref(&reference, packet.get()), 0);
    ASSERT_EQ(OxPackets::packet_queue_put(queue, &reference), 1);
  }
}

std::vector<PictureFacts> pullPictures(OxVideoStream& stream) {
  std::vector<PictureFacts> pictures;
  for (;;) {
    const OxVideoFrameYUV picture = stream.getNextYUVFrame();
    if (!picture.valid) {
      EXPECT_EQ(picture.frame, nullptr);
      return pictures;
    }
    PictureFacts facts = factsOf(*picture.frame, picture.time);
    facts.microseconds = picture.frame->pts;
    facts.width = picture.width;
    facts.height = picture.height;
    pictures.push_back(facts);
    av_free(picture.frame);
  }
}

std::vector<BlockFacts> pullBlocks(OxAudioStream& stream) {
  std::vector<BlockFacts> blocks;
  double time = 0.0;
  for (int bytes = stream.decodeFrame(&time); bytes >= 0; bytes = stream.decodeFrame(&time)) {
    blocks.push_back({time, {stream.audioBuffer, stream.audioBuffer + bytes}});
  }
  return blocks;
}

}  // namespace qatest
