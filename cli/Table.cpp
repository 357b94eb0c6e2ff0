#include "Table.h"

#include <algorithm>
#include <cstring>

#include "ExitCode.h"

namespace cli {

namespace {

constexpr std::size_t kStateWidth = sizeof "pass" - 1;
constexpr std::size_t kPlainColumns = 100;
/// Text is not broken into columns that are narrower than this.
constexpr std::size_t kNarrow = 20;
/// In a summary.
constexpr int kMostNames = 4;
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

std::string joined(const std::string& one, const char* between, const std::string& other) {
  return one + (one.empty() || other.empty() ? "" : between) + other;
}

/// Characters of UTF-8.
std::size_t lengthOf(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char byte) {
    return (static_cast<unsigned char>(byte) & 0xc0U) != 0x80U;
  }));
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

/// The folder that all files lie in, with its last slash, as far as their names say so.
std::string commonFolder(const std::vector<FileReport>& files) {
  std::string common = files.front().file;
  for (const FileReport& file : files) {
    const auto end =
        std::mismatch(common.begin(), common.end(), file.file.begin(), file.file.end());
    common.erase(end.first, common.end());
  }
  common.erase(common.rfind('/') + 1);
  return common;
}

/// The first checks in that state, and how many more there are.
std::string namesOf(const FileReport& file, QAState state) {
  std::string names;
  int count = 0;
  for (const QACheckOutcome& outcome : file.checks) {
    if (outcome.state == state && ++count <= kMostNames) {
      names = joined(names, ", ", outcome.name);
    }
  }
  return count <= kMostNames ? names : names + ", " + std::to_string(count - kMostNames) + " more";
}

}  // namespace

Table::Table(Output* output, const std::vector<const QACheck*>& checks) : output_(output) {
  for (const QACheck* check : checks) {
    names_.push_back(check->name);
    nameWidth_ = std::max(nameWidth_, names_.back().size());
  }
}

void Table::beginFile(const std::string& name) {
  heading_ = printable(name) + "\n";
}

void Table::addOutcome(const QACheckOutcome& outcome) {
  if (output_ == nullptr || std::find(names_.begin(), names_.end(), outcome.name) == names_.end()) {
    return;
  }
  if (outcome.state != QAState::notMeasured) {
    const auto columns = static_cast<std::size_t>(output_->columns());
    write(tableLine(outcome, nameWidth_, output_->wantsColour(),
                    output_->isTerminal() ? columns : 0));
    return;
  }
  const std::string reason = joined(outcome.summary, "; ", outcome.reason);
  for (Unmeasured& group : unmeasured_) {
    if (group.reason == reason) {
      group.names += ", " + outcome.name;
      return;
    }
  }
  unmeasured_.push_back({reason, outcome.name});
}

void Table::endFile() {
  for (const Unmeasured& group : unmeasured_) {
    write(unmeasuredLines(
        group.names, group.reason, output_->wantsColour(),
        output_->isTerminal() ? static_cast<std::size_t>(output_->columns()) : kPlainColumns));
  }
  unmeasured_.clear();
}

void Table::addSummary(const std::vector<FileReport>& files, bool named) {
  if (output_ != nullptr) {
    heading_.clear();
    output_->write(first_ ? "" : "\n");
    output_->write(summaryLines(files, named, output_->wantsColour()));
  }
}

void Table::write(const std::string& lines) {
  if (!heading_.empty()) {
    output_->write((first_ ? "" : "\n") + heading_);
    heading_.clear();
    first_ = false;
  }
  output_->write(lines + "\n");
}

std::string tableLine(const QACheckOutcome& outcome, std::size_t nameWidth, bool colour,
                      std::size_t columns) {
  const std::string text = printable(joined(outcome.summary, "; ", outcome.reason));
  const std::string start = kMargin + padded(outcome.name, nameWidth) + kMargin;
  const std::string word = stateWord(outcome.state, colour);
  if (text.empty()) {
    return start + word;
  }
  const std::size_t width = std::max(std::strlen(getStateText(outcome.state)), kStateWidth);
  const std::string gap(width - std::strlen(getStateText(outcome.state)), ' ');
  const std::size_t indent = start.size() + width + std::strlen(kMargin);
  return start + word + gap + kMargin + broken(text, indent, columns);
}

std::string unmeasuredLines(const std::string& names, const std::string& reason, bool colour,
                            std::size_t columns) {
  const std::size_t indent =
      2 * std::strlen(kMargin) + std::strlen(getStateText(QAState::notMeasured));
  return kMargin + stateWord(QAState::notMeasured, colour) + kMargin +
         broken(printable(names + ": " + reason), indent, columns);
}

std::string summaryLines(const std::vector<FileReport>& files, bool named, bool colour) {
  int failed = 0;
  int troubled = 0;
  int warned = 0;
  std::string names;
  const std::size_t folder = commonFolder(files).size();
  const std::size_t widest = std::strlen(getStateText(QAState::notMeasured));
  const auto addName = [&](const FileReport& file, QAState state) {
    const std::string checks = file.error.empty() ? namesOf(file, state) : "";
    const std::string gap(widest - std::strlen(getStateText(state)), ' ');
    names += kMargin + stateWord(state, colour) + gap + kMargin +
             printable(joined(file.file.substr(folder), ": ", checks)) + "\n";
  };
  for (const FileReport& file : files) {
    if (hasFailure(file)) {
      ++failed;
      addName(file, QAState::fail);
    } else if (isInTrouble(file, named)) {
      ++troubled;
      addName(file, QAState::notMeasured);
    } else if (!namesOf(file, QAState::warn).empty()) {
      ++warned;
    }
  }
  const auto passed = static_cast<int>(files.size()) - failed - troubled;
  std::string text = std::to_string(files.size()) + " files: " + std::to_string(passed) + " passed";
  if (warned > 0) {
    text += " (" + std::to_string(warned) + " with warnings)";
  }
  if (failed > 0) {
    text += ", " + std::to_string(failed) + " failed";
  }
  if (troubled > 0) {
    text += ", " + std::to_string(troubled) + " could not be read or measured";
  }
  return text + "\n" + names;
}

}  // namespace cli
