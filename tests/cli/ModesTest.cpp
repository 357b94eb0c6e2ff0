#include <gtest/gtest.h>

#include "Client.h"

namespace qatest {
namespace {

using nlohmann::json;

/// The report of a run with fixed or until-ready pauses, without what differs from run to run. What
/// the settings ask for is there: for a missing slate fixed pauses wait forever, for a missing
/// block a second.
json reportWith(const char* pauses, const std::string& clip) {
  const TempDir settings;
  writeFile(settings.file("qa.settings"),
            "QATesterSlateSeconds = 0\nLevelFrameChecks = 20\nMonoFrameChecks = 20\n"
            "PhaseFrameChecks = 20\n");
  const Finished end = run(quickClient(
      {"-q", "--json", "-", "--settings", settings.file("qa.settings"), "--pauses", pauses, clip}));
  json report = json::parse(end.out);
  for (json& check : report.at("files").at(0).at("checks")) {
    check.erase("seconds");
  }
  report.erase("created");
  report["code"] = end.code;
  return report;
}

TEST(Modes, FixedAndReadyPausesGiveTheSameReport) {
  const TempDir dir;
  const std::string clips[] = {
      goodClip(dir),
      fastClip(dir),
      soundClip(dir),
      makeClip(dir, "h264.mp4", {{h264WithBFrames()}, {audio("aac")}}),
      makeClip(dir, "mpeg2.ts", {{mpeg2WithBFrames()}, audioStreams(2, audio("mp2"))}),
      makeClip(dir, "prores.mov", {{proRes()}, audioStreams(3)}),
      dir.file("missing.mov"),
  };
  for (const std::string& clip : clips) {
    EXPECT_EQ(reportWith("fixed", clip), reportWith("ready", clip)) << clip;
  }
}

TEST(Modes, ReadyIsTheDefault) {
  const TempDir dir;
  const std::string clip = goodClip(dir);
  // With fixed pauses it would take 600 s and more.
  const json check = onlyCheck(reportOf({"--checks", "frame-rate", clip}));
  EXPECT_LT(check.at("seconds").get<double>(), 100.0);
  EXPECT_EQ(check.at("state"), "pass");
}

}  // namespace
}  // namespace qatest
