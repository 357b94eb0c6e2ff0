#include <gtest/gtest.h>

#include "Client.h"

namespace qatest {
namespace {

using nlohmann::json;

/// What Python's validator says of a report; nothing when it follows the schema.
std::string complaintsAbout(const json& report) {
  const TempDir dir;
  writeFile(dir.file("report.json"), report.dump());
  // As in Debian's python3-jsonschema.
  const Finished end = run({"/usr/bin/python3",
                            {"-W", "ignore", "-m", "jsonschema", "-i", dir.file("report.json"),
                             QATESTER_REPORT_SCHEMA}});
  return end.code == 0 ? "" : end.out + end.err;
}

TEST(ReportSchema, IsFollowedByReportsOfFilesOfManyKinds) {
  const TempDir dir;
  VideoSpec undeclared = ffv1(50);
  undeclared.declareRate = false;
  writeFile(dir.file("text.mp4"), "no film\n");
  const std::string clips[] = {
      goodClip(dir),
      fastClip(dir),
      soundClip(dir),
      cutClip(dir),
      dir.file("text.mp4"),
      dir.file("missing.mov"),
      makeClip(dir, "undeclared.mkv", {{undeclared}, {}}),
      makeClip(dir, "prores.mov", {{proRes()}, audioStreams(3)}),
      makeClip(dir, "mpeg2.ts", {{mpeg2WithBFrames()}, audioStreams(2, audio("mp2"))}),
  };
  // A tag of any text.
  ASSERT_EQ(run({"/usr/bin/env",
                 {"ffmpeg", "-nostdin", "-v", "error", "-i", clips[0], "-c", "copy", "-metadata",
                  "timecode=ten o'clock", dir.file("tagged.mkv")}})
                .code,
            0);
  Arguments arguments(std::begin(clips), std::end(clips));
  arguments.push_back(dir.file("tagged.mkv"));
  const json report = reportOf(arguments);
  EXPECT_EQ(complaintsAbout(report), "");
  EXPECT_EQ(report.at("files").back().at("media").at("startTimecode"), "ten o'clock");
  arguments.insert(arguments.begin(), {"--profile", "classic", "--set", "QATesterSlateSeconds=0"});
  EXPECT_EQ(complaintsAbout(reportOf(arguments)), "");
  arguments.insert(arguments.begin(), {"--checks", "valid,transitions,decoding"});
  EXPECT_EQ(complaintsAbout(reportOf(arguments)), "");
}

TEST(ReportSchema, RefusesWhatIsNoReport) {
  const TempDir dir;
  const json report = reportOf({"--checks", "valid", goodClip(dir)});
  ASSERT_EQ(complaintsAbout(report), "");
  const auto changed = [&](const char* at, const json& value) {
    json other = report;
    other[json::json_pointer(at)] = value;
    return complaintsAbout(other);
  };
  for (const char* added : {"/more", "/files/0/more", "/files/0/checks/0/more"}) {
    EXPECT_NE(changed(added, 1).find("'more'"), std::string::npos) << added;
  }
  EXPECT_NE(changed("/files/0/verdict", "good").find("'good'"), std::string::npos);
  EXPECT_NE(changed("/files/0/checks/0/result/field", json::array({json::array()})).find("[[]]"),
            std::string::npos)
      << "a list of lists is no value";
  EXPECT_NE(changed("/files/0/checks/0/state", "not-measured").find("'reason'"), std::string::npos);
}

}  // namespace
}  // namespace qatest
