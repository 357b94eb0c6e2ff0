#include "media/WrapTestSupport.h"

#include <gtest/gtest.h>

namespace qatest {

namespace {

/// The packets of every stream, read without discarding any.
std::vector<std::vector<PacketFacts>> packetsOfAllStreams(const std::string& file) {
  const ContainerHandle container = openClip(file);
  std::vector<std::vector<PacketFacts>> packets(container->nb_streams);
  const PacketHandle packet(av_packet_alloc());
  while (av_read_frame(container.get(), packet.get()) >= 0) {
    const auto index = static_cast<std::size_t>(packet->stream_index);
    packets.resize(std::max(packets.size(), index + 1));
    packets[index].push_back(factsOf(*packet));
    av_packet_unref(packet.get());
  }
  return packets;
}

}  // namespace

std::vector<PacketFacts> drain(PacketQueue* queue) {
  std::vector<PacketFacts> facts;
  AVPacket packet{};
  while (OxPackets::packet_queue_get(queue, &packet, 1) == 1) {
    facts.push_back(factsOf(packet));
    av_packet_unref(&packet);
  }
  return facts;
}

Contents contentsThroughWrappers(const std::string& file, QAPauses pauses) {
  Contents contents;
  unsigned audioStreams = 0;
  {
    OxWrap wrap(file, {pauses, {}});
    audioStreams = wrap.getNumberOfAudioStreams();
    if (wrap.getVideoStream() != nullptr) {
      wrap.discardAudio(true);
      wrap.startBuffering();
      contents.pictures = pullPictures(*wrap.getVideoStream());
      wrap.stopBuffering();
    }
  }
  for (unsigned i = 0; i < audioStreams; ++i) {
    OxWrap wrap(file, {pauses, {}});
    wrap.discardVideo(true);
    OxAudioStream* stream = wrap.getAudioStream(static_cast<unsigned short>(i));
    if (pauses == QAPauses::untilReady) {
      wrap.bufferOnly({stream->streamIndex});
    }
    wrap.startBuffering();
    contents.blocks.push_back(pullBlocks(*stream));
    wrap.stopBuffering();
  }
  return contents;
}

Contents expectedContents(const std::string& file) {
  Contents contents;
  const ContainerHandle container = openClip(file);
  const int video = firstStream(*container, AVMEDIA_TYPE_VIDEO);
  for (int i = 0; i < static_cast<int>(container->nb_streams); ++i) {
    const AVStream& stream = *container->streams[i];
    const ContainerHandle reader = openClip(file);
    if (i == video) {
      contents.pictures = expectedPictures(stream, readPackets(*reader, i));
    } else if (stream.codecpar->codec_type == AVMEDIA_TYPE_AUDIO) {
      contents.blocks.push_back(expectedBlocks(stream, readPackets(*reader, i)));
    }
  }
  return contents;
}

void expectDiscardingChangesNoPacket(const std::string& file) {
  const std::vector<std::vector<PacketFacts>> expected = packetsOfAllStreams(file);
  const auto expectPackets = [&](PacketQueue* queue, int index, const char* discarded) {
    if (queue != nullptr) {
      EXPECT_EQ(drain(queue), expected[static_cast<std::size_t>(index)])
          << file << ", stream " << index << ", " << discarded;
    }
  };
  unsigned audioStreams = 0;
  {
    OxWrap wrap(file, kReady);
    audioStreams = wrap.getNumberOfAudioStreams();
    if (OxVideoStream* video = wrap.getVideoStream()) {
      wrap.discardAudio(true);
      wrap.startBuffering();
      expectPackets(video->packetQueue, video->streamIndex, "without sound");
    }
  }
  for (unsigned i = 0; i < audioStreams; ++i) {
    OxWrap wrap(file, kReady);
    wrap.discardVideo(true);
    OxAudioStream* audio = wrap.getAudioStream(static_cast<unsigned short>(i));
    wrap.bufferOnly({audio->streamIndex});
    wrap.startBuffering();
    expectPackets(audio->packetQueue, audio->streamIndex, "alone");
  }
}

}  // namespace qatest
