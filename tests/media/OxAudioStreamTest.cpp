#include "media/OxAudioStream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "media/OxWrap.h"
#include "media/PacketQueue.h"
#include "media/Reference.h"
#include "support/Clips.h"
#include "support/FakeSleep.h"

namespace {

using namespace qatest;

/// One audio stream of a clip without a wrapper, its packets queued.
class Song {
 public:
  explicit Song(const std::string& path)
      : container(openClip(path)),
        index(firstStream(*container, AVMEDIA_TYPE_AUDIO)),
        packets(readPackets(*container, index)) {}

  const AVStream& stream() const { return *container->streams[index]; }

  std::unique_ptr<OxAudioStream> open() const {
    auto opened = std::make_unique<OxAudioStream>(container.get(), index);
    feed(opened->packetQueue, packets);
    return opened;
  }

  ContainerHandle container;
  int index;
  std::vector<PacketHandle> packets;
};

class OxAudioStreamTest : public testing::Test {
 protected:
  std::string clip(const std::string& name, const AudioSpec& spec) {
    return makeClip(dir, name, {{}, {spec}});
  }

  /// A wrapper only for what it releases.
  static void freeSample(const OxAudioSample& sample) { OxWrap("").freeSample(sample); }

  TempDir dir;
  QuickWaits quick;  // every test knows what it has queued
};

void expectEnd(OxAudioStream& stream) {
  double time = -7.0;
  EXPECT_EQ(stream.decodeFrame(&time), -1);
  EXPECT_EQ(time, -7.0);
  const OxAudioSample block = stream.getNextSample();
  EXPECT_EQ(block.buffer, nullptr);
  EXPECT_EQ(block.numberOfSamples, 0);
  EXPECT_EQ(block.sampleFormat, stream.sampleFormat);
  EXPECT_EQ(block.bytesPerSample, stream.bytesPerSample);
}

std::vector<uint8_t> joined(const std::vector<BlockFacts>& blocks) {
  std::vector<uint8_t> all;
  for (const BlockFacts& block : blocks) {
    all.insert(all.end(), block.bytes.begin(), block.bytes.end());
  }
  return all;
}

template <typename T>
void append(std::vector<uint8_t>& bytes, T value) {
  const auto* raw = reinterpret_cast<const uint8_t*>(&value);
  bytes.insert(bytes.end(), raw, raw + sizeof value);
}

struct Layout {
  std::string file;
  std::string encoder;
  AVSampleFormat encoderFormat;
  int sampleFormat;
  int bytesPerSample;

  friend std::ostream& operator<<(std::ostream& out, const Layout& value) {
    return out << value.file;
  }
};

class BlockLayout : public OxAudioStreamTest, public testing::WithParamInterface<Layout> {};

TEST_P(BlockLayout, IsThatOfTheCodec) {
  const auto& [file, encoder, encoderFormat, sampleFormat, bytesPerSample] = GetParam();
  AudioSpec spec = audio(encoder, 2, 1.0);
  spec.sampleFormat = encoderFormat;
  const Song song(clip(file, spec));
  const auto stream = song.open();
  EXPECT_EQ(stream->sampleFormat, sampleFormat);
  EXPECT_EQ(stream->bytesPerSample, bytesPerSample);
  EXPECT_EQ(stream->sampleRate, 48000);
  EXPECT_EQ(stream->getNumberOfChannels(), 2);
  const std::vector<BlockFacts> blocks = pullBlocks(*stream);
  EXPECT_FALSE(blocks.empty());
  EXPECT_EQ(blocks, expectedBlocks(song.stream(), song.packets));
}

constexpr auto kAny = AV_SAMPLE_FMT_NONE;
INSTANTIATE_TEST_SUITE_P(
    , BlockLayout,
    testing::Values(
        Layout{"u8.wav", "pcm_u8", kAny, 0, 1}, Layout{"s16.wav", "pcm_s16le", kAny, 1, 2},
        Layout{"s16be.mov", "pcm_s16be", kAny, 1, 2}, Layout{"s24.wav", "pcm_s24le", kAny, 2, 4},
        Layout{"s32.wav", "pcm_s32le", kAny, 2, 4}, Layout{"f32.wav", "pcm_f32le", kAny, 3, 4},
        Layout{"f64.wav", "pcm_f64le", kAny, 4, 8}, Layout{"mulaw.wav", "pcm_mulaw", kAny, 1, 2},
        Layout{"aac.mp4", "aac", kAny, 1, 2}, Layout{"ac3.mkv", "ac3", kAny, 1, 2},
        Layout{"mp2.ts", "mp2", kAny, 1, 2}, Layout{"mp3.mp3", "libmp3lame", kAny, 1, 2},
        Layout{"opus.mkv", "libopus", kAny, 1, 2}, Layout{"vorbis.mkv", "libvorbis", kAny, 1, 2},
        Layout{"flac16.flac", "flac", AV_SAMPLE_FMT_S16, 1, 2},
        Layout{"flac24.flac", "flac", AV_SAMPLE_FMT_S32, 2, 4},
        Layout{"alac16.mov", "alac", AV_SAMPLE_FMT_S16P, 1, 2},
        Layout{"alac24.mov", "alac", AV_SAMPLE_FMT_S32P, 2, 4},
        Layout{"wavpack.mkv", "wavpack", AV_SAMPLE_FMT_FLTP, 3, 4},
        Layout{"wavpack16.mkv", "wavpack", AV_SAMPLE_FMT_S16P, 1, 2},
        Layout{"ima.wav", "adpcm_ima_wav", kAny, 1, 2}, Layout{"ms.wav", "adpcm_ms", kAny, 1, 2}));

TEST_F(OxAudioStreamTest, PcmHoldsTheSamplesOfTheFile) {
  constexpr int kChannels = 3;
  constexpr int64_t kInstants = 4800;
  const std::pair<std::string, std::function<void(std::vector<uint8_t>&, double)>> cases[] = {
      {"pcm_u8",
       [](auto& bytes, double v) { append(bytes, static_cast<uint8_t>(quantize(v, 8) + 128)); }},
      {"pcm_s16le",
       [](auto& bytes, double v) { append(bytes, static_cast<int16_t>(quantize(v, 16))); }},
      // The samples of a clip have 16 significant bits.
      {"pcm_s24le", [](auto& bytes, double v) { append(bytes, quantize(v, 16) * 65536); }},
      {"pcm_s32le", [](auto& bytes, double v) { append(bytes, quantize(v, 16) * 65536); }},
      {"pcm_f32le", [](auto& bytes, double v) { append(bytes, static_cast<float>(v)); }},
      {"pcm_f64le", [](auto& bytes, double v) { append(bytes, v); }}};
  for (const auto& [encoder, put] : cases) {
    std::vector<uint8_t> expected;
    for (int64_t i = 0; i < kInstants; ++i) {
      for (int channel = 0; channel < kChannels; ++channel) {
        put(expected, clipSample(channel, i));
      }
    }
    const Song song(clip(encoder + ".mkv", audio(encoder, kChannels, 0.1)));
    const auto stream = song.open();
    EXPECT_TRUE(joined(pullBlocks(*stream)) == expected) << encoder;
  }
}

TEST_F(OxAudioStreamTest, EightChannelsAreInterleaved) {
  const Song song(clip("8.flac", audio("flac", 8, 0.2)));
  const auto stream = song.open();
  EXPECT_EQ(stream->getNumberOfChannels(), 8);
  const std::vector<uint8_t> bytes = joined(pullBlocks(*stream));
  ASSERT_EQ(bytes.size(), 9600U * 8U * 2U);
  for (std::size_t k = 0; k < bytes.size() / 2; ++k) {
    int16_t value = 0;
    std::memcpy(&value, bytes.data() + 2 * k, 2);
    ASSERT_EQ(value,
              quantize(clipSample(static_cast<int>(k % 8), static_cast<int64_t>(k / 8)), 16));
  }
}

TEST_F(OxAudioStreamTest, FloatOfALossyCodecIsClippedTo16Bits) {
  AudioSpec loud = audio("aac", 1, 1.0);
  loud.sample = [](int, int64_t i) { return (i / 100) % 2 == 0 ? 1.6 : -1.6; };
  const Song song(clip("loud.mp4", loud));
  const auto stream = song.open();
  const std::vector<uint8_t> bytes = joined(pullBlocks(*stream));
  std::vector<int16_t> values(bytes.size() / 2);
  std::memcpy(values.data(), bytes.data(), bytes.size());
  EXPECT_EQ(*std::max_element(values.begin(), values.end()), 32767);
  EXPECT_EQ(*std::min_element(values.begin(), values.end()), -32768);
  EXPECT_GT(std::count(values.begin(), values.end(), 32767), 1000);
}

TEST_F(OxAudioStreamTest, BlocksAreWholeFromTheFirstPacketOn) {
  const Song song(clip("aac.mp4", audio("aac", 2, 1.0)));
  const auto stream = song.open();
  const std::vector<BlockFacts> blocks = pullBlocks(*stream);
  EXPECT_EQ(blocks.size(), song.packets.size());  // the priming comes, too
  for (const BlockFacts& block : blocks) {
    EXPECT_EQ(block.bytes.size(), 1024U * 2U * 2U);
  }
}

TEST_F(OxAudioStreamTest, APacketOfSeveralBlocksRepeatsItsFirst) {
  const Song song(clip("adpcm.wav", audio("adpcm_ms", 2, 1.0)));
  ReferenceDecoder decoder(song.stream());
  const std::size_t blocksInFirst = decoder.decode(*song.packets.front()).size();
  ASSERT_GT(blocksInFirst, 1U);
  const auto stream = song.open();
  const std::vector<BlockFacts> blocks = pullBlocks(*stream);
  ASSERT_GT(blocks.size(), blocksInFirst);
  for (std::size_t i = 0; i < blocksInFirst; ++i) {
    EXPECT_EQ(blocks[i].bytes, blocks[0].bytes);
  }
  EXPECT_NE(blocks[blocksInFirst].bytes, blocks[0].bytes);
  // The clock runs on over the repetitions.
  const double blockSeconds = static_cast<double>(blocks[0].bytes.size()) / (2.0 * 2.0 * 48000.0);
  EXPECT_NEAR(blocks[1].time, blockSeconds, 1e-12);
}

TEST_F(OxAudioStreamTest, ABlockOver192000BytesIsADecodingError) {
  AudioSpec spec = audio("pcm_s16le", 2, 2.0);
  spec.samplesPerPacket = 48000;  // 192,000 bytes
  const Song fits(clip("fits.nut", spec));
  EXPECT_EQ(pullBlocks(*fits.open()).size(), 2U);

  spec.samplesPerPacket = 48001;
  const Song tooLarge(clip("large.nut", spec));
  const auto stream = tooLarge.open();
  const std::vector<BlockFacts> blocks = pullBlocks(*stream);
  ASSERT_EQ(blocks.size(), 1U);  // the rest of the clip, which the next packet holds
  EXPECT_EQ(blocks[0].bytes.size(), (96000U - 48001U) * 4U);
  EXPECT_NEAR(blocks[0].time, 48001.0 / 48000.0, 1e-4);
}

TEST_F(OxAudioStreamTest, APacketThatDoesNotDecodeIsPassedOver) {
  const Song song(clip("a.ts", audio("mp2", 2, 1.0)));
  ASSERT_GE(av_packet_make_writable(song.packets[5].get()), 0);
  std::fill_n(song.packets[5]->data, song.packets[5]->size, uint8_t{0});
  const auto stream = song.open();
  EXPECT_EQ(pullBlocks(*stream).size(), song.packets.size() - 1);
}

TEST_F(OxAudioStreamTest, TheClockCountsTwoBytesASample) {
  const std::pair<std::string, double> cases[] = {
      {"pcm_u8", 0.5}, {"pcm_s16le", 1.0}, {"pcm_s24le", 2.0}, {"pcm_f64le", 4.0}};
  for (const auto& [encoder, factor] : cases) {
    AudioSpec spec = audio(encoder, 2, 1.0);
    spec.samplesPerPacket = 4800;
    const Song song(clip(encoder + ".nut", spec));
    ASSERT_EQ(song.packets.size(), 10U);
    for (std::size_t i = 1; i < song.packets.size(); ++i) {
      song.packets[i]->pts = AV_NOPTS_VALUE;
    }
    const auto stream = song.open();
    const std::vector<BlockFacts> blocks = pullBlocks(*stream);
    ASSERT_EQ(blocks.size(), 10U);
    for (std::size_t i = 0; i < blocks.size(); ++i) {
      EXPECT_NEAR(blocks[i].time, static_cast<double>(i) * 0.1 * factor, 1e-12) << encoder;
    }
    EXPECT_NEAR(stream->audioClock, factor, 1e-12);
  }
}

TEST_F(OxAudioStreamTest, EveryPresentationTimeSetsTheClock) {
  AudioSpec spec = audio("pcm_s32le", 1, 0.4);
  spec.samplesPerPacket = 4800;
  const Song song(clip("a.nut", spec));
  ASSERT_EQ(song.packets.size(), 4U);
  song.container->streams[0]->time_base = {1, 10};
  const int64_t stamps[] = {7, AV_NOPTS_VALUE, -3, AV_NOPTS_VALUE};
  for (std::size_t i = 0; i < 4; ++i) {
    song.packets[i]->pts = stamps[i];
    song.packets[i]->dts = 100;  // plays no part
  }
  const auto stream = song.open();
  EXPECT_EQ(stream->audioClock, 0.0);
  std::vector<double> times;
  for (const BlockFacts& block : pullBlocks(*stream)) {
    times.push_back(block.time);
  }
  const double advance = 4800.0 * 4.0 / (1.0 * 2.0 * 48000.0);
  EXPECT_EQ(times, (std::vector<double>{0.1 * 7.0, 0.1 * 7.0 + advance, 0.1 * -3.0,
                                        0.1 * -3.0 + advance}));
}

TEST_F(OxAudioStreamTest, DurationsAreNarrowedTo32Bits) {
  const Song song(clip("a.wav", audio("pcm_s16le", 2, 1.5)));
  EXPECT_EQ(OxAudioStream(song.container.get(), 0).durationSeconds, 1);
  const struct {
    int64_t microseconds;
    int seconds;
  } cases[] = {
      {0, 0},
      {999999, 0},
      {-1500000, -1},
      {2147483647, 2147},
      {2147483648, -2147},
      {3000000000, -1294},            // 3,000,000,000 - 2^32 = -1,294,967,296
      {4294967296 + 5000000, 5},      // a whole turn
      {10LL * 3600 * 1000000, 1640},  // 36e9 - 8 * 2^32 = 1,640,261,632
      {AV_NOPTS_VALUE, 0},            // its low 32 bits are 0
  };
  for (const auto& [microseconds, seconds] : cases) {
    song.container->duration = microseconds;
    EXPECT_EQ(OxAudioStream(song.container.get(), 0).durationSeconds, seconds) << microseconds;
  }
}

TEST_F(OxAudioStreamTest, ABlockIsACopyOfOneDecoderOutput) {
  AudioSpec spec = audio("pcm_s16le", 2, 0.1);
  spec.samplesPerPacket = 1152;
  const Song song(clip("a.nut", spec));
  const auto stream = song.open();
  const OxAudioSample first = stream->getNextSample();
  const OxAudioSample second = stream->getNextSample();
  EXPECT_EQ(first.numberOfSamples, 2304);
  EXPECT_EQ(first.bytesPerSample, 2);
  EXPECT_EQ(first.sampleFormat, 1);
  const auto* values = reinterpret_cast<const int16_t*>(first.buffer);
  const auto* later = reinterpret_cast<const int16_t*>(second.buffer);
  for (int k = 0; k < 2304; ++k) {
    ASSERT_EQ(values[k], quantize(clipSample(k % 2, k / 2), 16));
    ASSERT_EQ(later[k], quantize(clipSample(k % 2, 1152 + k / 2), 16));
  }
  freeSample(first);
  freeSample(second);
}

TEST_F(OxAudioStreamTest, WhatIsLeftOfADecodedBlockComesFirst) {
  const Song song(clip("a.wav", audio("pcm_s16le")));
  const auto stream = song.open();
  for (uint8_t i = 0; i < 100; ++i) {
    stream->audioBuffer[i] = i;
  }
  stream->audioBufferSize = 100;
  stream->audioBufferIndex = 41;
  const OxAudioSample rest = stream->getNextSample();
  EXPECT_EQ(rest.numberOfSamples, 29);  // 59 bytes, an integer division
  EXPECT_EQ(rest.buffer[0], 41);
  EXPECT_EQ(rest.buffer[58], 99);
  EXPECT_EQ(stream->audioBufferIndex, 100U);
  freeSample(rest);
}

TEST_F(OxAudioStreamTest, TheDecodeBufferIsAligned) {
  const Song song(clip("a.wav", audio("pcm_s16le")));
  const auto stream = song.open();
  EXPECT_EQ(reinterpret_cast<uintptr_t>(stream->audioBuffer) % 16, 0U);
  EXPECT_EQ(sizeof stream->audioBuffer, 192000U);
}

TEST_F(OxAudioStreamTest, AChannelIsEverySecondValueOfAStereoBlock) {
  AudioSpec spec = audio("pcm_s16le", 2, 0.1);
  spec.samplesPerPacket = 1152;
  const Song song(clip("a.nut", spec));
  const auto stream = song.open();
  const OxAudioSample block = stream->getNextSample();
  ASSERT_EQ(block.numberOfSamples * block.bytesPerSample, 4608);
  const OxAudioSample right = stream->getSampleChannel(block, 1);
  EXPECT_EQ(right.numberOfSamples, 1152);
  EXPECT_EQ(right.sampleFormat, 1);
  EXPECT_EQ(right.bytesPerSample, 2);
  for (int k = 0; k < 1152; ++k) {
    ASSERT_EQ(std::memcmp(right.buffer + 2 * k, block.buffer + 4 * k + 2, 2), 0);
  }
  freeSample(right);
  freeSample(block);
}

TEST_F(OxAudioStreamTest, ChannelsAreTakenAtEveryWidth) {
  for (const auto* encoder : {"pcm_u8", "pcm_s24le", "pcm_f64le"}) {
    const Song song(clip(std::string(encoder) + ".mkv", audio(encoder, 3, 0.1)));
    const auto stream = song.open();
    const OxAudioSample block = stream->getNextSample();
    const auto width = static_cast<std::size_t>(block.bytesPerSample);
    for (unsigned short channel = 0; channel < 3; ++channel) {
      const OxAudioSample one = stream->getSampleChannel(block, channel);
      ASSERT_EQ(one.numberOfSamples, block.numberOfSamples / 3);
      for (std::size_t k = 0; k < static_cast<std::size_t>(one.numberOfSamples); ++k) {
        ASSERT_EQ(
            std::memcmp(one.buffer + k * width, block.buffer + (k * 3 + channel) * width, width),
            0);
      }
      freeSample(one);
    }
    freeSample(block);
  }
}

TEST_F(OxAudioStreamTest, IncompleteInstantsAreLeftOut) {
  const Song song(clip("a.wav", audio("pcm_s16le")));
  const auto stream = song.open();
  int16_t values[7] = {1, 2, 3, 4, 5, 6, 7};
  OxAudioSample block;
  block.buffer = reinterpret_cast<uint8_t*>(values);
  block.bytesPerSample = 2;
  block.numberOfSamples = 7;
  const OxAudioSample left = stream->getSampleChannel(block, 0);
  ASSERT_EQ(left.numberOfSamples, 3);
  const int16_t expected[3] = {1, 3, 5};
  EXPECT_EQ(std::memcmp(left.buffer, expected, sizeof expected), 0);
  freeSample(left);
}

TEST_F(OxAudioStreamTest, AChannelThatDoesNotExistGivesAText) {
  const Song song(clip("a.wav", audio("pcm_s16le", 2)));
  const auto stream = song.open();
  const OxAudioSample block = stream->getNextSample();
  for (const uint16_t channel : std::initializer_list<uint16_t>{2, 3, 65535}) {
    const OxAudioSample none = stream->getSampleChannel(block, channel);
    EXPECT_EQ(none.numberOfSamples, 0);
    EXPECT_STREQ(reinterpret_cast<const char*>(none.buffer), "Channel is too large");
    freeSample(none);  // leaves the text alone
    EXPECT_STREQ(reinterpret_cast<const char*>(none.buffer), "Channel is too large");
  }
  freeSample(block);
}

TEST_F(OxAudioStreamTest, AtTheEndThereIsNoBlock) {
  const Song song(clip("a.wav", audio("pcm_s16le", 2, 0.1)));
  const auto stream = song.open();
  pullBlocks(*stream);
  expectEnd(*stream);
  freeSample(stream->getNextSample());
}

TEST_F(OxAudioStreamTest, AnIndexOutOfRangeIsHarmless) {
  const Song song(clip("a.wav", audio("pcm_s16le")));
  for (const int index : {-1, 1}) {
    OxAudioStream stream(song.container.get(), index);
    EXPECT_EQ(stream.streamIndex, index);
    EXPECT_EQ(stream.getNumberOfChannels(), -1);
    EXPECT_EQ(stream.packetQueue, nullptr);
    expectEnd(stream);
  }
  OxAudioStream withoutContainer(nullptr, 0);
  EXPECT_EQ(withoutContainer.getNumberOfChannels(), -1);
  expectEnd(withoutContainer);
}

TEST_F(OxAudioStreamTest, ADecoderThatDoesNotOpenIsHarmless) {
  const Song song(clip("a.wav", audio("pcm_s16le")));
  AVCodecParameters& parameters = *song.container->streams[0]->codecpar;
  const auto expectHarmless = [&] {
    OxAudioStream stream(song.container.get(), 0);
    EXPECT_EQ(stream.packetQueue, nullptr);
    EXPECT_EQ(stream.stream, nullptr);
    expectEnd(stream);
  };
  parameters.codec_id = AV_CODEC_ID_ALAC;  // refuses to open without a cookie
  expectHarmless();
  parameters.codec_id = AV_CODEC_ID_NONE;
  expectHarmless();
  parameters.codec_type = AVMEDIA_TYPE_VIDEO;
  parameters.codec_id = AV_CODEC_ID_RAWVIDEO;
  expectHarmless();
}

TEST_F(OxAudioStreamTest, AnEmptyPacketDoesNotEndTheDecoder) {
  Song song(clip("a.mp4", audio("aac", 2, 0.5)));
  song.packets.insert(song.packets.begin() + 4, PacketHandle(av_packet_alloc()));
  const auto stream = song.open();
  EXPECT_EQ(pullBlocks(*stream).size(), song.packets.size() - 1);
}

TEST_F(OxAudioStreamTest, TheMarkerMakesTheDecoderForget) {
  Song song(clip("a.mp4", audio("aac", 2, 1.0)));
  const auto uninterrupted = song.open();
  const std::vector<BlockFacts> before = pullBlocks(*uninterrupted);
  song.packets.insert(song.packets.begin() + 10, nullptr);
  const auto stream = song.open();
  const std::vector<BlockFacts> blocks = pullBlocks(*stream);
  EXPECT_EQ(blocks, expectedBlocks(song.stream(), song.packets));
  ASSERT_EQ(blocks.size(), before.size());
  EXPECT_EQ(blocks[9], before[9]);
  EXPECT_NE(blocks[10].bytes, before[10].bytes);  // the overlap of the tenth packet is gone
}

TEST_F(OxAudioStreamTest, FreeingABlockWithoutSamplesLeavesItsBuffer) {
  OxAudioSample empty;
  empty.buffer = static_cast<uint8_t*>(std::malloc(16));
  freeSample(empty);
  std::memset(empty.buffer, 1, 16);  // still there
  std::free(empty.buffer);
  OxAudioSample withoutBuffer;
  withoutBuffer.numberOfSamples = 5;
  freeSample(withoutBuffer);
}

}  // namespace
