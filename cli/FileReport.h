#pragma once

#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tester/QACheckOutcome.h"
#include "tester/QAVerdict.h"

namespace cli {

class SeriesStore;

/// What a run came to with a file: all that the table and the reports are made of.
struct FileReport {
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
};

}  // namespace cli
