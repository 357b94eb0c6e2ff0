#pragma once

#include <string>
#include <vector>

#include "tester/QATester.h"

namespace qatest {

/// All that clients see of a run of all checks, as texts to compare.
struct Seen {
  /// A text for each check: its outcome but for the time that it took.
  std::vector<std::string> checks;
  /// Without time stamps.
  std::string log;
  /// What the listener heard, whatever the order of calls of different checks.
  std::vector<std::string> calls;
  /// The picture files of displays: their names, and a hash of what they hold.
  std::vector<std::string> pictures;

  bool operator==(const Seen&) const = default;
};

/// Runs all checks of the list on a file. Displays go to a folder, which is made if none is
/// named, or nowhere.
Seen runAll(const std::string& file, const std::string& settings, QAPasses passes,
            bool withDisplays = false, const std::string& displayFolder = "",
            QAMeasurementSink* sink = nullptr);

/// Fails where the checks that share a reading, and whose series somebody takes, are seen to differ
/// from those that read for themselves and have none.
void expectSamePasses(const std::string& file, const std::string& settings,
                      bool withDisplays = false);

}  // namespace qatest
