#include "Table.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <string_view>
#include <utility>

#include "EventWords.h"
#include "ExitCode.h"
#include "Facts.h"
#include "tester/QACheck.h"
#include "tester/QAVerdict.h"

namespace cli {

namespace {

constexpr std::size_t kStateWidth = sizeof "pass" - 1;
constexpr std::size_t kPlainColumns = 100;
/// Text is not broken into columns that are narrower than this.
constexpr std::size_t kNarrow = 20;
/// In a summary.
constexpr int kMostNames = 4;
/// Of a check in the table; a report has more.
constexpr std::size_t kMostEvents = 3;
constexpr const char* kMargin = "  ";

const char* colourOf(QAState state) {
  switch (state) {
    case QAState::pass:
      return "\x1b[32m";
    case QAState::fail:
      return "\x1b[1;31m";
    case QAState::warn:
      return "\x1b[1;33m";
    case QAState::info:
      return "\x1b[36m";
    default:
      return "\x1b[33m";
  }
}

std::string stateWord(QAState state, bool colour) {
  const std::string word = getStateText(state);
  return colour ? colourOf(state) + word + "\x1b[0m" : word;
}

std::string padded(std::string text, std::size_t width) {
  text.resize(std::max(text.size(), width), ' ');
  return text;
}

bool isContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xc0U) == 0x80U;
}

/// Characters of UTF-8.
std::size_t lengthOf(std::string_view text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char byte) { return !isContinuation(byte); }));
}

/// `text`, which starts in column `indent`, broken at blanks so that no line is longer than
/// `columns`.
std::string broken(const std::string& text, std::size_t indent, std::size_t columns) {
  if (columns < indent + kNarrow) {
    return text;
  }
  std::string result;
  std::size_t used = 0;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find(' ', at + 1), text.size());
    std::string_view word = std::string_view(text).substr(at, end - at);
    const std::size_t length = lengthOf(word);
    if (used > 0 && indent + used + length > columns) {
      result.append(1, '\n').append(indent, ' ');
      word.remove_prefix(word.front() == ' ' ? 1 : 0);
      used = 0;
    }
    result += word;
    used += lengthOf(word);
    at = end;
  }
  return result;
}

/// The first `columns` characters, the last three of them dots where some are left out.
std::string cut(const std::string& text, std::size_t columns) {
  const std::string dots = "...";
  if (lengthOf(text) <= columns) {
    return text;
  }
  std::string start;
  std::size_t length = 0;
  for (const char byte : text) {
    length += isContinuation(byte) ? 0U : 1U;
    if (length + dots.size() > columns) {
      break;
    }
    start += byte;
  }
  return start + dots;
}

/// The first checks that `belongs` picks, and how many more there are.
template <typename Belongs>
std::string namesOf(const FileReport& file, Belongs belongs) {
  std::string names;
  int count = 0;
  for (const QACheckOutcome& outcome : file.checks) {
    if (belongs(outcome) && ++count <= kMostNames) {
      names = joined(names, ", ", outcome.name);
    }
  }
  return count <= kMostNames ? names : names + ", " + std::to_string(count - kMostNames) + " more";
}

std::string namesInState(const FileReport& file, QAState state) {
  return namesOf(file, [&](const QACheckOutcome& outcome) { return outcome.state == state; });
}

std::string missedNames(const FileReport& file, bool named) {
  return namesOf(file, [&](const QACheckOutcome& outcome) { return isMissed(outcome, named); });
}

/// No line is worth reading that says nothing of the file, unless somebody asked for it.
bool isShown(const QACheckOutcome& outcome, bool named) {
  const QACheck* check = findCheck(outcome.name);
  return named || check == nullptr || check->saysSomething;
}

/// The lines of checks in one of `states`, in the order of the checks.
std::string linesOfStates(const std::vector<const QACheckOutcome*>& outcomes,
                          std::initializer_list<QAState> states, std::size_t nameWidth,
                          const TableStyle& style, bool inOneLine) {
  const bool whole = !inOneLine || style.columns == 0;
  const std::size_t stateColumn = 2 * std::strlen(kMargin) + nameWidth;
  const std::size_t textColumn = stateColumn + kStateWidth + std::strlen(kMargin);
  std::string lines;
  for (const QACheckOutcome* outcome : outcomes) {
    const QAState state = outcome->state;
    if (std::find(states.begin(), states.end(), state) == states.end()) {
      continue;
    }
    std::string line = tableLine(*outcome, nameWidth, {false, whole ? style.columns : 0});
    line = whole ? line : cut(line, std::max(style.columns, textColumn + kNarrow));
    line.replace(stateColumn, std::strlen(getStateText(state)), stateWord(state, style.colour));
    lines += line + "\n";
    if (state == QAState::fail || state == QAState::warn) {
      for (const std::string& event : eventLines(*outcome)) {
        lines += std::string(textColumn, ' ') + broken(event, textColumn, style.columns) + "\n";
      }
    }
  }
  return lines;
}

std::string unmeasuredGroups(const std::vector<const QACheckOutcome*>& outcomes,
                             const TableStyle& style) {
  std::vector<std::pair<std::string, std::string>> groups;  // reasons and names
  for (const QACheckOutcome* outcome : outcomes) {
    if (outcome->state != QAState::notMeasured) {
      continue;
    }
    const std::string reason = joined(outcome->summary, "; ", outcome->reason);
    const auto group = std::find_if(groups.begin(), groups.end(),
                                    [&](const auto& known) { return known.first == reason; });
    if (group == groups.end()) {
      groups.emplace_back(reason, outcome->name);
    } else {
      group->second += ", " + outcome->name;
    }
  }
  std::string lines;
  for (const auto& [reason, names] : groups) {
    lines += unmeasuredLines(names, reason, style.colour,
                             style.columns > 0 ? style.columns : kPlainColumns) +
             "\n";
  }
  return lines;
}

std::string verdictLine(const FileReport& file, bool named, bool colour) {
  const QAState verdict = getVerdict(file.checks);
  std::string line = std::string(kMargin) + "verdict: " + stateWord(verdict, colour);
  if (!file.profile.empty()) {
    line += " (profile " + printable(file.profile) + ")";
  }
  const std::string missed = verdict != QAState::notMeasured ? missedNames(file, named) : "";
  return line + (missed.empty() ? "" : "; not measured: " + missed);
}

}  // namespace

Table::Table(Output* output, TableKind kind, bool named)
    : output_(output), kind_(kind), named_(named) {}

void Table::addFile(const FileReport& file) {
  if (output_ == nullptr) {
    return;
  }
  if (kind_ == TableKind::shortened) {
    output_->write(shortLine(file, named_, output_->wantsColour()) + "\n");
    return;
  }
  if (!file.error.empty()) {
    return;  // standard error has a line about it
  }
  const auto columns = static_cast<std::size_t>(output_->isTerminal() ? output_->columns() : 0);
  output_->write(first_ ? "" : "\n");
  output_->write(fileLines(file, named_, {output_->wantsColour(), columns}));
  first_ = false;
}

void Table::addSummary(const std::vector<FileReport>& files) {
  if (output_ != nullptr) {
    const bool full = kind_ == TableKind::full;
    output_->write(first_ && full ? "" : "\n");
    output_->write(summaryLines(files, named_, output_->wantsColour(), full));
  }
}

QAState resultOf(const FileReport& file, bool named) {
  const QAState verdict = getVerdict(file.checks);
  return verdict != QAState::fail && isInTrouble(file, named) ? QAState::notMeasured : verdict;
}

std::string blameOf(const FileReport& file, bool named, QAState result) {
  if (!file.error.empty()) {
    return file.error;
  }
  const bool nothing = getVerdict(file.checks) == QAState::notMeasured;
  const std::pair<QAState, std::string> parts[] = {
      {QAState::fail, namesInState(file, QAState::fail)},
      {QAState::warn, namesInState(file, QAState::warn)},
      {QAState::notMeasured,
       nothing ? namesInState(file, QAState::notMeasured) : missedNames(file, named)},
  };
  std::string first;
  std::string others;
  for (const auto& [state, names] : parts) {
    if (state == result) {
      first = names;
    } else if (!names.empty()) {
      others = joined(others, "; ", joined(getStateText(state), ": ", names));
    }
  }
  return joined(first, "; ", others);
}

std::string commonFolder(const std::vector<std::string>& names) {
  std::string common = names.front();
  for (const std::string& name : names) {
    const auto end = std::mismatch(common.begin(), common.end(), name.begin(), name.end());
    common.erase(end.first, common.end());
  }
  common.erase(common.rfind('/') + 1);
  return common;
}

std::string fileLines(const FileReport& file, bool named, const TableStyle& style) {
  std::vector<const QACheckOutcome*> shown;
  std::size_t nameWidth = 0;
  for (const QACheckOutcome& outcome : file.checks) {
    if (isShown(outcome, named)) {
      shown.push_back(&outcome);
      nameWidth = std::max(nameWidth, outcome.name.size());
    }
  }
  std::string lines = printable(file.file) + "\n";
  if (file.facts.opened) {
    const std::size_t indent = std::strlen(kMargin);
    lines += kMargin +
             broken(printable(factsLine(file.facts.media, file.file)), indent, style.columns) +
             "\n";
  }
  lines += verdictLine(file, named, style.colour) + "\n";
  lines += linesOfStates(shown, {QAState::fail}, nameWidth, style, false);
  lines += linesOfStates(shown, {QAState::warn}, nameWidth, style, false);
  lines += linesOfStates(shown, {QAState::pass, QAState::info}, nameWidth, style, !named);
  return lines + unmeasuredGroups(shown, style);
}

std::string shortLine(const FileReport& file, bool named, bool colour) {
  const QAState verdict = getVerdict(file.checks);
  const std::size_t widest = std::strlen(getStateText(QAState::notMeasured));
  return stateWord(verdict, colour) +
         std::string(widest - std::strlen(getStateText(verdict)), ' ') + kMargin +
         printable(joined(file.file, ": ", blameOf(file, named, verdict)));
}

std::string tableLine(const QACheckOutcome& outcome, std::size_t nameWidth,
                      const TableStyle& style) {
  const std::string text = printable(joined(outcome.summary, "; ", outcome.reason));
  const std::string start = kMargin + padded(outcome.name, nameWidth) + kMargin;
  const std::string word = stateWord(outcome.state, style.colour);
  if (text.empty()) {
    return start + word;
  }
  const std::size_t width = std::max(std::strlen(getStateText(outcome.state)), kStateWidth);
  const std::string gap(width - std::strlen(getStateText(outcome.state)), ' ');
  const std::size_t indent = start.size() + width + std::strlen(kMargin);
  return start + word + gap + kMargin + broken(text, indent, style.columns);
}

std::vector<std::string> eventLines(const QACheckOutcome& outcome) {
  // An event that is nowhere says no more than the summary.
  BreakingEvents breaking = breakingEvents(outcome, kMostEvents, true);
  for (std::string& line : breaking.lines) {
    line = printable(line);
  }
  if (!breaking.more.empty()) {
    breaking.lines.push_back(std::move(breaking.more));
  }
  return std::move(breaking.lines);
}

std::string unmeasuredLines(const std::string& names, const std::string& reason, bool colour,
                            std::size_t columns) {
  const std::size_t indent =
      2 * std::strlen(kMargin) + std::strlen(getStateText(QAState::notMeasured));
  return kMargin + stateWord(QAState::notMeasured, colour) + kMargin +
         broken(printable(names + ": " + reason), indent, columns);
}

std::string summaryLines(const std::vector<FileReport>& files, bool named, bool colour, bool list) {
  int passed = 0;
  int warned = 0;
  int failed = 0;
  int troubled = 0;
  std::string names;
  std::vector<std::string> paths;
  for (const FileReport& file : files) {
    paths.push_back(file.file);
  }
  const std::size_t folder = commonFolder(paths).size();
  const std::size_t widest = std::strlen(getStateText(QAState::notMeasured));
  for (const FileReport& file : files) {
    const QAState result = resultOf(file, named);
    int& count = result == QAState::fail          ? failed
                 : result == QAState::notMeasured ? troubled
                 : result == QAState::warn        ? warned
                                                  : passed;
    ++count;
    if (result != QAState::pass && list) {
      const std::string checks = file.error.empty() ? blameOf(file, named, result) : "";
      const std::string gap(widest - std::strlen(getStateText(result)), ' ');
      names += kMargin + stateWord(result, colour) + gap + kMargin +
               printable(joined(file.file.substr(folder), ": ", checks)) + "\n";
    }
  }
  std::string text = std::to_string(files.size()) + " files: " + std::to_string(passed) + " passed";
  const auto add = [&](int count, const char* what) {
    if (count > 0) {
      text.append(", ").append(std::to_string(count)).append(what);
    }
  };
  add(warned, " with warnings");
  add(failed, " failed");
  add(troubled, " could not be read or measured");
  return text + "\n" + names;
}

}  // namespace cli
