// What the client writes of outcomes, names and messages of any kind: report and table.

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Output.h"
#include "Report.h"
#include "Table.h"
#include "fuzz/Input.h"
#include "fuzz/MemoryFile.h"
#include "tester/QACheck.h"

using namespace cli;
using qafuzz::Input;
using qafuzz::MemoryFile;
using qafuzz::require;

namespace {

bool isUtf8(const std::string& text) {
  try {
    Json(text).dump();
    return true;
  } catch (const Json::type_error&) {
    return false;
  }
}

/// Whether a terminal would do anything else with a text than show it. UTF-8 has a second set of
/// control characters, U+0080 to U+009F.
bool hasControls(const std::string& text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : 0);
    if (byte < 0x20 || byte == 0x7f || (byte == 0xc2 && next >= 0x80 && next < 0xa0)) {
      return true;
    }
  }
  return false;
}

QAValues valuesFrom(Input& input, int depth = 0);

QAValue valueFrom(Input& input, int depth) {
  QAValue value;
  value.key = "key" + std::to_string(input.byte());
  switch (input.within(0, depth < 3 ? 6 : 5)) {
    case 0:
      break;
    case 1:
      value.value = input.flag();
      break;
    case 2:
      value.value = input.value<int64_t>();
      break;
    case 3:
      value.value = input.number();
      break;
    case 4:
      value.value = input.text(40);
      break;
    case 5: {
      std::vector<double> numbers;
      for (int count = input.within(0, 3); count > 0; --count) {
        numbers.push_back(input.number());
      }
      value.value = numbers;
      break;
    }
    default: {
      std::vector<QAValues> records;
      for (int count = input.within(0, 3); count > 0; --count) {
        records.push_back(valuesFrom(input, depth + 1));
      }
      value.value = records;
    }
  }
  return value;
}

QAValues valuesFrom(Input& input, int depth) {
  QAValues values;
  for (int count = input.within(0, 3); count > 0; --count) {
    values.push_back(valueFrom(input, depth));
  }
  return values;
}

QAEvent eventFrom(Input& input) {
  QAEvent event;
  const auto perhaps = [&](std::optional<double>& field) {
    if (input.flag()) {
      field = input.number();
    }
  };
  perhaps(event.startSeconds);
  perhaps(event.endSeconds);
  perhaps(event.worstSeconds);
  perhaps(event.value);
  perhaps(event.limit);
  if (input.flag()) {
    event.startFrame = input.value<int64_t>();
    event.stream = input.value<int32_t>();
  }
  event.startTimecode = input.text(12);
  event.unit = input.text(4);
  event.what = input.text(30);
  event.breaks = input.flag();
  return event;
}

QACheckOutcome outcomeFrom(Input& input) {
  const auto checks = allChecks();
  QACheckOutcome outcome;
  outcome.name = checks[static_cast<std::size_t>(input.byte()) % checks.size()]->name;
  outcome.state = static_cast<QAState>(input.within(0, 4));
  outcome.values = valuesFrom(input);
  outcome.summary = input.text(80);
  outcome.reason = input.text(80);
  for (int count = input.within(0, 3); count > 0; --count) {
    outcome.limits.push_back({input.text(5), input.number(), input.number(), input.text(5)});
    outcome.events.push_back(eventFrom(input));
    outcome.messages.push_back(input.text(60));
    outcome.progress.push_back(input.within(1, 99));
  }
  outcome.failures = input.value<int32_t>();
  outcome.seconds = input.number();
  return outcome;
}

std::vector<FileReport> filesFrom(Input& input) {
  std::vector<FileReport> files(static_cast<std::size_t>(input.within(0, 3)));
  for (FileReport& file : files) {
    file.file = input.text(120);
    file.error = input.text(60);
    for (int count = input.within(0, 4); count > 0; --count) {
      file.checks.push_back(outcomeFrom(input));
    }
  }
  return files;
}

/// A text comes back as it was, or with its bad bytes replaced.
void requireText(const Json& found, const std::string& text) {
  const std::string back = found.get<std::string>();
  require(!isUtf8(text) || back == text, "UTF-8 comes back as it was");
  require(isUtf8(back), "a report is UTF-8");
}

void report(const std::vector<FileReport>& files) {
  const Json json = Json::parse(reportText(files));
  require(json.at("files").size() == files.size(), "a report has all files");
  for (std::size_t i = 0; i < files.size(); ++i) {
    const Json& file = json.at("files").at(i);
    requireText(file.at("file"), files[i].file);
    require(file.contains("error") == !files[i].error.empty(), "an error is there if there is one");
    require(file.at("checks").size() == files[i].checks.size(), "and all checks");
    for (std::size_t k = 0; k < files[i].checks.size(); ++k) {
      const QACheckOutcome& check = files[i].checks[k];
      const Json& found = file.at("checks").at(k);
      require(found.at("name") == check.name, "a check keeps its name");
      require(found.at("state") == getStateText(check.state), "and its state");
      require(found.at("result").is_null() == check.values.empty(), "and its result");
      require(found.at("limits").size() == check.limits.size(), "and its limits");
      require(found.at("eventCount") == check.events.size(), "and its events");
      require(found.at("failures") == check.failures, "and its failures");
      require(found.at("progress").size() == check.progress.size(), "and its progress");
      require(found.at("messages").size() == check.messages.size(), "and its messages");
      for (std::size_t m = 0; m < check.messages.size(); ++m) {
        requireText(found.at("messages").at(m), check.messages[m]);
      }
      if (!check.reason.empty()) {
        requireText(found.at("reason"), check.reason);
      }
    }
  }
}

/// All lines are ended and hold nothing but text; returns their number.
std::size_t requireLines(const std::string& text) {
  std::size_t lines = 0;
  for (std::size_t at = 0; at < text.size(); ++lines) {
    const std::size_t end = text.find('\n', at);
    require(end != std::string::npos, "a table ends with its last line");
    require(!hasControls(text.substr(at, end - at)), "a table holds nothing but text");
    at = end + 1;
  }
  return lines;
}

void tabulate(const std::vector<FileReport>& files, bool named) {
  const auto checks = allChecks();
  const MemoryFile written("");
  Output output(written.fd());
  Table table(&output, {checks.begin(), checks.end()});
  std::size_t least = 0;
  for (const FileReport& file : files) {
    table.beginFile(file.file);
    for (const QACheckOutcome& check : file.checks) {
      table.addOutcome(check);
      require(tableLine(check, 20, true).size() > tableLine(check, 20, false).size(),
              "colour takes room");
      requireLines(tableLine(check, 20, false) + "\n");
      requireLines(tableLine(check, 20, false, 60) + "\n");
    }
    table.endFile();
    // What was not measured may share a line.
    const auto measured = std::count_if(
        file.checks.begin(), file.checks.end(),
        [](const QACheckOutcome& check) { return check.state != QAState::notMeasured; });
    least += file.checks.empty() ? 0 : 1 + std::max(static_cast<std::size_t>(measured), 1UL);
  }
  if (!files.empty()) {
    table.addSummary(files, named);
    ++least;
  }
  require(requireLines(written.content()) >= least, "every file and every check has its line");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  Input input(data, size);
  const bool named = input.flag();
  const std::vector<FileReport> files = filesFrom(input);
  report(files);
  tabulate(files, named);
  return 0;
}
