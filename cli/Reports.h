#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "FileReport.h"
#include "Options.h"
#include "Output.h"
#include "ReportFile.h"

namespace cli {

/// A file that a run is to write.
struct OutputTarget {
  const char* option;  ///< that asks for it, such as "--json"
  std::string path;
};

struct FileKind;

/// The log and the reports, without those on standard output.
std::vector<OutputTarget> outputTargets(const Options& options);

/// Whether a report goes to standard output.
bool reportsToStandardOutput(const Options& options);

/// The reports of a run. What goes wrong with one of them costs no other.
class Reports {
 public:
  /// `complain` takes what could not be written, and why. The options must outlive the reports.
  Reports(const Options& options, std::function<void(const std::string& text)> complain);

  /// Before the work: makes the files under their temporary names, and complains where that cannot
  /// be. False: none of those that were asked for can be written.
  bool open();

  /// Writes the reports that are the file's alone. `number`: on the command line, from 1.
  void writeOf(const FileReport& file, std::size_t number);

  /// Writes the others, of as many files as there are, and the index of those that went to a folder
  /// and have one; a report on standard output goes to `out`,
  /// whose errors are the caller's to tell of.
  void write(const std::vector<FileReport>& files, Output& out);

  /// Whether one could not be written.
  bool areLost() const { return lost_; }

 private:
  using Text = std::function<std::optional<std::string>(const std::vector<FileReport>& files)>;

  struct Report {
    std::string target;
    Text text;  ///< nothing: there is nothing to write
    std::unique_ptr<ReportFile> file = {};
  };

  void add(const std::string& target, Text text);
  void writeIndex(const FileKind& kind, const std::vector<FileReport>& files);

  /// Does it, and complains of what it throws. False: it threw.
  bool attempt(const std::string& target, const std::function<void()>& step);

  const Options& options_;
  std::function<void(const std::string& text)> complain_;
  std::vector<Report> reports_;
  std::vector<const FileKind*> folders_;
  /// Of each kind that goes to a folder, the files whose reports are there, by their numbers.
  std::map<const FileKind*, std::set<std::size_t>> written_;
  bool lost_ = false;
};

}  // namespace cli
