// What programme checks make of numbers: nothing is read or decoded here.

#include <gtest/gtest.h>

#include <cmath>

#include "checks/programme/Decoding.h"
#include "checks/programme/FrameTiming.h"
#include "checks/programme/Length.h"
#include "checks/programme/StartTimecode.h"
#include "checks/programme/Streams.h"

namespace {

using namespace qatester;

// Frame timing

PictureTimes steady(int frames, double rate, double tick = 0.0) {
  PictureTimes times;
  for (int i = 0; i < frames; ++i) {
    const double seconds = i / rate;
    times.seconds.push_back(tick > 0.0 ? std::round(seconds / tick) * tick : seconds);
  }
  return times;
}

TEST(FrameTiming, AConstantRateHasNoEvents) {
  const TimingVerdict verdict = judgeTiming(steady(100, 25.0), {.rate = 25.0});
  EXPECT_TRUE(verdict.constantRate);
  EXPECT_FALSE(verdict.rateIsOff);
  EXPECT_TRUE(verdict.events.empty());
  EXPECT_NEAR(verdict.measuredFps, 25.0, 1e-9);
  EXPECT_EQ(verdict.declaredFps, 25.0);
}

TEST(FrameTiming, MissingPicturesAreAGapWhereTheFirstOfThemWouldStand) {
  PictureTimes times = steady(100, 25.0);
  for (std::size_t i = 50; i < 100; ++i) {
    times.seconds[i] += 2 * 0.04;
  }
  const TimingVerdict verdict = judgeTiming(times, {.rate = 25.0});
  EXPECT_TRUE(verdict.constantRate);
  EXPECT_FALSE(verdict.rateIsOff) << "the other pictures have the declared rate";
  ASSERT_EQ(verdict.events.size(), 1U);
  const QAEvent& gap = verdict.events.front();
  EXPECT_NEAR(*gap.startSeconds, 50 * 0.04, 1e-9);
  EXPECT_NEAR(*gap.endSeconds, 52 * 0.04, 1e-9);
  EXPECT_EQ(gap.startFrame, 50);
  EXPECT_NEAR(*gap.value, 3.0, 1e-9);
  EXPECT_EQ(gap.what, "2 frames missing");
  EXPECT_TRUE(gap.breaks);
  EXPECT_EQ(verdict.missingPictures, 2);
}

TEST(FrameTiming, ADistanceOfOneFrameAndAHalfIsNoGap) {
  PictureTimes times = steady(10, 25.0);
  for (std::size_t i = 5; i < 10; ++i) {
    times.seconds[i] += 0.02;
  }
  EXPECT_TRUE(judgeTiming(times, {.rate = 25.0}).events.empty());
  for (std::size_t i = 5; i < 10; ++i) {
    times.seconds[i] += 0.001;
  }
  EXPECT_EQ(judgeTiming(times, {.rate = 25.0}).events.size(), 1U);
}

TEST(FrameTiming, ATimeThatDoesNotAdvanceIsAnEvent) {
  PictureTimes times = steady(50, 25.0);
  times.seconds[20] = times.seconds[19];
  const TimingVerdict verdict = judgeTiming(times, {.rate = 25.0});
  EXPECT_EQ(verdict.overlaps, 1);
  ASSERT_FALSE(verdict.events.empty());
  EXPECT_EQ(verdict.events.front().what, "time does not advance");
  EXPECT_EQ(verdict.events.front().startFrame, 20);
}

TEST(FrameTiming, ACoarseTimeBaseIsRounding) {
  const double ntsc = 30000.0 / 1001.0;
  const TimingVerdict verdict =
      judgeTiming(steady(300, ntsc, 0.001), {.rate = ntsc, .tick = 0.001});
  EXPECT_TRUE(verdict.constantRate);
  EXPECT_FALSE(verdict.rateIsOff);
  EXPECT_TRUE(verdict.events.empty());
}

TEST(FrameTiming, ARateThatNobodyDeclaresIsOff) {
  const TimingVerdict verdict =
      judgeTiming(steady(100, 24.0), {.rate = 25.0, .suggested = {24.0, 12.0}});
  EXPECT_TRUE(verdict.constantRate);
  EXPECT_TRUE(verdict.rateIsOff);
  EXPECT_FALSE(judgeTiming(steady(100, 24.0), {}).rateIsOff) << "nothing is declared";
}

TEST(FrameTiming, AUsualRateIsMeant) {
  // 0.2 frames apart over the whole clip.
  const double film = 24000.0 / 1001.0;
  EXPECT_TRUE(judgeTiming(steady(200, film), {.rate = 24.0, .suggested = {film}}).rateIsOff);
}

TEST(FrameTiming, AContainerThatCountsALastFrameOfAnotherLengthIsNotOff) {
  // 100 frames over 101 frames of time.
  EXPECT_FALSE(
      judgeTiming(steady(100, 25.0), {.rate = 100 * 25.0 / 101, .suggested = {25.0}}).rateIsOff);
  EXPECT_TRUE(
      judgeTiming(steady(100, 25.0), {.rate = 100 * 25.0 / 103, .suggested = {25.0}}).rateIsOff);
}

TEST(FrameTiming, RatesMayDifferByAHundredthOfAFrameASecond) {
  EXPECT_FALSE(judgeTiming(steady(5000, 25.009), {.rate = 25.0}).rateIsOff);
  EXPECT_TRUE(judgeTiming(steady(5000, 25.02), {.rate = 25.0}).rateIsOff);
}

TEST(FrameTiming, ManyDistancesMakeAVariableRate) {
  PictureTimes times;
  double seconds = 0.0;
  for (int i = 0; i < 90; ++i) {
    times.seconds.push_back(seconds);
    seconds += 0.02 + 0.01 * (i % 5);
  }
  EXPECT_FALSE(judgeTiming(times, {.rate = 25.0}).constantRate);
}

TEST(FrameTiming, RepeatedFieldsLengthenAPicture) {
  // 2:3 pulldown by flags: pictures of three and of two fields in turn.
  const double field = 1001.0 / 60000.0;
  PictureTimes times;
  double seconds = 0.0;
  for (int i = 0; i < 100; ++i) {
    const uint8_t fields = i % 2 == 0 ? 3 : 2;
    times.seconds.push_back(seconds);
    times.fields.push_back(fields);
    seconds += field * fields;
  }
  const TimingVerdict verdict = judgeTiming(times, {.rate = 30000.0 / 1001.0});
  EXPECT_TRUE(verdict.constantRate);
  EXPECT_FALSE(verdict.rateIsOff);
  EXPECT_TRUE(verdict.events.empty());
}

TEST(FrameTiming, WhatIsMissingBeforeTheFirstWholeGroupBreaksNothing) {
  PictureTimes times = steady(100, 25.0);
  for (std::size_t i = 10; i < 100; ++i) {
    times.seconds[i] += 0.4;
  }
  times.firstWholeSeconds = times.seconds[10];
  const TimingVerdict verdict = judgeTiming(times, {.rate = 25.0});
  ASSERT_EQ(verdict.events.size(), 1U);
  EXPECT_FALSE(verdict.events.front().breaks);
}

TEST(FrameTiming, AFirstPictureThatLastsLongerIsSaid) {
  PictureTimes times = steady(100, 25.0);
  for (std::size_t i = 1; i < 100; ++i) {
    times.seconds[i] += 0.08;
  }
  const TimingVerdict verdict = judgeTiming(times, {.rate = 25.0});
  ASSERT_EQ(verdict.events.size(), 1U);
  EXPECT_EQ(verdict.events.front().what, "the first picture lasts 3 frames");
  EXPECT_FALSE(verdict.events.front().breaks);
  EXPECT_FALSE(verdict.rateIsOff);
  EXPECT_EQ(verdict.gaps, 0);
}

TEST(FrameTiming, OnePictureOrNoneIsNoReasonToComplain) {
  EXPECT_TRUE(judgeTiming({}, {.rate = 25.0}).events.empty());
  EXPECT_TRUE(judgeTiming(steady(1, 25.0), {.rate = 25.0}).constantRate);
}

// Length

FoundStretch stretch(const char* name, double start, double end,
                     std::optional<double> declared = {}) {
  return {.name = name,
          .isPicture = std::string(name) == "picture",
          .start = start,
          .end = end,
          .lasts = end - start,
          .declaredEnd = declared};
}

TEST(Length, WhatIsAsLongAsDeclaredIsGood) {
  EXPECT_TRUE(
      judgeLength({stretch("picture", 0, 60, 60), stretch("sound", 0, 59.5, 60)}, {.seconds = 60.0})
          .events.empty());
}

TEST(Length, ShorterThanDeclaredByMoreThanASecondAndTwoPercentBreaks) {
  EXPECT_TRUE(judgeLength({stretch("picture", 0, 98, 100)}, {}).events.empty());
  const LengthVerdict verdict = judgeLength({stretch("picture", 0, 97.9, 100)}, {});
  ASSERT_EQ(verdict.events.size(), 1U);
  EXPECT_NEAR(*verdict.events.front().startSeconds, 97.9, 1e-9);
  EXPECT_NEAR(*verdict.events.front().endSeconds, 100.0, 1e-9);
  EXPECT_EQ(verdict.events.front().limit, 2.0);
  EXPECT_TRUE(judgeLength({stretch("picture", 0, 9, 10)}, {}).events.empty());
  EXPECT_EQ(judgeLength({stretch("picture", 0, 8.9, 10)}, {}).events.size(), 1U);
}

TEST(Length, TheFilesOwnDurationHoldsWhereStreamsDeclareNone) {
  EXPECT_EQ(judgeLength({stretch("picture", 0, 30)}, {.seconds = 60.0}).events.size(), 1U);
  EXPECT_EQ(judgeLength({stretch("picture", 0, 30, 30)}, {.seconds = 60.0}).events.size(), 1U)
      << "a header that says more than the tables of the streams";
  EXPECT_TRUE(judgeLength({stretch("picture", 0, 59.5), stretch("sound", 0, 60)}, {.seconds = 60.0})
                  .events.empty());
}

TEST(Length, SoundMayStartAndEndApartFromThePictureByTheTolerance) {
  const DeclaredLength declared{.seconds = std::nullopt, .toleranceSeconds = 1.0};
  EXPECT_TRUE(
      judgeLength({stretch("picture", 0, 10), stretch("sound", 1, 9)}, declared).events.empty());
  const LengthVerdict verdict = judgeLength(
      {stretch("picture", 0, 10), stretch("audio 1", 1.5, 10), stretch("audio 2", 0, 8.5)},
      declared);
  ASSERT_EQ(verdict.events.size(), 2U);
  EXPECT_EQ(verdict.events[0].what, "sound starts late");
  EXPECT_EQ(verdict.events[0].stream, 0);
  EXPECT_NEAR(*verdict.events[0].value, 1.5, 1e-9);
  EXPECT_EQ(verdict.events[1].what, "sound ends early");
  EXPECT_EQ(verdict.events[1].stream, 1);
  EXPECT_NEAR(*verdict.events[1].startSeconds, 8.5, 1e-9);
}

TEST(Length, SoundThatStartsBeforeThePictureIsNoFault) {
  EXPECT_TRUE(judgeLength({stretch("picture", 2, 10), stretch("sound", 0, 10)}, {}).events.empty());
}

TEST(Length, APictureThatEndsBeforeTheSoundByMoreThanASecondAndTwoPercentBreaks) {
  EXPECT_TRUE(
      judgeLength({stretch("picture", 0, 99), stretch("sound", 0, 101)}, {}).events.empty());
  const LengthVerdict verdict = judgeLength({stretch("picture", 0, 4), stretch("sound", 0, 7)}, {});
  ASSERT_EQ(verdict.events.size(), 1U);
  EXPECT_EQ(verdict.events.front().what, "picture ends early");
  EXPECT_NEAR(*verdict.events.front().startSeconds, 4.0, 1e-9);
}

// Streams

ProgrammeFacts fileWith(const QAVideoFacts& video, int audioStreams) {
  ProgrammeFacts facts;
  facts.media.container = "mov,mp4,m4a,3gp,3g2,mj2";
  facts.media.streams.push_back({.index = 0, .kind = "video", .codec = "prores", .video = video});
  facts.videoStream = 0;
  for (int i = 0; i < audioStreams; ++i) {
    facts.media.streams.push_back({.index = i + 1,
                                   .kind = "audio",
                                   .codec = "pcm_s24le",
                                   .audio = QAAudioFacts{.sampleRate = 48000, .channels = 2}});
    facts.audioStreams.push_back(i + 1);
  }
  return facts;
}

const QAVideoFacts kHd{.width = 1920,
                       .height = 1080,
                       .frameRate = 30000.0 / 1001.0,
                       .rateNumerator = 30000,
                       .rateDenominator = 1001,
                       .bits = 10,
                       .chroma = "4:2:2",
                       .scan = "tff",
                       .matrix = "bt709"};

bool allMet(const std::vector<StreamDemand>& rows) {
  return std::all_of(rows.begin(), rows.end(), [](const StreamDemand& row) { return row.met; });
}

TEST(Streams, AllDemandsThatAreMet) {
  StreamDemands demands;
  demands.containers = {"mxf", "MOV"};
  demands.videoCodecs = {"ProRes"};
  demands.pictureSizes = {"1280x720", "1920x1080"};
  demands.frameRates = {"25", "30000/1001"};
  demands.scan = {"tff"};
  demands.chromaFormats = {"4:2:2"};
  demands.bitDepths = {"10"};
  demands.matrices = {"bt709"};
  demands.audioCodecs = {"pcm_s24le"};
  demands.sampleRates = {"48000"};
  demands.audioStreamChannels = {"2", "2"};
  const std::vector<StreamDemand> rows = judgeStreams(fileWith(kHd, 2), demands);
  EXPECT_EQ(rows.size(), 13U) << "picture, sound and eleven lists";
  EXPECT_TRUE(allMet(rows));
}

TEST(Streams, EachDemandThatIsMissedIsARow) {
  StreamDemands demands;
  demands.frameRates = {"25"};
  demands.scan = {"progressive"};
  demands.audioStreamChannels = {"2", "6"};
  const std::vector<StreamDemand> rows = judgeStreams(fileWith(kHd, 2), demands);
  ASSERT_EQ(rows.size(), 5U);
  EXPECT_TRUE(rows[0].met);
  EXPECT_TRUE(rows[1].met);
  EXPECT_FALSE(rows[2].met);
  EXPECT_EQ(rows[2].found, "30000/1001");
  EXPECT_FALSE(rows[3].met);
  EXPECT_EQ(rows[3].found, "tff");
  EXPECT_FALSE(rows[4].met);
  EXPECT_EQ(rows[4].found, "2,2");
}

TEST(Streams, ARateMayBeWrittenAsANumber) {
  StreamDemands demands;
  demands.frameRates = {"29.97"};
  EXPECT_TRUE(allMet(judgeStreams(fileWith(kHd, 1), demands)));
}

TEST(Streams, MissingSoundBreaksOnlyWhereItIsRequired) {
  StreamDemands demands;
  EXPECT_FALSE(allMet(judgeStreams(fileWith(kHd, 0), demands)));
  demands.audio = false;
  EXPECT_TRUE(allMet(judgeStreams(fileWith(kHd, 0), demands)));
}

// Decoding

class Decoding : public testing::Test {
 protected:
  void SetUp() override {
    ProgrammeFacts facts = fileWith(kHd, 0);
    facts.streams.resize(1);
    measurement_.begin(facts);
  }

  void packet(double seconds, bool key, bool corrupt = false) {
    ProgrammePacket packet;
    packet.stream = 0;
    packet.seconds = seconds;
    packet.key = key;
    packet.corrupt = corrupt;
    measurement_.take(packet);
  }
  void picture(double seconds, unsigned damage = kNoDamage) {
    ProgrammePicture picture;
    picture.seconds = seconds;
    picture.damage = damage;
    measurement_.take(picture);
  }
  void complain(double seconds, int stream = 0,
                ProgrammeComplaint::By by = ProgrammeComplaint::By::decoder) {
    measurement_.take(ProgrammeComplaint{by, stream, seconds, "bad"});
  }
  QACheckOutcome outcome(bool readCleanly = true) {
    ProgrammeEnd end;
    end.readCleanly = readCleanly;
    end.readError = readCleanly ? "" : "Input/output error";
    measurement_.end(end);
    QACheckOutcome outcome;
    outcome.began = outcome.measured = true;
    measurement_.describe(outcome);
    return outcome;
  }

  DecodingMeasurement measurement_{0};
};

TEST_F(Decoding, AFileOfWhichNothingComesBreaks) {
  packet(0.0, true);
  const QACheckOutcome result = outcome();
  EXPECT_TRUE(result.broken);
  EXPECT_EQ(result.summary, "no frame could be decoded");
}

TEST_F(Decoding, WithoutAComplaintNothingBreaks) {
  packet(0.0, true);
  picture(0.0);
  EXPECT_FALSE(outcome().broken);
}

TEST_F(Decoding, ComplaintsThatAreCloseAreOneEvent) {
  packet(0.0, true);
  picture(0.0);
  for (const double seconds : {5.0, 5.5, 6.4, 9.0}) {
    complain(seconds);
  }
  const QACheckOutcome result = outcome();
  EXPECT_TRUE(result.broken);
  ASSERT_EQ(result.events.size(), 2U);
  EXPECT_EQ(result.events[0].startSeconds, 5.0);
  EXPECT_EQ(result.events[0].endSeconds, 6.4);
  EXPECT_EQ(result.events[0].value, 3.0);
  EXPECT_EQ(result.events[1].startSeconds, 9.0);
  EXPECT_EQ(result.events[1].value, 1.0);
  for (const QAEvent& event : result.events) {
    EXPECT_EQ(event.unit, "errors") << "however many";
  }
}

TEST_F(Decoding, AsManyErrorsAsAllowedBreakNothing) {
  DecodingMeasurement lenient(2);
  ProgrammeFacts facts = fileWith(kHd, 0);
  facts.streams.resize(1);
  lenient.begin(facts);
  lenient.take(ProgrammePicture{});
  const auto broken = [&] {
    QACheckOutcome result;
    lenient.describe(result);
    return result.broken;
  };
  ProgrammeEnd end;
  end.readCleanly = true;
  lenient.end(end);
  lenient.take(ProgrammeComplaint{ProgrammeComplaint::By::decoder, 0, 1.0, "bad"});
  lenient.take(ProgrammeComplaint{ProgrammeComplaint::By::decoder, 0, 2.0, "bad"});
  EXPECT_FALSE(broken());
  lenient.take(ProgrammeComplaint{ProgrammeComplaint::By::decoder, 0, 3.0, "bad"});
  EXPECT_TRUE(broken());
}

TEST_F(Decoding, ACaptureThatBeginsInAGroupIsSaidAndBreaksNothing) {
  packet(0.0, false);
  complain(0.0);
  packet(0.4, true);
  picture(0.4);
  const QACheckOutcome result = outcome();
  EXPECT_FALSE(result.broken);
  ASSERT_EQ(result.events.size(), 1U);
  EXPECT_FALSE(result.events.front().breaks);
}

TEST_F(Decoding, ADamagedFirstGroupOfAFileThatBeginsWhereItShouldBreaks) {
  packet(0.0, true);
  complain(0.0);
  picture(0.0, kDecodeErrors);
  picture(0.04);
  EXPECT_TRUE(outcome().broken);
}

TEST_F(Decoding, PicturesBeforeTheFirstKeyOfAnOpenGroupBreakNothing) {
  packet(0.08, true);
  complain(0.0);
  picture(0.08);
  EXPECT_FALSE(outcome().broken);
}

TEST_F(Decoding, AReadErrorIsACut) {
  packet(0.0, true);
  picture(0.0);
  const QACheckOutcome result = outcome(false);
  EXPECT_TRUE(result.broken);
  EXPECT_NE(result.summary.find("Input/output error"), std::string::npos);
}

TEST_F(Decoding, PacketsThatAreOnlyCountedWronglyBreakNothing) {
  for (int i = 0; i < 10; ++i) {
    packet(i * 0.04, i == 0, true);
    complain(i * 0.04, 0, ProgrammeComplaint::By::packet);
    picture(i * 0.04, kFromBadPacket);
  }
  EXPECT_FALSE(outcome().broken);
}

TEST_F(Decoding, ASingleFlaggedPacketBreaks) {
  for (int i = 0; i < 10; ++i) {
    packet(i * 0.04, i == 0, i == 5);
    picture(i * 0.04);
  }
  complain(0.2, 0, ProgrammeComplaint::By::packet);
  EXPECT_TRUE(outcome().broken);
}

// Timecode

TEST(StartTimecode, ReadsWordsOfPictures) {
  // 10:23:45 and frame 12, binary coded decimals.
  constexpr uint32_t kWord =
      1U << 28U | 2U << 24U | 4U << 20U | 5U << 16U | 2U << 12U | 3U << 8U | 1U << 4U | 0U;
  EXPECT_EQ(timecodeOfWord(kWord, 25.0), "10:23:45:12");
  EXPECT_EQ(timecodeOfWord(kWord | 1U << 30U, 29.97), "10:23:45;12");
  EXPECT_EQ(timecodeOfWord(kWord | 1U << 7U, 50.0), "10:23:45:25");
}

TEST(StartTimecode, ReadsHeadersOfGroups) {
  constexpr int64_t kCode = int64_t{10} << 19 | int64_t{23} << 13 | int64_t{45} << 6 | 12;
  EXPECT_EQ(timecodeOfGroup(kCode), "10:23:45:12");
  EXPECT_EQ(timecodeOfGroup(kCode | int64_t{1} << 24), "10:23:45;12");
}

TEST(StartTimecode, FindsWhereTimecodeDoesNotGoOnWithThePictures) {
  const std::vector<CarriedTimecode> timecodes = {{0, 0.0, "10:00:00:00"},
                                                  {12, 0.48, "10:00:00:12"},
                                                  {24, 0.96, "10:00:05:00"},
                                                  {36, 1.44, "10:00:05:12"}};
  const TimecodeJumps jumps = findJumps(timecodes, 25.0, 0);
  ASSERT_EQ(jumps.events.size(), 1U);
  EXPECT_EQ(jumps.events.front().startFrame, 24);
  EXPECT_EQ(jumps.events.front().value, 101.0) << "113 frames on, after 12";
  EXPECT_FALSE(jumps.standsStill);
}

TEST(StartTimecode, MidnightIsNoJump) {
  EXPECT_TRUE(
      findJumps({{0, 0.0, "23:59:59:24"}, {1, 0.04, "00:00:00:00"}}, 25.0, 0).events.empty());
}

TEST(StartTimecode, OneThatNeverAdvancesStandsStill) {
  const TimecodeJumps jumps =
      findJumps({{0, 0.0, "00:00:00:00"}, {12, 0.48, "00:00:00:00"}}, 25.0, 0);
  EXPECT_TRUE(jumps.standsStill);
  EXPECT_TRUE(jumps.events.empty());
}

}  // namespace
