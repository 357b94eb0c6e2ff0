#include "foundation/Settings.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "foundation/Logger.h"
#include "support/Console.h"
#include "support/TempDir.h"

namespace {

using qatest::consoleOutputOf;
using qatest::readFile;
using qatest::TempDir;
using qatest::withoutTimes;
using qatest::writeFile;

std::string valueOf(Settings& settings, const char* key, const char* defaultValue) {
  const std::unique_ptr<const char[]> text(settings.GetValueOf(key, defaultValue));
  return text.get();
}

/// A settings file, and what reading it tells a logger.
struct Loaded {
  explicit Loaded(const std::string& content, QALookup lookup = QALookup::defaults) {
    name = folder.file("test.settings");
    writeFile(name, content);
    logger.SetOutput(true, false);
    settings = std::make_unique<Settings>(name.c_str(), &logger, lookup);
  }

  std::string report() const { return withoutTimes(readFile(logName)); }
  std::string parseErrors(int count) const {
    std::string lines;
    for (int i = 0; i < count; ++i) {
      lines += "[T] settings: error parsing line '" + name + "'.\n";
    }
    return lines;
  }
  std::string value(const char* key, const char* defaultValue) const {
    return valueOf(*settings, key, defaultValue);
  }

  TempDir folder;
  std::string logName = folder.file("report.log");
  Logger logger{logName.c_str()};
  std::string name;
  std::unique_ptr<Settings> settings;
};

// What is stored shows only through the stored look-up: the tests of the syntax use it.

TEST(SettingsFile, OneEntryALine) {
  const Loaded file("GamutMin=20\nGamutMax=230", QALookup::stored);
  EXPECT_EQ(file.value("GamutMin", "16"), "20");
  EXPECT_EQ(file.value("GamutMax", "235"), "230") << "a last line without newline counts";
  EXPECT_EQ(file.report(), "");
}

TEST(SettingsFile, LineWithoutExactlyOneEqualsSignIsReportedAndDropped) {
  const Loaded file("a=b=c\nnovalue\na==b\nKept=1\n", QALookup::stored);
  EXPECT_EQ(file.report(), file.parseErrors(3));
  EXPECT_EQ(file.value("a", "default"), "default");
  EXPECT_EQ(file.value("novalue", "default"), "default");
  EXPECT_EQ(file.value("Kept", "0"), "1");
}

TEST(SettingsFile, CommentsAndEmptyLinesAreSkippedInSilence) {
  const Loaded file("# GamutMin=1\n\n#\n\n##=#=\n", QALookup::stored);
  EXPECT_EQ(file.report(), "");
  EXPECT_EQ(file.value("GamutMin", "16"), "16");
}

TEST(SettingsFile, HashElsewhereIsOrdinaryText) {
  const Loaded file(" #x=1\ncolour=#fff\n", QALookup::stored);
  EXPECT_EQ(file.report(), "");
  EXPECT_EQ(file.value("#x", "0"), "1");
  EXPECT_EQ(file.value("colour", ""), "#fff");
}

TEST(SettingsFile, EmptyValueIsAnEntryThatCountsAsAbsent) {
  const Loaded file("Key=\n", QALookup::stored);
  EXPECT_EQ(file.report(), "");
  EXPECT_EQ(file.value("Key", "default"), "default");
}

TEST(SettingsFile, EmptyKeyIsAnEntry) {
  const Loaded file("=value\n", QALookup::stored);
  EXPECT_EQ(file.report(), "");
  EXPECT_EQ(file.value("", "default"), "value");
}

TEST(SettingsFile, EmptyOrNullNameReadsNothingAndSaysNothing) {
  const TempDir folder;
  const std::string logName = folder.file("report.log");
  Logger logger(logName.c_str());
  for (const char* name : {"", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(consoleOutputOf([&] {
                Settings logged(name, &logger);
                Settings alone(name, nullptr);
                EXPECT_EQ(valueOf(alone, "Key", "7"), "7");
              }),
              "");
  }
  EXPECT_FALSE(std::filesystem::exists(logName));
}

TEST(SettingsFile, MissingFileIsToldToTheLogger) {
  const TempDir folder;
  const std::string logName = folder.file("report.log");
  const std::string name = folder.file("none.settings");
  Logger logger(logName.c_str());
  logger.SetOutput(true, false);
  Settings settings(name.c_str(), &logger);
  EXPECT_EQ(withoutTimes(readFile(logName)),
            "[T] settings: Unable to open settings file '" + name + "'.\n");
  EXPECT_EQ(valueOf(settings, "Key", "7"), "7");
}

TEST(SettingsFile, MissingFileIsPrintedWithoutALogger) {
  const TempDir folder;
  const std::string name = folder.file("none.settings");
  EXPECT_EQ(consoleOutputOf([&] { Settings settings(name.c_str(), nullptr); }),
            "settings: Unable to open settings file '" + name + "'.\n");
}

TEST(SettingsFile, BadLineItselfIsPrintedWithoutALogger) {
  const TempDir folder;
  const std::string name = folder.file("bad.settings");
  writeFile(name, "one %s two\nGood=1\na=b=c\n");
  EXPECT_EQ(consoleOutputOf([&] { Settings settings(name.c_str(), nullptr); }),
            "Settings: error parsing line 'one %s two'.\nSettings: error parsing line 'a=b=c'.\n");
}

TEST(SettingsFile, ReadErrorIsCaughtAndToldToTheLogger) {
  const TempDir folder;  // a folder opens like a file and then fails to be read
  const std::string logName = folder.file("report.log");
  Logger logger(logName.c_str());
  logger.SetOutput(true, false);
  Settings settings(folder.path().c_str(), &logger);
  EXPECT_EQ(withoutTimes(readFile(logName)),
            "[T] settings: an error has occurred while parsing the settings file.\n");
  EXPECT_EQ(valueOf(settings, "Key", "7"), "7");
}

TEST(SettingsFile, ReadErrorIsPrintedWithoutALogger) {
  const TempDir folder;
  EXPECT_EQ(consoleOutputOf([&] { Settings settings(folder.path().c_str(), nullptr); }),
            "settings: an error has occurred while parsing the settings file.\n");
}

TEST(SettingsFile, ParseLineAppendsAnEntry) {
  Settings settings("", nullptr, QALookup::stored);
  settings.ParseLine("Key=5");
  EXPECT_EQ(valueOf(settings, "Key", "1"), "5");
}

TEST(SettingsLookup, AlwaysYieldsTheDefaultWhateverTheFileHolds) {
  for (const char* content : {"GamutMin=20\n", "GamutMinimum=20\n", "", "GamutMin=\n",
                              "GamutMin=1\nGamutMin=2\n", "Gamut=3\n"}) {
    const Loaded file(content);
    EXPECT_EQ(file.value("GamutMin", "16"), "16") << content;
  }
}

TEST(SettingsLookup, DefaultLongerThanTheStoredValueFitsWhole) {
  const Loaded file("Key=1\n");
  const std::string longDefault(1000, 'x');
  EXPECT_EQ(file.value("Key", longDefault.c_str()), longDefault);
}

TEST(SettingsLookup, ReservesRoomForALongerStoredValue) {
  const Loaded file("KeyMore=0123456789\n");
  const std::unique_ptr<char[]> text(const_cast<char*>(file.settings->GetValueOf("Key", "ab")));
  EXPECT_STREQ(text.get(), "ab");
  for (int i = 0; i <= 10; ++i) {
    text[static_cast<std::size_t>(i)] = 'y';  // the address sanitizer watches the bound
  }
}

TEST(SettingsLookup, EveryCallReturnsItsOwnBuffer) {
  const Loaded file("Key=1\n");
  std::vector<std::unique_ptr<const char[]>> texts;
  std::set<const char*> distinct;
  for (int i = 0; i < 3; ++i) {
    texts.emplace_back(file.settings->GetValueOf("Key", "7"));
    distinct.insert(texts.back().get());
  }
  EXPECT_EQ(distinct.size(), 3U);
}

TEST(SettingsLookup, NullKeyOrDefaultCountsAsEmpty) {
  const Loaded file("Key=1\n");
  EXPECT_EQ(file.value(nullptr, "7"), "7");
  EXPECT_EQ(file.value("Key", nullptr), "");
}

TEST(StoredLookup, WantsTheExactKey) {
  const Loaded file("GamutMinimum=20\nGamutM=21\ngamutmin=22\n", QALookup::stored);
  EXPECT_EQ(file.value("GamutMin", "16"), "16");
}

TEST(StoredLookup, IgnoresBlanksAroundKeyAndValue) {
  const Loaded file(" GamutMin\t= 20 \r\nTwo Words = a b\r\n", QALookup::stored);
  EXPECT_EQ(file.value("GamutMin", "16"), "20");
  EXPECT_EQ(file.value("Two Words", ""), "a b");
}

TEST(StoredLookup, FirstEntryOfAKeyDecides) {
  const Loaded file("Key=1\nKey=2\n", QALookup::stored);
  EXPECT_EQ(file.value("Key", "0"), "1");
}

TEST(StoredLookup, ValueOfBlanksCountsAsAbsent) {
  const Loaded file("Key= \t\r\nOther=1\n", QALookup::stored);
  EXPECT_EQ(file.value("Key", "default"), "default");
}

}  // namespace
