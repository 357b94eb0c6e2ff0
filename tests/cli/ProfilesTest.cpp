#include "tester/QAProfile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <sstream>

#include "Client.h"
#include "SettingsReview.h"
#include "tester/QATester.h"

namespace qatest {
namespace {

using nlohmann::json;

/// The severities of all checks by a profile.
std::map<std::string, QASeverity> severitiesBy(const std::string& profile) {
  QATesterOptions options;
  options.profile = profile;
  options.console = [](const std::string&) {};
  const QATester tester("", nullptr, "", "", options);
  std::map<std::string, QASeverity> severities;
  for (const QACheck* check : allChecks()) {
    severities[check->name] = tester.severityOf(*check);
  }
  return severities;
}

json checkNamed(const json& file, const std::string& name) {
  for (const json& check : file.at("checks")) {
    if (check.at("name") == name) {
      return check;
    }
  }
  return {};
}

std::set<std::string> namesIn(const json& file) {
  std::set<std::string> names;
  for (const json& check : file.at("checks")) {
    names.insert(check.at("name"));
  }
  return names;
}

TEST(Profiles, AreSettingsFilesWithoutMistakes) {
  for (const QAProfile& profile : allProfiles()) {
    std::istringstream text(profile.text);
    for (const cli::SettingsRemark& remark : cli::reviewSettings(text, 100)) {
      ADD_FAILURE() << profile.name << ":" << remark.line << ": " << remark.text;
    }
  }
}

TEST(Profiles, SayWhatEveryCheckCountsFor) {
  for (const QAProfile& profile : allProfiles()) {
    const std::string text = profile.text;
    for (const std::string& name : checkNames()) {
      EXPECT_NE(text.find("\nSeverity." + name + "="), std::string::npos)
          << profile.name << " " << name;
    }
  }
}

TEST(Profiles, BeginWithGeneralAndAreFoundByName) {
  ASSERT_FALSE(allProfiles().empty());
  EXPECT_STREQ(allProfiles().front().name, "general");
  for (const QAProfile& profile : allProfiles()) {
    EXPECT_EQ(findProfile(profile.name), &profile);
    EXPECT_EQ(std::string(profile.text).rfind("# ", 0), 0U) << profile.name;
  }
  EXPECT_EQ(findProfile("none"), nullptr);
  EXPECT_EQ(findProfile(""), nullptr);
}

TEST(Profiles, GeneralHasTheSeveritiesOfTheChecksThemselves) {
  for (const auto& [name, severity] : severitiesBy("general")) {
    EXPECT_EQ(severity, findCheck(name)->severity) << name;
  }
}

TEST(Profiles, ClassicHasTheClassicChecksAlone) {
  for (const auto& [name, severity] : severitiesBy("classic")) {
    EXPECT_EQ(severity == QASeverity::off, findCheck(name)->family == QAFamily::programme) << name;
  }
}

TEST(ListedProfiles, HaveALineEachWithWhatTheyAreFor) {
  const Finished end = runClient({"--list-profiles"});
  EXPECT_EQ(end.code, 0);
  const std::vector<std::string> lines = linesOf(end.out);
  ASSERT_EQ(lines.size(), allProfiles().size());
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const QAProfile& profile = allProfiles()[i];
    const std::string purpose = linesOf(profile.text).front().substr(2);
    EXPECT_EQ(lines[i].rfind(profile.name + std::string("  "), 0), 0U) << lines[i];
    EXPECT_EQ(lines[i].substr(lines[i].size() - purpose.size()), purpose);
    EXPECT_LE(lines[i].size(), 100U) << lines[i];
  }
}

TEST(ShownProfile, IsASettingsFileThatStandsForIt) {
  const TempDir dir;
  const Finished shown = runClient({"--show-profile", "archive"});
  EXPECT_EQ(shown.code, 0);
  EXPECT_EQ(shown.out, findProfile("archive")->text);
  writeFile(dir.file("own"), shown.out);
  EXPECT_EQ(severitiesBy(dir.file("own")), severitiesBy("archive"));
}

TEST(RunByProfile, IsGeneralUnlessChecksAreNamed) {
  const TempDir dir;
  const std::string clip = fastClip(dir);
  const json byDefault = onlyFile(reportOf({clip}));
  EXPECT_EQ(byDefault.at("profile"), "general");
  EXPECT_EQ(byDefault.at("checks").size(), checkNames().size());
  EXPECT_EQ(checkNamed(byDefault, "frame-rate").at("state"), "info");
  EXPECT_EQ(checkNamed(byDefault, "frame-rate").at("severity"), "info");
  const json named = onlyFile(reportOf({"--checks", "frame-rate", clip}));
  EXPECT_FALSE(named.contains("profile"));
  EXPECT_EQ(named.at("verdict"), "fail");
  EXPECT_EQ(named.at("checks").at(0).at("severity"), "fail");
  const json both = onlyFile(reportOf({"--profile", "general", "--checks", "frame-rate", clip}));
  EXPECT_EQ(both.at("checks").at(0).at("state"), "info");
}

TEST(RunByProfile, LeavesOutChecksThatAreOff) {
  const TempDir dir;
  const json file = onlyFile(reportOf({"--profile", "classic", fastClip(dir)}));
  EXPECT_EQ(file.at("profile"), "classic");
  EXPECT_EQ(file.at("verdict"), "fail");
  std::set<std::string> classic;
  for (const QACheck* check : allChecks()) {
    if (check->family == QAFamily::classic) {
      classic.insert(check->name);
    }
  }
  EXPECT_EQ(namesIn(file), classic);
}

TEST(RunByProfile, OfOnesOwnIsASettingsFile) {
  const TempDir dir;
  const std::string clip = fastClip(dir);
  std::string text = "# frame rates alone\nFrameRateFrameChecks=10\n";
  for (const std::string& name : checkNames()) {
    text += "Severity." + name + "=" + (name == "frame-rate" ? "warn" : "off") + "\n";
  }
  writeFile(dir.file("own.settings"), text + "Severity.none=off\n");
  const Finished end =
      runClient({"--json", "-", "--profile", dir.file("own.settings"), "--table", "short", clip});
  EXPECT_EQ(end.code, 0) << "as a warning is none";
  EXPECT_EQ(end.err.rfind("qatester: " + dir.file("own.settings") + ":", 0), 0U)
      << "for the key that is none: " << end.err;
  EXPECT_EQ(linesOf(end.err).back(), "warn          " + clip + ": frame-rate");
  const json file = onlyFile(json::parse(end.out));
  EXPECT_EQ(file.at("profile"), dir.file("own.settings"));
  EXPECT_EQ(file.at("verdict"), "warn");
  ASSERT_EQ(file.at("checks").size(), 1U);
  EXPECT_EQ(file.at("checks").at(0).at("result").at("frameBudget"), 10);
  EXPECT_EQ(runClient({"-q", "--warnings-fail", "--profile", dir.file("own.settings"), clip}).code,
            1);
}

TEST(RunByProfile, IsChangedByTheSettingsFileAndThatByTheCommandLine) {
  const TempDir dir;
  const std::string clip = fastClip(dir);
  const std::string own = dir.file("own.settings");
  const std::string settings = dir.file("qa.settings");
  writeFile(own, "FrameRateFrameChecks=10\nSeverity.frame-rate=info\n");
  writeFile(settings, "FrameRateFrameChecks=9\n");
  Arguments arguments{"--checks", "frame-rate", "--profile", own, clip};
  const auto frameBudget = [&] {
    return onlyCheck(reportOf(arguments)).at("result").at("frameBudget");
  };
  EXPECT_EQ(frameBudget(), 10);
  arguments.insert(arguments.begin(), {"--settings", settings});
  EXPECT_EQ(frameBudget(), 9);
  arguments.insert(arguments.begin(),
                   {"--set", "FrameRateFrameChecks = 8", "--set", "Severity.frame-rate=warn"});
  EXPECT_EQ(frameBudget(), 8);
  EXPECT_EQ(onlyCheck(reportOf(arguments)).at("state"), "warn");
}

TEST(RunByProfile, WithEveryCheckOffIsAMistake) {
  const TempDir dir;
  const std::string clip = goodClip(dir);
  Arguments arguments{"--profile", "classic", clip};
  for (const std::string& name : checkNames()) {
    arguments.insert(arguments.begin(), {"--set", "Severity." + name + "=off"});
  }
  const Finished end = runClient(arguments);
  EXPECT_EQ(end.err, "qatester: nothing to do: the severity of every check is off\n");
  EXPECT_EQ(end.out, "");
  EXPECT_EQ(end.code, 2);
}

}  // namespace
}  // namespace qatest
