#include "CsvReport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <map>
#include <stdexcept>

#include "CleanText.h"
#include "FileReports.h"
#include "Report.h"
#include "tester/QACheck.h"

namespace cli {
namespace {

using Record = std::vector<std::string>;

/// As RFC 4180 has it; lines end with "\n".
std::vector<Record> readBack(const std::string& text) {
  std::vector<Record> records;
  bool isQuoted = false;
  bool begins = true;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (begins) {
      records.emplace_back(1);
      begins = false;
    }
    std::string& cell = records.back().back();
    if (isQuoted && text[i] == '"' && i + 1 < text.size() && text[i + 1] == '"') {
      cell += text[i++];
    } else if (text[i] == '"') {
      isQuoted = !isQuoted;
    } else if (!isQuoted && text[i] == ',') {
      records.back().emplace_back();
    } else if (!isQuoted && text[i] == '\n') {
      begins = true;
    } else {
      cell += text[i];
    }
  }
  EXPECT_TRUE(begins && !isQuoted) << "ends with the end of a line";
  return records;
}

/// The lines below the header, by its titles.
std::vector<std::map<std::string, std::string>> tableOf(const std::string& text) {
  const std::vector<Record> records = readBack(text);
  std::vector<std::map<std::string, std::string>> table;
  for (std::size_t i = 1; i < records.size(); ++i) {
    EXPECT_EQ(records[i].size(), records[0].size());
    std::map<std::string, std::string>& line = table.emplace_back();
    for (std::size_t k = 0; k < std::min(records[0].size(), records[i].size()); ++k) {
      line[records[0][k]] = records[i][k];
    }
  }
  return table;
}

TEST(CsvReport, HasALineAFile) {
  FileReport file = fileNamed("media/a.mov", {QAState::fail, QAState::warn, QAState::pass});
  const char* const names[] = {"streams", "length", "gamut"};
  for (std::size_t i = 0; i < file.checks.size(); ++i) {
    file.checks[i].name = names[i];
  }
  file.profile = "archive";
  file.facts.opened = true;
  file.facts.pictures = 250;
  file.facts.soundSeconds = 10.000000000000002;
  QAMedia& media = file.facts.media;
  media.container = "mp4,mov";
  media.durationSeconds = 10.5;
  media.startTimecode = "10:00:00;00";
  media.streams = {videoStream(), audioStream("aac", 2), audioStream("ac3", 6),
                   audioStream("aac", 2)};
  media.streams.front().video->frameRate = 25.0;
  FileReport missing = fileNamed("b.mov", {QAState::notMeasured, QAState::notMeasured});
  missing.checks[0].name = "streams";
  missing.checks[1].name = "levels";
  missing.error = "No such file or directory";
  EXPECT_EQ(csvText({file, missing}, {}),
            "file,verdict,profile,problem,container,duration,pictureSize,frameRate,videoCodec,"
            "startTimecode,audioStreams,audioCodecs,pictures,soundSeconds,failed,failedChecks,"
            "warned,warnedChecks,notMeasured,notMeasuredChecks,streams,length,gamut,levels\n"
            "media/a.mov,fail,archive,,mov,10.5,1920x1080,25,h264,10:00:00;00,3,\"aac, ac3\",250,"
            "10,1,streams,1,length,0,,fail,warn,pass,\n"
            "b.mov,not-measured,,No such file or directory,,,,,,,,,,,0,,0,,2,\"streams, levels\","
            "not-measured,,,not-measured\n");
}

TEST(CsvReport, SaysWhyAFileIsTrouble) {
  FileReport file = fileWith({QAState::pass, QAState::notMeasured, QAState::notMeasured});
  file.checks[1].name = "gamut";
  file.checks[1].reason = "no pixel format";
  file.checks[2].name = "levels";
  file.checks[2].reason = "no audio stream";
  file.checks[2].subjectAbsent = true;
  EXPECT_EQ(tableOf(csvText({file}, {})).at(0).at("problem"), "gamut: no pixel format");
  EXPECT_EQ(tableOf(csvText({file}, {.named = true})).at(0).at("problem"),
            "gamut: no pixel format; levels: no audio stream");
}

/// A row with figures, whatever its name is.
const QACheck& checkWithFigures(bool inList) {
  for (const QACheck* check : allChecks()) {
    for (const char* key : check->figures) {
      if ((std::string(key).find('.') != std::string::npos) == inList) {
        return *check;
      }
    }
  }
  throw std::logic_error("no check has such a figure");
}

TEST(CsvReport, HasAColumnForEachFigureThatTheRowsName) {
  const QACheck& plain = checkWithFigures(false);
  const QACheck& listed = checkWithFigures(true);
  const std::string plainKey = plain.figures.front();
  const std::string listedKey = listed.figures.front();
  const std::size_t dot = listedKey.find('.');
  const std::string inRecord = listedKey.substr(dot + 1);
  FileReport file;
  file.checks = {outcomeOf(QAState::pass, plain.name), outcomeOf(QAState::pass, listed.name)};
  file.checks[0].values = {{plainKey, int64_t{7}, ""}};
  file.checks[1].values = {
      {listedKey.substr(0, dot),
       std::vector<QAValues>{
           {{inRecord, QANothing(), ""}}, {{inRecord, -23.5, ""}}, {{inRecord, -20.0, ""}}},
       ""}};
  const auto figures = [&] {
    const auto line = tableOf(csvText({file}, {})).at(0);
    return line.at(plain.name + ("." + plainKey)) + " " + line.at(listed.name + ("." + inRecord));
  };
  EXPECT_EQ(figures(), "7 -23.5") << "of a list the first that there is";
  file.checks[0].state = QAState::notMeasured;
  file.checks[1].values.clear();
  EXPECT_EQ(figures(), " ");
}

TEST(CsvReport, QuotesAndMakesNoFormulas) {
  const std::pair<const char*, const char*> cells[] = {
      {"a.mov", "a.mov"},
      {"a b;c.mov", "a b;c.mov"},
      {"a,b.mov", "\"a,b.mov\""},
      {"a\"b.mov", "\"a\"\"b.mov\""},
      {"\"", "\"\"\"\""},
      {"=1+1", "'=1+1"},
      {"+1", "'+1"},
      {"-1.mov", "'-1.mov"},
      {"@a", "'@a"},
      {"=\"a\",b", "\"'=\"\"a\"\",b\""},
      {"\xef\xbc\x9d\x31", "'\xef\xbc\x9d\x31"},
      {"a=1", "a=1"},
      {"a\nb\tc",
       "a\xef\xbf\xbd"
       "b\xef\xbf\xbd"
       "c"},
  };
  for (const auto& [name, cell] : cells) {
    const std::string text = csvText({fileNamed(name, {})}, {});
    const std::size_t line = text.find('\n') + 1;
    EXPECT_EQ(text.substr(line, text.find(",not-measured,") - line), cell);
  }
}

TEST(CsvEvents, HaveALineEach) {
  FileReport file = fileNamed("a.mov", {QAState::fail, QAState::pass});
  file.checks[0].severity = QASeverity::warn;
  QAEvent whole;
  whole.startSeconds = 1.5000000000000002;
  whole.endSeconds = 2.0;
  whole.startFrame = 37;
  whole.endFrame = 50;
  whole.startTimecode = "10:00:01:12";
  whole.endTimecode = "10:00:02:00";
  whole.worstSeconds = 1.76;
  whole.worstFrame = 44;
  whole.value = -std::numeric_limits<double>::infinity();
  whole.limit = -0.1;
  whole.unit = "dBTP";
  whole.what = "too loud, left";
  whole.breaks = false;
  whole.stream = 0;
  whole.channel = 1;
  whole.channelName = "L";
  QAEvent bare;
  bare.what = "no sound";
  file.checks[0].events = {whole, bare};
  EXPECT_EQ(csvEventsText({file, FileReport{}}),
            "file,check,state,severity,breaks,what,startSeconds,endSeconds,startFrame,endFrame,"
            "startTimecode,endTimecode,worstSeconds,worstFrame,value,limit,unit,stream,channel,"
            "channelName\n"
            "a.mov,frame-rate,fail,warn,false,\"too loud, left\",1.5,2,37,50,10:00:01:12,"
            "10:00:02:00,1.76,44,-inf,-0.1,dBTP,0,1,L\n"
            "a.mov,frame-rate,fail,warn,true,no sound,,,,,,,,,,,,,,\n");
}

TEST(CsvEvents, NumbersReadBackAsTheyWere) {
  FileReport file = fileNamed("a.mov", {QAState::fail});
  const double values[] = {0.1, -1.0 / 3.0, 1e300, 5e-324, 123456789.125, -0.0};
  for (const double value : values) {
    file.checks[0].events.emplace_back().value = value;
  }
  const auto table = tableOf(csvEventsText({file}));
  for (std::size_t i = 0; i < std::size(values); ++i) {
    EXPECT_EQ(std::strtod(table.at(i).at("value").c_str(), nullptr), values[i]);
  }
}

TEST(CsvReports, HoldAnyTextInALineEach) {
  std::vector<FileReport> files;
  for (const std::string& text : hostileTexts()) {
    files.push_back(fileOfText(text));
  }
  const auto table = tableOf(csvText(files, {}));
  const auto events = tableOf(csvEventsText(files));
  ASSERT_EQ(table.size(), files.size());
  ASSERT_EQ(events.size(), 3 * files.size());
  for (std::size_t i = 0; i < files.size(); ++i) {
    const std::string clean = cleanText(files[i].file);
    const std::string name = table[i].at("file");
    EXPECT_TRUE(name == clean || name == "'" + clean) << clean;
    EXPECT_TRUE(name.find_first_of("=+-@") != 0) << name;
    EXPECT_EQ(table[i].at("videoCodec"), name);
    EXPECT_EQ(events[3 * i].at("what"), name);
  }
}

TEST(CleanText, KeepsWhatAReportCanHold) {
  for (const std::string& text : hostileTexts()) {
    const std::string clean = cleanText(text);
    EXPECT_EQ(cleanText(clean), clean);
    EXPECT_TRUE(Json::accept(Json(clean).dump())) << "is UTF-8";
    EXPECT_TRUE(std::none_of(clean.begin(), clean.end(), [](char character) {
      return static_cast<unsigned char>(character) < 0x20U || character == '\x7f';
    }));
  }
  const std::string good = "caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x8e\xac \xc2\xa0 \xef\xbf\xbc";
  EXPECT_EQ(cleanText(good), good);
}

TEST(CleanText, ReplacesWhatNoneCanHold) {
  const std::string mark = "\xef\xbf\xbd";
  EXPECT_EQ(cleanText("a\nb\tc\x7f"), "a" + mark + "b" + mark + "c" + mark);
  EXPECT_EQ(cleanText("a\nb\tc\r", "\n\t"), "a\nb\tc" + mark);
  EXPECT_EQ(cleanText("a\xc2\x85\xc2\x9f"), "a" + mark + mark);
  EXPECT_EQ(cleanText("a\xef\xbf\xbe\xef\xbf\xbf"), "a" + mark + mark);
  EXPECT_EQ(cleanText(std::string(2, '\0')), mark + mark);
}

TEST(CleanText, DecodesAsTheJsonReportDoes) {
  for (const std::string& text : hostileTexts()) {
    FileReport file;
    file.file = text;
    const std::string told = Json::parse(reportText({file})).at("files").at(0).at("file");
    EXPECT_EQ(cleanText(text), cleanText(told));
  }
}

}  // namespace
}  // namespace cli
