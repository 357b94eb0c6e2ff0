#include "checks/sound/SoundProgrammes.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "support/SoundBlocks.h"

namespace qatester {

void PrintTo(const SoundChannel& one, std::ostream* out) {
  *out << one.stream << "." << one.channel << " " << one.name << " " << one.weight;
}

}  // namespace qatester

namespace {

using qatest::factsOf;
using qatest::SoundStream;
using qatester::findSoundProgrammes;
using qatester::SoundProgramme;
using Texts = std::vector<std::string>;

const Texts k51{"FL", "FR", "FC", "LFE", "SL", "SR"};
const Texts k51Back{"FL", "FR", "FC", "LFE", "BL", "BR"};
const Texts k71{"FL", "FR", "FC", "LFE", "BL", "BR", "SL", "SR"};

SoundStream undeclared(int channels, const std::string& language = "") {
  return {.channels = channels, .language = language};
}

SoundStream declared(const Texts& names, const std::string& language = "") {
  return {.channels = static_cast<int>(names.size()), .names = names, .language = language};
}

SoundStream titled(const std::string& title) {
  return {.channels = 1, .title = title};
}

std::vector<SoundStream> tracks(int count) {
  return std::vector<SoundStream>(static_cast<std::size_t>(count), undeclared(1));
}

/// Layout, where each channel comes from, counted from 1, and what it is called.
std::string textOfProgramme(const SoundProgramme& programme) {
  std::string text = programme.layout + (programme.layoutDeclared ? ":" : " assumed:");
  for (const qatester::SoundChannel& channel : programme.channels) {
    text += " " + std::to_string(channel.stream + 1) + "." + std::to_string(channel.channel + 1) +
            "=" + channel.name;
  }
  return text;
}

Texts textsOfProgrammes(const std::vector<SoundStream>& streams, const std::string& setting = "") {
  const qatester::SoundProgrammes found = findSoundProgrammes(factsOf(streams), setting);
  EXPECT_EQ(found.problem, "");
  Texts texts;
  for (const SoundProgramme& programme : found.all) {
    texts.push_back(textOfProgramme(programme));
  }
  return texts;
}

SoundProgramme onlyProgramme(const std::vector<SoundStream>& streams) {
  const qatester::SoundProgrammes found = findSoundProgrammes(factsOf(streams), "");
  EXPECT_EQ(found.all.size(), 1U);
  return found.all.empty() ? SoundProgramme{} : found.all.front();
}

std::vector<double> weightsOf(const SoundProgramme& programme) {
  std::vector<double> weights;
  for (const qatester::SoundChannel& channel : programme.channels) {
    weights.push_back(channel.weight);
  }
  return weights;
}

using Indices = std::vector<int>;

/// Left, right, left and right surround.
Indices pairsOf(const SoundProgramme& one) {
  return {one.left, one.right, one.leftSurround, one.rightSurround};
}

using Weights = std::vector<double>;

// A declared layout

TEST(SoundProgrammes, ADeclaredStereoStreamIsAProgramme) {
  const SoundProgramme stereo = onlyProgramme({declared({"FL", "FR"}, "eng")});
  EXPECT_EQ(textOfProgramme(stereo), "stereo: 1.1=L 1.2=R");
  EXPECT_EQ(weightsOf(stereo), (Weights{1.0, 1.0}));
  EXPECT_EQ(pairsOf(stereo), (Indices{0, 1, -1, -1}));
  EXPECT_FALSE(stereo.isAssumedPair);
  EXPECT_FALSE(stereo.isMono());
  EXPECT_EQ(stereo.language, "eng");
  EXPECT_EQ(stereo.streams, Indices{0});
}

TEST(SoundProgrammes, SurroundsOfFiveChannelsCountMoreWhetherAtTheSideOrTheBack) {
  for (const Texts& names : {k51, k51Back}) {
    const SoundProgramme surround = onlyProgramme({declared(names)});
    EXPECT_EQ(textOfProgramme(surround), "5.1: 1.1=L 1.2=R 1.3=C 1.4=LFE 1.5=Ls 1.6=Rs");
    EXPECT_EQ(weightsOf(surround), (Weights{1.0, 1.0, 1.0, 0.0, 1.41, 1.41}));
    EXPECT_EQ(pairsOf(surround), (Indices{0, 1, 4, 5}));
  }
  const SoundProgramme quad = onlyProgramme({declared({"FL", "FR", "BL", "BR"})});
  EXPECT_EQ(textOfProgramme(quad), "4.0: 1.1=L 1.2=R 1.3=Ls 1.4=Rs");
  EXPECT_EQ(weightsOf(quad), (Weights{1.0, 1.0, 1.41, 1.41}));
}

TEST(SoundProgrammes, OfSevenChannelsTheSidesCountMoreAndTheBackDoesNot) {
  const SoundProgramme surround = onlyProgramme({declared(k71)});
  EXPECT_EQ(textOfProgramme(surround),
            "7.1: 1.1=L 1.2=R 1.3=C 1.4=LFE 1.5=Lb 1.6=Rb 1.7=Ls 1.8=Rs");
  EXPECT_EQ(weightsOf(surround), (Weights{1.0, 1.0, 1.0, 0.0, 1.0, 1.0, 1.41, 1.41}));
  EXPECT_EQ(pairsOf(surround), (Indices{0, 1, 6, 7}));
}

TEST(SoundProgrammes, ABackCentreAndHeightsCountOnce) {
  EXPECT_EQ(weightsOf(onlyProgramme({declared({"FL", "FR", "FC", "LFE", "BC", "SL", "SR"})})),
            (Weights{1.0, 1.0, 1.0, 0.0, 1.0, 1.41, 1.41}));
  EXPECT_EQ(
      weightsOf(onlyProgramme({declared({"FL", "FR", "FC", "LFE", "SL", "SR", "TFL", "TFR"})})),
      (Weights{1.0, 1.0, 1.0, 0.0, 1.41, 1.41, 1.0, 1.0}));
}

TEST(SoundProgrammes, TheLowFrequencyChannelAndSurroundsAreExtra) {
  const SoundProgramme surround = onlyProgramme({declared(k51)});
  std::vector<bool> extra;
  std::vector<bool> low;
  for (const auto& channel : surround.channels) {
    extra.push_back(channel.isExtra);
    low.push_back(channel.isLowFrequency());
  }
  EXPECT_EQ(extra, (std::vector<bool>{false, false, false, true, true, true}));
  EXPECT_EQ(low, (std::vector<bool>{false, false, false, true, false, false}));
}

TEST(SoundProgrammes, AMixdownIsStereo) {
  EXPECT_EQ(textsOfProgrammes({declared({"DL", "DR"})}), Texts{"stereo: 1.1=L 1.2=R"});
}

TEST(SoundProgrammes, LeftAndRightAreFoundWhereTheyAre) {
  EXPECT_EQ(pairsOf(onlyProgramme({declared({"FC", "FR"})})), (Indices{-1, 1, -1, -1}));
  EXPECT_EQ(pairsOf(onlyProgramme({declared({"FR", "FL"})})), (Indices{1, 0, -1, -1}));
}

// No declared layout

TEST(SoundProgrammes, UndeclaredStreamsOfUsualSizesAreTakenForTheUsual) {
  EXPECT_EQ(textsOfProgrammes({undeclared(2)}), Texts{"stereo assumed: 1.1=L 1.2=R"});
  EXPECT_EQ(textsOfProgrammes({undeclared(5)}),
            Texts{"5.0 assumed: 1.1=L 1.2=R 1.3=C 1.4=Ls 1.5=Rs"});
  const SoundProgramme six = onlyProgramme({undeclared(6)});
  EXPECT_EQ(textOfProgramme(six), "5.1 assumed: 1.1=L 1.2=R 1.3=C 1.4=LFE 1.5=Ls 1.6=Rs");
  EXPECT_EQ(weightsOf(six), (Weights{1.0, 1.0, 1.0, 0.0, 1.41, 1.41}));
}

TEST(SoundProgrammes, OtherUndeclaredStreamsArePairs) {
  for (const int channels : {4, 8, 10, 12, 16}) {
    Texts pairs;
    for (int i = 1; i < channels; i += 2) {
      const std::string one = std::to_string(i);
      const std::string other = std::to_string(i + 1);
      pairs.push_back("stereo assumed: 1." + one + "=" + one + " 1." + other + "=" + other);
    }
    EXPECT_EQ(textsOfProgrammes({undeclared(channels)}), pairs);
  }
  const auto found = findSoundProgrammes(factsOf({undeclared(4, "deu")}), "");
  for (const SoundProgramme& pair : found.all) {
    EXPECT_TRUE(pair.isAssumedPair);
    EXPECT_EQ(pairsOf(pair), (Indices{0, 1, -1, -1}));
    EXPECT_EQ(weightsOf(pair), (Weights{1.0, 1.0}));
    EXPECT_EQ(pair.streams, Indices{0});
    EXPECT_EQ(pair.language, "deu");
  }
}

TEST(SoundProgrammes, TheLastOfAnOddNumberIsMono) {
  EXPECT_EQ(textsOfProgrammes({undeclared(3)}),
            (Texts{"stereo assumed: 1.1=1 1.2=2", "mono assumed: 1.3=3"}));
}

TEST(SoundProgrammes, AStreamOfUnknownChannelsHasAPlace) {
  const auto found = findSoundProgrammes(factsOf({undeclared(2), undeclared(0)}), "");
  ASSERT_EQ(found.all.size(), 2U);
  EXPECT_EQ(found.all[1].layout, "unknown");
  EXPECT_TRUE(found.all[1].channels.empty());
  EXPECT_EQ(found.all[1].streams, Indices{1});
}

TEST(SoundProgrammes, AStreamOfMoreChannelsThanAnyoneHearsIsLeftOut) {
  EXPECT_EQ(textsOfProgrammes({undeclared(64)}).size(), 32U);
  EXPECT_TRUE(textsOfProgrammes({undeclared(65)}).empty());
}

TEST(SoundProgrammes, WithoutSoundThereIsNone) {
  EXPECT_TRUE(textsOfProgrammes({}).empty());
}

// Tracks of one channel

TEST(SoundProgrammes, ASingleTrackIsMono) {
  for (const SoundStream& track : {undeclared(1), declared({"FC"})}) {
    const SoundProgramme mono = onlyProgramme({track});
    EXPECT_EQ(textOfProgramme(mono), "mono: 1.1=1");
    EXPECT_TRUE(mono.isMono());
    EXPECT_EQ(pairsOf(mono), (Indices{-1, -1, -1, -1}));
    EXPECT_EQ(weightsOf(mono), Weights{1.0});
  }
}

TEST(SoundProgrammes, TracksThatFollowEachOtherPairUp) {
  for (const int count : {2, 4, 8, 16}) {
    Texts pairs;
    for (int i = 1; i < count; i += 2) {
      const std::string one = std::to_string(i);
      const std::string other = std::to_string(i + 1);
      pairs.push_back("stereo assumed: " + one + ".1=" + one + " " + other + ".1=" + other);
    }
    EXPECT_EQ(textsOfProgrammes(tracks(count)), pairs);
    // Most files say of each track that it is in the middle.
    EXPECT_EQ(textsOfProgrammes(
                  std::vector<SoundStream>(static_cast<std::size_t>(count), declared({"FC"}))),
              pairs);
  }
  const SoundProgramme pair = onlyProgramme(tracks(2));
  EXPECT_TRUE(pair.isAssumedPair);
  EXPECT_EQ(pair.streams, (Indices{0, 1}));
}

TEST(SoundProgrammes, AnOddOneOutIsMono) {
  EXPECT_EQ(textsOfProgrammes(tracks(5)),
            (Texts{"stereo assumed: 1.1=1 2.1=2", "stereo assumed: 3.1=3 4.1=4", "mono: 5.1=5"}));
}

TEST(SoundProgrammes, TracksOfTwoLanguagesDoNotPairUp) {
  const Texts bothMono{"mono: 1.1=1", "mono: 2.1=2"};
  EXPECT_EQ(textsOfProgrammes({undeclared(1, "eng"), undeclared(1, "deu")}), bothMono);
  EXPECT_EQ(textsOfProgrammes({undeclared(1, "eng"), undeclared(1, "eng"), undeclared(1, "eng"),
                               undeclared(1, "deu"), undeclared(1, "deu")}),
            (Texts{"stereo assumed: 1.1=1 2.1=2", "mono: 3.1=3", "stereo assumed: 4.1=4 5.1=5"}));
  const auto found = findSoundProgrammes(
      factsOf({undeclared(1, "eng"), undeclared(1, "eng"), undeclared(1, "deu")}), "");
  ASSERT_EQ(found.all.size(), 2U);
  EXPECT_EQ(found.all[0].language, "eng");
  EXPECT_EQ(found.all[1].language, "deu");
}

TEST(SoundProgrammes, TracksOfTwoRatesOrLengthsDoNotPairUp) {
  const Texts bothMono{"mono: 1.1=1", "mono: 2.1=2"};
  const Texts pair{"stereo assumed: 1.1=1 2.1=2"};
  std::vector<SoundStream> two = tracks(2);
  two[1].sampleRate = 44100;
  EXPECT_EQ(textsOfProgrammes(two), bothMono);
  two = tracks(2);
  two[0].declaredSeconds = 10.0;
  EXPECT_EQ(textsOfProgrammes(two), bothMono);
  two[1].declaredSeconds = 10.09;
  EXPECT_EQ(textsOfProgrammes(two), pair);
  two[1].declaredSeconds = 10.11;
  EXPECT_EQ(textsOfProgrammes(two), bothMono);
}

TEST(SoundProgrammes, DeclaredPositionsPutTracksTogether) {
  std::vector<SoundStream> streams{declared({"FL"}), declared({"FR"})};
  const SoundProgramme stereo = onlyProgramme(streams);
  EXPECT_EQ(textOfProgramme(stereo), "stereo: 1.1=L 2.1=R");
  EXPECT_FALSE(stereo.isAssumedPair);
  streams.clear();
  for (const std::string& name : k51) {
    streams.push_back(declared({name}));
  }
  const SoundProgramme surround = onlyProgramme(streams);
  EXPECT_EQ(textOfProgramme(surround), "5.1: 1.1=L 2.1=R 3.1=C 4.1=LFE 5.1=Ls 6.1=Rs");
  EXPECT_EQ(weightsOf(surround), (Weights{1.0, 1.0, 1.0, 0.0, 1.41, 1.41}));
  EXPECT_EQ(pairsOf(surround), (Indices{0, 1, 4, 5}));
  EXPECT_EQ(surround.streams, (Indices{0, 1, 2, 3, 4, 5}));
  // A second mix after it.
  streams.push_back(declared({"FL"}));
  streams.push_back(declared({"FR"}));
  EXPECT_EQ(textsOfProgrammes(streams),
            (Texts{"5.1: 1.1=L 2.1=R 3.1=C 4.1=LFE 5.1=Ls 6.1=Rs", "stereo: 7.1=L 8.1=R"}));
}

TEST(SoundProgrammes, TracksAfterThosePlacedTogetherPairUp) {
  for (const SoundStream& other : {undeclared(1), declared({"FC"})}) {
    EXPECT_EQ(textsOfProgrammes({declared({"FL"}), declared({"FR"}), other, other}),
              (Texts{"stereo: 1.1=L 2.1=R", "stereo assumed: 3.1=3 4.1=4"}));
    EXPECT_EQ(textsOfProgrammes({titled("Left"), titled("Right"), other, other}),
              (Texts{"stereo: 1.1=L 2.1=R", "stereo assumed: 3.1=3 4.1=4"}));
  }
  std::vector<SoundStream> streams;
  for (const std::string& name : k51) {
    streams.push_back(declared({name}));
  }
  streams.resize(8, declared({"FC"}));
  EXPECT_EQ(textsOfProgrammes(streams),
            (Texts{"5.1: 1.1=L 2.1=R 3.1=C 4.1=LFE 5.1=Ls 6.1=Rs", "stereo assumed: 7.1=7 8.1=8"}));
  // A title means what it says.
  EXPECT_EQ(textsOfProgrammes({titled("Centre"), undeclared(1)}),
            (Texts{"mono: 1.1=1", "mono: 2.1=2"}));
}

TEST(SoundProgrammes, WhatIsPlacedOtherwiseThanAProgrammeIsMono) {
  EXPECT_EQ(textsOfProgrammes({declared({"FR"}), declared({"FL"})}),
            (Texts{"mono: 1.1=1", "mono: 2.1=2"}));
  EXPECT_EQ(textsOfProgrammes({declared({"FL"}), declared({"FR"}), declared({"FC"})}),
            (Texts{"stereo: 1.1=L 2.1=R", "mono: 3.1=3"}));
  EXPECT_EQ(textsOfProgrammes({declared({"FL"}), declared({"LFE"})}),
            (Texts{"mono: 1.1=1", "mono: 2.1=2"}));
}

TEST(SoundProgrammes, TitlesThatNameASidePutTracksTogether) {
  EXPECT_EQ(textsOfProgrammes({titled("Left"), titled("Right")}), Texts{"stereo: 1.1=L 2.1=R"});
  EXPECT_EQ(textsOfProgrammes({titled(" Front-Left "), titled("(Front Right)")}),
            Texts{"stereo: 1.1=L 2.1=R"});
  EXPECT_EQ(textsOfProgrammes({titled("L"), titled("R"), titled("C"), titled("LFE"), titled("Ls"),
                               titled("Rs"), titled("Lt"), titled("Rt")}),
            (Texts{"5.1: 1.1=L 2.1=R 3.1=C 4.1=LFE 5.1=Ls 6.1=Rs", "stereo: 7.1=L 8.1=R"}));
}

TEST(SoundProgrammes, OtherTitlesDecideNothing) {
  EXPECT_EQ(textsOfProgrammes({titled("Commentary"), titled("Leftovers")}),
            Texts{"stereo assumed: 1.1=1 2.1=2"});
}

TEST(SoundProgrammes, ADeclaredPlaceWinsOverATitle) {
  SoundStream left = declared({"FL"});
  SoundStream right = declared({"FR"});
  left.title = "Right";
  right.title = "Left";
  EXPECT_EQ(textsOfProgrammes({left, right}), Texts{"stereo: 1.1=L 2.1=R"});
}

TEST(SoundProgrammes, SidesOfTwoLanguagesAreNotOneProgramme) {
  SoundStream left = titled("Left");
  left.language = "eng";
  EXPECT_EQ(textsOfProgrammes({left, titled("Right")}), (Texts{"mono: 1.1=1", "mono: 2.1=2"}));
}

TEST(SoundProgrammes, TracksOnTwoSidesOfAnotherStreamDoNotPairUp) {
  EXPECT_EQ(textsOfProgrammes({undeclared(1), declared({"FL", "FR"}), undeclared(1)}),
            (Texts{"mono: 1.1=1", "stereo: 2.1=L 2.2=R", "mono: 3.1=3"}));
}

TEST(SoundProgrammes, MixturesAreTakenInTheOrderOfTheFile) {
  EXPECT_EQ(textsOfProgrammes({declared(k51), undeclared(1), undeclared(1), undeclared(2),
                               undeclared(4), undeclared(1)}),
            (Texts{"5.1: 1.1=L 1.2=R 1.3=C 1.4=LFE 1.5=Ls 1.6=Rs", "stereo assumed: 2.1=2 3.1=3",
                   "stereo assumed: 4.1=L 4.2=R", "stereo assumed: 5.1=1 5.2=2",
                   "stereo assumed: 5.3=3 5.4=4", "mono: 6.1=6"}));
}

// The setting

TEST(SoundProgrammes, TheSettingSaysWhichStreamsBelongTogether) {
  const Texts expected{"stereo: 1.1=L 2.1=R", "stereo: 3.1=L 4.1=R",
                       "5.1: 5.1=L 6.1=R 7.1=C 8.1=LFE 9.1=Ls 10.1=Rs", "mono: 11.1=11"};
  EXPECT_EQ(textsOfProgrammes(tracks(11), "1+2; 3+4; 5-10:5.1; 11"), expected);
  EXPECT_EQ(textsOfProgrammes(tracks(11), " 1 + 2;3-4:stereo ;5 - 10=5.1;;11:mono;"), expected);
  EXPECT_EQ(textsOfProgrammes(tracks(6), "1-6"),
            Texts{"5.1: 1.1=L 2.1=R 3.1=C 4.1=LFE 5.1=Ls 6.1=Rs"})
      << "the usual layout of six";
  EXPECT_EQ(textsOfProgrammes(tracks(5), "1-2+5+3-4:5.0"),
            Texts{"5.0: 1.1=L 2.1=R 5.1=C 3.1=Ls 4.1=Rs"});
  EXPECT_EQ(textsOfProgrammes(tracks(8), "1-8:7.1"),
            Texts{"7.1: 1.1=L 2.1=R 3.1=C 4.1=LFE 5.1=Lb 6.1=Rb 7.1=Ls 8.1=Rs"});
  EXPECT_EQ(textsOfProgrammes(tracks(2), "2+1:2.0"), Texts{"stereo: 2.1=L 1.1=R"});
}

TEST(SoundProgrammes, TheSettingLeavesOutWhatItDoesNotName) {
  EXPECT_EQ(textsOfProgrammes(tracks(4), "3"), Texts{"mono: 3.1=3"});
}

TEST(SoundProgrammes, AStreamMayBelongToSeveralProgrammes) {
  EXPECT_EQ(textsOfProgrammes(tracks(3), "1+2; 1+3"),
            (Texts{"stereo: 1.1=L 2.1=R", "stereo: 1.1=L 3.1=R"}));
}

TEST(SoundProgrammes, ANamedStreamOfSeveralChannelsKeepsItsLayout) {
  EXPECT_EQ(textsOfProgrammes({declared(k51Back), undeclared(2)}, "2;1"),
            (Texts{"stereo: 2.1=L 2.2=R", "5.1: 1.1=L 1.2=R 1.3=C 1.4=LFE 1.5=Ls 1.6=Rs"}));
  EXPECT_EQ(textsOfProgrammes({undeclared(8)}, "1:7.1"),
            Texts{"7.1: 1.1=L 1.2=R 1.3=C 1.4=LFE 1.5=Lb 1.6=Rb 1.7=Ls 1.8=Rs"});
  EXPECT_EQ(textsOfProgrammes({undeclared(2), undeclared(4)}, "1+2:5.1"),
            Texts{"5.1: 1.1=L 1.2=R 2.1=C 2.2=LFE 2.3=Ls 2.4=Rs"});
}

TEST(SoundProgrammes, AnEmptySettingLeavesItToTheFile) {
  for (const char* setting : {"", " ", ";", " ; \t;"}) {
    EXPECT_EQ(textsOfProgrammes(tracks(2), setting), Texts{"stereo assumed: 1.1=1 2.1=2"});
  }
}

TEST(SoundProgrammes, WhatIsWrongWithTheSettingIsSaid) {
  const std::string form = "streams are written 1+2 or 5-10";
  const std::vector<std::pair<std::string, std::string>> wrong{
      {"x", form},
      {"0", form},
      {"-1", form},
      {"1+", form},
      {"+1", form},
      {"1++2", form},
      {"2-", form},
      {"2-1", form},
      {"1-2-3", form},
      {"1,2", form},
      {"1.5", form},
      {"99999999999", form},
      {":stereo", form},
      {":", form},
      {"7", "there is no audio stream 7"},
      {"1-2+7", "there is no audio stream 7"},
      {"1+2:5.1", "5.1 is no layout of 2 channels"},
      {"1:stereo", "stereo is no layout of 1 channels"},
      {"1+2:wide", "wide is no layout of 2 channels"},
      {"1-3", "a layout is missing, such as :5.1"},
      {"5", "a layout is missing, such as :5.1"},
      {"1+2:", "a layout is missing, such as :5.1"},
      {"1+2:stereo:5.1", "a programme has one layout"},
      {"6", "stream 6 has no channels"},
  };
  std::vector<SoundStream> streams = tracks(4);
  streams.push_back(undeclared(8));
  streams.push_back(undeclared(0));
  for (const auto& [setting, why] : wrong) {
    std::string whole = "1+2; ";
    whole += setting;
    const auto found = findSoundProgrammes(factsOf(streams), whole);
    EXPECT_EQ(found.problem, "Programmes: " + setting + ": " + why);
    EXPECT_TRUE(found.all.empty()) << setting;
  }
}

// A stream that turns out otherwise than declared

TEST(ProgrammeOfAStream, HasTheLayoutOfItsBlocks) {
  const SoundProgramme stereo =
      qatester::programmeOfStream(2, {.channels = 2, .names = {"FL", "FR"}}, "eng");
  EXPECT_EQ(textOfProgramme(stereo), "stereo: 3.1=L 3.2=R");
  EXPECT_EQ(stereo.language, "eng");
  EXPECT_EQ(stereo.streams, Indices{2});
  EXPECT_EQ(textOfProgramme(qatester::programmeOfStream(0, {.channels = 6, .names = {}}, "")),
            "5.1 assumed: 1.1=L 1.2=R 1.3=C 1.4=LFE 1.5=Ls 1.6=Rs");
}

TEST(ProgrammeOfAStream, WithoutAUsualLayoutHasNumbersForNames) {
  const SoundProgramme three = qatester::programmeOfStream(0, {.channels = 3, .names = {}}, "");
  EXPECT_EQ(textOfProgramme(three), "3 channels assumed: 1.1=1 1.2=2 1.3=3");
  EXPECT_EQ(weightsOf(three), (Weights{1.0, 1.0, 1.0}));
  EXPECT_EQ(pairsOf(three), (Indices{-1, -1, -1, -1}));
}

// Names

Texts namesOfAll(const std::vector<SoundStream>& streams, const std::string& setting = "") {
  const auto found = findSoundProgrammes(factsOf(streams), setting);
  Texts names;
  for (const SoundProgramme& programme : found.all) {
    names.push_back(programmeName(programme, found.all.size()));
  }
  return names;
}

TEST(ProgrammeName, IsEmptyOfAnOnlyOne) {
  EXPECT_EQ(namesOfAll({undeclared(2, "eng")}), Texts{""});
}

TEST(ProgrammeName, SaysTheStreamsAndTheLanguage) {
  EXPECT_EQ(namesOfAll({declared({"FL", "FR"}, "eng"), undeclared(1, "deu"), undeclared(1, "deu"),
                        undeclared(1)}),
            (Texts{"stream 1 (eng)", "streams 2+3 (deu)", "stream 4"}));
}

TEST(ProgrammeName, SaysTheChannelsOfAPartOfAStream) {
  EXPECT_EQ(namesOfAll({undeclared(3, "eng"), undeclared(2)}),
            (Texts{"stream 1, channels 1+2 (eng)", "stream 1, channel 3 (eng)", "stream 2"}));
}

}  // namespace
