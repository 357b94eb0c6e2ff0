#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tester/QACheckOutcome.h"
#include "tester/QAVerdict.h"

namespace cli {

/// Keeps its keys in the order in which they are written.
using Json = nlohmann::ordered_json;

struct FileReport {
  std::string file;
  /// Why the file cannot be read; empty when it can.
  std::string error;
  /// The profile's name or path; empty: none.
  std::string profile;
  QAFileFacts facts = {};
  /// In the order in which the checks were asked for.
  std::vector<QACheckOutcome> checks;
};

/// A number that reads back to the same value, or "nan", "inf", "-inf".
Json numberJson(double value);

Json reportJson(const std::vector<FileReport>& files);

/// The text of a report file. Bytes that are not UTF-8 are replaced.
std::string reportText(const std::vector<FileReport>& files);

/// A report to be. It is written under another name in the target's folder and then renamed, so
/// that under the target's name there is never half a report. A target that is no regular file (a
/// pipe, /dev/null) is written directly.
class ReportFile {
 public:
  /// Makes the file under its temporary name; throws std::system_error when the report could not be
  /// written.
  explicit ReportFile(const std::string& target);

  /// Removes what was not committed.
  ~ReportFile();

  ReportFile(const ReportFile&) = delete;
  ReportFile& operator=(const ReportFile&) = delete;

  /// Empty for a target that is written directly.
  const std::string& temporaryName() const { return temporary_; }

  /// Writes the whole report, once. Throws std::system_error.
  void commit(const std::string& text);

 private:
  void makeTemporary();
  void close();

  std::string target_;
  std::string temporary_;
  int fd_ = -1;
};

}  // namespace cli
