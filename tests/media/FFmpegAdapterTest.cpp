#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <thread>

#include "media/BufferControl.h"
#include "media/FFmpeg.h"
#include "media/Reference.h"
#include "media/ReleasePicture.h"
#include "support/Clips.h"
#include "support/FaultyReads.h"

namespace {

using namespace qatest;
namespace ffmpeg = qatester::ffmpeg;

const AVIOInterruptCB kNoInterrupt{nullptr, nullptr};

/// A decoder of uncompressed sound, one channel.
DecoderHandle pcmDecoder(AVCodecID id) {
  const AVCodec* codec = avcodec_find_decoder(id);
  DecoderHandle context(avcodec_alloc_context3(codec));
  context->sample_rate = 48000;
  av_channel_layout_default(&context->ch_layout, 1);
  EXPECT_TRUE(ffmpeg::openDecoder(context.get(), codec));
  return context;
}

/// What one packet of these bytes decodes to, as 16-bit values.
template <typename T>
std::vector<int16_t> asSigned16(AVCodecID id, const std::vector<T>& values) {
  const DecoderHandle decoder = pcmDecoder(id);
  const PacketHandle packet(av_packet_alloc());
  EXPECT_EQ(av_new_packet(packet.get(), static_cast<int>(values.size() * sizeof(T))), 0);
  std::memcpy(packet->data, values.data(), values.size() * sizeof(T));
  std::vector<uint8_t> output(ffmpeg::kMaxAudioBlockBytes);
  int bytes = 0;
  EXPECT_EQ(
      ffmpeg::decodeAudio(decoder.get(), AV_SAMPLE_FMT_S16, output.data(), &bytes, packet.get()),
      1);
  std::vector<int16_t> result(static_cast<std::size_t>(bytes) / 2);
  std::memcpy(result.data(), output.data(), static_cast<std::size_t>(bytes));
  return result;
}

template <typename T>
void expectRounding(AVCodecID id) {
  constexpr T kStep = T{1} / T{32768};
  constexpr T kInfinity = std::numeric_limits<T>::infinity();
  const std::vector<std::pair<T, int16_t>> cases = {
      {0, 0},
      {kStep, 1},
      {-kStep, -1},
      {T(0.5) * kStep, 0},  // half to even
      {T(1.5) * kStep, 2},
      {T(-0.5) * kStep, 0},
      {T(-2.5) * kStep, -2},
      {T(0.75) * kStep, 1},
      {T(32766.5) * kStep, 32766},
      {T(32767) * kStep, 32767},
      {1, 32767},
      {T(1.7), 32767},
      {kInfinity, 32767},
      {T(-32767.5) * kStep, -32768},
      {-1, -32768},
      {T(-1.7), -32768},
      {-kInfinity, -32768},
      {std::numeric_limits<T>::quiet_NaN(), -32768},
  };
  std::vector<T> values;
  std::vector<int16_t> expected;
  for (const auto& [value, integer] : cases) {
    values.push_back(value);
    expected.push_back(integer);
  }
  EXPECT_EQ(asSigned16(id, values), expected);
}

TEST(FloatToSigned16, RoundsHalfToEvenAndClips) {
  expectRounding<float>(AV_CODEC_ID_PCM_F32LE);
  expectRounding<double>(AV_CODEC_ID_PCM_F64LE);
}

TEST(DeliveredFormat, IsInterleavedAndSigned16ForLossyFloat) {
  const struct {
    AVCodecID codec;
    AVSampleFormat decoded;
    AVSampleFormat delivered;
  } cases[] = {
      {AV_CODEC_ID_PCM_U8, AV_SAMPLE_FMT_U8, AV_SAMPLE_FMT_U8},
      {AV_CODEC_ID_PCM_S16LE, AV_SAMPLE_FMT_S16, AV_SAMPLE_FMT_S16},
      {AV_CODEC_ID_PCM_S24LE, AV_SAMPLE_FMT_S32, AV_SAMPLE_FMT_S32},
      {AV_CODEC_ID_PCM_F32LE, AV_SAMPLE_FMT_FLT, AV_SAMPLE_FMT_FLT},
      {AV_CODEC_ID_PCM_F64BE, AV_SAMPLE_FMT_DBL, AV_SAMPLE_FMT_DBL},
      {AV_CODEC_ID_WAVPACK, AV_SAMPLE_FMT_FLTP, AV_SAMPLE_FMT_FLT},
      {AV_CODEC_ID_MP2, AV_SAMPLE_FMT_S16P, AV_SAMPLE_FMT_S16},
      {AV_CODEC_ID_ALAC, AV_SAMPLE_FMT_S32P, AV_SAMPLE_FMT_S32},
      {AV_CODEC_ID_AAC, AV_SAMPLE_FMT_FLTP, AV_SAMPLE_FMT_S16},
      {AV_CODEC_ID_AC3, AV_SAMPLE_FMT_FLTP, AV_SAMPLE_FMT_S16},
      {AV_CODEC_ID_VORBIS, AV_SAMPLE_FMT_FLTP, AV_SAMPLE_FMT_S16},
  };
  for (const auto& [codec, decoded, delivered] : cases) {
    const DecoderHandle context(avcodec_alloc_context3(nullptr));
    context->codec_id = codec;
    context->sample_fmt = decoded;
    EXPECT_EQ(ffmpeg::deliveredSampleFormat(context.get()), delivered) << avcodec_get_name(codec);
  }
}

TEST(DecodeAudio, RefusesAFormatThatChangedInMidStream) {
  const DecoderHandle decoder = pcmDecoder(AV_CODEC_ID_PCM_S16LE);
  const PacketHandle packet(av_packet_alloc());
  ASSERT_EQ(av_new_packet(packet.get(), 64), 0);
  std::memset(packet->data, 1, 64);
  std::vector<uint8_t> output(ffmpeg::kMaxAudioBlockBytes);
  int bytes = -1;
  EXPECT_LT(
      ffmpeg::decodeAudio(decoder.get(), AV_SAMPLE_FMT_S32, output.data(), &bytes, packet.get()),
      0);
  EXPECT_EQ(bytes, 0);
}

TEST(DecodeVideo, KeepsTheLastPictureUntilTheNextIsComplete) {
  const TempDir dir;
  const ContainerHandle container = openClip(makeClip(dir, "a.mp4", {{h264WithBFrames(12)}, {}}));
  const AVStream* stream = container->streams[0];
  const AVCodec* codec = avcodec_find_decoder(stream->codecpar->codec_id);
  const ffmpeg::UniqueDecoder decoder = ffmpeg::makeDecoder(stream, codec);
  ASSERT_TRUE(ffmpeg::openDecoder(decoder.get(), codec));
  const FrameHandle picture(av_frame_alloc());
  const PacketHandle empty(av_packet_alloc());
  std::vector<bool> complete;
  for (const PacketHandle& packet : readPackets(*container, 0)) {
    bool got = true;
    EXPECT_EQ(ffmpeg::decodeVideo(decoder.get(), picture.get(), &got, packet.get()), packet->size);
    complete.push_back(got);
    const uint8_t* plane = picture->data[0];
    EXPECT_EQ(ffmpeg::decodeVideo(decoder.get(), picture.get(), &got, empty.get()), 0);
    EXPECT_FALSE(got);
    EXPECT_EQ(picture->data[0], plane);
  }
  ASSERT_EQ(complete.size(), 12U);
  EXPECT_FALSE(complete[0] || complete[1]);
  EXPECT_EQ(std::count(complete.begin(), complete.end(), true), 10);
}

TEST(DecodeVideo, ReportsADecodingError) {
  const TempDir dir;
  const ContainerHandle container = openClip(makeClip(dir, "a.mkv", {{ffv1(2)}, {}}));
  const AVStream* stream = container->streams[0];
  const AVCodec* codec = avcodec_find_decoder(stream->codecpar->codec_id);
  const ffmpeg::UniqueDecoder decoder = ffmpeg::makeDecoder(stream, codec);
  ASSERT_TRUE(ffmpeg::openDecoder(decoder.get(), codec));
  const FrameHandle picture(av_frame_alloc());
  const PacketHandle packet(av_packet_alloc());
  ASSERT_EQ(av_new_packet(packet.get(), 2), 0);
  std::memset(packet->data, 0xff, 2);
  bool got = true;
  EXPECT_LT(ffmpeg::decodeVideo(decoder.get(), picture.get(), &got, packet.get()), 0);
  EXPECT_FALSE(got);
}

TEST(Decoders, NeverUseFrameThreads) {
  const TempDir dir;
  for (const ClipKind& kind : clipKinds()) {
    const ContainerHandle container = openClip(makeClip(dir, kind.fileName, kind.spec));
    for (unsigned i = 0; i < container->nb_streams; ++i) {
      const AVStream* stream = container->streams[i];
      const AVCodec* codec = avcodec_find_decoder(stream->codecpar->codec_id);
      const ffmpeg::UniqueDecoder decoder = ffmpeg::makeDecoder(stream, codec);
      ASSERT_TRUE(ffmpeg::openDecoder(decoder.get(), codec));
      EXPECT_EQ(decoder->active_thread_type & FF_THREAD_FRAME, 0) << kind.fileName;
    }
  }
}

TEST(Decoders, AreNotOpenedWithoutACodec) {
  const DecoderHandle context(avcodec_alloc_context3(nullptr));
  EXPECT_FALSE(ffmpeg::openDecoder(context.get(), nullptr));
}

TEST(BorrowPicture, CopiesWhatReceiversReadAndOwnsNothing) {
  const FrameHandle picture(av_frame_alloc());
  picture->format = AV_PIX_FMT_YUV422P;
  picture->width = 50;
  picture->height = 20;
  ASSERT_GE(av_frame_get_buffer(picture.get(), 0), 0);
  picture->pts = 11;
  picture->pkt_dts = 12;
  picture->interlaced_frame = 1;
  picture->top_field_first = 1;
  AVFrame* borrowed = ffmpeg::borrowPicture(*picture);
  ASSERT_NE(borrowed, nullptr);
  for (int plane = 0; plane < 3; ++plane) {
    EXPECT_EQ(borrowed->data[plane], picture->data[plane]);
    EXPECT_EQ(borrowed->linesize[plane], picture->linesize[plane]);
  }
  EXPECT_EQ(borrowed->extended_data, borrowed->data);
  EXPECT_EQ(borrowed->buf[0], nullptr);
  EXPECT_EQ(borrowed->width, 50);
  EXPECT_EQ(borrowed->height, 20);
  EXPECT_EQ(borrowed->format, AV_PIX_FMT_YUV422P);
  EXPECT_EQ(borrowed->pts, 11);
  EXPECT_EQ(borrowed->pkt_dts, 12);
  EXPECT_EQ(borrowed->interlaced_frame, 1);
  EXPECT_EQ(borrowed->top_field_first, 1);
  OxVideoFrameYUV record;
  record.frame = borrowed;
  qatester::releasePicture(record);
  EXPECT_EQ(av_buffer_get_ref_count(picture->buf[0]), 1);
  qatester::releasePicture(OxVideoFrameYUV{});
}

TEST(BorrowPicture, KeepsEveryPropertyThatIsPlain) {
  const FrameHandle picture(av_frame_alloc());
  uint64_t ticks = 0;
  picture->key_frame = 0;
  picture->pict_type = AV_PICTURE_TYPE_B;
  picture->sample_aspect_ratio = {16, 15};
  picture->time_base = {1, 90000};
  picture->coded_picture_number = 21;
  picture->display_picture_number = 22;
  picture->quality = 23;
  picture->opaque = &ticks;
  picture->repeat_pict = 1;
  picture->palette_has_changed = 1;
  picture->reordered_opaque = 24;
  picture->flags = AV_FRAME_FLAG_CORRUPT;
  picture->color_range = AVCOL_RANGE_JPEG;
  picture->color_primaries = AVCOL_PRI_BT709;
  picture->color_trc = AVCOL_TRC_GAMMA28;
  picture->colorspace = AVCOL_SPC_BT470BG;
  picture->chroma_location = AVCHROMA_LOC_TOPLEFT;
  picture->best_effort_timestamp = 25;
  picture->pkt_pos = 26;
  picture->pkt_duration = 27;
  picture->pkt_size = 28;
  picture->decode_error_flags = FF_DECODE_ERROR_MISSING_REFERENCE;
  picture->crop_top = 1;
  picture->crop_bottom = 2;
  picture->crop_left = 3;
  picture->crop_right = 4;
  OxVideoFrameYUV record;
  record.frame = ffmpeg::borrowPicture(*picture);
  ASSERT_NE(record.frame, nullptr);
  const AVFrame& borrowed = *record.frame;
  EXPECT_EQ(borrowed.key_frame, 0);
  EXPECT_EQ(borrowed.pict_type, AV_PICTURE_TYPE_B);
  EXPECT_EQ(av_cmp_q(borrowed.sample_aspect_ratio, {16, 15}), 0);
  EXPECT_EQ(av_cmp_q(borrowed.time_base, {1, 90000}), 0);
  EXPECT_EQ(borrowed.coded_picture_number, 21);
  EXPECT_EQ(borrowed.display_picture_number, 22);
  EXPECT_EQ(borrowed.quality, 23);
  EXPECT_EQ(borrowed.opaque, &ticks);
  EXPECT_EQ(borrowed.repeat_pict, 1);
  EXPECT_EQ(borrowed.palette_has_changed, 1);
  EXPECT_EQ(borrowed.reordered_opaque, 24);
  EXPECT_EQ(borrowed.flags, AV_FRAME_FLAG_CORRUPT);
  EXPECT_EQ(borrowed.color_range, AVCOL_RANGE_JPEG);
  EXPECT_EQ(borrowed.color_primaries, AVCOL_PRI_BT709);
  EXPECT_EQ(borrowed.color_trc, AVCOL_TRC_GAMMA28);
  EXPECT_EQ(borrowed.colorspace, AVCOL_SPC_BT470BG);
  EXPECT_EQ(borrowed.chroma_location, AVCHROMA_LOC_TOPLEFT);
  EXPECT_EQ(borrowed.best_effort_timestamp, 25);
  EXPECT_EQ(borrowed.pkt_pos, 26);
  EXPECT_EQ(borrowed.pkt_duration, 27);
  EXPECT_EQ(borrowed.pkt_size, 28);
  EXPECT_EQ(borrowed.decode_error_flags, FF_DECODE_ERROR_MISSING_REFERENCE);
  EXPECT_EQ(borrowed.crop_top, 1U);
  EXPECT_EQ(borrowed.crop_bottom, 2U);
  EXPECT_EQ(borrowed.crop_left, 3U);
  EXPECT_EQ(borrowed.crop_right, 4U);
  qatester::releasePicture(record);
}

TEST(BorrowPicture, LeavesToThePictureWhatIsNotPlain) {
  const FrameHandle picture(av_frame_alloc());
  picture->format = AV_PIX_FMT_YUV420P;
  picture->width = 16;
  picture->height = 16;
  ASSERT_GE(av_frame_get_buffer(picture.get(), 0), 0);
  ASSERT_NE(av_frame_new_side_data(picture.get(), AV_FRAME_DATA_A53_CC, 10), nullptr);
  ASSERT_GE(av_dict_set(&picture->metadata, "key", "value", 0), 0);
  picture->opaque_ref = av_buffer_alloc(4);
  OxVideoFrameYUV record;
  record.frame = ffmpeg::borrowPicture(*picture);
  ASSERT_NE(record.frame, nullptr);
  EXPECT_EQ(record.frame->nb_side_data, 0);
  EXPECT_EQ(record.frame->side_data, nullptr);
  EXPECT_EQ(record.frame->metadata, nullptr);
  EXPECT_EQ(record.frame->opaque_ref, nullptr);
  EXPECT_EQ(av_buffer_get_ref_count(picture->opaque_ref), 1);
  qatester::releasePicture(record);
}

TEST(OpenContainer, SaysWhyItFailed) {
  ffmpeg::UniqueContainer container;
  const int result = ffmpeg::openContainer("/nowhere/at/all.mov", kNoInterrupt, &container);
  EXPECT_LT(result, 0);
  EXPECT_EQ(container, nullptr);
  EXPECT_EQ(ffmpeg::errorText(result), "No such file or directory");
  EXPECT_EQ(ffmpeg::errorText(AVERROR_INVALIDDATA), "Invalid data found when processing input");
}

/// Counts who knocks at a port of this machine, and sends them away.
class Doorman {
 public:
  Doorman() : door_(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    EXPECT_EQ(bind(door_, generic, length), 0);
    EXPECT_EQ(listen(door_, 4), 0);
    EXPECT_EQ(getsockname(door_, generic, &length), 0);
    port_ = ntohs(address.sin_port);
    watch_ = std::thread([this] {
      for (int guest = accept(door_, nullptr, nullptr); guest >= 0;
           guest = accept(door_, nullptr, nullptr)) {
        guests_ += 1;
        close(guest);
      }
    });
  }
  ~Doorman() {
    shutdown(door_, SHUT_RDWR);
    watch_.join();
    close(door_);
  }
  Doorman(const Doorman&) = delete;
  Doorman& operator=(const Doorman&) = delete;

  int port() const { return port_; }
  int guests() const { return guests_; }

 private:
  int door_;
  int port_ = 0;
  std::atomic<int> guests_{0};
  std::thread watch_;
};

TEST(OpenContainer, NeverReadsWhatAFileNames) {
  const TempDir dir;
  const Doorman doorman;
  const auto streamsOfPlaylist = [&](const std::string& target) {
    const std::string file = dir.file("list.m3u8");
    writeFile(file, "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:2\n#EXTINF:2,\n" + target +
                        "\n#EXT-X-ENDLIST\n");
    ffmpeg::UniqueContainer container;
    ffmpeg::openContainer(file, kNoInterrupt, &container);
    return container != nullptr && ffmpeg::findStreamInfo(container.get()) >= 0
               ? container->nb_streams
               : 0;
  };
  EXPECT_EQ(streamsOfPlaylist(makeClip(dir, "a.ts", {{}, {audio("mp2")}})), 0U);
  EXPECT_EQ(streamsOfPlaylist("http://127.0.0.1:" + std::to_string(doorman.port()) + "/a.ts"), 0U);
  EXPECT_EQ(doorman.guests(), 0);
}

TEST(ReadErrors, AreToldFromTheEndOfTheFile) {
  const TempDir dir;
  const std::string file = makeClip(dir, "a.wav", {{}, {audio("pcm_s16le", 2, 10.0)}});
  const ContainerHandle whole = openClip(file);
  EXPECT_FALSE(readPackets(*whole, 0).empty());
  EXPECT_FALSE(ffmpeg::hasReadError(whole.get()));

  const ContainerHandle broken = openClip(file);
  const FaultyReads reads(file, 1000000, ReadFault::fails);
  EXPECT_FALSE(readPackets(*broken, 0).empty());
  EXPECT_TRUE(ffmpeg::hasReadError(broken.get()));

  const ContainerHandle withoutInput(avformat_alloc_context());
  EXPECT_FALSE(ffmpeg::hasReadError(withoutInput.get()));
}

TEST(Packets, AreBlankAfterTheirPayloadWasPassedOn) {
  AVPacket passedOn{};
  {
    ffmpeg::ScopedPacket packet;
    EXPECT_EQ(packet->pts, AV_NOPTS_VALUE);
    EXPECT_EQ(packet->dts, AV_NOPTS_VALUE);
    EXPECT_EQ(packet->pos, -1);
    ASSERT_EQ(av_new_packet(packet.get(), 10), 0);
    passedOn = *packet;
    packet.release();
    EXPECT_EQ(packet->data, nullptr);
    EXPECT_EQ(packet->buf, nullptr);
  }
  EXPECT_EQ(av_buffer_get_ref_count(passedOn.buf), 1);
  av_packet_unref(&passedOn);
}

}  // namespace
