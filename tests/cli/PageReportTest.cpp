#include "PageReport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "FileReports.h"
#include "PageData.h"
#include "PagePictures.h"
#include "Report.h"
#include "SeriesReport.h"
#include "ThinSeries.h"

namespace cli {

namespace {

std::size_t countOf(const std::string& text, const std::string& piece) {
  std::size_t count = 0;
  for (auto at = text.find(piece); at != std::string::npos; at = text.find(piece, at + 1)) {
    ++count;
  }
  return count;
}

/// What the script of the page reads.
Json dataOf(const std::string& page) {
  const std::string begin = "id=data>";
  const auto from = page.find(begin) + begin.size();
  return Json::parse(page.substr(from, page.find("</script>", from) - from));
}

QASeries lumaSeries() {
  return {"black", QASeries::Per::picture, "", {{"meanLuma", ""}, {"share", "%"}}};
}

/// `count` pictures at 25 a second, whose luma is their number.
std::shared_ptr<SeriesStore> risingLuma(int count) {
  auto store = std::make_shared<SeriesStore>();
  const QASeries series = lumaSeries();
  store->begin(series);
  for (int i = 0; i < count; ++i) {
    const std::vector<double> values = {static_cast<double>(i),
                                        std::numeric_limits<double>::quiet_NaN()};
    store->take(series, {.index = i, .seconds = i / 25.0, .timecode = {}, .values = values});
  }
  return store;
}

TEST(ThinSeries, KeepsEachRowOfAShortSeries) {
  const auto store = risingLuma(10);
  const ThinSeries thin = thinned(*store->all().front(), 0.4, 10);
  ASSERT_EQ(thin.seconds.size(), 10U);
  EXPECT_EQ(thin.columns[0].lowest, thin.columns[0].highest);
  EXPECT_EQ(thin.columns[0].lowest[7], 7.0);
  EXPECT_TRUE(std::isnan(thin.columns[1].lowest[7]));
}

TEST(ThinSeries, KeepsTheLowestAndTheHighestOfEachStretch) {
  const auto store = risingLuma(1000);
  const ThinSeries thin = thinned(*store->all().front(), 40.0, 10);
  ASSERT_EQ(thin.seconds.size(), 10U);
  for (std::size_t i = 0; i < 10; ++i) {
    const double first = 100.0 * static_cast<double>(i);
    EXPECT_EQ(thin.seconds[i], first / 25.0);
    EXPECT_EQ(thin.columns[0].lowest[i], first);
    EXPECT_EQ(thin.columns[0].highest[i], first + 99.0);
  }
}

TEST(ThinSeries, LeavesOutRowsWithoutATime) {
  SeriesStore store;
  const QASeries series = lumaSeries();
  store.begin(series);
  const std::vector<double> values = {1.0, 2.0};
  store.take(series, {.index = 0, .seconds = {}, .timecode = {}, .values = values});
  store.take(series, {.index = 1, .seconds = 0.04, .timecode = {}, .values = values});
  for (const std::size_t most : {1U, 5U}) {
    EXPECT_EQ(thinned(*store.all().front(), 1.0, most).seconds, std::vector<double>{0.04});
  }
}

TEST(PageData, NamesOfCurvesAreWordsWithoutTheUnit) {
  EXPECT_EQ(keyInWords("maxMomentaryLufs", "LUFS"), "max momentary");
  EXPECT_EQ(keyInWords("longestSeconds", "s"), "longest");
  EXPECT_EQ(keyInWords("dcPercent", "%"), "dc");
  EXPECT_EQ(keyInWords("picturesOver", ""), "pictures over");
  EXPECT_EQ(keyInWords("lufs", "LUFS"), "lufs");
}

TEST(PageReport, PlotsHaveOneUnitEachAndTheLimitsOfTheirFigures) {
  FileReport file = fileWith({QAState::pass});
  file.checks[0].name = "black";
  file.checks[0].limits = {{.of = "meanLuma", .min = 16.0, .unit = ""},
                           {.of = "other", .max = 3.0, .unit = "%"},
                           {.of = "other", .max = 5.0, .unit = "s"}};
  file.series = risingLuma(3);
  const Json data = dataOf(pageText(file, {}));
  ASSERT_EQ(data["charts"].size(), 2U);
  EXPECT_EQ(data["charts"][0]["limits"], Json::parse("[16]"));
  EXPECT_EQ(data["charts"][0]["columns"][0]["lo"], Json::parse("[0,1,2]"));
  EXPECT_FALSE(data["charts"][0]["columns"][0].contains("hi"));
  EXPECT_EQ(data["charts"][1]["limits"], Json::parse("[3]"));
  EXPECT_EQ(data["charts"][1]["columns"][0]["lo"], Json::parse("[null,null,null]"));
  EXPECT_EQ(data["axes"].size(), 1U);
}

TEST(PageReport, EventsThatAScreenCannotTellApartAreOneBar) {
  FileReport file = fileWith({QAState::fail});
  file.facts.pictureSeconds = 1000.0;
  QACheckOutcome& outcome = file.checks[0];
  for (const double start : {1.0, 2.0, 500.0}) {
    QAEvent event;
    event.startSeconds = start;
    event.endSeconds = start + 0.5;
    outcome.events.push_back(event);
  }
  outcome.eventCount = 3;
  const std::string page = pageText(file, {});
  EXPECT_EQ(countOf(page, "class=breaks"), 2U);
  EXPECT_EQ(countOf(page, "; 2 events"), 2U) << "for eyes and for ears";
  EXPECT_EQ(countOf(page, "<tr id="), 3U);
  EXPECT_EQ(dataOf(page)["events"]["frame-rate"], Json::parse("[[1,2.5,2],[500,500.5,2]]"));
}

TEST(PageReport, ListsTheWorstEventsOfManyAndSaysSo) {
  FileReport file = fileWith({QAState::warn});
  QACheckOutcome& outcome = file.checks[0];
  for (int i = 0; i < 300; ++i) {
    QAEvent event;
    event.startSeconds = i;
    event.value = i;
    event.breaks = i < 50;
    outcome.events.push_back(event);
  }
  outcome.eventCount = 400;
  const std::string page = pageText(file, {});
  EXPECT_EQ(countOf(page, "<tr id="), 200U);
  EXPECT_NE(page.find("400 events, the worst 200 listed"), std::string::npos);
  // All that break, and the greatest 150 of the others.
  EXPECT_NE(page.find("<tr id=\"frame-rate-1\""), std::string::npos);
  EXPECT_NE(page.find("<tr id=\"frame-rate-50\""), std::string::npos);
  EXPECT_EQ(page.find("<tr id=\"frame-rate-150\""), std::string::npos);
  EXPECT_NE(page.find("<tr id=\"frame-rate-151\""), std::string::npos);
}

TEST(PageReport, NoTextOfAFileBecomesMarkup) {
  for (const std::string& text : hostileTexts()) {
    const std::string plain = pageText(fileOfText("plain"), {});
    const std::string page = pageText(fileOfText(text), {});
    for (const char* tag : {"<script", "<tr", "<div", "<dt", "</"}) {
      if (text.empty()) {
        continue;
      }
      EXPECT_EQ(countOf(page, tag), countOf(plain, tag)) << tag << " with " << text.substr(0, 40);
    }
    EXPECT_EQ(countOf(page, std::string(1, '\0')), 0U);
    EXPECT_FALSE(dataOf(page).is_discarded());
  }
}

QADisplayPicture pictureOf(const char* display, int index, std::size_t size) {
  QADisplayPicture picture;
  picture.display = display;
  picture.index = index;
  picture.mediaType = "image/jpeg";
  picture.bytes.assign(size, 'x');
  return picture;
}

TEST(PagePictures, ShowWhatBreaksLimitsBeforeAllElse) {
  FileReport file = fileWith({QAState::info, QAState::fail});
  file.checks[0].name = "cuts";
  file.checks[1].name = "signal-range";
  for (QACheckOutcome& outcome : file.checks) {
    for (int i = 0; i < 4; ++i) {
      QAEvent event;
      event.value = i;
      event.pictures = {i};
      outcome.events.push_back(event);
    }
  }
  // Six of them fit on a page.
  constexpr std::size_t kSize = 200'000;
  for (int i = 0; i < 4; ++i) {
    file.pictures.push_back(pictureOf("Cuts", i, kSize));
    file.pictures.push_back(pictureOf("Signal Range", i, kSize));
  }
  const PagePictures pictures(file);
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(pictures.of(file.checks[1], i).size(), 1U) << i;
    EXPECT_EQ(pictures.of(file.checks[0], i).size(), i < 2 ? 0U : 1U) << "the worst are the last";
  }
}

TEST(PagePictures, OfNoEventAreDisplays) {
  FileReport file = fileWith({QAState::info});
  file.checks[0].name = "chroma";
  file.pictures = {pictureOf("Diamond Display", 99, 10), pictureOf("Signal Range", 3, 10)};
  const PagePictures pictures(file);
  ASSERT_EQ(pictures.displaysOf(file.checks[0]).size(), 1U);
  EXPECT_EQ(pictures.displaysOf(file.checks[0]).front()->index, 99);
  EXPECT_NE(pageText(file, {}).find("Diamond Display, after 100 pictures"), std::string::npos);
}

TEST(PagePictures, StandWithinThePageInBase64) {
  // RFC 4648, 10.
  for (const auto& [bytes, coded] : std::vector<std::pair<std::string, std::string>>{
           {"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}, {"foobar", "Zm9vYmFy"}}) {
    QADisplayPicture picture = pictureOf("Cuts", 0, 0);
    picture.bytes = bytes;
    EXPECT_EQ(dataUri(picture), "data:image/jpeg;base64," + coded);
  }
}

TEST(PageIndex, PutsWhatNeedsSomebodyFirst) {
  const std::vector<FileReport> files = {
      fileNamed("good.mov", {QAState::pass}), fileNamed("warned.mov", {QAState::warn}),
      fileNamed("bad #1.mov", {QAState::fail}), fileWith({}, "No such file or directory")};
  const std::string index = pageIndexText({{&files[0], "1-good.mov.html"},
                                           {&files[1], "2-warned.mov.html"},
                                           {&files[2], "3-bad #1.mov.html"},
                                           {&files[3], ""}},
                                          {});
  EXPECT_NE(index.find("4 files, 1 fail, 1 not-measured, 1 warn, 1 pass"), std::string::npos);
  const auto bad = index.find("href=\"3-bad%20%231.mov.html\"");
  const auto missing = index.find("No such file or directory");
  const auto warned = index.find("href=\"2-warned.mov.html\"");
  const auto good = index.find("href=\"1-good.mov.html\"");
  EXPECT_LT(bad, missing);
  EXPECT_LT(missing, warned);
  EXPECT_LT(warned, good);
  EXPECT_NE(good, std::string::npos);
  EXPECT_EQ(countOf(index, "<a "), 3U) << "no page, no link";
}

}  // namespace

}  // namespace cli
