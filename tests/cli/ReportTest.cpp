#include <gtest/gtest.h>

#include <ctime>
#include <filesystem>
#include <set>

#include "Client.h"

namespace qatest {
namespace {

using nlohmann::json;

std::set<std::string> keysOf(const json& object) {
  std::set<std::string> keys;
  for (const auto& item : object.items()) {
    keys.insert(item.key());
  }
  return keys;
}

json checkNamed(const json& file, const std::string& name) {
  for (const json& check : file.at("checks")) {
    if (check.at("name") == name) {
      return check;
    }
  }
  return {};
}

TEST(Report, HoldsEveryCheckOfAGoodFile) {
  const TempDir dir;
  const std::string clip = goodClip(dir);
  const json report =
      reportOf({"--set", "Severity.valid=fail", "--set", "Severity.frame-rate=fail", clip});
  EXPECT_EQ(keysOf(report), (std::set<std::string>{"files", "generator", "created"}));
  const json file = onlyFile(report);
  EXPECT_EQ(keysOf(file),
            (std::set<std::string>{"file", "verdict", "profile", "media", "measured", "checks"}));
  EXPECT_EQ(file.at("file"), clip);
  ASSERT_EQ(file.at("checks").size(), checkNames().size());
  for (const json& check : file.at("checks")) {
    std::set<std::string> keys{"name",     "family",   "severity", "state",
                               "result",   "limits",   "events",   "eventCount",
                               "messages", "failures", "progress", "seconds"};
    if (check.at("state") == "not-measured") {
      keys.insert("reason");
    }
    EXPECT_EQ(keysOf(check), keys);
    EXPECT_EQ(check.at("messages"), json::array());
    EXPECT_EQ(check.at("failures"), 0);
    EXPECT_TRUE(check.at("seconds").is_number());
    EXPECT_GE(check.at("seconds"), 0.0);
  }
  EXPECT_EQ(file.at("checks").at(0).at("name"), checkNames().front());
  const json valid = checkNamed(file, "valid");
  EXPECT_EQ(valid.at("state"), "pass");
  EXPECT_EQ(valid.at("result"), (json{{"valid", true}}));
  EXPECT_EQ(valid.at("progress"), json::array());
  const json rate = checkNamed(file, "frame-rate");
  EXPECT_EQ(rate.at("state"), "pass");
  const json expected{{"passed", true}, {"declaredFps", 25.0}, {"measuredFps", 25.0}};
  EXPECT_EQ(fieldsLike(expected, rate.at("result")), expected);
  const json drop = checkNamed(file, "drop-no-drop");
  EXPECT_EQ(drop.at("name"), "drop-no-drop");
  EXPECT_EQ(drop.at("state"), "info");
  EXPECT_EQ(drop.at("result"), (json{{"result", false}}));
}

TEST(Report, TellsWhatMadeItAndWhen) {
  const TempDir dir;
  const auto before = std::time(nullptr);
  const json report = reportOf({"--checks", "valid", goodClip(dir)});
  EXPECT_EQ(report.at("generator").at("qatester"), QATESTER_EXPECTED_VERSION);
  for (const char* library : {"FFmpeg", "libavformat", "libavcodec"}) {
    EXPECT_NE(report.at("generator").value(library, ""), "") << library;
  }
  std::tm utc{};
  const std::string created = report.at("created");
  const char* end = strptime(created.c_str(), "%Y-%m-%dT%H:%M:%SZ", &utc);
  ASSERT_NE(end, nullptr) << created;
  EXPECT_EQ(*end, '\0') << created;
  EXPECT_GE(timegm(&utc), before);
  EXPECT_LE(timegm(&utc), std::time(nullptr));
}

TEST(Report, IsTheSameWhetherAFileIsReadOnceOrForEachCheck) {
  const TempDir dir;
  const std::string clip = makeClip(dir, "clip.mkv", {{ffv1(60)}, {audio("pcm_s16le")}});
  writeFile(dir.file("qa.settings"), "QATesterSlateSeconds=0\n");
  const auto reportWith = [&](const char* passes) {
    json report = reportOf({"--passes", passes, "--settings", dir.file("qa.settings"), clip});
    report.erase("created");
    for (json& check : report.at("files").at(0).at("checks")) {
      check.erase("seconds");
    }
    return report;
  };
  EXPECT_EQ(reportWith("one"), reportWith("each"));
}

TEST(Report, HoldsThePercentsAsWholeNumbers) {
  const TempDir dir;
  const json check = onlyCheck(reportOf({"--checks", "frame-rate", fastClip(dir)}));
  EXPECT_EQ(check.at("progress"), json(percents(kFastClipBudget, kFastClipBudget)));
  EXPECT_TRUE(check.at("progress").at(0).is_number_integer());
}

TEST(Report, AFloatReadsBackToTheSameValue) {
  const TempDir dir;
  const json fast = onlyCheck(reportOf({"--checks", "frame-rate", fastClip(dir)}));
  EXPECT_EQ(fast.at("state"), "fail");
  EXPECT_EQ(fast.at("result").at("measuredFps").get<float>(), fastClipRate(kFastClipBudget));
  EXPECT_EQ(fast.at("result").at("measuredFps").get<double>(),
            static_cast<double>(fastClipRate(kFastClipBudget)));
  EXPECT_FALSE(fast.contains("reason"));
}

TEST(Report, NumbersThatAreNotFiniteAreTexts) {
  const TempDir dir;
  // A rate that nobody declares is 0/0.
  VideoSpec undeclared = ffv1(50);
  undeclared.declareRate = false;
  undeclared.frames = 1;
  const std::string clip = makeClip(dir, "undeclared.mkv", {{undeclared}, {}});
  const json check = onlyCheck(reportOf({"--checks", "frame-rate", clip}));
  EXPECT_EQ(check.at("result").at("declaredFps"), "nan") << check;
}

TEST(Report, HoldsMessagesOfFilesWithoutPicture) {
  const TempDir dir;
  const json checks = onlyFile(reportOf({"--profile", "classic", soundClip(dir)})).at("checks");
  EXPECT_EQ(checks.at(0).at("state"), "fail");
  EXPECT_EQ(checks.at(0).at("reason"), "no video stream");
  EXPECT_EQ(checks.at(0).at("messages"), (json{"QATester: No video stream."}));
  EXPECT_EQ(checks.at(1).at("state"), "not-measured");
  EXPECT_EQ(checks.at(1).at("reason"), "no video stream");
  EXPECT_EQ(checks.at(1).at("messages"), (json{"QAFramerate: No video stream."}));
  const json expected{{"passed", false}, {"declaredFps", 0.0}, {"measuredFps", 0.0}};
  EXPECT_EQ(fieldsLike(expected, checks.at(1).at("result")), expected);
}

TEST(Report, HoldsTheMessageOfAFileWithoutSound) {
  const TempDir dir;
  const std::string clip = makeClip(dir, "silent.mkv", {{ffv1()}, {}});
  const json check = onlyCheck(reportOf({"--checks", "valid", clip}));
  EXPECT_EQ(check.at("result"), (json{{"valid", false}}));
  EXPECT_EQ(check.at("messages"), (json{"QATester: No Audio Stream."}));
}

TEST(Report, CountsTheFailureCallsOfEachCheck) {
  const TempDir dir;
  const std::string clip = makeClip(dir, "prores.mov", {{proRes()}, {audio("pcm_s16le")}});
  const json checks = onlyFile(reportOf({clip})).at("checks");
  ASSERT_EQ(checks.size(), checkNames().size());
  const std::set<std::string> ofPictures{"valid",       "frame-rate", "field-dominance",
                                         "pulldown",    "tearing",    "timecode",
                                         "transitions", "chroma",     "gamut"};
  for (const json& check : checks) {
    if (check.at("family") == "classic") {
      EXPECT_EQ(check.at("failures"), ofPictures.count(check.at("name"))) << check;
    }
  }
}

TEST(Report, TellsOfAFileShorterThanTheMargin) {
  const TempDir dir;
  // 20 frames less one second's worth, 25: none are left.
  const std::string clip = makeClip(dir, "short.mkv", {{ffv1(20)}, {}});
  const json check = onlyCheck(reportOf({"--checks", "frame-rate", clip}));
  EXPECT_EQ(check.at("state"), "not-measured");
  EXPECT_NE(check.at("reason"), "");
  const json expected{{"passed", false}, {"declaredFps", 25.0}, {"measuredFps", 0.0}};
  EXPECT_EQ(fieldsLike(expected, check.at("result")), expected);
}

TEST(Report, HasTheSameShapeForManyFiles) {
  const TempDir dir;
  const std::string good = goodClip(dir);
  const std::string sound = soundClip(dir);
  const json both = reportOf({"--checks", "valid", good, sound});
  ASSERT_EQ(both.at("files").size(), 2U);
  json single[] = {onlyFile(reportOf({"--checks", "valid", good})),
                   onlyFile(reportOf({"--checks", "valid", sound}))};
  for (std::size_t i = 0; i < 2; ++i) {
    json file = both.at("files").at(i);
    file["checks"][0].erase("seconds");
    single[i]["checks"][0].erase("seconds");
    EXPECT_EQ(file, single[i]);
  }
}

TEST(Report, FollowsTheOrderOfTheList) {
  const TempDir dir;
  const json checks =
      onlyFile(reportOf({"--checks", "drop-no-drop,frame-rate,valid", goodClip(dir)})).at("checks");
  ASSERT_EQ(checks.size(), 3U);
  EXPECT_EQ(checks.at(0).at("name"), "drop-no-drop");
  EXPECT_EQ(checks.at(1).at("name"), "frame-rate");
  EXPECT_EQ(checks.at(2).at("name"), "valid");
}

TEST(Report, ReplacesBytesThatAreNoText) {
  const TempDir dir;
  const std::string clip = goodClip(dir, "caf\xe9.mkv");
  const Finished end = runClient({"--json", "-", "--checks", "valid", clip});
  EXPECT_EQ(onlyFile(json::parse(end.out)).at("file"), dir.file("caf\xef\xbf\xbd.mkv"));
  EXPECT_EQ(end.code, 0);
}

TEST(Report, IsTheOnlyFileThatARunLeaves) {
  const TempDir dir;
  const TempDir reports;
  const std::string clip = goodClip(dir);
  EXPECT_EQ(runClient({"--json", reports.file("report.json"), clip}).code, 0);
  EXPECT_EQ(filesIn(reports), std::vector<std::string>{"report.json"});
  EXPECT_EQ(filesIn(dir), std::vector<std::string>{"good.mkv"});
  EXPECT_EQ(onlyFile(json::parse(readFile(reports.file("report.json")))).at("file"), clip);
}

}  // namespace
}  // namespace qatest
