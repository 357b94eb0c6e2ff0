#include <gtest/gtest.h>

#include "Client.h"

namespace qatest {
namespace {

TEST(Table, HoldsTheFileALineACheckAndWhatWasNotMeasured) {
  const TempDir dir;
  const std::string clip = goodClip(dir);
  const Finished end = runClient(
      {"--checks",
       "valid,frame-rate,field-dominance,pulldown,tearing,timecode,transitions,chroma,gamut,"
       "levels,loudness,mono,phase,drop-no-drop",
       clip});
  const std::string loudness = twoDecimals(loudnessOfConstants(0.5, -0.5, 1024));
  // The file ends at 51/25 s, of which the timecode check leaves a second out.
  EXPECT_EQ(end.out,
            clip +
                "\n"
                "  verdict: pass; not measured: field-dominance, pulldown, tearing, transitions, "
                "4 more\n"
                "  valid            pass\n"
                "  frame-rate       pass  declared 25.00 fps, measured 25.00 fps\n"
                "  timecode         info  26 frames, 00:00:00:00 to 00:00:01:00 "
                "(drop-frame to 00:00:01;00)\n"
                "  loudness         info  " +
                loudness +
                " LKFS over 0.02 s from 0.00 s; no band is set "
                "(LoudnessMinThreshold, LoudnessMaxThreshold)\n"
                "  mono             pass  0 of 94 blocks carry one signal, limit 1 %; "
                "to the end: 94 blocks\n"
                "  drop-no-drop     info  nothing is measured: always false\n"
                // In 100 columns.
                "  not-measured  field-dominance, pulldown, tearing, transitions, chroma, gamut: "
                "the file ends within\n"
                "                the slate of 5 s\n"
                "  not-measured  levels, phase: too short, or of unknown duration: nothing is left "
                "to measure\n");
  EXPECT_EQ(end.err, "");
  EXPECT_EQ(end.code, 2) << "as checks that were asked for could not be measured";
}

TEST(Table, OfAllChecksLeavesOutWhatSaysNothingOfTheFile) {
  const TempDir dir;
  const Finished end = runClient({goodClip(dir)});
  EXPECT_EQ(end.out.find("drop-no-drop"), std::string::npos) << end.out;
  EXPECT_EQ(end.code, 0) << "though some could not be measured";
}

TEST(Table, ColumnsAreAsWideAsTheChosenChecksNeed) {
  const TempDir dir;
  const std::string clip = goodClip(dir);
  EXPECT_EQ(runClient({"--checks", "valid", clip}).out,
            clip + "\n  verdict: pass\n  valid  pass\n");
}

TEST(Table, AFailedCheckShowsItsFiguresAndExitsWith1) {
  const TempDir dir;
  const std::string clip = fastClip(dir);
  const Finished end = runClient({"--checks", "frame-rate", clip});
  EXPECT_EQ(end.out, clip + "\n  verdict: fail\n  frame-rate  fail  declared 25.00 fps, measured " +
                         twoDecimals(static_cast<double>(fastClipRate(kFastClipBudget))) +
                         " fps\n");
  EXPECT_EQ(end.code, 1);
}

TEST(Table, TellsWhyAFileIsNotValid) {
  const TempDir dir;
  const std::string clip =
      makeClip(dir, "two.mkv", {{ffv1()}, audioStreams(2, audio("pcm_s16le"))});
  const Finished end = runClient({"--checks", "valid", clip});
  EXPECT_EQ(
      end.out,
      clip + "\n  verdict: fail\n  valid  fail  2 audio streams (1, 3, 4 or 8 are supported)\n");
  EXPECT_EQ(end.code, 1);
}

TEST(Table, TellsWhyACheckCouldNotMeasure) {
  const TempDir dir;
  const std::string clip = soundClip(dir);
  const Finished end = runClient({"--checks", "frame-rate", clip});
  EXPECT_EQ(end.out,
            clip + "\n  verdict: not-measured\n  not-measured  frame-rate: no video stream\n");
  EXPECT_EQ(end.err, "");
}

TEST(Table, ACheckThatWasAskedForAndNotMeasuredExitsWith2) {
  const TempDir dir;
  const std::string clip = soundClip(dir);
  EXPECT_EQ(runClient({"--checks", "frame-rate", clip}).code, 2);
  EXPECT_EQ(runClient({"--checks", "frame-rate,drop-no-drop", clip}).code, 2);
  EXPECT_EQ(runClient({"--checks", "frame-rate,valid", clip}).code, 2);
  EXPECT_EQ(runClient({"--checks", "drop-no-drop,valid", clip}).code, 1) << "it is not valid";
  EXPECT_EQ(runClient({clip}).code, 0) << "as none of those judges";
  EXPECT_EQ(runClient({"--profile", "classic", clip}).code, 2) << "as the levels were to be judged";
}

TEST(Table, AnUnsupportedFormatIsNotMeasured) {
  const TempDir dir;
  const std::string clip = makeClip(dir, "prores.mov", {{proRes()}, {audio("pcm_s16le")}});
  const Finished end = runClient({"--checks", "valid,frame-rate,chroma,gamut,drop-no-drop", clip});
  const std::string reason = "pixel format yuv422p10le is not 8-bit planar 4:2:0, 4:2:2 or 4:4:4";
  EXPECT_EQ(end.out, clip +
                         "\n  verdict: fail; not measured: frame-rate, chroma, gamut\n"
                         "  valid         fail  " +
                         reason +
                         "\n  drop-no-drop  info  nothing is measured: always false\n"
                         "  not-measured  frame-rate, chroma, gamut: " +
                         "pixel format yuv422p10le is not 8-bit planar 4:2:0, 4:2:2\n"
                         "                or 4:4:4\n");
  EXPECT_EQ(end.code, 2);
}

TEST(Table, TellsHowManyFramesCame) {
  const TempDir dir;
  const Finished end = runClient({"--checks", "frame-rate", cutClip(dir)});
  EXPECT_NE(end.out.find(" of 100 frames came\n"), std::string::npos) << end.out;
  EXPECT_NE(end.out.find(" fps, only "), std::string::npos) << end.out;
  EXPECT_EQ(end.code, 1);
}

TEST(Table, KeepsTheOrderOfTheFilesAndABadOneStopsNone) {
  const TempDir dir;
  const std::string first = goodClip(dir, "b.mkv");
  const std::string second = dir.file("missing.mkv");
  const std::string third = fastClip(dir, "a.mkv");
  const Finished end = runClient({"--checks", "valid,frame-rate", first, second, third});
  EXPECT_EQ(end.out, first +
                         "\n  verdict: pass\n"
                         "  valid       pass\n"
                         "  frame-rate  pass  declared 25.00 fps, measured 25.00 fps\n\n" +
                         third +
                         "\n  verdict: fail\n"
                         "  frame-rate  fail  declared 25.00 fps, measured " +
                         twoDecimals(static_cast<double>(fastClipRate(kFastClipBudget))) +
                         " fps\n"
                         "  valid       pass\n\n"
                         "3 files: 1 passed, 1 failed, 1 could not be read or measured\n"
                         "  not-measured  missing.mkv\n"
                         "  fail          a.mkv: frame-rate\n");
  EXPECT_EQ(end.err, "qatester: " + second + ": No such file or directory\n");
  EXPECT_EQ(end.code, 2);
}

TEST(Table, TroubleWithOneFileOutweighsAFailedCheckOfAnother) {
  const TempDir dir;
  EXPECT_EQ(runClient({"--checks", "frame-rate", fastClip(dir), dir.file("missing.mkv")}).code, 2);
  EXPECT_EQ(runClient({"--checks", "frame-rate", goodClip(dir), fastClip(dir)}).code, 1);
}

TEST(Table, QuietLeavesItOutAndKeepsErrors) {
  const TempDir dir;
  const Finished good = runClient({"-q", goodClip(dir)});
  EXPECT_EQ(good.out + good.err, "");
  EXPECT_EQ(good.code, 0);
  const Finished bad = runClient({"--quiet", dir.file("missing")});
  EXPECT_EQ(bad.out, "");
  EXPECT_EQ(bad.err, "qatester: " + dir.file("missing") + ": No such file or directory\n");
}

TEST(Table, MovesToStandardErrorWhenTheReportTakesItsPlace) {
  const TempDir dir;
  const std::string clip = goodClip(dir);
  const Finished end = runClient({"--json", "-", "--checks", "valid", clip});
  EXPECT_EQ(end.err, clip + "\n  verdict: pass\n  valid  pass\n");
  EXPECT_EQ(onlyCheck(nlohmann::json::parse(end.out)).at("state"), "pass");
  EXPECT_EQ(end.code, 0);
}

TEST(Table, ANameTakesOneLineWhateverItHolds) {
  const TempDir dir;
  const std::string clip = goodClip(dir, "two\nlines\x1b[31m.mkv");
  const Finished end = runClient({"--checks", "valid", clip});
  EXPECT_EQ(end.out, dir.file("two?lines?[31m.mkv") + "\n  verdict: pass\n  valid  pass\n");
}

}  // namespace
}  // namespace qatest
