#include "Run.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <memory>
#include <new>
#include <set>
#include <stdexcept>
#include <system_error>

#include "ExitCode.h"
#include "Interrupt.h"
#include "Listener.h"
#include "OutOfMemory.h"
#include "Output.h"
#include "Preflight.h"
#include "ProgressBar.h"
#include "Report.h"
#include "Table.h"
#include "foundation/Logger.h"
#include "foundation/Settings.h"
#include "tester/QATester.h"

namespace cli {

namespace {

constexpr std::size_t kTimeStampLength = sizeof "[00:00:00] " - 1;
constexpr const char* kSettingsTrouble = "settings: ";
constexpr const char* kLogTrouble = "Error: Unable to ";
constexpr const char* kDisplayTrouble = "displays: ";
constexpr const char* kVisualisationsOn = "Visualizations:\ton";

std::string errorText(int error) {
  return std::generic_category().message(error);
}

bool startsWith(const std::string& text, const char* beginning) {
  return text.rfind(beginning, 0) == 0;
}

class Run {
 public:
  explicit Run(const Options& options)
      : options_(options),
        out_(STDOUT_FILENO),
        err_(STDERR_FILENO),
        bar_(err_, !options.quiet),
        table_(tableOutput(), options.checks) {}

  int execute() {
    if (!prepare()) {
      return kTrouble;
    }
    for (const std::string& file : options_.files) {
      if (interrupt_.signal() != 0) {
        break;
      }
      testFile(file);
    }
    return finish();
  }

 private:
  Output* tableOutput() {
    if (options_.quiet) {
      return nullptr;
    }
    return options_.json == "-" ? &err_ : &out_;
  }

  void complain(const std::string& text) {
    bar_.clear();
    err_.write("qatester: " + printable(text) + "\n");
  }

  /// Before any work: whatever would spoil its outcome.
  bool prepare() {
    return settingsAreReadable() && outputsAreNoInputs() && openReport() && displaysHaveAFolder() &&
           logIsAppendable();
  }

  bool settingsAreReadable() {
    if (options_.settings.empty()) {
      return true;
    }
    const std::string problem = whyNotReadable(options_.settings);
    if (!problem.empty()) {
      complain("cannot read the settings " + options_.settings + ": " + problem);
    }
    return problem.empty();
  }

  /// Appending a log to a programme, or replacing one by a report, is never what was meant.
  bool outputsAreNoInputs() {
    std::vector<std::string> inputs = options_.files;
    inputs.push_back(options_.settings);
    for (const std::string& output : {options_.log, options_.json}) {
      for (const std::string& input : inputs) {
        if (isSameFile(output, input)) {
          complain(output + " is to be read and written");
          return false;
        }
      }
    }
    return true;
  }

  bool openReport() {
    if (options_.json.empty() || options_.json == "-") {
      return true;
    }
    try {
      report_ = std::make_unique<ReportFile>(options_.json);
    } catch (const std::system_error& error) {
      complainOfReport(error.code().message());
      return false;
    }
    interrupt_.removeAtExit(report_->temporaryName());
    removeWithoutMemory(report_->temporaryName());
    return true;
  }

  bool displaysHaveAFolder() {
    const std::string problem = options_.displays.empty() ? "" : whyNoFolder(options_.displays);
    if (!problem.empty()) {
      complain("cannot write displays to " + options_.displays + ": " + problem);
    }
    return problem.empty();
  }

  bool logIsAppendable() {
    const std::string problem = options_.log.empty() ? "" : whyNotAppendable(options_.log);
    if (!problem.empty()) {
      complain("cannot write the log " + options_.log + ": " + problem);
    }
    return problem.empty();
  }

  void complainOfReport(const std::string& reason) {
    outputFailed_ = true;
    complain("cannot write the report " + options_.json + ": " + reason);
  }

  void testFile(const std::string& name) {
    FileReport& file = files_.emplace_back();
    file.file = name;
    const Preflight preflight = inspectMedia(name);
    if (!preflight.problem.empty()) {
      markUnreadable(file, preflight.problem);
    }
    bar_.clear();
    table_.beginFile(name);
    if (preflight.mayBlock) {
      addUnmeasured(file, preflight.problem);
      return;
    }
    try {
      Listener listener([this](int percent) { bar_.update(percent); });
      QATester tester(name.c_str(), &listener, options_.settings.c_str(), options_.log.c_str(),
                      testerOptions());
      for (const Check* check : options_.checks) {
        addReport(file, runCheck(*check, tester, listener, file));
      }
    } catch (const std::exception& error) {
      complain(name + ": " + error.what());
      addUnmeasured(file, error.what());
    }
  }

  void markUnreadable(FileReport& file, const std::string& reason) {
    if (file.error.empty()) {
      file.error = reason;
      complain(file.file + ": " + reason);
    }
  }

  void addReport(FileReport& file, CheckReport report) {
    bar_.clear();
    table_.addCheck(report);
    file.checks.push_back(std::move(report));
  }

  /// The checks that the file has no report of yet could not be run.
  void addUnmeasured(FileReport& file, const std::string& reason) {
    for (std::size_t i = file.checks.size(); i < options_.checks.size(); ++i) {
      CheckReport report;
      report.check = options_.checks[i];
      report.findings = unmeasured(*report.check, reason);
      addReport(file, std::move(report));
    }
  }

  static Findings unmeasured(const Check& check, const std::string& reason) {
    return {State::notMeasured, check.zeroResult(), "", reason};
  }

  /// A check that the machine, not the file, kept from its end.
  Findings lost(const Check& check, const FileReport& file, const std::string& reason) {
    checkLost_ = true;
    complain(file.file + ": " + check.name + ": " + reason);
    return unmeasured(check, reason);
  }

  CheckReport runCheck(const Check& check, QATester& tester, Listener& listener, FileReport& file) {
    CheckReport report;
    report.check = &check;
    if (interrupt_.signal() != 0) {
      report.findings = unmeasured(check, "stopped before the check began");
      return report;
    }
    listener.listenFor(report);
    outcome_ = {};
    bar_.begin(progressLabel(check));
    const auto begin = std::chrono::steady_clock::now();
    try {
      report.findings = check.run(tester, outcome_);
    } catch (const std::bad_alloc&) {
      report.findings = lost(check, file, "out of memory");
    } catch (const std::exception& error) {
      report.findings = lost(check, file, error.what());
    }
    report.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    const bool triedToOpen = !outcome_.check.empty();
    if (triedToOpen && !outcome_.opened) {
      markUnreadable(file, outcome_.reason);
    }
    return report;
  }

  std::string progressLabel(const Check& check) const {
    if (options_.files.size() == 1) {
      return check.name;
    }
    return std::to_string(files_.size()) + "/" + std::to_string(options_.files.size()) + "  " +
           check.name;
  }

  QATesterOptions testerOptions() {
    QATesterOptions options;
    options.pauses = options_.pauses;
    options.lookup = options_.lookup;
    if (!options_.displays.empty()) {
      options.displays = QADisplays::pictures;
      options.displayFolder = displayFolder();
    } else if (options_.visual) {
      options.displays = QADisplays::windows;
    } else if (!settingsAskForWindows()) {
      // The timecode check shows its displays whatever the settings say, if it can.
      options.displays = QADisplays::nowhere;
    }
    options.colourThreads = QAColourThreads::none;
    options.stop = interrupt_.token();
    options.console = [this](const std::string& line) { takeConsoleLine(line); };
    options.outcome = [this](const QACheckOutcome& outcome) { outcome_ = outcome; };
    return options;
  }

  bool settingsAskForWindows() const {
    Logger silent(nullptr);  // the tester reads the same lines, and tells of bad ones
    silent.SetOutput(false, false);
    Settings settings(options_.settings.c_str(), &silent, options_.lookup);
    const std::unique_ptr<const char[]> text(settings.GetValueOf("QATesterVisual", "0"));
    return std::atoi(text.get()) > 0;
  }

  /// Pictures of the same name must not replace those of another file.
  std::string displayFolder() const {
    if (options_.files.size() == 1) {
      return options_.displays;
    }
    const std::string name = std::filesystem::path(files_.back().file).filename().string();
    return (std::filesystem::path(options_.displays) / (std::to_string(files_.size()) + "-" + name))
        .string();
  }

  /// Standard output is the table's: a log line goes to standard error when asked for, or when it
  /// tells of trouble that nobody else tells of.
  void takeConsoleLine(const std::string& line) {
    std::string message = line.substr(std::min(kTimeStampLength, line.size()));
    const bool outputTrouble =
        startsWith(message, kLogTrouble) || startsWith(message, kDisplayTrouble);
    outputFailed_ = outputFailed_ || outputTrouble;
    if (options_.verbose) {
      bar_.clear();
      err_.write(printable(line, "\t\n"));
    } else if (outputTrouble || startsWith(message, kSettingsTrouble)) {
      message.pop_back();
      complainOnce(message);
    }
    if (startsWith(message, kVisualisationsOn) && options_.displays.empty() &&
        !QATester::canShowWindows()) {
      complainOnce("no window system is available: displays are skipped");
    }
  }

  void complainOnce(const std::string& text) {
    if (told_.insert(text).second) {
      complain(text);
    }
  }

  int finish() {
    bar_.clear();
    if (interrupt_.signal() != 0) {
      complain(stoppedText());
    }
    writeReport();
    if (out_.error() != 0) {
      outputFailed_ = true;
      complain("cannot write to standard output: " + errorText(out_.error()));
    }
    // Nobody is left to tell this to.
    const bool tableLost = tableOutput() == &err_ && err_.error() != 0;
    outputFailed_ = outputFailed_ || tableLost;
    return exitCode(files_, outputFailed_ || checkLost_, interrupt_.signal());
  }

  std::string stoppedText() const {
    const std::size_t left = options_.files.size() - files_.size();
    return left == 0 ? "stopped" : "stopped; files not begun: " + std::to_string(left);
  }

  void writeReport() {
    if (options_.json == "-") {
      out_.write(reportText(files_));
    }
    if (report_ == nullptr) {
      return;
    }
    try {
      report_->commit(reportText(files_));
    } catch (const std::system_error& error) {
      complainOfReport(error.code().message());
    }
  }

  const Options& options_;
  Interrupt interrupt_;
  Output out_;
  Output err_;
  ProgressBar bar_;
  Table table_;
  std::unique_ptr<ReportFile> report_;
  std::vector<FileReport> files_;
  QACheckOutcome outcome_;
  /// Troubles already told: every file's tester meets them anew.
  std::set<std::string> told_;
  bool outputFailed_ = false;
  bool checkLost_ = false;
};

}  // namespace

int run(const Options& options) {
  return Run(options).execute();
}

}  // namespace cli
