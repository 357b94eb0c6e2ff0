#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "Output.h"
#include "Report.h"
#include "tester/QACheck.h"

namespace cli {

/// What a person reads: a file's name, one line a check as the results come, then the checks that
/// were not measured, together where they share a reason.
class Table {
 public:
  /// Null `output`: nothing is written. Checks other than `checks` are left out.
  Table(Output* output, const std::vector<const QACheck*>& checks);

  /// What follows belongs to this file. Its name is written with the first line below it.
  void beginFile(const std::string& name);
  void addOutcome(const QACheckOutcome& outcome);
  void endFile();

  /// How many files passed, and which ones did not. `named`: the checks were asked for by name.
  void addSummary(const std::vector<FileReport>& files, bool named);

 private:
  struct Unmeasured {
    std::string reason;
    std::string names;
  };

  void write(const std::string& lines);

  Output* output_;
  std::vector<std::string> names_;
  std::size_t nameWidth_ = 0;
  std::string heading_;
  std::vector<Unmeasured> unmeasured_;
  bool first_ = true;
};

/// The line of a check, its name padded to `nameWidth`. On a terminal of `columns` it goes on below
/// itself rather than below the name; 0: it is never broken.
std::string tableLine(const QACheckOutcome& outcome, std::size_t nameWidth, bool colour,
                      std::size_t columns = 0);

/// The line, or lines of up to `columns`, about checks that were not measured for one reason.
std::string unmeasuredLines(const std::string& names, const std::string& reason, bool colour,
                            std::size_t columns);

/// How many files passed, and a line for each that did not.
std::string summaryLines(const std::vector<FileReport>& files, bool named, bool colour);

}  // namespace cli
