#include "Table.h"

#include <algorithm>
#include <cstring>

namespace cli {

namespace {

constexpr std::size_t kStateWidth = sizeof "not-measured" - 1;

const char* colourOf(State state) {
  switch (state) {
    case State::pass:
      return "\x1b[32m";
    case State::fail:
      return "\x1b[1;31m";
    case State::info:
      return "\x1b[36m";
    default:
      return "\x1b[33m";
  }
}

std::string padded(std::string text, std::size_t width) {
  text.resize(std::max(text.size(), width), ' ');
  return text;
}

std::string remark(const Findings& findings) {
  const bool both = !findings.figures.empty() && !findings.reason.empty();
  return printable(findings.figures + (both ? "; " : "") + findings.reason);
}

}  // namespace

Table::Table(Output* output, const std::vector<const Check*>& checks) : output_(output) {
  for (const Check* check : checks) {
    nameWidth_ = std::max(nameWidth_, std::strlen(check->name));
  }
}

void Table::beginFile(const std::string& name) {
  if (output_ != nullptr) {
    if (!first_) {
      output_->write("\n");
    }
    output_->write(printable(name) + "\n");
    first_ = false;
  }
}

void Table::addCheck(const CheckReport& report) {
  if (output_ != nullptr) {
    output_->write(tableLine(report, nameWidth_, output_->wantsColour()) + "\n");
  }
}

std::string tableLine(const CheckReport& report, std::size_t nameWidth, bool colour) {
  const State state = report.findings.state;
  const std::string text = remark(report.findings);
  std::string word = stateText(state);
  const std::size_t gap = text.empty() ? 0 : kStateWidth - word.size() + 2;
  if (colour) {
    word = colourOf(state) + word + "\x1b[0m";
  }
  return "  " + padded(report.check->name, nameWidth) + "  " + word + std::string(gap, ' ') + text;
}

}  // namespace cli
