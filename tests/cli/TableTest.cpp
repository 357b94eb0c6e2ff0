#include <gtest/gtest.h>

#include "Client.h"

namespace qatest {
namespace {

TEST(Table, HoldsTheFileAndOneLineACheck) {
  const TempDir dir;
  const std::string clip = goodClip(dir);
  const Finished end = runClient({clip});
  const std::string loudness = twoDecimals(loudnessOfConstants(0.5, -0.5, 1024));
  // The file ends at 51/25 s, of which the timecode check leaves a second out.
  const std::string inSlate = "not-measured  the file ends within the slate of 5 s\n";
  const std::string tooShort = "too short, or of unknown duration: nothing is left to measure\n";
  EXPECT_EQ(end.out,
            clip +
                "\n"
                "  valid            pass\n"
                "  frame-rate       pass          declared 25.00 fps, measured 25.00 fps\n"
                "  field-dominance  " +
                inSlate + "  pulldown         " + inSlate + "  tearing          " + inSlate +
                "  timecode         info          26 frames, 00:00:00:00 to 00:00:01:00 "
                "(drop-frame to 00:00:01;00)\n"
                "  transitions      " +
                inSlate + "  chroma           " + inSlate + "  gamut            " + inSlate +
                "  levels           not-measured  " + tooShort +
                "  loudness         info          " + loudness +
                " LKFS over 0.02 s from 0.00 s; no band is set "
                "(LoudnessMinThreshold, LoudnessMaxThreshold)\n"
                "  mono             pass          0 of 94 blocks carry one signal, limit 1 %; "
                "only 94 of 100 blocks came\n"
                "  phase            not-measured  " +
                tooShort + "  drop-no-drop     info          nothing is measured: always false\n");
  EXPECT_EQ(end.err, "");
  EXPECT_EQ(end.code, 0);
}

TEST(Table, ColumnsAreAsWideAsTheChosenChecksNeed) {
  const TempDir dir;
  const std::string clip = goodClip(dir);
  EXPECT_EQ(runClient({"--checks", "valid", clip}).out, clip + "\n  valid  pass\n");
}

TEST(Table, AFailedCheckShowsItsFiguresAndExitsWith1) {
  const TempDir dir;
  const std::string clip = fastClip(dir);
  const Finished end = runClient({"--checks", "frame-rate", clip});
  EXPECT_EQ(end.out, clip + "\n  frame-rate  fail          declared 25.00 fps, measured " +
                         twoDecimals(static_cast<double>(fastClipRate(kFastClipBudget))) +
                         " fps\n");
  EXPECT_EQ(end.code, 1);
}

TEST(Table, TellsWhyAFileIsNotValid) {
  const TempDir dir;
  const std::string clip =
      makeClip(dir, "two.mkv", {{ffv1()}, audioStreams(2, audio("pcm_s16le"))});
  const Finished end = runClient({"--checks", "valid", clip});
  EXPECT_EQ(end.out,
            clip + "\n  valid  fail          2 audio streams (1, 3, 4 or 8 are supported)\n");
  EXPECT_EQ(end.code, 1);
}

TEST(Table, TellsWhyACheckCouldNotMeasure) {
  const TempDir dir;
  const std::string clip = soundClip(dir);
  const Finished end = runClient({"--checks", "frame-rate", clip});
  EXPECT_EQ(end.out, clip + "\n  frame-rate  not-measured  no video stream\n");
  EXPECT_EQ(end.err, "");
}

TEST(Table, NothingMeasuredExitsWith2) {
  const TempDir dir;
  const std::string clip = soundClip(dir);
  EXPECT_EQ(runClient({"--checks", "frame-rate", clip}).code, 2);
  // A check that never measures anything does not make up for it.
  EXPECT_EQ(runClient({"--checks", "frame-rate,drop-no-drop", clip}).code, 2);
  // A verdict does: the file is not valid.
  EXPECT_EQ(runClient({"--checks", "frame-rate,valid", clip}).code, 1);
}

TEST(Table, AnUnsupportedFormatIsNotMeasured) {
  const TempDir dir;
  const std::string clip = makeClip(dir, "prores.mov", {{proRes()}, {audio("pcm_s16le")}});
  const Finished end = runClient({"--checks", "valid,frame-rate,chroma,gamut,drop-no-drop", clip});
  const std::string reason = "pixel format yuv422p10le is not 8-bit planar 4:2:0, 4:2:2 or 4:4:4";
  EXPECT_EQ(end.out, clip + "\n  valid         fail          " + reason +
                         "\n  frame-rate    not-measured  " + reason +
                         "\n  chroma        not-measured  " + reason +
                         "\n  gamut         not-measured  " + reason +
                         "\n  drop-no-drop  info          nothing is measured: always false\n");
  EXPECT_EQ(end.code, 1);
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
  const std::string third = goodClip(dir, "a.mkv");
  const Finished end = runClient({"--checks", "valid", first, second, third});
  EXPECT_EQ(end.out, first + "\n  valid  pass\n\n" + second +
                         "\n  valid  fail          cannot be opened as a media file: "
                         "No such file or directory\n\n" +
                         third + "\n  valid  pass\n");
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
  EXPECT_EQ(end.err, clip + "\n  valid  pass\n");
  EXPECT_EQ(onlyCheck(nlohmann::json::parse(end.out)).at("state"), "pass");
  EXPECT_EQ(end.code, 0);
}

TEST(Table, ANameTakesOneLineWhateverItHolds) {
  const TempDir dir;
  const std::string clip = goodClip(dir, "two\nlines\x1b[31m.mkv");
  const Finished end = runClient({"--checks", "valid", clip});
  EXPECT_EQ(end.out, dir.file("two?lines?[31m.mkv") + "\n  valid  pass\n");
}

}  // namespace
}  // namespace qatest
