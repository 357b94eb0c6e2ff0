#include "SettingsReview.h"

#include <gtest/gtest.h>

#include <sstream>

#include "Client.h"
#include "Lists.h"

namespace cli {
namespace {

/// As "LINE: TEXT".
std::vector<std::string> remarksOn(const std::string& text, std::size_t most = 100) {
  std::istringstream file(text);
  std::vector<std::string> lines;
  for (const SettingsRemark& remark : reviewSettings(file, most)) {
    lines.push_back(std::to_string(remark.line) + ": " + remark.text);
  }
  return lines;
}

struct Reviewed {
  const char* why;
  const char* text;
  std::vector<std::string> remarks;
};

TEST(SettingsReview, SaysNothingOfWhatIsRight) {
  for (const char* text :
       {"", "\n\r\n \t\n", "# a = b = c\n#\n", "  # a comment that does not begin its line\n",
        "QATesterSlateSeconds=0\n", " QATesterSlateSeconds\t= +5 \r\n", "QATesterSlateSeconds=5",
        "TearingThreshold=1e-1\nTransitionPercentChange=.5\n",
        "MonoSingleSampleThreshold=0.0001\nMonoSimilarSampleCountThreshold=1\n",
        "LevelPeakThreshold=0\nChromaRGBMin=-999\n", "Severity.mono=off\nSeverity.phase = warn\n",
        "Containers=mov,mxf\nScan=\n", "\xef\xbb\xbf# written elsewhere\n"}) {
    EXPECT_EQ(remarksOn(text), std::vector<std::string>()) << text;
  }
}

TEST(SettingsReview, SaysNothingOfTheListOfAllSettings) {
  EXPECT_EQ(remarksOn(settingsList()), std::vector<std::string>());
}

TEST(SettingsReview, SaysWhatHoldsInstead) {
  const Reviewed cases[] = {
      {"no key", "Frobnicate=1\n", {"1: 'Frobnicate' is no key: the line is not used"}},
      {"a slip of the pen",
       "\nChromaFramChecks=9\n",
       {"2: 'ChromaFramChecks' is no key, perhaps ChromaFrameChecks: the line is not used"}},
      {"another case",
       "chromaframechecks=9\n",
       {"1: 'chromaframechecks' is no key, it is written ChromaFrameChecks: the line is not "
        "used"}},
      {"the nearer of two",
       "LoudnesMinThreshold=-24\n",
       {"1: 'LoudnesMinThreshold' is no key, perhaps LoudnessMinThreshold: the line is not used"}},
      {"nothing before the sign", " =9\n", {"1: no key before '=': the line is not used"}},
      {"no sign",
       "ChromaFrameChecks 9\n",
       {"1: 'ChromaFrameChecks 9' has no '=': the line is not used"}},
      {"two signs",
       "ChromaFrameChecks=9=9\n",
       {"1: 'ChromaFrameChecks=9=9' has more than one '=': the line is not used"}},
      {"no value",
       "ChromaFrameChecks= \n",
       {"1: ChromaFrameChecks: no value: the default 100 holds"}},
      {"no number",
       "ChromaFrameChecks=many\n",
       {"1: ChromaFrameChecks: 'many' is no whole number: 1 holds"}},
      {"begins with a number",
       "ChromaFrameChecks=12abc\n",
       {"1: ChromaFrameChecks: '12abc' is no whole number: 12 holds"}},
      {"a fraction where frames are counted",
       "ChromaFrameChecks=12.5\n",
       {"1: ChromaFrameChecks: '12.5' is no whole number: 12 holds"}},
      {"a comma", "TearingThreshold=0,5\n", {"1: TearingThreshold: '0,5' is no number: 0 holds"}},
      {"below",
       "ChromaFrameChecks=0\n",
       {"1: ChromaFrameChecks: '0' is out of range (at least 1): 1 holds"}},
      {"above",
       "MonoSimilarSampleCountThreshold=1.5\n",
       {"1: MonoSimilarSampleCountThreshold: '1.5' is out of range (0.01 to 1): 1 holds"}},
      {"too large for an int",
       "ChromaRGBMax=4294967297\n",
       {"1: ChromaRGBMax: '4294967297' is out of range: 1 holds"}},
      {"an infinite limit",
       "TransitionPercentChange=inf\n",
       {"1: TransitionPercentChange: 'inf' is no number: inf holds"}},
      {"no severity",
       "Severity.mono=loud\n",
       {"1: Severity.mono: 'loud' is no severity (off, info, warn, fail): the check's own holds"}},
      {"an empty severity",
       "Severity.mono=\n",
       {"1: Severity.mono: no value (off, info, warn, fail): the check's own holds"}},
      {"the severity of no check",
       "Severity.monno=off\n",
       {"1: 'Severity.monno' is no key, perhaps Severity.mono: the line is not used"}},
      {"again",
       "ChromaFrameChecks=8\n# between\n ChromaFrameChecks = 9\n",
       {"3: ChromaFrameChecks again: line 1 holds"}},
      {"a mark of another system before the first key",
       "\xef\xbb\xbf"
       "ChromaFrameChecks=9\nGamutFrameChecks=9\n",
       {"1: a byte order mark stands before 'ChromaFrameChecks': the line is not used"}},
      {"a long line is cut short",
       "aaaaaaaaaabbbbbbbbbbccccccccccddddddddddeeeeeeeeee\n",
       {"1: 'aaaaaaaaaabbbbbbbbbbccccccccccdddddddddd...' has no '=': the line is not used"}},
  };
  for (const Reviewed& c : cases) {
    EXPECT_EQ(remarksOn(c.text), c.remarks) << c.why;
  }
}

TEST(SettingsReview, EndsWithTheRemarksThatWereAskedFor) {
  EXPECT_EQ(remarksOn("a\nb\nc\n", 2).size(), 2U);
}

}  // namespace
}  // namespace cli

namespace qatest {
namespace {

Finished runWith(const TempDir& dir, const std::string& settings, Arguments more = {}) {
  writeFile(dir.file("qa.settings"), settings);
  more.insert(more.begin(), {"-q", "--checks", "valid", "--settings", dir.file("qa.settings")});
  more.push_back(goodClip(dir, "a.mkv"));
  more.push_back(goodClip(dir, "b.mkv"));
  return runClient(more);
}

TEST(ReviewedSettings, GetALineEachAndTheRunGoesOn) {
  const TempDir dir;
  const std::string name = "qatester: " + dir.file("qa.settings") + ":";
  const Finished end = runWith(dir, "a=b=c\n\nGamutMaxx=9\x1b\n");
  EXPECT_EQ(end.err, name + "1: 'a=b=c' has more than one '=': the line is not used\n" + name +
                         "3: 'GamutMaxx' is no key, perhaps GamutMax: the line is not used\n");
  EXPECT_EQ(end.code, 0);
}

TEST(ReviewedSettings, OfAFileOfAnotherKindAreTwentyLinesAndOneMore) {
  const TempDir dir;
  std::string text;
  for (int i = 0; i < 21; ++i) {
    text += "no settings\n";
  }
  const std::vector<std::string> lines = linesOf(runWith(dir, text).err);
  ASSERT_EQ(lines.size(), 21U);
  EXPECT_EQ(lines.back(), "qatester: " + dir.file("qa.settings") + ": more lines are like these");
}

TEST(ReviewedSettings, AreNotUsedWithTheDefaultsAndThatIsToldOnce) {
  const TempDir dir;
  EXPECT_EQ(
      runWith(dir, "GamutMaxx=9\n", {"--lookup", "defaults"}).err,
      "qatester: " + dir.file("qa.settings") + ": its values are not used: --lookup defaults\n");
}

TEST(ListedSettings, AreAFileOfAllDefaults) {
  const TempDir dir;
  const Finished list = runClient({"--list-settings"});
  EXPECT_EQ(list.code, 0);
  EXPECT_EQ(list.out, cli::settingsList());
  const Finished end = runWith(dir, list.out);
  EXPECT_EQ(end.err, "");
  EXPECT_EQ(end.code, 0);
}

TEST(ListedSettings, NameEveryKeyOnceAboveItsRangeUnitAndMeaning) {
  const std::vector<std::string> lines = linesOf(cli::settingsList());
  const auto expectKeys = [&](std::span<const QASetting> settings) {
    for (const QASetting& setting : settings) {
      const std::string line = std::string(setting.key) + "=" + cli::defaultText(setting);
      const auto found = std::find(lines.begin(), lines.end(), line);
      ASSERT_NE(found, lines.end()) << line;
      EXPECT_EQ(std::find(found + 1, lines.end(), line), lines.end()) << line;
      for (const std::string& part : {std::string(setting.meaning), std::string(setting.unit),
                                      cli::defaultText(setting), cli::rangeText(setting)}) {
        EXPECT_NE((found - 1)->find(part), std::string::npos) << *(found - 1) << "\n" << part;
      }
    }
  };
  expectKeys(testerSettings());
  for (const QACheck* check : allChecks()) {
    expectKeys(check->settings);
  }
}

}  // namespace
}  // namespace qatest
