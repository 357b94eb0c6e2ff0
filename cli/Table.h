#pragma once

#include <string>
#include <vector>

#include "Output.h"
#include "Report.h"

namespace cli {

/// What a person reads: a file's name, then one line a check. Written as the results come.
class Table {
 public:
  /// Null `output`: nothing is written. `checks` are those that will have a line.
  Table(Output* output, const std::vector<const Check*>& checks);

  void beginFile(const std::string& name);
  void addCheck(const CheckReport& report);

 private:
  Output* output_;
  std::size_t nameWidth_ = 0;
  bool first_ = true;
};

/// The line of a check, without colour, its name padded to `nameWidth`.
std::string tableLine(const CheckReport& report, std::size_t nameWidth, bool colour);

}  // namespace cli
