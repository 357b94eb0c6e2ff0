#include "tester/QATester.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <ctime>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/Console.h"
#include "support/RecordingListener.h"
#include "support/TempDir.h"
#include "tester/QAVersion.h"

namespace {

using qatest::consoleOutputOf;
using qatest::readFile;
using qatest::TempDir;
using qatest::withoutTimes;
using qatest::writeFile;

std::string today() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char text[16];
  std::strftime(text, sizeof text, "%Y-%m-%d", &local);
  return text;
}

struct Header {
  std::string log = "";
  std::string settings = "";
  std::string settingsReport = "";
  std::string file = "";
  bool visual = false;
  bool console = true;
  bool toFile = true;

  std::string text(const std::string& date) const {
    const auto onOff = [](bool on) { return std::string(on ? "on" : "off"); };
    return "[T] \n\t\t--- QATester ---\n\t\t----------------\n"
           "[T] Log File:\t\t" +
           log +
           "\n"
           "[T] Loading Config:\t" +
           settings + "\n" + settingsReport + "[T] Testing File:\t" + file +
           "\n"
           "[T] Test Date:\t\t" +
           date +
           "\n"
           "[T] Visualizations:\t" +
           onOff(visual) +
           "\n"
           "[T] Verbose console:\t" +
           onOff(console) +
           "\n"
           "[T] Verbose file:\t" +
           onOff(toFile) + "\n";
  }
};

/// Expects `actual` to be the header; the date may change while the test runs.
void expectHeader(const std::string& actual, const Header& header, const std::string& dateBefore) {
  const std::string withDateBefore = header.text(dateBefore);
  EXPECT_TRUE(withoutTimes(actual) == withDateBefore ||
              withoutTimes(actual) == header.text(today()))
      << actual << "expected:\n"
      << withDateBefore;
}

TEST(TesterConstruction, WritesTheHeaderToConsoleAndFile) {
  const TempDir folder;
  const std::string log = folder.file("report.log");
  const std::string settings = folder.file("qa.settings");
  writeFile(settings, "# nothing\n");
  const std::string date = today();
  const std::string console =
      consoleOutputOf([&] { QATester tester("clip.mov", nullptr, settings.c_str(), log.c_str()); });
  expectHeader(console,
               {.log = log, .settings = settings, .settingsReport = "", .file = "clip.mov"}, date);
  EXPECT_EQ(readFile(log), console);
}

TEST(TesterConstruction, SettingsReportFollowsTheLineThatNamesThem) {
  const TempDir folder;
  const std::string log = folder.file("report.log");
  const std::string date = today();
  consoleOutputOf([&] { QATester tester("clip.mov", nullptr, "missing.settings", log.c_str()); });
  expectHeader(
      readFile(log),
      {.log = log,
       .settings = "missing.settings",
       .settingsReport = "[T] settings: Unable to open settings file 'missing.settings'.\n",
       .file = "clip.mov"},
      date);
}

/// A tester on a missing file, its settings and its log; the frame-rate check has been run.
struct MissingFile {
  MissingFile(const char* settingsText, QALookup lookup) {
    writeFile(settings, settingsText);
    QATesterOptions options;
    options.lookup = lookup;
    console = consoleOutputOf([&] {
      QATester tester("none.mov", nullptr, settings.c_str(), log.c_str(), options);
      tester.checkFrameRate();
    });
    file = readFile(log);
  }

  void expectHeaderIn(const std::string& text, Header expected) const {
    expected.log = log;
    expected.settings = settings;
    expected.file = "none.mov";
    expectHeader(text, expected, date);
  }

  TempDir folder;
  std::string date = today();
  std::string log = folder.file("report.log");
  std::string settings = folder.file("qa.settings");
  std::string console;
  std::string file;
};

/// What the check logs, without time stamps.
const std::string kMissingFileLines =
    "[T] QAFramerate: Beginning Test.\n[T] QAFramerate: Failed to load file...\n";

std::string withoutMissingFileLines(const std::string& text) {
  const std::string plain = withoutTimes(text);
  EXPECT_TRUE(plain.ends_with(kMissingFileLines)) << plain;
  return plain.substr(0, plain.size() - kMissingFileLines.size());
}

TEST(TesterConstruction, StoredSettingsChangeNothing) {
  const MissingFile run(
      "QATesterVisual=1\nQATesterConsoleOutput=0\nQATesterFileOutput=0\n"
      "QATesterSlateSeconds=-3\n",
      QALookup::defaults);
  EXPECT_EQ(run.file, run.console) << "both outputs stay on";
  run.expectHeaderIn(withoutMissingFileLines(run.console), {});
}

TEST(TesterConstruction, ConsoleOutputCanBeSwitchedOffAfterTheHeader) {
  const MissingFile run("QATesterVisual=1\nQATesterConsoleOutput=0\nQATesterFileOutput=1\n",
                        QALookup::stored);
  run.expectHeaderIn(run.console, {.visual = true, .console = false});
  EXPECT_EQ(withoutMissingFileLines(run.file), withoutTimes(run.console));
}

TEST(TesterConstruction, FileOutputCanBeSwitchedOffAfterTheHeader) {
  const MissingFile run("QATesterFileOutput=0\n", QALookup::stored);
  run.expectHeaderIn(run.file, {.toFile = false});
  EXPECT_EQ(withoutMissingFileLines(run.console), withoutTimes(run.file));
}

TEST(TesterConstruction, SecondTesterAppendsItsHeader) {
  const TempDir folder;
  const std::string log = folder.file("report.log");
  consoleOutputOf([&] { QATester tester("one.mov", nullptr, "", log.c_str()); });
  const std::string first = readFile(log);
  consoleOutputOf([&] { QATester tester("two.mov", nullptr, "", log.c_str()); });
  const std::string both = readFile(log);
  EXPECT_EQ(both.substr(0, first.size()), first);
  EXPECT_NE(both.find("Testing File:\ttwo.mov", first.size()), std::string::npos);
}

TEST(TesterConstruction, WithoutALogFileNothingIsLogged) {
  for (const char* log : {"", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(consoleOutputOf([&] {
                QATester tester("none.mov", nullptr, "", log);
                tester.checkFrameRate();
                tester.isValidFile();
              }),
              "");
  }
}

TEST(TesterConstruction, NullNamesCountAsEmpty) {
  const TempDir folder;
  const std::string log = folder.file("report.log");
  const std::string date = today();
  consoleOutputOf([&] {
    QATester tester(nullptr, nullptr, nullptr, log.c_str());
    EXPECT_FALSE(tester.checkFrameRate().passed);
  });
  expectHeader(withoutMissingFileLines(readFile(log)), {.log = log}, date);
}

TEST(TesterConstruction, ConsoleSinkTakesEveryLineAndNeedsNoLogFile) {
  const std::string date = today();
  QATesterOptions options;
  std::string taken;
  options.console = [&](const std::string& line) { taken += line; };
  EXPECT_EQ(consoleOutputOf([&] { QATester tester("clip.mov", nullptr, "", "", options); }), "");
  expectHeader(taken, {.log = "", .settings = "", .settingsReport = "", .file = "clip.mov"}, date);
}

TEST(DropNoDrop, DoesNothingAndReturnsFalse) {
  const TempDir folder;
  const std::string log = folder.file("report.log");
  qatest::RecordingListener listener;
  consoleOutputOf([&] {
    QATester tester("none.mov", &listener, "", log.c_str());
    const std::string before = readFile(log);
    EXPECT_FALSE(tester.checkDropNoDrop());
    EXPECT_EQ(readFile(log), before);
  });
  EXPECT_TRUE(listener.messages.empty());
  EXPECT_TRUE(listener.progress.empty());
  EXPECT_EQ(listener.failures, 0);
}

/// Takes a text as a client does and gives it back.
std::string taken(QATester& tester, char* text, std::size_t size) {
  const std::string copy = text;
  for (std::size_t i = 0; i < size; ++i) {
    text[i] = 'x';  // the buffer is the client's; the address sanitizer watches its bounds
  }
  void* buffer = text;
  tester.release(&buffer);
  EXPECT_EQ(buffer, nullptr);
  return copy;
}

TEST(Texts, OfStreamSetups) {
  QATester tester("", nullptr, "", "");
  const std::vector<std::pair<int, std::string>> texts = {
      {0, "unsupported"},
      {1, "1 Stream with 2 Channels"},
      {2, "3 Streams with 2 Channels each"},
      {3, "4 Streams with 1 Channel each"},
      {4, "8 Streams with 1 Channel each"},
      {5, "unsupported"},
      {-1, "unsupported"},
  };
  for (const auto& [value, text] : texts) {
    EXPECT_EQ(taken(tester, tester.getStreamSetupText(static_cast<QA_StreamSetup>(value)), 50),
              text);
  }
}

TEST(Texts, OfFrameTypes) {
  QATester tester("", nullptr, "", "");
  const std::vector<std::pair<int, std::string>> texts = {
      {0, "Unknown"}, {1, "Interlaced"}, {2, "Progressive"}, {3, "Unknown"}, {-1, "Unknown"}};
  for (const auto& [value, text] : texts) {
    EXPECT_EQ(taken(tester, tester.getFrameTypeText(static_cast<QA_FrameType>(value)), 20), text);
  }
}

TEST(Texts, OfFieldTypes) {
  QATester tester("", nullptr, "", "");
  const std::vector<std::pair<int, std::string>> texts = {
      {0, "Unknown"}, {1, "Lower"}, {2, "Upper"}, {7, "Unknown"}, {-1, "Unknown"}};
  for (const auto& [value, text] : texts) {
    EXPECT_EQ(taken(tester, tester.getFieldTypeText(static_cast<QA_FieldType>(value)), 10), text);
  }
}

TEST(Texts, EveryCallReturnsItsOwnBuffer) {
  QATester tester("", nullptr, "", "");
  void* first = tester.getFieldTypeText(QA_FIELD_TYPE_UPPER);
  void* second = tester.getFieldTypeText(QA_FIELD_TYPE_UPPER);
  EXPECT_NE(first, second);
  tester.release(&first);
  tester.release(&second);
}

TEST(Release, IsHarmlessOnNull) {
  QATester tester("", nullptr, "", "");
  void* nothing = nullptr;
  tester.release(&nothing);
  EXPECT_EQ(nothing, nullptr);
  tester.release(nullptr);
}

TEST(Listener, HasItsFourteenOperationsInSlotOrder) {
  // A pointer to a virtual member holds the operation's offset in the table, plus one.
  using Slot = void (QAListener::*)(float);
  struct Layout {
    std::ptrdiff_t offset;
    std::ptrdiff_t adjustment;
  };
  const std::vector<std::pair<Slot, int>> slots = {
      {&QAListener::onLoudnessProgress, 2},  {&QAListener::onPhaseProgress, 3},
      {&QAListener::onLevelsProgress, 4},    {&QAListener::onMonoProgress, 5},
      {&QAListener::onFrameRateProgress, 6}, {&QAListener::onFieldDominanceProgress, 7},
      {&QAListener::onPullDownProgress, 8},  {&QAListener::onSpareProgress, 9},
      {&QAListener::onChromaProgress, 10},   {&QAListener::onGamutProgress, 11},
      {&QAListener::onTearingProgress, 12},  {&QAListener::onTimecodeProgress, 13},
  };
  const auto slotOf = [](auto pointer) {
    Layout layout;
    static_assert(sizeof layout == sizeof pointer);
    std::memcpy(&layout, &pointer, sizeof layout);
    return static_cast<int>((layout.offset - 1) / static_cast<std::ptrdiff_t>(sizeof(void*)));
  };
  EXPECT_EQ(slotOf(&QAListener::onFailure), 0);
  EXPECT_EQ(slotOf(&QAListener::onMessage), 1);
  for (const auto& [pointer, slot] : slots) {
    EXPECT_EQ(slotOf(pointer), slot);
  }
  EXPECT_TRUE(std::is_abstract_v<QAListener>);
}

TEST(Version, NamesTheLibraryAndWhatItRunsOn) {
  EXPECT_STREQ(getQATesterVersion(), QATESTER_EXPECTED_VERSION);
  const std::string libraries = getQATesterLibraryVersions();
  for (const char* name : {"FFmpeg ", "libavformat 59.", "libavcodec 59.", "libavutil 57.",
                           "libswscale 6.", "Boost 1.74.0"}) {
    EXPECT_NE(libraries.find(name), std::string::npos) << name << " in\n" << libraries;
  }
}

}  // namespace
