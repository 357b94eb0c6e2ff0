#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "FileReport.h"
#include "Options.h"
#include "Output.h"

namespace cli {

/// What a person reads: of each file what it is, its verdict, then the checks, the worst first.
class Table {
 public:
  /// Null `output`: nothing is written. `named`: the checks were asked for by name.
  Table(Output* output, TableKind kind, bool named);

  void addFile(const FileReport& file);

  /// How many files came to which verdict, and which ones did not pass.
  void addSummary(const std::vector<FileReport>& files);

 private:
  Output* output_;
  TableKind kind_;
  bool named_;
  bool first_ = true;
};

/// The folder that all files lie in, with its last slash, as far as their names say so. At least
/// one name.
std::string commonFolder(const std::vector<std::string>& names);

/// What a file is counted as: its verdict or, where something was missed, `notMeasured`.
QAState resultOf(const FileReport& file, bool named);

/// Why a file came to `result`: the checks in that state, then those in other states that matter.
std::string blameOf(const FileReport& file, bool named, QAState result);

/// How lines are written.
struct TableStyle {
  bool colour = false;
  /// Of a terminal, on which lines that are longer go on below themselves; 0: no end.
  std::size_t columns = 0;
};

/// All lines of a file: the table of kind `full`. Of checks that were not asked for by name
/// (`named`), those that say nothing of the file are left out, and what passed or was reported
/// without judging takes one line of a terminal.
std::string fileLines(const FileReport& file, bool named, const TableStyle& style);

/// The line of a file: its verdict, its name, and what fails, warns or was missed.
std::string shortLine(const FileReport& file, bool named, bool colour);

/// The line of a check, its name padded to `nameWidth`.
std::string tableLine(const QACheckOutcome& outcome, std::size_t nameWidth,
                      const TableStyle& style);

/// The first events that break a check's limits, a line each, and how many more there are.
std::vector<std::string> eventLines(const QACheckOutcome& outcome);

/// The line, or lines of up to `columns`, about checks that were not measured for one reason.
std::string unmeasuredLines(const std::string& names, const std::string& reason, bool colour,
                            std::size_t columns);

/// How many files came to which verdict and, with `list`, a line for each that did not pass.
std::string summaryLines(const std::vector<FileReport>& files, bool named, bool colour, bool list);

}  // namespace cli
