#pragma once

#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "foundation/QAPauses.h"
#include "foundation/Settings.h"
#include "tester/QACheck.h"
#include "tester/QATesterOptions.h"

namespace cli {

/// In the place of a report's name.
inline constexpr const char* kStandardOutput = "-";

/// How much the table says.
enum class TableKind {
  full,       ///< of a file: what it is, and a line a check
  shortened,  ///< a line a file
};

/// What a run is to do.
struct Options {
  /// Asked for by name; empty: those that the profile and the settings leave on.
  std::vector<const QACheck*> checks;
  bool checksNamed = false;
  /// A profile's name, or the path of a settings file; empty: none.
  std::string profile;
  std::string settings;
  /// They win over those of the profile and the file.
  std::vector<std::pair<std::string, std::string>> set;
  std::string log;
  /// Where reports go; empty: nowhere. One may go to `kStandardOutput`.
  std::string json;
  std::string junit;
  std::string csv;
  std::string csvEvents;
  /// A file, or with several files a folder.
  std::string edl;
  std::string series;
  std::string qctools;
  std::string html;
  QAPauses pauses = QAPauses::untilReady;
  QALookup lookup = QALookup::stored;
  QAPasses passes = QAPasses::one;
  /// For decoding; 0: as many as there are processors.
  int threads = 0;
  /// Displays in on-screen windows, whatever the settings say.
  bool visual = false;
  /// Where displays go as picture files; empty: they do not.
  std::string displays;
  TableKind table = TableKind::full;
  bool warningsFail = false;
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
