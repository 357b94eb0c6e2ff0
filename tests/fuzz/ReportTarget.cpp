// What the client writes of outcomes, names and messages of any kind: reports and table.

#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <optional>
#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "CleanText.h"
#include "CsvReport.h"
#include "EdlReport.h"
#include "JUnitReport.h"
#include "Output.h"
#include "PageReport.h"
#include "QcToolsReport.h"
#include "Report.h"
#include "SeriesReport.h"
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
  outcome.severity = static_cast<QASeverity>(input.within(0, 3));
  outcome.subjectAbsent = input.flag();
  outcome.values = valuesFrom(input);
  outcome.summary = input.text(80);
  outcome.reason = input.text(80);
  for (int count = input.within(0, 3); count > 0; --count) {
    outcome.limits.push_back({input.text(5), input.number(), input.number(), input.text(5)});
    outcome.events.push_back(eventFrom(input));
    outcome.messages.push_back(input.text(60));
    outcome.progress.push_back(input.within(1, 99));
  }
  outcome.eventCount = static_cast<int64_t>(outcome.events.size()) + input.within(0, 1);
  outcome.failures = input.value<int32_t>();
  outcome.seconds = input.number();
  return outcome;
}

QAFileFacts factsFrom(Input& input) {
  QAFileFacts facts;
  facts.opened = input.flag();
  facts.media.container = input.text(40);
  facts.media.durationSeconds = input.number();
  facts.media.startTimecode = input.text(12);
  for (int count = input.within(0, 3); count > 0; --count) {
    QAStreamFacts& stream = facts.media.streams.emplace_back();
    stream.kind = input.flag() ? "video" : "audio";
    stream.codec = input.text(20);
    stream.title = input.text(20);
    if (input.flag()) {
      stream.video.emplace();
      stream.video->width = stream.video->height = input.value<int32_t>();
      stream.video->frameRate = input.number();
      stream.video->scan = input.text(10);
    } else {
      stream.audio.emplace();
      stream.audio->channels = stream.audio->sampleRate = input.value<int32_t>();
    }
  }
  facts.soundSeconds = input.number();
  return facts;
}

std::vector<FileReport> filesFrom(Input& input) {
  std::vector<FileReport> files(static_cast<std::size_t>(input.within(0, 3)));
  for (FileReport& file : files) {
    file.file = input.text(120);
    file.error = input.text(60);
    file.profile = input.text(60);
    file.facts = factsFrom(input);
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
    require(file.contains("media") == files[i].facts.opened, "as is what an opened file says");
    require(file.at("checks").size() == files[i].checks.size(), "and all checks");
    for (std::size_t k = 0; k < files[i].checks.size(); ++k) {
      const QACheckOutcome& check = files[i].checks[k];
      const Json& found = file.at("checks").at(k);
      require(found.at("name") == check.name, "a check keeps its name");
      require(found.at("state") == getStateText(check.state), "and its state");
      require(found.at("result").is_null() == check.values.empty(), "and its result");
      require(found.at("limits").size() == check.limits.size(), "and its limits");
      require(found.at("eventCount") == check.eventCount, "and its events");
      require(found.at("severity") == getSeverityText(check.severity), "and its severity");
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

/// Suites, cases and names come back, and each case says one thing.
void reportXml(const std::vector<FileReport>& files, const Demands& demands) {
  const std::string text = junitText(files, demands);
  pugi::xml_document document;
  require(document.load_buffer(text.data(), text.size()), "XML comes back");
  require(isUtf8(text), "and is UTF-8");
  std::size_t number = 0;
  for (const pugi::xml_node suite : document.child("testsuites").children()) {
    const FileReport& file = files.at(number++);
    require(suite.attribute("name").value() == cleanText(file.file, "\t\n"), "a suite has a name");
    const auto cases = suite.children("testcase");
    const auto count = static_cast<std::size_t>(std::distance(cases.begin(), cases.end()));
    require(count == (file.error.empty() ? file.checks.size() : 1), "and a case a check");
    for (const pugi::xml_node node : cases) {
      require(std::distance(node.begin(), node.end()) == 1, "which says one thing");
    }
    const bool isTroubled = suite.attribute("errors").as_int() > 0;
    require(isTroubled == isInTrouble(file, demands.named), "errors are what is trouble");
  }
  require(number == files.size(), "a file has a suite");
}

/// What was compressed.
std::string unpacked(const std::string& packed) {
  std::string text;
  std::vector<char> part(4096);
  z_stream stream{};
  require(inflateInit2(&stream, MAX_WBITS + 16) == Z_OK, "there is memory");
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data()));
  stream.avail_in = static_cast<uInt>(packed.size());
  int state = Z_OK;
  while (state == Z_OK) {
    stream.next_out = reinterpret_cast<Bytef*>(part.data());
    stream.avail_out = static_cast<uInt>(part.size());
    state = inflate(&stream, Z_NO_FLUSH);
    text.append(part.data(), part.size() - stream.avail_out);
  }
  inflateEnd(&stream);
  require(state == Z_STREAM_END, "what was compressed comes back");
  return text;
}

/// Lines, each with as many cells as the header.
void requireTable(const std::string& text, std::size_t lines) {
  require(isUtf8(text), "a table is UTF-8");
  std::size_t found = 0;
  std::size_t columns = 0;
  std::size_t cells = 1;
  bool isQuoted = false;
  bool begins = true;
  for (const char character : text) {
    require(!begins || isQuoted || std::string_view("=+@").find(character) == std::string::npos,
            "no cell is a formula");
    begins = !isQuoted && (character == ',' || character == '\n');
    isQuoted = isQuoted != (character == '"');
    cells += !isQuoted && character == ',' ? 1 : 0;
    if (character == '\n') {
      require(!isQuoted, "a line has no line within");
      columns = columns == 0 ? cells : columns;
      require(cells == columns, "a line has a cell for each title");
      cells = 1;
      ++found;
    }
  }
  require(begins && found == lines + 1, "a table has a header and its lines");
}

QASeries seriesFrom(Input& input) {
  const auto checks = allChecks();
  QASeries series;
  series.check = checks[static_cast<std::size_t>(input.byte()) % checks.size()]->name;
  series.per = static_cast<QASeries::Per>(input.within(0, 3));
  series.part = input.text(20);
  for (int count = input.within(0, 5); count > 0; --count) {
    series.columns.push_back({input.text(8), input.text(4), input.text(4)});
  }
  if (input.flag()) {
    series.stream = input.within(0, 2);
    series.channels =
        input.flag() ? input.value<int32_t>() : static_cast<int>(series.columns.size()) / 2;
  }
  return series;
}

/// Rows of any order, of series of any check.
void reportSeries(const QAFileFacts& facts, Input& input) {
  SeriesStore store;
  for (int count = input.within(0, 4); count > 0; --count) {
    const QASeries series = seriesFrom(input);
    store.begin(series);
    std::vector<double> values(series.columns.size());
    for (int rows = input.within(0, 5); rows > 0; --rows) {
      std::generate(values.begin(), values.end(), [&] { return input.number(); });
      QASeriesRow row{.index = input.flag() ? rows : input.value<int64_t>(), .values = values};
      if (input.flag()) {
        row.seconds = input.number();
      }
      store.take(series, row);
    }
  }
  const std::string table = seriesText(store);
  requireTable(table, static_cast<std::size_t>(std::count(table.begin(), table.end(), '\n')) - 1);
  const std::string xml = unpacked(qctoolsText(facts, store));
  pugi::xml_document document;
  require(document.load_buffer(xml.data(), xml.size()), "frames are XML");
  require(isUtf8(xml), "and UTF-8");
  for (const pugi::xml_node frame : document.first_child().child("frames").children()) {
    require(std::string_view(frame.name()) == "frame" && frame.attribute("media_type"),
            "of frames that say what they are");
  }
}

void reportTables(const std::vector<FileReport>& files, const Demands& demands) {
  requireTable(csvText(files, demands), files.size());
  std::size_t events = 0;
  for (const FileReport& file : files) {
    for (const QACheckOutcome& check : file.checks) {
      events += check.events.size();
    }
  }
  requireTable(csvEventsText(files), events);
}

/// Plain lines, and locators for all timecodes.
void reportMarks(const FileReport& file) {
  if (!whyNoEdl(file).empty()) {
    return;
  }
  const std::string text = edlText(file);
  require(std::all_of(text.begin(), text.end(),
                      [](char character) {
                        return (character >= ' ' && character < '\x7f') || character == '\r' ||
                               character == '\n';
                      }),
          "a list is ASCII");
  require(text.ends_with("\r\n"), "and ends with its last line");
}

void reportPages(const std::vector<FileReport>& files, const Demands& demands) {
  std::vector<PageLink> links;
  for (const FileReport& file : files) {
    const std::string text = pageText(file, demands);
    require(isUtf8(text), "a page is UTF-8");
    require(text.ends_with("</html>\n"), "and has its end");
    const std::string begin = "id=data>";
    const std::size_t from = text.find(begin);
    const std::size_t end = text.find("</script>", from);
    require(from != std::string::npos && end != std::string::npos, "and its data");
    require(Json::accept(text.substr(from + begin.size(), end - from - begin.size())),
            "which its script can read");
    links.push_back({&file, file.file});
  }
  require(isUtf8(pageIndexText(links, demands)), "an index is UTF-8");
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
  for (const TableKind kind : {TableKind::full, TableKind::shortened}) {
    const MemoryFile written("");
    Output output(written.fd());
    Table table(&output, kind, named);
    std::size_t least = 0;
    for (const FileReport& file : files) {
      table.addFile(file);
      const bool full = kind == TableKind::full && file.error.empty();
      // A name, a verdict and checks; what was not measured may share a line.
      const auto measured =
          std::count_if(file.checks.begin(), file.checks.end(), [&](const QACheckOutcome& check) {
            return check.state != QAState::notMeasured &&
                   (named || findCheck(check.name)->saysSomething);
          });
      least += full ? 2 + static_cast<std::size_t>(measured)
                    : static_cast<std::size_t>(kind == TableKind::shortened);
    }
    if (!files.empty()) {
      table.addSummary(files);
      ++least;
    }
    require(requireLines(written.content()) >= least, "every file and every check has its line");
  }
  for (const FileReport& file : files) {
    requireLines(fileLines(file, named, {false, 60}));
    for (const QACheckOutcome& check : file.checks) {
      require(tableLine(check, 20, {true, 0}).size() > tableLine(check, 20, {}).size(),
              "colour takes room");
      requireLines(tableLine(check, 20, {}) + "\n");
      requireLines(tableLine(check, 20, {false, 60}) + "\n");
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  Input input(data, size);
  const bool named = input.flag();
  const std::vector<FileReport> files = filesFrom(input);
  report(files);
  tabulate(files, named);
  const Demands demands{named, input.flag()};
  reportXml(files, demands);
  reportTables(files, demands);
  reportPages(files, demands);
  std::for_each(files.begin(), files.end(), reportMarks);
  reportSeries(files.empty() ? QAFileFacts{} : files.front().facts, input);
  return 0;
}
