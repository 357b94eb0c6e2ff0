#include "media/OxWrap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <random>
#include <thread>
#include <type_traits>

#include "foundation/SharedValue.h"
#include "media/WrapTestSupport.h"
#include "support/Clips.h"
#include "support/FakeSleep.h"
#include "support/FaultyReads.h"
#include "support/Sanitized.h"
#include "support/WaitUntil.h"

namespace {

using namespace qatest;
using qatester::loadShared;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr int32_t kLimit = 5000000;
constexpr int32_t kRawPacket = 720 * 576 * 3 / 2;  // 622,080 bytes
/// Eight packets hold 4,976,640 bytes, so one more is put before the queue counts as full.
constexpr int32_t kRawPacketsInFullQueue = 9;

const std::vector<unsigned> kStart = {500};
const std::vector<unsigned> kStartAndStop = {500, 100};

milliseconds since(Clock::time_point start) {
  return std::chrono::duration_cast<milliseconds>(Clock::now() - start);
}

bool contains(const std::vector<unsigned>& pauses, unsigned seconds) {
  return std::find(pauses.begin(), pauses.end(), seconds) != pauses.end();
}

class OxWrapTest : public testing::Test {
 protected:
  OxWrapTest() { clearPauses(); }

  std::string small() {
    return makeClip(dir, "small.mkv", {{ffv1(20)}, audioStreams(2, audio("pcm_s16le", 2, 0.8))});
  }

  /// More video than a queue takes, beside a little sound.
  std::string large() {
    return makeClip(dir, "large.nut", {{rawPal(30)}, {audio("pcm_s16le", 2, 1.2)}});
  }

  TempDir dir;
  QuickWaits quick;
};

// Opening

TEST_F(OxWrapTest, FilesThatDoNotOpenHaveNoStreams) {
  const EndlessWaits noneIsMade;
  writeFile(dir.file("empty.mp4"), "");
  writeFile(dir.file("text.mp4"), "this is no film\n");
  for (const std::string& file : {std::string(), dir.file("missing.mov"), dir.path().string(),
                                  dir.file("empty.mp4"), dir.file("text.mp4")}) {
    {
      OxWrap wrap(file);
      EXPECT_EQ(wrap.fileName, file);
      EXPECT_EQ(wrap.formatContext, nullptr);
      EXPECT_EQ(wrap.getVideoStream(), nullptr);
      EXPECT_EQ(wrap.getNumberOfAudioStreams(), 0U);
      EXPECT_EQ(wrap.getAudioStream(0), nullptr);
      EXPECT_EQ(loadShared(wrap.bufferState), 0);
      EXPECT_FALSE(wrap.discardVideoPackets);
      EXPECT_FALSE(wrap.discardAudioPackets);
      EXPECT_FALSE(wrap.getOpenError().empty());
      wrap.discardVideo(true);
      wrap.discardAudio(true);
      wrap.bufferOnly({0});
    }
  }
  EXPECT_TRUE(callerPauses().empty());
  EXPECT_EQ(OxWrap(dir.file("missing.mov")).getOpenError(), "No such file or directory");
}

TEST_F(OxWrapTest, BufferingWithoutAFileEndsAtOnce) {
  const ShortStarts alone;
  OxWrap wrap(dir.file("missing.mov"));
  wrap.startBuffering();
  wrap.stopBuffering();
  EXPECT_EQ(callerPauses(), kStartAndStop);
  EXPECT_TRUE(readerPauses().empty());
}

TEST_F(OxWrapTest, AFreshWrapperIsStoppedAndKeepsEverything) {
  const std::string file = small();
  OxWrap wrap(file);
  EXPECT_EQ(wrap.fileName, file);
  EXPECT_NE(wrap.formatContext, nullptr);
  EXPECT_EQ(loadShared(wrap.bufferState), 0);
  EXPECT_FALSE(wrap.discardVideoPackets);
  EXPECT_FALSE(wrap.discardAudioPackets);
  EXPECT_FALSE(wrap.bufferThread.joinable());
  EXPECT_EQ(wrap.getOpenError(), "");
}

TEST_F(OxWrapTest, AFileNamedLikeAProtocolIsAFile) {
  const std::string file = small();
  const auto previous = std::filesystem::current_path();
  std::filesystem::current_path(dir.path());
  std::filesystem::copy_file(file, "pipe:0.mkv");
  const OxWrap wrap("pipe:0.mkv");
  std::filesystem::current_path(previous);
  EXPECT_NE(wrap.videoStream, nullptr);
}

TEST_F(OxWrapTest, AudioStreamsComeInTheOrderOfTheContainer) {
  for (const int count : {0, 1, 2, 3, 4, 8}) {
    const std::string file = makeClip(
        dir, "streams.mkv", {{ffv1(5)}, audioStreams(count, audio("pcm_s16le", 1, 0.2)), true, {}});
    OxWrap wrap(file);
    ASSERT_EQ(wrap.getNumberOfAudioStreams(), static_cast<unsigned>(count));
    for (int i = 0; i < count; ++i) {
      EXPECT_EQ(wrap.getAudioStream(static_cast<uint16_t>(i))->streamIndex, i);
    }
    ASSERT_NE(wrap.getVideoStream(), nullptr);
    EXPECT_EQ(wrap.getVideoStream()->streamIndex, count);
  }
}

TEST_F(OxWrapTest, WithoutAudioThereIsNoAudioStream) {
  OxWrap wrap(makeClip(dir, "a.mkv", {{ffv1(5)}, {}}));
  EXPECT_EQ(wrap.getNumberOfAudioStreams(), 0U);
  EXPECT_EQ(wrap.getAudioStream(0), nullptr);
}

TEST_F(OxWrapTest, WithoutVideoThereIsNoVideoStream) {
  OxWrap wrap(makeClip(dir, "a.mkv", {{}, audioStreams(2)}));
  EXPECT_EQ(wrap.getVideoStream(), nullptr);
  EXPECT_EQ(wrap.getNumberOfAudioStreams(), 2U);
}

TEST_F(OxWrapTest, OfTwoVideoStreamsTheFirstIsDecoded) {
  VideoSpec second = ffv1(30, AV_PIX_FMT_YUV444P);
  second.width = 48;
  const std::string file = makeClip(dir, "two.mkv", {{ffv1(20), second}, {}});
  OxWrap wrap(file);
  ASSERT_NE(wrap.getVideoStream(), nullptr);
  EXPECT_EQ(wrap.getVideoStream()->streamIndex, 0);
  wrap.startBuffering();
  EXPECT_EQ(loadShared(wrap.getVideoStream()->packetQueue->nb_packets), 20);
  EXPECT_EQ(pullPictures(*wrap.getVideoStream()), expectedContents(file).pictures);
  wrap.stopBuffering();
}

// Pauses and states

TEST_F(OxWrapTest, StartPauses500AndStopPauses100) {
  OxWrap wrap(small());
  wrap.startBuffering();
  EXPECT_EQ(loadShared(wrap.bufferState), 1);
  EXPECT_EQ(callerPauses(), kStart);
  wrap.stopBuffering();
  EXPECT_EQ(loadShared(wrap.bufferState), 0);
  EXPECT_FALSE(wrap.bufferThread.joinable());
  EXPECT_EQ(callerPauses(), kStartAndStop);
}

TEST_F(OxWrapTest, TheReaderPollsTheEndOfTheFileEvery100Seconds) {
  OxWrap wrap(small());
  wrap.startBuffering();
  EXPECT_TRUE(waitUntil([] { return readerPauses().size() >= 4; }));
  wrap.stopBuffering();
  const std::vector<unsigned> pauses = readerPauses();
  EXPECT_EQ(pauses, std::vector<unsigned>(pauses.size(), 100));
}

TEST_F(OxWrapTest, StoppingWhatNeverStartedOnlyPauses) {
  OxWrap wrap(small());
  wrap.stopBuffering();
  EXPECT_EQ(callerPauses(), std::vector<unsigned>{100});
  EXPECT_TRUE(readerPauses().empty());
}

TEST_F(OxWrapTest, ResumingNeitherPausesNorMakesAThread) {
  OxWrap wrap(small());
  wrap.startBuffering();
  const boost::thread::id reader = wrap.bufferThread.get_id();
  wrap.pauseBuffering();
  EXPECT_EQ(loadShared(wrap.bufferState), 2);
  clearPauses();
  EXPECT_TRUE(waitUntil([] { return contains(readerPauses(), 1000); }));
  wrap.startBuffering();
  EXPECT_EQ(loadShared(wrap.bufferState), 1);
  EXPECT_EQ(wrap.bufferThread.get_id(), reader);
  wrap.startBuffering();  // running already
  EXPECT_TRUE(callerPauses().empty());
  clearPauses();
  EXPECT_TRUE(waitUntil([] { return contains(readerPauses(), 100); }));
  wrap.stopBuffering();
}

TEST_F(OxWrapTest, APausedReaderReadsNothing) {
  OxWrap wrap(large());
  wrap.discardAudio(true);
  wrap.startBuffering();
  wrap.pauseBuffering();
  clearPauses();
  EXPECT_TRUE(waitUntil([] { return contains(readerPauses(), 1000); }));
  PacketQueue* queue = wrap.getVideoStream()->packetQueue;
  OxPackets::packet_queue_flush(queue);
  clearPauses();
  EXPECT_TRUE(waitUntil([] { return readerPauses().size() >= 3; }));
  EXPECT_EQ(loadShared(queue->nb_packets), 0);
  EXPECT_EQ(readerPauses(), std::vector<unsigned>(readerPauses().size(), 1000));
  wrap.startBuffering();
  EXPECT_TRUE(waitUntil([&] { return loadShared(queue->nb_packets) > 0; }));
}

TEST_F(OxWrapTest, StartingAfterAStopReadsOnInANewThread) {
  OxWrap wrap(large());
  wrap.discardAudio(true);
  wrap.startBuffering();
  wrap.stopBuffering();
  PacketQueue* queue = wrap.getVideoStream()->packetQueue;
  OxPackets::packet_queue_flush(queue);
  wrap.startBuffering();
  EXPECT_EQ(callerPauses(), (std::vector<unsigned>{500, 100, 500}));
  EXPECT_GT(loadShared(queue->nb_packets), 0);
  EXPECT_TRUE(wrap.bufferThread.joinable());
}

TEST_F(OxWrapTest, AFullQueueIsPolledEvery10Seconds) {
  OxWrap wrap(large());
  wrap.discardAudio(true);
  wrap.startBuffering();
  EXPECT_TRUE(waitUntil([] { return readerPauses().size() >= 4; }));
  const std::vector<unsigned> pauses = readerPauses();
  EXPECT_EQ(pauses, std::vector<unsigned>(pauses.size(), 10));
  const PacketQueue& queue = *wrap.getVideoStream()->packetQueue;
  EXPECT_EQ(loadShared(queue.nb_packets), kRawPacketsInFullQueue);
  EXPECT_EQ(loadShared(queue.size), kRawPacketsInFullQueue * kRawPacket);
}

TEST_F(OxWrapTest, AQueueExceedsItsLimitByOnePacketAtMost) {
  const std::string file = large();
  OxWrap wrap(file);
  wrap.discardAudio(true);
  wrap.startBuffering();
  PacketQueue* queue = wrap.getVideoStream()->packetQueue;
  int32_t largest = 0;
  std::size_t taken = 0;
  AVPacket packet{};
  while (OxPackets::packet_queue_get(queue, &packet, 1) == 1) {
    largest = std::max<int32_t>(largest, loadShared(queue->size) + packet.size);
    av_packet_unref(&packet);
    ++taken;
    // Lets the reader catch up.
    waitUntil([&] { return loadShared(queue->size) > kLimit || contains(readerPauses(), 100); });
  }
  EXPECT_EQ(taken, 30U);
  EXPECT_EQ(largest, kRawPacketsInFullQueue * kRawPacket);
}

TEST_F(OxWrapTest, TinyPacketsFillAQueueByTheirNumberUnlessPausesAreFixed) {
  AudioSpec spec = audio("pcm_u8", 1, 0.0);
  spec.rate = 8000;
  spec.seconds = 25000.0 / 8000.0;
  spec.samplesPerPacket = 1;
  const std::string file = makeClip(dir, "tiny.mkv", {{}, {spec}});
  for (const auto& [pauses, most] :
       {std::pair{QAPauses::untilReady, 20000}, {QAPauses::fixed, 25000}}) {
    OxWrap wrap(file, {pauses, {}});
    wrap.startBuffering();
    PacketQueue* queue = wrap.getAudioStream(0)->packetQueue;
    EXPECT_TRUE(waitUntil([&] { return loadShared(queue->nb_packets) == most; }))
        << loadShared(queue->nb_packets);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(loadShared(queue->nb_packets), most);
    AVPacket packet{};
    int taken = 0;
    while (OxPackets::packet_queue_get(queue, &packet, 1) == 1) {
      av_packet_unref(&packet);
      ++taken;
    }
    EXPECT_EQ(taken, 25000) << "none is lost";
  }
}

TEST_F(OxWrapTest, OneFullQueueStallsTheOthers) {
  OxWrap wrap(large());
  wrap.startBuffering();
  EXPECT_TRUE(waitUntil([] { return readerPauses().size() >= 3; }));
  PacketQueue* sound = wrap.getAudioStream(0)->packetQueue;
  OxPackets::packet_queue_flush(sound);
  clearPauses();
  EXPECT_TRUE(waitUntil([] { return readerPauses().size() >= 3; }));
  EXPECT_EQ(loadShared(sound->nb_packets), 0);
}

TEST_F(OxWrapTest, AnAudioQueueFillsToTheSameLimit) {
  AudioSpec spec = audio("pcm_s32le", 8, 6.0);  // 9,216,000 bytes
  spec.samplesPerPacket = 4800;                 // 153,600 bytes
  OxWrap wrap(makeClip(dir, "loud.nut", {{}, {spec}}));
  wrap.startBuffering();
  EXPECT_TRUE(waitUntil([] { return readerPauses().size() >= 3; }));
  // 32 packets hold 4,915,200 bytes.
  EXPECT_EQ(loadShared(wrap.getAudioStream(0)->packetQueue->nb_packets), 33);
  EXPECT_EQ(readerPauses(), std::vector<unsigned>(readerPauses().size(), 10));
}

TEST_F(OxWrapTest, StoppingDuringAFullQueueKeepsThePacketInHand) {
  OxWrap wrap(large());
  wrap.discardAudio(true);
  wrap.startBuffering();
  wrap.stopBuffering();
  EXPECT_EQ(callerPauses(), kStartAndStop);
  // The packet that waited for room is put when the wait ends.
  EXPECT_EQ(loadShared(wrap.getVideoStream()->packetQueue->nb_packets), kRawPacketsInFullQueue + 1);
}

TEST_F(OxWrapTest, ASeekPauses500AndReadsFromThere) {
  VideoSpec spec = ffv1(100);
  spec.pixel = [](int, int, int, int frame) { return static_cast<uint8_t>(16 + frame); };
  OxWrap wrap(makeClip(dir, "numbered.avi", {{spec}, {}}));
  wrap.startBuffering();
  wrap.getVideoStream()->seekToMS(2000);
  EXPECT_EQ(callerPauses(), (std::vector<unsigned>{500, 500}));
  const OxVideoFrameYUV picture = wrap.getVideoStream()->getNextYUVFrame();
  ASSERT_TRUE(picture.valid);
  EXPECT_EQ(picture.frame->data[0][0], 16 + 50);
  EXPECT_EQ(picture.time, 2.0);
  av_free(picture.frame);
  wrap.stopBuffering();
}

// Fields

TEST_F(OxWrapTest, StateAndFlagsArePlainVariables) {
  OxWrap wrap(small());
  wrap.discardAudioPackets = true;
  auto discardsVideo = wrap.discardVideoPackets;
  auto discardsAudio = wrap.discardAudioPackets;
  static_assert(std::is_same_v<decltype(discardsVideo), bool>);
  static_assert(std::is_same_v<decltype(discardsAudio), bool>);
  wrap.startBuffering();
  auto state = wrap.bufferState;
  static_assert(std::is_same_v<decltype(state), int>);
  char text[32];
  std::snprintf(text, sizeof text, "%d %d %d", wrap.bufferState, discardsVideo, discardsAudio);
  EXPECT_STREQ(text, "1 0 1");
  wrap.stopBuffering();
  EXPECT_EQ(std::max(wrap.bufferState, -1), 0);
  EXPECT_EQ(wrap.getVideoStream()->packetQueue->nb_packets, 20);
  EXPECT_EQ(wrap.getAudioStream(0)->packetQueue->nb_packets, 0);
}

// Discarding

TEST_F(OxWrapTest, DiscardingVideoTakesTheStreamAwayForGood) {
  OxWrap wrap(small());
  wrap.discardVideo(true);
  EXPECT_TRUE(wrap.discardVideoPackets);
  EXPECT_EQ(wrap.getVideoStream(), nullptr);
  wrap.discardVideo(false);
  EXPECT_FALSE(wrap.discardVideoPackets);
  EXPECT_EQ(wrap.getVideoStream(), nullptr);
  wrap.startBuffering();
  EXPECT_GT(loadShared(wrap.getAudioStream(0)->packetQueue->nb_packets), 0);
  EXPECT_GT(loadShared(wrap.getAudioStream(1)->packetQueue->nb_packets), 0);
}

TEST_F(OxWrapTest, NotDiscardingVideoKeepsTheStream) {
  OxWrap wrap(small());
  wrap.discardVideo(false);
  EXPECT_NE(wrap.getVideoStream(), nullptr);
}

TEST_F(OxWrapTest, DiscardingAudioKeepsTheStreamsAndDropsTheirPackets) {
  OxWrap wrap(small());
  wrap.discardAudio(true);
  EXPECT_TRUE(wrap.discardAudioPackets);
  EXPECT_EQ(wrap.getNumberOfAudioStreams(), 2U);
  wrap.startBuffering();
  EXPECT_EQ(loadShared(wrap.getVideoStream()->packetQueue->nb_packets), 20);
  EXPECT_EQ(loadShared(wrap.getAudioStream(0)->packetQueue->nb_packets), 0);
  EXPECT_EQ(loadShared(wrap.getAudioStream(1)->packetQueue->nb_packets), 0);
}

TEST_F(OxWrapTest, AudioThatIsNoLongerDiscardedArrives) {
  OxWrap wrap(small());
  wrap.discardAudio(true);
  wrap.discardAudio(false);
  wrap.startBuffering();
  EXPECT_GT(loadShared(wrap.getAudioStream(0)->packetQueue->nb_packets), 0);
  EXPECT_GT(loadShared(wrap.getAudioStream(1)->packetQueue->nb_packets), 0);
}

TEST_F(OxWrapTest, WithEverythingDiscardedTheReaderStillReachesTheEnd) {
  OxWrap wrap(large());
  wrap.discardAudio(true);
  wrap.discardVideo(true);
  wrap.startBuffering();
  EXPECT_TRUE(waitUntil([] { return contains(readerPauses(), 100); }));
  EXPECT_FALSE(contains(readerPauses(), 10));
  wrap.stopBuffering();
}

TEST_F(OxWrapTest, DiscardingVideoFreesAReaderThatWaitsForRoom) {
  OxWrap wrap(large());
  wrap.startBuffering();
  EXPECT_TRUE(waitUntil([] { return contains(readerPauses(), 10); }));
  wrap.discardVideo(true);
  EXPECT_TRUE(waitUntil([] { return contains(readerPauses(), 100); }));
}

TEST_F(OxWrapTest, OnlyTheChosenStreamsAreBuffered) {
  OxWrap wrap(small());
  wrap.bufferOnly({2});
  wrap.startBuffering();
  EXPECT_EQ(loadShared(wrap.getVideoStream()->packetQueue->nb_packets), 0);
  EXPECT_EQ(loadShared(wrap.getAudioStream(0)->packetQueue->nb_packets), 0);
  EXPECT_GT(loadShared(wrap.getAudioStream(1)->packetQueue->nb_packets), 0);
}

TEST_F(OxWrapTest, StreamsWithoutADecoderAreHarmless) {
  const std::string file = small();
  std::string content = readFile(file);
  const std::size_t video = content.find("FFV1");
  const std::size_t sound = content.rfind("A_PCM/INT/LIT");
  ASSERT_NE(video, std::string::npos);
  ASSERT_NE(sound, std::string::npos);
  content.replace(video, 4, "XXXX");
  content[sound + 12] = 'X';
  writeFile(dir.file("unknown.mkv"), content);
  for (const QAPauses pauses : {QAPauses::fixed, QAPauses::untilReady}) {
    OxWrap wrap(dir.file("unknown.mkv"), {pauses, {}});
    ASSERT_NE(wrap.getVideoStream(), nullptr);
    ASSERT_EQ(wrap.getNumberOfAudioStreams(), 2U);
    EXPECT_EQ(wrap.getVideoStream()->packetQueue, nullptr);
    EXPECT_EQ(wrap.getAudioStream(1)->packetQueue, nullptr);
    wrap.startBuffering();
    EXPECT_FALSE(wrap.getVideoStream()->getNextYUVFrame().valid);
    EXPECT_EQ(wrap.getAudioStream(1)->getNextSample().numberOfSamples, 0);
    EXPECT_EQ(pullBlocks(*wrap.getAudioStream(0)), expectedContents(file).blocks[0]);
    wrap.getVideoStream()->seekToMS(0);
    wrap.stopBuffering();
  }
}

// The end of a wrapper

TEST_F(OxWrapTest, DestroyingWhatNeverStartedDoesNotWait) {
  const std::string file = small();
  const EndlessWaits noneIsMade;
  { const OxWrap wrap(file); }
  EXPECT_TRUE(callerPauses().empty());
  EXPECT_EQ(openDescriptors(file), 0);
}

TEST_F(OxWrapTest, DestroyingClosesTheFileWithoutAPause) {
  const std::string file = small();
  {
    OxWrap wrap(file);
    EXPECT_EQ(openDescriptors(file), 1);
    wrap.startBuffering();
  }
  EXPECT_EQ(callerPauses(), kStart);
  EXPECT_EQ(openDescriptors(file), 0);
}

/// A mode of pauses and its name.
struct Mode {
  std::string name;
  QAPauses pauses;

  friend std::ostream& operator<<(std::ostream& out, const Mode& value) {
    return out << value.name;
  }
};

class WrapperLife : public OxWrapTest, public testing::WithParamInterface<Mode> {};

TEST_P(WrapperLife, MayEndAtAnyMoment) {
  const ShortStarts fast;
  const std::string files[] = {small(), large()};
  std::mt19937 random(7);
  for (int round = 0; round < 60; ++round) {
    const std::string& file = files[round % 2];
    OxWrap wrap(file, {GetParam().pauses, {}});
    if (round % 3 == 0) {
      wrap.discardAudio(true);
    }
    wrap.startBuffering();
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 8000));
    switch (random() % 6) {
      case 0:
        wrap.pauseBuffering();
        break;
      case 1:
        wrap.stopBuffering();
        break;
      case 2:
        wrap.discardVideo(true);
        break;
      case 3:
        av_free(wrap.getVideoStream()->getNextYUVFrame().frame);
        break;
      case 4:
        wrap.getVideoStream()->seekToMS(random() % 1000);
        break;
      default:
        break;
    }
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
  }
  EXPECT_TRUE(
      waitUntil([&] { return openDescriptors(files[0]) + openDescriptors(files[1]) == 0; }));
}

INSTANTIATE_TEST_SUITE_P(, WrapperLife,
                         testing::Values(Mode{"fixed", QAPauses::fixed},
                                         Mode{"until-ready", QAPauses::untilReady}));

/// What the reader is doing when its wrapper goes.
struct Held {
  std::string name;
  unsigned pause;

  friend std::ostream& operator<<(std::ostream& out, const Held& value) {
    return out << value.name;
  }
};

class LongPause : public OxWrapTest, public testing::WithParamInterface<Held> {};

TEST_P(LongPause, OutlivesTheWrapperHarmlessly) {
  const std::string file = GetParam().pause == 10 ? large() : small();
  {
    const HeldPauses held(GetParam().pause);
    auto wrap = std::make_unique<OxWrap>(file);
    wrap->startBuffering();
    if (GetParam().pause == 1000) {
      wrap->pauseBuffering();
    }
    ASSERT_TRUE(waitUntil([] { return contains(readerPauses(), GetParam().pause); }));
    const auto start = Clock::now();
    wrap.reset();
    EXPECT_GE(since(start), milliseconds(950));  // 2000 less what QuickWaits takes off
    EXPECT_EQ(openDescriptors(file), 1);         // the thread keeps what it needs
  }
  EXPECT_TRUE(waitUntil([&] { return openDescriptors(file) == 0; }));
}

INSTANTIATE_TEST_SUITE_P(, LongPause,
                         testing::Values(Held{"endOfFile", 100}, Held{"fullQueue", 10},
                                         Held{"paused", 1000}));

TEST_F(OxWrapTest, TheDestructorWaitsTwoSeconds) {
  const std::string file = small();
  auto shortest = milliseconds::max();
  // A busy machine may be late; not every time.
  for (int attempt = 0; attempt < 20 && shortest >= milliseconds(2900); ++attempt) {
    const HeldPauses held(100);
    auto wrap = std::make_unique<OxWrap>(file);
    clearPauses();
    wrap->startBuffering();
    ASSERT_TRUE(waitUntil([] { return contains(readerPauses(), 100); }));
    const auto start = Clock::now();
    const TrueWaits unhurried;
    wrap.reset();
    shortest = std::min(shortest, since(start));
  }
  EXPECT_GE(shortest, milliseconds(1950));
  EXPECT_LT(shortest, milliseconds(2900));
}

TEST_F(OxWrapTest, AReadThatHangsOutlivesTheWrapper) {
  const std::string file = large();
  {
    OxWrap* wrap = new OxWrap(file, kReady);
    const FaultyReads reads(file, 4000000, ReadFault::hangs);
    wrap->discardAudio(true);
    wrap->startBuffering();
    ASSERT_TRUE(waitUntil([&] { return reads.met() > 0; }));
    delete wrap;
    EXPECT_EQ(openDescriptors(file), 1);
  }
  EXPECT_TRUE(waitUntil([&] { return openDescriptors(file) == 0; }));
}

TEST_F(OxWrapTest, NeitherFactsNorDiscardingWaitForAReadThatHangs) {
  const std::string file = large();
  OxWrap wrap(file, kReady);
  OxVideoStream* video = wrap.getVideoStream();
  PacketQueue* sound = wrap.getAudioStream(0)->packetQueue;
  const int soundIndex = wrap.getAudioStream(0)->streamIndex;
  const double duration = video->getDurationSeconds();
  EXPECT_NEAR(duration, 1.2, 0.05);
  {
    const FaultyReads reads(file, 4000000, ReadFault::hangs);
    wrap.startBuffering();
    ASSERT_TRUE(waitUntil([&] { return reads.met() > 0; }));
    // The read goes on at the end of this block: what waits for it does so for ever.
    EXPECT_EQ(video->getFPS(), 25.0F);
    EXPECT_EQ(video->getDurationSeconds(), duration);
    EXPECT_EQ(video->getFrameCount(), wrap.formatContext->streams[video->streamIndex]->nb_frames);
    wrap.discardAudio(true);
    wrap.bufferOnly({video->streamIndex});
    OxPackets::packet_queue_flush(sound);
    EXPECT_EQ(wrap.formatContext->streams[soundIndex]->discard, AVDISCARD_DEFAULT);
  }
  EXPECT_EQ(drain(video->packetQueue).size(), 30U);
  EXPECT_TRUE(video->hasEnded());
  EXPECT_TRUE(drain(sound).empty()) << "what is discarded during a read does not come after it";
  EXPECT_EQ(wrap.formatContext->streams[soundIndex]->discard, AVDISCARD_ALL);
}

TEST_F(OxWrapTest, DiscardingVideoDoesNotWaitForAReadThatHangs) {
  const std::string file = large();
  OxWrap wrap(file, kReady);
  {
    const FaultyReads reads(file, 4000000, ReadFault::hangs);
    wrap.startBuffering();
    ASSERT_TRUE(waitUntil([&] { return reads.met() > 0; }));
    wrap.discardVideo(true);
    EXPECT_EQ(wrap.getVideoStream(), nullptr);
  }
  EXPECT_FALSE(drain(wrap.getAudioStream(0)->packetQueue).empty());
  EXPECT_EQ(wrap.formatContext->streams[0]->discard, AVDISCARD_ALL);
}

// Read errors

class ReadError : public OxWrapTest, public testing::WithParamInterface<std::string> {
 protected:
  std::string longClip() {
    VideoSpec spec = GetParam() == "mpg" || GetParam() == "ts" ? mpeg2WithBFrames(100) : ffv1(100);
    spec.width = 320;
    spec.height = 240;
    return makeClip(dir, "long." + GetParam(), {{spec}, {}});
  }
};

TEST_P(ReadError, EndsTheReader) {
  const std::string file = longClip();
  const auto half = static_cast<int64_t>(std::filesystem::file_size(file) / 2);
  OxWrap wrap(file);
  {
    const FaultyReads reads(file, half, ReadFault::fails);
    const ShortStarts noReaderPauses;
    wrap.startBuffering();
    EXPECT_TRUE(waitUntil([&] { return loadShared(wrap.bufferState) == 0; }));
    EXPECT_GT(reads.met(), 0);
  }
  const std::size_t pictures = pullPictures(*wrap.getVideoStream()).size();
  EXPECT_GT(pictures, 20U);  // what was read before still comes
  EXPECT_LT(pictures, 80U);
  EXPECT_TRUE(readerPauses().empty());
  wrap.stopBuffering();
  EXPECT_EQ(callerPauses(), kStartAndStop);
}

TEST_P(ReadError, IsTheEndOfTheDataUntilReady) {
  const std::string file = longClip();
  const auto half = static_cast<int64_t>(std::filesystem::file_size(file) / 2);
  OxWrap wrap(file, kReady);
  const FaultyReads reads(file, half, ReadFault::fails);
  const EndlessWaits noneRunsOut;
  wrap.startBuffering();
  const std::size_t pictures = pullPictures(*wrap.getVideoStream()).size();
  EXPECT_GT(pictures, 20U);
  EXPECT_LT(pictures, 80U);
  EXPECT_TRUE(wrap.getVideoStream()->hasEnded());
  EXPECT_EQ(loadShared(wrap.bufferState), 0);
}

INSTANTIATE_TEST_SUITE_P(, ReadError, testing::Values("avi", "mkv", "mpg", "nut", "ts"));

// Every kind of clip

class EveryClip : public OxWrapTest, public testing::WithParamInterface<ClipKind> {
 protected:
  std::string file = makeClip(dir, GetParam().fileName, GetParam().spec);
};

TEST_P(EveryClip, GivesTheSamePicturesAndBlocksWithEitherPauses) {
  const Contents expected = expectedContents(file);
  EXPECT_EQ(contentsThroughWrappers(file, QAPauses::fixed), expected);
  clearPauses();
  const EndlessWaits noneRunsOut;
  EXPECT_EQ(contentsThroughWrappers(file, QAPauses::untilReady), expected);
  EXPECT_TRUE(callerPauses().empty());
  EXPECT_TRUE(readerPauses().empty());
}

TEST_P(EveryClip, LosesNoPacketByDiscarding) {
  expectDiscardingChangesNoPacket(file);
}

TEST_P(EveryClip, IsHarmlessWhenTruncated) {
  const std::size_t bytes = std::filesystem::file_size(file);
  for (const std::size_t kept : {bytes / 7, bytes / 2, bytes - 1}) {
    const std::string part = truncatedCopy(dir, "part-" + GetParam().fileName, file, kept);
    const Contents contents = contentsThroughWrappers(part, QAPauses::untilReady);
    if (!OxWrap(part).getOpenError().empty()) {
      EXPECT_EQ(contents, Contents{});
      continue;
    }
    const Contents expected = expectedContents(part);
    EXPECT_EQ(contents.blocks, expected.blocks) << kept;
    ASSERT_EQ(contents.pictures.size(), expected.pictures.size()) << kept;
    if (!expected.pictures.empty()) {
      // Where its packet ends early, a decoder may leave the last picture as it finds it in memory.
      EXPECT_TRUE(std::equal(expected.pictures.begin(), expected.pictures.end() - 1,
                             contents.pictures.begin()))
          << kept;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(, EveryClip, testing::ValuesIn(clipKinds(kSanitized)));

// Until-ready pauses

class UntilReady : public OxWrapTest {
 protected:
  EndlessWaits noneRunsOut;  // nothing here may take the two seconds of a get that gives up
};

TEST_F(UntilReady, TheEndIsSeenAtOnce) {
  OxWrap wrap(small(), kReady);
  wrap.startBuffering();
  EXPECT_FALSE(wrap.getVideoStream()->hasEnded());
  EXPECT_EQ(pullPictures(*wrap.getVideoStream()).size(), 20U);
  EXPECT_TRUE(wrap.getVideoStream()->hasEnded());
  for (int i = 0; i < 100; ++i) {
    EXPECT_FALSE(wrap.getVideoStream()->getNextYUVFrame().valid);
    wrap.getVideoStream()->pauseForPacket(10);
  }
  wrap.stopBuffering();
  EXPECT_TRUE(callerPauses().empty());
  EXPECT_TRUE(readerPauses().empty());
}

TEST_F(UntilReady, TheStartEndsWithTheFirstPacket) {
  OxWrap wrap(large(), kReady);
  wrap.startBuffering();
  EXPECT_GT(loadShared(wrap.getVideoStream()->packetQueue->nb_packets) +
                loadShared(wrap.getAudioStream(0)->packetQueue->nb_packets),
            0);
}

TEST_F(UntilReady, TheStartEndsWithAFirstPacketThatFillsTheQueueAlone) {
  VideoSpec spec;
  spec.encoder = "rawvideo";
  spec.width = 2048;
  spec.height = 1632;
  spec.frames = 3;
  OxWrap wrap(makeClip(dir, "huge.avi", {{spec}, {}}), kReady);
  wrap.startBuffering();
  PacketQueue* queue = wrap.getVideoStream()->packetQueue;
  EXPECT_GT(loadShared(queue->size), kLimit);
  EXPECT_EQ(drain(queue).size(), 3U);
}

TEST_F(UntilReady, TheStartDoesNotWaitForPacketsThatNobodyKeeps) {
  OxWrap wrap(large(), kReady);
  wrap.discardAudio(true);
  wrap.discardVideo(true);
  wrap.startBuffering();
}

TEST_F(UntilReady, TheLimitOfAQueueHoldsAndRoomIsUsedAtOnce) {
  OxWrap wrap(large(), kReady);
  wrap.discardAudio(true);
  wrap.startBuffering();
  PacketQueue* queue = wrap.getVideoStream()->packetQueue;
  EXPECT_TRUE(waitUntil([&] { return loadShared(queue->nb_packets) == kRawPacketsInFullQueue; }));
  std::this_thread::sleep_for(milliseconds(50));
  EXPECT_EQ(loadShared(queue->nb_packets), kRawPacketsInFullQueue);
  EXPECT_EQ(drain(queue).size(), 30U);
}

TEST_F(UntilReady, StreamsThatNobodyDrainsDoNotStall) {
  OxWrap wrap(large(), kReady);
  wrap.bufferOnly({1});
  wrap.startBuffering();
  const std::vector<BlockFacts> blocks = pullBlocks(*wrap.getAudioStream(0));
  std::size_t bytes = 0;
  for (const BlockFacts& block : blocks) {
    bytes += block.bytes.size();
  }
  EXPECT_EQ(bytes, 48000U * 12 / 10 * 4);
}

TEST_F(UntilReady, AfterASeekPacketsFlowAgain) {
  VideoSpec spec = ffv1(100);
  spec.pixel = [](int, int, int, int frame) { return static_cast<uint8_t>(16 + frame); };
  OxWrap wrap(makeClip(dir, "numbered.avi", {{spec}, {}}), kReady);
  wrap.startBuffering();
  EXPECT_EQ(pullPictures(*wrap.getVideoStream()).size(), 100U);
  wrap.getVideoStream()->seekToMS(3000);
  const OxVideoFrameYUV picture = wrap.getVideoStream()->getNextYUVFrame();
  ASSERT_TRUE(picture.valid);
  EXPECT_EQ(picture.frame->data[0][0], 16 + 75);
  av_free(picture.frame);
  EXPECT_EQ(pullPictures(*wrap.getVideoStream()).size(), 24U);
}

TEST_F(UntilReady, PausingAndResumingTakeEffectAtOnce) {
  OxWrap wrap(large(), kReady);
  wrap.discardAudio(true);
  wrap.startBuffering();
  wrap.pauseBuffering();
  std::this_thread::sleep_for(milliseconds(20));
  wrap.startBuffering();
  EXPECT_EQ(drain(wrap.getVideoStream()->packetQueue).size(), 30U);
  wrap.stopBuffering();
}

TEST_F(UntilReady, DestroyingWakesAReaderInEveryPause) {
  for (const bool full : {true, false}) {
    for (const bool paused : {true, false}) {
      const std::string file = full ? large() : small();
      auto wrap = std::make_unique<OxWrap>(file, kReady);
      wrap->startBuffering();
      if (paused) {
        wrap->pauseBuffering();
      }
      std::this_thread::sleep_for(milliseconds(20));
      wrap.reset();
      EXPECT_EQ(openDescriptors(file), 0) << "a reader still asleep would keep the file open";
    }
  }
}

TEST_F(UntilReady, AStopRequestEndsAPauseOfTheCaller) {
  const std::string file = large();
  std::stop_source stop;
  OxWrap wrap(file, {QAPauses::untilReady, stop.get_token()});
  wrap.discardAudio(true);
  PacketQueue* queue = wrap.getVideoStream()->packetQueue;
  std::thread stopper;
  std::atomic<bool> asked = false;
  {
    const FaultyReads reads(file, 4000000, ReadFault::hangs);
    wrap.startBuffering();
    ASSERT_TRUE(waitUntil([&] { return reads.met() > 0; }));
    OxPackets::packet_queue_flush(queue);
    stopper = std::thread([&] {
      std::this_thread::sleep_for(milliseconds(50));  // mostly, the pause has begun by then
      asked = true;
      stop.request_stop();
    });
    wrap.getVideoStream()->pauseForPacket(500);  // a packet is on its way, but does not come
    EXPECT_TRUE(asked);
  }
  stopper.join();
}

TEST_F(OxWrapTest, AfterAStopRequestNoPauseOfTheCallerIsMade) {
  std::stop_source stop;
  stop.request_stop();
  OxWrap wrap(small(), {QAPauses::fixed, stop.get_token()});
  wrap.startBuffering();
  wrap.getVideoStream()->seekToMS(0);
  wrap.stopBuffering();
  EXPECT_TRUE(callerPauses().empty());
}

// Threads

TEST_F(OxWrapTest, SeekingDiscardingAndReadingExcludeEachOther) {
  const std::string file = large();
  for (const QAPauses pauses : {QAPauses::fixed, QAPauses::untilReady}) {
    const ShortStarts fast;
    OxWrap wrap(file, {pauses, {}});
    wrap.startBuffering();
    for (int i = 0; i < 20; ++i) {
      OxVideoStream* video = wrap.getVideoStream();
      video->seekToMS(static_cast<unsigned long>(i) * 40);
      av_free(video->getNextYUVFrame().frame);
      EXPECT_GT(video->getFPS(), 0.0F);
      EXPECT_GT(video->getDurationSeconds(), 0.0);
      wrap.discardAudio(i % 2 == 0);
    }
    wrap.discardVideo(true);
    wrap.stopBuffering();
  }
}

TEST_F(OxWrapTest, TenWrappersRunSideBySide) {
  const std::string file = small();
  const Contents expected = expectedContents(file);
  std::vector<std::thread> threads;
  std::atomic<int> equal{0};
  for (int i = 0; i < 10; ++i) {
    threads.emplace_back(
        [&] { equal += contentsThroughWrappers(file, QAPauses::untilReady) == expected ? 1 : 0; });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(equal, 10);
}

// Releasing blocks

TEST_F(OxWrapTest, BlocksFromAFileAreReleased) {
  OxWrap wrap(small());
  wrap.startBuffering();
  const OxAudioSample block = wrap.getAudioStream(0)->getNextSample();
  ASSERT_GT(block.numberOfSamples, 0);
  const OxAudioSample left = wrap.getAudioStream(0)->getSampleChannel(block, 0);
  wrap.freeSample(left);
  wrap.freeSample(block);
}

}  // namespace
