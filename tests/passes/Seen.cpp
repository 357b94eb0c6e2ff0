#include "passes/Seen.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>
#include <sstream>
#include <type_traits>
#include <variant>

#include "support/LoggedTester.h"

namespace qatest {
namespace {

void print(std::ostream& out, const QAValues& values);

void print(std::ostream& out, const QAValue& value) {
  out << value.key << " [" << value.unit << "] ";
  std::visit(
      [&](const auto& held) {
        using Held = std::decay_t<decltype(held)>;
        if constexpr (std::is_same_v<Held, std::monostate>) {
          out << "none";
        } else if constexpr (std::is_same_v<Held, std::vector<double>>) {
          for (const double one : held) {
            out << one << ' ';
          }
        } else if constexpr (std::is_same_v<Held, std::vector<QAValues>>) {
          for (const QAValues& one : held) {
            out << "{ ";
            print(out, one);
            out << "} ";
          }
        } else {
          out << held;
        }
      },
      value.value);
  out << '\n';
}

void print(std::ostream& out, const QAValues& values) {
  for (const QAValue& value : values) {
    print(out, value);
  }
}

std::string textOf(const QACheckOutcome& outcome) {
  std::ostringstream out;
  out << std::hexfloat;
  out << outcome.name << ' ' << outcome.tag << ' ' << getStateText(outcome.state) << '\n';
  print(out, outcome.values);
  out << "summary " << outcome.summary << "\nreason " << outcome.reason << ' '
      << outcome.reasonIsOfFile << '\n';
  for (const QALimits& limits : outcome.limits) {
    out << limits.of << ' ' << limits.min << ' ' << limits.max << ' ' << limits.unit << '\n';
  }
  for (const QAEvent& event : outcome.events) {
    out << event.what << ' ' << event.startSeconds.value_or(-1.0) << ' '
        << event.startFrame.value_or(-1) << '\n';
  }
  out << outcome.opened << outcome.began << outcome.measured << outcome.stopped
      << outcome.reachedEnd << ' ' << outcome.count << " of " << outcome.budget << ' '
      << outcome.startSeconds << ' ' << outcome.endSeconds << '\n';
  for (const std::string& message : outcome.messages) {
    out << message << '\n';
  }
  out << outcome.failures << " failures, percents";
  for (const int percent : outcome.progress) {
    out << ' ' << percent;
  }
  if (outcome.error != nullptr) {
    out << "\nan exception";
  }
  return out.str();
}

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
            bool withDisplays, const std::string& displayFolder) {
  const TempDir pictures;
  QATesterOptions options = stored();
  options.passes = passes;
  options.colourThreads = QAColourThreads::none;
  options.displays = withDisplays ? QADisplays::pictures : QADisplays::nowhere;
  options.displayFolder = displayFolder.empty() ? pictures.path().string() : displayFolder;
  LoggedTester tester(file, options, settings);
  std::vector<std::string> names;
  for (const QACheck* check : allChecks()) {
    names.push_back(check->name);
  }
  const auto outcomes = tester.run([&](QATester& t) { return t.runChecks(names); });
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
  const Seen one = runAll(file, settings, QAPasses::one, withDisplays);
  ASSERT_EQ(one.checks.size(), each.checks.size());
  for (std::size_t i = 0; i < each.checks.size(); ++i) {
    EXPECT_EQ(one.checks[i], each.checks[i]) << file;
  }
  EXPECT_EQ(one.log, each.log) << file;
  EXPECT_EQ(one.calls, each.calls) << file;
  EXPECT_EQ(one.pictures, each.pictures) << file;
}

}  // namespace qatest
