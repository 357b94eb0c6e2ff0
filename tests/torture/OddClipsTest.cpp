#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "support/CheckNames.h"
#include "support/Outcomes.h"
#include "support/SmallBudgets.h"
#include "support/TempDir.h"
#include "tester/QATester.h"
#include "torture/OddClips.h"

namespace qatest {
namespace {

constexpr int kBudget = 5;
constexpr const char* kMeasured = "";
constexpr const char* kNothingLeft =
    "too short, or of unknown duration: no frames are left to measure";
constexpr const char* kNoSoundLeft =
    "too short, or of unknown duration: nothing is left to measure";
constexpr const char* kNoBlock = "no block could be decoded";
constexpr const char* kNoVideo = "no video stream";
constexpr const char* kNoAudio = "no audio stream";

std::string notReadable(const std::string& pixelFormat) {
  return "pixel format " + pixelFormat + " is not 8-bit planar 4:2:0, 4:2:2 or 4:4:4";
}

/// What all checks say of a file without a slate.
struct Answers {
  std::vector<QACheckOutcome> outcomes;

  const QACheckOutcome& of(const std::string& tag) const {
    const auto found = std::find_if(outcomes.begin(), outcomes.end(),
                                    [&](const QACheckOutcome& one) { return one.tag == tag; });
    EXPECT_NE(found, outcomes.end()) << tag;
    return *found;
  }
  double number(const std::string& tag, const std::string& key) const {
    return numberOf(of(tag), key);
  }
  std::vector<QAValues> levels() const { return recordsOf(of("QALevels"), "levels"); }
};

std::vector<QACheckOutcome> run(const std::string& clip, const std::string& settings) {
  QATesterOptions options;
  options.pauses = QAPauses::untilReady;
  options.lookup = QALookup::stored;
  options.colourThreads = QAColourThreads::none;
  options.displays = QADisplays::nowhere;
  options.console = [](const std::string&) {};
  QATester tester(clip.c_str(), nullptr, settings.c_str(), nullptr, options);
  return tester.runChecks(checkNames());
}

Answers ask(const TempDir& dir, const std::string& name, int budget = kBudget) {
  const std::string settings = dir.file("settings");
  writeFile(settings, smallBudgets(budget));
  const std::string clip = makeOddClip(dir.path().string(), name);
  Answers answers{run(clip, settings)};
  for (const QACheckOutcome& outcome : answers.outcomes) {
    EXPECT_TRUE(outcome.state != QAState::notMeasured || !outcome.reason.empty()) << outcome.tag;
  }
  return answers;
}

/// Whether a check measured, or why it did not.
std::string answer(const QACheckOutcome& outcome) {
  return outcome.measured ? kMeasured : outcome.reason;
}

/// What the picture checks say of a clip whose frames all checks can measure, or none; and what
/// those of the sound do that hear any number of channels.
struct Row {
  const char* clip;
  std::string pictures;
  std::string sound;
  /// The tearing check counts whole seconds: less than one is nothing to it.
  bool lastsASecond = true;
};

void expectRow(const Row& row, const Answers& answers) {
  for (const char* tag :
       {"QAFramerate", "QAFieldDominance", "QAPulldown", "QATransition", "QAChroma", "QAGamut"}) {
    EXPECT_EQ(answer(answers.of(tag)), row.pictures) << tag;
  }
  EXPECT_EQ(answer(answers.of("QATearing")), row.lastsASecond ? row.pictures : kNothingLeft);
  EXPECT_EQ(answer(answers.of("QALevels")), row.sound);
}

void expectRows(const std::vector<Row>& rows) {
  for (const Row& row : rows) {
    SCOPED_TRACE(row.clip);
    const TempDir dir;
    expectRow(row, ask(dir, row.clip));
  }
}

TEST(OddTimes, OfAbsurdRatesAreMeasuredAndUnknownRatesLeaveNothing) {
  struct Rate {
    const char* clip;
    float declared;
    std::string pictures;
    bool lastsASecond = true;
  };
  constexpr float kNone = std::numeric_limits<float>::quiet_NaN();
  for (const Rate& row : {Rate{"rate-million.mov", 1000000.0F, kMeasured, false},
                          // A picture in a million seconds, to two decimals.
                          Rate{"rate-one-in-11-days.mov", 0.0F, kMeasured},
                          Rate{"rate-no-length.mov", kNone, kNothingLeft},
                          Rate{"rate-unknown.mkv", kNone, kNothingLeft}}) {
    SCOPED_TRACE(row.clip);
    const TempDir dir;
    const Answers answers = ask(dir, row.clip);
    expectRow({row.clip, row.pictures, kNoAudio, row.lastsASecond}, answers);
    if (std::isnan(row.declared)) {
      EXPECT_TRUE(std::isnan(answers.number("QAFramerate", "declaredFps")));
      EXPECT_EQ(answers.number("QAFramerate", "passed"), 0.0);
    } else {
      EXPECT_EQ(answers.number("QAFramerate", "declaredFps"), static_cast<double>(row.declared));
    }
  }
}

TEST(OddTimes, WhatADurationCannotBeIsTheDurationOfThePackets) {
  expectRows({{"duration-unknown.mkv", kMeasured, kMeasured},
              {"duration-huge.mkv", kMeasured, kMeasured},
              {"duration-infinite.mkv", kMeasured, kMeasured},
              {"duration-no-number.mkv", kMeasured, kMeasured},
              {"duration-136-years.mov", kMeasured, kNoAudio}});
}

TEST(OddTimes, ANegativeDurationLeavesNothing) {
  expectRows({{"duration-negative.mkv", kNothingLeft, kNoSoundLeft}});
}

TEST(OddTimes, BackwardsMissingOrHugeAreNoObstacle) {
  expectRows({{"times-backwards.ts", kMeasured, kMeasured},
              {"times-huge.mkv", kMeasured, kMeasured},
              // Without times nothing tells how long the pictures last.
              {"times-missing.h264", kNothingLeft, kNoAudio},
              {"times-missing.m2v", kNothingLeft, kNoAudio}});
}

TEST(OddPictures, OfEverySizeAreMeasured) {
  expectRows({{"size-1x1.avi", kMeasured, kNoAudio}, {"size-2x1.nut", kMeasured, kNoAudio}});
  for (const char* clip : {"size-16384x16.mkv", "size-16x16384.mkv"}) {
    SCOPED_TRACE(clip);
    const TempDir dir;
    const Answers answers = ask(dir, clip);
    expectRow({clip, kMeasured, kNoAudio}, answers);
    // One frame is dropped even without a slate.
    EXPECT_EQ(answers.number("QAChroma", "yMin"), kOddLuma + 1);
    EXPECT_EQ(answers.number("QAChroma", "yMax"), kOddLuma + kBudget);
  }
}

TEST(OddPictures, OfADeclaredSizeThatTheyDoNotHaveTakeTheirOwn) {
  expectRows({{"declared-0x0.mov", kMeasured, kNoAudio},
              {"declared-16384x16384.mov", kMeasured, kNoAudio},
              {"declared-30000x30000.mov", kMeasured, kNoAudio},
              {"declared-raw-0x0.mov", notReadable("uyvy422"), kNoAudio},
              {"declared-raw-30000x30000.mov", notReadable("uyvy422"), kNoAudio},
              {"declared-ffv1-30000x30000.mov", notReadable("unknown"), kNoAudio}});
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  // A single picture of the declared size would be 1.3 GB large.
  EXPECT_LT(usage.ru_maxrss, 1024 * 1024);
}

TEST(OddPictures, ThatChangeTheirSizeOrChromaAreMeasuredOn) {
  constexpr int kPastTheChange = 2 * kOddFirstPart;
  for (const char* clip : {"size-changes.ts", "chroma-changes.ts"}) {
    SCOPED_TRACE(clip);
    const TempDir dir;
    const Answers answers = ask(dir, clip, kPastTheChange);
    expectRow({clip, kMeasured, kNoAudio}, answers);
    for (const char* tag : {"QAFieldDominance", "QAChroma", "QAGamut"}) {
      EXPECT_EQ(answers.of(tag).count, kPastTheChange) << tag;
    }
  }
}

TEST(OddPictures, ThatChangeToTenBitsAreMeasuredUpToThere) {
  const TempDir dir;
  const Answers answers = ask(dir, "pixels-change.ts", 2 * kOddFirstPart);
  expectRow({"", kMeasured, kNoAudio}, answers);
  for (const char* tag : {"QAChroma", "QAGamut"}) {
    EXPECT_EQ(answers.of(tag).count, kOddFirstPart - 1) << tag;
    EXPECT_EQ(answers.of(tag).reason, notReadable("yuv420p10le")) << tag;
  }
}

/// The level of a steady signal: a value of 1 of 16 bits reads -98.09 dB.
double levelOf(int sample) {
  return 20.0 * std::log10(sample) - 98.09;
}

void expectLevel(const Answers& answers, unsigned entry, int sample) {
  SCOPED_TRACE(entry);
  EXPECT_NEAR(numberOf(answers.levels().at(entry), "maxLevel"), levelOf(sample), 0.01);
  EXPECT_NEAR(numberOf(answers.levels().at(entry), "minLevel"), levelOf(sample), 0.01);
}

TEST(OddSound, OfAnyNumberOfChannelsHasALevelForEach) {
  for (const int channels : oddChannelCounts()) {
    SCOPED_TRACE(channels);
    const TempDir dir;
    const Answers answers = ask(dir, "channels-" + std::to_string(channels) + ".wav");
    expectRow({"", kNoVideo, kMeasured}, answers);
    ASSERT_EQ(answers.levels().size(), static_cast<std::size_t>(channels));
    for (int channel = 0; channel < channels; ++channel) {
      expectLevel(answers, static_cast<unsigned>(channel), oddSample(0, channel));
    }
    const char* pair = channels == 1 ? "the stream has no second channel" : kMeasured;
    EXPECT_EQ(answer(answers.of("QAMono")), pair);
    EXPECT_EQ(answer(answers.of("QAPhase")), pair);
    EXPECT_EQ(answer(answers.of("QALoudness")), kMeasured);
    EXPECT_TRUE(std::isfinite(answers.number("QALoudness", "loudness")));
  }
}

TEST(OddSound, HasAnEntryForEachChannelUnlessThereCannotBeSoMany) {
  const std::pair<const char*, uint32_t> clips[] = {{"channels-65535.wav", 65535},
                                                    {"channels-30-million.mkv", 0}};
  for (const auto& [clip, entries] : clips) {
    SCOPED_TRACE(clip);
    const TempDir dir;
    const Answers answers = ask(dir, clip);
    expectRow({clip, kNoVideo, "stream 0: there is no decoder for the audio"}, answers);
    EXPECT_EQ(answers.levels().size(), entries);
  }
}

TEST(OddSound, OfStreamsWithMoreChannelsThanTheFirstFillsTheEntriesThatThereAre) {
  const TempDir dir;
  const Answers answers = ask(dir, "channels-grow.mkv");
  expectRow({"", kMeasured, kMeasured}, answers);
  ASSERT_EQ(answers.levels().size(), 3U);
  // An entry for each stream; the later stream has the last word.
  expectLevel(answers, 0, oddSample(0, 0));
  expectLevel(answers, 1, oddSample(1, 0));
  expectLevel(answers, 2, oddSample(2, 0));
}

TEST(OddSound, OfStreamsWithFewerChannelsThanTheFirstLeavesEntriesUnmeasured) {
  const TempDir dir;
  const Answers answers = ask(dir, "channels-shrink.mkv");
  expectRow({"", kMeasured, kMeasured}, answers);
  ASSERT_EQ(answers.levels().size(), 18U);
  std::vector<bool> measured;
  for (unsigned entry = 0; entry < 18; ++entry) {
    measured.push_back(entry < 8);
    if (entry == 2) {
      // A stream of one channel goes into the entry of its own number.
      expectLevel(answers, entry, oddSample(2, 0));
    } else if (entry < 8) {
      expectLevel(answers, entry,
                  oddSample(static_cast<int>(entry) / 6, static_cast<int>(entry) % 6));
    }
  }
  const std::vector<QAValues> entries = answers.levels();
  ASSERT_EQ(entries.size(), measured.size());
  for (std::size_t entry = 0; entry < entries.size(); ++entry) {
    EXPECT_EQ(numberOf(entries[entry], "measured"), measured[entry] ? 1.0 : 0.0) << entry;
  }
}

TEST(OddSound, ThatChangesItsChannelsOrRateIsMeasuredOn) {
  // At 16 kHz the 1.2 s before the change are not 20 blocks of 1024.
  constexpr int kPastTheChange = 30;
  for (const char* clip : {"channels-change.aac", "rate-changes.aac"}) {
    SCOPED_TRACE(clip);
    const TempDir dir;
    const Answers answers = ask(dir, clip, kPastTheChange);
    expectRow({clip, kNoVideo, kMeasured}, answers);
    EXPECT_EQ(answers.of("QALevels").count, kPastTheChange);
  }
  expectRows(
      {{"channels-change.flac", kNoVideo, kMeasured}, {"rate-changes.flac", kNoVideo, kMeasured}});
}

TEST(OddPackets, BlocksLargerThanTheLibrarysAreLeftOut) {
  expectRows({{"blocks-192000-bytes.nut", kNoVideo, kMeasured},
              {"blocks-240000-bytes.nut", kNoVideo, kNoBlock}});
}

TEST(OddPackets, OfSeveralPicturesOrBlocksAreMeasured) {
  expectRows({{"packed-pictures.avi", kMeasured, kNoAudio},
              {"four-pictures-a-packet.nut", kMeasured, kNoAudio},
              {"four-blocks-a-packet.nut", kNoVideo, kMeasured},
              {"four-blocks-adts.nut", kNoVideo, kMeasured}});
}

TEST(OddStreams, WithoutPacketsAreNotMeasured) {
  expectRows({{"no-pictures.mkv", notReadable("unknown"), kMeasured},
              {"no-sound.mkv", kMeasured, kNoBlock},
              // A stream whose rate nobody knows lasts no instant.
              {"no-sound.ts", kMeasured, kNoSoundLeft},
              {"no-sound.mov", kMeasured, kNoAudio}});
}

TEST(OddStreams, OfOtherKindsAreNoObstacle) {
  expectRows({{"subtitles.mkv", kMeasured, kMeasured},
              {"data.ts", kMeasured, kMeasured},
              // The picture on the cover is the first of the file.
              {"cover.m4a", notReadable("yuvj420p"), kMeasured}});
}

TEST(OddStreams, OfAFileThatIsOnlyAHeaderHaveNothing) {
  const std::string unopened = "cannot be opened as a media file: ";
  const std::string invalid = unopened + "Invalid data found when processing input";
  expectRows({{"header.mov", notReadable("unknown"), kNoBlock},
              {"header.wav", kNoVideo, kNoSoundLeft},
              {"header.flac", invalid, invalid},
              {"header.mkv", unopened + "End of file", unopened + "End of file"}});
  const TempDir dir;
  const Answers answers = ask(dir, "header.avi");
  for (const QACheckOutcome& outcome : answers.outcomes) {
    // What it takes to be valid, or to have streams, is a matter of the header; that nothing can be
    // decoded is a finding.
    const bool isOfHeader = outcome.name == "valid" || outcome.name == "streams" ||
                            outcome.name == "decoding" || outcome.name == "channels";
    EXPECT_EQ(outcome.measured, isOfHeader) << outcome.name;
  }
}

}  // namespace
}  // namespace qatest
