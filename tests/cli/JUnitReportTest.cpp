#include "JUnitReport.h"

#include <gtest/gtest.h>

#include <iterator>
#include <pugixml.hpp>
#include <sstream>
#include <stdexcept>

#include "CleanText.h"
#include "Client.h"
#include "FileReports.h"

namespace cli {
namespace {

pugi::xml_document parsed(const std::string& text) {
  pugi::xml_document document;
  const pugi::xml_parse_result result = document.load_string(text.c_str());
  EXPECT_TRUE(result) << result.description() << "\n" << text.substr(0, 2000);
  return document;
}

/// The suite of a report of one file.
std::string suiteText(const FileReport& file, const Demands& demands = {}) {
  const pugi::xml_document document = parsed(junitText({file}, demands));
  std::ostringstream text;
  document.child("testsuites").child("testsuite").print(text, "", pugi::format_raw);
  return text.str();
}

/// Its only case.
std::string caseText(const QACheckOutcome& outcome, const Demands& demands = {}) {
  FileReport file = fileNamed("a.mov", {});
  file.checks = {outcome};
  const std::string suite = suiteText(file, demands);
  const std::size_t start = suite.find("<testcase");
  return suite.substr(start, suite.rfind("</testsuite>") - start);
}

QACheckOutcome summedUp(QAState state, const char* name = "frame-timing") {
  QACheckOutcome outcome = outcomeOf(state, name);
  outcome.summary = "250 frames at 25.000 fps";
  outcome.seconds = 0.25;
  return outcome;
}

constexpr const char* kCase =
    R"(<testcase classname="qatester.programme" name="frame-timing" time="0.250">)";

TEST(JUnitReport, ASuiteIsAFile) {
  FileReport file = fileNamed("media/a.mov", {});
  file.checks = {summedUp(QAState::warn), summedUp(QAState::info, "gamut")};
  file.checks[1].severity = QASeverity::info;
  file.profile = "general";
  file.begun = 86400 + 3661;  // a day, an hour, a minute and a second after 1970 began
  file.seconds = 2.5;
  file.facts.opened = true;
  file.facts.media.container = "mov,mp4";
  file.facts.media.durationSeconds = 10.0;
  file.facts.media.startTimecode = "10:00:00:00";
  file.facts.pictures = 250;
  file.facts.pictureSeconds = 10.0;
  file.facts.wholeFile = true;
  EXPECT_EQ(
      suiteText(file),
      std::string(R"(<testsuite name="media/a.mov" tests="2" failures="0" errors="0" )") +
          R"(skipped="0" time="2.500" timestamp="1970-01-02T01:01:01"><properties>)" +
          R"(<property name="qatester" value=")" + QATESTER_EXPECTED_VERSION + R"("/>)" +
          R"(<property name="verdict" value="warn"/>)" +
          R"(<property name="profile" value="general"/>)" +
          R"(<property name="media" value="mov, no picture, no sound, 00:00:10.0, )" +
          R"(TC 10:00:00:00"/><property name="container" value="mov,mp4"/>)" +
          R"(<property name="duration" value="10.000"/>)" +
          R"(<property name="startTimecode" value="10:00:00:00"/>)" +
          R"(<property name="pictures" value="250"/>)" +
          R"(<property name="pictureSeconds" value="10.000"/>)" +
          R"(<property name="soundSeconds" value="0.000"/>)" +
          R"(<property name="wholeFile" value="true"/>)" +
          R"(<property name="Severity.frame-timing" value="fail"/>)" +
          R"(<property name="Severity.gamut" value="info"/></properties>)" + kCase +
          R"(<system-out>warn: 250 frames at 25.000 fps</system-out></testcase>)" +
          R"(<testcase classname="qatester.classic" name="gamut" time="0.250">)" +
          R"(<system-out>info: 250 frames at 25.000 fps</system-out></testcase></testsuite>)");
}

TEST(JUnitReport, LeavesOutWhenAFileBeganAndAddsUpWhereThatIsNotKnown) {
  FileReport file = fileNamed("a.mov", {});
  file.checks = {summedUp(QAState::pass), summedUp(QAState::pass)};
  const std::string suite = suiteText(file);
  EXPECT_NE(suite.find(R"( time="0.500"><properties>)"), std::string::npos) << suite;
}

TEST(JUnitReport, WhatFailsListsWhatBroke) {
  QACheckOutcome outcome = summedUp(QAState::fail);
  outcome.reason = "2 frames were left out";
  QAEvent level = eventAt(2);
  level.startTimecode.clear();
  level.endTimecode.clear();
  level.what = "too loud";
  level.value = -0.5;
  level.limit = -1.0;
  level.unit = "dBTP";
  QAEvent whole;
  whole.what = "no sound";
  outcome.events = {eventAt(1), level, whole, eventAt(3)};
  outcome.events.back().breaks = false;
  EXPECT_EQ(caseText(outcome),
            std::string(kCase) +
                R"(<failure type="fail" message="250 frames at 25.000 fps; 2 frames were left )" +
                R"(out">fail: 250 frames at 25.000 fps; 2 frames were left out)" +
                "\n10:00:01:00 to 10:00:01:01  missing picture"
                "\n00:00:02.000  too loud  -0.5 dBTP (limit -1 dBTP)"
                "\nno sound</failure></testcase>");
}

TEST(JUnitReport, OfManyEventsTwentyAreListed) {
  QACheckOutcome outcome = summedUp(QAState::fail);
  outcome.events.assign(23, eventAt(1));
  outcome.eventCount = 23;
  const std::string line = "\n10:00:01:00 to 10:00:01:01  missing picture";
  const std::string all = caseText(outcome);
  std::size_t lines = 0;
  for (std::size_t at = all.find(line); at != std::string::npos; at = all.find(line, at + 1)) {
    ++lines;
  }
  EXPECT_EQ(lines, 20U);
  EXPECT_NE(all.find("picture\nand 3 more</failure>"), std::string::npos) << all;
  outcome.eventCount = 24;
  EXPECT_NE(caseText(outcome).find("\nand at least 3 more</failure>"), std::string::npos);
}

TEST(JUnitReport, AWarningPassesUnlessWarningsFail) {
  QACheckOutcome outcome = summedUp(QAState::warn);
  outcome.events = {eventAt(1)};
  const std::string text =
      "warn: 250 frames at 25.000 fps\n10:00:01:00 to 10:00:01:01  missing picture";
  EXPECT_EQ(caseText(outcome), kCase + ("<system-out>" + text) + "</system-out></testcase>");
  EXPECT_EQ(caseText(outcome, {.warningsFail = true}),
            std::string(kCase) + R"(<failure type="warn" message="250 frames at 25.000 fps">)" +
                text + "</failure></testcase>");
}

TEST(JUnitReport, WhatIsNotMeasuredIsSkippedOrAnError) {
  QACheckOutcome outcome = outcomeOf(QAState::notMeasured, "frame-timing");
  outcome.reason = "no video stream";
  outcome.subjectAbsent = true;
  FileReport file = fileNamed("a.wav", {});
  file.checks = {outcome, summedUp(QAState::pass)};
  const auto has = [&](const std::string& part, const Demands& demands = {}) {
    return suiteText(file, demands).find(part) != std::string::npos;
  };
  const std::string skipped = R"(<skipped message="no video stream"/>)";
  const std::string error = R"(<error type="not-measured" message="no video stream"/>)";
  EXPECT_TRUE(has(skipped));
  EXPECT_TRUE(has(error, {.named = true}));
  file.checks[0].subjectAbsent = false;
  EXPECT_TRUE(has(error)) << "as it judges";
  file.checks[0].severity = QASeverity::info;
  EXPECT_TRUE(has(skipped));
  file.checks[0].error = std::make_exception_ptr(std::runtime_error("broken"));
  EXPECT_TRUE(has(R"(<error type="error" message="no video stream"/>)"));
  file.checks[0].error = nullptr;
  file.checks.pop_back();
  EXPECT_TRUE(has(error)) << "as nothing was measured";
}

TEST(JUnitReport, AFileThatCannotBeReadIsOneError) {
  FileReport file = fileWith({QAState::notMeasured, QAState::notMeasured}, "is empty");
  file.file = "a.mov";
  const std::string suite = suiteText(file);
  EXPECT_EQ(suite.rfind(R"(<testsuite name="a.mov" tests="1" failures="0" errors="1" )", 0), 0U)
      << suite;
  EXPECT_NE(suite.find(R"(<testcase classname="qatester" name="open" time="0.000">)"
                       R"(<error type="unreadable" message="is empty"/></testcase></testsuite>)"),
            std::string::npos)
      << suite;
}

/// Every file of two checks that may be.
std::vector<FileReport> filesOfTwoChecks() {
  std::vector<QACheckOutcome> outcomes;
  for (const QAState state :
       {QAState::pass, QAState::info, QAState::warn, QAState::fail, QAState::notMeasured}) {
    for (const QASeverity severity : {QASeverity::info, QASeverity::fail}) {
      for (const bool absent : {false, true}) {
        outcomes.push_back(outcomeOf(state));
        outcomes.back().severity = severity;
        outcomes.back().subjectAbsent = absent;
      }
    }
  }
  std::vector<FileReport> files = {fileWith({QAState::notMeasured}, "is empty")};
  for (const QACheckOutcome& one : outcomes) {
    for (const QACheckOutcome& other : outcomes) {
      files.emplace_back().checks = {one, other};
    }
  }
  return files;
}

TEST(JUnitReport, CountsAgreeWithTheCasesAndTheExitCode) {
  const std::vector<FileReport> files = filesOfTwoChecks();
  for (const Demands& demands :
       {Demands{}, Demands{.named = true}, Demands{.warningsFail = true}}) {
    const pugi::xml_document document = parsed(junitText(files, demands));
    const pugi::xml_node root = document.child("testsuites");
    std::size_t number = 0;
    int tests = 0;
    int failures = 0;
    int errors = 0;
    for (const pugi::xml_node suite : root.children("testsuite")) {
      const auto count = [&](const char* name) { return suite.attribute(name).as_int(-1); };
      const auto cases = [&](const char* child) {
        int found = 0;
        for (const pugi::xml_node node : suite.children("testcase")) {
          found += node.child(child) ? 1 : 0;
        }
        return found;
      };
      EXPECT_EQ(count("tests"), std::distance(suite.children("testcase").begin(),
                                              suite.children("testcase").end()));
      EXPECT_EQ(count("failures"), cases("failure"));
      EXPECT_EQ(count("errors"), cases("error"));
      EXPECT_EQ(count("skipped"), cases("skipped"));
      const int code = count("errors") > 0 ? kTrouble : count("failures") > 0 ? kCheckFailed : 0;
      EXPECT_EQ(code, exitCode({files.at(number)}, demands, false, 0)) << number;
      ++number;
      tests += count("tests");
      failures += count("failures");
      errors += count("errors");
    }
    EXPECT_EQ(number, files.size());
    EXPECT_EQ(root.attribute("tests").as_int(), tests);
    EXPECT_EQ(root.attribute("failures").as_int(), failures);
    EXPECT_EQ(root.attribute("errors").as_int(), errors);
  }
}

/// What xmllint says of a report; nothing when it follows the schema.
std::string complaintsOf(const std::string& report) {
  const qatest::TempDir dir;
  qatest::writeFile(dir.file("report.xml"), report);
  const qatest::Finished end = qatest::run(
      {"/usr/bin/xmllint", {"--noout", "--schema", QATESTER_JUNIT_SCHEMA, dir.file("report.xml")}});
  return end.code == 0 ? "" : end.err.substr(0, 2000);
}

TEST(JUnitReport, HoldsAnyTextAndFollowsItsSchema) {
  std::vector<FileReport> files = {fileWith({QAState::notMeasured}, "is empty")};
  files.front().file = "empty.mov";
  for (const std::string& text : hostileTexts()) {
    files.push_back(fileOfText(text.empty() ? "some" : text));
  }
  const std::string report = junitText(files, {.warningsFail = true});
  EXPECT_EQ(complaintsOf(report), "");
  const pugi::xml_document document = parsed(report);
  pugi::xml_node suite = document.child("testsuites").child("testsuite");
  for (std::size_t i = 1; i < files.size(); ++i) {
    suite = suite.next_sibling("testsuite");
    EXPECT_EQ(suite.attribute("name").value(), cleanText(files[i].file, "\t\n"));
    EXPECT_EQ(suite.child("testcase").child("failure").attribute("message").value(),
              cleanText(files[i].file + "; " + files[i].file, "\t\n"));
  }
}

TEST(JUnitReport, HasASchemaThatRefusesOthers) {
  const std::string report = junitText({fileWith({QAState::pass})}, {});
  const auto changed = [&](const std::string& part, const std::string& other) {
    std::string text = report;
    text.replace(text.find(part), part.size(), other);
    return complaintsOf(text);
  };
  EXPECT_NE(changed("tests=\"1\"", "tests=\"-1\"").find("'tests'"), std::string::npos);
  EXPECT_NE(changed("<system-out>pass</system-out>", "").find("'testcase'"), std::string::npos);
}

TEST(JUnitReport, OfNoFileIsARootWithoutSuites) {
  EXPECT_EQ(junitText({}, {}),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<testsuites name=\"qatester\" tests=\"0\" failures=\"0\" errors=\"0\" "
            "time=\"0.000\" />\n");
}

}  // namespace
}  // namespace cli
