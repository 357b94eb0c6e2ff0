#include <gtest/gtest.h>

#include <algorithm>

#include "Client.h"

namespace qatest {
namespace {

constexpr const char* kWipe = "\r\x1b[K";
constexpr const char* kEscape = "\x1b";

Command onTerminal(const Arguments& arguments) {
  Command command = client(arguments);
  command.err = Sink::terminal;
  command.environment = {{"TERM", "xterm"}, {"NO_COLOR", ""}};
  return command;
}

Command allOnTerminal(const Arguments& arguments) {
  Command command = onTerminal(arguments);
  command.out = Sink::terminal;
  return command;
}

bool endsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

TEST(Terminal, ShowsABarAndWipesIt) {
  const TempDir dir;
  const Finished end = run(onTerminal({"--checks", "frame-rate", goodClip(dir)}));
  EXPECT_EQ(end.err.rfind(std::string(kWipe) + "  frame-rate  [.", 0), 0U) << end.err;
  EXPECT_NE(end.err.find("]    0 %"), std::string::npos) << end.err;
  EXPECT_TRUE(endsWith(end.err, kWipe)) << end.err;
  EXPECT_EQ(end.out.find(kEscape), std::string::npos);
}

TEST(Terminal, ABarBearsTheNameOfTheCheckWhateverItsSlot) {
  const TempDir dir;
  const std::string clip = goodClip(dir);
  for (const char* name : {"field-dominance", "pulldown", "tearing", "timecode", "transitions"}) {
    const Finished end = run(onTerminal({"--checks", name, clip}));
    EXPECT_EQ(end.err.rfind(std::string(kWipe) + "  " + name + "  [.", 0), 0U) << end.err;
  }
}

TEST(Terminal, ABarTellsWhichOfManyFiles) {
  const TempDir dir;
  const Finished end =
      run(onTerminal({"--checks", "frame-rate", goodClip(dir), goodClip(dir, "b.mkv")}));
  EXPECT_NE(end.err.find("1/2  frame-rate"), std::string::npos) << end.err;
}

TEST(Terminal, ABarIsDrawnAFewTimesASecond) {
  const TempDir dir;
  // 97 percents within a fraction of a second.
  const std::string clip = makeClip(dir, "long.mkv", {{ffv1(200)}, {}});
  const nlohmann::json check = onlyCheck(reportOf({"--checks", "frame-rate", clip}));
  const Finished end = run(onTerminal({"--checks", "frame-rate", clip}));
  const auto draws = std::count(end.err.begin(), end.err.end(), '%');
  const double seconds = check.at("seconds").get<double>();
  EXPECT_GE(draws, 1);
  // Four a second; a machine may be many times slower in one run than in the other.
  EXPECT_LE(static_cast<double>(draws), 2.0 + 4.0 * 10.0 * (seconds + 0.1));
}

TEST(Terminal, NoBarAndNoColourReachAPipe) {
  const TempDir dir;
  Command command = client({goodClip(dir), soundClip(dir)});
  command.environment = {{"TERM", "xterm"}, {"NO_COLOR", ""}};
  const Finished end = run(command);
  EXPECT_EQ(end.out.find(kEscape), std::string::npos);
  EXPECT_EQ(end.err, "");
}

TEST(Terminal, QuietHasNoBar) {
  const TempDir dir;
  EXPECT_EQ(run(onTerminal({"-q", goodClip(dir)})).err, "");
}

TEST(Terminal, ADumbTerminalHasNeitherBarNorColour) {
  const TempDir dir;
  Command command = allOnTerminal({goodClip(dir)});
  command.environment["TERM"] = "dumb";
  const Finished end = run(command);
  EXPECT_EQ(end.err, "");
  EXPECT_EQ(end.out.find(kEscape), std::string::npos);
}

TEST(Terminal, StatesAreColoured) {
  const TempDir dir;
  const Finished end = run(allOnTerminal({"--profile", "classic", goodClip(dir), soundClip(dir)}));
  for (const char* word : {"\x1b[32mpass\x1b[0m", "\x1b[1;31mfail\x1b[0m", "\x1b[36minfo\x1b[0m",
                           "\x1b[33mnot-measured\x1b[0m"}) {
    EXPECT_NE(end.out.find(word), std::string::npos) << word;
  }
}

TEST(Terminal, ColourCanBeSwitchedOff) {
  const TempDir dir;
  Command command = allOnTerminal({goodClip(dir)});
  command.environment["NO_COLOR"] = "1";
  const Finished end = run(command);
  EXPECT_EQ(end.out.find(kEscape), std::string::npos);
  EXPECT_NE(end.err.find(kWipe), std::string::npos);
}

TEST(Terminal, AnErrorLineIsNotMixedWithTheBar) {
  const TempDir dir;
  writeFile(dir.file("text.mp4"), "no film\n");
  const Finished end = run(onTerminal({"--checks", "valid", dir.file("text.mp4")}));
  EXPECT_NE(end.err.find(std::string(kWipe) + "qatester: " + dir.file("text.mp4") + ": "),
            std::string::npos)
      << end.err;
}

}  // namespace
}  // namespace qatest
