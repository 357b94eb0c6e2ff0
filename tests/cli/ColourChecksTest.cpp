#include <gtest/gtest.h>

#include <climits>

#include "Client.h"
#include "support/ChangingFormat.h"

namespace qatest {
namespace {

using nlohmann::json;

/// Rows of each luma from `first` to `last` in turn, as far as 48 rows go, without colour.
std::string greyClip(const TempDir& dir, int first, int last, int frames = 60) {
  VideoSpec video = ffv1(frames);
  video.pixel = [=](int component, int, int y, int) {
    return static_cast<uint8_t>(component == 0 ? first + y % (last - first + 1) : 128);
  };
  return makeClip(dir, "grey.mkv", {{video}, {}});
}

class ColourChecks : public testing::Test {
 protected:
  /// Without a slate, over ten frames.
  Arguments with(const std::string& check, const std::string& clip,
                 const std::string& settings = "") const {
    writeFile(dir_.file("qa.settings"),
              "QATesterSlateSeconds=0\nChromaFrameChecks=10\nGamutFrameChecks=10\n" + settings);
    return {"--checks", check, "--settings", dir_.file("qa.settings"), clip};
  }

  /// What the table says of the only check.
  std::string lineOf(const Arguments& arguments) const {
    const std::vector<std::string> lines = linesOf(withoutHeads(runClient(arguments).out));
    return lines.size() == 2 ? lines[1] : "";
  }

  TempDir dir_;
};

// R, G and B of a grey are (luma - 16) x 255 / 219, cut off: of 16 0, 17 1, 126 128, 234 253,
// 235 255 and 240 260.

TEST_F(ColourChecks, AllInsideIsAPass) {
  const std::string clip = greyClip(dir_, 126, 127);
  EXPECT_EQ(lineOf(with("chroma", clip)),
            "  chroma  pass  R 128 to 129, G 128 to 129, B 128 to 129, Y 126 to 127");
  EXPECT_EQ(lineOf(with("gamut", clip)), "  gamut  pass  R 128 to 129, G 128 to 129, B 128 to 129");
  EXPECT_EQ(runClient(with("chroma,gamut", clip)).code, 0);
}

TEST_F(ColourChecks, WhatIsOutsideIsNamedWithItsDistance) {
  const std::string clip = greyClip(dir_, 235, 240);
  EXPECT_EQ(lineOf(with("chroma", clip, "ChromaRGBMin=262\nChromaRGBMax=255\nChromaYMax=240\n")),
            "  chroma  fail  R 255 to 260, G 255 to 260, B 255 to 260, Y 235 to 240; "
            "outside: R 7 below 262, R 5 above 255, G 7 below 262, G 5 above 255, "
            "B 7 below 262, B 5 above 255, Y on the limit 240");
  EXPECT_EQ(lineOf(with("gamut", clip)),
            "  gamut  fail  R 255 to 260, G 255 to 260, B 255 to 260; "
            "outside: R 5 above 255, G 5 above 255, B 5 above 255");
  EXPECT_EQ(runClient(with("gamut", clip)).code, 1);
}

TEST_F(ColourChecks, AValueOnTheLimitIsOutside) {
  EXPECT_EQ(lineOf(with("gamut", greyClip(dir_, 16, 17))),
            "  gamut  fail  R 0 to 1, G 0 to 1, B 0 to 1; "
            "outside: R on the limit 0, G on the limit 0, B on the limit 0");
}

TEST_F(ColourChecks, StoredLimitsCountAndDefaultsDoNot) {
  const std::string clip = greyClip(dir_, 100, 126, 300);
  const Arguments stored = with("gamut", clip, "GamutMax=128\n");
  EXPECT_NE(lineOf(stored).find("outside: R on the limit 128"), std::string::npos);
  Arguments defaults = stored;
  defaults.insert(defaults.begin(), {"--lookup", "defaults"});
  EXPECT_EQ(lineOf(defaults).find("outside"), std::string::npos) << lineOf(defaults);
  EXPECT_EQ(runClient(defaults).code, 0);
}

TEST_F(ColourChecks, TheReportHasTheRecords) {
  const std::string clip = greyClip(dir_, 17, 240);
  const json chroma = onlyCheck(reportOf(with("chroma", clip)));
  EXPECT_EQ(chroma.at("state"), "pass");
  // Rows 0 to 47 hold luma 17 to 64: (64 - 16) x 255 / 219 = 55.9.
  json expected{{"passed", true}, {"rMax", 55}, {"rMin", 1},  {"gMax", 55}, {"gMin", 1},
                {"bMax", 55},     {"bMin", 1},  {"yMax", 64}, {"yMin", 17}};
  EXPECT_EQ(fieldsLike(expected, chroma.at("result")), expected);
  EXPECT_EQ(chroma.at("progress"), json(percents(10, 10)));
  expected.erase("yMax");
  expected.erase("yMin");
  const json gamut = onlyCheck(reportOf(with("gamut", clip)));
  EXPECT_EQ(fieldsLike(expected, gamut.at("result")), expected);
  EXPECT_FALSE(gamut.at("result").contains("yMax"));
  EXPECT_EQ(gamut.at("progress"), json(percents(10, 10)));
}

TEST_F(ColourChecks, AReportKeepsTheOrderOfTheRecord) {
  const Finished end = runClient({"-q", "--json", "-", "--checks", "chroma", dir_.file("none")});
  const auto report = nlohmann::ordered_json::parse(end.out);
  std::vector<std::string> keys;
  for (const auto& item : report.at("files").at(0).at("checks").at(0).at("result").items()) {
    keys.push_back(item.key());
  }
  EXPECT_EQ(keys, (std::vector<std::string>{"passed", "rMax", "rMin", "gMax", "gMin", "bMax",
                                            "bMin", "yMax", "yMin"}));
}

TEST_F(ColourChecks, ARecordThatSawNoPixelIsNotMeasuredAndKeepsItsNumbers) {
  const std::string clip = soundClip(dir_);
  const json chroma = onlyCheck(reportOf(with("chroma", clip)));
  EXPECT_EQ(chroma.at("state"), "not-measured");
  EXPECT_EQ(chroma.at("reason"), "no video stream");
  EXPECT_EQ(chroma.at("messages"), (json{"QAChroma: No video stream"}));
  EXPECT_EQ(chroma.at("result"), (json{{"passed", false},
                                       {"rMax", INT_MIN},
                                       {"rMin", INT_MAX},
                                       {"gMax", INT_MIN},
                                       {"gMin", INT_MAX},
                                       {"bMax", INT_MIN},
                                       {"bMin", INT_MAX},
                                       {"yMax", INT_MIN},
                                       {"yMin", INT_MAX}}));
  EXPECT_EQ(lineOf(with("gamut", clip)), "  not-measured  gamut: no video stream");
  EXPECT_EQ(lineOf(with("gamut", greyClip(dir_, 16, 17, 9))),
            "  not-measured  gamut: too short, or of unknown duration: no frames are left to "
            "measure");
}

TEST_F(ColourChecks, FramesThatDoNotComeAreTold) {
  writeFile(dir_.file("qa.settings"), "QATesterSlateSeconds=0\n");
  const std::string line =
      lineOf({"--checks", "gamut", "--settings", dir_.file("qa.settings"), cutClip(dir_)});
  EXPECT_NE(line.find("; only "), std::string::npos) << line;
  EXPECT_EQ(line.substr(line.size() - 19), " of 100 frames came") << line;
}

/// A slate of one frame, 49 frames that can be read, and ten that cannot.
constexpr const char* kAcrossTheChange =
    "QATesterSlateSeconds=0\n"
    "ChromaFrameChecks=59\n"
    "GamutFrameChecks=59\n"
    "ChromaRGBMin=-999\n"
    "ChromaRGBMax=999\n"
    "ChromaYMin=-1\n"
    "ChromaYMax=256\n"
    "GamutMin=-999\n"
    "GamutMax=999\n";

TEST_F(ColourChecks, PicturesThatCannotBeReadAreToldBesideTheVerdict) {
  const std::string clip = clipWithChangingFormat(dir_, "changing.ts");
  writeFile(dir_.file("qa.settings"), kAcrossTheChange);
  const Finished end =
      runClient({"--checks", "chroma,gamut", "--settings", dir_.file("qa.settings"), clip});
  const std::vector<std::string> lines = linesOf(withoutHeads(end.out));
  ASSERT_EQ(lines.size(), 3U) << end.out;
  const std::string tail =
      "; only 49 of 59 frames could be measured; "
      "pixel format yuv420p10le is not 8-bit planar 4:2:0, 4:2:2 or 4:4:4";
  EXPECT_EQ(lines[1].rfind("  gamut   fail  R ", 0), 0U) << lines[1];
  EXPECT_EQ(lines[2].rfind("  chroma  pass  R ", 0), 0U) << lines[2];
  for (const std::string& line : {lines[1], lines[2]}) {
    ASSERT_GT(line.size(), tail.size());
    EXPECT_EQ(line.substr(line.size() - tail.size()), tail);
  }
  EXPECT_EQ(end.err, "");
  EXPECT_EQ(end.code, 1);
}

TEST_F(ColourChecks, NothingButTheReportIsOnStandardOutputWhenPicturesCannotBeRead) {
  const std::string clip = clipWithChangingFormat(dir_, "changing.ts");
  writeFile(dir_.file("qa.settings"), kAcrossTheChange);
  const json checks =
      onlyFile(reportOf({"--checks", "chroma,gamut", "--settings", dir_.file("qa.settings"), clip}))
          .at("checks");
  ASSERT_EQ(checks.size(), 2U);
  EXPECT_EQ(checks.at(0).at("state"), "pass");
  EXPECT_EQ(checks.at(1).at("state"), "fail");
  for (const json& check : checks) {
    EXPECT_EQ(check.at("reason"),
              "pixel format yuv420p10le is not 8-bit planar 4:2:0, 4:2:2 or 4:4:4");
  }
}

TEST_F(ColourChecks, AFileInAnotherFormatThroughoutIsNotMeasured) {
  const std::string clip = makeClip(dir_, "prores.mov", {{proRes()}, {}});
  const Finished end = runClient(with("chroma,gamut", clip));
  EXPECT_EQ(linesOf(withoutHeads(end.out)).at(1),
            "  not-measured  chroma, gamut: "
            "pixel format yuv422p10le is not 8-bit planar 4:2:0, 4:2:2 or 4:4:4");
  EXPECT_EQ(end.code, 2);
}

}  // namespace
}  // namespace qatest
