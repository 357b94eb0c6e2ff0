#include "passes/Seen.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>

#include "support/CheckNames.h"
#include "support/LoggedTester.h"
#include "support/Outcomes.h"
#include "support/RecordedSeries.h"

namespace qatest {
namespace {

std::vector<std::string> callsOf(const RecordingListener& listener) {
  std::vector<std::string> calls(listener.messages);
  calls.push_back(std::to_string(listener.failures) + " failures");
  for (const auto& [slot, percents] : listener.progress) {
    std::vector<float> sorted(percents);
    // Two checks have a slot in common.
    std::sort(sorted.begin(), sorted.end());
    std::string text = slot;
    for (const float percent : sorted) {
      text += ' ' + std::to_string(percent);
    }
    calls.push_back(text);
  }
  std::sort(calls.begin(), calls.end());
  return calls;
}

std::vector<std::string> picturesIn(const std::string& folder) {
  std::vector<std::string> pictures;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const std::string bytes = readFile(entry.path().string());
    pictures.push_back(entry.path().filename().string() + ' ' +
                       std::to_string(std::hash<std::string>()(bytes)));
  }
  std::sort(pictures.begin(), pictures.end());
  return pictures;
}

}  // namespace

Seen runAll(const std::string& file, const std::string& settings, QAPasses passes,
            bool withDisplays, const std::string& displayFolder, QAMeasurementSink* sink) {
  const TempDir pictures;
  QATesterOptions options = stored();
  options.passes = passes;
  options.colourThreads = QAColourThreads::none;
  options.displays = withDisplays ? QADisplays::pictures : QADisplays::nowhere;
  options.displayFolder = displayFolder.empty() ? pictures.path().string() : displayFolder;
  options.measurements = sink;
  LoggedTester tester(file, options, settings);
  const auto outcomes = tester.run([&](QATester& t) { return t.runChecks(checkNames()); });
  Seen seen;
  for (const QACheckOutcome& outcome : outcomes) {
    seen.checks.push_back(textOf(outcome));
  }
  seen.log = tester.logged();
  seen.calls = callsOf(tester.listener);
  seen.pictures = picturesIn(pictures.path().string());
  return seen;
}

void expectSamePasses(const std::string& file, const std::string& settings, bool withDisplays) {
  const Seen each = runAll(file, settings, QAPasses::each, withDisplays);
  RecordedSeries series;
  const Seen one = runAll(file, settings, QAPasses::one, withDisplays, "", &series);
  ASSERT_EQ(one.checks.size(), each.checks.size());
  for (std::size_t i = 0; i < each.checks.size(); ++i) {
    EXPECT_EQ(one.checks[i], each.checks[i]) << file;
  }
  EXPECT_EQ(one.log, each.log) << file;
  EXPECT_EQ(one.calls, each.calls) << file;
  EXPECT_EQ(one.pictures, each.pictures) << file;
}

}  // namespace qatest
