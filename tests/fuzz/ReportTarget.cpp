// What the client writes of results, names and messages of any kind: report, table and figures.

#include <unistd.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Figures.h"
#include "Output.h"
#include "Report.h"
#include "Table.h"
#include "fuzz/Input.h"
#include "fuzz/MemoryFile.h"

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

/// A result of any shape that results have.
Json resultFrom(Input& input, int depth = 0) {
  switch (input.within(0, depth < 3 ? 6 : 4)) {
    case 0:
      return nullptr;
    case 1:
      return input.flag();
    case 2:
      return input.value<int32_t>();
    case 3:
      return numberJson(input.number());
    case 4:
      return input.text(40);
    case 5: {
      Json list = Json::array();
      for (int count = input.within(0, 3); count > 0; --count) {
        list.push_back(resultFrom(input, depth + 1));
      }
      return list;
    }
    default: {
      Json object = Json::object();
      for (int count = input.within(0, 3); count > 0; --count) {
        object["key" + std::to_string(count)] = resultFrom(input, depth + 1);
      }
      return object;
    }
  }
}

CheckReport checkFrom(Input& input) {
  const std::vector<Check>& checks = allChecks();
  CheckReport report;
  report.check = &checks[static_cast<std::size_t>(input.byte()) % checks.size()];
  report.findings.state = static_cast<State>(input.within(0, 3));
  report.findings.result = resultFrom(input);
  report.findings.figures = input.text(80);
  report.findings.reason = input.text(80);
  for (int count = input.within(0, 3); count > 0; --count) {
    report.messages.push_back(input.text(60));
    report.progress.push_back(input.within(1, 99));
  }
  report.failures = input.value<int32_t>();
  report.seconds = input.number();
  return report;
}

std::vector<FileReport> filesFrom(Input& input) {
  std::vector<FileReport> files(static_cast<std::size_t>(input.within(0, 3)));
  for (FileReport& file : files) {
    file.file = input.text(120);
    file.error = input.text(60);
    for (int count = input.within(0, 4); count > 0; --count) {
      file.checks.push_back(checkFrom(input));
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
      const CheckReport& check = files[i].checks[k];
      const Json& found = file.at("checks").at(k);
      require(found.at("name") == check.check->name, "a check keeps its name");
      require(found.at("state") == stateText(check.findings.state), "and its state");
      require(found.at("failures") == check.failures, "and its failures");
      require(found.at("progress").size() == check.progress.size(), "and its progress");
      require(found.at("messages").size() == check.messages.size(), "and its messages");
      for (std::size_t m = 0; m < check.messages.size(); ++m) {
        requireText(found.at("messages").at(m), check.messages[m]);
      }
      if (!check.findings.reason.empty()) {
        requireText(found.at("reason"), check.findings.reason);
      }
    }
  }
}

void tabulate(const std::vector<FileReport>& files) {
  std::vector<const Check*> checks;
  for (const Check& check : allChecks()) {
    checks.push_back(&check);
  }
  const MemoryFile written("");
  Output output(written.fd());
  Table table(&output, checks);
  std::size_t lines = files.empty() ? 0 : files.size() - 1;
  for (const FileReport& file : files) {
    table.beginFile(file.file);
    ++lines;
    for (const CheckReport& check : file.checks) {
      table.addCheck(check);
      require(!hasControls(tableLine(check, 20, false)), "a line holds nothing but text");
      require(tableLine(check, 20, true).size() > tableLine(check, 20, false).size(),
              "colour takes room");
      ++lines;
    }
  }
  const std::string text = written.content();
  std::size_t found = 0;
  for (std::size_t at = 0; at < text.size(); ++found) {
    const std::size_t end = text.find('\n', at);
    require(end != std::string::npos, "a table ends with its last line");
    require(!hasControls(text.substr(at, end - at)), "a table holds nothing but text");
    at = end + 1;
  }
  require(found == lines, "a file and a check take a line each");
}

QACheckOutcome outcomeFrom(Input& input) {
  QACheckOutcome outcome;
  outcome.opened = input.flag();
  outcome.measured = input.flag();
  outcome.stopped = input.flag();
  outcome.reason = input.text(20);
  outcome.budget = input.within(0, std::numeric_limits<int>::max() - 1);
  outcome.count = input.within(0, std::numeric_limits<int>::max() - 1);
  outcome.startSeconds = input.number();
  outcome.endSeconds = input.number();
  for (int count = input.within(1, 3); count > 0; --count) {
    outcome.limits.push_back({"RGBY", input.value<int32_t>(), input.value<int32_t>()});
  }
  for (const char* name :
       {"interlaced", "topFieldFirst", "groups23", "groups22", "meanShare", "highestPercent",
        "threshold", "transitionSeconds", "transitionSeconds", "matchingBlocks", "meanLag"}) {
    if (input.flag()) {
      outcome.figures.push_back({name, input.number()});
    }
  }
  outcome.figures.push_back({"nominalRate", static_cast<double>(input.value<int32_t>())});
  outcome.unmeasuredEntries.push_back(input.byte());
  return outcome;
}

void say(Input& input) {
  const QACheckOutcome outcome = outcomeFrom(input);
  const auto number = [&] { return static_cast<float>(input.number()); };
  const QA_Loudness loudness{input.number(), false};
  const QA_PullDown pulldown{2, input.within(2, 3), number(), input.flag()};
  const QA_FieldDominance fields{static_cast<QA_FrameType>(input.within(0, 2)),
                                 static_cast<QA_FieldType>(input.within(0, 2))};
  QA_AudioLevels levels(static_cast<unsigned>(input.within(0, 9)),
                        static_cast<unsigned>(input.within(0, 9)), QA_STREAM_SETUP_ONE_STEREO);
  const std::unique_ptr<QA_ChannelLevel[]> entries(levels.levels);
  for (uint32_t i = 0; i < levels.count; ++i) {
    entries[i].minLevel = number();
    entries[i].maxLevel = number();
  }
  const std::vector<Channel> channels{{'R', input.value<int32_t>(), input.value<int32_t>()},
                                      {'Y', input.value<int32_t>(), input.value<int32_t>()}};
  for (const std::string& text :
       {fps(number()), colourFigures(channels, outcome), levelFigures(levels, outcome),
        loudnessFigures(loudness, outcome), monoFigures(outcome), phaseFigures(outcome),
        fieldFigures(fields, "Interlaced", "Upper", outcome), pulldownFigures(pulldown, outcome),
        tearingFigures(outcome), timecodeFigures(outcome), transitionFigures(outcome)}) {
    require(!hasControls(text), "figures are words");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  Input input(data, size);
  if (input.byte() % 4 == 3) {
    say(input);
    return 0;
  }
  const std::vector<FileReport> files = filesFrom(input);
  report(files);
  tabulate(files);
  return 0;
}
