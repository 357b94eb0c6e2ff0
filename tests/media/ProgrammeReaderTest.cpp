#include "media/ProgrammeReader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <deque>
#include <filesystem>
#include <mutex>
#include <numeric>
#include <stdexcept>
#include <thread>

#include "support/Clips.h"
#include "support/FaultyReads.h"
#include "support/MediaFolder.h"
#include "support/Sanitized.h"
#include "support/WaitUntil.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/log.h>
}

namespace {

using namespace qatest;
using namespace qatester;

constexpr ProgrammeWants kEverything{true, true, true};
constexpr ProgrammeWants kPictures{true, false, false};
constexpr ProgrammeWants kSound{false, true, false};

/// FNV-1a over the visible bytes of all planes.
uint64_t hashOf(const AVFrame& picture) {
  const auto format = static_cast<AVPixelFormat>(picture.format);
  const int size = av_image_get_buffer_size(format, picture.width, picture.height, 1);
  std::vector<uint8_t> bytes(static_cast<std::size_t>(std::max(size, 0)));
  av_image_copy_to_buffer(bytes.data(), size, picture.data, picture.linesize, format, picture.width,
                          picture.height, 1);
  uint64_t hash = 0xcbf29ce484222325U;
  for (const uint8_t byte : bytes) {
    hash = (hash ^ byte) * 0x100000001b3U;
  }
  return hash;
}

/// Keeps what it is given; the pictures as hashes.
class Recorder : public ProgrammeConsumer {
 public:
  explicit Recorder(const ProgrammeWants& wants = kEverything, bool slow = false)
      : wants_(wants), slow_(slow) {}

  ProgrammeWants wants() const override { return wants_; }
  bool isSlow() const override { return slow_; }
  void begin(const ProgrammeFacts& given) override {
    ++begins;
    facts = given;
  }
  void take(const ProgrammePicture& picture) override {
    seconds.push_back(picture.seconds.value_or(-1.0));
    numbers.push_back(picture.number);
    damages.push_back(picture.damage);
    hashes.push_back(hashOf(*picture.frame));
    keys.push_back(picture.key);
    thread = std::this_thread::get_id();
  }
  void take(const ProgrammeBlock& block) override {
    samples.resize(std::max(samples.size(), static_cast<std::size_t>(block.stream) + 1));
    int64_t& sum = samples[static_cast<std::size_t>(block.stream)];
    EXPECT_EQ(block.firstSample, sum);
    EXPECT_EQ(block.samples, block.frame->nb_samples);
    if (sum == 0) {
      soundStarts.push_back(block.seconds.value_or(-1.0));
    }
    sum += block.samples;
  }
  void take(const ProgrammePacket& packet) override { packets.push_back(packet); }
  void take(const ProgrammeComplaint& complaint) override {
    complaints.push_back(complaint);
    picturesBefore.push_back(hashes.size());
  }
  void end(const ProgrammeEnd& given) override {
    ++ends;
    ending = given;
  }

  int begins = 0;
  int ends = 0;
  ProgrammeFacts facts;
  ProgrammeEnd ending;
  std::vector<double> seconds;
  std::vector<int64_t> numbers;
  std::vector<unsigned> damages;
  std::vector<uint64_t> hashes;
  std::vector<bool> keys;
  std::vector<int64_t> samples;  ///< by stream
  std::vector<double> soundStarts;
  std::vector<ProgrammePacket> packets;
  std::vector<ProgrammeComplaint> complaints;
  std::vector<std::size_t> picturesBefore;  ///< each complaint
  std::thread::id thread;

 private:
  ProgrammeWants wants_;
  bool slow_;
};

ProgrammeEnd read(const std::string& file, ProgrammeConsumer& consumer, int threads = 0) {
  ProgrammeReaderOptions options;
  options.threads = threads;
  ProgrammeReader reader(file, options);
  EXPECT_EQ(reader.openError(), "");
  reader.add(consumer);
  const ProgrammeEnd end = reader.run();
  EXPECT_EQ(reader.errorOf(consumer), nullptr);
  return end;
}

std::vector<std::string> wordsOf(const Recorder& recorder) {
  std::vector<std::string> words;
  for (const ProgrammeComplaint& complaint : recorder.complaints) {
    words.push_back(std::to_string(static_cast<int>(complaint.by)) + " " +
                    std::to_string(complaint.stream) + " " +
                    (complaint.seconds.has_value() ? std::to_string(*complaint.seconds) : "-") +
                    " " + complaint.text);
  }
  return words;
}

class ProgrammeReaderTest : public testing::Test {
 protected:
  TempDir dir;
};

// Everything comes, once, in order.

struct CodecCase {
  std::string fileName;
  VideoSpec video;

  friend std::ostream& operator<<(std::ostream& out, const CodecCase& value) {
    return out << value.fileName;
  }
};

class ProgrammeReaderPictures : public testing::TestWithParam<CodecCase> {
 protected:
  TempDir dir;
};

TEST_P(ProgrammeReaderPictures, AllComeInOrderAtTheirTimes) {
  const std::string file =
      makeClip(dir, GetParam().fileName, {.video = {GetParam().video}, .audio = {}});
  Recorder recorder;
  const ProgrammeEnd end = read(file, recorder);
  const auto count = static_cast<std::size_t>(GetParam().video.frames);
  ASSERT_EQ(recorder.seconds.size(), count);
  for (std::size_t i = 0; i < count; ++i) {
    EXPECT_EQ(recorder.numbers[i], static_cast<int64_t>(i));
    EXPECT_NEAR(recorder.seconds[i], static_cast<double>(i) / 25.0, 0.00051) << i;
    EXPECT_EQ(recorder.damages[i], kNoDamage);
  }
  EXPECT_TRUE(recorder.keys[0]);
  EXPECT_EQ(end.pictures, GetParam().video.frames);
  EXPECT_TRUE(end.readCleanly);
  EXPECT_FALSE(end.stopped);
  EXPECT_EQ(recorder.packets.size(), static_cast<std::size_t>(end.packets));
  EXPECT_TRUE(recorder.complaints.empty());
  EXPECT_EQ(recorder.begins, 1);
  EXPECT_EQ(recorder.ends, 1);
}

INSTANTIATE_TEST_SUITE_P(, ProgrammeReaderPictures,
                         testing::Values(CodecCase{"h264.mp4", h264WithBFrames()},
                                         CodecCase{"h264.mkv", h264WithBFrames(31)},
                                         CodecCase{"h264.ts", h264WithBFrames(3)},
                                         CodecCase{"mpeg2.mpg", mpeg2WithBFrames()},
                                         CodecCase{"prores.mov", proRes(20)},
                                         CodecCase{"ffv1.mkv", ffv1(20)},
                                         CodecCase{"mjpeg.avi", mjpeg(20)},
                                         CodecCase{"dv.mov", dvPal(5)}));

TEST_F(ProgrammeReaderTest, PicturesOfALosslessClipAreThoseMade) {
  const std::string file = makeClip(dir, "clip.mkv", {.video = {ffv1(3)}, .audio = {}});
  class Looks : public Recorder {
   public:
    using Recorder::Recorder;
    using Recorder::take;
    void take(const ProgrammePicture& picture) override {
      const AVFrame& frame = *picture.frame;
      EXPECT_EQ(frame.data[0][5 * frame.linesize[0] + 7],
                clipPixel(0, 7, 5, static_cast<int>(picture.number)));
      Recorder::take(picture);
    }
  } looks;
  read(file, looks);
  EXPECT_EQ(looks.hashes.size(), 3U);
}

TEST_F(ProgrammeReaderTest, SoundIsTrimmedToWhatWasEncoded) {
  struct Case {
    std::string name;
    std::string encoder;
    int64_t samples;
  };
  // 2 s at 48 kHz; AAC fills its last block: 94 of 1024.
  for (const Case& one : {Case{"pcm.wav", "pcm_s16le", 96000}, Case{"flac.flac", "flac", 96000},
                          Case{"aac.m4a", "aac", 96256}, Case{"pcm24.mov", "pcm_s24le", 96000}}) {
    SCOPED_TRACE(one.name);
    const std::string file =
        makeClip(dir, one.name, {.video = {}, .audio = {audio(one.encoder, 2, 2.0)}});
    Recorder recorder;
    const ProgrammeEnd end = read(file, recorder);
    ASSERT_EQ(recorder.samples.size(), 1U);
    EXPECT_EQ(recorder.samples[0], one.samples);
    EXPECT_NEAR(recorder.soundStarts[0], 0.0, 0.0005);
    EXPECT_TRUE(recorder.hashes.empty());
    EXPECT_EQ(end.pictures, 0);
    EXPECT_EQ(recorder.facts.videoStream, -1);
    EXPECT_TRUE(recorder.complaints.empty());
  }
}

TEST_F(ProgrammeReaderTest, EveryAudioStreamComes) {
  const std::string file = makeClip(
      dir, "clip.mkv", {.video = {ffv1(5)}, .audio = audioStreams(4, audio("pcm_s16le", 1, 0.5))});
  Recorder recorder;
  read(file, recorder);
  EXPECT_EQ(recorder.samples, std::vector<int64_t>(4, 24000));
  EXPECT_EQ(recorder.hashes.size(), 5U);
}

TEST_F(ProgrammeReaderTest, WhatNobodyWantsIsNotDecoded) {
  const std::string file =
      makeClip(dir, "clip.mp4", {.video = {h264WithBFrames(25)}, .audio = {audio("aac", 2, 1.0)}});
  Recorder pictures(kPictures);
  read(file, pictures);
  EXPECT_EQ(pictures.hashes.size(), 25U);
  EXPECT_TRUE(pictures.samples.empty());
  EXPECT_TRUE(pictures.packets.empty());
  EXPECT_TRUE(pictures.facts.streams[0].decoded);
  EXPECT_FALSE(pictures.facts.streams[1].decoded);

  Recorder packets(ProgrammeWants{false, false, true});
  const ProgrammeEnd end = read(file, packets);
  EXPECT_TRUE(packets.hashes.empty());
  EXPECT_FALSE(packets.facts.streams[0].decoded);
  EXPECT_GT(packets.packets.size(), 25U);
  EXPECT_EQ(std::count_if(packets.packets.begin(), packets.packets.end(),
                          [](const ProgrammePacket& packet) { return packet.stream == 0; }),
            25);
  EXPECT_TRUE(end.readCleanly);

  Recorder nothing(ProgrammeWants{});
  EXPECT_EQ(read(file, nothing).packets, 0);
  EXPECT_EQ(nothing.begins, 1);
  EXPECT_EQ(nothing.ends, 1);
}

TEST_F(ProgrammeReaderTest, EachConsumerGetsWhatItWants) {
  const std::string file =
      makeClip(dir, "clip.mov", {.video = {proRes(10)}, .audio = {audio("pcm_s16le", 2, 0.4)}});
  ProgrammeReader reader(file, {});
  Recorder pictures(kPictures, true);
  Recorder sound(kSound);
  reader.add(pictures);
  reader.add(sound);
  reader.run();
  EXPECT_EQ(pictures.hashes.size(), 10U);
  EXPECT_TRUE(pictures.samples.empty());
  EXPECT_TRUE(sound.hashes.empty());
  EXPECT_EQ(sound.samples, std::vector<int64_t>{19200});
}

// What the file says.

TEST_F(ProgrammeReaderTest, FactsAreThoseOfTheClip) {
  VideoSpec video = mpeg2WithBFrames(25);
  video.width = 720;
  video.height = 576;
  video.interlaced = true;
  video.topFieldFirst = true;
  const std::string file =
      makeClip(dir, "clip.mov", {.video = {video}, .audio = {audio("pcm_s24le", 2, 1.0)}});
  const ProgrammeReader reader(file, {});
  ASSERT_NE(reader.facts(), nullptr);
  const ProgrammeFacts& facts = *reader.facts();
  EXPECT_EQ(facts.media.container, "mov,mp4,m4a,3gp,3g2,mj2");
  EXPECT_NEAR(facts.media.durationSeconds.value_or(0.0), 1.0, 0.001);
  EXPECT_TRUE(facts.durationDeclared);
  ASSERT_EQ(facts.media.streams.size(), 2U);
  EXPECT_EQ(facts.videoStream, 0);
  EXPECT_EQ(facts.audioStreams, std::vector<int>{1});

  const QAStreamFacts& pictures = facts.media.streams[0];
  EXPECT_EQ(pictures.kind, "video");
  EXPECT_EQ(pictures.codec, "mpeg2video");
  ASSERT_TRUE(pictures.video.has_value());
  EXPECT_EQ(pictures.video->width, 720);
  EXPECT_EQ(pictures.video->height, 576);
  EXPECT_EQ(pictures.video->rateNumerator, 25);
  EXPECT_EQ(pictures.video->rateDenominator, 1);
  EXPECT_EQ(pictures.video->pixelFormat, "yuv420p");
  EXPECT_EQ(pictures.video->bits, 8);
  EXPECT_EQ(pictures.video->chroma, "4:2:0");
  EXPECT_EQ(pictures.video->scan, "tff");
  EXPECT_EQ(pictures.video->matrix, "");
  EXPECT_FALSE(pictures.audio.has_value());

  const QAStreamFacts& sound = facts.media.streams[1];
  EXPECT_EQ(sound.kind, "audio");
  EXPECT_EQ(sound.codec, "pcm_s24le");
  ASSERT_TRUE(sound.audio.has_value());
  EXPECT_EQ(sound.audio->sampleRate, 48000);
  EXPECT_EQ(sound.audio->channels, 2);
  EXPECT_EQ(sound.audio->bits, 24);
  EXPECT_EQ(sound.audio->layout, "stereo");
  EXPECT_TRUE(facts.streams[0].hasTimes);
  EXPECT_EQ(facts.streams[0].declaredFrames, 25);
}

TEST_F(ProgrammeReaderTest, DepthAndChromaComeFromThePixelFormat) {
  const std::string file = makeClip(dir, "clip.mov", {.video = {proRes(2)}, .audio = {}});
  const ProgrammeReader reader(file, {});
  ASSERT_NE(reader.facts(), nullptr);
  const QAVideoFacts video = reader.facts()->media.streams[0].video.value_or(QAVideoFacts{});
  EXPECT_EQ(video.pixelFormat, "yuv422p10le");
  EXPECT_EQ(video.bits, 10);
  EXPECT_EQ(video.chroma, "4:2:2");
}

TEST_F(ProgrammeReaderTest, ARawStreamHasNoTimesAndNoDeclaredDuration) {
  const std::string file =
      makeClip(dir, "clip.m2v", {.video = {mpeg2WithBFrames(10)}, .audio = {}});
  const ProgrammeReader reader(file, {});
  ASSERT_NE(reader.facts(), nullptr);
  EXPECT_FALSE(reader.facts()->streams[0].hasTimes);
  EXPECT_FALSE(reader.facts()->durationDeclared);
}

// Damage.

/// Of a second, four packets in its middle overwritten.
VideoSpec withDamage(VideoSpec video) {
  video.edit = [](AVPacket& packet, int index) {
    if (index >= 20 && index < 24) {
      for (int i = packet.size / 3; i < packet.size; ++i) {
        packet.data[i] = static_cast<uint8_t>(packet.data[i] ^ static_cast<uint8_t>(i * 37 + 11));
      }
    }
  };
  return video;
}

TEST_F(ProgrammeReaderTest, DamageIsComplainedOfAtItsTimeAndNotPrinted) {
  const std::string file =
      makeClip(dir, "clip.mov", {.video = {withDamage(proRes(50))}, .audio = {}});
  Recorder recorder;
  // Even for a client that wants to see what FFmpeg says.
  ProgrammeReader reader(file, {});
  reader.add(recorder);
  const int level = av_log_get_level();
  av_log_set_level(AV_LOG_ERROR);
  testing::internal::CaptureStderr();
  reader.run();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  av_log_set_level(level);
  ASSERT_FALSE(recorder.complaints.empty());
  for (const ProgrammeComplaint& complaint : recorder.complaints) {
    EXPECT_EQ(complaint.stream, 0);
    ASSERT_TRUE(complaint.seconds.has_value());
    EXPECT_GE(*complaint.seconds, 20.0 / 25.0 - 0.001);
    EXPECT_LE(*complaint.seconds, 23.0 / 25.0 + 0.001);
    EXPECT_FALSE(complaint.text.empty());
  }
  // A complaint comes before the picture that it is about.
  for (const std::size_t before : recorder.picturesBefore) {
    EXPECT_LE(before, 23U);
  }
}

TEST_F(ProgrammeReaderTest, LinesOfOtherContextsAreStillPrinted) {
  const std::string file = makeClip(dir, "clip.mkv", {.video = {ffv1(2)}, .audio = {}});
  Recorder recorder;
  read(file, recorder);
  const int level = av_log_get_level();
  av_log_set_level(AV_LOG_ERROR);
  testing::internal::CaptureStderr();
  av_log(nullptr, AV_LOG_ERROR, "of nobody's\n");
  const std::string printed = testing::internal::GetCapturedStderr();
  av_log_set_level(level);
  EXPECT_NE(printed.find("of nobody's"), std::string::npos);
}

TEST_F(ProgrammeReaderTest, ACorruptPacketIsNamedWithItsPicture) {
  const std::string whole =
      makeClip(dir, "whole.ts", {.video = {mpeg2WithBFrames(50)}, .audio = {}});
  // A packet of the transport stream is lost in the middle.
  std::string bytes = readFile(whole);
  bytes.erase(bytes.size() / 2 / 188 * 188, 188);
  const std::string file = dir.file("lost.ts");
  writeFile(file, bytes);
  Recorder recorder;
  read(file, recorder);
  EXPECT_TRUE(std::any_of(recorder.complaints.begin(), recorder.complaints.end(),
                          [](const ProgrammeComplaint& complaint) {
                            return complaint.by == ProgrammeComplaint::By::packet;
                          }));
  EXPECT_TRUE(std::any_of(recorder.packets.begin(), recorder.packets.end(),
                          [](const ProgrammePacket& packet) { return packet.corrupt; }));
  EXPECT_TRUE(std::any_of(recorder.damages.begin(), recorder.damages.end(),
                          [](unsigned damage) { return (damage & kFromBadPacket) != 0; }));
}

/// Holds the last pictures on to them.
class Holder : public Recorder {
 public:
  explicit Holder(std::size_t pictures) : Recorder(kEverything, true), pictures_(pictures) {}
  using Recorder::take;
  void take(const ProgrammePicture& picture) override {
    Recorder::take(picture);
    held_.push_back(picture);
    if (held_.size() > pictures_) {
      held_.pop_front();
    }
  }

 private:
  std::size_t pictures_;
  std::deque<ProgrammePicture> held_;
};

class ProgrammeReaderDamage : public testing::TestWithParam<CodecCase> {
 protected:
  TempDir dir;
};

TEST_P(ProgrammeReaderDamage, GivesTheSameWhoeverHoldsPicturesAndOnWhateverThreads) {
  const std::string whole =
      makeClip(dir, "whole-" + GetParam().fileName, {.video = {GetParam().video}, .audio = {}});
  for (const std::size_t interval : {20011U, 701U}) {
    SCOPED_TRACE(interval);
    const std::string file =
        damagedCopy(dir, std::to_string(interval) + GetParam().fileName, whole, 2000, interval);
    Recorder plain;
    const ProgrammeEnd end = read(file, plain, 1);
    EXPECT_TRUE(!plain.hashes.empty() || interval < 1000);
    Recorder again(kEverything, true);
    Holder holder(9);
    Recorder slow(kEverything, true);
    EXPECT_EQ(read(file, again, 1).pictures, end.pictures);
    EXPECT_EQ(read(file, holder, 0).pictures, end.pictures);
    EXPECT_EQ(read(file, slow, 0).packets, end.packets);
    for (const Recorder* other : {&again, static_cast<Recorder*>(&holder), &slow}) {
      EXPECT_EQ(other->hashes, plain.hashes);
      EXPECT_EQ(other->seconds, plain.seconds);
      EXPECT_EQ(other->damages, plain.damages);
      EXPECT_EQ(wordsOf(*other), wordsOf(plain));
      EXPECT_EQ(other->picturesBefore, plain.picturesBefore);
    }
  }
}

VideoSpec coded(const std::string& encoder, AVPixelFormat format,
                const std::map<std::string, std::string>& options = {}) {
  VideoSpec spec = ffv1(30, format);
  spec.encoder = encoder;
  spec.options = options;
  return spec;
}

VideoSpec dnxhr() {
  VideoSpec spec = coded("dnxhd", AV_PIX_FMT_YUV422P, {{"profile", "dnxhr_sq"}});
  spec.width = 256;
  spec.height = 128;
  return spec;
}

/// Every codec that the reader gives threads.
INSTANTIATE_TEST_SUITE_P(
    , ProgrammeReaderDamage,
    testing::Values(CodecCase{"h264.mkv", h264WithBFrames(50)},
                    CodecCase{"h264.ts", h264WithBFrames(50)},
                    CodecCase{"mpeg2.mkv", mpeg2WithBFrames(50)},
                    CodecCase{"prores.mkv", proRes(20)}, CodecCase{"ffv1.mkv", ffv1(20)},
                    CodecCase{"mjpeg.mkv", mjpeg(20)}, CodecCase{"dv.dv", dvPal(10)},
                    CodecCase{"hevc.mkv", coded("libx265", AV_PIX_FMT_YUV420P,
                                                {{"x265-params", "log-level=none:pools=1"}})},
                    CodecCase{"vp8.mkv", coded("libvpx", AV_PIX_FMT_YUV420P)},
                    CodecCase{"vp9.mkv", coded("libvpx-vp9", AV_PIX_FMT_YUV420P)},
                    CodecCase{"dnxhr.mkv", dnxhr()},
                    CodecCase{"cfhd.mkv", coded("cfhd", AV_PIX_FMT_YUV422P10)},
                    CodecCase{"v210.nut", coded("v210", AV_PIX_FMT_YUV422P10)},
                    CodecCase{"utvideo.mkv", coded("utvideo", AV_PIX_FMT_YUV422P)},
                    CodecCase{"png.mkv", coded("png", AV_PIX_FMT_RGB24)}),
    [](const auto& info) {
      std::string name = info.param.fileName;
      std::replace(name.begin(), name.end(), '.', '_');
      return name;
    });

// Consumers.

class Thrower : public Recorder {
 public:
  using Recorder::Recorder;
  using Recorder::take;
  void take(const ProgrammePicture& picture) override {
    Recorder::take(picture);
    if (picture.number == 5) {
      throw std::runtime_error("had enough");
    }
  }
};

TEST_F(ProgrammeReaderTest, AConsumerThatThrowsEndsAlone) {
  const std::string file = makeClip(dir, "clip.mkv", {.video = {ffv1(30)}, .audio = {}});
  for (const bool slow : {false, true}) {
    SCOPED_TRACE(slow);
    ProgrammeReader reader(file, {});
    Thrower thrower(kEverything, slow);
    Recorder other;
    reader.add(thrower);
    reader.add(other);
    const ProgrammeEnd end = reader.run();
    EXPECT_EQ(thrower.hashes.size(), 6U);
    EXPECT_EQ(thrower.ends, 0);
    ASSERT_NE(reader.errorOf(thrower), nullptr);
    EXPECT_THROW(std::rethrow_exception(reader.errorOf(thrower)), std::runtime_error);
    EXPECT_EQ(other.hashes.size(), 30U);
    EXPECT_EQ(other.ends, 1);
    EXPECT_EQ(reader.errorOf(other), nullptr);
    EXPECT_EQ(end.pictures, 30);
  }
}

TEST_F(ProgrammeReaderTest, ReadsNoFurtherThanAnybodyLooks) {
  const std::string file = makeClip(dir, "clip.mkv", {.video = {ffv1(100)}, .audio = {}});
  ProgrammeReader reader(file, {});
  Thrower thrower;
  reader.add(thrower);
  const ProgrammeEnd end = reader.run();
  EXPECT_LT(end.packets, 20);
  EXPECT_FALSE(end.readCleanly);
}

/// Takes one picture, then waits until it is let go on.
class Waiter : public Recorder {
 public:
  Waiter() : Recorder(kPictures, true) {}
  using Recorder::take;
  void take(const ProgrammePicture& picture) override {
    waits = true;
    EXPECT_TRUE(waitUntil([this] { return mayGoOn.load(); }));
    Recorder::take(picture);
  }
  std::atomic<bool> waits{false};
  std::atomic<bool> mayGoOn{false};
};

/// Counts the pictures that the reading has got to.
class Counter : public ProgrammeConsumer {
 public:
  ProgrammeWants wants() const override { return kPictures; }
  using ProgrammeConsumer::take;
  void take(const ProgrammePicture&) override { count += 1; }
  std::atomic<int> count{0};
};

TEST_F(ProgrammeReaderTest, ASlowConsumerHoldsTheReadingBack) {
  const std::string file = makeClip(dir, "clip.mkv", {.video = {ffv1(60)}, .audio = {}});
  ProgrammeReader reader(file, {});
  Counter counter;
  Waiter waiter;
  reader.add(counter);
  reader.add(waiter);
  std::thread running([&] { reader.run(); });
  // One picture in its hands, six in its queue, and one that waits for room.
  EXPECT_TRUE(waitUntil([&] { return counter.count == 8; }));
  EXPECT_TRUE(waiter.waits);
  waiter.mayGoOn = true;
  running.join();
  EXPECT_EQ(counter.count, 60);
  EXPECT_EQ(waiter.hashes.size(), 60U);
}

TEST_F(ProgrammeReaderTest, SlowConsumersHaveThreadsOnlyWhereTheyMay) {
  const std::string file = makeClip(dir, "clip.mkv", {.video = {ffv1(5)}, .audio = {}});
  Recorder slow(kEverything, true);
  read(file, slow, 0);
  EXPECT_NE(slow.thread, std::this_thread::get_id());
  Recorder inOne(kEverything, true);
  read(file, inOne, 1);
  EXPECT_EQ(inOne.thread, std::this_thread::get_id());
  Recorder quick;
  read(file, quick, 0);
  EXPECT_EQ(quick.thread, std::this_thread::get_id());
}

// Stops.

class Stopper : public Recorder {
 public:
  explicit Stopper(std::stop_source& source, bool slow)
      : Recorder(kEverything, slow), source_(source) {}
  using Recorder::take;
  void take(const ProgrammePicture& picture) override {
    Recorder::take(picture);
    source_.request_stop();
  }

 private:
  std::stop_source& source_;
};

TEST_F(ProgrammeReaderTest, AStopEndsTheReading) {
  const std::string file = makeClip(dir, "clip.mkv", {.video = {mjpeg(100)}, .audio = {}});
  for (const bool slow : {false, true}) {
    SCOPED_TRACE(slow);
    std::stop_source source;
    ProgrammeReaderOptions options;
    options.stop = source.get_token();
    ProgrammeReader reader(file, options);
    Stopper stopper(source, slow);
    reader.add(stopper);
    const ProgrammeEnd end = reader.run();
    EXPECT_TRUE(end.stopped);
    EXPECT_FALSE(end.readCleanly);
    EXPECT_EQ(stopper.ends, 1);
    EXPECT_TRUE(stopper.ending.stopped);
    // With a thread of its own it may have got on while the reading went on to its next packet.
    EXPECT_LE(stopper.hashes.size(), slow ? 8U : 1U);
  }
}

TEST_F(ProgrammeReaderTest, AStopEndsTheWaitForASlowConsumer) {
  const std::string file = makeClip(dir, "clip.mkv", {.video = {ffv1(60)}, .audio = {}});
  std::stop_source source;
  ProgrammeReaderOptions options;
  options.stop = source.get_token();
  ProgrammeReader reader(file, options);
  Counter counter;
  Waiter waiter;
  reader.add(counter);
  reader.add(waiter);
  ProgrammeEnd end;
  std::thread running([&] { end = reader.run(); });
  EXPECT_TRUE(waitUntil([&] { return counter.count == 8; }));
  source.request_stop();
  waiter.mayGoOn = true;
  running.join();
  EXPECT_TRUE(end.stopped);
  EXPECT_EQ(counter.count, 8);
}

TEST_F(ProgrammeReaderTest, AStopBeforehandReadsNothing) {
  const std::string file = makeClip(dir, "clip.mkv", {.video = {ffv1(5)}, .audio = {}});
  std::stop_source source;
  ProgrammeReaderOptions options;
  options.stop = source.get_token();
  ProgrammeReader reader(file, options);
  ASSERT_NE(reader.facts(), nullptr);
  source.request_stop();
  Recorder recorder;
  reader.add(recorder);
  EXPECT_TRUE(reader.run().stopped);
  EXPECT_TRUE(recorder.hashes.empty());
}

// Progress.

TEST_F(ProgrammeReaderTest, ProgressGrowsToOne) {
  for (const char* name : {"clip.mkv", "clip.m2v"}) {
    SCOPED_TRACE(name);
    const std::string file = makeClip(dir, name, {.video = {mpeg2WithBFrames(50)}, .audio = {}});
    std::vector<double> shares;
    ProgrammeReaderOptions options;
    options.progress = [&](const ProgrammeProgress& progress) { shares.push_back(progress.share); };
    ProgrammeReader reader(file, options);
    Recorder recorder;
    reader.add(recorder);
    reader.run();
    ASSERT_GT(shares.size(), 2U);
    EXPECT_TRUE(std::is_sorted(shares.begin(), shares.end()));
    EXPECT_GT(shares[0], 0.0);
    EXPECT_EQ(shares.back(), 1.0);
  }
}

// What is no good file.

TEST_F(ProgrammeReaderTest, SaysWhyAFileDoesNotOpen) {
  writeFile(dir.file("empty.mp4"), "");
  writeFile(dir.file("garbage.mp4"), std::string(5000, '\x5a'));
  for (const std::string& file : {std::string(), dir.file("missing.mp4"), dir.path().string(),
                                  dir.file("empty.mp4"), dir.file("garbage.mp4")}) {
    SCOPED_TRACE(file);
    ProgrammeReader reader(file, {});
    EXPECT_EQ(reader.facts(), nullptr);
    EXPECT_NE(reader.openError(), "");
    Recorder recorder;
    reader.add(recorder);
    const ProgrammeEnd end = reader.run();
    EXPECT_FALSE(end.readCleanly);
    EXPECT_EQ(recorder.begins, 0);
    EXPECT_EQ(recorder.ends, 0);
  }
}

TEST_F(ProgrammeReaderTest, ATruncatedFileGivesWhatIsThere) {
  const std::string whole =
      makeClip(dir, "whole.mov",
               {.video = {proRes(30)}, .audio = {}, .muxerOptions = {{"movflags", "faststart"}}});
  const std::string file = truncatedCopy(dir, "cut.mov", whole, readFile(whole).size() * 2 / 3);
  Recorder recorder;
  const ProgrammeEnd end = read(file, recorder);
  EXPECT_GT(end.pictures, 10);
  EXPECT_LT(end.pictures, 30);
  EXPECT_FALSE(recorder.complaints.empty());
  EXPECT_EQ(end.fileBytes, static_cast<int64_t>(std::filesystem::file_size(file)));
}

TEST_F(ProgrammeReaderTest, AReadErrorIsNamed) {
  const std::string file = makeClip(dir, "clip.mkv", {.video = {proRes(100)}, .audio = {}});
  ProgrammeReader reader(file, {});
  Recorder recorder;
  reader.add(recorder);
  const auto half = static_cast<int64_t>(std::filesystem::file_size(file) / 2);
  const FaultyReads faulty(file, half, ReadFault::fails);
  const ProgrammeEnd end = reader.run();
  EXPECT_EQ(end.readError, "Input/output error");
  EXPECT_FALSE(end.readCleanly);
  EXPECT_TRUE(std::any_of(recorder.complaints.begin(), recorder.complaints.end(),
                          [](const ProgrammeComplaint& complaint) {
                            return complaint.by == ProgrammeComplaint::By::read;
                          }));
  EXPECT_FALSE(recorder.hashes.empty());
  EXPECT_EQ(recorder.ends, 1);
}

TEST_F(ProgrammeReaderTest, SixtyFourStreamsAreNoTrouble) {
  const std::string file = makeClip(
      dir, "clip.mkv", {.video = {}, .audio = audioStreams(64, audio("pcm_s16le", 1, 0.1))});
  Recorder recorder;
  read(file, recorder);
  EXPECT_EQ(recorder.samples, std::vector<int64_t>(64, 4800));
}

TEST_F(ProgrammeReaderTest, ClosesTheFile) {
  const std::string file = makeClip(dir, "clip.mkv", {.video = {ffv1(5)}, .audio = {}});
  {
    Recorder recorder;
    read(file, recorder);
  }
  EXPECT_EQ(openDescriptors(file), 0);
}

// Real files.

class ProgrammeReaderRealMedia : public testing::TestWithParam<std::string> {};

TEST_P(ProgrammeReaderRealMedia, IsReadToItsEnd) {
  if (GetParam().empty()) {
    GTEST_SKIP() << "no media folder: set QATESTER_MEDIA_DIR";
  }
  const std::string file = (std::filesystem::path(QATESTER_MEDIA_DIR) / GetParam()).string();
  ProgrammeReader reader(file, {});
  Recorder recorder(kEverything, true);
  reader.add(recorder);
  const ProgrammeEnd end = reader.run();
  if (reader.facts() == nullptr) {
    EXPECT_NE(reader.openError(), "");
    return;
  }
  EXPECT_EQ(end.pictures, static_cast<int64_t>(recorder.hashes.size()));
  EXPECT_EQ(end.pictures > 0, recorder.facts.videoStream >= 0);
  EXPECT_EQ(recorder.samples.size(), recorder.facts.audioStreams.size());
  EXPECT_EQ(recorder.ends, 1);
}

std::vector<std::string> realFiles() {
  const std::vector<std::string> files = someOf(mediaFilesIn(QATESTER_MEDIA_DIR));
  return files.empty() ? std::vector<std::string>{""} : files;
}

INSTANTIATE_TEST_SUITE_P(, ProgrammeReaderRealMedia, testing::ValuesIn(realFiles()));

}  // namespace
