#pragma once

#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tester/QACheck.h"
#include "tester/QACheckOutcome.h"
#include "tester/QAVerdict.h"
#include "visual/QADisplays.h"

namespace cli {

class SeriesStore;

/// What a run came to with a file: all that the table and the reports are made of.
struct FileReport {
  /// A setting in effect.
  struct Setting {
    std::string check;  ///< empty: of the tester itself
    const QASetting* row;
    std::string value;
    bool isDefault;
  };

  std::string file;
  /// Why the file cannot be read; empty when it can.
  std::string error = {};
  /// The profile's name or path; empty: none.
  std::string profile = {};
  /// When its test began, and how many seconds it took; empty where that is not known.
  std::optional<std::time_t> begun = {};
  std::optional<double> seconds = {};
  QAFileFacts facts = {};
  /// In the order in which the checks were asked for.
  std::vector<QACheckOutcome> checks = {};
  /// Null: nobody asked for them.
  std::shared_ptr<SeriesStore> series = {};
  /// Of the checks that were run, in the order of their list.
  std::vector<Setting> settings = {};
  /// Empty where nobody asked for them.
  std::vector<QADisplayPicture> pictures = {};
};

}  // namespace cli
