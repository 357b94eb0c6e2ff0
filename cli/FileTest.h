#pragma once

#include <functional>
#include <string>
#include <vector>

#include "FileReport.h"
#include "tester/QACheck.h"
#include "tester/QATesterOptions.h"

namespace cli {

/// What is done with a file.
struct FileTest {
  /// At least one.
  std::vector<const QACheck*> checks;
  /// Paths of a settings file and of a log; empty: none.
  std::string settings;
  std::string log;
  /// `outcome` is the test's own. `progress` hears of the first check before it begins.
  QATesterOptions options;
};

/// The checks that the profile and the settings leave on. Throws std::invalid_argument for a
/// profile that is not found.
std::vector<const QACheck*> checksLeftOn(const FileTest& test);

/// Tests the file that the report names, and fills the report in. `complain` hears why the file
/// cannot be read and which error ended a check, as soon as it is known. False: an error ended the
/// whole test, and none of its checks was measured.
bool testFile(FileReport& file, const FileTest& test,
              const std::function<void(const std::string& text)>& complain);

}  // namespace cli
