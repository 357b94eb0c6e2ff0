#include "SeriesReport.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "support/TempDir.h"
#include "support/Unpacked.h"

namespace cli {

namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

void add(SeriesStore& store, const QASeries& series, int64_t index, double seconds,
         const std::string& timecode, const std::vector<double>& values) {
  store.take(series, {.index = index, .seconds = seconds, .timecode = timecode, .values = values});
}

TEST(SeriesReport, HasALineAPictureThenALineATenthOfEachSound) {
  SeriesStore store;
  const QASeries peaks{"true-peak",
                       QASeries::Per::sound,
                       "stream 1 (a,b)",
                       {{"truePeakDbtp", "dBTP", "L"}, {"truePeakDbtp", "dBTP", "R"}}};
  const QASeries luma{"black", QASeries::Per::picture, "", {{"meanLuma", ""}}};
  const QASeries shares{"signal-range", QASeries::Per::picture, "", {{"outsideShare", "%"}}};
  for (const QASeries* series : {&peaks, &luma, &shares}) {
    store.begin(*series);
  }
  add(store, peaks, 0, 0.0, "10:00:00:00", {-1.5, kNone});
  add(store, luma, 0, 0.04, "10:00:00:01", {16.25});
  add(store, luma, 1, 0.08, "10:00:00:02", {100.0});
  // Of the first picture there is none.
  add(store, shares, 1, 0.08, "10:00:00:02", {1.0 / 3.0});
  EXPECT_EQ(seriesText(store),
            "kind,part,index,seconds,timecode,signal-range.outsideShare [%],black.meanLuma,"
            "true-peak.truePeakDbtp.L [dBTP],true-peak.truePeakDbtp.R [dBTP]\n"
            "picture,,0,0.04,10:00:00:01,,16.25,,\n"
            "picture,,1,0.08,10:00:00:02,0.3333333,100,,\n"
            "sound,\"stream 1 (a,b)\",0,0,10:00:00:00,,,-1.5,\n");
}

TEST(SeriesReport, HasALineAFrameAndABlockOfEachClassicCheck) {
  SeriesStore store;
  const QASeries rate{"frame-rate", QASeries::Per::classicFrame, "", {{"fps", "fps"}}};
  const QASeries torn{"tearing", QASeries::Per::classicFrame, "", {{"torn", "%"}}};
  const QASeries levels{
      "levels", QASeries::Per::classicBlock, "stream 1", {{"maxLevel", "dB", "0"}}};
  const QASeries luma{"black", QASeries::Per::picture, "", {{"meanLuma", ""}}};
  for (const QASeries* series : {&rate, &torn, &levels, &luma}) {
    store.begin(*series);
  }
  add(store, luma, 0, 0.0, "00:00:00:00", {16.0});
  add(store, rate, 0, 0.0, "00:00:00:00", {25.0});
  add(store, torn, 0, 5.0, "00:00:05:00", {2.0});
  add(store, levels, 0, 5.0, "00:00:05:00", {-3.0});
  // The first frame of one check is not that of another.
  EXPECT_EQ(seriesText(store),
            "kind,part,index,seconds,timecode,black.meanLuma,frame-rate.fps [fps],"
            "tearing.torn [%],levels.maxLevel.0 [dB]\n"
            "picture,,0,0,00:00:00:00,16,,,\n"
            "frame,frame-rate,0,0,00:00:00:00,,25,,\n"
            "frame,tearing,0,5,00:00:05:00,,,2,\n"
            "block,levels stream 1,0,5,00:00:05:00,,,,-3\n");
}

TEST(SeriesReport, GoesOnWhenChannelsChange) {
  SeriesStore store;
  const QASeries pair{"sample-levels",
                      QASeries::Per::sound,
                      "",
                      {{"peakDbfs", "dBFS", "L"}, {"peakDbfs", "dBFS", "R"}}};
  const QASeries mono{"sample-levels", QASeries::Per::sound, "", {{"peakDbfs", "dBFS", "L"}}};
  store.begin(pair);
  add(store, pair, 0, 0.0, "", {-1.0, -2.0});
  store.begin(mono);
  add(store, mono, 1, 0.1, "", {-3.0});
  EXPECT_EQ(seriesText(store),
            "kind,part,index,seconds,timecode,sample-levels.peakDbfs.L [dBFS],"
            "sample-levels.peakDbfs.R [dBFS]\n"
            "sound,,0,0,,-1,-2\n"
            "sound,,1,0.1,,-3,\n");
}

TEST(SeriesReport, KeepsTheRowsOfASeriesThatHasTheAddressOfAnEarlierOne) {
  SeriesStore store;
  QASeries series{"black", QASeries::Per::picture, "", {{"meanLuma", ""}}};
  store.begin(series);
  add(store, series, 0, 0.0, "", {1.0});
  series = {"freeze", QASeries::Per::picture, "", {{"meanChange", ""}}};
  store.begin(series);
  add(store, series, 0, 0.0, "", {2.0});
  EXPECT_EQ(seriesText(store),
            "kind,part,index,seconds,timecode,black.meanLuma,freeze.meanChange\n"
            "picture,,0,0,,1,2\n");
}

TEST(SeriesReport, IsUnpackedToTheSame) {
  const qatest::TempDir dir;
  std::string text;
  for (int i = 0; text.size() < 300000; ++i) {
    text += std::to_string(i * 7919) + ",";
  }
  for (const std::string& each : {std::string(), std::string("a\n"), text}) {
    qatest::writeFile(dir.file("s.gz"), compressed(each));
    EXPECT_EQ(qatest::unpacked(dir.file("s.gz")), each);
    EXPECT_EQ(compressed(each), compressed(each));
  }
  EXPECT_LT(compressed(text).size(), text.size() / 2);
}

}  // namespace

}  // namespace cli
