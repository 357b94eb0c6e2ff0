#pragma once

#include <string>

namespace cli {

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

/// Ends the process at once, and leaves no temporary file behind. Asks for no memory; from any
/// thread.
[[noreturn]] void exitWithoutTemporaries(int exitCode);

}  // namespace cli
