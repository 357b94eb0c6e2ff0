#pragma once

#include <string>
#include <variant>
#include <vector>

#include "foundation/QAPauses.h"
#include "foundation/Settings.h"
#include "tester/QACheck.h"
#include "tester/QATesterOptions.h"

namespace cli {

/// What a run is to do.
struct Options {
  std::vector<const QACheck*> checks;
  /// They were asked for by name.
  bool checksNamed = false;
  std::string settings;
  std::string log;
  std::string json;
  QAPauses pauses = QAPauses::untilReady;
  QALookup lookup = QALookup::stored;
  QAPasses passes = QAPasses::one;
  /// Displays in on-screen windows, whatever the settings say.
  bool visual = false;
  /// Where displays go as picture files; empty: they do not.
  std::string displays;
  bool quiet = false;
  bool verbose = false;
  std::vector<std::string> files;
};

/// The whole answer to a command line that asks for no run, or that cannot be understood.
struct Reply {
  int exitCode = 0;
  std::string out;
  std::string err;
};

std::variant<Options, Reply> parseCommandLine(int argc, const char* const* argv);

}  // namespace cli
