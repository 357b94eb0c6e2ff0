#include "CsvReport.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>
#include <variant>

#include "CleanText.h"
#include "EventWords.h"
#include "Facts.h"
#include "tester/QACheck.h"

namespace cli {

namespace {

constexpr const char* kBetween = ", ";

/// What begins a formula; some spreadsheets take the wide forms as well.
constexpr std::string_view kFormulaSigns[] = {
    "=", "+", "-", "@", "\xef\xbc\x9d", "\xef\xbc\x8b", "\xef\xbc\x8d", "\xef\xbc\xa0"};

std::string quoted(const std::string& text) {
  if (text.find_first_of(",\"") == std::string::npos) {
    return text;
  }
  std::string result(1, '"');
  for (const char character : text) {
    result.append(character == '"' ? 2 : 1, character);
  }
  return result + '"';
}

class Lines {
 public:
  void add(const std::string& text) { cell(csvCell(text)); }
  void add(const char* text) { add(std::string(text)); }

  /// That reads back to the same number: "nan", "inf" and "-inf" where it is not finite.
  template <typename Number>
  void add(const std::optional<Number>& number) {
    char text[64];
    char* end = text;
    if (number) {
      end = std::to_chars(std::begin(text), std::end(text), *number).ptr;
    }
    cell(std::string(text, end));
  }
  void add(double number) { add(std::optional(number)); }
  void add(int64_t number) { add(std::optional(number)); }
  void add(bool flag) { add(flag ? "true" : "false"); }
  void addNothing() { cell(""); }

  void end() {
    text_ += '\n';
    first_ = true;
  }

  std::string take() { return std::move(text_); }

 private:
  void cell(const std::string& text) {
    text_ += first_ ? "" : ",";
    text_ += text;
    first_ = false;
  }

  std::string text_;
  bool first_ = true;
};

/// Undeclared: nothing.
std::optional<double> positive(double number) {
  return number > 0.0 ? std::optional(number) : std::nullopt;
}

/// Counts them and lists their names.
template <typename Belongs>
void addChecks(Lines& lines, const FileReport& file, Belongs belongs) {
  std::string names;
  int64_t count = 0;
  for (const QACheckOutcome& outcome : file.checks) {
    if (belongs(outcome)) {
      names = joined(names, kBetween, outcome.name);
      ++count;
    }
  }
  lines.add(count);
  lines.add(names);
}

void addChecks(Lines& lines, const FileReport& file, QAState state) {
  addChecks(lines, file, [&](const QACheckOutcome& outcome) { return outcome.state == state; });
}

/// Why the file makes the exit code that of trouble.
std::string problemOf(const FileReport& file, const Demands& demands) {
  std::string problem = file.error;
  if (problem.empty()) {
    for (const QACheckOutcome& outcome : file.checks) {
      if (isTrouble(outcome, file, demands.named)) {
        problem = joined(problem, "; ", outcome.name + ": " + outcome.reason);
      }
    }
  }
  return problem;
}

constexpr const char* kMediaTitles[] = {
    "container",     "duration",     "pictureSize", "frameRate", "videoCodec",
    "startTimecode", "audioStreams", "audioCodecs", "pictures",  "soundSeconds"};

void addVideo(Lines& lines, const QAMedia& media) {
  const auto stream =
      std::find_if(media.streams.begin(), media.streams.end(),
                   [](const QAStreamFacts& one) { return one.kind == "video" && one.video; });
  if (stream == media.streams.end()) {
    lines.addNothing();
    lines.addNothing();
    lines.addNothing();
    return;
  }
  const QAVideoFacts& video = *stream->video;
  const bool hasSize = video.width > 0 && video.height > 0;
  lines.add(hasSize ? std::to_string(video.width) + "x" + std::to_string(video.height) : "");
  lines.add(positive(video.frameRate));
  lines.add(stream->codec);
}

void addMedia(Lines& lines, const FileReport& file) {
  if (!file.facts.opened) {
    for (std::size_t i = 0; i < std::size(kMediaTitles); ++i) {
      lines.addNothing();
    }
    return;
  }
  const QAMedia& media = file.facts.media;
  std::vector<std::string> codecs;
  int64_t audioStreams = 0;
  for (const QAStreamFacts& stream : media.streams) {
    if (stream.kind == "audio") {
      ++audioStreams;
      if (std::find(codecs.begin(), codecs.end(), stream.codec) == codecs.end()) {
        codecs.push_back(stream.codec);
      }
    }
  }
  std::string audioCodecs;
  for (const std::string& codec : codecs) {
    audioCodecs = joined(audioCodecs, kBetween, codec);
  }
  lines.add(containerName(media.container, file.file));
  lines.add(wholeMicroseconds(media.durationSeconds));
  addVideo(lines, media);
  lines.add(media.startTimecode);
  lines.add(audioStreams);
  lines.add(audioCodecs);
  lines.add(file.facts.pictures);
  lines.add(wholeMicroseconds(file.facts.soundSeconds));
}

/// The checks of all files, in the order in which they come.
std::vector<std::string> namesOfChecks(const std::vector<FileReport>& files) {
  std::vector<std::string> names;
  for (const FileReport& file : files) {
    for (const QACheckOutcome& outcome : file.checks) {
      if (std::find(names.begin(), names.end(), outcome.name) == names.end()) {
        names.push_back(outcome.name);
      }
    }
  }
  return names;
}

const QACheckOutcome* outcomeOf(const FileReport& file, const std::string& name) {
  const auto found =
      std::find_if(file.checks.begin(), file.checks.end(),
                   [&](const QACheckOutcome& outcome) { return outcome.name == name; });
  return found != file.checks.end() ? &*found : nullptr;
}

struct Figure {
  std::string check;
  /// Of a value, or "LIST.KEY" of one in the records of a list.
  std::string key;

  std::string title() const { return check + "." + key.substr(key.find('.') + 1); }
};

std::vector<Figure> figuresOf(const std::vector<std::string>& names) {
  std::vector<Figure> figures;
  for (const std::string& name : names) {
    const QACheck* check = findCheck(name);
    if (check != nullptr) {
      for (const char* key : check->figures) {
        figures.push_back({name, key});
      }
    }
  }
  return figures;
}

/// The number under a key; of a list, that of the first record which has one.
std::optional<double> numberUnder(const QAValues& values, const std::string& key) {
  const std::size_t dot = key.find('.');
  const auto value = std::find_if(values.begin(), values.end(), [&](const QAValue& one) {
    return one.key == key.substr(0, dot);
  });
  if (value == values.end()) {
    return std::nullopt;
  }
  if (const auto* number = std::get_if<double>(&value->value)) {
    return *number;
  }
  if (const auto* count = std::get_if<int64_t>(&value->value)) {
    return static_cast<double>(*count);
  }
  const auto* records = std::get_if<std::vector<QAValues>>(&value->value);
  if (records != nullptr && dot != std::string::npos) {
    for (const QAValues& record : *records) {
      if (const auto number = numberUnder(record, key.substr(dot + 1))) {
        return number;
      }
    }
  }
  return std::nullopt;
}

std::optional<double> figureOf(const FileReport& file, const Figure& figure) {
  const QACheckOutcome* outcome = outcomeOf(file, figure.check);
  // What is not measured has zeros for values.
  return outcome != nullptr && outcome->state != QAState::notMeasured
             ? numberUnder(outcome->values, figure.key)
             : std::nullopt;
}

constexpr const char* kEventTitles[] = {
    "file",          "check",        "state",        "severity",   "breaks",
    "what",          "startSeconds", "endSeconds",   "startFrame", "endFrame",
    "startTimecode", "endTimecode",  "worstSeconds", "worstFrame", "value",
    "limit",         "unit",         "stream",       "channel",    "channelName"};

void addEvent(Lines& lines, const FileReport& file, const QACheckOutcome& outcome,
              const QAEvent& event) {
  lines.add(file.file);
  lines.add(outcome.name);
  lines.add(getStateText(outcome.state));
  lines.add(getSeverityText(outcome.severity));
  lines.add(event.breaks);
  lines.add(event.what);
  lines.add(wholeMicroseconds(event.startSeconds));
  lines.add(wholeMicroseconds(event.endSeconds));
  lines.add(event.startFrame);
  lines.add(event.endFrame);
  lines.add(event.startTimecode);
  lines.add(event.endTimecode);
  lines.add(wholeMicroseconds(event.worstSeconds));
  lines.add(event.worstFrame);
  lines.add(event.value);
  lines.add(event.limit);
  lines.add(event.unit);
  lines.add(event.stream);
  lines.add(event.channel);
  lines.add(event.channelName);
  lines.end();
}

}  // namespace

std::string csvCell(const std::string& text) {
  const std::string clean = cleanText(text);
  const bool isFormula =
      std::any_of(std::begin(kFormulaSigns), std::end(kFormulaSigns),
                  [&](std::string_view sign) { return clean.rfind(sign, 0) == 0; });
  return quoted(isFormula ? "'" + clean : clean);
}

std::string csvText(const std::vector<FileReport>& files, const Demands& demands) {
  const std::vector<std::string> names = namesOfChecks(files);
  const std::vector<Figure> figures = figuresOf(names);
  Lines lines;
  for (const char* title : {"file", "verdict", "profile", "problem"}) {
    lines.add(title);
  }
  for (const char* title : kMediaTitles) {
    lines.add(title);
  }
  for (const char* title :
       {"failed", "failedChecks", "warned", "warnedChecks", "notMeasured", "notMeasuredChecks"}) {
    lines.add(title);
  }
  for (const std::string& name : names) {
    lines.add(name);
  }
  for (const Figure& figure : figures) {
    lines.add(figure.title());
  }
  lines.end();
  for (const FileReport& file : files) {
    lines.add(file.file);
    lines.add(getStateText(getVerdict(file.checks)));
    lines.add(file.profile);
    lines.add(problemOf(file, demands));
    addMedia(lines, file);
    addChecks(lines, file, QAState::fail);
    addChecks(lines, file, QAState::warn);
    addChecks(lines, file, QAState::notMeasured);
    for (const std::string& name : names) {
      const QACheckOutcome* outcome = outcomeOf(file, name);
      lines.add(outcome != nullptr ? getStateText(outcome->state) : "");
    }
    for (const Figure& figure : figures) {
      lines.add(figureOf(file, figure));
    }
    lines.end();
  }
  return lines.take();
}

std::string csvEventsText(const std::vector<FileReport>& files) {
  Lines lines;
  for (const char* title : kEventTitles) {
    lines.add(title);
  }
  lines.end();
  for (const FileReport& file : files) {
    for (const QACheckOutcome& outcome : file.checks) {
      for (const QAEvent& event : outcome.events) {
        addEvent(lines, file, outcome, event);
      }
    }
  }
  return lines.take();
}

}  // namespace cli
